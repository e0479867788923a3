#include "timeline/TimelineIndex.h"

#include <algorithm>

namespace skylark {

std::shared_ptr<const TimelineIndex> TimelineIndex::build(const Sequences& sequences,
                                                          const MediaTime& payloadLength) {
  std::shared_ptr<TimelineIndex> index(new TimelineIndex());
  index->sequences_ = sequences;
  index->payloadLength_ = payloadLength;

  // Each array is sized to its rows: the index lives as long as its timeline.
  index->breaks_.reserve(sequences.size());
  MediaTime adTime = MediaTime::zero();
  for (const auto& sequence : sequences) {
    const auto ads = sequence->ads();
    if (ads.empty()) return nullptr;
    const MediaTime begin = ads.front()->beginTime();
    const MediaTime end = ads.back()->endTime();
    if (!begin.isNumeric() || !end.isNumeric() || end < begin) return nullptr;
    if (!index->breaks_.empty() && begin < index->breaks_.back().end) return nullptr;
    index->breaks_.push_back({begin, end, adTime, index->ads_.size(), ads.size()});
    for (const auto& ad : ads) {
      if (!ad->duration().isNumeric() || !ad->endTime().isNumeric() || ad->endTime() > end) {
        return nullptr;
      }
      adTime = adTime + ad->duration();
      index->adRows_.push_back({ad->beginTime(), ad->endTime(), ad->duration()});
      index->ads_.push_back(ad);
    }
  }

  index->adRows_.shrink_to_fit();
  index->ads_.shrink_to_fit();

  MediaTime content = MediaTime::zero();
  const auto segments = timeline_walks::contentSegments(sequences, payloadLength);
  index->segments_.reserve(segments.size());
  for (const auto& segment : segments) {
    const MediaTime& begin = segment.beginTime();
    const MediaTime& duration = segment.duration();
    if (!begin.isNumeric() || !duration.isNumeric() || duration < MediaTime::zero()) {
      return nullptr;
    }
    if (!index->segments_.empty() && begin < index->segments_.back().end) return nullptr;
    const MediaTime before = content;
    content = content + duration;
    index->segments_.push_back({begin, begin + duration, before, content});
  }
  return index;
}

MediaTime TimelineIndex::contentTimeAt(const MediaTime& t) const {
  // The first segment that ends at or after t.
  const auto found =
      std::lower_bound(segments_.begin(), segments_.end(), t,
                       [](const SegmentRow& row, const MediaTime& time) { return row.end < time; });
  if (found == segments_.end()) {
    const MediaTime all = segments_.empty() ? MediaTime::zero() : segments_.back().contentAfter;
    return all != MediaTime::zero() ? all : MediaTime::invalid();
  }
  if (found->begin >= t) return found->contentBefore;
  const MediaTime sum = found->contentBefore + (t - found->begin);
  // Any later segment begins at or after t and answers with this sum; the
  // last one leaves it to the final rule.
  if (found + 1 != segments_.end()) return sum;
  return sum != MediaTime::zero() ? sum : MediaTime::invalid();
}

MediaTime TimelineIndex::absoluteTimeAt(const MediaTime& c) const {
  // The first segment whose content runs past c.
  const auto found = std::upper_bound(
      segments_.begin(), segments_.end(), c,
      [](const MediaTime& content, const SegmentRow& row) { return content < row.contentAfter; });
  if (found != segments_.end() && found->contentBefore <= c) {
    return found->begin + (c - found->contentBefore);
  }
  const MediaTime all = segments_.empty() ? MediaTime::zero() : segments_.back().contentAfter;
  return c <= all ? payloadLength_ : MediaTime::invalid();
}

size_t TimelineIndex::breaksBegunBy(const MediaTime& t) const {
  const auto found =
      std::upper_bound(breaks_.begin(), breaks_.end(), t,
                       [](const MediaTime& time, const BreakRow& row) { return time < row.begin; });
  return static_cast<size_t>(found - breaks_.begin());
}

timeline_walks::Location TimelineIndex::locate(const MediaTime& t) const {
  const size_t begun = breaksBegunBy(t);
  if (begun == 0 || !(t < breaks_[begun - 1].end)) return {};
  const BreakRow& row = breaks_[begun - 1];
  for (size_t a = row.firstAd; a < row.firstAd + row.adCount; ++a) {
    if (adRows_[a].begin <= t && t < adRows_[a].end) return {sequences_[begun - 1], ads_[a]};
  }
  return {sequences_[begun - 1], nullptr};
}

MediaTime TimelineIndex::adTimeEndedBy(const MediaTime& t) const {
  const size_t begun = breaksBegunBy(t);
  if (begun == 0) return MediaTime::zero();
  // Every ad of an earlier break ended before this break began.
  const BreakRow& row = breaks_[begun - 1];
  MediaTime sum = row.adTimeBefore;
  for (size_t a = row.firstAd; a < row.firstAd + row.adCount; ++a) {
    if (adRows_[a].end <= t) sum = sum + adRows_[a].duration;
  }
  return sum;
}

SKYLVelaTimeline::PathSpan TimelineIndex::spanAt(const MediaTime& t) const {
  const size_t begun = breaksBegunBy(t);
  auto [adSequence, ad] = locate(t);
  const MediaTime origin = ad ? ad->beginTime() : adTimeEndedBy(t);
  SKYLVelaTimeline::PathSpan span{
      MediaTime::negativeInfinity(),
      begun < breaks_.size() ? breaks_[begun].begin : MediaTime::positiveInfinity(),
      std::move(adSequence), std::move(ad), origin};
  if (begun == 0) return span;
  // Both answers turn only where a time of this break or of its ads is
  // passed (or the next break begins): the span runs between the nearest
  // such times on either side of t.
  auto bound = [&](const MediaTime& point) {
    if (point <= t) {
      if (point > span.begin) span.begin = point;
    } else if (point < span.end) {
      span.end = point;
    }
  };
  const BreakRow& row = breaks_[begun - 1];
  bound(row.begin);
  bound(row.end);
  for (size_t a = row.firstAd; a < row.firstAd + row.adCount; ++a) {
    bound(adRows_[a].begin);
    bound(adRows_[a].end);
  }
  return span;
}

}  // namespace skylark
