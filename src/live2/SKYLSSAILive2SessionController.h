#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "environment/SessionEnvironment.h"
#include "live2/SKYLSSAILive2Scheduler.h"
#include "live2/SKYLSSAILive2SessionClient.h"
#include "live2/SKYLSSAILive2Timeline.h"
#include "live2/SKYLSSAILive2TrackingClient.h"
#include "platform/ThreadAnnotations.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// What one tracking poll brought, for whoever watches the live session
// (a stream activity monitor): where it went, why it failed, or how many
// avails it answered, whether they changed the live timeline, and how many
// the timeline holds after the merge.
struct SKYLSSAILive2PollReport {
  URL url;
  std::optional<SKYLSSAILive2Error> error;
  size_t availsAnswered = 0;
  bool timelineChanged = false;
  size_t availsKnown = 0;
};

// What the controller tells its owner (the live coordinator). Calls come
// from the URL session's thread or the poll queue, never under a lock; the
// delegate moves work to the main queue itself.
class SKYLSSAILive2ControllerDelegate {
 public:
  virtual ~SKYLSSAILive2ControllerDelegate() = default;
  virtual void live2ControllerDidResolveManifest(const URL& manifest) = 0;
  virtual void live2ControllerDidFail(const SKYLError& error) = 0;
  // After each poll that went out, once its answer (or failure) is taken in.
  virtual void live2ControllerDidPoll(const SKYLSSAILive2PollReport&) {}
};

// Owns one live session: opens it (or resumes known URLs), then polls the
// tracking URL every pollInterval seconds into the live timeline until
// stopped. Safe from any thread.
//
//   created --start--> starting --URLs known--> polling --stop--> stopped
//      \------------------resume-------------------^
//   A failed start leaves the controller idle; only stop remains useful.
class SKYLSSAILive2SessionController
    : public std::enable_shared_from_this<SKYLSSAILive2SessionController> {
 public:
  using MakeTrackingClient =
      std::function<std::shared_ptr<SKYLSSAILive2TrackingClient>(const URL& tracking)>;

  struct Dependencies {
    std::shared_ptr<SKYLSSAILive2SessionClient> sessionClient;
    std::unique_ptr<SKYLSSAILive2Scheduler> scheduler;
    double pollInterval = 5.0;
    MakeTrackingClient makeTrackingClient;
    // What the polls merge into (and readers see).
    std::shared_ptr<SKYLSSAILive2Timeline> timeline;
  };

  // Missing dependencies take the defaults: a session client and tracking
  // clients on the environment's URL session, the poll-queue timer on its
  // clock, and an empty timeline.
  static std::shared_ptr<SKYLSSAILive2SessionController> create(
      URL sourceURL, const SessionEnvironment& environment, Dependencies dependencies);
  // With the process's defaults.
  static std::shared_ptr<SKYLSSAILive2SessionController> create(URL sourceURL,
                                                                Dependencies dependencies);
  static std::shared_ptr<SKYLSSAILive2SessionController> create(URL sourceURL);
  ~SKYLSSAILive2SessionController();

  void setDelegate(std::weak_ptr<SKYLSSAILive2ControllerDelegate> delegate);
  void start(const std::map<std::string, std::string>& adsParams);
  void resume(const SKYLSSAILive2SessionURLs& urls);
  // Stops polling and cancels the session request if it is still in flight.
  void stop();
  // Drops, on the poll's sequence (where answers are merged), the avails
  // the playhead has left.
  void prune(SystemTime playheadDate);

  const std::shared_ptr<SKYLSSAILive2Timeline>& timeline() const { return dependencies_.timeline; }
  std::optional<URL> manifestURL() const;
  std::optional<URL> trackingURL() const;

 private:
  SKYLSSAILive2SessionController(URL sourceURL, Dependencies dependencies);
  std::shared_ptr<SKYLSSAILive2ControllerDelegate> delegate() const;
  void didResolve(const SKYLSSAILive2SessionURLs& urls);
  void tick();
  void didPoll(const URL& url, SKYLSSAILive2TrackingClient::Outcome outcome);

  const URL sourceURL_;
  Dependencies dependencies_;

  mutable Mutex lock_;
  std::weak_ptr<SKYLSSAILive2ControllerDelegate> delegate_ SKYL_GUARDED_BY(lock_);
  std::shared_ptr<SKYLSSAILive2TrackingClient> trackingClient_ SKYL_GUARDED_BY(lock_);
  std::shared_ptr<URLSessionDataTask> startTask_ SKYL_GUARDED_BY(lock_);
  bool stopped_ SKYL_GUARDED_BY(lock_) = false;
  std::optional<URL> manifestURL_ SKYL_GUARDED_BY(lock_);
  std::optional<URL> trackingURL_ SKYL_GUARDED_BY(lock_);
};

}  // namespace skylark
