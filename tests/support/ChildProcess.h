#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace skylark::test {

// A program run by a test, with its standard output and error captured
// through pipes. Every wait has a deadline; a child still running when the
// object goes is killed.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& argv);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Reads until a line of the child's stderr contains `text`, and returns
  // that line; nothing when the deadline passes or the stream ends first.
  std::optional<std::string> waitForErrorLine(const std::string& text,
                                              std::chrono::steady_clock::duration timeout);
  // Sends SIGINT, then waits for the exit; the exit code, or nothing when
  // the child did not exit in time (it is then killed).
  std::optional<int> interruptAndWait(std::chrono::steady_clock::duration timeout);
  // Waits for the exit, reading both streams to their end meanwhile.
  std::optional<int> wait(std::chrono::steady_clock::duration timeout);

  // Everything read so far.
  const std::string& out() const { return out_; }
  const std::string& err() const { return err_; }

 private:
  // Reads what is ready on either stream, for up to `timeout`; false once
  // both have ended.
  bool pump(std::chrono::steady_clock::duration timeout);

  pid_t pid_ = -1;
  int outFd_ = -1;
  int errFd_ = -1;
  std::string out_;
  std::string err_;
  size_t errScanned_ = 0;
};

}  // namespace skylark::test
