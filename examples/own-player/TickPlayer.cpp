#include "TickPlayer.h"

#include <chrono>
#include <utility>

#include "platform/DispatchQueue.h"

using namespace skylark;

namespace {
constexpr double kFrameSeconds = 0.1;
constexpr int32_t kTimescale = 90000;  // the MPEG clock
}  // namespace

std::shared_ptr<TickPlayer> TickPlayer::create(std::map<std::string, Stream> streams) {
  return std::shared_ptr<TickPlayer>(new TickPlayer(std::move(streams)));
}

void TickPlayer::replaceCurrentItem(std::shared_ptr<PlayerItem> item) {
  // A seek the new item replaces completes false, after this call.
  if (auto pending = std::exchange(pendingSeek_, nullptr)) {
    Dispatch::main().async([pending] { pending(false); });
  }
  const uint64_t generation = ++generation_;
  item_ = std::move(item);
  time_ = MediaTime::zero();
  itemStatus.set(PlayerItem::Status::unknown);
  if (!item_) return;
  // Loading takes a turn of the main queue, as opening a real stream does.
  Dispatch::main().async([weak = weak_from_this(), generation] {
    const auto self = weak.lock();
    if (!self || self->generation_ != generation) return;
    const auto found = self->streams_.find(self->item_->url().absoluteString());
    if (found == self->streams_.end()) {
      self->item_->setFailed();
    } else {
      self->item_->setReady(MediaTime::makeWithSeconds(found->second.seconds, kTimescale),
                            found->second.startDate);
    }
    self->itemStatus.set(self->item_->status());
    self->schedule();
  });
}

void TickPlayer::setRate(float rate) {
  if (rate == rate_) return;
  rate_ = rate;
  ++generation_;
  postRateChange();
  schedule();
}

void TickPlayer::seek(MediaTime to, MediaTime, MediaTime, SeekCompletion completion) {
  if (auto pending = std::exchange(pendingSeek_, nullptr)) {
    Dispatch::main().async([pending] { pending(false); });
  }
  const uint64_t generation = ++generation_;
  pendingSeek_ = std::move(completion);
  Dispatch::main().async([weak = weak_from_this(), generation, to] {
    const auto self = weak.lock();
    if (!self || self->generation_ != generation) return;
    MediaTime target = to < MediaTime::zero() ? MediaTime::zero() : to;
    if (self->item_ && self->item_->duration().isNumeric() && target > self->item_->duration()) {
      target = self->item_->duration();
    }
    self->moveTo(target);
    if (auto done = std::exchange(self->pendingSeek_, nullptr)) done(true);
    self->schedule();
  });
}

std::optional<SystemTime> TickPlayer::currentDate() const {
  if (!item_ || !item_->startDate() || !time_.isNumeric()) return std::nullopt;
  return *item_->startDate() +
         std::chrono::milliseconds(static_cast<int64_t>(time_.seconds() * 1000 + 0.5));
}

void TickPlayer::schedule() {
  if (!item_ || item_->status() != PlayerItem::Status::readyToPlay || rate_ == 0 || pendingSeek_) {
    return;
  }
  Dispatch::main().asyncAfter(std::chrono::milliseconds(1),
                              [weak = weak_from_this(), generation = generation_] {
                                if (const auto self = weak.lock()) self->showFrame(generation);
                              });
}

void TickPlayer::showFrame(uint64_t generation) {
  if (generation != generation_ || rate_ == 0) return;
  const MediaTime step = MediaTime::makeWithSeconds(kFrameSeconds * rate_, kTimescale);
  MediaTime to = time_ + step;
  if (rate_ > 0 && to >= item_->duration()) {
    moveTo(item_->duration());
    setRate(0);
    playedToEnd.set(true);
    playedToEnd.set(false);
    return;
  }
  const MediaTime stop = item_->reversePlaybackEndTime().isNumeric()
                             ? item_->reversePlaybackEndTime()
                             : MediaTime::zero();
  if (rate_ < 0 && to <= stop) {
    moveTo(stop);
    setRate(0);
    return;
  }
  moveTo(to);
  schedule();
}

void TickPlayer::moveTo(MediaTime to) {
  time_ = to;
  time.set(to);
}
