#include "support/LogCapture.h"

namespace skylark::test {

LogCapture::LogCapture() {
  setLogSink([this](const LogRecord& record) {
    std::lock_guard lock(mutex_);
    lines_.push_back({record.channel, record.level, std::string(record.message)});
  });
}

LogCapture::~LogCapture() { setLogSink(nullptr); }

std::vector<LogCapture::Line> LogCapture::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

std::vector<std::string> LogCapture::messages() const {
  std::vector<std::string> out;
  for (const auto& line : lines()) out.push_back(line.message);
  return out;
}

void LogCapture::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

}  // namespace skylark::test
