#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "host/SKYLKVOManager.h"
#include "platform/MediaTimeRange.h"
#include "platform/Observable.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaPath.h"
#include "timeline/SKYLVelaTimeline.h"
#include "tracking/SKYLVelaProgressTrackerEvent.h"

namespace SKYLARK_API skylark {

// Turns the player's absolute time into ad events: each new time becomes a
// path on the timeline, compared with the previous one, and every change
// is announced by assigning `event` (entering and leaving ads and breaks,
// progress inside an ad, crossing a break while rewinding). Outside ads it
// keeps the content time, and it converts the player's seekable and loaded
// ranges into content ranges.
//
// Sequence-bound: the owner sets the properties from one thread, and every
// observer runs inside the assignment, on that thread.
class SKYLVelaProgressTracker {
 public:
  using Event = std::shared_ptr<const SKYLVelaProgressTrackerEvent>;
  using Ranges = std::optional<std::vector<MediaTimeRange>>;

  explicit SKYLVelaProgressTracker(std::shared_ptr<SKYLVelaTimeline> timeline);
  SKYLVelaProgressTracker(const SKYLVelaProgressTracker&) = delete;
  SKYLVelaProgressTracker& operator=(const SKYLVelaProgressTracker&) = delete;

  const std::shared_ptr<SKYLVelaTimeline>& timeline() const { return timeline_; }

  // Setting the absolute time runs the progress update. A time set from
  // inside an update (by an observer of its events) is taken in after it.
  const MediaTime& absoluteTime() const { return absoluteTime_; }
  void setAbsoluteTime(const MediaTime& time);
  float playbackRate() const { return playbackRate_; }
  void setPlaybackRate(float rate) { playbackRate_ = rate; }
  float contentPlaybackRate() const { return contentPlaybackRate_; }
  bool shouldSuspendProgress() const { return suspendProgress_; }
  void setSuspendProgress(bool suspend) { suspendProgress_ = suspend; }
  bool didSkipAd() const { return didSkipAd_; }
  void setDidSkipAd(bool skipped) { didSkipAd_ = skipped; }

  void setAbsoluteSeekableTimeRanges(Ranges ranges) { absoluteSeekable_.set(std::move(ranges)); }
  void setAbsoluteLoadedTimeRanges(Ranges ranges) { absoluteLoaded_.set(std::move(ranges)); }
  Observable<Ranges>& contentSeekableTimeRanges() { return contentSeekable_; }
  Observable<Ranges>& contentLoadedTimeRanges() { return contentLoaded_; }

  // The content time of the last position outside ads; -infinity at first.
  Observable<MediaTime>& contentTime() { return contentTime_; }
  // The last event; every event is an assignment, equal ones too.
  Observable<Event>& event() { return event_; }

  // Where the player was at the last update taken in: the time, the break
  // and ad around it, and the time into the ad (or the content time).
  struct Position {
    MediaTime absoluteTime;
    std::shared_ptr<SKYLVelaAdSequence> adSequence;
    std::shared_ptr<const SKYLVelaAd> ad;
    MediaTime logicalTime;
  };
  const std::optional<Position>& previousPosition() const { return previous_; }

  // Repositions without announcing a transition (inside an ad an
  // "AdProgress" follows).
  void forceAbsoluteTime(const MediaTime& time);
  // The viewer left a break by jumping into content: closes the ad and the
  // break that were playing, and forgets the previous position.
  void didResumeVideoDuringAdBreak();

 private:
  void absoluteTimeChanged(const MediaTime& time);
  // The timeline's path at the time, read from the span of the last one
  // while the time stays inside it.
  std::optional<Position> positionAt(const MediaTime& time);
  void update(const MediaTime& time);
  void rewind(Position now);
  void moveOutsideAds(Position position);
  void emit(SKYLVelaProgressTrackerEvent::Type type,
            std::optional<SKYLVelaProgressTrackerEvent::Properties> properties);
  void convertRanges(const Ranges& absolute, Observable<Ranges>& content);
  // The last break beginning before 0.1 s: the pre-roll of a start-skip.
  std::shared_ptr<SKYLVelaAdSequence> preRoll() const;

  // What every tick reads and writes comes first, together; the ranges,
  // which change rarely, after.
  std::shared_ptr<SKYLVelaTimeline> timeline_;
  MediaTime absoluteTime_ = MediaTime::invalid();
  float playbackRate_ = 0;
  float contentPlaybackRate_ = 0;
  bool suspendProgress_ = false;
  bool didSkipAd_ = false;
  bool updating_ = false;
  std::optional<SKYLVelaTimeline::PathSpan> span_;
  std::optional<Position> previous_;
  Observable<MediaTime> contentTime_{MediaTime::negativeInfinity()};
  Observable<Event> event_;
  std::vector<MediaTime> timesSetWhileUpdating_;
  Observable<Ranges> absoluteSeekable_;
  Observable<Ranges> absoluteLoaded_;
  Observable<Ranges> contentSeekable_;
  Observable<Ranges> contentLoaded_;
  SKYLKVOManager kvoManager_;  // last: its observations end first
};

}  // namespace skylark
