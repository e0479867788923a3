#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/NotificationCenter.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The open-measurement entry in the host SDK's component registry. It
// announces which open-measurement library the application links. No such
// library is linked on Linux, so the application answers the question
// itself (setVersionLookup); without an answer the version is absent.
class SKYLOMSDKComponent {
 public:
  // Answers with the bundle version of the application's open-measurement
  // partner build ("OMIDSkylarkSDK"), or nothing when none is linked.
  using VersionLookup = std::function<std::optional<std::string>()>;

  // Process-wide; an empty lookup restores "none linked".
  static void setVersionLookup(VersionLookup lookup);

  static const char* componentClass() { return "SKYLOMSDKComponent"; }
  std::optional<std::string> versionIdentifier() const;

  // Posts the host's feature-analytics notification with {"omsdk": version}.
  // With no version it posts nothing: the entry cannot hold a missing value.
  void postFeatureAnalytics(NotificationCenter& center = NotificationCenter::defaultCenter()) const;

  // The host component protocol's hooks; nothing to do here.
  void skyl_componentIdentity() const {}
  void skyl_setComponentContext(const void*) {}
};

}  // namespace skylark
