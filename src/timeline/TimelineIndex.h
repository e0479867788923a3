#pragma once

#include <memory>
#include <vector>

#include "timeline/SKYLVelaTimeline.h"
#include "timeline/TimelineWalks.h"

namespace skylark {

// The timeline's questions in logarithmic time. A player asks them several
// times a second for hours, on timelines of hundreds of breaks, so the walks
// are replaced by binary searches over prefix sums that are built once.
//
// Only a well-ordered layout gets an index: every time numeric, breaks in
// order without overlap, every ad ending inside its break, content segments
// of non-negative length in order. Then each answer equals the walk's
// (the sums are accumulated in the walk's own order, so even rounded
// timescales agree). Any other layout is answered by the walks.
//
// Immutable once built; read from any thread.
class TimelineIndex {
 public:
  using Sequences = timeline_walks::Sequences;

  // Null when the layout is not well-ordered.
  static std::shared_ptr<const TimelineIndex> build(const Sequences& sequences,
                                                    const MediaTime& payloadLength);

  MediaTime contentTimeAt(const MediaTime& t) const;
  MediaTime absoluteTimeAt(const MediaTime& c) const;
  timeline_walks::Location locate(const MediaTime& t) const;
  MediaTime adTimeEndedBy(const MediaTime& t) const;
  // The span around a numeric t in which locate and adTimeEndedBy keep
  // their answers for t.
  SKYLVelaTimeline::PathSpan spanAt(const MediaTime& t) const;

 private:
  // One row per break, per ad and per content segment, each kind in one
  // array: a question reads a few neighbouring rows, not one element of
  // each of several arrays (a thousand players ask it on every tick).
  struct BreakRow {
    MediaTime begin;
    MediaTime end;
    MediaTime adTimeBefore;  // ad time of all breaks before, accumulated ad by ad
    size_t firstAd;          // into ads_ and adRows_
    size_t adCount;
  };
  struct AdRow {
    MediaTime begin;
    MediaTime end;
    MediaTime duration;
  };
  struct SegmentRow {
    MediaTime begin;
    MediaTime end;
    MediaTime contentBefore;  // content before this segment
    MediaTime contentAfter;   // and up to its end
  };

  TimelineIndex() = default;
  // The number of breaks whose begin time is at or before t.
  size_t breaksBegunBy(const MediaTime& t) const;

  Sequences sequences_;
  std::vector<BreakRow> breaks_;
  std::vector<AdRow> adRows_;
  std::vector<std::shared_ptr<const SKYLVelaAd>> ads_;
  std::vector<SegmentRow> segments_;
  MediaTime payloadLength_;
};

}  // namespace skylark
