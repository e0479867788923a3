#pragma once

#include <string>

namespace skylark {

// The host player SDK's feature-analytics notification: components post it
// with one user-info entry naming themselves and their version.
extern const std::string kSKYLNotificationAnalyticsPostFeatureAnalytics;

}  // namespace skylark
