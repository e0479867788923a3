#pragma once

#include <cstdint>
#include <string>

#include "platform/NotificationCenter.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The host player SDK's feature-analytics notification: components post it
// with one user-info entry naming themselves and their version.
extern const std::string kSKYLNotificationAnalyticsPostFeatureAnalytics;

// Errors of the host's playback sessions.
extern const std::string kSKYLPlaybackSessionErrorDomain;
inline constexpr int64_t kSKYLPlaybackSessionErrorCodeLoadFailed = 1;

// The host's notification queue: posts on the default center from the main
// queue, whatever thread asks.
void SKYLHostPostNotificationOnMainQueue(Notification notification);

}  // namespace skylark
