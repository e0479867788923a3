#pragma once

#include <any>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace skylark {

struct Notification {
  std::string name;
  std::any object;
  std::map<std::string, std::any> userInfo;
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
  void removeObserver(Token token);
  void post(const Notification& notification);

 private:
  struct Entry {
    Token token;
    std::string name;
    Observer observer;
    std::atomic<bool> active{true};
  };

  std::mutex mutex_;
  Token nextToken_ = 1;
  std::vector<std::shared_ptr<Entry>> entries_;  // guarded by mutex_
};

}  // namespace skylark
