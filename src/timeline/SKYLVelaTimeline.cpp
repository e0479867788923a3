#include "timeline/SKYLVelaTimeline.h"

#include <algorithm>

#include "host/SKYLHostLog.h"
#include "platform/Description.h"
#include "platform/Hashing.h"
#include "timeline/TimelineIndex.h"
#include "timeline/TimelineWalks.h"

namespace skylark {
namespace {

// Open overlap of [b0, e0) and [b1, e1) in seconds: touching or empty
// intervals do not overlap.
bool intervalsOverlap(double b0, double e0, double b1, double e1) {
  if (!(e0 - b0 > 0) || !(e1 - b1 > 0)) return false;
  return std::max(b0, b1) < std::min(e0, e1);
}

void firstBreakSeconds(const SKYLVelaTimeline::Sequences& sequences, double& begin, double& end) {
  begin = 0;
  end = 0;
  if (sequences.empty()) return;
  begin = sequences.front()->beginTime().seconds();
  end = sequences.front()->endTime().seconds();
}

}  // namespace

std::shared_ptr<SKYLVelaTimeline> SKYLVelaTimeline::create(
    std::optional<URL> velaURL, MediaTime contentLength, MediaTime payloadLength,
    Sequences adSequences, std::vector<SKYLVelaContentImpression> contentImpressions,
    bool isLiveSSAI, DocumentExtras extras) {
  return std::shared_ptr<SKYLVelaTimeline>(
      new SKYLVelaTimeline(std::move(velaURL), contentLength, payloadLength, std::move(adSequences),
                           std::move(contentImpressions), isLiveSSAI, std::move(extras)));
}

namespace {

std::shared_ptr<const SKYLVelaTimeline::Sequences> shared(SKYLVelaTimeline::Sequences sequences) {
  return std::make_shared<const SKYLVelaTimeline::Sequences>(std::move(sequences));
}

}  // namespace

SKYLVelaTimeline::SKYLVelaTimeline(std::optional<URL> velaURL, MediaTime contentLength,
                                   MediaTime payloadLength, Sequences adSequences,
                                   std::vector<SKYLVelaContentImpression> contentImpressions,
                                   bool isLiveSSAI, DocumentExtras extras)
    : velaURL_(std::move(velaURL)),
      contentLength_(contentLength),
      payloadLength_(payloadLength),
      contentImpressions_(std::move(contentImpressions)),
      liveSSAI_(isLiveSSAI),
      extras_(std::move(extras)),
      vodSequences_(isLiveSSAI ? nullptr : shared(std::move(adSequences))),
      vodIndex_(isLiveSSAI ? nullptr : TimelineIndex::build(*vodSequences_, payloadLength)),
      liveSequences_(isLiveSSAI ? shared(std::move(adSequences)) : nullptr) {}

SKYLVelaTimeline::Snapshot SKYLVelaTimeline::snapshot() const {
  if (!liveSSAI_) return {vodSequences_, vodIndex_};
  MutexLock lock(lock_);
  return {liveSequences_, nullptr};  // live breaks are merged in place, so always walked
}

template <typename Answer>
auto SKYLVelaTimeline::answerFrom(Answer answer) const {
  if (!liveSSAI_) return answer(*vodSequences_, vodIndex_.get());
  const Snapshot s = snapshot();
  return answer(*s.sequences, s.index.get());
}

std::shared_ptr<const SKYLVelaTimeline::Sequences> SKYLVelaTimeline::adSequences() const {
  return snapshot().sequences;
}

std::vector<SKYLVelaContentSegment> SKYLVelaTimeline::contentSegments() const {
  return timeline_walks::contentSegments(*adSequences(), payloadLength_);
}

MediaTime SKYLVelaTimeline::contentTimeAtAbsoluteTime(const MediaTime& absoluteTime) const {
  if (liveSSAI_) return absoluteTime;
  return answerFrom([&](const Sequences& sequences, const TimelineIndex* index) {
    if (index) return index->contentTimeAt(absoluteTime);
    return timeline_walks::contentTimeAt(timeline_walks::contentSegments(sequences, payloadLength_),
                                         absoluteTime);
  });
}

MediaTime SKYLVelaTimeline::absoluteTimeAtContentTime(const MediaTime& contentTime) const {
  if (liveSSAI_) return contentTime;
  return answerFrom([&](const Sequences& sequences, const TimelineIndex* index) {
    if (index) return index->absoluteTimeAt(contentTime);
    return timeline_walks::absoluteTimeAt(
        timeline_walks::contentSegments(sequences, payloadLength_), payloadLength_, contentTime);
  });
}

namespace {

MediaTime adTimeEndedBy(const SKYLVelaTimeline::Sequences& sequences, const TimelineIndex* index,
                        const MediaTime& absoluteTime) {
  return index ? index->adTimeEndedBy(absoluteTime)
               : timeline_walks::adTimeEndedBy(sequences, absoluteTime);
}

}  // namespace

MediaTime SKYLVelaTimeline::absoluteTimeLessEndedAds(const MediaTime& absoluteTime) const {
  return answerFrom([&](const Sequences& sequences, const TimelineIndex* index) {
    return absoluteTime - adTimeEndedBy(sequences, index, absoluteTime);
  });
}

std::shared_ptr<const SKYLVelaPath> SKYLVelaTimeline::pathAtTime(
    const MediaTime& absoluteTime) const {
  return answerFrom([&](const Sequences& sequences, const TimelineIndex* index) {
    auto found =
        index ? index->locate(absoluteTime) : timeline_walks::locate(sequences, absoluteTime);
    // Outside an ad, the path's logical time needs the ad time ended.
    const MediaTime ended =
        found.ad ? MediaTime::zero() : adTimeEndedBy(sequences, index, absoluteTime);
    return std::make_shared<const SKYLVelaPath>(
        shared_from_this(), absoluteTime, std::move(found.adSequence), std::move(found.ad), ended);
  });
}

std::optional<SKYLVelaTimeline::PathSpan> SKYLVelaTimeline::pathSpanAt(
    const MediaTime& absoluteTime) const {
  if (liveSSAI_ || !vodIndex_ || !absoluteTime.isNumeric()) return std::nullopt;
  return vodIndex_->spanAt(absoluteTime);
}

std::shared_ptr<const SKYLVelaPath> SKYLVelaTimeline::pathAtTimeForLiveSSAI(
    const MediaTime& absoluteTime) const {
  const Snapshot s = snapshot();
  auto found = timeline_walks::locate(*s.sequences, absoluteTime);
  std::shared_ptr<const SKYLVelaAd> ad;
  if (found.adSequence) {
    const auto ads = found.adSequence->ads();
    const auto index = static_cast<uint64_t>(found.adSequence->liveSsaiTimingDataAdIndex());
    if (index < ads.size()) ad = ads[index];
  }
  return std::make_shared<const SKYLVelaPath>(shared_from_this(), absoluteTime,
                                              std::move(found.adSequence), std::move(ad));
}

void SKYLVelaTimeline::installLiveAdSequences(Sequences adSequences) {
  if (!liveSSAI_) return;
  MutexLock lock(lock_);
  double b0 = 0, e0 = 0, b1 = 0, e1 = 0;
  firstBreakSeconds(*liveSequences_, b0, e0);
  firstBreakSeconds(adSequences, b1, e1);
  if (!liveSequences_->empty() && intervalsOverlap(b0, e0, b1, e1)) {
    SKYLHostLogLine(6, "Merging SLS ad sequence");
    liveSequences_->front()->mergeAdSequence(*adSequences.front());
  } else {
    SKYLHostLogLine(6, "Installing new SLS ad sequence");
    liveSequences_ = shared(std::move(adSequences));
  }
}

std::shared_ptr<SKYLVelaTimeline> SKYLVelaTimeline::copy() const {
  return create(velaURL_, contentLength_, payloadLength_, *adSequences(), contentImpressions_,
                liveSSAI_, extras_);
}

bool SKYLVelaTimeline::operator==(const SKYLVelaTimeline& other) const {
  if (this == &other) return true;
  const auto mine = adSequences();
  const auto theirs = other.adSequences();
  const bool sequencesEqual =
      std::equal(mine->begin(), mine->end(), theirs->begin(), theirs->end(),
                 [](const auto& a, const auto& b) { return pointeesEqual(a, b); });
  return velaURL_ == other.velaURL_ && payloadLength_ == other.payloadLength_ &&
         contentLength_ == other.contentLength_ && sequencesEqual &&
         contentImpressions_ == other.contentImpressions_;
}

size_t SKYLVelaTimeline::hash() const {
  size_t h = 1;
  h = hashStep(h, velaURL_ ? velaURL_->hash() : 0);
  h = hashStep(h, hashFromDouble(payloadLength_.seconds()));
  h = hashStep(h, hashFromDouble(contentLength_.seconds()));
  for (const auto& sequence : *adSequences()) h = hashStep(h, sequence->hash());
  size_t impressions = 1;
  for (const auto& impression : contentImpressions_) {
    impressions = hashStep(impressions, impression.hash());
  }
  return hashStep(h, impressions);
}

std::string SKYLVelaTimeline::description() const {
  return descriptionHeader("SKYLVelaTimeline", this) + " velaURL = " + describe(velaURL_) + ";" +
         " payloadLength = " + payloadLength_.description() + ";" +
         " contentLength = " + contentLength_.description() + ";" +
         " adSequences = " + describeList(*adSequences()) + ";" +
         " contentImpressions = " + describeList(contentImpressions_) + ";>";
}

}  // namespace skylark
