#include "platform/DispatchQueue.h"

#include <atomic>
#include <thread>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/strand.hpp>
#include <asio/thread_pool.hpp>

namespace skylark {
namespace {

// The queue whose work the current thread is running, if any.
thread_local const DispatchQueue* tCurrentQueue = nullptr;

class CurrentQueueScope {
 public:
  explicit CurrentQueueScope(const DispatchQueue* queue) : previous_(tCurrentQueue) {
    tCurrentQueue = queue;
  }
  ~CurrentQueueScope() { tCurrentQueue = previous_; }

 private:
  const DispatchQueue* previous_;
};

// Posts work to an executor, marking the queue current while it runs, and
// delays it with a timer owned by the pending handler.
template <typename Executor>
void postOn(const Executor& executor, const DispatchQueue* queue, DispatchQueue::Work work) {
  asio::post(executor, [queue, work = std::move(work)] {
    CurrentQueueScope scope(queue);
    work();
  });
}

template <typename Executor>
void postAfter(const Executor& executor, const DispatchQueue* queue,
               std::chrono::steady_clock::duration delay, DispatchQueue::Work work) {
  auto timer = std::make_shared<asio::steady_timer>(executor, delay);
  timer->async_wait([timer, queue, work = std::move(work)](const std::error_code& error) {
    if (error) return;
    CurrentQueueScope scope(queue);
    work();
  });
}

// The pool, and the queues on it, live as long as the process: work still
// running on another thread at exit (a network completion releasing the
// last owner of a serial queue, say) must never find them destroyed.
asio::thread_pool& sharedPool() {
  static auto* pool = new asio::thread_pool(std::max(2u, std::thread::hardware_concurrency()));
  return *pool;
}

class GlobalQueue final : public DispatchQueue {
 public:
  void async(Work work) override { postOn(sharedPool().get_executor(), this, std::move(work)); }
  void asyncAfter(std::chrono::steady_clock::duration delay, Work work) override {
    postAfter(sharedPool().get_executor(), this, delay, std::move(work));
  }
  const std::string& label() const override { return label_; }
  bool isCurrent() const override { return tCurrentQueue == this; }

 private:
  const std::string label_ = "com.skylark.global";
};

class SerialQueue final : public DispatchQueue {
 public:
  explicit SerialQueue(std::string label)
      : label_(std::move(label)), strand_(asio::make_strand(sharedPool().get_executor())) {}
  void async(Work work) override { postOn(strand_, this, std::move(work)); }
  void asyncAfter(std::chrono::steady_clock::duration delay, Work work) override {
    postAfter(strand_, this, delay, std::move(work));
  }
  const std::string& label() const override { return label_; }
  bool isCurrent() const override { return tCurrentQueue == this; }

 private:
  std::string label_;
  asio::strand<asio::thread_pool::executor_type> strand_;
};

class IOContextMainQueue final : public MainQueue {
 public:
  void async(Work work) override { postOn(io_.get_executor(), this, std::move(work)); }
  void asyncAfter(std::chrono::steady_clock::duration delay, Work work) override {
    postAfter(io_.get_executor(), this, delay, std::move(work));
  }
  const std::string& label() const override { return label_; }
  bool isCurrent() const override { return tCurrentQueue == this; }

  bool onMainThread() const {
    const std::thread::id owner = thread_.load();
    return owner == std::thread::id() || owner == std::this_thread::get_id();
  }

  void run() override {
    claimThread();
    auto guard = asio::make_work_guard(io_);
    io_.restart();
    io_.run();
  }
  size_t runUntilIdle() override {
    claimThread();
    size_t total = 0;
    while (true) {
      io_.restart();
      const size_t ran = io_.poll();
      if (ran == 0) return total;
      total += ran;
    }
  }
  bool runUntil(const std::function<bool()>& predicate,
                std::chrono::steady_clock::duration timeout) override {
    claimThread();
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    auto guard = asio::make_work_guard(io_);
    while (!predicate()) {
      const auto now = std::chrono::steady_clock::now();
      if (now >= deadline) return false;
      io_.restart();
      io_.run_one_for(std::min<std::chrono::steady_clock::duration>(deadline - now,
                                                                    std::chrono::milliseconds(10)));
    }
    return true;
  }
  void stop() override { io_.stop(); }

 private:
  // The first thread to run the queue is the main thread from then on.
  void claimThread() {
    std::thread::id none;
    thread_.compare_exchange_strong(none, std::this_thread::get_id());
  }

  const std::string label_ = "com.skylark.main";
  asio::io_context io_;
  std::atomic<std::thread::id> thread_{};
};

}  // namespace

namespace Dispatch {

MainQueue& main() {
  static auto* queue = new IOContextMainQueue;
  return *queue;
}

bool isMainThread() { return static_cast<IOContextMainQueue&>(main()).onMainThread(); }

DispatchQueue& global() {
  static auto* queue = new GlobalQueue;
  return *queue;
}

std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) {
  return std::make_shared<SerialQueue>(std::move(label));
}

void shutdown() {
  assert(!tCurrentQueue || tCurrentQueue == &main());
  sharedPool().stop();
  sharedPool().join();
}

}  // namespace Dispatch

struct RepeatingTimer::State : std::enable_shared_from_this<State> {
  std::shared_ptr<DispatchQueue> keepAlive;
  DispatchQueue& queue;
  std::chrono::steady_clock::duration interval;
  DispatchQueue::Work work;
  std::atomic<bool> cancelled{false};

  State(DispatchQueue& q, std::chrono::steady_clock::duration i, DispatchQueue::Work w)
      : queue(q), interval(i), work(std::move(w)) {}

  void fireThenReschedule() {
    if (cancelled) return;
    work();
    schedule();
  }
  void schedule() {
    if (cancelled) return;
    queue.asyncAfter(interval, [self = shared_from_this()] { self->fireThenReschedule(); });
  }
};

RepeatingTimer::RepeatingTimer(DispatchQueue& queue, std::chrono::steady_clock::duration interval,
                               bool fireImmediately, DispatchQueue::Work work)
    : state_(std::make_shared<State>(queue, interval, std::move(work))) {
  if (fireImmediately) {
    queue.async([state = state_] { state->fireThenReschedule(); });
  } else {
    state_->schedule();
  }
}

RepeatingTimer::RepeatingTimer(std::shared_ptr<DispatchQueue> queue,
                               std::chrono::steady_clock::duration interval, bool fireImmediately,
                               DispatchQueue::Work work)
    : RepeatingTimer(*queue, interval, fireImmediately, std::move(work)) {
  state_->keepAlive = std::move(queue);
}

RepeatingTimer::~RepeatingTimer() { cancel(); }

void RepeatingTimer::cancel() { state_->cancelled = true; }

}  // namespace skylark
