#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/DateParser.h"
#include "platform/DispatchQueue.h"
#include "platform/ThreadAnnotations.h"

namespace skylark {

// Time as the plug-in's sessions see it: the date that live program dates
// and cache ages are read against, repeating timers (the ad timer, the
// live poll) and delayed work (beacon retries). Sessions never read the
// wall clock or make a timer themselves, so a test or a tool on a virtual
// clock moves them exactly as far as it moves its own time. Safe from any
// thread.
class SessionClock {
 public:
  using Work = std::function<void()>;

  virtual ~SessionClock() = default;
  virtual SystemTime now() const = 0;
  using Queue = std::shared_ptr<DispatchQueue>;

  // Runs `tick` on `queue` every `intervalSeconds` until the handle is
  // released. The timer keeps the queue alive.
  [[nodiscard]] virtual std::shared_ptr<void> repeat(Queue queue, double intervalSeconds,
                                                     Work tick) = 0;
  // Runs `work` on `queue` once, `delaySeconds` from now.
  virtual void after(Queue queue, double delaySeconds, Work work) = 0;

  // A queue of the process's life (the main or the global queue) as a Queue.
  static Queue processQueue(DispatchQueue& queue) { return Queue(Queue(), &queue); }
};

// The wall clock, with the queues' own timers.
class SystemSessionClock final : public SessionClock {
 public:
  SystemTime now() const override;
  std::shared_ptr<void> repeat(Queue queue, double intervalSeconds, Work tick) override;
  void after(Queue queue, double delaySeconds, Work work) override;
};

// A clock that moves only when told: advance() runs, in order of their
// times, the timers and delayed work that fall due, each on its queue
// (work for the main queue runs when the main queue next runs). Tests and
// tools on a virtual clock use it.
class ManualSessionClock final : public SessionClock {
 public:
  explicit ManualSessionClock(SystemTime start);

  SystemTime now() const override;
  std::shared_ptr<void> repeat(Queue queue, double intervalSeconds, Work tick) override;
  void after(Queue queue, double delaySeconds, Work work) override;

  // Moves the date on by `seconds`, handing each piece of work to its queue
  // as its time comes (a repeating timer once per interval passed).
  void advance(double seconds);
  // Seconds until the next piece of work falls due; nothing when none waits.
  std::optional<double> nextDueIn() const;

 private:
  struct Pending {
    double due;  // seconds since start
    uint64_t order;
    Queue queue;
    Work work;
    double interval;  // 0: once
    std::weak_ptr<void> alive;
    bool repeats;
  };

  mutable Mutex mutex_;
  SystemTime start_;
  double elapsed_ SKYL_GUARDED_BY(mutex_) = 0;
  uint64_t nextOrder_ SKYL_GUARDED_BY(mutex_) = 0;
  std::vector<Pending> pending_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
