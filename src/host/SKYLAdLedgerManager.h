#pragma once

#include <any>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/ThreadAnnotations.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

class SKYLView;

// The host's ad analytics manager, shared by the process. It keeps the
// last kKeptCalls events it is given (code and parameters) for inspection,
// so that hours of ads in many sessions do not grow the process; what a
// real analytics back-end would do with them is not the player's business.
// The window is short: when a thousand sessions cross a break together,
// the call it lets go of was kept moments ago and is still in cache, where
// one kept from hundreds of sessions back is not.
// Visibility of views comes from a table the application (or a test) sets.
// Safe from any thread.
class SKYLAdLedgerManager {
 public:
  using Parameters = std::map<std::string, std::any, std::less<>>;
  struct Call {
    int64_t code;
    Parameters parameters;
  };

  static constexpr size_t kKeptCalls = 64;

  static SKYLAdLedgerManager& shared();

  void processEvent(int64_t code, Parameters withParameters);
  // Called with each call as it is recorded (tools print them in order).
  void setObserver(std::function<void(const Call&)> observer);
  // The kept calls, oldest first.
  std::vector<Call> calls() const;
  void clear();

  // 0.0 to 1.0; an unknown view is fully visible.
  double visiblePercentageForView(const SKYLView* view) const;
  void setVisiblePercentage(const SKYLView* view, double percentage);

 private:
  mutable Mutex mutex_;
  std::deque<Call> calls_ SKYL_GUARDED_BY(mutex_);
  std::function<void(const Call&)> observer_ SKYL_GUARDED_BY(mutex_);
  std::map<const SKYLView*, double> visibility_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
