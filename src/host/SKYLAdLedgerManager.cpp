#include "host/SKYLAdLedgerManager.h"

#include <optional>

namespace skylark {

SKYLAdLedgerManager& SKYLAdLedgerManager::shared() {
  static auto* manager = new SKYLAdLedgerManager;  // lives as long as the process
  return *manager;
}

void SKYLAdLedgerManager::processEvent(int64_t code, Parameters withParameters) {
  std::function<void(const Call&)> observer;
  std::optional<Call> told;
  {
    MutexLock lock(mutex_);
    observer = observer_;
    if (calls_.size() == kKeptCalls) calls_.pop_front();
    calls_.push_back({code, std::move(withParameters)});
    // The observer runs unlocked, on a copy: the kept call may go meanwhile.
    if (observer) told = calls_.back();
  }
  if (observer) observer(*told);
}

void SKYLAdLedgerManager::setObserver(std::function<void(const Call&)> observer) {
  MutexLock lock(mutex_);
  observer_ = std::move(observer);
}

std::vector<SKYLAdLedgerManager::Call> SKYLAdLedgerManager::calls() const {
  MutexLock lock(mutex_);
  return {calls_.begin(), calls_.end()};
}

void SKYLAdLedgerManager::clear() {
  MutexLock lock(mutex_);
  calls_.clear();
  visibility_.clear();
}

double SKYLAdLedgerManager::visiblePercentageForView(const SKYLView* view) const {
  MutexLock lock(mutex_);
  const auto found = visibility_.find(view);
  return found == visibility_.end() ? 1.0 : found->second;
}

void SKYLAdLedgerManager::setVisiblePercentage(const SKYLView* view, double percentage) {
  MutexLock lock(mutex_);
  visibility_[view] = percentage;
}

}  // namespace skylark
