#include "host/reference/SimulatedPlayer.h"

#include <algorithm>

#include "platform/DispatchQueue.h"

namespace skylark {

std::shared_ptr<SimulatedPlayer> SimulatedPlayer::create(Catalog catalog) {
  return std::shared_ptr<SimulatedPlayer>(new SimulatedPlayer(std::move(catalog)));
}

void SimulatedPlayer::replaceCurrentItem(std::shared_ptr<PlayerItem> item) {
  SKYL_DCHECK_MAIN_THREAD();
  if (auto pending = std::exchange(pendingSeek_, nullptr)) {
    Dispatch::main().async([pending] { pending(false); });
  }
  ++seekGeneration_;
  item_ = std::move(item);
  metadata_.clear();
  time_ = MediaTime::zero();  // announced once the item is ready
  itemStatus.set(PlayerItem::Status::unknown);
  if (!item_) return;
  std::weak_ptr<SimulatedPlayer> weak = shared_from_this();
  Dispatch::main().async([weak, item = item_] {
    const auto self = weak.lock();
    if (!self || self->item_ != item) return;
    const auto media = self->catalog_ ? self->catalog_(item->url()) : std::nullopt;
    if (media && media->duration.isNumeric()) {
      item->setReady(media->duration, media->startDate);
      if (media->startPosition && media->startPosition->isNumeric()) {
        self->time_ = std::clamp(*media->startPosition, MediaTime::zero(), media->duration);
      }
      self->metadata_ = media->metadata;
      std::stable_sort(self->metadata_.begin(), self->metadata_.end(),
                       [](const auto& a, const auto& b) { return a.time < b.time; });
    } else {
      item->setFailed();
    }
    self->itemStatus.set(item->status());
    // A real player reports where it stands once its item is ready, before
    // anything plays: what begins at 0 happens at 0.
    if (item->status() == PlayerItem::Status::readyToPlay && self->item_ == item) {
      self->moveTo(self->time_);
    }
  });
}

void SimulatedPlayer::setRate(float rate) {
  SKYL_DCHECK_MAIN_THREAD();
  if (rate == rate_) return;
  rate_ = rate;
  postRateChange();
}

void SimulatedPlayer::seek(MediaTime to, MediaTime, MediaTime, SeekCompletion completion) {
  SKYL_DCHECK_MAIN_THREAD();
  if (auto pending = std::exchange(pendingSeek_, nullptr)) {
    Dispatch::main().async([pending] { pending(false); });
  }
  const uint64_t generation = ++seekGeneration_;
  pendingSeek_ = std::move(completion);
  std::weak_ptr<SimulatedPlayer> weak = shared_from_this();
  Dispatch::main().async([weak, generation, to] {
    const auto self = weak.lock();
    if (!self || self->seekGeneration_ != generation) return;
    MediaTime target = to;
    if (target < MediaTime::zero()) target = MediaTime::zero();
    if (self->item_ && self->item_->duration().isNumeric() && target > self->item_->duration()) {
      target = self->item_->duration();
    }
    self->moveTo(target);
    if (auto done = std::exchange(self->pendingSeek_, nullptr)) done(true);
  });
}

std::optional<SystemTime> SimulatedPlayer::currentDate() const {
  if (!item_ || !item_->startDate() || !time_.isNumeric()) return std::nullopt;
  return *item_->startDate() +
         std::chrono::milliseconds(static_cast<int64_t>(time_.seconds() * 1000 + 0.5));
}

void SimulatedPlayer::advance(double seconds) {
  SKYL_DCHECK_MAIN_THREAD();
  if (!item_ || item_->status() != PlayerItem::Status::readyToPlay || rate_ == 0 || pendingSeek_ ||
      !(seconds > 0)) {
    return;
  }
  const MediaTime from = time_;
  MediaTime to = from + MediaTime::makeWithSeconds(seconds * rate_, 600000);
  if (rate_ > 0) {
    const bool ended = to >= item_->duration();
    if (ended) to = item_->duration();
    deliverMetadata(from, to, ended);
    moveTo(to);
    if (ended) {
      setRate(0);
      playedToEnd.set(true);
      playedToEnd.set(false);
    }
    return;
  }
  const MediaTime stop = item_->reversePlaybackEndTime().isNumeric()
                             ? item_->reversePlaybackEndTime()
                             : MediaTime::zero();
  if (from <= stop) {
    // Already at or before where reverse playback ends: it cannot move.
    setRate(0);
    return;
  }
  if (to <= stop) {
    moveTo(stop);
    setRate(0);
    return;
  }
  moveTo(to);
}

void SimulatedPlayer::runFor(double seconds, double step) {
  Dispatch::main().runUntilIdle();
  for (double elapsed = 0; elapsed < seconds - 1e-9; elapsed += step) {
    advance(std::min(step, seconds - elapsed));
    Dispatch::main().runUntilIdle();
  }
}

void SimulatedPlayer::moveTo(MediaTime to) {
  time_ = to;
  time.set(to);
}

void SimulatedPlayer::deliverMetadata(const MediaTime& from, const MediaTime& to, bool includeEnd) {
  std::vector<TimedMetadataItem> crossed;
  for (const auto& item : metadata_) {
    if (item.time >= from && (item.time < to || (includeEnd && item.time == to))) {
      crossed.push_back(item);
    }
  }
  if (crossed.empty()) return;
  for (const auto& output : item_->outputs()) {
    if (!output.queue) continue;
    output.queue->async([delegate = output.delegate, crossed] {
      if (const auto live = delegate.lock()) live->outputDidOutputTimedMetadata(crossed);
    });
  }
}

}  // namespace skylark
