#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/MediaTime.h"
#include "platform/ThreadAnnotations.h"
#include "platform/URL.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaAdSequence.h"
#include "timeline/SKYLVelaContentImpression.h"
#include "timeline/SKYLVelaContentSegment.h"
#include "timeline/SKYLVelaPath.h"

namespace SKYLARK_API skylark {

class TimelineIndex;

// The ad timeline of one stitched stream, and the map between its two
// clocks: absolute time (the stream as played, ads included) and logical
// time (the content alone).
//
// Thread safety: every method may be called from any thread. A VOD
// timeline never changes after creation and answers from an index built
// once, without locking. A live timeline maps no times; its break array is
// replaced under the timeline's lock by live refreshes, and readers work on
// a snapshot of it.
class SKYLVelaTimeline : public std::enable_shared_from_this<SKYLVelaTimeline> {
 public:
  using Sequences = std::vector<std::shared_ptr<SKYLVelaAdSequence>>;

  // What a document gives beside its breaks.
  struct DocumentExtras {
    std::optional<URL> thumbnailVTTURL;
    // The raw document bytes, kept for the host.
    std::shared_ptr<const std::string> vmapResponseData;
  };

  static std::shared_ptr<SKYLVelaTimeline> create(
      std::optional<URL> velaURL, MediaTime contentLength, MediaTime payloadLength,
      Sequences adSequences, std::vector<SKYLVelaContentImpression> contentImpressions,
      bool isLiveSSAI, DocumentExtras extras = {});

  const std::optional<URL>& velaURL() const { return velaURL_; }
  const MediaTime& payloadLength() const { return payloadLength_; }
  const MediaTime& contentLength() const { return contentLength_; }
  bool isLiveSSAI() const { return liveSSAI_; }
  const std::vector<SKYLVelaContentImpression>& contentImpressions() const {
    return contentImpressions_;
  }
  // A snapshot of the breaks in ascending begin-time order.
  std::shared_ptr<const Sequences> adSequences() const;

  const std::optional<URL>& thumbnailVTTURL() const { return extras_.thumbnailVTTURL; }
  // Null for a timeline made without a document.
  const std::shared_ptr<const std::string>& vmapResponseData() const {
    return extras_.vmapResponseData;
  }

  std::vector<SKYLVelaContentSegment> contentSegments() const;
  MediaTime contentTimeAtAbsoluteTime(const MediaTime& absoluteTime) const;
  MediaTime absoluteTimeAtContentTime(const MediaTime& contentTime) const;

  // Where the player is: the break and ad containing the time.
  std::shared_ptr<const SKYLVelaPath> pathAtTime(const MediaTime& absoluteTime) const;

  // The times [begin, end) whose paths share one break, one ad and one
  // origin of logical time: a path anywhere in it needs no search, so a
  // player's position, moving a little at a time, is followed cheaply.
  struct PathSpan {
    MediaTime begin;
    MediaTime end;
    std::shared_ptr<SKYLVelaAdSequence> adSequence;
    std::shared_ptr<const SKYLVelaAd> ad;
    // The ad's begin time inside an ad, else the ad time ended before.
    MediaTime logicalOrigin;

    bool contains(const MediaTime& t) const { return begin <= t && t < end; }
    MediaTime logicalTimeAt(const MediaTime& t) const { return t - logicalOrigin; }
  };
  // The span around a numeric time; none on a live timeline (its breaks
  // change) or an irregular one. Inside it, pathAtTime(t) has the span's
  // break and ad and the logical time logicalTimeAt(t).
  std::optional<PathSpan> pathSpanAt(const MediaTime& absoluteTime) const;
  // The break containing the time, and in it the ad at the break's live
  // ad index (none when the index is out of range).
  std::shared_ptr<const SKYLVelaPath> pathAtTimeForLiveSSAI(const MediaTime& absoluteTime) const;
  // The absolute time less the ads that ended at or before it: the content
  // time of a path outside ads (no break is skipped over here).
  MediaTime absoluteTimeLessEndedAds(const MediaTime& absoluteTime) const;

  // Live refresh: merges the first new break into the current first break
  // when they overlap, otherwise replaces every break. Nothing happens to a
  // VOD timeline.
  void installLiveAdSequences(Sequences adSequences);

  std::shared_ptr<SKYLVelaTimeline> copy() const;
  bool operator==(const SKYLVelaTimeline& other) const;
  size_t hash() const;
  std::string description() const;

  SKYLVelaTimeline(const SKYLVelaTimeline&) = delete;
  SKYLVelaTimeline& operator=(const SKYLVelaTimeline&) = delete;

 private:
  struct Snapshot {
    std::shared_ptr<const Sequences> sequences;
    std::shared_ptr<const TimelineIndex> index;  // null: walk the breaks
  };

  SKYLVelaTimeline(std::optional<URL> velaURL, MediaTime contentLength, MediaTime payloadLength,
                   Sequences adSequences, std::vector<SKYLVelaContentImpression> contentImpressions,
                   bool isLiveSSAI, DocumentExtras extras);
  Snapshot snapshot() const;
  // answer(sequences, index) on the breaks to answer from: a VOD timeline's
  // own, neither locked nor copied, or a snapshot of the live ones.
  template <typename Answer>
  auto answerFrom(Answer answer) const;

  const std::optional<URL> velaURL_;
  const MediaTime contentLength_;
  const MediaTime payloadLength_;
  const std::vector<SKYLVelaContentImpression> contentImpressions_;
  const bool liveSSAI_;
  const DocumentExtras extras_;
  // A VOD timeline's breaks and index (null when the layout is not
  // well-ordered); null on a live timeline.
  const std::shared_ptr<const Sequences> vodSequences_;
  const std::shared_ptr<const TimelineIndex> vodIndex_;

  mutable Mutex lock_;
  // A live timeline's breaks.
  std::shared_ptr<const Sequences> liveSequences_ SKYL_GUARDED_BY(lock_);
};

}  // namespace skylark
