#include "host/SKYLHostNotifications.h"

#include "platform/DispatchQueue.h"

namespace skylark {

const std::string kSKYLNotificationAnalyticsPostFeatureAnalytics =
    "kSKYLNotificationAnalyticsPostFeatureAnalytics";
const std::string kSKYLPlaybackSessionErrorDomain = "kSKYLPlaybackSessionErrorDomain";

void SKYLHostPostNotificationOnMainQueue(Notification notification) {
  Dispatch::main().async([notification = std::move(notification)] {
    NotificationCenter::defaultCenter().post(notification);
  });
}

}  // namespace skylark
