#pragma once

#include <functional>
#include <memory>
#include <mutex>

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
};

// The poll timer on a serial queue of its own, labelled
// "com.skylark.ssai.live2.poll".
class SKYLSSAILive2TimerScheduler final : public SKYLSSAILive2Scheduler {
 public:
  SKYLSSAILive2TimerScheduler()
      : queue_(Dispatch::makeSerialQueue("com.skylark.ssai.live2.poll")) {}
  ~SKYLSSAILive2TimerScheduler() override { cancel(); }

  void schedule(double every, std::function<void()> handler) override;
  void cancel() override;
  const std::shared_ptr<DispatchQueue>& queue() const { return queue_; }

 private:
  std::shared_ptr<DispatchQueue> queue_;
  Mutex mutex_;
  std::unique_ptr<RepeatingTimer> timer_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
