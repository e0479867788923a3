#include "live2/SKYLSSAILive2Coordinator.h"

#include <cmath>

#include "host/SKYLHostLog.h"
#include "live2/SKYLSSAILive2Detector.h"
#include "live2/SKYLSSAILive2OMID.h"
#include "live2/SKYLSSAILive2SessionClient.h"

namespace skylark {
namespace {

using Type = SKYLSSAILive2TrackingType;

// The types due at a share of the ad, in the order they fire.
constexpr Type kProgressTypes[] = {Type::impression,    Type::start,    Type::creativeView,
                                   Type::firstQuartile, Type::midpoint, Type::thirdQuartile,
                                   Type::complete};

double secondsBetween(SystemTime from, SystemTime to) {
  return std::chrono::duration<double>(to - from).count();
}

SystemTime plusSeconds(SystemTime t, double seconds) {
  return t + std::chrono::milliseconds(static_cast<int64_t>(std::llround(seconds * 1000)));
}

SKYLSSAILive2AdInfo adInfo(const SKYLSSAILive2TimelineEntry& entry) {
  SKYLSSAILive2AdInfo info;
  info.adId = entry.adId;
  info.beginTime = entry.startTimeInSeconds;
  info.duration = entry.durationInSeconds;
  info.isSlate = entry.isSlate;
  if (!entry.ad) return info;
  const auto& ad = *entry.ad;
  info.title = ad.adTitle;
  info.clickthroughURLs = ad.beaconUrls(Type::clickThrough);
  info.clickTrackingURLs = ad.beaconUrls(Type::clickTracking);
  info.impressionURLs = ad.beaconUrls(Type::impression);
  for (const auto& event : ad.trackingEvents) {
    info.trackingURLs.insert(info.trackingURLs.end(), event.beaconUrls.begin(),
                             event.beaconUrls.end());
  }
  for (const auto& companion : ad.companionAds) {
    SKYLSSAILive2CompanionInfo c;
    c.identifier = companion.id.value_or("");
    c.width = companion.width.value_or(0);
    c.height = companion.height.value_or(0);
    if (companion.staticResource) c.staticResource = URL::parse(*companion.staticResource);
    c.creativeType = companion.creativeType.value_or("");
    if (companion.companionClickThrough)
      c.clickThrough = URL::parse(*companion.companionClickThrough);
    info.companions.push_back(std::move(c));
  }
  return info;
}

bool presentable(const SKYLSSAILive2TimelineEntry& entry) { return !entry.isSlate && entry.ad; }

std::vector<SKYLSSAILive2AdInfo> availAds(const SKYLSSAILive2Timeline::Snapshot& snapshot,
                                          const std::string& availId) {
  std::vector<SKYLSSAILive2AdInfo> infos;
  for (const auto& entry : snapshot.entries) {
    if (entry.availId == availId && presentable(entry)) infos.push_back(adInfo(entry));
  }
  return infos;
}

std::optional<SKYLSSAILive2AdCountdown> countdownAt(const SKYLSSAILive2Timeline::Snapshot& snapshot,
                                                    const SKYLSSAILive2TimelineEntry& entry,
                                                    SystemTime at) {
  if (!entry.programDate) return std::nullopt;
  SKYLSSAILive2AdCountdown countdown;
  countdown.remainingInCurrentAd = entry.durationInSeconds - secondsBetween(*entry.programDate, at);
  countdown.remainingInBreak = countdown.remainingInCurrentAd;
  bool after = false;
  for (const auto& other : snapshot.entries) {
    if (other.availId != entry.availId || !presentable(other)) continue;
    ++countdown.adCount;
    if (after) countdown.remainingInBreak += other.durationInSeconds;
    if (other.adId == entry.adId && !after) {
      countdown.adIndex = countdown.adCount;
      after = true;
    }
  }
  return countdown;
}

}  // namespace

std::shared_ptr<SKYLSSAILive2Coordinator> SKYLSSAILive2Coordinator::create(
    URL sourceURL, std::shared_ptr<const SessionEnvironment> environment,
    std::shared_ptr<BeaconSink> beacons,
    SKYLSSAILive2SessionController::Dependencies dependencies) {
  auto controller = SKYLSSAILive2SessionController::create(std::move(sourceURL), *environment,
                                                           std::move(dependencies));
  std::shared_ptr<SKYLSSAILive2Coordinator> coordinator(
      new SKYLSSAILive2Coordinator(std::move(environment), controller, std::move(beacons)));
  controller->setDelegate(coordinator);
  return coordinator;
}

SKYLSSAILive2Coordinator::SKYLSSAILive2Coordinator(
    std::shared_ptr<const SessionEnvironment> environment,
    std::shared_ptr<SKYLSSAILive2SessionController> controller, std::shared_ptr<BeaconSink> beacons)
    : environment_(std::move(environment)),
      controller_(std::move(controller)),
      beaconFirer_(std::move(beacons)) {}

bool SKYLSSAILive2Coordinator::isLive2(const std::optional<URL>& sourceURL,
                                       const std::optional<std::string>& playbackToken) {
  return SKYLSSAILive2Detector::isLive2(sourceURL, playbackToken);
}

void SKYLSSAILive2Coordinator::start(const std::map<std::string, std::string>& adsParams,
                                     Completion completion) {
  {
    MutexLock lock(mutex_);
    onResolved_ = std::move(completion);
  }
  controller_->start(adsParams);
}

void SKYLSSAILive2Coordinator::settle(Result<URL> manifest) {
  Completion completion;
  {
    MutexLock lock(mutex_);
    if (manifest.ok()) manifestURL_ = manifest.value();
    completion = std::move(onResolved_);
    onResolved_ = nullptr;
  }
  if (!completion) {
    // Resolved already: later failures belong to the poll, which resets
    // itself after repeated failures; the stream keeps playing.
    if (!manifest.ok()) {
      SKYLHostLog(3, "SkylarkSSAI: Meridian Live tracking failed: %@",
                  manifest.error().description());
    }
    return;
  }
  environment_->mainQueue.async([completion = std::move(completion),
                                 manifest = std::move(manifest)] { completion(manifest); });
}

void SKYLSSAILive2Coordinator::resume(URL manifestURL, URL trackingURL, Completion completion) {
  setManifestURL(manifestURL);
  controller_->resume({manifestURL, std::move(trackingURL)});
  if (completion) {
    environment_->mainQueue.async([completion, manifestURL] { completion(manifestURL); });
  }
}

void SKYLSSAILive2Coordinator::stop() {
  controller_->stop();
  MutexLock lock(mutex_);
  onResolved_ = nullptr;  // the caller hears nothing after stop
  // The transport goes on: explicit calls and playhead updates still fire,
  // and beacons in flight or waiting to retry finish or are dropped.
}

std::optional<URL> SKYLSSAILive2Coordinator::manifestURL() const {
  MutexLock lock(mutex_);
  return manifestURL_;
}

void SKYLSSAILive2Coordinator::setManifestURL(std::optional<URL> url) {
  MutexLock lock(mutex_);
  manifestURL_ = std::move(url);
}

void SKYLSSAILive2Coordinator::live2ControllerDidResolveManifest(const URL& manifest) {
  settle(manifest);
}

void SKYLSSAILive2Coordinator::live2ControllerDidFail(const SKYLError& error) { settle(error); }

void SKYLSSAILive2Coordinator::live2ControllerDidPoll(const SKYLSSAILive2PollReport& report) {
  auto& center = environment_->notificationCenter;
  environment_->mainQueue.async([&center, report, sender = weak_from_this()] {
    const auto self = sender.lock();
    if (!self) return;
    Notification notification;
    notification.name = kSKYLSSAILive2TrackingPollNotification;
    notification.object = report;
    notification.sender = self.get();
    center.post(notification);
  });
}

std::optional<SKYLSSAILive2AdInfo> SKYLSSAILive2Coordinator::presentableAdInfo(
    SystemTime at) const {
  const auto entry = controller_->timeline()->entry(at);
  if (!entry) return std::nullopt;
  return adInfo(*entry);
}

void SKYLSSAILive2Coordinator::fireProgress(const SKYLSSAILive2TimelineEntry& entry,
                                            double elapsed) {
  for (const Type type : kProgressTypes) {
    const double due = *SKYLSSAILive2TrackingTypeProgressFraction(type) * entry.durationInSeconds;
    if (due > elapsed) continue;
    beaconFirer_.fireOnce({entry.adId, type}, entry.ad->beaconUrls(type));
  }
}

void SKYLSSAILive2Coordinator::update(SystemTime forPlayheadDate) {
  (void)updateAndRead(forPlayheadDate);
}

SKYLSSAILive2AdsAtDate SKYLSSAILive2Coordinator::updateAndRead(SystemTime forPlayheadDate) {
  controller_->prune(forPlayheadDate);
  // One picture of the timeline for the whole tick: the beacons fired and
  // the ads told are those of the same answer, whatever a poll merges meanwhile.
  const auto snapshot = controller_->timeline()->snapshot();
  const auto entry = snapshot->entry(forPlayheadDate);

  // The entry at a date excludes its end, so an ad's last beacons are
  // fired when the playhead is first seen at or past that end.
  std::optional<SKYLSSAILive2TimelineEntry> finished;
  {
    MutexLock lock(mutex_);
    if (playing_ && playing_->programDate &&
        forPlayheadDate >= plusSeconds(*playing_->programDate, playing_->durationInSeconds) &&
        (!entry || entry->adId != playing_->adId)) {
      finished = playing_;
    }
    const bool backBeforeIt =
        playing_ && playing_->programDate && forPlayheadDate < *playing_->programDate;
    if (entry || finished || backBeforeIt) playing_ = entry;
  }
  if (finished) fireProgress(*finished, finished->durationInSeconds);
  if (entry && entry->ad && entry->programDate) {
    fireProgress(*entry, secondsBetween(*entry->programDate, forPlayheadDate));
  }
  return adsAt(*snapshot, forPlayheadDate);
}

std::vector<SKYLSSAILive2AdInfo> SKYLSSAILive2Coordinator::ads(
    const std::string& forAvailId) const {
  return availAds(*controller_->timeline()->snapshot(), forAvailId);
}

int64_t SKYLSSAILive2Coordinator::presentableAdCount(const std::string& forAvailId) const {
  int64_t count = 0;
  const auto snapshot = controller_->timeline()->snapshot();
  for (const auto& entry : snapshot->entries) {
    if (entry.availId == forAvailId && presentable(entry)) ++count;
  }
  return count;
}

std::optional<std::string> SKYLSSAILive2Coordinator::availId(SystemTime at) const {
  const auto entry = controller_->timeline()->entry(at);
  if (!entry) return std::nullopt;
  return entry->availId;
}

std::optional<SKYLSSAILive2AdCountdown> SKYLSSAILive2Coordinator::countdown(SystemTime at) const {
  const auto snapshot = controller_->timeline()->snapshot();
  const auto entry = snapshot->entry(at);
  return entry ? countdownAt(*snapshot, *entry, at) : std::nullopt;
}

SKYLSSAILive2AdsAtDate SKYLSSAILive2Coordinator::adsAt(SystemTime at) const {
  return adsAt(*controller_->timeline()->snapshot(), at);
}

SKYLSSAILive2AdsAtDate SKYLSSAILive2Coordinator::adsAt(
    const SKYLSSAILive2Timeline::Snapshot& snapshot, SystemTime at) {
  SKYLSSAILive2AdsAtDate found;
  const auto entry = snapshot.entry(at);
  if (!entry) return found;
  found.ad = adInfo(*entry);
  found.availId = entry->availId;
  found.availAds = availAds(snapshot, entry->availId);
  found.countdown = countdownAt(snapshot, *entry, at);
  return found;
}

std::optional<SystemTime> SKYLSSAILive2Coordinator::seekTargetDate(SystemTime from,
                                                                   SystemTime to) const {
  if (!(to > from)) return std::nullopt;
  // Each avail's span runs from its first dated ad to the end of its last.
  struct Span {
    std::string availId;
    SystemTime start;
    SystemTime end;
    SystemTime firstAd;
  };
  // Entries come avail by avail, in avail order: one pass finds the spans.
  std::vector<Span> spans;
  const auto snapshot = controller_->timeline()->snapshot();
  for (const auto& entry : snapshot->entries) {
    if (!presentable(entry) || !entry.programDate) continue;
    const SystemTime end = plusSeconds(*entry.programDate, entry.durationInSeconds);
    if (spans.empty() || spans.back().availId != entry.availId) {
      spans.push_back(Span{entry.availId, *entry.programDate, end, *entry.programDate});
    } else {
      spans.back().start = std::min(spans.back().start, *entry.programDate);
      spans.back().end = std::max(spans.back().end, end);
    }
  }
  std::optional<SystemTime> target;
  for (const auto& span : spans) {
    if (span.start >= from && span.end <= to) target = span.firstAd;
  }
  return target;
}

std::vector<SKYLSSAILive2VerificationInfo> SKYLSSAILive2Coordinator::verifications(
    const std::string& forAdId) const {
  return SKYLSSAILive2OMID::verifications(forAdId, timelineHandle());
}

std::optional<SKYLSSAILive2TimelineEntry> SKYLSSAILive2Coordinator::firstEntry(
    const std::string& adId) const {
  const auto snapshot = controller_->timeline()->snapshot();
  for (const auto& entry : snapshot->entries) {
    if (entry.adId == adId) return entry.ad ? std::optional(entry) : std::nullopt;
  }
  return std::nullopt;
}

void SKYLSSAILive2Coordinator::fireAdPaused(const std::string& forAdId) {
  if (const auto entry = firstEntry(forAdId)) {
    beaconFirer_.fire({forAdId, Type::pause}, entry->ad->beaconUrls(Type::pause));
  }
}

void SKYLSSAILive2Coordinator::fireAdResumed(const std::string& forAdId) {
  if (const auto entry = firstEntry(forAdId)) {
    beaconFirer_.fire({forAdId, Type::resume}, entry->ad->beaconUrls(Type::resume));
  }
}

void SKYLSSAILive2Coordinator::fireClickTracking(const std::string& forAdId) {
  if (const auto entry = firstEntry(forAdId)) {
    beaconFirer_.fireOnce({forAdId, Type::clickTracking},
                          entry->ad->beaconUrls(Type::clickTracking));
  }
}

}  // namespace skylark
