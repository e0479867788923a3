// SKYLVUXSession: tracker events to host lifecycle events, host ad records,
// the ad ledger and the once-a-second ad timer.
#include "host/SKYLHostConstants.h"
#include "session/SKYLVUXSession.h"
#include "session/SessionHelpers.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark {

using namespace session_detail;
using TrackerEvent = SKYLVelaProgressTrackerEvent;

void SKYLVUXSession::trackerEventChanged(const SKYLVelaProgressTracker::Event& event) {
  if (analyticsSession_) analyticsSession_->processEvent(event);
  if (!event || inBumperMode()) return;
  const uint64_t type = event->type();
  if (type == TrackerEvent::EnterAd) {
    currentTrackerEvent_ = event;
  } else if (type == TrackerEvent::ExitAd) {
    currentTrackerEvent_ = std::make_shared<const TrackerEvent>(TrackerEvent::ExitAd, std::nullopt);
  }
  if (type == TrackerEvent::EnterAd || type == TrackerEvent::ExitAd) {
    adPlaying_ = type == TrackerEvent::EnterAd;
  }
  if (type == TrackerEvent::EnterAdSequence) seeker_.breakEntered();
  if (type == TrackerEvent::ExitAdSequenceWhileRewinding && adPlaying_) leaveAdBackwards();
  // Whether seeking is allowed is settled before the application hears of
  // the change, so it may seek from its observer.
  const auto& properties = event->properties();
  const auto sequence = properties ? properties->adSequence : nullptr;
  const bool forcedBreakEnded =
      type == TrackerEvent::ExitAdSequence && seeker_.breakEnding(sequence);
  // An observer may end this session while it hears of a change: it lives
  // until the change has been handled (progress ticks, the most frequent,
  // change nothing an observer would end it for).
  const auto keepAlive = type == TrackerEvent::AdProgress ? nullptr : shared_from_this();
  emitTrackerEvent(*event);
  if (type == TrackerEvent::ExitAdSequence) {
    if (!live2AdState_) playedBreaks_.breakWatched(sequence);
    if (forcedBreakEnded) seeker_.forcedBreakEnded();
  }
}

void SKYLVUXSession::leaveAdBackwards() {
  // Rewound out of the break it was in: the viewer is in content again,
  // though the ad was never watched to its end (so nothing is reported).
  adPlaying_ = false;
  currentTrackerEvent_ = std::make_shared<const TrackerEvent>(TrackerEvent::ExitAd, std::nullopt);
  currentAd_.reset();
  currentAdSource_.reset();
  adLedger_.abandon();
  seeker_.leftBreakBackwards();
  requireLinearPlayback(false);
  const auto properties = sessionCommonProperties_.lock();
  const auto player = innerPlaybackSession()->player();
  if (properties && properties->playbackRate > 1.0f && player) player->setAdvertisingMode(false);
}

void SKYLVUXSession::contentTimeChanged(const MediaTime& time) {
  if (analyticsSession_) analyticsSession_->processContentTime(time);
  if (seeker_.canSeek()) progressSource_.currentTimeValue.set(time);
}

std::shared_ptr<SKYLAd> SKYLVUXSession::recordForAd(
    const std::shared_ptr<const SKYLVelaAd>& ad) const {
  return live2AdState_ ? live2AdState_->adRecordFor(ad) : adForVelaAd(ad);
}

void SKYLVUXSession::emitTrackerEvent(const SKYLVelaProgressTrackerEvent& event) {
  const auto& properties = event.properties();
  // One host record per ad while it plays: progress and exit events carry
  // the record that entered (and whatever the application noted on it).
  std::shared_ptr<SKYLAd> ad;
  if (properties && properties->ad) {
    const bool same =
        event.type() != TrackerEvent::EnterAd && currentAd_ && currentAdSource_ == properties->ad;
    ad = same ? currentAd_ : recordForAd(properties->ad);
  }
  const auto sequence = properties ? properties->adSequence : nullptr;
  // Made only for the events that carry it: the host record of a break
  // holds a record of each of its ads, too much to build on every tick.
  const auto sequenceProperties = [&] {
    SKYLPlaybackSessionLifecycleEvent::Properties withSequence;
    if (sequence) {
      withSequence[key(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence)] =
          live2AdState_ ? live2AdState_->sequenceRecordFor(sequence)
                        : adSequenceForVelaAdSequence(sequence);
    }
    return withSequence;
  };
  // A live service's break is announced as it is: no pause of the stream around it.
  const bool midRoll = sequence && isMidRoll(*sequence) && !live2AdState_;
  // A live break announced again as more of its ads become known: the
  // application hears of it, nothing else starts.
  const bool announcedAgain =
      event.type() == TrackerEvent::EnterAdSequence && adLedger_.currentBreak() != nullptr;
  // Every state change goes through the lifecycle filter.
  auto relay = [this](std::string_view type, SKYLPlaybackSessionLifecycleEvent::Properties p = {}) {
    setLifecycleStateFiltered(SKYLPlaybackSessionLifecycleEvent::eventWithType(type, std::move(p)));
  };
  auto relayAd = [this, &ad](std::string_view type, std::optional<MediaTime> progress = {}) {
    setLifecycleStateFiltered(
        SKYLPlaybackSessionLifecycleEvent::adEventWithType(type, ad, progress));
  };
  switch (event.type()) {
    case TrackerEvent::EnterAd: {
      currentAd_ = ad;
      currentAdSource_ = ad ? properties->ad : nullptr;
      // The analytics session of this ad (made as the tracker announced it)
      // reports companion views and clicks.
      if (ad && analyticsSession_ && analyticsSession_->adAnalaytics()) {
        ad->properties[key(kSKYLSSAIAdPropertiesKeyVelaAdAnalyticsSession)] =
            analyticsSession_->adAnalaytics();
      }
      adPlayDuration_ = 0;
      adLedger_.adStarted(ad);
      relayAd(kSKYLPlaybackSessionLifecycleEventAdEnter);
      break;
    }
    case TrackerEvent::ExitAd:
      adLedger_.adEnded(adPlayDuration_, tracker_ && tracker_->didSkipAd());
      relayAd(kSKYLPlaybackSessionLifecycleEventAdExit);
      // The ended ad's record lives on in the events that carry it only,
      // and goes with them while still in cache.
      currentAd_.reset();
      currentAdSource_.reset();
      break;
    case TrackerEvent::EnterAdSequence:
      if (announcedAgain) {
        adLedger_.breakGrew(sequence);
        relay(kSKYLPlaybackSessionLifecycleEventAdSequenceEnter, sequenceProperties());
        break;
      }
      enterAdSequence(sequence);
      if (midRoll) {
        relay(kSKYLPlaybackSessionLifecycleEventWillPauseForAd);
        relay(kSKYLPlaybackSessionLifecycleEventPause);
        relay(kSKYLPlaybackSessionLifecycleEventPauseRequest);
      }
      relay(kSKYLPlaybackSessionLifecycleEventAdSequenceEnter, sequenceProperties());
      break;
    case TrackerEvent::ExitAdSequence:
      exitAdSequence(sequence);
      relay(kSKYLPlaybackSessionLifecycleEventAdSequenceExit, sequenceProperties());
      if (midRoll) {
        relay(kSKYLPlaybackSessionLifecycleEventPlay);
        relay(kSKYLPlaybackSessionLifecycleEventPlayRequest);
      }
      break;
    case TrackerEvent::AdProgress: {
      const MediaTime progress =
          properties && properties->adProgress ? *properties->adProgress : MediaTime();
      adPlayDuration_ = progress.isNumeric() ? progress.seconds() : 0;
      relayAd(kSKYLPlaybackSessionLifecycleEventAdProgress, progress);
      break;
    }
    case TrackerEvent::EnterAdSequenceWhileRewinding:
      if (const auto player = innerPlaybackSession()->player()) {
        player->setRate(kSKYLSSAI4xRewindingRate);
      }
      break;
    case TrackerEvent::ExitAdSequenceWhileRewinding:
      if (const auto player = innerPlaybackSession()->player()) {
        player->setRate(kSKYLSSAIRewindingRate);
      }
      break;
    default:
      break;
  }
}

void SKYLVUXSession::enterAdSequence(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  adPlayDuration_ = 0;
  const auto properties = sessionCommonProperties_.lock();
  const auto player = innerPlaybackSession()->player();
  // Fast playback: ads play at normal speed, from their first frame (a
  // live break's ads are where the live stream has them).
  if (properties && properties->playbackRate > 1.0f && player && sequence &&
      !sequence->ads().empty() && !live2AdState_) {
    player->setAdvertisingMode(true);
    player->seek(sequence->ads().front()->beginTime() + truncatedSeekOffset(), MediaTime::zero(),
                 MediaTime::zero(), nullptr);
  }
  if (properties) {
    if (properties->pictureInPictureController.get()) {
      requireLinearPlayback(true);
    } else {
      // Applied once the controller appears.
      pictureInPictureObservation_.startObserving<std::shared_ptr<PictureInPictureController>>(
          properties->pictureInPictureController,
          [this](const std::shared_ptr<PictureInPictureController>& controller) {
            if (!controller) return;
            pictureInPictureObservation_.stopObserving();
            controller->setRequiresLinearPlayback(adPlaying_);
          },
          false);
    }
  }
  adLedger_.breakStarted(sequence);
}

void SKYLVUXSession::exitAdSequence(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  const auto properties = sessionCommonProperties_.lock();
  const auto player = innerPlaybackSession()->player();
  if (properties && properties->playbackRate > 1.0f && player) player->setAdvertisingMode(false);
  requireLinearPlayback(false);
  adLedger_.breakEnded(sequence);
}

void SKYLVUXSession::requireLinearPlayback(bool required) {
  const auto properties = sessionCommonProperties_.lock();
  if (!properties) return;
  if (const auto& controller = properties->pictureInPictureController.get()) {
    controller->setRequiresLinearPlayback(required);
  }
}

std::shared_ptr<SKYLAd> SKYLVUXSession::adForVelaAd(
    const std::shared_ptr<const SKYLVelaAd>& ad) const {
  if (!ad) return nullptr;
  auto record = std::make_shared<SKYLAd>();
  record->title = ad->title();
  record->adId = ad->adId();
  record->beginTime = ad->logicalOffset();
  record->duration = ad->duration();
  record->adIndex = ad->adIndex();
  record->properties[key(kSKYLSSAIAdPropertiesKeyVelaAd)] = ad;
  if (!ad->vastAdCreativeExtensions().empty()) {
    record->properties[key(kSKYLSSAIVASTAdCreativeExtensionsKey)] = ad->vastAdCreativeExtensions();
  }
  if (!ad->vastAdExtensions().empty()) {
    record->properties[key(kSKYLSSAIVASTAdExtensionsKey)] = ad->vastAdExtensions();
  }
  const float skipSeconds = static_cast<float>(ad->skipOffset().seconds());
  const bool skippable = skipSeconds > 1.0f;  // NaN (no skip offset) is not
  record->properties[key(kSKYLAdPropertyKeySkippable)] = int64_t{skippable ? 1 : 0};
  if (skippable) record->properties[key(kSKYLAdPropertyKeySkipTime)] = skipSeconds;
  std::vector<std::string> clickThrough;
  if (ad->clickThroughURL()) clickThrough.push_back(ad->clickThroughURL()->absoluteString());
  record->properties[key(kSKYLAdPropertyKeyClickthroughURLs)] = clickThrough;
  std::vector<std::string> tracking;
  for (const auto& url : ad->clickTrackingURLs()) tracking.push_back(url.absoluteString());
  record->properties[key(kSKYLAdPropertyKeyTrackingURLs)] = tracking;
  // The skip button's handler, holding the session and the record weakly.
  std::weak_ptr<SKYLVUXSession> weakSession =
      std::const_pointer_cast<SKYLVUXSession>(shared_from_this());
  std::weak_ptr<SKYLAd> weakRecord = record;
  record->privateProperties[key(kSKYLAdPrivatePropertyKeySkipHandler)] =
      std::function<void()>([weakSession, weakRecord] {
        if (const auto session = weakSession.lock()) session->skipAd(weakRecord);
      });
  return record;
}

std::shared_ptr<SKYLAdSequence> SKYLVUXSession::adSequenceForVelaAdSequence(
    const std::shared_ptr<SKYLVelaAdSequence>& sequence) const {
  if (!sequence) return nullptr;
  auto record = std::make_shared<SKYLAdSequence>();
  for (const auto& ad : sequence->ads()) record->ads.push_back(adForVelaAd(ad));
  record->properties[key(kSKYLSSAIAdPropertiesKeyVelaAdSequence)] = sequence;
  record->setVmapClientOptionsShowAdRemainingTime(
      sequence->liveSsaiClientOptionsShowAdRemainingTime());
  record->setVmapClientOptionsShowAdBreakRemainingTime(
      sequence->liveSsaiClientOptionsShowAdBreakRemainingTime());
  record->setVmapClientOptionsShowNumberOfRemainingAds(
      sequence->liveSsaiClientOptionsShowNumberOfRemainingAds());
  return record;
}

}  // namespace skylark
