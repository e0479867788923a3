#pragma once

#include <optional>
#include <string_view>

#include "platform/DateParser.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The time part of an ISO 8601 duration: "PT1H30M15.5S" is 5415.5 s.
// Nothing for any other form ("PT", "PT30", "P1D", "10").
std::optional<double> SKYLSSAILive2ParseTimeDuration(std::string_view text);

// An ISO 8601 internet date-time, with fractional seconds or without
// ("2024-05-01T10:00:00.250Z", "2024-05-01T10:00:00Z"); nothing otherwise.
std::optional<SystemTime> SKYLSSAILive2ParseProgramDateTime(std::string_view text);

}  // namespace skylark
