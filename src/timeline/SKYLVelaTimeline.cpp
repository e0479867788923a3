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
  std::shared_ptr<SKYLVelaTimeline> timeline(
      new SKYLVelaTimeline(std::move(velaURL), contentLength, payloadLength,
                           std::move(contentImpressions), isLiveSSAI, std::move(extras)));
  MutexLock lock(timeline->lock_);
  timeline->installSequences(std::make_shared<const Sequences>(std::move(adSequences)));
  return timeline;
}

SKYLVelaTimeline::SKYLVelaTimeline(std::optional<URL> velaURL, MediaTime contentLength,
                                   MediaTime payloadLength,
                                   std::vector<SKYLVelaContentImpression> contentImpressions,
                                   bool isLiveSSAI, DocumentExtras extras)
    : velaURL_(std::move(velaURL)),
      contentLength_(contentLength),
      payloadLength_(payloadLength),
      contentImpressions_(std::move(contentImpressions)),
      liveSSAI_(isLiveSSAI),
      extras_(std::move(extras)) {}

void SKYLVelaTimeline::installSequences(std::shared_ptr<const Sequences> sequences) {
  sequences_ = std::move(sequences);
  // Live breaks are rewritten in place by merges, so they are always walked.
  index_ = liveSSAI_ ? nullptr : TimelineIndex::build(*sequences_, payloadLength_);
}

SKYLVelaTimeline::Snapshot SKYLVelaTimeline::snapshot() const {
  MutexLock lock(lock_);
  return {sequences_, index_};
}

std::shared_ptr<const SKYLVelaTimeline::Sequences> SKYLVelaTimeline::adSequences() const {
  MutexLock lock(lock_);
  return sequences_;
}

std::vector<SKYLVelaContentSegment> SKYLVelaTimeline::contentSegments() const {
  return timeline_walks::contentSegments(*adSequences(), payloadLength_);
}

MediaTime SKYLVelaTimeline::contentTimeAtAbsoluteTime(const MediaTime& absoluteTime) const {
  if (liveSSAI_) return absoluteTime;
  const Snapshot s = snapshot();
  if (s.index) return s.index->contentTimeAt(absoluteTime);
  return timeline_walks::contentTimeAt(
      timeline_walks::contentSegments(*s.sequences, payloadLength_), absoluteTime);
}

MediaTime SKYLVelaTimeline::absoluteTimeAtContentTime(const MediaTime& contentTime) const {
  if (liveSSAI_) return contentTime;
  const Snapshot s = snapshot();
  if (s.index) return s.index->absoluteTimeAt(contentTime);
  return timeline_walks::absoluteTimeAt(
      timeline_walks::contentSegments(*s.sequences, payloadLength_), payloadLength_, contentTime);
}

MediaTime SKYLVelaTimeline::absoluteTimeLessEndedAds(const MediaTime& absoluteTime) const {
  const Snapshot s = snapshot();
  const MediaTime ended = s.index ? s.index->adTimeEndedBy(absoluteTime)
                                  : timeline_walks::adTimeEndedBy(*s.sequences, absoluteTime);
  return absoluteTime - ended;
}

std::shared_ptr<const SKYLVelaPath> SKYLVelaTimeline::pathAtTime(
    const MediaTime& absoluteTime) const {
  const Snapshot s = snapshot();
  auto found =
      s.index ? s.index->locate(absoluteTime) : timeline_walks::locate(*s.sequences, absoluteTime);
  return std::make_shared<const SKYLVelaPath>(shared_from_this(), absoluteTime,
                                              std::move(found.adSequence), std::move(found.ad));
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
  MutexLock lock(lock_);
  double b0 = 0, e0 = 0, b1 = 0, e1 = 0;
  firstBreakSeconds(*sequences_, b0, e0);
  firstBreakSeconds(adSequences, b1, e1);
  if (!sequences_->empty() && intervalsOverlap(b0, e0, b1, e1)) {
    SKYLHostLogLine(6, "Merging SLS ad sequence");
    sequences_->front()->mergeAdSequence(*adSequences.front());
    installSequences(sequences_);
  } else {
    SKYLHostLogLine(6, "Installing new SLS ad sequence");
    installSequences(std::make_shared<const Sequences>(std::move(adSequences)));
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
