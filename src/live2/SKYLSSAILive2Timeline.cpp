#include "live2/SKYLSSAILive2Timeline.h"

#include <algorithm>

#include "live2/SKYLSSAILive2Time.h"

namespace skylark {
namespace {

constexpr double kSlateThreshold = 0.5;

double millis(SystemTime t) { return static_cast<double>(t.time_since_epoch().count()); }

}  // namespace

bool SKYLSSAILive2Timeline::merge(const SKYLSSAILive2TrackingResponse& response) {
  std::lock_guard lock(mutex_);
  bool changed = false;
  for (const auto& avail : response.avails) {
    const std::string& id = avail.availId;
    if (id.empty()) continue;
    if (std::find(availOrder_.begin(), availOrder_.end(), id) == availOrder_.end()) {
      availOrder_.push_back(id);
      changed = true;
    }
    auto& stored = adsByAvail_[id];
    const bool sameAds = std::equal(stored.begin(), stored.end(), avail.ads.begin(),
                                    avail.ads.end(),
                                    [](const DatedAd& a, const SKYLSSAILive2Ad& b) { return a.ad == b; });
    if (!sameAds) {
      stored.clear();
      for (const auto& ad : avail.ads) {
        stored.push_back({ad, ad.adProgramDateTime
                                  ? SKYLSSAILive2ParseProgramDateTime(*ad.adProgramDateTime)
                                  : std::nullopt});
      }
      changed = true;
    }
    const auto duration = availDurations_.find(id);
    if (duration == availDurations_.end() || duration->second != avail.durationInSeconds) {
      availDurations_[id] = avail.durationInSeconds;
      changed = true;
    }
    const auto start = availStarts_.find(id);
    if (start == availStarts_.end() || start->second != avail.startTimeInSeconds) {
      availStarts_[id] = avail.startTimeInSeconds;
      changed = true;
    }
  }
  if (changed) rebuild();
  return changed;
}

void SKYLSSAILive2Timeline::rebuild() {
  entries_.clear();
  for (const auto& id : availOrder_) {
    const double start = availStarts_.count(id) ? availStarts_.at(id) : 0;
    const double end = start + (availDurations_.count(id) ? availDurations_.at(id) : 0);
    double cursor = start;
    int slates = 0;
    auto addSlate = [&](double from, double duration) {
      SKYLSSAILive2TimelineEntry slate;
      slate.adId = "skyl-slate-" + id + (slates > 0 ? "-" + std::to_string(slates) : "");
      slate.availId = id;
      slate.startTimeInSeconds = from;
      slate.durationInSeconds = duration;
      slate.isSlate = true;
      entries_.push_back(std::move(slate));
      ++slates;
    };
    for (const auto& dated : adsByAvail_[id]) {
      const auto& ad = dated.ad;
      if (ad.startTimeInSeconds - cursor > kSlateThreshold) {
        addSlate(cursor, ad.startTimeInSeconds - cursor);
      }
      entries_.push_back({ad.adId, id, ad.startTimeInSeconds, ad.durationInSeconds, false, ad,
                          dated.programDate});
      cursor = std::max(cursor, ad.startTimeInSeconds + ad.durationInSeconds);
    }
    if (end - cursor > kSlateThreshold) addSlate(cursor, end - cursor);
  }

  datedSpans_.clear();
  for (size_t i = 0; i < entries_.size(); ++i) {
    const auto& entry = entries_[i];
    if (!entry.ad || !entry.programDate) continue;
    const double begin = millis(*entry.programDate);
    datedSpans_.push_back({begin, begin + entry.durationInSeconds * 1000, i});
  }
  std::stable_sort(datedSpans_.begin(), datedSpans_.end(),
                   [](const DatedSpan& a, const DatedSpan& b) { return a.beginMs < b.beginMs; });
  spansOverlap_ = false;
  for (size_t i = 1; i < datedSpans_.size(); ++i) {
    if (datedSpans_[i].beginMs < datedSpans_[i - 1].endMs) spansOverlap_ = true;
  }
}

void SKYLSSAILive2Timeline::prune(SystemTime at) {
  std::lock_guard lock(mutex_);
  std::vector<std::string> over;
  for (const auto& id : availOrder_) {
    std::optional<double> lastEnd;
    for (const auto& dated : adsByAvail_[id]) {
      if (!dated.programDate) continue;
      const double end = millis(*dated.programDate) + dated.ad.durationInSeconds * 1000;
      lastEnd = std::max(lastEnd.value_or(end), end);
    }
    if (lastEnd && *lastEnd < millis(at)) over.push_back(id);
  }
  if (over.empty()) return;
  for (const auto& id : over) {
    availOrder_.erase(std::find(availOrder_.begin(), availOrder_.end(), id));
    adsByAvail_.erase(id);
    availDurations_.erase(id);
    availStarts_.erase(id);
  }
  rebuild();
}

std::optional<SKYLSSAILive2TimelineEntry> SKYLSSAILive2Timeline::entry(SystemTime at) const {
  std::lock_guard lock(mutex_);
  const double t = millis(at);
  auto inside = [t](const DatedSpan& span) { return span.beginMs <= t && t < span.endMs; };
  if (!spansOverlap_) {
    // The last span that begins at or before t is the only candidate.
    const auto after = std::upper_bound(datedSpans_.begin(), datedSpans_.end(), t,
                                        [](double v, const DatedSpan& s) { return v < s.beginMs; });
    if (after == datedSpans_.begin() || !inside(*(after - 1))) return std::nullopt;
    return entries_[(after - 1)->entry];
  }
  // Overlapping spans: the first matching entry in timeline order wins.
  std::optional<size_t> first;
  for (const auto& span : datedSpans_) {
    if (inside(span) && (!first || span.entry < *first)) first = span.entry;
  }
  if (!first) return std::nullopt;
  return entries_[*first];
}

std::vector<SKYLSSAILive2TimelineEntry> SKYLSSAILive2Timeline::entries() const {
  std::lock_guard lock(mutex_);
  return entries_;
}

std::vector<std::string> SKYLSSAILive2Timeline::availOrder() const {
  std::lock_guard lock(mutex_);
  return availOrder_;
}

std::vector<SKYLSSAILive2Ad> SKYLSSAILive2Timeline::ads(const std::string& availId) const {
  std::lock_guard lock(mutex_);
  std::vector<SKYLSSAILive2Ad> ads;
  const auto found = adsByAvail_.find(availId);
  if (found == adsByAvail_.end()) return ads;
  for (const auto& dated : found->second) ads.push_back(dated.ad);
  return ads;
}

std::optional<AvailSpan> SKYLSSAILive2Timeline::availSpan(const std::string& availId) const {
  std::lock_guard lock(mutex_);
  const auto start = availStarts_.find(availId);
  if (start == availStarts_.end()) return std::nullopt;
  const auto duration = availDurations_.find(availId);
  return AvailSpan{availId, start->second,
                   start->second + (duration == availDurations_.end() ? 0 : duration->second)};
}

}  // namespace skylark
