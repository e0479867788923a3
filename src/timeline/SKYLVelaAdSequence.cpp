#include "timeline/SKYLVelaAdSequence.h"

#include <algorithm>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {

SKYLVelaAdSequence::SKYLVelaAdSequence(Ads ads, const LiveOptions& live)
    : ads_(std::move(ads)),
      liveSsaiAdSequence_(true),
      live_(live),
      liveSsaiTimingDataAdIndex_(live.timingDataAdIndex) {}

SKYLVelaAdSequence::SKYLVelaAdSequence(const SKYLVelaAdSequence& other)
    : ads_(other.ads()),
      liveSsaiAdSequence_(other.liveSsaiAdSequence_),
      live_(other.live_),
      liveSsaiTimingDataAdIndex_(other.liveSsaiTimingDataAdIndex_.load()) {}

SKYLVelaAdSequence::Ads SKYLVelaAdSequence::ads() const {
  MutexLock lock(adsLock_);
  return ads_;
}

MediaTime SKYLVelaAdSequence::beginTime() const {
  MutexLock lock(adsLock_);
  return ads_.empty() ? MediaTime::invalid() : ads_.front()->beginTime();
}

MediaTime SKYLVelaAdSequence::endTime() const {
  MutexLock lock(adsLock_);
  return ads_.empty() ? MediaTime::invalid() : ads_.back()->endTime();
}

MediaTime SKYLVelaAdSequence::duration() const {
  MutexLock lock(adsLock_);
  MediaTime total = MediaTime::zero();
  for (const auto& ad : ads_) total = total + ad->duration();
  return total;
}

MediaTime SKYLVelaAdSequence::logicalOffset() const {
  MutexLock lock(adsLock_);
  return ads_.empty() ? MediaTime::invalid() : ads_.front()->logicalOffset();
}

void SKYLVelaAdSequence::mergeAdSequence(const SKYLVelaAdSequence& other) {
  // Snapshot first: merging a break with itself must not lock twice.
  const Ads incoming = other.ads();
  const int64_t incomingIndex = other.liveSsaiTimingDataAdIndex();

  MutexLock lock(adsLock_);
  MediaTime total = MediaTime::zero();
  for (const auto& ad : ads_) total = total + ad->duration();

  // Which ad stands at each place, and for how long: against an incoming
  // placeholder the ad known so far stays, for the placeholder's duration;
  // another incoming ad takes the place for the known ad's duration. A last
  // ad that may be slate takes what the others leave of the break.
  std::vector<std::pair<std::shared_ptr<const SKYLVelaAd>, MediaTime>> picked;
  picked.reserve(ads_.size());
  for (size_t i = 0; i < ads_.size(); ++i) {
    if (i < incoming.size() && incoming[i]->isAdSourcePlaceholder()) {
      picked.emplace_back(ads_[i], incoming[i]->duration());
    } else if (i < incoming.size()) {
      picked.emplace_back(incoming[i], ads_[i]->duration());
    } else {
      picked.emplace_back(ads_[i], ads_[i]->duration());
    }
  }
  if (!picked.empty() && !picked.back().first->isAdNotSlate()) {
    MediaTime others = MediaTime::zero();
    for (size_t i = 0; i + 1 < picked.size(); ++i) others = others + picked[i].second;
    picked.back().second = total - others;
  }

  Ads merged;
  merged.reserve(picked.size());
  MediaTime running = picked.empty() ? MediaTime::zero() : picked.front().first->beginTime();
  for (const auto& place : picked) {
    const MediaTime duration = place.second;
    merged.push_back(place.first->copyWith([&](SKYLVelaAd::Fields& fields) {
      fields.beginTime = running;
      fields.duration = duration;
      fields.endTime = running + duration;
    }));
    running = running + duration;
  }

  ads_ = std::move(merged);
  liveSsaiTimingDataAdIndex_ = incomingIndex;
}

bool SKYLVelaAdSequence::operator==(const SKYLVelaAdSequence& other) const {
  if (this == &other) return true;
  const Ads mine = ads();
  const Ads theirs = other.ads();
  return std::equal(mine.begin(), mine.end(), theirs.begin(), theirs.end(),
                    [](const auto& a, const auto& b) { return pointeesEqual(a, b); });
}

size_t SKYLVelaAdSequence::hash() const {
  size_t h = 1;
  h = hashStep(h, hashFromDouble(beginTime().seconds()));
  h = hashStep(h, hashFromDouble(endTime().seconds()));
  h = hashStep(h, hashFromDouble(duration().seconds()));
  h = hashStep(h, hashFromDouble(logicalOffset().seconds()));
  for (const auto& ad : ads()) h = hashStep(h, ad->hash());
  return h;
}

std::string SKYLVelaAdSequence::description() const {
  return descriptionHeader("SKYLVelaAdSequence", this) + " ads = " + describeList(ads()) + ";" +
         " beginTime = " + beginTime().description() + ";" +
         " endTime = " + endTime().description() + ";" + " duration = " + duration().description() +
         ";" + " logicalOffset = " + logicalOffset().description() + ";>";
}

}  // namespace skylark
