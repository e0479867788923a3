#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/Log.h"

namespace skylark::test {

// Collects every log line while it lives, then restores the default sink.
class LogCapture {
 public:
  struct Line {
    LogChannel channel;
    int level;
    std::string message;
  };

  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<Line> lines() const;
  // The messages alone, in order.
  std::vector<std::string> messages() const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<Line> lines_;
};

}  // namespace skylark::test
