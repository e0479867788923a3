#include "live2/SKYLSSAILive2Beacons.h"

#include <chrono>

#include "host/SKYLHostLog.h"
#include "platform/DispatchQueue.h"

namespace skylark {

std::shared_ptr<SKYLSSAILive2URLSessionBeaconTransport> SKYLSSAILive2URLSessionBeaconTransport::create(
    std::shared_ptr<URLSession> session, double timeout, std::vector<double> retryDelays,
    Schedule schedule) {
  if (!schedule) {
    schedule = [](double delay, std::function<void()> work) {
      Dispatch::global().asyncAfter(
          std::chrono::duration_cast<std::chrono::steady_clock::duration>(
              std::chrono::duration<double>(delay)),
          std::move(work));
    };
  }
  return std::shared_ptr<SKYLSSAILive2URLSessionBeaconTransport>(
      new SKYLSSAILive2URLSessionBeaconTransport(std::move(session), timeout,
                                                 std::move(retryDelays), std::move(schedule)));
}

SKYLSSAILive2URLSessionBeaconTransport::SKYLSSAILive2URLSessionBeaconTransport(
    std::shared_ptr<URLSession> session, double timeout, std::vector<double> retryDelays,
    Schedule schedule)
    : session_(std::move(session)),
      timeout_(timeout),
      retryDelays_(std::move(retryDelays)),
      schedule_(std::move(schedule)) {}

void SKYLSSAILive2URLSessionBeaconTransport::stop() { stopped_ = true; }

SKYLSSAILive2URLSessionBeaconTransport::Outcome SKYLSSAILive2URLSessionBeaconTransport::classify(
    const Result<URLSessionResponse>& result) {
  if (!result.ok()) {
    return {Kind::retryable, result.error().domain + " " + std::to_string(result.error().code)};
  }
  const long status = result->response.statusCode;
  if (status == 0) return {Kind::retryable, "no HTTP response"};
  if (status >= 200 && status <= 299) return {Kind::delivered, ""};
  const std::string reason = "HTTP " + std::to_string(status);
  if (status == 408 || status == 429 || status >= 500) return {Kind::retryable, reason};
  return {Kind::permanent, reason};
}

namespace {

void logDropped(const URL& url, const std::string& why) {
  SKYLHostLog(3, "SkylarkSSAI: Meridian Live beacon %@. %@", url, "dropped, " + why);
}

}  // namespace

void SKYLSSAILive2URLSessionBeaconTransport::send(const URL& url) {
  if (!url.isHTTPOrHTTPS()) {
    logDropped(url, "not an http(s) URL");  // retrying cannot help
    return;
  }
  attempt(url, 0);
}

void SKYLSSAILive2URLSessionBeaconTransport::attempt(const URL& url, size_t attemptNumber) {
  if (stopped_) {
    logDropped(url, "the transport was stopped");
    return;
  }
  URLRequest request(url);
  request.timeoutInterval = std::chrono::milliseconds(static_cast<int64_t>(timeout_ * 1000));
  std::weak_ptr<SKYLSSAILive2URLSessionBeaconTransport> weak = shared_from_this();
  session_->dataTask(std::move(request), [weak, url, attemptNumber](Result<URLSessionResponse> r) {
    if (const auto self = weak.lock()) self->finished(url, attemptNumber, classify(r));
  })->resume();
}

void SKYLSSAILive2URLSessionBeaconTransport::finished(const URL& url, size_t attemptNumber,
                                                      const Outcome& outcome) {
  switch (outcome.kind) {
    case Kind::delivered:
      return;
    case Kind::permanent:
      logDropped(url, outcome.reason);
      return;
    case Kind::retryable:
      if (attemptNumber < retryDelays_.size()) {
        std::weak_ptr<SKYLSSAILive2URLSessionBeaconTransport> weak = shared_from_this();
        schedule_(retryDelays_[attemptNumber], [weak, url, attemptNumber, reason = outcome.reason] {
          if (const auto self = weak.lock()) {
            self->attempt(url, attemptNumber + 1);
          } else {
            logDropped(url, "its session ended before the retry, last failure " + reason);
          }
        });
        return;
      }
      SKYLHostLog(3, "SkylarkSSAI: Meridian Live beacon %@. %@", url,
                  "dropped after " + std::to_string(retryDelays_.size()) +
                      " retries, last failure " + outcome.reason);
      return;
  }
}

bool SKYLSSAILive2BeaconFirer::fireOnce(const std::string& key,
                                        const std::vector<std::string>& urls) {
  {
    std::lock_guard lock(mutex_);
    if (!firedKeys_.insert(key).second) return false;
  }
  fire(urls);
  return true;
}

bool SKYLSSAILive2BeaconFirer::hasFired(const std::string& key) const {
  std::lock_guard lock(mutex_);
  return firedKeys_.count(key) > 0;
}

void SKYLSSAILive2BeaconFirer::fire(const std::vector<std::string>& urls) {
  for (const auto& text : urls) {
    auto url = URL::parse(text);
    if (url && !url->isRelative()) transport_->send(*url);
  }
}

}  // namespace skylark
