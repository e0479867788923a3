#include "tracking/BeaconDeliveryLedger.h"

namespace skylark {

BeaconDeliveryLedger::Counts* BeaconDeliveryLedger::recordHanded(const Key& key) {
  MutexLock lock(mutex_);
  Counts& counts = counts_[key];
  ++counts.handed;
  return &counts;
}

void BeaconDeliveryLedger::recordOutcome(Counts* counts, Outcome outcome) {
  MutexLock lock(mutex_);
  switch (outcome) {
    case Outcome::answered2xx:
      ++counts->answered2xx;
      break;
    case Outcome::answeredOther:
      ++counts->answeredOther;
      break;
    case Outcome::transportFailed:
      ++counts->transportFailed;
      break;
  }
}

std::map<BeaconDeliveryLedger::Key, BeaconDeliveryLedger::Counts> BeaconDeliveryLedger::counts()
    const {
  MutexLock lock(mutex_);
  return {counts_.begin(), counts_.end()};
}

BeaconDeliveryLedger::Counts BeaconDeliveryLedger::total() const {
  MutexLock lock(mutex_);
  Counts total;
  for (const auto& [key, counts] : counts_) {
    total.handed += counts.handed;
    total.answered2xx += counts.answered2xx;
    total.answeredOther += counts.answeredOther;
    total.transportFailed += counts.transportFailed;
  }
  return total;
}

}  // namespace skylark
