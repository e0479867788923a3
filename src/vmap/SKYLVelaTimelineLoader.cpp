#include "vmap/SKYLVelaTimelineLoader.h"

#include "host/SKYLHostLog.h"
#include "host/SKYLHostNotifications.h"
#include "platform/DispatchQueue.h"
#include "timeline/SKYLVelaAdSequencesBuilder.h"
#include "vmap/SKYLVelaDocument.h"

namespace skylark {

std::shared_ptr<SKYLVelaTimelineLoader> SKYLVelaTimelineLoader::initWithSource(
    std::shared_ptr<const SKYLSource> videoSource) {
  return std::shared_ptr<SKYLVelaTimelineLoader>(
      new SKYLVelaTimelineLoader(std::move(videoSource)));
}

void SKYLVelaTimelineLoader::load(Completion completion) {
  Dispatch::global().async([self = shared_from_this(), completion = std::move(completion)] {
    self->loadNow(completion);
  });
}

void SKYLVelaTimelineLoader::finish(const std::shared_ptr<SKYLVelaDocument>& document,
                                    const std::optional<SKYLError>& error,
                                    const Completion& completion) {
  resultTimeline_ = document ? document->timeline() : nullptr;
  responseStatusCode_ = document ? document->responseStatusCode() : std::nullopt;
  error_ = resultTimeline_ ? std::nullopt : error;
  completion(shared_from_this());
}

void SKYLVelaTimelineLoader::loadNow(const Completion& completion) {
  if (videoSource_ && videoSource_->vmapXMLData()) {
    auto document = SKYLVelaDocument::initWithVMAPXMLData(videoSource_->vmapXMLData());
    document->setSessionCommonProperties(sessionCommonProperties_);
    document->processVMAPXMLData(
        [self = shared_from_this(), completion](auto doc, const auto& error) {
          self->finish(doc, error, completion);
        });
    return;
  }
  if (!videoSource_ || !videoSource_->url()) {
    SKYLHostLog(1, "Error: videoSource or videoSource.url is nil.");
    error_ = SKYLError(kSKYLPlaybackSessionErrorDomain, kSKYLPlaybackSessionErrorCodeLoadFailed);
    completion(shared_from_this());
    return;
  }
  if (videoSource_->isLiveSSAISource()) {
    SKYLVelaAdSequencesBuilder sequences(MediaTime::positiveInfinity());
    resultTimeline_ = SKYLVelaTimeline::create(
        videoSource_->url(), MediaTime::positiveInfinity(), MediaTime::positiveInfinity(),
        sequences.buildAdSequences().value_or(SKYLVelaTimeline::Sequences{}), {},
        /*isLiveSSAI=*/true);
    completion(shared_from_this());
    return;
  }
  auto document = SKYLVelaDocument::initWithURL(*videoSource_->url());
  if (urlSession_) document->setSharedURLSession(urlSession_);
  document->setSessionCommonProperties(sessionCommonProperties_);
  document->retrieveOnQueue(Dispatch::global(), httpHeaders_,
                            [self = shared_from_this(), completion](auto doc, const auto& error) {
                              self->finish(doc, error, completion);
                            });
}

}  // namespace skylark
