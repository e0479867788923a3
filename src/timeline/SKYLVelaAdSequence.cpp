#include "timeline/SKYLVelaAdSequence.h"

#include <algorithm>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {

SKYLVelaAdSequence::SKYLVelaAdSequence(const SKYLVelaAdSequence& other)
    : ads_(other.ads()),
      liveSsaiAdSequence_(other.liveSsaiAdSequence_.load()),
      showAdRemainingTime_(other.showAdRemainingTime_.load()),
      showAdBreakRemainingTime_(other.showAdBreakRemainingTime_.load()),
      showNumberOfRemainingAds_(other.showNumberOfRemainingAds_.load()),
      liveSsaiTimingDataAdIndex_(other.liveSsaiTimingDataAdIndex_.load()) {}

SKYLVelaAdSequence::Ads SKYLVelaAdSequence::ads() const {
  MutexLock lock(adsLock_);
  return ads_;
}

void SKYLVelaAdSequence::setAds(Ads ads) {
  MutexLock lock(adsLock_);
  ads_ = std::move(ads);
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

  std::vector<std::shared_ptr<SKYLVelaAd>> merged;
  merged.reserve(ads_.size());
  for (size_t i = 0; i < ads_.size(); ++i) {
    if (i < incoming.size() && incoming[i]->isAdSourcePlaceholder()) {
      auto kept = std::make_shared<SKYLVelaAd>(*ads_[i]);
      kept->setDuration(incoming[i]->duration());
      merged.push_back(std::move(kept));
    } else if (i < incoming.size()) {
      auto replacement = std::make_shared<SKYLVelaAd>(*incoming[i]);
      replacement->setDuration(ads_[i]->duration());
      merged.push_back(std::move(replacement));
    } else {
      merged.push_back(std::make_shared<SKYLVelaAd>(*ads_[i]));
    }
  }

  if (!merged.empty()) {
    MediaTime running = merged.front()->beginTime();
    for (size_t i = 0; i < merged.size(); ++i) {
      if (i > 0) running = running + merged[i - 1]->duration();
      merged[i]->setBeginTime(running);
      merged[i]->setEndTime(running + merged[i]->duration());
    }
    auto& last = merged.back();
    if (!last->isAdNotSlate()) {
      MediaTime others = MediaTime::zero();
      for (size_t i = 0; i + 1 < merged.size(); ++i) others = others + merged[i]->duration();
      last->setDuration(total - others);
      last->setEndTime(last->beginTime() + last->duration());
    }
  }

  ads_.assign(merged.begin(), merged.end());
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
