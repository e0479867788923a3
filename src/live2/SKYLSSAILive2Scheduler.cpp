#include "live2/SKYLSSAILive2Scheduler.h"

namespace skylark {

void SKYLSSAILive2TimerScheduler::schedule(double every, std::function<void()> handler) {
  auto timer = clock_->repeat(queue_, every, handler);
  // The first tick at once, unless the schedule is replaced or cancelled first.
  queue_->async([alive = std::weak_ptr<void>(timer), handler = std::move(handler)] {
    if (!alive.expired()) handler();
  });
  MutexLock lock(mutex_);
  timer_ = std::move(timer);  // the previous timer, if any, is cancelled as it goes
}

void SKYLSSAILive2TimerScheduler::cancel() {
  std::shared_ptr<void> timer;
  MutexLock lock(mutex_);
  timer = std::move(timer_);
}

}  // namespace skylark
