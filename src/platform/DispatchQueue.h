#pragma once

#include <cassert>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/Visibility.h"

// Main-queue objects (players, sessions, the controller) check their
// callers in debug builds.
#define SKYL_DCHECK_MAIN_THREAD() \
  assert(::skylark::Dispatch::isMainThread() && "a main-queue object used off the main thread")

namespace SKYLARK_API skylark {

// Where work runs. Three kinds, all on Asio underneath:
//   - the main queue: the host's run loop, run by the application (or a test);
//   - the global queue: a shared thread pool, concurrent;
//   - serial queues: one piece of work at a time, in order, on that pool.
class DispatchQueue {
 public:
  using Work = std::function<void()>;

  virtual ~DispatchQueue() = default;
  virtual void async(Work work) = 0;
  virtual void asyncAfter(std::chrono::steady_clock::duration delay, Work work) = 0;
  virtual const std::string& label() const = 0;
  // True while the calling thread runs work of this queue.
  virtual bool isCurrent() const = 0;
};

// The host's run loop. Work posted here runs only while some thread runs
// the loop.
class MainQueue : public DispatchQueue {
 public:
  // Runs until stop() is called.
  virtual void run() = 0;
  // Runs ready work, including work that it posts, until none is ready;
  // delayed work not yet due is left. Returns how many handlers ran.
  virtual size_t runUntilIdle() = 0;
  // Runs until the predicate holds (checked after each handler) or the
  // deadline passes; true when the predicate held.
  virtual bool runUntil(const std::function<bool()>& predicate,
                        std::chrono::steady_clock::duration timeout) = 0;
  virtual void stop() = 0;
};

namespace Dispatch {

MainQueue& main();
DispatchQueue& global();
// True on the thread that runs the main queue (the first to run it), and on
// any thread before it first runs.
bool isMainThread();
std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label);
// Ends the global queue and the serial queues for good: work not yet
// started is dropped, work running finishes, and the call returns once no
// thread of the pool runs anything. Work posted later never runs. For the
// end of a process, before static objects are destroyed; never from work
// on those queues.
void shutdown();

}  // namespace Dispatch

// Calls the work on a queue every interval until cancelled or destroyed.
// Cancelling from any thread (the timer's own work included) stops further
// calls; a call already running finishes. The timer keeps a shared queue
// alive while it may still post to it; a plain reference must outlive it.
class RepeatingTimer {
 public:
  RepeatingTimer(DispatchQueue& queue, std::chrono::steady_clock::duration interval,
                 bool fireImmediately, DispatchQueue::Work work);
  RepeatingTimer(std::shared_ptr<DispatchQueue> queue, std::chrono::steady_clock::duration interval,
                 bool fireImmediately, DispatchQueue::Work work);
  ~RepeatingTimer();
  RepeatingTimer(const RepeatingTimer&) = delete;
  RepeatingTimer& operator=(const RepeatingTimer&) = delete;

  void cancel();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace skylark
