#include "entry/SKYLSSAIComponent.h"

#include "host/SKYLHostNotifications.h"

namespace skylark {

void SKYLSSAIComponent::postFeatureAnalytics() const {
  Notification notification;
  notification.name = kSKYLNotificationAnalyticsPostFeatureAnalytics;
  notification.userInfo["ssai"] = std::string(kVersion);
  NotificationCenter::defaultCenter().post(notification);
}

}  // namespace skylark
