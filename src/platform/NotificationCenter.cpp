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
  MutexLock lock(mutex_);
  entry->token = nextToken_++;
  (entry->name.empty() ? everyName_ : named_[entry->name]).push_back(entry);
  byToken_[entry->token] = entry;
  return entry->token;
}

void NotificationCenter::removeObserver(Token token) {
  MutexLock lock(mutex_);
  const auto found = byToken_.find(token);
  if (found == byToken_.end()) return;
  const auto entry = found->second;
  byToken_.erase(found);
  entry->active = false;
  const auto named = named_.find(entry->name);
  Entries& list = entry->name.empty() ? everyName_ : named->second;
  list.erase(std::find(list.begin(), list.end(), entry));
  if (!entry->name.empty() && list.empty()) named_.erase(named);
}

void NotificationCenter::post(const Notification& notification) {
  Entries snapshot;
  {
    MutexLock lock(mutex_);
    const auto named = named_.find(notification.name);
    const Entries none;
    const Entries& byName = named == named_.end() ? none : named->second;
    // Both lists are in registration order: merge them by token.
    snapshot.reserve(byName.size() + everyName_.size());
    std::merge(byName.begin(), byName.end(), everyName_.begin(), everyName_.end(),
               std::back_inserter(snapshot),
               [](const auto& a, const auto& b) { return a->token < b->token; });
  }
  for (const auto& entry : snapshot) {
    if (entry->active) entry->observer(notification);
  }
}

}  // namespace skylark
