#include "environment/SessionClock.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace skylark {
namespace {

std::chrono::steady_clock::duration toDuration(double seconds) {
  return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(std::max(0.0, seconds)));
}

SystemTime plusSeconds(SystemTime at, double seconds) {
  return at + std::chrono::milliseconds(std::llround(seconds * 1000));
}

}  // namespace

SystemTime SystemSessionClock::now() const {
  return std::chrono::time_point_cast<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

std::shared_ptr<void> SystemSessionClock::repeat(Queue queue, double intervalSeconds, Work tick) {
  return std::make_shared<RepeatingTimer>(std::move(queue), toDuration(intervalSeconds), false,
                                          std::move(tick));
}

void SystemSessionClock::after(Queue queue, double delaySeconds, Work work) {
  queue->asyncAfter(toDuration(delaySeconds), std::move(work));
}

ManualSessionClock::ManualSessionClock(SystemTime start) : start_(start) {}

SystemTime ManualSessionClock::now() const {
  MutexLock lock(mutex_);
  return plusSeconds(start_, elapsed_);
}

std::shared_ptr<void> ManualSessionClock::repeat(Queue queue, double intervalSeconds, Work tick) {
  auto handle = std::make_shared<int>(0);
  MutexLock lock(mutex_);
  const double interval = std::max(intervalSeconds, 1e-3);
  pending_.push_back({elapsed_ + interval, nextOrder_++, std::move(queue), std::move(tick),
                      interval, handle, true});
  return handle;
}

void ManualSessionClock::after(Queue queue, double delaySeconds, Work work) {
  MutexLock lock(mutex_);
  pending_.push_back({elapsed_ + std::max(0.0, delaySeconds),
                      nextOrder_++,
                      std::move(queue),
                      std::move(work),
                      0,
                      {},
                      false});
}

std::optional<double> ManualSessionClock::nextDueIn() const {
  MutexLock lock(mutex_);
  std::optional<double> next;
  for (const auto& p : pending_) {
    if (p.repeats && p.alive.expired()) continue;
    if (!next || p.due < *next) next = p.due;
  }
  if (!next) return std::nullopt;
  return std::max(0.0, *next - elapsed_);
}

void ManualSessionClock::advance(double seconds) {
  double target = 0;
  {
    MutexLock lock(mutex_);
    target = elapsed_ + std::max(0.0, seconds);
  }
  for (;;) {
    Queue queue;
    Work work;
    {
      MutexLock lock(mutex_);
      std::erase_if(pending_, [](const Pending& p) { return p.repeats && p.alive.expired(); });
      const auto next = std::min_element(
          pending_.begin(), pending_.end(), [](const Pending& a, const Pending& b) {
            return a.due < b.due || (a.due == b.due && a.order < b.order);
          });
      if (next == pending_.end() || next->due > target + 1e-9) {
        elapsed_ = target;
        return;
      }
      elapsed_ = std::max(elapsed_, next->due);
      queue = next->queue;
      if (next->repeats) {
        // Each tick checks that its timer is still wanted when it runs.
        work = [alive = next->alive, tick = next->work] {
          if (!alive.expired()) tick();
        };
        next->due += next->interval;
        next->order = nextOrder_++;
      } else {
        work = std::move(next->work);
        pending_.erase(next);
      }
    }
    queue->async(std::move(work));
  }
}

}  // namespace skylark
