#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/Player.h"

// A small media stack of this application's own, behind the plug-in's
// Player interface: a stream is only a length and the date of its first
// frame, and the "decoder" shows one 100 ms frame of it per turn of the
// main queue while the rate is not zero. What it shows how to do is what a
// real back-end does: load and seek asynchronously, complete on the main
// queue, announce time, rate, status and the end. Main queue only.
class TickPlayer final : public skylark::Player, public std::enable_shared_from_this<TickPlayer> {
 public:
  struct Stream {
    double seconds = 0;
    std::optional<skylark::SystemTime> startDate;
  };
  // The streams it can play, by address; any other address fails to load.
  static std::shared_ptr<TickPlayer> create(std::map<std::string, Stream> streams);

  std::shared_ptr<skylark::PlayerItem> currentItem() const override { return item_; }
  void replaceCurrentItem(std::shared_ptr<skylark::PlayerItem> item) override;
  skylark::MediaTime currentTime() const override { return time_; }
  float rate() const override { return rate_; }
  void setRate(float rate) override;
  float volume() const override { return volume_; }
  void setVolume(float volume) override { volume_ = volume; }
  void seek(skylark::MediaTime to, skylark::MediaTime toleranceBefore,
            skylark::MediaTime toleranceAfter, SeekCompletion completion) override;
  bool advertisingMode() const override { return advertisingMode_; }
  void setAdvertisingMode(bool on) override { advertisingMode_ = on; }
  bool layerHidden() const override { return layerHidden_; }
  void setLayerHidden(bool hidden) override { layerHidden_ = hidden; }
  std::optional<skylark::SystemTime> currentDate() const override;

 private:
  explicit TickPlayer(std::map<std::string, Stream> streams) : streams_(std::move(streams)) {}
  // Starts showing frames if the player should be and is not yet.
  void schedule();
  void showFrame(uint64_t generation);
  void moveTo(skylark::MediaTime to);

  std::map<std::string, Stream> streams_;
  std::shared_ptr<skylark::PlayerItem> item_;
  skylark::MediaTime time_ = skylark::MediaTime::zero();
  float rate_ = 0;
  float volume_ = 1;
  bool advertisingMode_ = false;
  bool layerHidden_ = false;
  SeekCompletion pendingSeek_;
  // Bumped by each new item, seek and rate: a load, seek or frame scheduled
  // before it finds itself stale and does nothing.
  uint64_t generation_ = 0;
};
