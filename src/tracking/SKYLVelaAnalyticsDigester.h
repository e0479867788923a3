#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "beacons/BeaconSink.h"
#include "beacons/URLSessionBeaconTransport.h"
#include "environment/SessionEnvironment.h"
#include "platform/NotificationCenter.h"
#include "platform/ThreadAnnotations.h"
#include "platform/URL.h"
#include "platform/Visibility.h"
#include "tracking/BeaconDeliveryLedger.h"
#include "tracking/BeaconMacroExpander.h"
#include "tracking/OneShotBeaconFilter.h"

namespace SKYLARK_API skylark {

// Announced before each beacon request; the object is the beacon URL.
inline constexpr std::string_view kSKYLSSAIAnalayticsDigestNotification =
    "kSKYLSSAIAnalayticsDigestNotification";

// The single place where a beacon is logged, announced and requested.
// Only http and https beacons leave; any other scheme is logged once (per
// scheme) and dropped. With a macro expander, the URL logged, announced
// and requested is the expanded one; without, it is the document's, byte
// for byte. With a one-shot filter, a one-shot beacon goes out once per
// session. Safe from any thread.
class SKYLVelaAnalyticsDigester final : public BeaconSink {
 public:
  explicit SKYLVelaAnalyticsDigester(
      std::shared_ptr<BeaconTransport> transport = std::make_shared<URLSessionBeaconTransport>(),
      NotificationCenter& center = NotificationCenter::defaultCenter())
      : transport_(std::move(transport)), center_(center) {}
  // A session's digester: announces on the environment's notification
  // centre and sends through `transport` (one of the environment's).
  SKYLVelaAnalyticsDigester(const SessionEnvironment& environment,
                            std::shared_ptr<BeaconTransport> transport)
      : SKYLVelaAnalyticsDigester(std::move(transport), environment.notificationCenter) {}

  // What a beacon is, for the delivery ledger: its ad and type.
  using Context = BeaconContext;

  void digestEvent(const std::optional<URL>& url) { digestEvent(url, Context{}); }
  void digestEvent(const std::optional<URL>& url, const Context& context) override;

  // Counts each beacon handed over and its outcome; none by default.
  void setDeliveryLedger(std::shared_ptr<BeaconDeliveryLedger> ledger);
  // Both none by default; set before the first beacon.
  void setMacroExpander(std::shared_ptr<BeaconMacroExpander> expander) {
    macroExpander_ = std::move(expander);
  }
  void setOneShotFilter(std::shared_ptr<OneShotBeaconFilter> filter) {
    oneShotFilter_ = std::move(filter);
  }

 private:
  std::shared_ptr<BeaconTransport> transport_;
  std::shared_ptr<BeaconMacroExpander> macroExpander_;
  std::shared_ptr<OneShotBeaconFilter> oneShotFilter_;
  std::shared_ptr<BeaconDeliveryLedger> ledger_ SKYL_GUARDED_BY(mutex_);
  NotificationCenter& center_;
  Mutex mutex_;
  std::set<std::string> droppedSchemes_ SKYL_GUARDED_BY(mutex_);
};

}  // namespace skylark
