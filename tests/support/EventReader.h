#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace skylark::test {

// Follows a loopback server's Server-Sent Events (GET /events) on its own
// thread, keeping every byte it receives.
class EventReader {
 public:
  explicit EventReader(int port);
  ~EventReader();
  EventReader(const EventReader&) = delete;
  EventReader& operator=(const EventReader&) = delete;

  std::string text() const;
  // Whether `part` arrived within the time-out.
  bool waitFor(const std::string& part,
               std::chrono::steady_clock::duration timeout = std::chrono::seconds(10)) const;
  // Whether what arrived satisfied `done` within the time-out.
  bool waitUntil(const std::function<bool(const std::string& text)>& done,
                 std::chrono::steady_clock::duration timeout = std::chrono::seconds(10)) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable received_;
  std::string text_;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace skylark::test
