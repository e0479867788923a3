#include "host/Player.h"

#include "host/SKYLHostConstants.h"
#include "platform/NotificationCenter.h"

namespace skylark {

void Player::postRateChange() {
  Notification notification;
  notification.name = std::string(kSKYLPlayerRateDidChangeNotification);
  notification.object = this;
  notification.sender = this;
  NotificationCenter::defaultCenter().post(notification);
}

}  // namespace skylark
