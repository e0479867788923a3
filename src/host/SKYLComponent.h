#pragma once

#include <optional>
#include <string>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// An entry of the host SDK's component registry: a plug-in announcing
// itself and its version.
class SKYLComponent {
 public:
  virtual ~SKYLComponent() = default;
  virtual std::string componentClass() const = 0;
  virtual std::optional<std::string> versionIdentifier() const = 0;
  virtual void postFeatureAnalytics() const = 0;
  virtual std::string skyl_componentIdentity() const { return componentClass(); }
  virtual void skyl_setComponentContext(const std::string&) {}
};

}  // namespace skylark
