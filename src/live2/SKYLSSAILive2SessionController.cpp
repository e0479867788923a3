#include "live2/SKYLSSAILive2SessionController.h"

namespace skylark {

std::shared_ptr<SKYLSSAILive2SessionController> SKYLSSAILive2SessionController::create(
    URL sourceURL, const SessionEnvironment& environment, Dependencies dependencies) {
  if (!dependencies.sessionClient) {
    dependencies.sessionClient =
        std::make_shared<SKYLSSAILive2SessionClient>(environment.urlSession);
  }
  if (!dependencies.scheduler) {
    dependencies.scheduler = std::make_unique<SKYLSSAILive2TimerScheduler>(environment.clock);
  }
  if (!dependencies.timeline) dependencies.timeline = std::make_shared<SKYLSSAILive2Timeline>();
  if (!dependencies.makeTrackingClient) {
    dependencies.makeTrackingClient = [session = environment.urlSession](const URL& tracking) {
      return SKYLSSAILive2TrackingClient::create(tracking, session);
    };
  }
  return std::shared_ptr<SKYLSSAILive2SessionController>(
      new SKYLSSAILive2SessionController(std::move(sourceURL), std::move(dependencies)));
}

std::shared_ptr<SKYLSSAILive2SessionController> SKYLSSAILive2SessionController::create(
    URL sourceURL, Dependencies dependencies) {
  return create(std::move(sourceURL), *SessionEnvironment::makeDefault(), std::move(dependencies));
}

std::shared_ptr<SKYLSSAILive2SessionController> SKYLSSAILive2SessionController::create(
    URL sourceURL) {
  return create(std::move(sourceURL), Dependencies{});
}

SKYLSSAILive2SessionController::SKYLSSAILive2SessionController(URL sourceURL,
                                                               Dependencies dependencies)
    : sourceURL_(std::move(sourceURL)), dependencies_(std::move(dependencies)) {}

SKYLSSAILive2SessionController::~SKYLSSAILive2SessionController() {
  dependencies_.scheduler->cancel();
}

void SKYLSSAILive2SessionController::setDelegate(
    std::weak_ptr<SKYLSSAILive2ControllerDelegate> delegate) {
  MutexLock lock(lock_);
  delegate_ = std::move(delegate);
}

std::shared_ptr<SKYLSSAILive2ControllerDelegate> SKYLSSAILive2SessionController::delegate() const {
  MutexLock lock(lock_);
  return delegate_.lock();
}

std::optional<URL> SKYLSSAILive2SessionController::manifestURL() const {
  MutexLock lock(lock_);
  return manifestURL_;
}

std::optional<URL> SKYLSSAILive2SessionController::trackingURL() const {
  MutexLock lock(lock_);
  return trackingURL_;
}

void SKYLSSAILive2SessionController::start(const std::map<std::string, std::string>& adsParams) {
  std::weak_ptr<SKYLSSAILive2SessionController> weak = shared_from_this();
  auto task = dependencies_.sessionClient->start(sourceURL_, adsParams, [weak](auto result) {
    const auto self = weak.lock();
    if (!self) return;
    {
      MutexLock lock(self->lock_);
      if (self->stopped_) return;  // an answer after stop is dropped, failures too
    }
    if (!result.ok()) {
      if (auto delegate = self->delegate())
        delegate->live2ControllerDidFail(result.error().toError());
      return;
    }
    self->didResolve(result.value());
  });
  MutexLock lock(lock_);
  startTask_ = std::move(task);
}

void SKYLSSAILive2SessionController::resume(const SKYLSSAILive2SessionURLs& urls) {
  didResolve(urls);
}

void SKYLSSAILive2SessionController::didResolve(const SKYLSSAILive2SessionURLs& urls) {
  {
    MutexLock lock(lock_);
    if (stopped_) return;
    manifestURL_ = urls.manifest;
    trackingURL_ = urls.tracking;
    trackingClient_ = dependencies_.makeTrackingClient(urls.tracking);
  }
  if (auto delegate = this->delegate()) delegate->live2ControllerDidResolveManifest(urls.manifest);
  std::weak_ptr<SKYLSSAILive2SessionController> weak = shared_from_this();
  dependencies_.scheduler->schedule(dependencies_.pollInterval, [weak] {
    if (const auto self = weak.lock()) self->tick();
  });
  // A stop() since the check above cancelled nothing yet: the timer just
  // armed would tick idly for ever.
  bool stoppedMeanwhile = false;
  {
    MutexLock lock(lock_);
    stoppedMeanwhile = stopped_;
  }
  if (stoppedMeanwhile) dependencies_.scheduler->cancel();
}

void SKYLSSAILive2SessionController::tick() {
  std::shared_ptr<SKYLSSAILive2TrackingClient> client;
  {
    MutexLock lock(lock_);
    if (stopped_ || !trackingClient_) return;
    client = trackingClient_;
  }
  std::weak_ptr<SKYLSSAILive2SessionController> weak = shared_from_this();
  client->fetch([weak, url = client->pollURL()](SKYLSSAILive2TrackingClient::Outcome outcome) {
    const auto self = weak.lock();
    if (!self) return;
    // Answers are merged on the poll's sequence, one after another.
    self->dependencies_.scheduler->post([weak, url, outcome = std::move(outcome)]() mutable {
      if (const auto controller = weak.lock()) controller->didPoll(url, std::move(outcome));
    });
  });
}

void SKYLSSAILive2SessionController::didPoll(const URL& url,
                                             SKYLSSAILive2TrackingClient::Outcome outcome) {
  {
    MutexLock lock(lock_);
    if (stopped_) return;
  }
  if (std::holds_alternative<SKYLSSAILive2PollSkip>(outcome)) return;
  const auto delegate = this->delegate();
  SKYLSSAILive2PollReport report{url, std::nullopt};
  if (const auto* error = std::get_if<SKYLSSAILive2Error>(&outcome)) {
    report.error = *error;
    if (delegate) delegate->live2ControllerDidFail(error->toError());
  } else {
    const auto& response = std::get<SKYLSSAILive2TrackingResponse>(outcome);
    report.availsAnswered = response.avails.size();
    // Readers pull the new picture from the timeline's snapshot.
    report.timelineChanged = dependencies_.timeline->merge(response);
  }
  report.availsKnown = dependencies_.timeline->snapshot()->avails.size();
  if (delegate) delegate->live2ControllerDidPoll(report);
}

void SKYLSSAILive2SessionController::prune(SystemTime playheadDate) {
  std::weak_ptr<SKYLSSAILive2SessionController> weak = shared_from_this();
  dependencies_.scheduler->post([weak, playheadDate] {
    if (const auto self = weak.lock()) self->dependencies_.timeline->prune(playheadDate);
  });
}

void SKYLSSAILive2SessionController::stop() {
  std::shared_ptr<URLSessionDataTask> startTask;
  {
    MutexLock lock(lock_);
    stopped_ = true;
    startTask = std::move(startTask_);
  }
  dependencies_.scheduler->cancel();
  if (startTask) startTask->cancel();  // its completion finds the controller stopped
}

}  // namespace skylark
