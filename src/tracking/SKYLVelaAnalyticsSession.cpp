#include "tracking/SKYLVelaAnalyticsSession.h"

namespace skylark {

SKYLVelaAnalyticsSession::SKYLVelaAnalyticsSession(
    SKYLVelaProgressTracker& progessTracker,
    std::shared_ptr<SKYLVelaAnalyticsDigester> analyticsDigester)
    : tracker_(progessTracker),
      digester_(std::move(analyticsDigester)),
      contentAnalaytics_(tracker_.timeline(), digester_) {}

void SKYLVelaAnalyticsSession::observeTracker() {
  kvoManager_.startObserving<SKYLVelaProgressTracker::Event>(
      tracker_.event(), [this](const auto& event) { processEvent(event); }, false);
  kvoManager_.startObserving<MediaTime>(
      tracker_.contentTime(), [this](const MediaTime& time) { processContentTime(time); }, false);
}

void SKYLVelaAnalyticsSession::processEvent(const SKYLVelaProgressTracker::Event& event) {
  if (!event) return;
  const auto& properties = event->properties();
  switch (event->type()) {
    case SKYLVelaProgressTrackerEvent::EnterAdSequence:
      adsBegunInBreak_ = 0;
      enteredBreak_ = properties ? properties->adSequence : nullptr;
      break;
    case SKYLVelaProgressTrackerEvent::ExitAdSequence:
      enteredBreak_.reset();
      break;
    case SKYLVelaProgressTrackerEvent::EnterAd: {
      const auto& ad = properties ? properties->ad : nullptr;
      ++adsBegunInBreak_;
      adAnalaytics_ = std::make_shared<SKYLVelaAdAnalyticsSession>(
          ad, digester_, ad ? placementOf(*ad) : SKYLVelaAdAnalyticsSession::Placement{});
      adAnalaytics_->trackImpression();
      break;
    }
    case SKYLVelaProgressTrackerEvent::ExitAd:
      if (adAnalaytics_) {
        adAnalaytics_->trackAdComplete(properties && properties->skippedAd.value_or(false));
      }
      adAnalaytics_.reset();
      break;
    case SKYLVelaProgressTrackerEvent::AdProgress:
      if (adAnalaytics_) {
        adAnalaytics_->trackProgressToTime(
            properties ? properties->adProgress.value_or(MediaTime::invalid())
                       : MediaTime::invalid());
      }
      break;
    default:
      break;
  }
}

SKYLVelaAdAnalyticsSession::Placement SKYLVelaAnalyticsSession::placementOf(
    const SKYLVelaAd& ad) const {
  SKYLVelaAdAnalyticsSession::Placement placement;
  placement.adCount = adsBegunInBreak_;
  const auto& timeline = tracker_.timeline();
  if (!timeline) return placement;
  const auto position = [&](const SKYLVelaAdSequence& sequence) -> std::optional<int> {
    const auto ads = sequence.ads();
    std::optional<int> found;
    for (size_t i = 0; i < ads.size(); ++i) {
      if (ads[i] && (ads[i].get() == &ad || *ads[i] == ad)) found = static_cast<int>(i + 1);
    }
    return found;
  };
  // The break the tracker has just entered holds the ad; a timeline of
  // hundreds of breaks is searched only when it does not (a live
  // timeline's breaks replaced meanwhile).
  const SKYLVelaAdSequence* holder = nullptr;
  if (enteredBreak_) placement.podSequence = position(*enteredBreak_);
  if (placement.podSequence) {
    holder = enteredBreak_.get();
  } else {
    for (const auto& sequence : *timeline->adSequences()) {
      if (ad.beginTime() < sequence->beginTime() || !(ad.beginTime() < sequence->endTime())) {
        continue;
      }
      placement.podSequence = position(*sequence);
      holder = sequence.get();
      break;
    }
  }
  if (!holder) return placement;
  const MediaTime offset = holder->logicalOffset();
  if (offset == MediaTime::zero()) {
    placement.breakPosition = 1;
  } else if (offset.isPositiveInfinity() || !(offset < timeline->contentLength())) {
    placement.breakPosition = 3;
  } else {
    placement.breakPosition = 2;
  }
  return placement;
}

void SKYLVelaAnalyticsSession::processContentTime(const MediaTime& contentTime) {
  contentAnalaytics_.trackProgressToTime(contentTime);
}

}  // namespace skylark
