#include "live2/SKYLSSAILive2Timeline.h"

#include <algorithm>
#include <unordered_map>

#include "live2/SKYLSSAILive2Time.h"

namespace skylark {
namespace {

using Avail = SKYLSSAILive2Timeline::Avail;
using Snapshot = SKYLSSAILive2Timeline::Snapshot;

constexpr double kSlateThreshold = 0.5;

double millis(SystemTime t) { return static_cast<double>(t.time_since_epoch().count()); }

bool sameAds(const std::vector<SKYLSSAILive2Timeline::DatedAd>& stored,
             const std::vector<SKYLSSAILive2Ad>& incoming) {
  return std::equal(stored.begin(), stored.end(), incoming.begin(), incoming.end(),
                    [](const auto& a, const SKYLSSAILive2Ad& b) { return *a.ad == b; });
}

// The entries of one avail: its ads, with slates over gaps.
void appendEntries(const Avail& avail, std::vector<SKYLSSAILive2TimelineEntry>& entries) {
  const double end = avail.start + avail.duration;
  double cursor = avail.start;
  int slates = 0;
  auto addSlate = [&](double from, double duration) {
    SKYLSSAILive2TimelineEntry slate;
    slate.adId = "skyl-slate-" + avail.id + (slates > 0 ? "-" + std::to_string(slates) : "");
    slate.availId = avail.id;
    slate.startTimeInSeconds = from;
    slate.durationInSeconds = duration;
    slate.isSlate = true;
    entries.push_back(std::move(slate));
    ++slates;
  };
  for (const auto& dated : avail.ads) {
    const auto& ad = *dated.ad;
    if (ad.startTimeInSeconds - cursor > kSlateThreshold) {
      addSlate(cursor, ad.startTimeInSeconds - cursor);
    }
    entries.push_back({ad.adId, avail.id, ad.startTimeInSeconds, ad.durationInSeconds, false,
                       dated.ad, dated.programDate});
    cursor = std::max(cursor, ad.startTimeInSeconds + ad.durationInSeconds);
  }
  if (end - cursor > kSlateThreshold) addSlate(cursor, end - cursor);
}

std::shared_ptr<const Snapshot> makeSnapshot(std::vector<std::shared_ptr<const Avail>> avails) {
  auto snapshot = std::make_shared<Snapshot>();
  snapshot->avails = std::move(avails);
  for (const auto& avail : snapshot->avails) appendEntries(*avail, snapshot->entries);
  auto& spans = snapshot->datedSpans;
  for (size_t i = 0; i < snapshot->entries.size(); ++i) {
    const auto& entry = snapshot->entries[i];
    if (!entry.ad || !entry.programDate) continue;
    const double begin = millis(*entry.programDate);
    spans.push_back({begin, begin + entry.durationInSeconds * 1000, i});
  }
  std::stable_sort(spans.begin(), spans.end(),
                   [](const auto& a, const auto& b) { return a.beginMs < b.beginMs; });
  for (size_t i = 1; i < spans.size(); ++i) {
    if (spans[i].beginMs < spans[i - 1].endMs) snapshot->spansOverlap = true;
  }
  return snapshot;
}

}  // namespace

std::optional<SKYLSSAILive2TimelineEntry> Snapshot::entry(SystemTime at) const {
  const double t = millis(at);
  auto inside = [t](const DatedSpan& span) { return span.beginMs <= t && t < span.endMs; };
  if (!spansOverlap) {
    // The last span that begins at or before t is the only candidate.
    const auto after = std::upper_bound(datedSpans.begin(), datedSpans.end(), t,
                                        [](double v, const DatedSpan& s) { return v < s.beginMs; });
    if (after == datedSpans.begin() || !inside(*(after - 1))) return std::nullopt;
    return entries[(after - 1)->entry];
  }
  // Overlapping spans: the first matching entry in timeline order wins.
  std::optional<size_t> first;
  for (const auto& span : datedSpans) {
    if (inside(span) && (!first || span.entry < *first)) first = span.entry;
  }
  if (!first) return std::nullopt;
  return entries[*first];
}

const Avail* Snapshot::avail(const std::string& id) const {
  for (const auto& avail : avails) {
    if (avail->id == id) return avail.get();
  }
  return nullptr;
}

bool SKYLSSAILive2Timeline::merge(const SKYLSSAILive2TrackingResponse& response) {
  std::lock_guard writing(writeMutex_);
  const auto current = snapshot();
  auto avails = current->avails;
  std::unordered_map<std::string_view, size_t> indexOf;
  indexOf.reserve(avails.size() + response.avails.size());
  for (size_t i = 0; i < avails.size(); ++i) indexOf.emplace(avails[i]->id, i);

  bool changed = false;
  for (const auto& incoming : response.avails) {
    if (incoming.availId.empty()) continue;
    const auto found = indexOf.find(incoming.availId);
    const Avail* stored = found == indexOf.end() ? nullptr : avails[found->second].get();
    if (stored && stored->start == incoming.startTimeInSeconds &&
        stored->duration == incoming.durationInSeconds && sameAds(stored->ads, incoming.ads)) {
      continue;
    }
    auto avail = std::make_shared<Avail>();
    avail->id = incoming.availId;
    avail->start = incoming.startTimeInSeconds;
    avail->duration = incoming.durationInSeconds;
    if (stored && sameAds(stored->ads, incoming.ads)) {
      avail->ads = stored->ads;  // dates already read
    } else {
      avail->ads.reserve(incoming.ads.size());
      for (const auto& ad : incoming.ads) {
        avail->ads.push_back({std::make_shared<const SKYLSSAILive2Ad>(ad),
                              ad.adProgramDateTime
                                  ? SKYLSSAILive2ParseProgramDateTime(*ad.adProgramDateTime)
                                  : std::nullopt});
      }
    }
    if (stored) {
      avails[found->second] = std::move(avail);
    } else {
      avails.push_back(std::move(avail));
      indexOf.emplace(avails.back()->id, avails.size() - 1);
    }
    changed = true;
  }
  if (!changed) return false;
  if (avails.size() > kMaxAvails) {
    avails.erase(avails.begin(), avails.end() - static_cast<std::ptrdiff_t>(kMaxAvails));
  }
  publish(std::move(avails));
  return true;
}

void SKYLSSAILive2Timeline::prune(SystemTime at) {
  std::lock_guard writing(writeMutex_);
  const auto current = snapshot();
  std::vector<std::shared_ptr<const Avail>> kept;
  kept.reserve(current->avails.size());
  for (const auto& avail : current->avails) {
    std::optional<double> lastEnd;
    for (const auto& dated : avail->ads) {
      if (!dated.programDate) continue;
      const double end = millis(*dated.programDate) + dated.ad->durationInSeconds * 1000;
      lastEnd = std::max(lastEnd.value_or(end), end);
    }
    if (!lastEnd || *lastEnd >= millis(at)) kept.push_back(avail);
  }
  if (kept.size() != current->avails.size()) publish(std::move(kept));
}

void SKYLSSAILive2Timeline::publish(std::vector<std::shared_ptr<const Avail>> avails) {
  auto next = makeSnapshot(std::move(avails));
  MutexLock lock(mutex_);
  snapshot_ = std::move(next);
}

std::shared_ptr<const Snapshot> SKYLSSAILive2Timeline::snapshot() const {
  MutexLock lock(mutex_);
  return snapshot_;
}

std::optional<SKYLSSAILive2TimelineEntry> SKYLSSAILive2Timeline::entry(SystemTime at) const {
  return snapshot()->entry(at);
}

std::vector<SKYLSSAILive2TimelineEntry> SKYLSSAILive2Timeline::entries() const {
  return snapshot()->entries;
}

std::vector<std::string> SKYLSSAILive2Timeline::availOrder() const {
  std::vector<std::string> order;
  const auto current = snapshot();  // alive for the whole loop
  for (const auto& avail : current->avails) order.push_back(avail->id);
  return order;
}

std::vector<SKYLSSAILive2Ad> SKYLSSAILive2Timeline::ads(const std::string& availId) const {
  std::vector<SKYLSSAILive2Ad> ads;
  const auto current = snapshot();
  if (const Avail* avail = current->avail(availId)) {
    for (const auto& dated : avail->ads) ads.push_back(*dated.ad);
  }
  return ads;
}

std::optional<AvailSpan> SKYLSSAILive2Timeline::availSpan(const std::string& availId) const {
  const auto current = snapshot();
  const Avail* avail = current->avail(availId);
  if (!avail) return std::nullopt;
  return AvailSpan{availId, avail->start, avail->start + avail->duration};
}

}  // namespace skylark
