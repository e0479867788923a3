#include "host/gst/GstPlayer.h"

#include <algorithm>
#include <cmath>
#include <mutex>

#include <gst/gst.h>

#include "host/SKYLHostLog.h"
#include "host/gst/PlaylistStartDate.h"
#include "host/gst/TimedMetadataTap.h"
#include "platform/DispatchQueue.h"

namespace skylark {
namespace {

MediaTime fromNanoseconds(gint64 ns) { return MediaTime::make(ns, 1'000'000'000); }

gint64 toNanoseconds(const MediaTime& time) {
  return static_cast<gint64>(std::llround(time.seconds() * 1e9));
}

// GStreamer is set up once per process.
bool initializeGStreamer(std::string* why) {
  static std::once_flag once;
  static std::string failure;
  std::call_once(once, [] {
    GError* error = nullptr;
    if (!gst_init_check(nullptr, nullptr, &error)) {
      failure =
          std::string("GStreamer could not start: ") + (error ? error->message : "unknown error");
      g_clear_error(&error);
    }
  });
  if (!failure.empty() && why) *why = failure;
  return failure.empty();
}

// The playbin gives a seek's async-done message a sequence number of its
// own, so a seek is told apart by position instead: a marker posted on the
// bus just before the seek goes in; the first async-done after it is the
// seek's.
constexpr const char* kSeekMarker = "skylark-seek";

uint64_t seekMarker(GstMessage* message) {
  const GstStructure* structure = gst_message_get_structure(message);
  guint64 marker = 0;
  if (!structure || !gst_structure_has_name(structure, kSeekMarker) ||
      !gst_structure_get_uint64(structure, "marker", &marker)) {
    return 0;
  }
  return marker;
}

std::string missingElement(const char* factory) {
  return std::string("GStreamer's ") + factory +
         " element is missing (scripts/setup installs the plug-ins)";
}

GstElement* makeElement(const char* factory, std::string* why) {
  GstElement* element = gst_element_factory_make(factory, nullptr);
  if (!element && why) *why = missingElement(factory);
  return element;
}

}  // namespace

// The playbin, its bus and its timed-metadata tap, torn down with the player.
struct GstPlayer::Pipeline {
  GstElement* playbin = nullptr;
  GstBus* bus = nullptr;
  std::unique_ptr<TimedMetadataTap> metadata;

  ~Pipeline() {
    if (playbin) gst_element_set_state(playbin, GST_STATE_NULL);
    metadata.reset();
    if (bus) gst_object_unref(bus);
    if (playbin) gst_object_unref(playbin);
  }
  void setState(GstState state) const { gst_element_set_state(playbin, state); }
  std::optional<gint64> query(bool duration) const {
    gint64 value = 0;
    const bool ok = duration ? gst_element_query_duration(playbin, GST_FORMAT_TIME, &value)
                             : gst_element_query_position(playbin, GST_FORMAT_TIME, &value);
    if (!ok || value < 0) return std::nullopt;
    return value;
  }
};

bool GstPlayer::isAvailable(const GstPlayerOptions& options, std::string* why) {
  if (!initializeGStreamer(why)) return false;
  for (const char* factory :
       {"playbin", "fakesink", options.window ? "autovideosink" : "fakesink"}) {
    GstElementFactory* found = gst_element_factory_find(factory);
    if (!found) {
      if (why) *why = missingElement(factory);
      return false;
    }
    gst_object_unref(found);
  }
  return true;
}

std::shared_ptr<GstPlayer> GstPlayer::create(GstPlayerOptions options, std::string* why) {
  if (!initializeGStreamer(why)) return nullptr;
  auto pipeline = std::make_unique<Pipeline>();
  pipeline->playbin = makeElement("playbin", why);
  if (!pipeline->playbin) return nullptr;
  gst_object_ref_sink(pipeline->playbin);
  const bool sync = options.sync || options.window;
  GstElement* videoSink = makeElement(options.window ? "autovideosink" : "fakesink", why);
  GstElement* audioSink = makeElement("fakesink", why);
  if (!videoSink || !audioSink) {
    if (videoSink) gst_object_unref(videoSink);
    if (audioSink) gst_object_unref(audioSink);
    return nullptr;
  }
  if (!options.window) g_object_set(videoSink, "sync", sync, nullptr);
  g_object_set(audioSink, "sync", sync, nullptr);
  g_object_set(pipeline->playbin, "video-sink", videoSink, "audio-sink", audioSink, nullptr);
  pipeline->bus = gst_element_get_bus(pipeline->playbin);
  pipeline->metadata = std::make_unique<TimedMetadataTap>(pipeline->playbin);
  return std::shared_ptr<GstPlayer>(new GstPlayer(options, std::move(pipeline)));
}

GstPlayer::GstPlayer(GstPlayerOptions options, std::unique_ptr<Pipeline> pipeline)
    : options_(options), pipeline_(std::move(pipeline)) {}

GstPlayer::~GstPlayer() { timer_.reset(); }

void GstPlayer::replaceCurrentItem(std::shared_ptr<PlayerItem> item) {
  SKYL_DCHECK_MAIN_THREAD();
  if (seek_) {
    if (auto completion = std::exchange(seek_->completion, nullptr)) {
      Dispatch::main().async([completion] { completion(false); });
    }
    seek_.reset();
  }
  ++itemGeneration_;
  timer_.reset();
  pipeline_->setState(GST_STATE_NULL);
  item_ = std::move(item);
  time_ = MediaTime::zero();  // announced once playback or a seek moves it
  prerolled_ = dateResolved_ = ended_ = live_ = false;
  startDate_.reset();
  (void)pipeline_->metadata->take();  // the old item's
  metadata_.clear();
  playingRate_ = 1;
  itemStatus.set(PlayerItem::Status::unknown);
  if (!item_) return;

  g_object_set(pipeline_->playbin, "uri", item_->url().absoluteString().c_str(), "volume",
               static_cast<double>(volume_), nullptr);
  pipeline_->setState(GST_STATE_PAUSED);  // failures arrive on the bus
  loadStartDate(item_->url());
  std::weak_ptr<GstPlayer> weak = shared_from_this();
  timer_ =
      std::make_unique<RepeatingTimer>(Dispatch::main(), options_.positionInterval, false, [weak] {
        if (const auto self = weak.lock()) self->tick();
      });
}

void GstPlayer::loadStartDate(const URL& url) {
  std::weak_ptr<GstPlayer> weak = shared_from_this();
  fetchPlaylistDating(url, [weak, generation = itemGeneration_](PlaylistDating dating) {
    const auto self = weak.lock();
    if (!self || self->itemGeneration_ != generation) return;
    self->startDate_ = dating.startDate;
    self->live_ = dating.live;
    self->dateResolved_ = true;
    self->becomeReadyIfLoaded();
  });
}

void GstPlayer::tick() {
  handleMessages();
  if (prerolled_) becomeReadyIfLoaded();  // the duration may come late
  // Read before the position: a frame is demuxed before the video beside it
  // is shown, so one the playhead has reached is already here.
  metadata_.add(pipeline_->metadata->take());
  publishPosition();
}

void GstPlayer::handleMessages() {
  const uint64_t generation = itemGeneration_;
  while (GstMessage* message = gst_bus_pop(pipeline_->bus)) {
    switch (GST_MESSAGE_TYPE(message)) {
      case GST_MESSAGE_ASYNC_DONE:
        if (!prerolled_) {
          prerolled_ = true;
          becomeReadyIfLoaded();
        } else if (seek_ && seek_->armed) {
          finishSeek();
        }
        break;
      case GST_MESSAGE_APPLICATION:
        if (seek_ && seekMarker(message) == seek_->marker) seek_->armed = true;
        break;
      case GST_MESSAGE_EOS:
        reachedEnd();
        break;
      case GST_MESSAGE_ERROR: {
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        failItem(error ? error->message : "unknown error");
        g_clear_error(&error);
        break;
      }
      default:
        break;
    }
    gst_message_unref(message);
    if (generation != itemGeneration_) return;  // a completion replaced the item
  }
}

void GstPlayer::becomeReadyIfLoaded() {
  if (!item_ || !prerolled_ || !dateResolved_ || item_->status() != PlayerItem::Status::unknown)
    return;
  const auto duration = live_ ? std::optional<gint64>() : pipeline_->query(true);
  if (!live_ && !duration) return;  // tried again on the next tick
  item_->setReady(live_ ? MediaTime::indefinite() : fromNanoseconds(*duration), startDate_);
  itemStatus.set(item_->status());
  if (seek_ && !seek_->issued)
    startSeek(seek_->to, seek_->before == MediaTime::zero() && seek_->after == MediaTime::zero());
  applyRate();
}

void GstPlayer::failItem(const std::string& reason) {
  SKYLHostLog(0, "GstPlayer: %@ could not be played: %@",
              item_ ? item_->url().absoluteString() : "", reason);
  timer_.reset();
  pipeline_->setState(GST_STATE_NULL);
  if (seek_) {
    if (auto completion = std::exchange(seek_->completion, nullptr)) completion(false);
    seek_.reset();
  }
  if (!item_ || item_->status() == PlayerItem::Status::failed) return;
  item_->setFailed();
  if (rate_ != 0) {
    rate_ = 0;
    postRateChange();
  }
  itemStatus.set(item_->status());
}

void GstPlayer::reachedEnd() {
  if (ended_ || !item_) return;
  ended_ = true;
  pipeline_->setState(GST_STATE_PAUSED);
  const bool forward = playingRate_ > 0;
  const MediaTime reverseEnd = item_->reversePlaybackEndTime().isNumeric()
                                   ? item_->reversePlaybackEndTime()
                                   : MediaTime::zero();
  const MediaTime end = forward && item_->duration().isNumeric() ? item_->duration() : time_;
  if (forward) {
    metadata_.add(pipeline_->metadata->take());
    deliverMetadata(time_, end, true);
  }
  time_ = forward ? end : reverseEnd;
  time.set(time_);
  if (rate_ != 0) {
    rate_ = 0;
    postRateChange();
  }
  if (forward) {
    playedToEnd.set(true);
    playedToEnd.set(false);
  }
}

void GstPlayer::setRate(float rate) {
  SKYL_DCHECK_MAIN_THREAD();
  if (rate == rate_) return;
  rate_ = rate;
  postRateChange();
  applyRate();
}

void GstPlayer::applyRate() {
  if (!item_ || item_->status() != PlayerItem::Status::readyToPlay || (seek_ && seek_->issued))
    return;
  if (rate_ == 0) {
    pipeline_->setState(GST_STATE_PAUSED);
    return;
  }
  if (rate_ != playingRate_) {
    const gint64 at = toNanoseconds(time_);
    const gint64 reverseEnd = item_->reversePlaybackEndTime().isNumeric()
                                  ? toNanoseconds(item_->reversePlaybackEndTime())
                                  : 0;
    const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
    const bool changed =
        rate_ > 0 ? gst_element_seek(pipeline_->playbin, rate_, GST_FORMAT_TIME, flags,
                                     GST_SEEK_TYPE_SET, at, GST_SEEK_TYPE_NONE, -1)
                  : gst_element_seek(pipeline_->playbin, rate_, GST_FORMAT_TIME, flags,
                                     GST_SEEK_TYPE_SET, reverseEnd, GST_SEEK_TYPE_SET, at);
    if (!changed && rate_ < 0) {
      SKYLHostLog(0, "GstPlayer: this stream cannot play in reverse (rate %@); playing forward.",
                  rate_);
      rate_ = 1;
      postRateChange();
      applyRate();
      return;
    }
    if (changed) {
      playingRate_ = rate_;
      ended_ = false;
    }
  }
  if (ended_ && playingRate_ > 0) return;  // at the end already
  pipeline_->setState(GST_STATE_PLAYING);
}

void GstPlayer::setVolume(float volume) {
  SKYL_DCHECK_MAIN_THREAD();
  volume_ = std::clamp(volume, 0.0f, 1.0f);
  g_object_set(pipeline_->playbin, "volume", static_cast<double>(volume_), nullptr);
}

void GstPlayer::seek(MediaTime to, MediaTime toleranceBefore, MediaTime toleranceAfter,
                     SeekCompletion completion) {
  SKYL_DCHECK_MAIN_THREAD();
  if (seek_) {
    if (auto replaced = std::exchange(seek_->completion, nullptr)) {
      Dispatch::main().async([replaced] { replaced(false); });
    }
  }
  seek_ = PendingSeek{to, toleranceBefore, toleranceAfter, std::move(completion)};
  if (item_ && item_->status() == PlayerItem::Status::readyToPlay) {
    startSeek(to, toleranceBefore == MediaTime::zero() && toleranceAfter == MediaTime::zero());
  }
}

void GstPlayer::startSeek(MediaTime to, bool accurate) {
  const MediaTime end = item_->duration();
  to = std::max(MediaTime::zero(), end.isNumeric() ? std::min(to, end) : to);
  seek_->to = to;
  const auto flags = static_cast<GstSeekFlags>(
      GST_SEEK_FLAG_FLUSH |
      (accurate ? GST_SEEK_FLAG_ACCURATE : GST_SEEK_FLAG_KEY_UNIT | GST_SEEK_FLAG_SNAP_NEAREST));
  const double rate = playingRate_ > 0 ? playingRate_ : 1.0;
  seek_->marker = ++seekMarkers_;
  seek_->armed = false;
  seek_->issued = true;
  gst_bus_post(
      pipeline_->bus,
      gst_message_new_application(GST_OBJECT(pipeline_->playbin),
                                  gst_structure_new(kSeekMarker, "marker", G_TYPE_UINT64,
                                                    static_cast<guint64>(seek_->marker), nullptr)));
  playingRate_ = static_cast<float>(rate);
  ended_ = false;
  if (!gst_element_seek(pipeline_->playbin, rate, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET,
                        toNanoseconds(to), GST_SEEK_TYPE_NONE, -1)) {
    SKYLHostLog(1, "GstPlayer: the stream refused a seek to %@ s.", to.seconds());
    seek_->issued = false;
    auto completion = std::exchange(seek_->completion, nullptr);
    seek_.reset();
    if (completion) Dispatch::main().async([completion] { completion(false); });
  }
}

void GstPlayer::finishSeek() {
  const bool accurate = seek_->before == MediaTime::zero() && seek_->after == MediaTime::zero();
  MediaTime landed = seek_->to;
  if (!accurate) {
    if (const auto position = pipeline_->query(false)) landed = fromNanoseconds(*position);
    const bool inside =
        (seek_->before.isPositiveInfinity() || landed >= seek_->to - seek_->before) &&
        (seek_->after.isPositiveInfinity() || landed <= seek_->to + seek_->after);
    if (!inside && !seek_->refined) {
      seek_->refined = true;
      startSeek(seek_->to, true);
      return;
    }
    if (!inside) landed = seek_->to;
  }
  auto completion = std::exchange(seek_->completion, nullptr);
  seek_.reset();
  time_ = landed;
  time.set(landed);
  applyRate();
  if (completion) completion(true);
}

void GstPlayer::publishPosition() {
  if (!item_ || item_->status() != PlayerItem::Status::readyToPlay || seek_ || rate_ == 0 || ended_)
    return;
  const auto position = pipeline_->query(false);
  if (!position) return;
  const MediaTime now = fromNanoseconds(*position);
  if (now == time_) return;
  if (now > time_ && playingRate_ > 0) deliverMetadata(time_, now, false);
  time_ = now;
  time.set(now);
}

void GstPlayer::deliverMetadata(const MediaTime& from, const MediaTime& to, bool includeTo) {
  const auto crossed = metadata_.crossed(from, to, includeTo);
  if (crossed.empty()) return;
  for (const auto& output : item_->outputs()) {
    if (!output.queue) continue;
    output.queue->async([delegate = output.delegate, crossed] {
      if (const auto live = delegate.lock()) live->outputDidOutputTimedMetadata(crossed);
    });
  }
}

std::optional<SystemTime> GstPlayer::currentDate() const {
  if (!startDate_ || !time_.isNumeric()) return std::nullopt;
  return *startDate_ + std::chrono::milliseconds(std::llround(time_.seconds() * 1000));
}

}  // namespace skylark
