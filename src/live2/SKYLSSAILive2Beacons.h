#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/URLSession.h"

namespace skylark {

// How a live beacon leaves: one operation, never blocking the caller.
class SKYLSSAILive2BeaconTransport {
 public:
  virtual ~SKYLSSAILive2BeaconTransport() = default;
  virtual void send(const URL& url) = 0;
};

// GETs through a URL session (5 s time-out) with up to three retries after
// 1, 2 and 4 s for what may pass (transport errors, 408, 429, 5xx); other
// answers are dropped at once. Drops are logged; delivery is not reported.
// A pending retry holds the transport weakly: once the transport is gone
// (or stopped), nothing more is sent and the drop is logged. A request
// already handed to the URL session finishes whatever becomes of the
// transport: the session, shared by the process, outlives it.
class SKYLSSAILive2URLSessionBeaconTransport final
    : public SKYLSSAILive2BeaconTransport,
      public std::enable_shared_from_this<SKYLSSAILive2URLSessionBeaconTransport> {
 public:
  enum class Kind { retryable, permanent, delivered };
  struct Outcome {
    Kind kind;
    std::string reason;
  };
  // Runs work after a delay in seconds.
  using Schedule = std::function<void(double delay, std::function<void()> work)>;

  static std::shared_ptr<SKYLSSAILive2URLSessionBeaconTransport> create(
      std::shared_ptr<URLSession> session, double timeout = 5.0,
      std::vector<double> retryDelays = {1.0, 2.0, 4.0}, Schedule schedule = nullptr);

  // A URL that is not http(s) is dropped at once, with its log line.
  void send(const URL& url) override;
  // No further sends or retries; each one left is dropped with its log line.
  void stop();

  static Outcome classify(const Result<URLSessionResponse>& result);

 private:
  SKYLSSAILive2URLSessionBeaconTransport(std::shared_ptr<URLSession> session, double timeout,
                                         std::vector<double> retryDelays, Schedule schedule);
  void attempt(const URL& url, size_t attemptNumber);
  void finished(const URL& url, size_t attemptNumber, const Outcome& outcome);

  const std::shared_ptr<URLSession> session_;
  const double timeout_;
  const std::vector<double> retryDelays_;
  const Schedule schedule_;
  std::atomic<bool> stopped_{false};
};

// Fires a session's beacons, each (ad, type) pair at most once: the key is
// claimed under the lock before anything is sent, so racing updates cannot
// both fire it. Safe from any thread.
class SKYLSSAILive2BeaconFirer {
 public:
  explicit SKYLSSAILive2BeaconFirer(std::shared_ptr<SKYLSSAILive2BeaconTransport> transport)
      : transport_(std::move(transport)) {}

  // False (and nothing sent) when the key was fired before.
  bool fireOnce(const std::string& key, const std::vector<std::string>& urls);
  bool hasFired(const std::string& key) const;
  // Always sends.
  void fire(const std::vector<std::string>& urls);

 private:
  std::shared_ptr<SKYLSSAILive2BeaconTransport> transport_;
  mutable std::mutex mutex_;
  std::set<std::string> firedKeys_;  // guarded by mutex_
};

}  // namespace skylark
