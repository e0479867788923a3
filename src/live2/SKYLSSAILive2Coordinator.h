#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "live2/SKYLSSAILive2AdInfo.h"
#include "live2/SKYLSSAILive2Beacons.h"
#include "live2/SKYLSSAILive2SessionController.h"
#include "platform/Result.h"
#include "platform/ThreadAnnotations.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Posted on the environment's notification centre, from the main queue,
// after each tracking poll of a live session; the object is its
// SKYLSSAILive2PollReport and the sender its coordinator.
inline constexpr std::string_view kSKYLSSAILive2TrackingPollNotification =
    "kSKYLSSAILive2TrackingPollNotification";

// What the live timeline says at one program date, read from one snapshot
// of it: the ad playing, its avail, the avail's presentable ads in order,
// and the countdown.
struct SKYLSSAILive2AdsAtDate {
  std::optional<SKYLSSAILive2AdInfo> ad;
  std::optional<std::string> availId;
  std::vector<SKYLSSAILive2AdInfo> availAds;
  std::optional<SKYLSSAILive2AdCountdown> countdown;
};

// The newer live path as the playback session sees it: opens (or resumes)
// the live session, turns the live timeline into ad information keyed by
// program date-time, fires the tracking beacons as the playhead moves and
// on pause, resume and click, and redirects seeks that would jump over
// whole ad breaks. Safe from any thread; the session calls from the main
// thread, the controller from network and poll queues.
class SKYLSSAILive2Coordinator final
    : public SKYLSSAILive2ControllerDelegate,
      public std::enable_shared_from_this<SKYLSSAILive2Coordinator> {
 public:
  // The manifest URL to play, or why there is none.
  using Completion = std::function<void(Result<URL> manifestURL)>;

  // Polls over the environment's URL session on its clock; fires its
  // beacons into `beacons` (the session's digester, which sends them
  // through the environment's live beacon transport). Missing dependencies
  // take the environment's defaults.
  static std::shared_ptr<SKYLSSAILive2Coordinator> create(
      URL sourceURL, std::shared_ptr<const SessionEnvironment> environment,
      std::shared_ptr<BeaconSink> beacons,
      SKYLSSAILive2SessionController::Dependencies dependencies = {});

  static bool isLive2(const std::optional<URL>& sourceURL,
                      const std::optional<std::string>& playbackToken);

  // The completion runs once, on the main queue: with the manifest URL, or
  // with the error that kept the session from opening. Failures after that
  // are the poll's (logged; it resets itself) and never reach it.
  void start(const std::map<std::string, std::string>& adsParams, Completion completion);
  // An earlier session's URLs: no POST; the completion runs on the main queue.
  void resume(URL manifestURL, URL trackingURL, Completion completion);
  // Stops polling and cancels a session request in flight; the completion
  // is not called afterwards. Explicit beacon calls and playhead updates
  // keep working on the last timeline.
  void stop();

  std::optional<URL> manifestURL() const;
  void setManifestURL(std::optional<URL> url);
  std::optional<URL> trackingURL() const { return controller_->trackingURL(); }
  SKYLSSAILive2TimelineHandle timelineHandle() const { return {controller_->timeline()}; }

  std::optional<SKYLSSAILive2AdInfo> presentableAdInfo(SystemTime at) const;
  // Everything the session asks at a date, from one read of the timeline.
  SKYLSSAILive2AdsAtDate adsAt(SystemTime at) const;
  // Fires the beacons due at the date: each progress type of the ad playing
  // once its share of the ad has elapsed, and every type still unfired of
  // an ad the playhead has just passed the end of. Each (ad, type) once.
  void update(SystemTime forPlayheadDate);
  // The same, then what adsAt() tells of the date, from the one picture of
  // the timeline the beacons were fired from: a session's tick reads once.
  SKYLSSAILive2AdsAtDate updateAndRead(SystemTime forPlayheadDate);
  std::vector<SKYLSSAILive2AdInfo> ads(const std::string& forAvailId) const;
  int64_t presentableAdCount(const std::string& forAvailId) const;
  std::optional<std::string> availId(SystemTime at) const;
  std::optional<SKYLSSAILive2AdCountdown> countdown(SystemTime at) const;
  // Where a forward seek should land instead: the first ad of the last
  // break it would jump over entirely; nothing to seek as asked.
  std::optional<SystemTime> seekTargetDate(SystemTime from, SystemTime to) const;
  std::vector<SKYLSSAILive2VerificationInfo> verifications(const std::string& forAdId) const;

  void fireAdPaused(const std::string& forAdId);
  void fireAdResumed(const std::string& forAdId);
  // Only the first click on an ad is reported.
  void fireClickTracking(const std::string& forAdId);

  void live2ControllerDidResolveManifest(const URL& manifest) override;
  void live2ControllerDidFail(const SKYLError& error) override;
  void live2ControllerDidPoll(const SKYLSSAILive2PollReport& report) override;

 private:
  SKYLSSAILive2Coordinator(std::shared_ptr<const SessionEnvironment> environment,
                           std::shared_ptr<SKYLSSAILive2SessionController> controller,
                           std::shared_ptr<BeaconSink> beacons);
  std::optional<SKYLSSAILive2TimelineEntry> firstEntry(const std::string& adId) const;
  static SKYLSSAILive2AdsAtDate adsAt(const SKYLSSAILive2Timeline::Snapshot& snapshot,
                                      SystemTime at);
  // Hands the start's outcome to its completion once; later failures are logged.
  void settle(Result<URL> manifest);
  void fireProgress(const SKYLSSAILive2TimelineEntry& entry, double elapsed);

  const std::shared_ptr<const SessionEnvironment> environment_;
  const std::shared_ptr<SKYLSSAILive2SessionController> controller_;
  SKYLSSAILive2BeaconFirer beaconFirer_;

  mutable Mutex mutex_;
  std::optional<URL> manifestURL_ SKYL_GUARDED_BY(mutex_);
  Completion onResolved_ SKYL_GUARDED_BY(mutex_);
  std::optional<SKYLSSAILive2TimelineEntry> playing_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
