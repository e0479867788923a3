#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "environment/SessionClock.h"
#include "platform/DispatchQueue.h"
#include "platform/ThreadAnnotations.h"

namespace skylark {

// A repeating timer for the tracking poll.
class SKYLSSAILive2Scheduler {
 public:
  virtual ~SKYLSSAILive2Scheduler() = default;
  // Replaces any earlier schedule: the handler runs at once, then every
  // `every` seconds, until cancelled.
  virtual void schedule(double every, std::function<void()> handler) = 0;
  virtual void cancel() = 0;
  // Runs work on the poll's sequence, after what is already there.
  virtual void post(std::function<void()> work) = 0;
};

// The poll timer on a serial queue of its own, labelled
// "com.skylark.ssai.live2.poll", ticking on the session's clock.
class SKYLSSAILive2TimerScheduler final : public SKYLSSAILive2Scheduler {
 public:
  explicit SKYLSSAILive2TimerScheduler(
      std::shared_ptr<SessionClock> clock = std::make_shared<SystemSessionClock>())
      : clock_(std::move(clock)),
        queue_(Dispatch::makeSerialQueue("com.skylark.ssai.live2.poll")) {}
  ~SKYLSSAILive2TimerScheduler() override { cancel(); }

  void schedule(double every, std::function<void()> handler) override;
  void cancel() override;
  void post(std::function<void()> work) override { queue_->async(std::move(work)); }
  const std::shared_ptr<DispatchQueue>& queue() const { return queue_; }

 private:
  const std::shared_ptr<SessionClock> clock_;
  std::shared_ptr<DispatchQueue> queue_;
  Mutex mutex_;
  std::shared_ptr<void> timer_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
