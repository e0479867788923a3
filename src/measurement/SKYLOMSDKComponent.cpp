#include "measurement/SKYLOMSDKComponent.h"

#include <memory>
#include <mutex>

#include "host/SKYLHostNotifications.h"

namespace skylark {
namespace {

std::mutex& lookupMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<const SKYLOMSDKComponent::VersionLookup>& currentLookup() {
  static std::shared_ptr<const SKYLOMSDKComponent::VersionLookup> lookup;
  return lookup;
}

}  // namespace

void SKYLOMSDKComponent::setVersionLookup(VersionLookup lookup) {
  auto shared = lookup ? std::make_shared<const VersionLookup>(std::move(lookup)) : nullptr;
  std::lock_guard lock(lookupMutex());
  currentLookup() = std::move(shared);
}

std::optional<std::string> SKYLOMSDKComponent::versionIdentifier() const {
  std::shared_ptr<const VersionLookup> lookup;
  {
    std::lock_guard lock(lookupMutex());
    lookup = currentLookup();
  }
  return lookup ? (*lookup)() : std::nullopt;
}

void SKYLOMSDKComponent::postFeatureAnalytics(NotificationCenter& center) const {
  const auto version = versionIdentifier();
  if (!version) return;
  Notification notification;
  notification.name = kSKYLNotificationAnalyticsPostFeatureAnalytics;
  notification.userInfo["omsdk"] = *version;
  center.post(notification);
}

}  // namespace skylark
