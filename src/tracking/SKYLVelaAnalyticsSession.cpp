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
    case SKYLVelaProgressTrackerEvent::EnterAd:
      adAnalaytics_ = std::make_shared<SKYLVelaAdAnalyticsSession>(
          properties ? properties->ad : nullptr, digester_);
      adAnalaytics_->trackImpression();
      break;
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

void SKYLVelaAnalyticsSession::processContentTime(const MediaTime& contentTime) {
  contentAnalaytics_.trackProgressToTime(contentTime);
}

}  // namespace skylark
