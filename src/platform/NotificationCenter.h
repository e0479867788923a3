#pragma once

#include <any>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/ThreadAnnotations.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

struct Notification {
  std::string name;
  std::any object;
  std::map<std::string, std::any> userInfo;
  // Who posted it, for observers of one sender only; null for anyone.
  const void* sender = nullptr;
};

// Named notifications, delivered synchronously on the posting thread.
// Each post goes to the observers registered when it starts; an observer
// removed meanwhile (even by another observer of the same post) is not
// called again. Safe from any thread.
class NotificationCenter {
 public:
  using Observer = std::function<void(const Notification&)>;
  using Token = uint64_t;

  static NotificationCenter& defaultCenter();

  // An empty name observes every notification.
  [[nodiscard]] Token addObserver(std::string name, Observer observer);
  // Only the notifications of that name from that sender: a post costs the
  // observers of its sender, however many others watch other senders (a
  // thousand sessions each watch their own player's rate).
  [[nodiscard]] Token addObserver(std::string name, const void* sender, Observer observer);
  void removeObserver(Token token);
  void post(const Notification& notification);
  // Whether a post of that name from no particular sender would reach an
  // observer now: a poster whose notification is costly to make (a copy
  // of a document) makes it only for someone.
  bool hasObservers(const std::string& name) const;

 private:
  struct Entry {
    Token token;
    std::string name;
    const void* sender;
    Observer observer;
    std::atomic<bool> active{true};
  };

  using Entries = std::vector<std::shared_ptr<Entry>>;  // in registration order
  using Key = std::pair<std::string, const void*>;      // name and sender (null: any)
  struct KeyHash {
    size_t operator()(const Key& key) const {
      return std::hash<std::string>{}(key.first) ^ std::hash<const void*>{}(key.second);
    }
  };

  // The observers of that name from that sender; none as an empty list.
  const Entries& observersOf(const std::string& name, const void* sender) const
      SKYL_REQUIRES(mutex_);

  mutable Mutex mutex_;
  Token nextToken_ SKYL_GUARDED_BY(mutex_) = 1;
  // By name and sender, so a post costs its own observers only.
  std::unordered_map<Key, Entries, KeyHash> named_ SKYL_GUARDED_BY(mutex_);
  Entries everyName_ SKYL_GUARDED_BY(mutex_);
  std::unordered_map<Token, std::shared_ptr<Entry>> byToken_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
