// SKYLVUXSession: tracker events to host lifecycle events, host ad records,
// the ad ledger and the once-a-second ad timer.
#include <cmath>

#include "host/SKYLHostConstants.h"
#include "platform/DispatchQueue.h"
#include "session/SKYLVUXSession.h"
#include "session/SessionHelpers.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark {

using namespace session_detail;
using TrackerEvent = SKYLVelaProgressTrackerEvent;

namespace {

// Ledger event codes.
constexpr int64_t kPodStart = 0, kPodEnd = 1, kAdStart = 2, kAdEnd = 3, kPodOffsetMismatch = 5,
                  kViewableImpression = 6;

int64_t wholeSeconds(const MediaTime& t) {
  const double s = t.seconds();
  return std::isfinite(s) ? static_cast<int64_t>(s) : 0;
}

}  // namespace

void SKYLVUXSession::trackerEventChanged(const SKYLVelaProgressTracker::Event& event) {
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
  if (type == TrackerEvent::EnterAdSequence || type == TrackerEvent::ExitAdSequence) {
    canSeek_ = type != TrackerEvent::EnterAdSequence;
  }
  emitTrackerEvent(*event);
  const auto& properties = event->properties();
  if (type == TrackerEvent::ExitAdSequence && properties && adSequenceToProcess_ &&
      properties->adSequence == adSequenceToProcess_) {
    adSequenceDidComplete();  // the break a seek forced is over
  }
}

void SKYLVUXSession::emitTrackerEvent(const SKYLVelaProgressTrackerEvent& event) {
  const auto& properties = event.properties();
  // One host record per ad while it plays: progress and exit events carry
  // the record that entered (and whatever the application noted on it).
  std::shared_ptr<SKYLAd> ad;
  if (properties && properties->ad) {
    const bool same =
        event.type() != TrackerEvent::EnterAd && currentAd_ && currentAdSource_ == properties->ad;
    ad = same ? currentAd_ : adForVelaAd(properties->ad);
  }
  const auto sequence = properties ? properties->adSequence : nullptr;
  // Made only for the events that carry it: the host record of a break
  // holds a record of each of its ads, too much to build on every tick.
  const auto sequenceProperties = [&] {
    SKYLPlaybackSessionLifecycleEvent::Properties withSequence;
    if (sequence) {
      withSequence[key(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence)] =
          adSequenceForVelaAdSequence(sequence);
    }
    return withSequence;
  };
  const bool midRoll = sequence && isMidRoll(*sequence);
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
      handleAdLedgerForEvent(kAdStart);
      adViewableImpressionTriggered_ = false;
      adViewableSeconds_ = 0;
      std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
      auto tick = [weak] {
        if (const auto self = weak.lock()) self->adTimerTick();
      };
      adInfoTimer_ = adTimerFactory_ ? adTimerFactory_(tick)
                                     : std::make_shared<RepeatingTimer>(
                                           Dispatch::main(), std::chrono::seconds(1), false, tick);
      relayAd(kSKYLPlaybackSessionLifecycleEventAdEnter);
      break;
    }
    case TrackerEvent::ExitAd:
      handleAdLedgerForEvent(kAdEnd);
      ++currentAdIndex_;
      adInfoTimer_.reset();
      relayAd(kSKYLPlaybackSessionLifecycleEventAdExit);
      // The ended ad's record lives on in the events that carry it only,
      // and goes with them while still in cache.
      currentAd_.reset();
      currentAdSource_.reset();
      break;
    case TrackerEvent::EnterAdSequence:
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
  currentAdIndex_ = 0;
  adAudibleDuration_ = 0;
  adPlayDuration_ = 0;
  currentAdSequence_ = sequence;
  const auto properties = sessionCommonProperties_.lock();
  const auto player = innerPlaybackSession()->player();
  // Fast playback: ads play at normal speed, from their first frame.
  if (properties && properties->playbackRate > 1.0f && player && sequence &&
      !sequence->ads().empty()) {
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
  handleAdLedgerForEvent(kPodStart);
}

void SKYLVUXSession::exitAdSequence(const std::shared_ptr<SKYLVelaAdSequence>& sequence) {
  const auto properties = sessionCommonProperties_.lock();
  const auto player = innerPlaybackSession()->player();
  if (properties && properties->playbackRate > 1.0f && player) player->setAdvertisingMode(false);
  requireLinearPlayback(false);
  handleAdLedgerForEvent(kPodEnd);
  const auto video = innerPlaybackSession()->video();
  if (sequence && video && video->durationMilliseconds()) {
    const int64_t begin = wholeSeconds(sequence->beginTime());
    if (begin != 0 && begin != *video->durationMilliseconds() / 1000) {
      handleAdLedgerForEvent(kPodOffsetMismatch);
    }
  }
  ++currentAdPodIndex_;
}

void SKYLVUXSession::requireLinearPlayback(bool required) {
  const auto properties = sessionCommonProperties_.lock();
  if (!properties) return;
  if (const auto& controller = properties->pictureInPictureController.get()) {
    controller->setRequiresLinearPlayback(required);
  }
}

void SKYLVUXSession::adTimerTick() {
  constexpr double kInterval = 1.0;
  const auto player = innerPlaybackSession()->player();
  if (player && player->volume() >= 0.01f && player->rate() != 0) adAudibleDuration_ += kInterval;
  if (adViewableImpressionTriggered_) return;
  const auto properties = sessionCommonProperties_.lock();
  const SKYLView* view = properties ? properties->tvPlayerView.get() : nullptr;
  if (SKYLAdLedgerManager::shared().visiblePercentageForView(view) >= 0.5) {
    adViewableSeconds_ += kInterval;
  }
  if (adViewableSeconds_ == kSKYLAdLedgerAdViewableSeconds) {
    handleAdLedgerForEvent(kViewableImpression);
    adViewableImpressionTriggered_ = true;
  }
}

void SKYLVUXSession::handleAdLedgerForEvent(int64_t code) {
  SKYLAdLedgerManager::shared().processEvent(code, adEventParametersForEvent(code));
}

SKYLAdLedgerManager::Parameters SKYLVUXSession::adEventParametersForEvent(int64_t code) const {
  SKYLAdLedgerManager::Parameters parameters;
  const double begin = currentAdSequence_ ? currentAdSequence_->beginTime().seconds() : 0;
  const double end = currentAdSequence_ ? currentAdSequence_->endTime().seconds() : 0;
  const auto item = innerPlaybackSession()->currentPlayerItem();
  const double duration = item ? item->duration().seconds() : 0;
  auto whole = [](double s) { return std::isfinite(s) ? static_cast<int64_t>(s) : INT64_MIN; };
  std::string_view podType = kSKYLAdLedgerOptionAdPodTypeMidroll;
  if (begin == 0.0) {
    podType = kSKYLAdLedgerOptionAdPodTypePreroll;
  } else if (whole(duration) == whole(end)) {
    podType = kSKYLAdLedgerOptionAdPodTypePostroll;
  }
  const bool postRoll = podType == kSKYLAdLedgerOptionAdPodTypePostroll;
  if (!liveSSAI_) {
    parameters[key(kSKYLAdLedgerParameterPodIndexKey)] =
        postRoll ? int64_t{-1} : currentAdPodIndex_;
  }
  if (code == kPodStart || code == kPodEnd) {
    parameters[key(kSKYLAdLedgerParameterPodAdCountKey)] =
        static_cast<int64_t>(currentAdSequence_ ? currentAdSequence_->ads().size() : 0);
    parameters[key(kSKYLAdLedgerParameterPodDurationKey)] =
        currentAdSequence_ ? currentAdSequence_->duration().seconds() : 0.0;
    parameters[key(kSKYLAdLedgerParameterPodHost)] = std::string("ssai");
    parameters[key(kSKYLAdLedgerParameterPodTypeKey)] = std::string(podType);
    parameters[key(kSKYLAdLedgerParameterPodRequestMSKey)] = int64_t{0};
    parameters[key(kSKYLAdLedgerParameterPodRequestModeKey)] =
        std::string(kSKYLAdLedgerOptionAdPodRequestModeOnLoad);
    parameters[key(kSKYLAdLedgerParameterPodTimeOffsetKey)] = begin;
  }
  if (code == kAdStart || code == kAdEnd || code == 4 || code == kViewableImpression) {
    parameters[key(kSKYLAdLedgerParameterAdIndexKey)] = currentAdIndex_;
    const auto* velaAd = currentAd_ ? currentAd_->property<std::shared_ptr<const SKYLVelaAd>>(
                                          kSKYLSSAIAdPropertiesKeyVelaAd)
                                    : nullptr;
    parameters[key(kSKYLAdLedgerParameterAdDurationKey)] =
        velaAd && *velaAd ? (*velaAd)->duration().seconds() : 0.0;
    if (currentAd_) {
      const auto* skippable = currentAd_->property<int64_t>(kSKYLAdPropertyKeySkippable);
      const auto* skipTime = currentAd_->property<float>(kSKYLAdPropertyKeySkipTime);
      if (skippable && *skippable == 1 && skipTime) {
        parameters[key(kSKYLAdLedgerParameterAdSkipTimeOffsetKey)] = *skipTime;
      }
      parameters[key(kSKYLAdLedgerParameterAdTitleKey)] = currentAd_->title;
      parameters[key(kSKYLAdLedgerParameterAdCreativeIDKey)] = currentAd_->adId;
    }
  }
  if (code == kAdEnd) {
    parameters[key(kSKYLAdLedgerParameterAdAudibleDurationKey)] = adAudibleDuration_;
    parameters[key(kSKYLAdLedgerParameterAdPlayDuration)] = adPlayDuration_;
    parameters[key(kSKYLAdLedgerParameterAdSkippedKey)] = tracker_ && tracker_->didSkipAd();
    parameters[key(kSKYLAdLedgerParameterAdInteractionKey)] =
        currentAd_ && currentAd_->userDidInteract;
  }
  return parameters;
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
