#include "host/SKYLBasicPlaybackSession.h"

#include <set>

#include "host/SKYLHostConstants.h"
#include "host/SKYLHostNotifications.h"
#include "platform/DispatchQueue.h"
#include "platform/SKYLError.h"

namespace skylark {

std::shared_ptr<SKYLBasicPlaybackSession> SKYLBasicPlaybackSession::create(
    std::shared_ptr<SKYLVideo> video, std::shared_ptr<SKYLSource> source,
    std::shared_ptr<Player> player) {
  return std::shared_ptr<SKYLBasicPlaybackSession>(
      new SKYLBasicPlaybackSession(std::move(video), std::move(source), std::move(player)));
}

SKYLBasicPlaybackSession::SKYLBasicPlaybackSession(std::shared_ptr<SKYLVideo> video,
                                                   std::shared_ptr<SKYLSource> source,
                                                   std::shared_ptr<Player> player)
    : video_(std::move(video)), source_(std::move(source)), player_(std::move(player)) {}

std::shared_ptr<PlayerItem> SKYLBasicPlaybackSession::currentPlayerItem() const {
  return player_ ? player_->currentItem() : nullptr;
}

std::shared_ptr<SKYLSource> SKYLBasicPlaybackSession::source() const {
  if (source_ || !video_) return source_;
  const auto properties = commonProperties_.lock();
  if (properties && properties->sourceSelectionPolicy) {
    source_ = properties->sourceSelectionPolicy(*video_);
  } else if (!video_->sources().empty()) {
    source_ = video_->sources().front();
  }
  return source_;
}

void SKYLBasicPlaybackSession::load() {
  SKYL_DCHECK_MAIN_THREAD();
  const auto chosen = source();
  if (!chosen || !chosen->url()) {
    emit(kSKYLPlaybackSessionLifecycleEventFail,
         {{std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyError),
           SKYLError(kSKYLPlaybackSessionErrorDomain, kSKYLPlaybackSessionErrorCodeLoadFailed,
                     "The video has no source to play.")}});
    return;
  }
  loadVideoURL(*chosen->url());
}

void SKYLBasicPlaybackSession::loadVideoURL(const URL& url) {
  if (!player_) return;
  observePlayer();
  player_->replaceCurrentItem(std::make_shared<PlayerItem>(url));
}

void SKYLBasicPlaybackSession::observePlayer() {
  if (observing_) return;
  observing_ = true;
  kvoManager_.startObserving<MediaTime>(
      player_->time, [this](const MediaTime& t) { progress_.currentTimeValue.set(t); }, false);
  kvoManager_.startObserving<PlayerItem::Status>(
      player_->itemStatus,
      [this](PlayerItem::Status status) {
        const auto item = player_->currentItem();
        if (status == PlayerItem::Status::readyToPlay && item) {
          const MediaTime length = item->duration();
          duration_.set(length);
          const TimeRanges whole = {MediaTimeRange::make(MediaTime::zero(), length)};
          loaded_.set(whole);
          seekable_.set(whole);
          emit(kSKYLPlaybackSessionLifecycleEventReady);
        } else if (status == PlayerItem::Status::failed) {
          emit(kSKYLPlaybackSessionLifecycleEventFail,
               {{std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyError),
                 SKYLError(kSKYLPlaybackSessionErrorDomain, kSKYLPlaybackSessionErrorCodeLoadFailed,
                           "The stream could not be loaded.")}});
        }
      },
      false);
  kvoManager_.startObserving<bool>(
      player_->playedToEnd,
      [this](bool ended) {
        if (ended) emit(kSKYLPlaybackSessionLifecycleEventEnd);
      },
      false);
}

void SKYLBasicPlaybackSession::resumeVideoAtTime(const MediaTime& time, bool withAutoPlay) {
  if (!player_) return;
  std::weak_ptr<SKYLBasicPlaybackSession> weak = shared_from_this();
  player_->seek(time, MediaTime::zero(), MediaTime::zero(), [weak, withAutoPlay](bool) {
    const auto self = weak.lock();
    if (!self) return;
    self->emit(kSKYLPlaybackSessionLifecycleEventResumeComplete);
    if (withAutoPlay) self->avPlayerPlay();
  });
}

void SKYLBasicPlaybackSession::avPlayerPlay() {
  emit(kSKYLPlaybackSessionLifecycleEventPlayRequest);
  if (player_) player_->play();
  emit(kSKYLPlaybackSessionLifecycleEventPlay);
}

void SKYLBasicPlaybackSession::avPlayerPause() {
  emit(kSKYLPlaybackSessionLifecycleEventPauseRequest);
  if (player_) player_->pause();
  emit(kSKYLPlaybackSessionLifecycleEventPause);
}

bool SKYLBasicPlaybackSession::respondsToSelector(std::string_view selector) const {
  static const std::set<std::string_view, std::less<>> kSelectors = {
      "load",
      "begin",
      "loadVideoURL:",
      "resumeVideoAtTime:withAutoPlay:",
      "avPlayerPlay",
      "avPlayerPause",
      "player",
      "video",
      "source",
      "setSessionCommonProperties:",
      "checkIfSourceIsAudioOnly:",
      "checkForThumbnailSource:"};
  return kSelectors.count(selector) > 0;
}

void SKYLBasicPlaybackSession::emit(std::string_view type,
                                    SKYLPlaybackSessionLifecycleEvent::Properties properties) {
  lifecycleState_.set(
      SKYLPlaybackSessionLifecycleEvent::eventWithType(type, std::move(properties)));
}

}  // namespace skylark
