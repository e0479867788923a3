#include "tracking/BeaconDeliveryLedger.h"

namespace skylark {

BeaconDeliveryLedger::Handed BeaconDeliveryLedger::recordHanded(const Key& key, const URL& url) {
  Handed handed;
  std::shared_ptr<const Observer> observer;
  {
    MutexLock lock(mutex_);
    auto& [storedKey, counts] = *counts_.try_emplace(key).first;
    ++counts.handed;
    handed = {&storedKey, &counts, ++handedSoFar_, std::chrono::steady_clock::now()};
    observer = observer_;
  }
  if (observer) (*observer)({handed.sequence, *handed.key, url});
  return handed;
}

void BeaconDeliveryLedger::recordOutcome(const Handed& handed, const URL& url,
                                         const BeaconDelivery& delivery) {
  std::shared_ptr<const Observer> observer;
  {
    MutexLock lock(mutex_);
    Counts& counts = *handed.counts;
    switch (delivery.outcome) {
      case Outcome::answered2xx:
        ++counts.answered2xx;
        break;
      case Outcome::answeredOther:
        ++counts.answeredOther;
        break;
      case Outcome::transportFailed:
        ++counts.transportFailed;
        break;
    }
    if (delivery.attempts > 1) ++counts.retried;
    observer = observer_;
  }
  if (observer) {
    (*observer)({handed.sequence, *handed.key, url, &delivery,
                 std::chrono::steady_clock::now() - handed.at});
  }
}

void BeaconDeliveryLedger::setObserver(Observer observer) {
  MutexLock lock(mutex_);
  observer_ = observer ? std::make_shared<const Observer>(std::move(observer)) : nullptr;
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
    total.retried += counts.retried;
  }
  return total;
}

}  // namespace skylark
