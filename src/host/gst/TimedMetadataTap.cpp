#include "host/gst/TimedMetadataTap.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include <gst/gst.h>

#include "host/gst/ID3Tag.h"
#include "host/gst/TransportStreamID3Exposer.h"
#include "platform/ThreadAnnotations.h"

namespace skylark {

struct TimedMetadataTap::Inbox {
  Mutex mutex;
  std::vector<TimedMetadataItem> items SKYL_GUARDED_BY(mutex);
};

namespace {

// What the probes of one tsdemux share: its input's exposer and where the
// frames go. Held by each probe and handler until the demuxer goes.
struct DemuxerTap {
  std::shared_ptr<TimedMetadataTap::Inbox> inbox;
  Mutex mutex;
  TransportStreamID3Exposer exposer SKYL_GUARDED_BY(mutex);
};

using SharedDemuxerTap = std::shared_ptr<DemuxerTap>;

void releaseDemuxerTap(gpointer data) { delete static_cast<SharedDemuxerTap*>(data); }
DemuxerTap& demuxerTap(gpointer data) { return **static_cast<SharedDemuxerTap*>(data); }

// The buffer's bytes passed through the exposer: the same buffer when
// nothing changed, a new one with its timestamps and flags otherwise, or
// null when all of it waits for more.
GstBuffer* exposed(DemuxerTap& tap, GstBuffer* buffer) {
  GstMapInfo map;
  if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return buffer;
  const std::string_view in(reinterpret_cast<const char*>(map.data), map.size);
  std::string out;
  {
    MutexLock lock(tap.mutex);
    out = tap.exposer.feed(in);
  }
  const bool same = out == in;
  gst_buffer_unmap(buffer, &map);
  if (same) return buffer;
  GstBuffer* replacement = nullptr;
  if (!out.empty()) {
    replacement = gst_buffer_new_allocate(nullptr, out.size(), nullptr);
    gst_buffer_fill(replacement, 0, out.data(), out.size());
    gst_buffer_copy_into(replacement, buffer, GST_BUFFER_COPY_METADATA, 0, -1);
  }
  gst_buffer_unref(buffer);
  return replacement;
}

GstPadProbeReturn onDemuxerInput(GstPad*, GstPadProbeInfo* info, gpointer data) {
  DemuxerTap& tap = demuxerTap(data);
  if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_EVENT_BOTH) {
    const GstEventType type = GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info));
    if (type == GST_EVENT_FLUSH_STOP || type == GST_EVENT_STREAM_START) {
      MutexLock lock(tap.mutex);
      tap.exposer.reset();
    }
    return GST_PAD_PROBE_OK;
  }
  if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) {
    GstBuffer* buffer = exposed(tap, GST_PAD_PROBE_INFO_BUFFER(info));
    GST_PAD_PROBE_INFO_DATA(info) = buffer;
    return buffer ? GST_PAD_PROBE_OK : GST_PAD_PROBE_HANDLED;
  }
  if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER_LIST) {
    GstBufferList* list = gst_buffer_list_make_writable(GST_PAD_PROBE_INFO_BUFFER_LIST(info));
    gst_buffer_list_foreach(
        list,
        [](GstBuffer** buffer, guint, gpointer shared) -> gboolean {
          *buffer = exposed(demuxerTap(shared), *buffer);  // null takes it out of the list
          return TRUE;
        },
        data);
    GST_PAD_PROBE_INFO_DATA(info) = list;
  }
  return GST_PAD_PROBE_OK;
}

// tsdemux names a private pad "private_<program>_<pid in hex>".
std::optional<uint16_t> pidOfPad(GstPad* pad) {
  const std::string_view name(GST_PAD_NAME(pad));
  const size_t underscore = name.rfind('_');
  if (name.rfind("private_", 0) != 0 || underscore == std::string_view::npos) return std::nullopt;
  return static_cast<uint16_t>(
      std::strtoul(std::string(name.substr(underscore + 1)).c_str(), nullptr, 16));
}

GstPadProbeReturn onMetadataBuffer(GstPad* pad, GstPadProbeInfo* info, gpointer data) {
  GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
  const GstClockTime pts =
      GST_BUFFER_PTS_IS_VALID(buffer) ? GST_BUFFER_PTS(buffer) : GST_BUFFER_DTS(buffer);
  GstEvent* segmentEvent = gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0);
  guint64 streamTime = GST_CLOCK_TIME_NONE;
  if (segmentEvent && GST_CLOCK_TIME_IS_VALID(pts)) {
    const GstSegment* segment = nullptr;
    gst_event_parse_segment(segmentEvent, &segment);
    streamTime = gst_segment_to_stream_time(segment, GST_FORMAT_TIME, pts);
  }
  if (segmentEvent) gst_event_unref(segmentEvent);
  GstMapInfo map;
  if (GST_CLOCK_TIME_IS_VALID(streamTime) && gst_buffer_map(buffer, &map, GST_MAP_READ)) {
    const auto texts =
        readID3UserTexts(std::string_view(reinterpret_cast<const char*>(map.data), map.size));
    gst_buffer_unmap(buffer, &map);
    const MediaTime time = MediaTime::make(static_cast<int64_t>(streamTime), 1'000'000'000);
    TimedMetadataTap::Inbox& inbox = *demuxerTap(data).inbox;
    MutexLock lock(inbox.mutex);
    for (const auto& text : texts) inbox.items.push_back({time, text.value});
  }
  return GST_PAD_PROBE_DROP;  // nothing downstream wants it
}

void onDemuxerPad(GstElement*, GstPad* pad, gpointer data) {
  const auto pid = pidOfPad(pad);
  if (!pid) return;
  DemuxerTap& tap = demuxerTap(data);
  {
    MutexLock lock(tap.mutex);
    if (!tap.exposer.metadataPIDs().count(*pid)) return;
  }
  gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, onMetadataBuffer,
                    new SharedDemuxerTap(*static_cast<SharedDemuxerTap*>(data)), releaseDemuxerTap);
}

void onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer data) {
  GstElementFactory* factory = gst_element_get_factory(element);
  if (!factory || std::strcmp(GST_OBJECT_NAME(factory), "tsdemux") != 0) return;
  auto tap = std::make_shared<DemuxerTap>();
  tap->inbox = *static_cast<std::shared_ptr<TimedMetadataTap::Inbox>*>(data);
  GstPad* input = gst_element_get_static_pad(element, "sink");
  if (!input) return;
  gst_pad_add_probe(input,
                    static_cast<GstPadProbeType>(
                        GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST |
                        GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                    onDemuxerInput, new SharedDemuxerTap(tap), releaseDemuxerTap);
  gst_object_unref(input);
  g_signal_connect_data(
      element, "pad-added", G_CALLBACK(onDemuxerPad), new SharedDemuxerTap(tap),
      [](gpointer shared, GClosure*) { releaseDemuxerTap(shared); }, static_cast<GConnectFlags>(0));
}

}  // namespace

TimedMetadataTap::TimedMetadataTap(GstElement* playbin)
    : playbin_(playbin), inbox_(std::make_shared<Inbox>()) {
  handler_ = g_signal_connect_data(
      playbin_, "deep-element-added", G_CALLBACK(onElementAdded),
      new std::shared_ptr<Inbox>(inbox_),
      [](gpointer data, GClosure*) { delete static_cast<std::shared_ptr<Inbox>*>(data); },
      static_cast<GConnectFlags>(0));
}

TimedMetadataTap::~TimedMetadataTap() { g_signal_handler_disconnect(playbin_, handler_); }

std::vector<TimedMetadataItem> TimedMetadataTap::take() {
  MutexLock lock(inbox_->mutex);
  return std::exchange(inbox_->items, {});
}

}  // namespace skylark
