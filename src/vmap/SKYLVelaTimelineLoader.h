#pragma once

#include <any>
#include <functional>
#include <memory>
#include <optional>

#include "host/SKYLSource.h"
#include "platform/SKYLError.h"
#include "platform/URLSession.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaTimeline.h"

namespace SKYLARK_API skylark {

class SKYLVelaDocument;

// Turns a video source into a timeline: from the VMAP bytes the source
// carries, else by downloading its URL, else (a live SSAI source) as an
// empty live timeline whose ads arrive later. Works on the global queue;
// the completion runs on whichever queue finished the work.
class SKYLVelaTimelineLoader : public std::enable_shared_from_this<SKYLVelaTimelineLoader> {
 public:
  using Completion = std::function<void(std::shared_ptr<SKYLVelaTimelineLoader> loader)>;

  static std::shared_ptr<SKYLVelaTimelineLoader> initWithSource(
      std::shared_ptr<const SKYLSource> videoSource);

  void setHttpHeaders(HTTPHeaderFields headers) { httpHeaders_ = std::move(headers); }
  // The session the document is downloaded through; the shared one by default.
  void setURLSession(std::shared_ptr<URLSession> session) { urlSession_ = std::move(session); }
  void setSessionCommonProperties(std::any properties) {
    sessionCommonProperties_ = std::move(properties);
  }

  // Read resultTimeline() and error() in the completion.
  void load(Completion completion);

  std::shared_ptr<SKYLVelaTimeline> resultTimeline() const { return resultTimeline_; }
  const std::optional<SKYLError>& error() const { return error_; }
  // The HTTP status of the downloaded document, when one was downloaded.
  std::optional<long> responseStatusCode() const { return responseStatusCode_; }

 private:
  explicit SKYLVelaTimelineLoader(std::shared_ptr<const SKYLSource> source)
      : videoSource_(std::move(source)) {}
  void loadNow(const Completion& completion);
  void finish(const std::shared_ptr<SKYLVelaDocument>& document,
              const std::optional<SKYLError>& error, const Completion& completion);

  std::shared_ptr<const SKYLSource> videoSource_;
  HTTPHeaderFields httpHeaders_;
  std::shared_ptr<URLSession> urlSession_;
  std::any sessionCommonProperties_;
  std::shared_ptr<SKYLVelaTimeline> resultTimeline_;
  std::optional<SKYLError> error_;
  std::optional<long> responseStatusCode_;
};

}  // namespace skylark
