#include "support/EventReader.h"

#include <httplib.h>

namespace skylark::test {

EventReader::EventReader(int port)
    : thread_([this, port] {
        httplib::Client client("127.0.0.1", port);
        client.set_read_timeout(10, 0);
        client.Get("/events", [this](const char* data, size_t length) {
          std::lock_guard lock(mutex_);
          text_.append(data, length);
          received_.notify_all();
          return !stop_;
        });
      }) {}

EventReader::~EventReader() {
  {
    std::lock_guard lock(mutex_);
    stop_ = true;
  }
  thread_.join();
}

std::string EventReader::text() const {
  std::lock_guard lock(mutex_);
  return text_;
}

bool EventReader::waitFor(const std::string& part,
                          std::chrono::steady_clock::duration timeout) const {
  return waitUntil([&](const std::string& text) { return text.find(part) != std::string::npos; },
                   timeout);
}

bool EventReader::waitUntil(const std::function<bool(const std::string& text)>& done,
                            std::chrono::steady_clock::duration timeout) const {
  std::unique_lock lock(mutex_);
  return received_.wait_for(lock, timeout, [&] { return done(text_); });
}

}  // namespace skylark::test
