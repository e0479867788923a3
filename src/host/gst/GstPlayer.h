#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "host/Player.h"
#include "host/gst/TimedMetadataCrossings.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

struct GstPlayerOptions {
  // Frames are presented on the clock (real time); off, the stream plays as
  // fast as it decodes.
  bool sync = true;
  // Shows the video in a window (the platform's video sink); implies sync.
  bool window = false;
  // How often the playhead is read and published while playing.
  std::chrono::milliseconds positionInterval{50};
};

// A Player over GStreamer's playbin: HLS (and whatever else playbin plays)
// from http(s) or file addresses. Headless by default: fake sinks.
//
// Everything happens on the main queue: a timer there reads the pipeline's
// bus and position, so no GLib main loop is needed. Seeks with zero
// tolerances are accurate; with tolerances they land on a key frame, and
// are refined when the key frame falls outside them. A reverse rate the
// stream refuses is logged and playback goes on forward. The start date
// comes from the playlist's first EXT-X-PROGRAM-DATE-TIME, when it has one;
// a playlist without an end tag is live, its duration indefinite, and its
// stream time starts at the first segment of the window the demuxer read
// first. The player reads the window itself as the item loads: should it
// slide between that read and the demuxer's, the date is a segment off.
//
// The ID3 timed metadata of an HLS transport stream reaches the item's
// outputs, on their queues, as the playhead crosses it going forward: each
// user-text frame once, with its stream time (TimedMetadataTap).
class GstPlayer final : public Player, public std::enable_shared_from_this<GstPlayer> {
 public:
  // Whether create() can succeed with these options; when not, why.
  static bool isAvailable(const GstPlayerOptions& options, std::string* why);
  // Null, with the reason in *why, when GStreamer or playbin is missing.
  static std::shared_ptr<GstPlayer> create(GstPlayerOptions options, std::string* why = nullptr);
  ~GstPlayer() override;

  std::shared_ptr<PlayerItem> currentItem() const override { return item_; }
  void replaceCurrentItem(std::shared_ptr<PlayerItem> item) override;
  MediaTime currentTime() const override { return time_; }
  float rate() const override { return rate_; }
  void setRate(float rate) override;
  float volume() const override { return volume_; }
  void setVolume(float volume) override;
  void seek(MediaTime to, MediaTime toleranceBefore, MediaTime toleranceAfter,
            SeekCompletion completion) override;
  bool advertisingMode() const override { return advertisingMode_; }
  void setAdvertisingMode(bool on) override { advertisingMode_ = on; }
  bool layerHidden() const override { return layerHidden_; }
  void setLayerHidden(bool hidden) override { layerHidden_ = hidden; }
  std::optional<SystemTime> currentDate() const override;

  struct Pipeline;

 private:
  GstPlayer(GstPlayerOptions options, std::unique_ptr<Pipeline> pipeline);
  void tick();
  void handleMessages();
  void becomeReadyIfLoaded();
  void failItem(const std::string& reason);
  void reachedEnd();
  void startSeek(MediaTime to, bool accurate);
  void finishSeek();
  void applyRate();
  void publishPosition();
  void loadStartDate(const URL& url);
  void deliverMetadata(const MediaTime& from, const MediaTime& to, bool includeTo);

  GstPlayerOptions options_;
  std::unique_ptr<Pipeline> pipeline_;
  std::shared_ptr<PlayerItem> item_;
  uint64_t itemGeneration_ = 0;
  MediaTime time_ = MediaTime::zero();
  float rate_ = 0;
  float playingRate_ = 1;  // the rate the pipeline last started at
  float volume_ = 1;
  bool advertisingMode_ = false;
  bool layerHidden_ = false;
  bool prerolled_ = false;
  bool dateResolved_ = false;
  bool ended_ = false;
  bool live_ = false;
  std::optional<SystemTime> startDate_;
  TimedMetadataCrossings metadata_;

  // The seek the application asked for; one at a time.
  struct PendingSeek {
    MediaTime to;
    MediaTime before;
    MediaTime after;
    SeekCompletion completion;
    bool issued = false;   // handed to the pipeline
    bool refined = false;  // a key-unit seek redone accurately
    uint64_t marker = 0;   // the bus marker posted just before it
    bool armed = false;    // its marker has come off the bus
  };
  std::optional<PendingSeek> seek_;
  uint64_t seekMarkers_ = 0;
  std::unique_ptr<RepeatingTimer> timer_;
};

}  // namespace skylark
