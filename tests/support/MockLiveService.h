#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "support/LoopbackServer.h"

namespace skylark::test {

// A loopback stand-in for the live SSAI service: answers the session POST
// at /v1/session (status, body and delay configurable; each request body is
// recorded) and serves a scripted sequence of tracking answers at
// /live/tracking (the last one repeats), recording each poll's target.
class MockLiveService {
 public:
  struct Answer {
    int status = 200;
    std::string body;
    int delayMs = 0;
  };

  MockLiveService();

  std::string sessionURL() const { return server_->url("/v1/session"); }
  void setSessionAnswer(Answer answer);
  void scriptTracking(std::vector<Answer> answers);

  std::vector<std::string> sessionBodies() const;
  std::vector<std::string> pollTargets() const;
  bool waitForPolls(size_t count, std::chrono::milliseconds timeout) const;
  // Until every session POST received so far has been answered (a delayed
  // answer included).
  bool waitForSessionAnswers(std::chrono::milliseconds timeout) const;

  // A session answer with relative manifest and tracking URLs.
  static std::string relativeSessionBody();

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable polled_;
  Answer session_{200, relativeSessionBody(), 0};
  std::vector<Answer> tracking_{{200, "{}", 0}};
  size_t nextTracking_ = 0;
  std::vector<std::string> sessionBodies_;
  size_t sessionAnswers_ = 0;
  std::vector<std::string> pollTargets_;
  std::unique_ptr<LoopbackServer> server_;  // last: its threads stop first
};

}  // namespace skylark::test
