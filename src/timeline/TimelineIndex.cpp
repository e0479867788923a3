#include "timeline/TimelineIndex.h"

#include <algorithm>

namespace skylark {

std::shared_ptr<const TimelineIndex> TimelineIndex::build(const Sequences& sequences,
                                                          const MediaTime& payloadLength) {
  std::shared_ptr<TimelineIndex> index(new TimelineIndex());
  index->sequences_ = sequences;
  index->payloadLength_ = payloadLength;

  MediaTime adTime = MediaTime::zero();
  for (const auto& sequence : sequences) {
    auto ads = sequence->ads();
    if (ads.empty()) return nullptr;
    const MediaTime begin = ads.front()->beginTime();
    const MediaTime end = ads.back()->endTime();
    if (!begin.isNumeric() || !end.isNumeric() || end < begin) return nullptr;
    if (!index->breakEnd_.empty() && begin < index->breakEnd_.back()) return nullptr;
    index->adTimeBefore_.push_back(adTime);
    for (const auto& ad : ads) {
      if (!ad->duration().isNumeric() || !ad->endTime().isNumeric() || ad->endTime() > end) {
        return nullptr;
      }
      adTime = adTime + ad->duration();
    }
    index->breakBegin_.push_back(begin);
    index->breakEnd_.push_back(end);
    index->ads_.push_back(std::move(ads));
  }

  MediaTime content = MediaTime::zero();
  index->contentBefore_.push_back(content);
  for (const auto& segment : timeline_walks::contentSegments(sequences, payloadLength)) {
    const MediaTime& begin = segment.beginTime();
    const MediaTime& duration = segment.duration();
    if (!begin.isNumeric() || !duration.isNumeric() || duration < MediaTime::zero()) {
      return nullptr;
    }
    if (!index->segmentEnd_.empty() && begin < index->segmentEnd_.back()) return nullptr;
    content = content + duration;
    index->segmentBegin_.push_back(begin);
    index->segmentEnd_.push_back(begin + duration);
    index->contentBefore_.push_back(content);
  }
  return index;
}

MediaTime TimelineIndex::contentTimeAt(const MediaTime& t) const {
  // The first segment that ends at or after t.
  const auto found = std::lower_bound(segmentEnd_.begin(), segmentEnd_.end(), t);
  const size_t k = static_cast<size_t>(found - segmentEnd_.begin());
  if (k == segmentEnd_.size()) {
    const MediaTime& all = contentBefore_.back();
    return all != MediaTime::zero() ? all : MediaTime::invalid();
  }
  if (segmentBegin_[k] >= t) return contentBefore_[k];
  const MediaTime sum = contentBefore_[k] + (t - segmentBegin_[k]);
  // Any later segment begins at or after t and answers with this sum; the
  // last one leaves it to the final rule.
  if (k + 1 < segmentEnd_.size()) return sum;
  return sum != MediaTime::zero() ? sum : MediaTime::invalid();
}

MediaTime TimelineIndex::absoluteTimeAt(const MediaTime& c) const {
  // The first segment whose content runs past c.
  const auto found = std::upper_bound(contentBefore_.begin() + 1, contentBefore_.end(), c);
  const size_t k = static_cast<size_t>(found - contentBefore_.begin()) - 1;
  if (found != contentBefore_.end() && contentBefore_[k] <= c) {
    return segmentBegin_[k] + (c - contentBefore_[k]);
  }
  return c <= contentBefore_.back() ? payloadLength_ : MediaTime::invalid();
}

size_t TimelineIndex::breaksBegunBy(const MediaTime& t) const {
  return static_cast<size_t>(std::upper_bound(breakBegin_.begin(), breakBegin_.end(), t) -
                             breakBegin_.begin());
}

timeline_walks::Location TimelineIndex::locate(const MediaTime& t) const {
  const size_t begun = breaksBegunBy(t);
  if (begun == 0 || !(t < breakEnd_[begun - 1])) return {};
  const size_t i = begun - 1;
  for (const auto& ad : ads_[i]) {
    if (ad->beginTime() <= t && t < ad->endTime()) return {sequences_[i], ad};
  }
  return {sequences_[i], nullptr};
}

MediaTime TimelineIndex::adTimeEndedBy(const MediaTime& t) const {
  const size_t begun = breaksBegunBy(t);
  if (begun == 0) return MediaTime::zero();
  // Every ad of an earlier break ended before this break began.
  MediaTime sum = adTimeBefore_[begun - 1];
  for (const auto& ad : ads_[begun - 1]) {
    if (ad->endTime() <= t) sum = sum + ad->duration();
  }
  return sum;
}

}  // namespace skylark
