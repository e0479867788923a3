#include "live2/JSONFields.h"

#include <cmath>

#include "live2/SKYLSSAILive2Time.h"

namespace skylark::live2_json {
namespace {

constexpr int kMaximumDepth = 64;

// Bracket depth outside strings, stopping early past the limit.
bool nestsTooDeep(std::string_view text) {
  int depth = 0;
  bool inString = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kMaximumDepth) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

const Json* present(const Json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || found->is_null()) return nullptr;
  return &*found;
}

}  // namespace

std::optional<Json> parse(std::string_view text) {
  if (nestsTooDeep(text)) return std::nullopt;
  Json value = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) return std::nullopt;
  return value;
}

const Json& object(const Json& value) {
  if (!value.is_object()) throw WrongType{};
  return value;
}

const Json* array(const Json& object, const char* key) {
  const Json* value = present(object, key);
  if (value && !value->is_array()) throw WrongType{};
  return value;
}

std::optional<std::string> optionalString(const Json& object, const char* key) {
  const Json* value = present(object, key);
  if (!value) return std::nullopt;
  if (!value->is_string()) throw WrongType{};
  return value->get<std::string>();
}

std::optional<double> optionalNumber(const Json& object, const char* key) {
  const Json* value = present(object, key);
  if (!value) return std::nullopt;
  if (!value->is_number()) throw WrongType{};
  return value->get<double>();
}

std::optional<int64_t> optionalInteger(const Json& object, const char* key) {
  const Json* value = present(object, key);
  if (!value) return std::nullopt;
  if (value->is_number_unsigned()) {
    const auto u = value->get<uint64_t>();
    if (u > static_cast<uint64_t>(INT64_MAX)) throw WrongType{};
    return static_cast<int64_t>(u);
  }
  if (value->is_number_float()) {
    // As the platform's decoder reads an integer: 300.0 is 300; a fraction
    // or a value beyond 64 bits is the wrong type.
    const double number = value->get<double>();
    if (!std::isfinite(number) || std::trunc(number) != number || number < -0x1p63 ||
        number >= 0x1p63) {
      throw WrongType{};
    }
    return static_cast<int64_t>(number);
  }
  if (!value->is_number_integer()) throw WrongType{};
  return value->get<int64_t>();
}

std::optional<bool> optionalBool(const Json& object, const char* key) {
  const Json* value = present(object, key);
  if (!value) return std::nullopt;
  if (!value->is_boolean()) throw WrongType{};
  return value->get<bool>();
}

namespace {

// Times are seconds, epoch seconds among them (1.7e9 today). Beyond a
// trillion (31,700 years) their milliseconds, and sums of a few, would no
// longer fit the 64 bits of date arithmetic downstream.
constexpr double kLargestNumber = 1e12;

std::optional<double> withinRange(std::optional<double> value) {
  if (!value || !std::isfinite(*value) || std::fabs(*value) > kLargestNumber) return std::nullopt;
  return value;
}

}  // namespace

std::optional<double> lenientNumber(const Json& object, const char* key) {
  const Json* value = present(object, key);
  if (!value || !value->is_number()) return std::nullopt;
  return withinRange(value->get<double>());
}

std::optional<std::string> lenientString(const Json& object, const char* key) {
  const Json* value = present(object, key);
  if (!value || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

double duration(const Json& object, const char* secondsKey, const char* stringKey) {
  const auto seconds = lenientNumber(object, secondsKey);
  if (seconds && *seconds != 0) return *seconds;
  if (const auto text = lenientString(object, stringKey)) {
    if (const auto parsed = withinRange(SKYLSSAILive2ParseTimeDuration(*text))) return *parsed;
  }
  return seconds.value_or(0);
}

}  // namespace skylark::live2_json
