#include "session/SKYLVUXSession.h"

#include <set>

#include "host/SKYLHostConstants.h"
#include "host/SKYLHostLog.h"
#include "host/SKYLHostServices.h"
#include "live2/SKYLSSAILive2Coordinator.h"
#include "live2/SKYLSSAILive2Detector.h"
#include "platform/DispatchQueue.h"
#include "platform/NotificationCenter.h"
#include "session/SessionHelpers.h"
#include "timeline/SKYLSSAIConstants.h"
#include "vmap/SKYLVelaTimelineLoader.h"

namespace skylark {
namespace {

using TrackerEvent = SKYLVelaProgressTrackerEvent;

// The options' detection value to the detector's rule: 1 and 2 pick the
// first two cases, anything else the third.
SKYLSSAILive2DetectionRule detectionRule(int64_t meridianLiveDetection) {
  switch (meridianLiveDetection) {
    case 1:
      return static_cast<SKYLSSAILive2DetectionRule>(0);
    case 2:
      return static_cast<SKYLSSAILive2DetectionRule>(1);
    default:
      return static_cast<SKYLSSAILive2DetectionRule>(2);
  }
}

SKYLPlaybackSession::TimeRanges rangesOf(const SKYLVelaProgressTracker::Ranges& ranges) {
  return ranges.value_or(SKYLPlaybackSession::TimeRanges{});
}

}  // namespace

using namespace session_detail;

std::shared_ptr<SKYLVUXSession> SKYLVUXSession::initWithUpstreamSession(
    std::shared_ptr<SKYLPlaybackSession> session, HTTPHeaderFields httpHeaders,
    std::shared_ptr<const SessionEnvironment> environment) {
  if (!environment) environment = SessionEnvironment::makeDefault();
  std::shared_ptr<SKYLVUXSession> made(
      new SKYLVUXSession(std::move(session), std::move(httpHeaders), std::move(environment)));
  made->start();
  return made;
}

SKYLVUXSession::SKYLVUXSession(std::shared_ptr<SKYLPlaybackSession> inner, HTTPHeaderFields headers,
                               std::shared_ptr<const SessionEnvironment> environment)
    : ForwardingPlaybackSession(std::move(inner)),
      environment_(std::move(environment)),
      httpHeaders_(std::move(headers)),
      adLedger_(environment_, *innerPlaybackSession()),
      seeker_(*innerPlaybackSession()),
      playedBreaks_(*innerPlaybackSession(), seeker_) {}

void SKYLVUXSession::start() {
  sessionCommonProperties_ = innerPlaybackSession()->sessionCommonProperties();
  adLedger_.setCommonProperties(sessionCommonProperties_);
  seeker_.setCommonProperties(sessionCommonProperties_);
  providerExtension_ = SKYLSessionProviderExtension::initWithPlaybackSession(shared_from_this());
  kvoManager_.startObserving<SKYLLifecycleEventPtr>(
      innerPlaybackSession()->lifecycleState(),
      [this](const SKYLLifecycleEventPtr& event) { innerLifecycleChanged(event); }, true);
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  // The inner session keeps its player for life: observe that one only.
  innerPlayer_ = innerPlaybackSession()->player().get();
  rateObserver_ = environment_->notificationCenter.addObserver(
      std::string(kSKYLPlayerRateDidChangeNotification), innerPlayer_,
      [weak](const Notification& n) {
        const auto self = weak.lock();
        const auto* posted = std::any_cast<Player*>(&n.object);
        if (self && posted && *posted && *posted == self->innerPlaybackSession()->player().get()) {
          self->didChangeRate(**posted);
        }
      });
}

SKYLVUXSession::~SKYLVUXSession() {
  environment_->notificationCenter.removeObserver(rateObserver_);
  if (live2Coordinator_) live2Coordinator_->stop();
  pictureInPictureObservation_.stopObserving();
  trackerObservations_.stopObserving();
  kvoManager_.stopObserving();
  SKYLHostServices::logDeallocation("SKYLVUXSession", this);
}

void SKYLVUXSession::setOptions(const SessionOptions& options) {
  options_ = options;
  seeker_.setSnapbackEnabled(options.snapbackEnabled);
  playedBreaks_.setPolicy(options.playedBreaks);
  if (options.playedBreaks == PlayedBreaksPolicy::skip) {
    seeker_.setNeverForced(
        [this](const SKYLVelaAdSequence& sequence) { return playedBreaks_.skips(sequence); });
    if (!oneShotBeacons_) oneShotBeacons_ = std::make_shared<OneShotBeaconFilter>();
  } else {
    seeker_.setNeverForced(nullptr);
    oneShotBeacons_.reset();
  }
  if (options.expandVASTMacros && !beaconPlayheads_) {
    beaconPlayheads_ = std::make_shared<BeaconPlayheads>();
  } else if (!options.expandVASTMacros) {
    beaconPlayheads_.reset();
  }
}

void SKYLVUXSession::setSessionCommonProperties(
    const std::shared_ptr<SKYLSessionCommonProperties>& properties) {
  sessionCommonProperties_ = properties;
  adLedger_.setCommonProperties(properties);
  seeker_.setCommonProperties(properties);
  innerPlaybackSession()->setSessionCommonProperties(properties);
}

void SKYLVUXSession::checkIfSourceIsAudioOnly(const std::shared_ptr<SKYLSource>&) {
  innerPlaybackSession()->checkIfSourceIsAudioOnly(ssaiSource_);
}

bool SKYLVUXSession::respondsToSelector(std::string_view selector) const {
  static const std::set<std::string_view, std::less<>> kOwn = {
      "load",
      "video",
      "canSeek",
      "currentTime",
      "absoluteTimeAtContentTime:",
      "contentTimeAtAbsoluteTime:",
      "contentTimeFromVideoTime:",
      "setSessionCommonProperties:",
      "checkIfSourceIsAudioOnly:",
      "startObservingRequiredValuesOnInnerPlaybackSession:",
      "seekToTime:completionHandler:",
      "seekToTime:toleranceBefore:toleranceAfter:completionHandler:",
      "resumeVideoAtTime:withAutoPlay:",
      "pauseAd",
      "resumeAd"};
  return kOwn.count(selector) > 0 || innerPlaybackSession()->respondsToSelector(selector);
}

void SKYLVUXSession::setAdDisplayContainer(
    std::shared_ptr<SKYLSSAIAdComponentDisplayContainer> container) {
  adDisplayContainer_ = std::move(container);
  if (adDisplayContainer_) adDisplayContainer_->setSession(shared_from_this());
}

// Loading ---------------------------------------------------------------

void SKYLVUXSession::load() {
  const auto inner = innerPlaybackSession();
  const auto video = inner->video();
  if (video && !video->manifestTTLIsValid()) {
    SKYLHostLog(3, "Manifest TTL expired for video %@. Will attempt to update.",
                video->identifier().value_or(""));
    std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
    SKYLHostServices::shared().updateManifestURLTTLTokenForVideo(
        video, inner->source(), [weak](Result<void> renewed) {
          if (const auto self = weak.lock(); self && renewed.ok()) self->load();
        });
    return;
  }
  if (loadState_.get() != 0) return;
  loadState_.set(1);
  const auto source = inner->source();
  if (!source) {
    loadTimeline(
        nullptr);  // the loader says what is missing, as it does for a source without a URL
    return;
  }
  std::optional<std::string> token;
  if (const auto found = source->properties().find(key(kSKYLSourceParameterKeyLivePlaybackToken));
      found != source->properties().end()) {
    token = found->second;
  }
  if (meridianLiveDetection_ != 0 && source->url() &&
      SKYLSSAILive2Detector::isLive2(source->url(), token, detectionRule(meridianLiveDetection_))) {
    loadLive2Session(source);
    return;
  }
  if (SKYLSSAILive2Detector::isLive2(source->url(), token, detectionRule(3))) {
    SKYLHostLog(3,
                "Meridian Live handling is off for this source. Playing it without ad features.");
    live2PlayContentOnly(source);
    return;
  }
  loadTimeline(source);
}

void SKYLVUXSession::loadTimeline(const std::shared_ptr<SKYLSource>& source) {
  liveSSAI_ = source && source->isLiveSSAISource();
  adLedger_.setLive(liveSSAI_);
  if (const auto video = innerPlaybackSession()->video()) video->setIsUsingSSAIPlugin(true);
  auto loader = SKYLVelaTimelineLoader::initWithSource(source);
  if (const auto properties = sessionCommonProperties_.lock()) {
    loader->setSessionCommonProperties(std::any(properties));
  }
  loader->setHttpHeaders(httpHeaders_);
  loader->setURLSession(environment_->urlSession);
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  loader->load([weak, environment = environment_](std::shared_ptr<SKYLVelaTimelineLoader> done) {
    // The loader finishes on its own queue: everything else is main-queue.
    environment->mainQueue.async([weak, done] {
      if (const auto self = weak.lock())
        self->didLoadTimeline(done->resultTimeline(), done->error());
    });
  });
}

void SKYLVUXSession::didLoadTimeline(std::shared_ptr<SKYLVelaTimeline> timeline,
                                     std::optional<SKYLError> error) {
  timeline_ = std::move(timeline);
  const auto properties = sessionCommonProperties_.lock();
  if (timeline_ && properties && properties->generateInterstitialTimeRanges) {
    for (const auto& sequence : *timeline_->adSequences()) {
      interstitialTimeRanges_.push_back(
          MediaTimeRange::make(sequence->beginTime(), sequence->duration()));
    }
  }
  if (timeline_) vmapResponseData_ = timeline_->vmapResponseData();
  if (!timeline_ || error) {
    loadError_ = error;
    loadState_.set(3);
    return;
  }
  tracker_ = std::make_unique<SKYLVelaProgressTracker>(timeline_);
  seeker_.attach(timeline_, tracker_.get(), liveSSAI_);
  playedBreaks_.attach(tracker_.get());
  playedBreaks_.setJumped([this](const auto& sequence) { didSeekPastPlayedBreak(sequence); });
  startObservingRequiredValuesOnInnerPlaybackSession(*innerPlaybackSession());
  trackerObservations_.startObserving<SKYLVelaProgressTracker::Ranges>(
      tracker_->contentLoadedTimeRanges(),
      [this](const auto& ranges) { loadedTimeRanges_.set(rangesOf(ranges)); }, false);
  trackerObservations_.startObserving<SKYLVelaProgressTracker::Ranges>(
      tracker_->contentSeekableTimeRanges(),
      [this](const auto& ranges) { seekableRanges_.set(rangesOf(ranges)); }, false);
  makeDigester(false);
  analyticsSession_ = std::make_unique<SKYLVelaAnalyticsSession>(*tracker_, digester_);
  // One listener for each of the tracker's outputs: the order in which the
  // analytics and the session hear them is written in those two functions.
  trackerObservations_.startObserving<MediaTime>(
      tracker_->contentTime(), [this](const MediaTime& time) { contentTimeChanged(time); }, false);
  trackerObservations_.startObserving<SKYLVelaProgressTracker::Event>(
      tracker_->event(), [this](const auto& event) { trackerEventChanged(event); }, false);
  addCuePoints();
  loadStream();
}

void SKYLVUXSession::addCuePoints() {
  std::vector<SKYLCuePoint> cuePoints;
  for (const auto& sequence : *timeline_->adSequences()) {
    cuePoints.push_back({key(kSKYLCuePointTypeAdSlot), sequence->logicalOffset(), {}});
    if (sequence->logicalOffset() == MediaTime::zero()) {
      // Reverse playback stops exactly at the end of the pre-roll.
      reversePlaybackEndTime_ = sequence->endTime() + truncatedSeekOffset();
      if (const auto item = innerPlaybackSession()->currentPlayerItem()) {
        item->setReversePlaybackEndTime(reversePlaybackEndTime_);
      }
    }
  }
  const auto video = innerPlaybackSession()->video();
  if (!video) return;
  cuePoints.insert(cuePoints.end(), video->cuePoints().begin(), video->cuePoints().end());
  updatedVideoWithCuePoints_ = video->update(std::move(cuePoints));
  updatedVideoWithCuePoints_->setIsUsingSSAIPlugin(true);
}

void SKYLVUXSession::loadStream() {
  const auto& streamURL = timeline_->velaURL();
  if (!streamURL) {
    loadError_ = SKYLError(std::string(kSKYLSSAIErrorDomain), kSKYLSSAIErrorCodeTimelineLoadError);
    loadState_.set(3);
    SKYLHostLog(0, "Unable to parse a video source URL from the SSAI VMAP. %@",
                vmapResponseData_ ? *vmapResponseData_ : std::string());
    return;
  }
  std::string url = streamURL->absoluteString();
  const auto source = innerPlaybackSession()->source();
  if (source) {
    const auto& properties = source->properties();
    const auto encryption = properties.find(key(kSKYLSourcePropertyKeyEncryption));
    const std::map<std::string, std::string> classified = {
        {key(kSKYLSourceURLKey), url},
        {key(kSKYLSourcePropertyKeyEncryption),
         encryption == properties.end() ? std::string() : encryption->second}};
    const auto token = properties.find(key(kSKYLSourcePropertyKeyAuthToken));
    if (token != properties.end() && SKYLHostServices::shared().sourceIsHLSe(classified)) {
      url += formatObjC("&%@=%@", {kSKYLVUXAuthQueryParam, token->second});
    }
  }
  SKYLHostLog(6, "loadVideoURL %@", url);
  const auto parsed = URL::parse(url);
  if (!parsed) {
    fail(SKYLError(std::string(kSKYLSSAIErrorDomain), kSKYLSSAIErrorCodeTimelineLoadError,
                   "The stream URL is not a URL: " + url));
    return;
  }
  ssaiSource_ = SKYLSource::initWithURL(parsed, std::string(kSKYLDeliveryHLS), {});
  const auto properties = sessionCommonProperties_.lock();
  if (properties && properties->thumbnailSeekingEnabled) {
    innerPlaybackSession()->checkForThumbnailSource(timeline_->thumbnailVTTURL());
  }
  innerPlaybackSession()->loadVideoURL(*parsed);
  loadState_.set(2);
}

void SKYLVUXSession::fail(SKYLError error) {
  loadError_ = std::move(error);
  loadState_.set(3);
}

// Relayed values ---------------------------------------------------------

void SKYLVUXSession::startObservingRequiredValuesOnInnerPlaybackSession(
    SKYLPlaybackSession& inner) {
  if (observingInner_) return;
  observingInner_ = true;
  kvoManager_.startObserving<MediaTime>(
      inner.duration(), [this](const MediaTime& d) { innerDurationChanged(d); }, true);
  kvoManager_.startObserving<MediaTime>(
      inner.progressSource().currentTimeValue,
      [this](const MediaTime& time) {
        if (inBumperMode() || !tracker_) {
          // A bumper, or live without a timeline: positions are the stream's own.
          progressSource_.currentTimeValue.set(time);
          if (!inBumperMode() && beaconPlayheads_) beaconPlayheads_->set(time, time);
          if (!inBumperMode() && live2AdState_) live2UpdateAdState();
          return;
        }
        streamTimeChanged(time);
      },
      false);
  kvoManager_.startObserving<TimeRanges>(
      inner.seekableRanges(),
      [this](const TimeRanges& ranges) {
        if (tracker_ && !inBumperMode()) tracker_->setAbsoluteSeekableTimeRanges(ranges);
      },
      true);
  kvoManager_.startObserving<TimeRanges>(
      inner.loadedTimeRanges(),
      [this](const TimeRanges& ranges) {
        if (tracker_ && !inBumperMode()) tracker_->setAbsoluteLoadedTimeRanges(ranges);
      },
      true);
  if (const auto player = inner.player()) {
    kvoManager_.startObserving<PlayerItem::Status>(
        player->itemStatus, [this](PlayerItem::Status) { playerItemChanged(); }, true);
  }
}

void SKYLVUXSession::streamTimeChanged(const MediaTime& time) {
  if (beaconPlayheads_) beaconPlayheads_->set(time, timeline_->contentTimeAtAbsoluteTime(time));
  const float rate = innerPlayer_ ? innerPlayer_->rate() : tracker_->playbackRate();
  if (innerPlayer_) tracker_->setPlaybackRate(rate);
  if (startingAtBookmark_ || playedBreaks_.takesUpdate(time, rate)) return;
  tracker_->setAbsoluteTime(time);
}

void SKYLVUXSession::playerItemChanged() {
  const auto item = innerPlaybackSession()->currentPlayerItem();
  bumperMode_ = item && item->type() == PlayerItemType::bumper;
  if (!item || item == currentPlayerItem_) return;
  currentPlayerItem_ = item;
  if (item->type() != PlayerItemType::content) return;
  // The stream's timed metadata (older live SSAI) comes to this session.
  item->addOutput({weak_from_this(), &Dispatch::global()});
  if (reversePlaybackEndTime_.isValid()) item->setReversePlaybackEndTime(reversePlaybackEndTime_);
  item->setInterstitialTimeRanges(interstitialTimeRanges_);
}

void SKYLVUXSession::innerDurationChanged(const MediaTime& streamDuration) {
  if (inBumperMode() || !timeline_) {
    duration_.set(streamDuration);
    return;
  }
  MediaTime ads = MediaTime::zero();
  for (const auto& sequence : *timeline_->adSequences()) ads = ads + sequence->duration();
  duration_.set(streamDuration - ads);
}

// Lifecycle ---------------------------------------------------------------

void SKYLVUXSession::innerLifecycleChanged(const SKYLLifecycleEventPtr& event) {
  if (!event) return;
  const std::string& type = event->eventType();
  if (adPlaying_ && (type == kSKYLPlaybackSessionLifecycleEventPlayRequest ||
                     type == kSKYLPlaybackSessionLifecycleEventPauseRequest)) {
    return;  // the viewer cannot play or pause an ad from the host's controls
  }
  if (type == kSKYLPlaybackSessionLifecycleEventBumperEnter && tracker_) {
    tracker_->setSuspendProgress(true);
  } else if (type == kSKYLPlaybackSessionLifecycleEventBumperExit && tracker_) {
    tracker_->setSuspendProgress(false);
  }
  setLifecycleStateFiltered(event);
}

void SKYLVUXSession::setLifecycleStateFiltered(const SKYLLifecycleEventPtr& event) {
  const std::string& type = event->eventType();
  const bool inAd =
      (currentTrackerEvent_ && currentTrackerEvent_->type() == TrackerEvent::EnterAd) ||
      (live2Coordinator_ && adPlaying_);
  const bool pause = type == kSKYLPlaybackSessionLifecycleEventPause;
  const bool play = type == kSKYLPlaybackSessionLifecycleEventPlay;
  if (inAd && (pause || play)) {
    const auto& properties =
        currentTrackerEvent_ ? currentTrackerEvent_->properties() : std::nullopt;
    auto ad = properties && properties->ad ? recordForAd(properties->ad) : currentAd_;
    if (ad) {
      // The live service hears of every pause and resume of its ads, before
      // the application does.
      if (live2Coordinator_ && live2AdState_ && live2AdState_->live2CurrentAdId()) {
        const std::string adId = *live2AdState_->live2CurrentAdId();
        if (pause) {
          live2Coordinator_->fireAdPaused(adId);
        } else {
          live2Coordinator_->fireAdResumed(adId);
        }
      }
      lifecycleState_.set(SKYLPlaybackSessionLifecycleEvent::adEventWithType(
          pause ? kSKYLPlaybackSessionLifecycleEventAdPause
                : kSKYLPlaybackSessionLifecycleEventAdResume,
          std::move(ad)));
      return;
    }
  }
  if (type == kSKYLPlaybackSessionLifecycleEventResumeComplete && adPlaying_ && tracker_) {
    tracker_->didResumeVideoDuringAdBreak();
  }
  lifecycleState_.set(event);
}

void SKYLVUXSession::emit(std::string_view type,
                          SKYLPlaybackSessionLifecycleEvent::Properties properties) {
  lifecycleState_.set(
      SKYLPlaybackSessionLifecycleEvent::eventWithType(type, std::move(properties)));
}

// Time mapping ----------------------------------------------------------------

MediaTime SKYLVUXSession::absoluteTimeAtContentTime(const MediaTime& contentTime) const {
  return timeline_ ? timeline_->absoluteTimeAtContentTime(contentTime) : MediaTime();
}

MediaTime SKYLVUXSession::contentTimeAtAbsoluteTime(const MediaTime& absoluteTime) const {
  return timeline_ ? timeline_->contentTimeAtAbsoluteTime(absoluteTime) : MediaTime();
}

MediaTime SKYLVUXSession::contentTimeFromVideoTime(const MediaTime& videoTime) const {
  return liveSSAI_ ? videoTime : contentTimeAtAbsoluteTime(videoTime);
}

double SKYLVUXSession::currentTime() const {
  return tracker_ ? tracker_->contentTime().get().seconds() : 0;
}

void SKYLVUXSession::makeDigester(bool live2) {
  digester_ = std::make_shared<SKYLVelaAnalyticsDigester>(
      *environment_, live2 ? environment_->liveBeaconTransport : environment_->beaconTransport);
  digester_->setDeliveryLedger(deliveryLedger_);
  if (beaconPlayheads_) {
    digester_->setMacroExpander(
        std::make_shared<BeaconMacroExpander>(environment_->clock, beaconPlayheads_));
  }
  digester_->setOneShotFilter(oneShotBeacons_);
}

}  // namespace skylark
