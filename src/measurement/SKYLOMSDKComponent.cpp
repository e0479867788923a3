#include "measurement/SKYLOMSDKComponent.h"

#include <memory>

#include "platform/ThreadAnnotations.h"

#include "host/SKYLHostNotifications.h"

namespace skylark {
namespace {

struct LookupSlot {
  Mutex mutex;
  std::shared_ptr<const SKYLOMSDKComponent::VersionLookup> lookup SKYL_GUARDED_BY(mutex);
};

LookupSlot& lookupSlot() {
  static LookupSlot slot;
  return slot;
}

}  // namespace

void SKYLOMSDKComponent::setVersionLookup(VersionLookup lookup) {
  auto shared = lookup ? std::make_shared<const VersionLookup>(std::move(lookup)) : nullptr;
  LookupSlot& slot = lookupSlot();
  MutexLock lock(slot.mutex);
  slot.lookup = std::move(shared);
}

std::optional<std::string> SKYLOMSDKComponent::versionIdentifier() const {
  std::shared_ptr<const VersionLookup> lookup;
  {
    LookupSlot& slot = lookupSlot();
    MutexLock lock(slot.mutex);
    lookup = slot.lookup;
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
