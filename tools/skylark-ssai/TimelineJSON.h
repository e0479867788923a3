#pragma once

#include <nlohmann/json.hpp>

#include "platform/MediaTime.h"
#include "platform/SKYLError.h"
#include "timeline/SKYLVelaTimeline.h"

namespace skylark::tool {

using Json = nlohmann::ordered_json;

// Seconds as a number; an invalid or indefinite time is null; the
// infinities are "+Infinity" and "-Infinity".
Json timeJSON(const MediaTime& time);

// The whole timeline: envelope, content impressions and segments, and every
// break with its ads, beacons, companions, verifications and extensions.
Json timelineJSON(const SKYLVelaTimeline& timeline);

// The JSON text of a value; bytes that are not UTF-8 become U+FFFD, so no
// document or argument can make the output throw.
std::string jsonText(const Json& value, int indent = -1);

// {"error": {"domain", "code", "description"}}
Json errorJSON(const SKYLError& error);

// What an error says in one line: its description, else its failure reason.
std::string errorText(const SKYLError& error);

}  // namespace skylark::tool
