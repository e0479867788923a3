#include "tracking/SKYLVelaAnalyticsDigester.h"

#include "host/SKYLHostLog.h"

namespace skylark {

void SKYLVelaAnalyticsDigester::setDeliveryLedger(std::shared_ptr<BeaconDeliveryLedger> ledger) {
  MutexLock lock(mutex_);
  ledger_ = std::move(ledger);
}

void SKYLVelaAnalyticsDigester::digestEvent(const std::optional<URL>& written,
                                            const Context& context) {
  if (!written) return;
  if (oneShotFilter_ && !oneShotFilter_->firstTime(*written, context)) return;
  const std::optional<URL> url =
      macroExpander_ ? macroExpander_->expand(*written, context) : written;
  if (!url->isHTTPOrHTTPS()) {
    bool first = false;
    {
      MutexLock lock(mutex_);
      first = droppedSchemes_.insert(url->scheme()).second;
    }
    if (first) {
      SKYLHostLog(1, "Beacon %@ dropped: only http and https beacons are sent.", *url);
    }
    return;
  }
  SKYLHostLog(5, "(SSAI Event): %@;", *url);
  Notification notification;
  notification.name = kSKYLSSAIAnalayticsDigestNotification;
  notification.object = *url;
  center_.post(notification);
  std::shared_ptr<BeaconDeliveryLedger> ledger;
  {
    MutexLock lock(mutex_);
    ledger = ledger_;
  }
  if (!ledger) {
    transport_->send(*url);
    return;
  }
  const auto handed = ledger->recordHanded({context.adId, context.type}, *url);
  transport_->send(*url, [ledger, handed, url = *url](const BeaconDelivery& delivery) {
    ledger->recordOutcome(handed, url, delivery);
  });
}

}  // namespace skylark
