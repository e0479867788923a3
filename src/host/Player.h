#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "host/PlayerItem.h"
#include "platform/MediaTime.h"
#include "platform/Observable.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The media player a playback session drives. Implementations: the
// headless SimulatedPlayer (a virtual clock) and real back-ends; all of them
// pass the same contract tests. Main queue only: every call, and every
// observer and completion, runs there.
//
// State changes are published through the observable properties below;
// rate changes also post kSKYLPlayerRateDidChangeNotification (object: the
// player) on the default notification center.
class Player {
 public:
  using SeekCompletion = std::function<void(bool finished)>;

  virtual ~Player() = default;

  virtual std::shared_ptr<PlayerItem> currentItem() const = 0;
  // Loading completes asynchronously: the item's status, then itemStatus.
  virtual void replaceCurrentItem(std::shared_ptr<PlayerItem> item) = 0;

  virtual MediaTime currentTime() const = 0;
  virtual float rate() const = 0;
  virtual void setRate(float rate) = 0;
  void play() { setRate(1.0f); }
  void pause() { setRate(0.0f); }
  virtual float volume() const = 0;
  virtual void setVolume(float volume) = 0;

  // Lands within [to - before, to + after]; with zero tolerances exactly at
  // to. The completion runs later on the main queue, never inside the call:
  // true when the seek landed, false when a later seek or item replaced it.
  virtual void seek(MediaTime to, MediaTime toleranceBefore, MediaTime toleranceAfter,
                    SeekCompletion completion) = 0;

  virtual bool advertisingMode() const = 0;
  virtual void setAdvertisingMode(bool on) = 0;
  virtual bool layerHidden() const = 0;
  virtual void setLayerHidden(bool hidden) = 0;

  // The wall-clock date at the playhead, for streams that carry dates.
  virtual std::optional<SystemTime> currentDate() const = 0;

  // Published as the playhead moves (at least ten times a second of
  // playback) and when a seek lands; a new item starts at zero unannounced.
  Observable<MediaTime> time{MediaTime::invalid()};
  // The current item's status after each change.
  Observable<PlayerItem::Status> itemStatus{PlayerItem::Status::unknown};
  // Set once each time the item plays to its end (forward).
  Observable<bool> playedToEnd{false};

 protected:
  void postRateChange();
};

}  // namespace skylark
