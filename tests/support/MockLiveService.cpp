#include "support/MockLiveService.h"

#include <thread>

#include <httplib.h>

namespace skylark::test {

std::string MockLiveService::relativeSessionBody() {
  return R"({"manifestUrl": "/live/m.m3u8", "trackingUrl": "/live/tracking?x=1"})";
}

MockLiveService::MockLiveService() {
  server_ = std::make_unique<LoopbackServer>([this](httplib::Server& s) {
    s.Post("/v1/session", [this](const httplib::Request& request, httplib::Response& response) {
      Answer answer;
      {
        std::lock_guard lock(mutex_);
        sessionBodies_.push_back(request.body);
        answer = session_;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(answer.delayMs));
      response.status = answer.status;
      response.set_content(answer.body, "application/json");
      {
        std::lock_guard lock(mutex_);
        ++sessionAnswers_;
      }
      polled_.notify_all();
    });
    s.Get("/live/tracking", [this](const httplib::Request& request, httplib::Response& response) {
      Answer answer;
      {
        std::lock_guard lock(mutex_);
        pollTargets_.push_back(request.target);
        answer = tracking_[std::min(nextTracking_, tracking_.size() - 1)];
        ++nextTracking_;
      }
      polled_.notify_all();
      std::this_thread::sleep_for(std::chrono::milliseconds(answer.delayMs));
      response.status = answer.status;
      if (!answer.body.empty()) response.set_content(answer.body, "application/json");
    });
  });
}

void MockLiveService::setSessionAnswer(Answer answer) {
  std::lock_guard lock(mutex_);
  session_ = std::move(answer);
}

void MockLiveService::scriptTracking(std::vector<Answer> answers) {
  std::lock_guard lock(mutex_);
  tracking_ = std::move(answers);
  nextTracking_ = 0;
}

std::vector<std::string> MockLiveService::sessionBodies() const {
  std::lock_guard lock(mutex_);
  return sessionBodies_;
}

std::vector<std::string> MockLiveService::pollTargets() const {
  std::lock_guard lock(mutex_);
  return pollTargets_;
}

bool MockLiveService::waitForSessionAnswers(std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return polled_.wait_for(lock, timeout, [&] { return sessionAnswers_ == sessionBodies_.size(); });
}

bool MockLiveService::waitForPolls(size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  return polled_.wait_for(lock, timeout, [&] { return pollTargets_.size() >= count; });
}

}  // namespace skylark::test
