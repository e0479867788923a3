#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "host/Player.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// What a simulated stream is: its length, the wall-clock date of its start
// (live streams) and its timed metadata.
struct SimulatedMedia {
  MediaTime duration;
  std::optional<SystemTime> startDate;
  std::vector<TimedMetadataItem> metadata;
  // Where the playhead stands once the item is ready (a player told to
  // start elsewhere, at the end to play backwards for one); the start when none.
  std::optional<MediaTime> startPosition = std::nullopt;
};

// A headless player on a virtual clock. Nothing plays by itself: advance()
// moves the playhead by rate x seconds, so a two-hour stream plays in as
// little CPU as its events need. Items load, and seeks complete, on the
// main queue after the call, as with a real player; a ready item announces
// the playhead's position (0, or the media's start position) at once. Streams are looked up
// in a catalog by address; an unknown address fails to load.
// Main queue only.
class SimulatedPlayer final : public Player, public std::enable_shared_from_this<SimulatedPlayer> {
 public:
  using Catalog = std::function<std::optional<SimulatedMedia>(const URL& url)>;

  static std::shared_ptr<SimulatedPlayer> create(Catalog catalog);

  std::shared_ptr<PlayerItem> currentItem() const override { return item_; }
  void replaceCurrentItem(std::shared_ptr<PlayerItem> item) override;
  MediaTime currentTime() const override { return time_; }
  float rate() const override { return rate_; }
  void setRate(float rate) override;
  float volume() const override { return volume_; }
  void setVolume(float volume) override { volume_ = volume; }
  void seek(MediaTime to, MediaTime toleranceBefore, MediaTime toleranceAfter,
            SeekCompletion completion) override;
  bool advertisingMode() const override { return advertisingMode_; }
  void setAdvertisingMode(bool on) override { advertisingMode_ = on; }
  bool layerHidden() const override { return layerHidden_; }
  void setLayerHidden(bool hidden) override { layerHidden_ = hidden; }
  std::optional<SystemTime> currentDate() const override;

  // Moves the playhead by rate x seconds of virtual time: forward it stops
  // at the item's end (rate 0, playedToEnd), backward at the reverse
  // playback end time (or the start); a reverse from at or before that time
  // stops where it is (rate 0). Nothing moves while the item is not
  // ready or a seek is pending. Timed metadata crossed going forward reaches
  // the item's outputs, in order, on their queues.
  void advance(double seconds);
  // advance(step) repeatedly for `seconds` of virtual time, running the
  // main queue until idle after each step.
  void runFor(double seconds, double step = 0.1);

 private:
  explicit SimulatedPlayer(Catalog catalog) : catalog_(std::move(catalog)) {}
  void moveTo(MediaTime to);
  void deliverMetadata(const MediaTime& from, const MediaTime& to, bool includeEnd);

  // What advance() reads on every tick comes first, together, from the
  // start of a cache line of its own.
  alignas(64) std::shared_ptr<PlayerItem> item_;
  MediaTime time_ = MediaTime::zero();
  float rate_ = 0;
  float volume_ = 1;
  bool advertisingMode_ = false;
  bool layerHidden_ = false;
  SeekCompletion pendingSeek_;
  std::vector<TimedMetadataItem> metadata_;
  uint64_t seekGeneration_ = 0;
  Catalog catalog_;
};

}  // namespace skylark
