#include "measurement/SKYLAdVerification.h"

#include "platform/Description.h"
#include "platform/PointeeEquality.h"

namespace skylark {

SKYLAdVerification::SKYLAdVerification(
    const std::optional<std::string>& vendor, const std::optional<std::string>& apiFramework,
    bool browserOptional, std::optional<URL> resource,
    const std::optional<std::string>& verificationParameters,
    std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingEvents)
    : vendor_(vendor.value_or("")),
      apiFramework_(apiFramework.value_or("")),
      browserOptional_(browserOptional),
      resource_(std::move(resource)),
      verificationParameters_(verificationParameters.value_or("")),
      trackingEventsCollection_(std::move(trackingEvents)) {}

std::optional<std::string> SKYLAdVerification::requestURLString() const {
  if (!resource_) return std::nullopt;
  if (verificationParameters_.empty()) return resource_->absoluteString();
  return resource_->absoluteString() + "?" + verificationParameters_;
}

bool SKYLAdVerification::operator==(const SKYLAdVerification& other) const {
  return vendor_ == other.vendor_ && apiFramework_ == other.apiFramework_ &&
         browserOptional_ == other.browserOptional_ && resource_ == other.resource_ &&
         verificationParameters_ == other.verificationParameters_ &&
         pointeesEqual(trackingEventsCollection_, other.trackingEventsCollection_);
}

std::string SKYLAdVerification::description() const {
  return descriptionHeader("SKYLAdVerification", this) + " vendor = " + vendor_ + ";" +
         " apiFramework = " + apiFramework_ + ";" +
         " browserOptional = " + describe(browserOptional_) + ";" +
         " resource = " + describe(resource_) + ";" +
         " verificationParameters = " + verificationParameters_ + ";>";
}

}  // namespace skylark
