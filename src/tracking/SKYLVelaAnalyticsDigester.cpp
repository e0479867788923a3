#include "tracking/SKYLVelaAnalyticsDigester.h"

#include "host/SKYLHostLog.h"

namespace skylark {

std::shared_ptr<URLSession> URLSessionBeaconTransport::sharedSession() {
  static const std::shared_ptr<URLSession> session = URLSession::create();
  return session;
}

void URLSessionBeaconTransport::send(const URL& url) {
  session_->dataTask(URLRequest(url), [](Result<URLSessionResponse>) {})->resume();
}

void SKYLVelaAnalyticsDigester::digestEvent(const std::optional<URL>& url) {
  if (!url) return;
  if (!url->isHTTPOrHTTPS()) {
    bool first = false;
    {
      std::lock_guard lock(mutex_);
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
  transport_->send(*url);
}

}  // namespace skylark
