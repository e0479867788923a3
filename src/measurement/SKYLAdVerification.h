#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/URL.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaTrackingEventsCollection.h"

namespace SKYLARK_API skylark {

// One VAST ad verification: a measurement vendor's script and its
// parameters, requested when the ad first plays. Immutable.
class SKYLAdVerification {
 public:
  // A null vendor, API framework or parameter string becomes "".
  SKYLAdVerification(const std::optional<std::string>& vendor,
                     const std::optional<std::string>& apiFramework, bool browserOptional,
                     std::optional<URL> resource,
                     const std::optional<std::string>& verificationParameters,
                     std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEvents);
  SKYLAdVerification() = delete;

  const std::string& vendor() const { return vendor_; }
  const std::string& apiFramework() const { return apiFramework_; }
  bool browserOptional() const { return browserOptional_; }
  const std::optional<URL>& resource() const { return resource_; }
  const std::string& verificationParameters() const { return verificationParameters_; }
  const std::shared_ptr<const SKYLVelaTrackingEventsCollection>& trackingEventsCollection() const {
    return trackingEventsCollection_;
  }

  // What to request: "resource?parameters" when there are parameters,
  // else the resource itself; nothing without a resource.
  std::optional<std::string> requestURLString() const;

  bool operator==(const SKYLAdVerification& other) const;
  std::string description() const;

 private:
  std::string vendor_;
  std::string apiFramework_;
  bool browserOptional_;
  std::optional<URL> resource_;
  std::string verificationParameters_;
  std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEventsCollection_;
};

}  // namespace skylark
