#include "live2/SKYLSSAILive2TrackingClient.h"

#include <chrono>

#include "live2/SKYLSSAILive2HTTP.h"
#include "platform/PercentEncoding.h"

namespace skylark {
namespace {

// The URL with every "nextToken" item removed and "nextToken=token"
// appended after the others.
std::optional<URL> withToken(const URL& url, const std::string& token) {
  const std::string& text = url.absoluteString();
  const size_t hash = text.find('#');
  const std::string fragment = hash == std::string::npos ? "" : text.substr(hash);
  const std::string beforeFragment = text.substr(0, hash);
  const size_t mark = beforeFragment.find('?');
  std::string base = beforeFragment.substr(0, mark);
  std::string query;
  if (mark != std::string::npos) {
    std::string_view rest = std::string_view(beforeFragment).substr(mark + 1);
    while (!rest.empty()) {
      const size_t amp = rest.find('&');
      const std::string_view item = rest.substr(0, amp);
      if (item.substr(0, item.find('=')) != "nextToken") {
        if (!query.empty()) query += '&';
        query += item;
      }
      if (amp == std::string_view::npos) break;
      rest.remove_prefix(amp + 1);
    }
  }
  if (!query.empty()) query += '&';
  query += "nextToken=" + percentEncodedComponent(token);
  return URL::parse(base + "?" + query + fragment);
}

}  // namespace

std::shared_ptr<SKYLSSAILive2TrackingClient> SKYLSSAILive2TrackingClient::create(
    URL trackingURL, std::shared_ptr<URLSession> session, double timeout, int failureThreshold) {
  return std::shared_ptr<SKYLSSAILive2TrackingClient>(new SKYLSSAILive2TrackingClient(
      std::move(trackingURL), std::move(session), timeout, failureThreshold));
}

URL SKYLSSAILive2TrackingClient::pollURLLocked() const {
  if (!nextToken_) return trackingURL_;
  return withToken(trackingURL_, *nextToken_).value_or(trackingURL_);
}

URL SKYLSSAILive2TrackingClient::pollURL() const {
  MutexLock lock(mutex_);
  return pollURLLocked();
}

std::optional<std::string> SKYLSSAILive2TrackingClient::nextToken() const {
  MutexLock lock(mutex_);
  return nextToken_;
}

int SKYLSSAILive2TrackingClient::consecutiveFailures() const {
  MutexLock lock(mutex_);
  return consecutiveFailures_;
}

SKYLSSAILive2TrackingClient::Outcome SKYLSSAILive2TrackingClient::classify(
    Result<URLSessionResponse> result) const {
  if (!result.ok()) return SKYLSSAILive2TransportError(result.error(), "Tracking fetch failed");
  if (auto error = SKYLSSAILive2CheckHTTPResponse(result->response, "Tracking fetch",
                                                  SKYLSSAILive2ErrorCode::TRACKING_ERROR)) {
    return *error;
  }
  if (result->data.empty()) {
    return SKYLSSAILive2Error(SKYLSSAILive2ErrorCode::TRACKING_ERROR,
                              "Tracking API returned an empty response");
  }
  auto decoded = SKYLSSAILive2TrackingResponse::decode(result->data);
  if (!decoded.ok()) {
    SKYLSSAILive2Error error(SKYLSSAILive2ErrorCode::PARSE_ERROR,
                             "Failed to parse tracking response");
    error.underlying = decoded.error().toError();
    return error;
  }
  return std::move(decoded.value());
}

std::shared_ptr<URLSessionDataTask> SKYLSSAILive2TrackingClient::fetch(Completion completion) {
  URL url = trackingURL_;
  bool busy = false;
  {
    MutexLock lock(mutex_);
    busy = inFlight_;
    if (!busy) {
      inFlight_ = true;
      url = pollURLLocked();
    }
  }
  if (busy) {
    // Outside the lock: the completion may well ask this client something.
    completion(SKYLSSAILive2PollSkip{SKYLSSAILive2PollSkip::alreadyInFlight});
    return nullptr;
  }
  URLRequest request(url);
  request.timeoutInterval = std::chrono::milliseconds(static_cast<int64_t>(timeout_ * 1000));
  std::weak_ptr<SKYLSSAILive2TrackingClient> weak = shared_from_this();
  auto task = session_->dataTask(std::move(request), [weak, completion = std::move(completion)](
                                                         Result<URLSessionResponse> result) {
    const auto self = weak.lock();
    if (!self) {
      completion(SKYLSSAILive2PollSkip{SKYLSSAILive2PollSkip::clientDeallocated});
      return;
    }
    Outcome outcome = self->classify(std::move(result));
    {
      MutexLock lock(self->mutex_);
      self->inFlight_ = false;
      if (const auto* response = std::get_if<SKYLSSAILive2TrackingResponse>(&outcome)) {
        self->consecutiveFailures_ = 0;
        self->nextToken_ = response->nextToken;
      } else if (++self->consecutiveFailures_ >= self->failureThreshold_) {
        self->nextToken_.reset();
        self->consecutiveFailures_ = 0;
      }
    }
    completion(std::move(outcome));
  });
  task->resume();
  return task;
}

}  // namespace skylark
