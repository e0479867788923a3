#include "live2/SKYLSSAILive2Scheduler.h"

#include <chrono>

namespace skylark {

void SKYLSSAILive2TimerScheduler::schedule(double every, std::function<void()> handler) {
  const auto interval = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(every));
  auto timer = std::make_unique<RepeatingTimer>(queue_, interval, /*fireImmediately=*/true,
                                                std::move(handler));
  MutexLock lock(mutex_);
  timer_ = std::move(timer);  // the previous timer, if any, is cancelled as it goes
}

void SKYLSSAILive2TimerScheduler::cancel() {
  std::unique_ptr<RepeatingTimer> timer;
  MutexLock lock(mutex_);
  timer = std::move(timer_);
}

}  // namespace skylark
