#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "companions/SKYLSSAIAdComponentDisplayContainer.h"
#include "environment/SessionEnvironment.h"
#include "host/SKYLAd.h"
#include "host/SKYLAdLedgerManager.h"
#include "host/SKYLAdSequence.h"
#include "host/SKYLKVOManager.h"
#include "host/SKYLSessionProviderExtension.h"
#include "live2/SKYLSSAILive2AdInfo.h"
#include "platform/URLSession.h"
#include "platform/Visibility.h"
#include "session/AdLedgerReporter.h"
#include "session/ForwardingPlaybackSession.h"
#include "session/Live2AdState.h"
#include "session/PlayedBreakSkipper.h"
#include "session/SKYLSSAILive2ResolvedSession.h"
#include "session/SessionOptions.h"
#include "session/SnapbackSeeker.h"
#include "timeline/SKYLVelaTimeline.h"
#include "tracking/SKYLVelaAnalyticsSession.h"
#include "tracking/SKYLVelaProgressTracker.h"

namespace SKYLARK_API skylark {

class SKYLSSAILive2Coordinator;

// The plug-in's playback session: wraps the host's session for one video
// and shows the host and the application the same surface in content
// time, with the stitched ads cut out of every position, duration and
// range. It loads the ad timeline (from the source's VMAP document),
// hands the stream to the inner session, feeds the player's time to the
// progress tracker, and turns the tracker's events into ad lifecycle
// events. The newer live service's ad state (Live2AdState) publishes the
// same events as the tracker, so one path serves every kind of stream;
// the ad ledger (AdLedgerReporter) and the beacons (one digester, the
// environment's transport) likewise. Main queue only.
//
// loadState:  0 not loaded --load--> 1 loading --stream handed over--> 2 loaded
//                                        \--no timeline, or no stream URL--> 3 failed
class SKYLVUXSession final : public ForwardingPlaybackSession,
                             public TimedMetadataOutputDelegate,
                             public std::enable_shared_from_this<SKYLVUXSession> {
 public:
  using ResolvedSessionLookup =
      std::function<std::shared_ptr<const SKYLSSAILive2ResolvedSession>(const URL& sourceURL)>;
  using ResolvedSessionRecorder =
      std::function<void(const URL& sourceURL, const URL& manifestURL, const URL& trackingURL)>;

  // Takes its clock, URL session, beacon transport, notification centre
  // and ad ledger from `environment` (the process's defaults when null).
  static std::shared_ptr<SKYLVUXSession> initWithUpstreamSession(
      std::shared_ptr<SKYLPlaybackSession> session, HTTPHeaderFields httpHeaders,
      std::shared_ptr<const SessionEnvironment> environment = nullptr);
  ~SKYLVUXSession() override;

  // What the session changes of the host surface.
  Observable<SKYLLifecycleEventPtr>& lifecycleState() override { return lifecycleState_; }
  SKYLBasicPlaybackProgress& progressSource() override { return progressSource_; }
  Observable<MediaTime>& duration() override { return duration_; }
  Observable<TimeRanges>& loadedTimeRanges() override { return loadedTimeRanges_; }
  Observable<TimeRanges>& seekableRanges() override { return seekableRanges_; }
  std::shared_ptr<SKYLVideo> video() const override { return updatedVideoWithCuePoints_; }
  void load() override;
  void setSessionCommonProperties(
      const std::shared_ptr<SKYLSessionCommonProperties>& properties) override;
  void checkIfSourceIsAudioOnly(const std::shared_ptr<SKYLSource>& source) override;
  void startObservingRequiredValuesOnInnerPlaybackSession(SKYLPlaybackSession& inner) override;
  bool respondsToSelector(std::string_view selector) const override;

  // Time mapping; with no timeline the all-zero (invalid) time.
  MediaTime absoluteTimeAtContentTime(const MediaTime& contentTime) const;
  MediaTime contentTimeAtAbsoluteTime(const MediaTime& absoluteTime) const;
  MediaTime contentTimeFromVideoTime(const MediaTime& videoTime) const;
  // Seconds of content time.
  double currentTime() const;
  bool canSeek() const { return seeker_.canSeek(); }
  bool adPlaying() const { return adPlaying_; }

  // Seeks in content time (SnapbackSeeker: a forward seek over ad breaks
  // plays the last of them first, and its completion is called twice); on a
  // newer live stream, in stream time, landing at the start of the last
  // break it would jump over. Refused (completion false at once) during a
  // break or for an invalid or negative time.
  void seekToTime(const MediaTime& time, std::function<void(bool finished)> completionHandler);
  void seekToTime(const MediaTime& time, const MediaTime& toleranceBefore,
                  const MediaTime& toleranceAfter, std::function<void(bool)> completionHandler) {
    (void)toleranceBefore, (void)toleranceAfter;
    seekToTime(time, std::move(completionHandler));
  }
  // time is content time.
  void resumeVideoAtTime(const MediaTime& time, bool withAutoPlay) override;
  // Starts playback at a content time, as an application resuming a
  // bookmark does: the breaks before it are played or not as the options
  // say. Only before playback begins (the first playhead update after the
  // stream is ready); false otherwise, and on a live stream.
  bool startAtContentTime(const MediaTime& time);
  void pauseAd();
  void resumeAd();
  // The player's rate changed: the tracker follows it.
  void didChangeRate(const Player& player);
  const MediaTime& defaultSeekTolerance() const { return defaultSeekTolerance_; }
  const MediaTime& defaultMinimumSeekToleranceBuffer() const {
    return defaultMinimumSeekToleranceBuffer_;
  }

  // Seconds the ads of the break have been audible, and the ad viewable.
  double adAudibleDuration() const { return adLedger_.adAudibleDuration(); }
  double adViewableSeconds() const { return adLedger_.adViewableSeconds(); }
  const std::shared_ptr<const SessionEnvironment>& environment() const { return environment_; }

  Observable<int64_t>& loadState() { return loadState_; }
  const std::optional<SKYLError>& loadError() const { return loadError_; }
  const std::shared_ptr<SKYLVelaTimeline>& timeline() const { return timeline_; }
  SKYLVelaProgressTracker* tracker() const { return tracker_.get(); }
  const std::shared_ptr<SKYLSource>& ssaiSource() const { return ssaiSource_; }
  const std::shared_ptr<SKYLSessionProviderExtension>& providerExtension() const {
    return providerExtension_;
  }
  const std::shared_ptr<SKYLAd>& currentAd() const { return currentAd_; }

  // Given by the provider before load.
  void setOptions(const SessionOptions& options);
  const SessionOptions& options() const { return options_; }
  void setMeridianLiveDetection(int64_t detection) { meridianLiveDetection_ = detection; }
  void setLive2AdsParams(std::map<std::string, std::string> params) {
    live2AdsParams_ = std::move(params);
  }
  void setLive2ResolvedSessionLookup(ResolvedSessionLookup lookup) {
    live2ResolvedSessionLookup_ = std::move(lookup);
  }
  void setLive2ResolvedSessionRecorder(ResolvedSessionRecorder recorder) {
    live2ResolvedSessionRecorder_ = std::move(recorder);
  }
  // Starts the newer live path for a source (load does, for a source the
  // detector recognises): tears down a session of another source, then
  // resumes a resolved session of this one or opens a new one. A start
  // whose answer comes after a newer start changes nothing.
  void loadLive2Session(const std::shared_ptr<SKYLSource>& source);
  const std::shared_ptr<SKYLSSAILive2Coordinator>& live2Coordinator() const {
    return live2Coordinator_;
  }
  bool live2ContentOnly() const { return live2ContentOnly_; }

  // Timed metadata of the stream (older live SSAI: its ad data), on the
  // global queue.
  void outputDidOutputTimedMetadata(const std::vector<TimedMetadataItem>& items) override;

  // The application's companion slots and click-through container: the
  // session attaches itself, so slots fill as ads begin.
  void setAdDisplayContainer(std::shared_ptr<SKYLSSAIAdComponentDisplayContainer> container);
  const std::shared_ptr<SKYLSSAIAdComponentDisplayContainer>& adDisplayContainer() const {
    return adDisplayContainer_;
  }

  // What became of this session's beacons, per ad and type, whichever
  // path fired them.
  const std::shared_ptr<BeaconDeliveryLedger>& deliveryLedger() const { return deliveryLedger_; }

  // The host records of timeline objects.
  std::shared_ptr<SKYLAd> adForVelaAd(const std::shared_ptr<const SKYLVelaAd>& ad) const;
  std::shared_ptr<SKYLAdSequence> adSequenceForVelaAdSequence(
      const std::shared_ptr<SKYLVelaAdSequence>& sequence) const;

 private:
  SKYLVUXSession(std::shared_ptr<SKYLPlaybackSession> inner, HTTPHeaderFields headers,
                 std::shared_ptr<const SessionEnvironment> environment);
  void start();
  void loadTimeline(const std::shared_ptr<SKYLSource>& source);
  void didLoadTimeline(std::shared_ptr<SKYLVelaTimeline> timeline, std::optional<SKYLError> error);
  void addCuePoints();
  void loadStream();
  void fail(SKYLError error);

  bool inBumperMode() const { return bumperMode_; }
  void innerDurationChanged(const MediaTime& streamDuration);
  void innerLifecycleChanged(const SKYLLifecycleEventPtr& event);
  void setLifecycleStateFiltered(const SKYLLifecycleEventPtr& event);
  // Every ad event, from the tracker or the live ad state: the analytics
  // hear it first (their beacons go out before the application hears of
  // the change), then the session.
  void trackerEventChanged(const SKYLVelaProgressTracker::Event& event);
  void emitTrackerEvent(const SKYLVelaProgressTrackerEvent& event);
  void contentTimeChanged(const MediaTime& time);
  // A playhead update of the stream (outside bumpers).
  void streamTimeChanged(const MediaTime& time);
  void didSeekPastPlayedBreak(const std::shared_ptr<SKYLVelaAdSequence>& sequence);
  void leaveAdBackwards();
  // The beacons' digester, sending through the environment's transport
  // (retrying, for the live service's).
  void makeDigester(bool live2);
  std::shared_ptr<SKYLAd> recordForAd(const std::shared_ptr<const SKYLVelaAd>& ad) const;
  void emit(std::string_view type, SKYLPlaybackSessionLifecycleEvent::Properties properties = {});
  void playerItemChanged();

  // Ad events (the lifecycle of ads and breaks).
  void enterAdSequence(const std::shared_ptr<SKYLVelaAdSequence>& sequence);
  void exitAdSequence(const std::shared_ptr<SKYLVelaAdSequence>& sequence);
  void requireLinearPlayback(bool required);

  // The newer live service.
  void live2TeardownSession();
  void live2PlayContentOnly(const std::shared_ptr<SKYLSource>& source);
  void live2DidStart(uint64_t generation, const std::shared_ptr<SKYLSource>& source,
                     Result<URL> manifest);
  void live2UpdateAdState();
  void live2SeekToTime(const MediaTime& time, std::function<void(bool)> completion);

  // Seeking and skipping.
  void skipAd(const std::weak_ptr<SKYLAd>& record);
  void didSkipAd(const std::weak_ptr<SKYLAd>& record);

  const std::shared_ptr<const SessionEnvironment> environment_;
  HTTPHeaderFields httpHeaders_;
  SessionOptions options_;
  std::weak_ptr<SKYLSessionCommonProperties> sessionCommonProperties_;
  int64_t meridianLiveDetection_ = 3;
  std::map<std::string, std::string> live2AdsParams_;
  ResolvedSessionLookup live2ResolvedSessionLookup_;
  ResolvedSessionRecorder live2ResolvedSessionRecorder_;

  Observable<MediaTime> duration_{MediaTime::invalid()};
  Observable<TimeRanges> loadedTimeRanges_;
  Observable<TimeRanges> seekableRanges_;
  Observable<int64_t> loadState_{0};
  std::optional<SKYLError> loadError_;

  bool liveSSAI_ = false;
  bool adPlaying_ = false;
  std::shared_ptr<SKYLVideo> updatedVideoWithCuePoints_;
  std::shared_ptr<SKYLSessionProviderExtension> providerExtension_;
  std::shared_ptr<SKYLVelaTimeline> timeline_;
  std::shared_ptr<const std::string> vmapResponseData_;
  // What every tick reads, together on as few cache lines as they fit.
  // Whether the player's current item is a bumper: kept up to date as the
  // player announces each new item.
  bool bumperMode_ = false;
  // The inner session's player, which it keeps for life (null when it has
  // none): read without taking a reference.
  Player* innerPlayer_ = nullptr;
  std::unique_ptr<SKYLVelaProgressTracker> tracker_;
  SKYLBasicPlaybackProgress progressSource_{MediaTime::negativeInfinity()};
  // And what every tick inside an ad reads.
  SKYLVelaProgressTracker::Event currentTrackerEvent_;
  std::shared_ptr<SKYLAd> currentAd_;
  // The timeline ad currentAd_ was made from (none on a live stream): each
  // progress tick asks whether the same ad still plays.
  std::shared_ptr<const SKYLVelaAd> currentAdSource_;
  double adPlayDuration_ = 0;
  Observable<SKYLLifecycleEventPtr> lifecycleState_;
  std::shared_ptr<SKYLVelaAnalyticsDigester> digester_;
  // Where the player is, for beacon macros (only when they are on).
  std::shared_ptr<BeaconPlayheads> beaconPlayheads_;
  // Under the skip policy: every one-shot beacon once per session, whichever
  // digester sends it.
  std::shared_ptr<OneShotBeaconFilter> oneShotBeacons_;
  const std::shared_ptr<BeaconDeliveryLedger> deliveryLedger_ =
      std::make_shared<BeaconDeliveryLedger>();
  std::unique_ptr<SKYLVelaAnalyticsSession> analyticsSession_;
  std::shared_ptr<SKYLSource> ssaiSource_;
  MediaTime reversePlaybackEndTime_ = MediaTime::invalid();
  std::shared_ptr<PlayerItem> currentPlayerItem_;
  bool observingInner_ = false;

  std::shared_ptr<SKYLSSAIAdComponentDisplayContainer> adDisplayContainer_;

  // The newer live service.
  std::shared_ptr<SKYLSSAILive2Coordinator> live2Coordinator_;
  std::shared_ptr<Live2AdState> live2AdState_;
  std::optional<URL> live2SessionSourceURL_;
  uint64_t live2SessionGeneration_ = 0;
  bool live2ContentOnly_ = false;

  AdLedgerReporter adLedger_;
  std::vector<MediaTimeRange> interstitialTimeRanges_;

  // Seeking.
  const MediaTime defaultSeekTolerance_ = MediaTime::make(1200, 600);
  const MediaTime defaultMinimumSeekToleranceBuffer_ = MediaTime::make(1800, 600);
  SnapbackSeeker seeker_;
  PlayedBreakSkipper playedBreaks_;
  // A bookmark's seek is under way: playhead updates are not the tracker's.
  bool startingAtBookmark_ = false;

  SKYLKVOManager kvoManager_;
  SKYLKVOManager trackerObservations_;
  SKYLKVOManager pictureInPictureObservation_;
  uint64_t rateObserver_ = 0;
};

}  // namespace skylark
