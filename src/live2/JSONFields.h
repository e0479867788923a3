#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace skylark::live2_json {

// Reading the service's lenient JSON: absent and null keys are absent; a
// present key of the wrong type throws WrongType (the decoders turn it into
// PARSE_ERROR); the Lenient readers treat a wrong type as absent instead.

struct WrongType {};

using Json = nlohmann::json;

// Parses; nothing for text that is not JSON or nests deeper than the
// decoders ever need (a hostile document must not exhaust the stack).
std::optional<Json> parse(std::string_view text);

// The object itself, or WrongType.
const Json& object(const Json& value);
// An array under the key (null when absent), or WrongType.
const Json* array(const Json& object, const char* key);

std::optional<std::string> optionalString(const Json& object, const char* key);
inline std::string string(const Json& object, const char* key) {
  return optionalString(object, key).value_or("");
}
std::optional<double> optionalNumber(const Json& object, const char* key);
std::optional<int64_t> optionalInteger(const Json& object, const char* key);
std::optional<bool> optionalBool(const Json& object, const char* key);

std::optional<double> lenientNumber(const Json& object, const char* key);
std::optional<std::string> lenientString(const Json& object, const char* key);

// Seconds from a number key, else an ISO 8601 time duration under a string
// key, else the number key even when zero, else 0.
double duration(const Json& object, const char* secondsKey, const char* stringKey);

}  // namespace skylark::live2_json
