#include "platform/NotificationCenter.h"

#include <algorithm>

namespace skylark {

NotificationCenter& NotificationCenter::defaultCenter() {
  static NotificationCenter center;
  return center;
}

NotificationCenter::Token NotificationCenter::addObserver(std::string name, Observer observer) {
  auto entry = std::make_shared<Entry>();
  entry->name = std::move(name);
  entry->observer = std::move(observer);
  std::lock_guard lock(mutex_);
  entry->token = nextToken_++;
  entries_.push_back(entry);
  return entry->token;
}

void NotificationCenter::removeObserver(Token token) {
  std::lock_guard lock(mutex_);
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [token](const auto& e) { return e->token == token; });
  if (found == entries_.end()) return;
  (*found)->active = false;
  entries_.erase(found);
}

void NotificationCenter::post(const Notification& notification) {
  std::vector<std::shared_ptr<Entry>> snapshot;
  {
    std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
      if (entry->name.empty() || entry->name == notification.name) snapshot.push_back(entry);
    }
  }
  for (const auto& entry : snapshot) {
    if (entry->active) entry->observer(notification);
  }
}

}  // namespace skylark
