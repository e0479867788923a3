#include "vmap/SKYLVelaDocument.h"

#include "host/SKYLHostLog.h"
#include "platform/NotificationCenter.h"
#include "platform/StringFormat.h"
#include "timeline/SKYLVelaErrors.h"
#include "vmap/SKYLVelaVMAPParser.h"

namespace skylark {
namespace {

// Documents share one session (and so one network thread).
std::shared_ptr<URLSession> defaultSession() { return URLSession::shared(); }

SKYLError velaError(int64_t code, std::string description) {
  return SKYLError(std::string(SKYLVelaErrorDomain), code, std::move(description));
}

// Posts the raw response on the main queue. The notification carries a
// copy of the bytes, made there and only when an observer will read it:
// the download's own buffer goes on to the timeline.
void announceResponse(std::any sessionCommonProperties, std::shared_ptr<const std::string> body) {
  Dispatch::main().async([properties = std::move(sessionCommonProperties),
                          body = std::move(body)]() mutable {
    auto& center = NotificationCenter::defaultCenter();
    const std::string name(kSKYLSSAIVMAPResponseReceivedNotification);
    if (!center.hasObservers(name)) return;
    Notification notification;
    notification.name = name;
    notification.object = std::move(properties);
    notification.userInfo[std::string(kSKYLSSAIVMAPResponseReceivedNotificationDataUserInfoKey)] =
        *body;
    center.post(notification);
  });
}

}  // namespace

SKYLVelaDocument::SKYLVelaDocument(std::optional<URL> velaURL,
                                   std::shared_ptr<const std::string> data)
    : velaURL_(std::move(velaURL)), vmapXMLData_(std::move(data)) {}

std::shared_ptr<SKYLVelaDocument> SKYLVelaDocument::initWithURL(URL velaURL) {
  std::shared_ptr<SKYLVelaDocument> document(new SKYLVelaDocument(std::move(velaURL), {}));
  document->retrievalQueue_ = Dispatch::makeSerialQueue("SKYLVelaDocument.retrievalQueue");
  MutexLock lock(document->mutex_);
  document->session_ = defaultSession();
  return document;
}

std::shared_ptr<SKYLVelaDocument> SKYLVelaDocument::initWithVMAPXMLData(std::string vmapXMLData) {
  return initWithVMAPXMLData(std::make_shared<const std::string>(std::move(vmapXMLData)));
}

std::shared_ptr<SKYLVelaDocument> SKYLVelaDocument::initWithVMAPXMLData(
    std::shared_ptr<const std::string> vmapXMLData) {
  if (!vmapXMLData) vmapXMLData = std::make_shared<const std::string>();
  return std::shared_ptr<SKYLVelaDocument>(new SKYLVelaDocument({}, std::move(vmapXMLData)));
}

SKYLVelaDocument::State SKYLVelaDocument::state() const {
  MutexLock lock(mutex_);
  return state_;
}

std::shared_ptr<SKYLVelaTimeline> SKYLVelaDocument::timeline() const {
  MutexLock lock(mutex_);
  return timeline_;
}

std::optional<long> SKYLVelaDocument::responseStatusCode() const {
  MutexLock lock(mutex_);
  return responseStatusCode_;
}

std::string SKYLVelaDocument::vmapExtensionsNamespace() const {
  MutexLock lock(mutex_);
  return vmapExtensionsNamespace_;
}

void SKYLVelaDocument::setSharedURLSession(std::shared_ptr<URLSession> session) {
  MutexLock lock(mutex_);
  session_ = session ? std::move(session) : defaultSession();
}

std::optional<SKYLError> SKYLVelaDocument::parse(std::shared_ptr<const std::string> data) {
  SKYLVelaParseContext context;
  auto parsed = SKYLVelaParseTimelineFromDataWithError(&context, std::move(data));
  if (parsed.ok() && velaURL_) {
    // A downloaded document must not make the player read a local file or
    // speak another protocol: only a local document may name a file: stream.
    const auto& stream = parsed.value()->velaURL();
    if (stream && !stream->isHTTPOrHTTPS()) {
      parsed = velaError(SKYLVelaDocumentErrorCodeDeserialization,
                         "The VMAP document names a stream that is not http(s).")
                   .withFailureReason(formatObjC(
                       "A document downloaded from %@ may only name http(s) streams, not %@.",
                       {velaURL_, stream}));
    }
  }
  MutexLock lock(mutex_);
  vmapExtensionsNamespace_ = context.vmapExtensionsNamespace;
  if (parsed.ok()) {
    timeline_ = parsed.value();
    // A document failed by a repeated retrieval stays failed.
    if (state_ != State::Failed) state_ = State::Retrieved;
    return std::nullopt;
  }
  state_ = State::Failed;
  // The parser's own 4011 errors carry their reason; others (XML) are
  // attached under a 4011 of ours.
  if (parsed.error().domain == SKYLVelaErrorDomain) return parsed.error();
  return velaError(SKYLVelaDocumentErrorCodeDeserialization, "The VMAP document could not be read.")
      .withUnderlyingError(parsed.error());
}

void SKYLVelaDocument::processVMAPXMLData(const Completion& completion) {
  const auto error = parse(vmapXMLData_ ? vmapXMLData_ : std::make_shared<const std::string>());
  if (completion) completion(shared_from_this(), error);
}

void SKYLVelaDocument::retrieveOnQueue(DispatchQueue& queue,
                                       const HTTPHeaderFields& withHTTPHeaders,
                                       Completion completion) {
  if (!retrievalQueue_ || !velaURL_) {
    // A document made from bytes has nothing to download.
    {
      MutexLock lock(mutex_);
      state_ = State::Failed;
    }
    queue.async([self = shared_from_this(), completion = std::move(completion)] {
      completion(self, velaError(SKYLVelaDocumentErrorCodeConnection, "The document has no URL."));
    });
    return;
  }
  retrievalQueue_->async([self = shared_from_this(), &queue, headers = withHTTPHeaders,
                          completion = std::move(completion)]() mutable {
    self->retrieve(queue, headers, std::move(completion));
  });
}

void SKYLVelaDocument::retrieve(DispatchQueue& queue, const HTTPHeaderFields& headers,
                                Completion completion) {
  std::shared_ptr<URLSession> session;
  {
    MutexLock lock(mutex_);
    if (state_ != State::NotStarted) {
      state_ = State::Failed;
      session = nullptr;
    } else {
      state_ = State::Retrieving;
      session = session_;
    }
  }
  if (!session) {
    SKYLError error = velaError(SKYLVelaDocumentErrorCodeMultipleRetrieval,
                                "The VMAP document was already retrieved.");
    error.withFailureReason(
        formatObjC("Multiple -[%@ retrieveOnQueue:completion:] messages not may not be sent to "
                   "the same instance.",
                   {"SKYLVelaDocument"}));
    error.withRecoverySuggestion(formatObjC(
        "Create a new instance of %@ with URL %@ to re-retrieve.", {"SKYLVelaDocument", velaURL_}));
    completion(nullptr, std::move(error));
    return;
  }

  URLRequest request(*velaURL_);
  request.timeoutInterval = timeoutInterval_;
  for (const auto& [name, value] : headers) request.addValue(value, name);
  auto task = session->dataTask(
      std::move(request), [self = shared_from_this(), &queue,
                           completion = std::move(completion)](Result<URLSessionResponse> result) {
        if (!result.ok()) {
          {
            MutexLock lock(self->mutex_);
            self->state_ = State::Failed;
          }
          SKYLError error = velaError(SKYLVelaDocumentErrorCodeConnection,
                                      "The VMAP document could not be downloaded.");
          error.withUnderlyingError(result.error());
          queue.async([self, completion, error] { completion(self, error); });
          return;
        }
        // The URL session's one thread carries every transfer of the
        // process (beacons of other sessions among them): the document is
        // read on the caller's queue, just before its completion there, and
        // the thread goes back to the network at once.
        {
          MutexLock lock(self->mutex_);
          self->responseStatusCode_ = result->response.statusCode;
        }
        auto body = std::make_shared<const std::string>(std::move(result->data));
        queue.async([self, completion, body = std::move(body)] {
          SKYLHostLog(6, "VMAP response: %@", *body);
          announceResponse(self->sessionCommonProperties_, body);
          const auto error = self->parse(body);
          completion(self, error);
        });
      });
  task->resume();
}

}  // namespace skylark
