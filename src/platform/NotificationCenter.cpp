#include "platform/NotificationCenter.h"

#include <algorithm>

namespace skylark {

NotificationCenter& NotificationCenter::defaultCenter() {
  static NotificationCenter center;
  return center;
}

NotificationCenter::Token NotificationCenter::addObserver(std::string name, Observer observer) {
  return addObserver(std::move(name), nullptr, std::move(observer));
}

NotificationCenter::Token NotificationCenter::addObserver(std::string name, const void* sender,
                                                          Observer observer) {
  auto entry = std::make_shared<Entry>();
  entry->name = std::move(name);
  entry->sender = sender;
  entry->observer = std::move(observer);
  MutexLock lock(mutex_);
  entry->token = nextToken_++;
  (entry->name.empty() ? everyName_ : named_[{entry->name, sender}]).push_back(entry);
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
  if (entry->name.empty()) {
    everyName_.erase(std::find(everyName_.begin(), everyName_.end(), entry));
    return;
  }
  const auto named = named_.find({entry->name, entry->sender});
  Entries& list = named->second;
  list.erase(std::find(list.begin(), list.end(), entry));
  if (list.empty()) named_.erase(named);
}

const NotificationCenter::Entries& NotificationCenter::observersOf(const std::string& name,
                                                                   const void* sender) const {
  static const Entries none;
  const auto found = named_.find({name, sender});
  return found == named_.end() ? none : found->second;
}

bool NotificationCenter::hasObservers(const std::string& name) const {
  MutexLock lock(mutex_);
  return !everyName_.empty() || !observersOf(name, nullptr).empty();
}

void NotificationCenter::post(const Notification& notification) {
  Entries snapshot;
  {
    MutexLock lock(mutex_);
    const Entries& anySender = observersOf(notification.name, nullptr);
    const Entries noSender;
    const Entries& thisSender =
        notification.sender ? observersOf(notification.name, notification.sender) : noSender;
    // Every list is in registration order: merge them by token.
    const auto byToken = [](const auto& a, const auto& b) { return a->token < b->token; };
    Entries named;
    named.reserve(anySender.size() + thisSender.size());
    std::merge(anySender.begin(), anySender.end(), thisSender.begin(), thisSender.end(),
               std::back_inserter(named), byToken);
    snapshot.reserve(named.size() + everyName_.size());
    std::merge(named.begin(), named.end(), everyName_.begin(), everyName_.end(),
               std::back_inserter(snapshot), byToken);
  }
  for (const auto& entry : snapshot) {
    if (entry->active) entry->observer(notification);
  }
}

}  // namespace skylark
