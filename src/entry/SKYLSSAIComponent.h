#pragma once

#include "host/SKYLComponent.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The plug-in's entry in the host SDK's component registry. It holds no
// state; each factory method registers a fresh one.
class SKYLSSAIComponent final : public SKYLComponent {
 public:
  static constexpr const char* kVersion = "7.2.18.42";

  std::string componentClass() const override { return "SKYLSSAIComponent"; }
  std::optional<std::string> versionIdentifier() const override { return kVersion; }
  // Posts the feature-analytics notification: no object, user info
  // {"ssai": version}.
  void postFeatureAnalytics() const override;
};

}  // namespace skylark
