#pragma once

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace skylark::test {

// Delayed work that runs only when the test says so, in the order it was
// scheduled: retries and polls without sleeping. Safe from any thread.
class ManualScheduler {
 public:
  // A schedule function for the code under test.
  std::function<void(double, std::function<void()>)> schedule() {
    return [this](double delay, std::function<void()> work) {
      std::lock_guard lock(mutex_);
      delays_.push_back(delay);
      pending_.push_back(std::move(work));
    };
  }
  // Runs what is pending now (work it schedules waits for the next call);
  // returns how many ran.
  size_t runPending() {
    std::vector<std::function<void()>> due;
    {
      std::lock_guard lock(mutex_);
      due.swap(pending_);
    }
    for (auto& work : due) work();
    return due.size();
  }
  std::vector<double> delays() const {
    std::lock_guard lock(mutex_);
    return delays_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::function<void()>> pending_;
  std::vector<double> delays_;
};

}  // namespace skylark::test
