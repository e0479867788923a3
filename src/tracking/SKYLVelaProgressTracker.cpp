#include "tracking/SKYLVelaProgressTracker.h"

namespace skylark {
namespace {

using Properties = SKYLVelaProgressTrackerEvent::Properties;
using Position = SKYLVelaProgressTracker::Position;

const MediaTime kJitterWindow = MediaTime::makeWithSeconds(5.0, 600);
const MediaTime kPreRollBound = MediaTime::makeWithSeconds(0.1, 600);

const MediaTime& timeOf(const std::optional<Position>& p) {
  static const MediaTime kNone = MediaTime::invalid();
  return p ? p->absoluteTime : kNone;
}
const std::shared_ptr<const SKYLVelaAd>& adOf(const std::optional<Position>& p) {
  static const std::shared_ptr<const SKYLVelaAd> kNone;
  return p ? p->ad : kNone;
}
const std::shared_ptr<SKYLVelaAdSequence>& sequenceOf(const std::optional<Position>& p) {
  static const std::shared_ptr<SKYLVelaAdSequence> kNone;
  return p ? p->adSequence : kNone;
}

// "No dictionary when there is none": a break event without a break.
std::optional<Properties> sequenceProperties(std::shared_ptr<SKYLVelaAdSequence> sequence) {
  if (!sequence) return std::nullopt;
  Properties properties;
  properties.adSequence = std::move(sequence);
  return properties;
}

}  // namespace

SKYLVelaProgressTracker::SKYLVelaProgressTracker(std::shared_ptr<SKYLVelaTimeline> timeline)
    : timeline_(std::move(timeline)) {
  kvoManager_.startObserving<Ranges>(
      absoluteSeekable_, [this](const Ranges& r) { convertRanges(r, contentSeekable_); }, true);
  kvoManager_.startObserving<Ranges>(
      absoluteLoaded_, [this](const Ranges& r) { convertRanges(r, contentLoaded_); }, true);
}

void SKYLVelaProgressTracker::emit(SKYLVelaProgressTrackerEvent::Type type,
                                   std::optional<Properties> properties) {
  event_.set(std::make_shared<const SKYLVelaProgressTrackerEvent>(type, std::move(properties)));
}

void SKYLVelaProgressTracker::setAbsoluteTime(const MediaTime& time) {
  absoluteTime_ = time;
  if (updating_) {
    timesSetWhileUpdating_.push_back(time);
    return;
  }
  updating_ = true;
  absoluteTimeChanged(time);
  for (size_t i = 0; i < timesSetWhileUpdating_.size(); ++i) {
    const MediaTime next = timesSetWhileUpdating_[i];  // a copy: the list may grow meanwhile
    absoluteTimeChanged(next);
  }
  timesSetWhileUpdating_.clear();
  updating_ = false;
}

void SKYLVelaProgressTracker::absoluteTimeChanged(const MediaTime& time) {
  if (suspendProgress_ && previous_) return;
  update(time);
}

void SKYLVelaProgressTracker::forceAbsoluteTime(const MediaTime& time) {
  previous_ = timeline_ ? positionAt(time) : std::nullopt;
  setAbsoluteTime(time);
}

std::optional<Position> SKYLVelaProgressTracker::positionAt(const MediaTime& time) {
  if (!span_ || !span_->contains(time)) span_ = timeline_->pathSpanAt(time);
  if (span_) return Position{time, span_->adSequence, span_->ad, span_->logicalTimeAt(time)};
  const auto path = timeline_->pathAtTime(time);
  if (!path) return std::nullopt;
  return Position{path->absoluteTime(), path->adSequence(), path->ad(), path->logicalTime()};
}

void SKYLVelaProgressTracker::moveOutsideAds(Position position) {
  contentTime_.set(position.logicalTime);
  previous_ = std::move(position);
}

std::shared_ptr<SKYLVelaAdSequence> SKYLVelaProgressTracker::preRoll() const {
  std::shared_ptr<SKYLVelaAdSequence> found;
  for (const auto& sequence : *timeline_->adSequences()) {
    if (sequence->beginTime() < kPreRollBound) found = sequence;
  }
  return found;
}

void SKYLVelaProgressTracker::update(const MediaTime& time) {
  if (!timeline_) return;
  std::optional<Position> found = positionAt(time);
  if (!found || !found->absoluteTime.isValid()) return;
  Position& now = *found;
  const float rate = playbackRate_;
  if (rate != 0 && rate != contentPlaybackRate_ && !now.ad) contentPlaybackRate_ = rate;

  const MediaTime previousTime = timeOf(previous_);
  if (rate < 0) {
    rewind(std::move(now));
    return;
  }

  // Backward jitter while playing forward: a player steps back a little
  // around ad boundaries; only a real seek counts.
  if (adOf(previous_) && time < previousTime && contentPlaybackRate_ >= 1.0f) return;
  if (now.ad && time < previousTime && contentPlaybackRate_ >= 1.0f &&
      previousTime - time < kJitterWindow) {
    return;
  }

  if (!sequenceOf(previous_) && !now.adSequence) {
    moveOutsideAds(std::move(now));
    return;
  }

  const auto previousAd = adOf(previous_);
  const auto previousSequence = sequenceOf(previous_);
  const bool startSkip =
      rate > 1.0f && previousTime == MediaTime::negativeInfinity() && time > MediaTime::zero();
  const bool entered = !previousAd && now.ad;
  const bool exited = previousAd && !now.ad;
  const bool adChanged = previousAd && now.ad && !(*previousAd == *now.ad);
  const bool sequenceChanged =
      previousSequence && now.adSequence && !(*previousSequence == *now.adSequence);

  if (exited || adChanged) {
    Properties properties;
    properties.skippedAd = didSkipAd_;
    properties.ad = previousAd;
    emit(SKYLVelaProgressTrackerEvent::ExitAd, properties);
    didSkipAd_ = false;
  }
  if (exited || (adChanged && sequenceChanged)) {
    emit(SKYLVelaProgressTrackerEvent::ExitAdSequence, sequenceProperties(previousSequence));
  }
  const auto skippedToPreRoll = startSkip ? preRoll() : nullptr;
  if (startSkip || entered || (adChanged && sequenceChanged)) {
    auto sequence = now.adSequence;
    if (sequence && skippedToPreRoll) sequence = skippedToPreRoll;
    emit(SKYLVelaProgressTrackerEvent::EnterAdSequence, sequenceProperties(std::move(sequence)));
  }
  if (startSkip || entered || adChanged) {
    Properties properties;
    properties.ad = now.ad;
    if (properties.ad && skippedToPreRoll) {
      const auto ads = skippedToPreRoll->ads();
      if (!ads.empty()) properties.ad = ads.front();
    }
    emit(SKYLVelaProgressTrackerEvent::EnterAd, properties);
  }
  if (now.ad) {
    Properties properties;
    properties.ad = now.ad;
    properties.adProgress = now.logicalTime;
    emit(SKYLVelaProgressTrackerEvent::AdProgress, properties);
    previous_ = std::move(now);
    return;
  }
  moveOutsideAds(std::move(now));
}

void SKYLVelaProgressTracker::rewind(Position now) {
  const bool wasInAd = adOf(previous_) != nullptr;
  if (!sequenceOf(previous_) && !now.adSequence) {
    moveOutsideAds(std::move(now));
    return;
  }
  if (!wasInAd && now.ad) {
    emit(SKYLVelaProgressTrackerEvent::EnterAdSequenceWhileRewinding, std::nullopt);
  }
  if (wasInAd && !now.ad) {
    emit(SKYLVelaProgressTrackerEvent::ExitAdSequenceWhileRewinding, std::nullopt);
  }
  if (now.ad) {
    previous_ = std::move(now);
  } else {
    moveOutsideAds(std::move(now));
  }
}

void SKYLVelaProgressTracker::didResumeVideoDuringAdBreak() {
  const auto& current = event_.get();
  if (!current || current->type() != SKYLVelaProgressTrackerEvent::AdProgress) return;
  Properties exit;
  exit.skippedAd = didSkipAd_;
  exit.ad = adOf(previous_);
  emit(SKYLVelaProgressTrackerEvent::ExitAd, exit);
  emit(SKYLVelaProgressTrackerEvent::ExitAdSequence, sequenceProperties(sequenceOf(previous_)));
  previous_.reset();
}

void SKYLVelaProgressTracker::convertRanges(const Ranges& absolute, Observable<Ranges>& content) {
  if (!absolute) {
    if (content.get()) content.set(std::nullopt);
    return;
  }
  if (absolute->empty()) {
    if (!content.get() || !content.get()->empty()) content.set(std::vector<MediaTimeRange>{});
    return;
  }
  std::vector<MediaTimeRange> converted;
  converted.reserve(absolute->size());
  for (const auto& range : *absolute) {
    const MediaTime end =
        timeline_ ? timeline_->contentTimeAtAbsoluteTime(range.end()) : MediaTime::zero();
    converted.push_back(MediaTimeRange::make(MediaTime::zero(), end));
  }
  content.set(std::move(converted));
}

}  // namespace skylark
