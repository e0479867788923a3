#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaAd.h"
#include "timeline/SKYLVelaAdSequence.h"

namespace SKYLARK_API skylark {

inline constexpr std::string_view kSKYLVelaProgressTrackerEventPropertiesKeyAd =
    "kSKYLVelaProgressTrackerEventPropertiesKeyAd";
inline constexpr std::string_view kSKYLVelaProgressTrackerEventPropertiesKeyAdSequence =
    "kSKYLVelaProgressTrackerEventPropertiesKeyAdSequence";
inline constexpr std::string_view kSKYLVelaProgressTrackerEventPropertiesKeyAdProgress =
    "kSKYLVelaProgressTrackerEventPropertiesKeyAdProgress";
inline constexpr std::string_view kSKYLVelaProgressTrackerEventPropertiesKeySkippedAd =
    "kSKYLVelaProgressTrackerEventPropertiesKeySkippedAd";

// One change of the player's position on the ad timeline.
class SKYLVelaProgressTrackerEvent {
 public:
  enum Type : uint64_t {
    EnterAd = 0,
    ExitAd = 1,
    EnterAdSequence = 2,
    ExitAdSequence = 3,
    AdProgress = 4,
    EnterAdSequenceWhileRewinding = 5,
    ExitAdSequenceWhileRewinding = 6,
  };

  // The typed form of the event's property dictionary: each member stands
  // for the key of the same name, absent when the key is.
  struct Properties {
    std::shared_ptr<const SKYLVelaAd> ad;
    std::shared_ptr<SKYLVelaAdSequence> adSequence;
    std::optional<MediaTime> adProgress;
    std::optional<bool> skippedAd;
  };

  SKYLVelaProgressTrackerEvent(uint64_t type, std::optional<Properties> properties)
      : type_(type), properties_(std::move(properties)) {}

  uint64_t type() const { return type_; }
  const std::optional<Properties>& properties() const { return properties_; }
  // "EnterAd", "ExitAd", ...; any type above 6 reads "ExitAd".
  std::string_view trackerType() const;
  std::string description() const;

 private:
  uint64_t type_;
  std::optional<Properties> properties_;
};

}  // namespace skylark
