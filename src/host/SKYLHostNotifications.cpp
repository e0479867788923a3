#include "host/SKYLHostNotifications.h"

namespace skylark {

const std::string kSKYLNotificationAnalyticsPostFeatureAnalytics =
    "kSKYLNotificationAnalyticsPostFeatureAnalytics";

}  // namespace skylark
