// SKYLVUXSession: the two kinds of live stream. The newer service through
// its coordinator (ad state from program dates), and the older one through
// the ad metadata its stream carries as timed metadata.
#include <fmt/format.h>

#include "host/SKYLHostConstants.h"
#include "host/SKYLHostLog.h"
#include "live2/SKYLSSAILive2Coordinator.h"
#include "measurement/SKYLAdVerification.h"
#include "platform/DispatchQueue.h"
#include "session/SKYLVUXSession.h"
#include "session/SessionHelpers.h"
#include "timeline/SKYLVelaAdBuilder.h"
#include "timeline/SKYLVelaCompanionAdBuilder.h"
#include "timeline/SKYLVelaCompanionAdsCollectionBuilder.h"
#include "vmap/SKYLLiveSSAIAdMetadataParser.h"

namespace skylark {

using namespace session_detail;

namespace {

double secondsBetween(SystemTime from, SystemTime to) {
  return std::chrono::duration<double>(to - from).count();
}

SystemTime plusSeconds(SystemTime t, double seconds) {
  return t + std::chrono::milliseconds(static_cast<int64_t>(std::llround(seconds * 1000)));
}

}  // namespace

void SKYLVUXSession::loadLive2Session(const std::shared_ptr<SKYLSource>& source) {
  if (live2Coordinator_ && live2SessionSourceURL_ == source->url()) {
    SKYLHostLog(
        3,
        "A Meridian Live session is already active for this source. Skipping re-initialization.");
    return;
  }
  live2TeardownSession();
  live2ContentOnly_ = false;
  const uint64_t generation = ++live2SessionGeneration_;
  liveSSAI_ = true;
  const auto video = innerPlaybackSession()->video();
  updatedVideoWithCuePoints_ = video;
  if (video) video->setIsUsingSSAIPlugin(true);
  live2SessionSourceURL_ = source->url();
  live2Coordinator_ = live2CoordinatorFactory_ ? live2CoordinatorFactory_(*source->url())
                                               : SKYLSSAILive2Coordinator::create(*source->url());
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  auto completion = [weak, generation, source](Result<URL> manifest) {
    if (const auto self = weak.lock()) self->live2DidStart(generation, source, std::move(manifest));
  };
  const auto resolved =
      live2ResolvedSessionLookup_ ? live2ResolvedSessionLookup_(*source->url()) : nullptr;
  if (resolved) {
    SKYLHostLog(3, "Resuming the Meridian Live session already established for this source.");
    live2Coordinator_->resume(resolved->manifestURL, resolved->trackingURL, completion);
  } else {
    live2Coordinator_->start(live2AdsParams_, completion);
  }
}

void SKYLVUXSession::live2DidStart(uint64_t generation, const std::shared_ptr<SKYLSource>& source,
                                   Result<URL> manifest) {
  if (generation != live2SessionGeneration_ || !live2Coordinator_) return;  // a newer start won
  if (!manifest.ok()) {
    SKYLHostLog(0, "Meridian Live session init failed, playing without tracking. %@",
                manifest.error().description());
    live2PlayContentOnly(source);
    return;
  }
  const URL& manifestURL = manifest.value();
  if (const auto tracking = live2Coordinator_->trackingURL();
      tracking && live2ResolvedSessionRecorder_ && source->url()) {
    live2ResolvedSessionRecorder_(*source->url(), manifestURL, *tracking);
  }
  ssaiSource_ =
      SKYLSource::initWithURL(manifestURL, std::string(kSKYLDeliveryHLS), source->properties());
  innerPlaybackSession()->loadVideoURL(manifestURL);
  startObservingRequiredValuesOnInnerPlaybackSession(*innerPlaybackSession());
  loadState_.set(2);
}

void SKYLVUXSession::live2TeardownSession() {
  if (live2Coordinator_) live2Coordinator_->stop();
  live2Coordinator_ = nullptr;
  live2SessionSourceURL_.reset();
  live2CurrentAdId_.reset();
  live2CurrentAvailId_.reset();
  live2CurrentAdSequence_ = nullptr;
  live2CurrentAdStartDate_.reset();
  live2SequenceAdCount_ = 0;
}

void SKYLVUXSession::live2PlayContentOnly(const std::shared_ptr<SKYLSource>& source) {
  live2TeardownSession();
  live2ContentOnly_ = true;
  const auto video = innerPlaybackSession()->video();
  updatedVideoWithCuePoints_ = video;
  if (video) video->setIsUsingSSAIPlugin(true);
  ssaiSource_ = source;
  if (!source->url()) {
    fail(SKYLError(std::string(kSKYLSSAIErrorDomain), kSKYLSSAIErrorCodeTimelineLoadError,
                   "The source has no stream URL."));
    return;
  }
  innerPlaybackSession()->loadVideoURL(*source->url());
  startObservingRequiredValuesOnInnerPlaybackSession(*innerPlaybackSession());
  loadState_.set(2);
}

void SKYLVUXSession::live2UpdateAdState() {
  const auto player = innerPlaybackSession()->player();
  const auto date = player ? player->currentDate() : std::nullopt;
  if (!date || !live2Coordinator_) return;
  live2Coordinator_->update(*date);
  const auto info = live2Coordinator_->presentableAdInfo(*date);
  const auto availId = live2Coordinator_->availId(*date);

  if (availId) {
    if (availId != live2CurrentAvailId_) {
      live2CurrentAvailId_ = availId;
      live2SequenceAdCount_ = 0;
      canSeek_ = false;
    }
    const int64_t count = live2Coordinator_->presentableAdCount(*availId);
    if (count > live2SequenceAdCount_) {
      // Announced again whenever more of the break's ads can be shown.
      auto sequence = std::make_shared<SKYLAdSequence>();
      for (const auto& ad : live2Coordinator_->ads(*availId))
        sequence->ads.push_back(live2AdForInfo(ad));
      live2SequenceAdCount_ = count;
      live2CurrentAdSequence_ = sequence;
      live2EmitEventOfType(kSKYLPlaybackSessionLifecycleEventAdSequenceEnter,
                           kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence, sequence);
    }
    if (info && info->adId != live2CurrentAdId_.value_or("")) {
      live2ExitCurrentAd();
      currentAd_ = live2AdForInfo(*info);
      currentAdSource_ = nullptr;
      live2CurrentAdId_ = info->adId;
      live2CurrentAdStartDate_ = *date;
      adPlaying_ = true;
      live2EmitEventOfType(kSKYLPlaybackSessionLifecycleEventAdEnter,
                           kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd, currentAd_);
    } else if (!info && live2CurrentAdId_) {
      live2ExitCurrentAd();
    }
    live2EmitAdProgressAt(*date);
    return;
  }
  live2EmitAdProgressAt(*date);
  if (live2CurrentAvailId_) {
    live2ExitCurrentAd();
    live2CurrentAvailId_.reset();
    const auto sequence = std::exchange(live2CurrentAdSequence_, nullptr);
    live2SequenceAdCount_ = 0;
    canSeek_ = true;
    if (sequence) {
      live2EmitEventOfType(kSKYLPlaybackSessionLifecycleEventAdSequenceExit,
                           kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence, sequence);
    }
  }
}

void SKYLVUXSession::live2ExitCurrentAd() {
  if (!live2CurrentAdId_) return;
  live2CurrentAdId_.reset();
  live2CurrentAdStartDate_.reset();
  adPlaying_ = false;
  live2EmitEventOfType(kSKYLPlaybackSessionLifecycleEventAdExit,
                       kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd,
                       currentAd_ ? std::any(currentAd_) : std::any());
}

void SKYLVUXSession::live2EmitAdProgressAt(SystemTime date) {
  if (!currentAd_ || !adPlaying_ || !live2CurrentAdStartDate_) return;
  double elapsed = secondsBetween(*live2CurrentAdStartDate_, date);
  const double duration = currentAd_->duration.seconds();
  if (duration > 0 && elapsed > duration) elapsed = duration;  // never past the ad's end
  adPlayDuration_ = elapsed;
  auto event = SKYLPlaybackSessionLifecycleEvent::eventWithType(
      kSKYLPlaybackSessionLifecycleEventAdProgress,
      {{key(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd), currentAd_},
       {key(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress),
        MediaTime::makeWithSeconds(elapsed, 600)}});
  lifecycleState_.set(std::move(event));
}

void SKYLVUXSession::live2EmitEventOfType(std::string_view type, std::string_view propertyKey,
                                          std::any value) {
  if (!value.has_value()) {
    SKYLHostLog(0, "Suppressed Meridian Live %@ with no %@; emitting it would abort.", type,
                propertyKey);
    return;
  }
  lifecycleState_.set(SKYLPlaybackSessionLifecycleEvent::eventWithType(
      type, {{key(propertyKey), std::move(value)}}));
}

std::shared_ptr<SKYLAd> SKYLVUXSession::live2AdForInfo(const SKYLSSAILive2AdInfo& info) const {
  auto record = std::make_shared<SKYLAd>();
  record->title = info.title;
  record->adId = info.adId;
  record->beginTime = MediaTime::makeWithSeconds(info.beginTime, 600);
  record->duration = MediaTime::makeWithSeconds(info.duration, 600);
  record->properties[key(kSKYLAdPropertyKeyClickthroughURLs)] = info.clickthroughURLs;
  record->properties[key(kSKYLAdPropertyKeyTrackingURLs)] = info.clickTrackingURLs;
  record->properties[key(kSKYLAdPropertyKeySkippable)] = int64_t{0};
  record->properties[key(kSKYLSSAIAdPropertiesKeyVelaAd)] = live2VelaAdForInfo(info);
  std::weak_ptr<SKYLSSAILive2Coordinator> coordinator = live2Coordinator_;
  const std::string adId = info.adId;
  record->privateProperties[key(kSKYLAdPrivatePropertyKeyLearnMoreClickTrackingHandler)] =
      std::function<void()>([coordinator, adId] {
        if (const auto live = coordinator.lock()) live->fireClickTracking(adId);
      });
  if (live2Coordinator_ && live2CurrentAvailId_) {
    const auto ads = live2Coordinator_->ads(*live2CurrentAvailId_);
    for (size_t i = 0; i < ads.size(); ++i) {
      if (ads[i].adId == info.adId) record->adIndex = static_cast<int64_t>(i);
    }
  }
  return record;
}

std::shared_ptr<const SKYLVelaAd> SKYLVUXSession::live2VelaAdForInfo(
    const SKYLSSAILive2AdInfo& info) const {
  SKYLVelaAdBuilder builder;
  builder.adId = info.adId;
  builder.adTitle = info.title;
  builder.beginTime = MediaTime::makeWithSeconds(info.beginTime, 600);
  builder.duration = MediaTime::makeWithSeconds(info.duration, 600);
  builder.liveSSAI = true;
  builder.adNotSlate = !info.isSlate;
  SKYLVelaCompanionAdsCollectionBuilder companions;
  for (const auto& companion : info.companions) {
    SKYLVelaCompanionAdBuilder c;
    c.identifier = companion.identifier;
    c.width = companion.width;
    c.height = companion.height;
    c.staticResourceURL = companion.staticResource;
    c.staticResourceCreativeType = companion.creativeType;
    c.clickThroughURL = companion.clickThrough;
    companions.addCompanionAd(c.buildCompanionAd());
  }
  builder.companionsCollection = companions.buildCompanionAdsCollection();
  if (!info.clickthroughURLs.empty())
    builder.clickThroughURL = URL::parse(info.clickthroughURLs.front());
  for (const auto& text : info.clickTrackingURLs) {
    if (auto url = URL::parse(text)) builder.clickTrackingURLs.push_back(std::move(*url));
  }
  if (live2Coordinator_) {
    for (const auto& verification : live2Coordinator_->verifications(info.adId)) {
      builder.adVerifications.push_back(std::make_shared<const SKYLAdVerification>(
          verification.vendor, verification.apiFramework, verification.browserOptional,
          verification.resource, verification.verificationParameters, nullptr));
    }
  }
  return std::move(builder).buildAd();
}

void SKYLVUXSession::live2SeekToTime(const MediaTime& time, std::function<void(bool)> completion) {
  const auto player = innerPlaybackSession()->player();
  if (!player) {
    if (completion) completion(false);
    return;
  }
  MediaTime target = time;
  const auto date = player->currentDate();
  if (date && time.isNumeric() && live2Coordinator_) {
    const MediaTime now = player->currentTime();
    const SystemTime targetDate = plusSeconds(*date, (time - now).seconds());
    if (const auto redirected = live2Coordinator_->seekTargetDate(*date, targetDate)) {
      target = now + MediaTime::makeWithSeconds(secondsBetween(*date, *redirected), 600);
    }
  }
  if (tracker_) tracker_->setSuspendProgress(true);
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  seekPlayer(target, [weak, completion](bool finished) {
    const auto self = weak.lock();
    if (self && self->tracker_) self->tracker_->setSuspendProgress(false);
    if (completion) completion(finished);
  });
}

// Timed metadata --------------------------------------------------------------

void SKYLVUXSession::outputDidOutputTimedMetadata(const std::vector<TimedMetadataItem>& items) {
  // On the global queue: log and read here; the timeline changes on the
  // main queue, where the tracker that reads it lives.
  for (const auto& item : items) {
    if (item.keySpace != "org.id3" || item.key != "TXXX") continue;
    SKYLHostLog(6, "keySpace : %@ (%@)", item.keySpace,
                fmt::format("time : {:.2f}", item.time.seconds()));
    SKYLHostLog(6, "key : %@ (%@)", item.key, fmt::format("time : {:.2f}", item.time.seconds()));
    SKYLHostLog(6, "value : %@", item.bytes);
    auto parsed = SKYLLiveSSAIParseAdMetadataFromDataWithError(item.bytes, item.time);
    if (!parsed.ok()) continue;
    std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
    Dispatch::main().async([weak, sequences = std::move(parsed.value())]() mutable {
      const auto self = weak.lock();
      if (!self || !self->timeline_) return;
      if (self->tracker_) self->tracker_->setSuspendProgress(true);
      self->timeline_->installLiveAdSequences(std::move(sequences));
      if (self->tracker_) self->tracker_->setSuspendProgress(false);
    });
  }
}

}  // namespace skylark
