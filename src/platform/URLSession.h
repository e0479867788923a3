#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Result.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

inline constexpr std::string_view kURLErrorDomain = "NSURLErrorDomain";
inline constexpr int64_t kURLErrorUnknown = -1;
inline constexpr int64_t kURLErrorCancelled = -999;
inline constexpr int64_t kURLErrorTimedOut = -1001;
inline constexpr int64_t kURLErrorUnsupportedURL = -1002;
inline constexpr int64_t kURLErrorCannotFindHost = -1003;
inline constexpr int64_t kURLErrorCannotConnectToHost = -1004;
inline constexpr int64_t kURLErrorNetworkConnectionLost = -1005;
inline constexpr int64_t kURLErrorHTTPTooManyRedirects = -1007;
inline constexpr int64_t kURLErrorDataLengthExceedsMaximum = -1103;

using HTTPHeaderFields = std::vector<std::pair<std::string, std::string>>;

struct URLRequest {
  explicit URLRequest(URL requestURL) : url(std::move(requestURL)) {}

  URL url;
  std::string httpMethod = "GET";
  HTTPHeaderFields headers;
  std::string httpBody;
  std::chrono::milliseconds timeoutInterval{60'000};

  // Adds a header value; a header of the same name (any case) gets the
  // value appended after a comma instead of being replaced.
  void addValue(std::string_view value, std::string_view forHTTPHeaderField);
  std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;
};

struct HTTPURLResponse {
  URL url;  // after redirects
  long statusCode = 0;
  HTTPHeaderFields headerFields;

  std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;
};

struct URLSessionResponse {
  std::string data;
  HTTPURLResponse response;
};

// A transport error that is a time-out (as opposed to any other failure).
bool isTimeoutError(const SKYLError& error);

class URLSessionDataTask;

// HTTP over libcurl's multi interface, on one thread of its own.
//
// Only http and https are spoken, on the first request and on every
// redirect (an ad document must never make the player read a file or speak
// another protocol); redirects are bounded, and so are response bodies.
// The HTTP status is not judged here: any response is a response.
//
// Completions run on the session's thread. A session shut down (destroyed,
// or invalidateAndCancel) with tasks in flight abandons them: their
// completions never run, nothing leaks and nothing waits for the network.
class URLSession : public std::enable_shared_from_this<URLSession> {
 public:
  struct Configuration {
    size_t maximumBodyBytes = 16u << 20;
    long maximumRedirects = 10;
    // Connections to one host at a time; more transfers to it wait their
    // turn here, in order, and are never handed to libcurl (which would
    // hold them back and set each up again at every step of its loop).
    long maximumConnectionsPerHost = 6;
    // Transfers under way at once; more wait their turn. (Handed to libcurl
    // all at once, a burst of thousands of beacons costs every step of the
    // transfer loop a walk over all of them.) Twice the connections to one
    // host: two hosts at full speed. Of the hosts with a connection free,
    // the transfer resumed first goes first.
    size_t maximumConcurrentTransfers = 12;
    // The longest a connection may take to open, TLS handshake included
    // (a TLS client at a plain-HTTP port hears nothing back); never more
    // than the request's own time-out.
    std::chrono::milliseconds connectTimeout{10'000};
  };
  using Completion = std::function<void(Result<URLSessionResponse>)>;

  static std::shared_ptr<URLSession> create(Configuration configuration);
  static std::shared_ptr<URLSession> create() { return create(Configuration{}); }
  // The process's one session (one HTTP thread), made on first use and
  // never shut down: beacons and service calls of every session share it.
  static std::shared_ptr<URLSession> shared();
  // Shuts the shared session down, if it was made, for the end of a process:
  // a completion running finishes first; later transfers never start.
  static void invalidateShared();
  ~URLSession();
  URLSession(const URLSession&) = delete;
  URLSession& operator=(const URLSession&) = delete;

  // A suspended task: nothing happens until resume().
  std::shared_ptr<URLSessionDataTask> dataTask(URLRequest request, Completion completion);
  void invalidateAndCancel();

  struct Impl;

 private:
  explicit URLSession(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
  std::shared_ptr<Impl> impl_;
};

class URLSessionDataTask {
 public:
  // Starts the transfer (once; later calls do nothing).
  void resume();
  // Ends the transfer; the completion runs with kURLErrorCancelled unless
  // it already ran.
  void cancel();
  uint64_t taskIdentifier() const { return identifier_; }

  struct State;
  URLSessionDataTask(std::weak_ptr<URLSession::Impl> session, std::shared_ptr<State> state,
                     uint64_t identifier)
      : session_(std::move(session)), state_(std::move(state)), identifier_(identifier) {}

 private:
  std::weak_ptr<URLSession::Impl> session_;
  std::shared_ptr<State> state_;
  uint64_t identifier_;
};

}  // namespace skylark
