// SKYLVUXSession: the two kinds of live stream. The newer service through
// its coordinator (ad state from program dates), and the older one through
// the ad metadata its stream carries as timed metadata.
#include <fmt/format.h>

#include "host/SKYLHostConstants.h"
#include "host/SKYLHostLog.h"
#include "live2/SKYLSSAILive2Coordinator.h"
#include "session/SKYLVUXSession.h"
#include "session/SessionHelpers.h"
#include "vmap/SKYLLiveSSAIAdMetadataParser.h"

namespace skylark {

using namespace session_detail;

namespace {

double secondsBetween(SystemTime from, SystemTime to) {
  return std::chrono::duration<double>(to - from).count();
}

SystemTime plusSeconds(SystemTime t, double seconds) {
  return t + std::chrono::milliseconds(static_cast<int64_t>(std::llround(seconds * 1000)));
}

}  // namespace

void SKYLVUXSession::loadLive2Session(const std::shared_ptr<SKYLSource>& source) {
  if (live2Coordinator_ && live2SessionSourceURL_ == source->url()) {
    SKYLHostLog(
        3,
        "A Meridian Live session is already active for this source. Skipping re-initialization.");
    return;
  }
  live2TeardownSession();
  live2ContentOnly_ = false;
  const uint64_t generation = ++live2SessionGeneration_;
  liveSSAI_ = true;
  adLedger_.setLive(true);
  const auto video = innerPlaybackSession()->video();
  updatedVideoWithCuePoints_ = video;
  if (video) video->setIsUsingSSAIPlugin(true);
  live2SessionSourceURL_ = source->url();
  // The live service's beacons go through this session's digester, like
  // every other beacon: announced, counted in the delivery ledger and sent
  // through the environment's transport, with retries.
  makeDigester(true);
  live2Coordinator_ = SKYLSSAILive2Coordinator::create(*source->url(), environment_, digester_);
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  live2AdState_ = std::make_shared<Live2AdState>(
      live2Coordinator_, [weak](const SKYLVelaProgressTracker::Event& event) {
        if (const auto self = weak.lock()) self->trackerEventChanged(event);
      });
  auto completion = [weak, generation, source](Result<URL> manifest) {
    if (const auto self = weak.lock()) self->live2DidStart(generation, source, std::move(manifest));
  };
  const auto resolved =
      live2ResolvedSessionLookup_ ? live2ResolvedSessionLookup_(*source->url()) : nullptr;
  if (resolved) {
    SKYLHostLog(3, "Resuming the Meridian Live session already established for this source.");
    live2Coordinator_->resume(resolved->manifestURL, resolved->trackingURL, completion);
  } else {
    live2Coordinator_->start(live2AdsParams_, completion);
  }
}

void SKYLVUXSession::live2DidStart(uint64_t generation, const std::shared_ptr<SKYLSource>& source,
                                   Result<URL> manifest) {
  if (generation != live2SessionGeneration_ || !live2Coordinator_) return;  // a newer start won
  if (!manifest.ok()) {
    SKYLHostLog(0, "Meridian Live session init failed, playing without tracking. %@",
                manifest.error().description());
    live2PlayContentOnly(source);
    return;
  }
  const URL& manifestURL = manifest.value();
  if (const auto tracking = live2Coordinator_->trackingURL();
      tracking && live2ResolvedSessionRecorder_ && source->url()) {
    live2ResolvedSessionRecorder_(*source->url(), manifestURL, *tracking);
  }
  ssaiSource_ =
      SKYLSource::initWithURL(manifestURL, std::string(kSKYLDeliveryHLS), source->properties());
  innerPlaybackSession()->loadVideoURL(manifestURL);
  startObservingRequiredValuesOnInnerPlaybackSession(*innerPlaybackSession());
  loadState_.set(2);
}

void SKYLVUXSession::live2TeardownSession() {
  if (live2Coordinator_) live2Coordinator_->stop();
  live2Coordinator_ = nullptr;
  live2AdState_ = nullptr;
  live2SessionSourceURL_.reset();
}

void SKYLVUXSession::live2PlayContentOnly(const std::shared_ptr<SKYLSource>& source) {
  live2TeardownSession();
  live2ContentOnly_ = true;
  const auto video = innerPlaybackSession()->video();
  updatedVideoWithCuePoints_ = video;
  if (video) video->setIsUsingSSAIPlugin(true);
  ssaiSource_ = source;
  if (!source->url()) {
    fail(SKYLError(std::string(kSKYLSSAIErrorDomain), kSKYLSSAIErrorCodeTimelineLoadError,
                   "The source has no stream URL."));
    return;
  }
  innerPlaybackSession()->loadVideoURL(*source->url());
  startObservingRequiredValuesOnInnerPlaybackSession(*innerPlaybackSession());
  loadState_.set(2);
}

void SKYLVUXSession::live2UpdateAdState() {
  const auto player = innerPlaybackSession()->player();
  const auto date = player ? player->currentDate() : std::nullopt;
  if (!date || !live2AdState_) return;
  // An observer of the events it emits may tear this live session down, or
  // end the session: both live until the update is over.
  const auto state = live2AdState_;
  const auto keepAlive = shared_from_this();
  state->live2UpdateAdState(*date);
}

void SKYLVUXSession::live2SeekToTime(const MediaTime& time, std::function<void(bool)> completion) {
  const auto player = innerPlaybackSession()->player();
  if (!player) {
    if (completion) completion(false);
    return;
  }
  MediaTime target = time;
  const auto date = player->currentDate();
  if (date && time.isNumeric() && live2Coordinator_) {
    const MediaTime now = player->currentTime();
    const SystemTime targetDate = plusSeconds(*date, (time - now).seconds());
    if (const auto redirected = live2Coordinator_->seekTargetDate(*date, targetDate)) {
      target = now + MediaTime::makeWithSeconds(secondsBetween(*date, *redirected), 600);
    }
  }
  if (tracker_) tracker_->setSuspendProgress(true);
  std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
  seeker_.seekPlayer(target, [weak, completion](bool finished) {
    const auto self = weak.lock();
    if (self && self->tracker_) self->tracker_->setSuspendProgress(false);
    if (completion) completion(finished);
  });
}

// Timed metadata --------------------------------------------------------------

void SKYLVUXSession::outputDidOutputTimedMetadata(const std::vector<TimedMetadataItem>& items) {
  // On the global queue: log and read here; the timeline changes on the
  // main queue, where the tracker that reads it lives.
  for (const auto& item : items) {
    if (item.keySpace != "org.id3" || item.key != "TXXX") continue;
    SKYLHostLog(6, "keySpace : %@ (%@)", item.keySpace,
                fmt::format("time : {:.2f}", item.time.seconds()));
    SKYLHostLog(6, "key : %@ (%@)", item.key, fmt::format("time : {:.2f}", item.time.seconds()));
    SKYLHostLog(6, "value : %@", item.bytes);
    auto parsed = SKYLLiveSSAIParseAdMetadataFromDataWithError(item.bytes, item.time);
    if (!parsed.ok()) continue;
    std::weak_ptr<SKYLVUXSession> weak = shared_from_this();
    environment_->mainQueue.async([weak, sequences = std::move(parsed.value())]() mutable {
      const auto self = weak.lock();
      if (!self || !self->timeline_) return;
      if (self->tracker_) self->tracker_->setSuspendProgress(true);
      self->timeline_->installLiveAdSequences(std::move(sequences));
      if (self->tracker_) self->tracker_->setSuspendProgress(false);
    });
  }
}

}  // namespace skylark
