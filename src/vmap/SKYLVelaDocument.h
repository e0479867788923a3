#pragma once

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/DispatchQueue.h"
#include "platform/SKYLError.h"
#include "platform/ThreadAnnotations.h"
#include "platform/URLSession.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaTimeline.h"

namespace SKYLARK_API skylark {

// One VMAP document: downloaded once (or given as bytes), announced, and
// parsed into a timeline.
//
//   NotStarted --retrieve--> Retrieving --parsed--> Retrieved
//        |                        \--transport or parse failure--> Failed
//        \--processVMAPXMLData--> Retrieved | Failed
//   any state but NotStarted --retrieve again--> Failed (error 4012)
//
// Retrieval runs on the document's serial retrieval queue; the URL
// session's thread only hands the response over. The response is read,
// and the completion called, on the caller's queue (the repeated
// retrieval's error excepted: it comes on the retrieval queue). The
// response notification is posted on the main queue. Safe from any thread.
class SKYLVelaDocument : public std::enable_shared_from_this<SKYLVelaDocument> {
 public:
  enum class State { NotStarted = 0, Retrieving = 1, Retrieved = 2, Failed = 3 };
  using Completion =
      std::function<void(std::shared_ptr<SKYLVelaDocument> document, std::optional<SKYLError>)>;

  static std::shared_ptr<SKYLVelaDocument> initWithURL(URL velaURL);
  // Bytes only: no queue and no session are made. Shared bytes stay
  // shared: the timeline keeps them, not a copy.
  static std::shared_ptr<SKYLVelaDocument> initWithVMAPXMLData(std::string vmapXMLData);
  static std::shared_ptr<SKYLVelaDocument> initWithVMAPXMLData(
      std::shared_ptr<const std::string> vmapXMLData);

  // Downloads with the given headers (added in order; a repeated name is
  // appended to, never replaced), then parses. `queue` must outlive the
  // retrieval.
  void retrieveOnQueue(DispatchQueue& queue, const HTTPHeaderFields& withHTTPHeaders,
                       Completion completion);
  // Parses the given bytes and calls the completion at once; no notification.
  void processVMAPXMLData(const Completion& completion);

  State state() const;
  std::shared_ptr<SKYLVelaTimeline> timeline() const;
  std::string vmapExtensionsNamespace() const;
  const std::optional<URL>& velaURL() const { return velaURL_; }
  // The HTTP status of the download, once one answered (not judged: any
  // answer is parsed).
  std::optional<long> responseStatusCode() const;

  void setSessionCommonProperties(std::any properties) { sessionCommonProperties_ = properties; }
  // How long a download may take (60 s unless set).
  void setTimeoutInterval(std::chrono::milliseconds timeout) { timeoutInterval_ = timeout; }
  // The session downloads go through; null restores the shared one.
  void setSharedURLSession(std::shared_ptr<URLSession> session);

 private:
  SKYLVelaDocument(std::optional<URL> velaURL, std::shared_ptr<const std::string> data);
  // Parses, stores the result and moves to Retrieved or Failed; the error
  // of a failure (4011) is returned.
  std::optional<SKYLError> parse(std::shared_ptr<const std::string> data);
  void retrieve(DispatchQueue& queue, const HTTPHeaderFields& headers, Completion completion);

  const std::optional<URL> velaURL_;
  const std::shared_ptr<const std::string> vmapXMLData_;
  std::shared_ptr<DispatchQueue> retrievalQueue_;
  std::any sessionCommonProperties_;
  std::chrono::milliseconds timeoutInterval_{60'000};

  mutable Mutex mutex_;
  State state_ SKYL_GUARDED_BY(mutex_) = State::NotStarted;
  std::shared_ptr<SKYLVelaTimeline> timeline_ SKYL_GUARDED_BY(mutex_);
  std::string vmapExtensionsNamespace_ SKYL_GUARDED_BY(mutex_);
  std::shared_ptr<URLSession> session_ SKYL_GUARDED_BY(mutex_);
  std::optional<long> responseStatusCode_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
