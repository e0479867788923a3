#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

#include "live2/SKYLSSAILive2TrackingResponse.h"
#include "platform/ThreadAnnotations.h"
#include "platform/URLSession.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Why a poll was skipped without an error.
struct SKYLSSAILive2PollSkip {
  enum Reason { alreadyInFlight, clientDeallocated };
  Reason reason;
};

// Polls the tracking URL: one request at a time, the continuation token of
// the last good answer appended, and the token dropped after a run of
// failures so that polling starts over from the plain URL. Safe from any
// thread; completions run on the URL session's thread (or at once, for a
// skipped poll).
class SKYLSSAILive2TrackingClient
    : public std::enable_shared_from_this<SKYLSSAILive2TrackingClient> {
 public:
  using Outcome =
      std::variant<SKYLSSAILive2TrackingResponse, SKYLSSAILive2Error, SKYLSSAILive2PollSkip>;
  using Completion = std::function<void(Outcome outcome)>;

  static std::shared_ptr<SKYLSSAILive2TrackingClient> create(URL trackingURL,
                                                             std::shared_ptr<URLSession> session,
                                                             double timeout = 10.0,
                                                             int failureThreshold = 5);

  // Starts one poll; nothing (and alreadyInFlight at once) while another is
  // outstanding.
  std::shared_ptr<URLSessionDataTask> fetch(Completion completion);

  // The URL the next poll goes to.
  URL pollURL() const;
  std::optional<std::string> nextToken() const;
  int consecutiveFailures() const;

 private:
  SKYLSSAILive2TrackingClient(URL url, std::shared_ptr<URLSession> session, double timeout,
                              int threshold)
      : trackingURL_(std::move(url)),
        session_(std::move(session)),
        timeout_(timeout),
        failureThreshold_(threshold) {}
  URL pollURLLocked() const SKYL_REQUIRES(mutex_);
  Outcome classify(Result<URLSessionResponse> result) const;

  const URL trackingURL_;
  const std::shared_ptr<URLSession> session_;
  const double timeout_;
  const int failureThreshold_;

  mutable Mutex mutex_;
  std::optional<std::string> nextToken_ SKYL_GUARDED_BY(mutex_);
  int consecutiveFailures_ SKYL_GUARDED_BY(mutex_) = 0;
  bool inFlight_ SKYL_GUARDED_BY(mutex_) = false;
};

}  // namespace skylark
