#pragma once

#include <compare>
#include <cstdint>
#include <string>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A rational point in time: value / timescale seconds, with flags for the
// non-numeric states. The semantics follow the platform's media time:
//
//   - invalid (no valid flag) compares equal to invalid and greater than all;
//   - ordering: -infinity < numeric < indefinite < +infinity < invalid;
//   - arithmetic propagates invalid, then indefinite, then infinities;
//   - numeric results that cannot be represented become +/- infinity rather
//     than wrapping (and results rounded to fit carry the rounded flag).
//
// A plain value type: cheap to copy, safe to read from any thread.
struct MediaTime {
  static constexpr uint32_t kValid = 1u << 0;
  static constexpr uint32_t kHasBeenRounded = 1u << 1;
  static constexpr uint32_t kPositiveInfinity = 1u << 2;
  static constexpr uint32_t kNegativeInfinity = 1u << 3;
  static constexpr uint32_t kIndefinite = 1u << 4;
  static constexpr int32_t kMaxTimescale = 1'000'000'000;

  int64_t value = 0;
  int32_t timescale = 0;
  uint32_t flags = 0;
  int64_t epoch = 0;

  // The all-zero time, which is invalid.
  static constexpr MediaTime invalid() { return {}; }
  static constexpr MediaTime zero() { return {0, 1, kValid, 0}; }
  static constexpr MediaTime positiveInfinity() { return {0, 0, kValid | kPositiveInfinity, 0}; }
  static constexpr MediaTime negativeInfinity() { return {0, 0, kValid | kNegativeInfinity, 0}; }
  static constexpr MediaTime indefinite() { return {0, 0, kValid | kIndefinite, 0}; }

  // value / timescale; a timescale of zero or below gives invalid.
  static MediaTime make(int64_t value, int32_t timescale);
  // Rounded to the nearest value at the timescale. NaN gives invalid, the
  // infinities give the infinite times; a magnitude too large for the
  // timescale is kept by halving the timescale until it fits.
  static MediaTime makeWithSeconds(double seconds, int32_t preferredTimescale);

  bool isValid() const { return (flags & kValid) != 0; }
  bool isPositiveInfinity() const { return isValid() && (flags & kPositiveInfinity) != 0; }
  bool isNegativeInfinity() const { return isValid() && (flags & kNegativeInfinity) != 0; }
  bool isIndefinite() const { return isValid() && (flags & kIndefinite) != 0; }
  bool isInfinite() const { return isPositiveInfinity() || isNegativeInfinity(); }
  // Valid and neither infinite nor indefinite.
  bool isNumeric() const {
    return isValid() && (flags & (kPositiveInfinity | kNegativeInfinity | kIndefinite)) == 0;
  }
  bool hasBeenRounded() const { return (flags & kHasBeenRounded) != 0; }

  // NaN for invalid and indefinite times, +/-inf for the infinities.
  double seconds() const;

  // The same time at another timescale, rounded to nearest (half away from
  // zero). Non-numeric times come back unchanged.
  MediaTime convertScale(int32_t newTimescale) const;

  // "{value/timescale = seconds}", or "{INVALID}", "{INDEFINITE}",
  // "{+INFINITY}", "{-INFINITY}".
  std::string description() const;
};

// -1, 0 or 1 under the ordering above.
int compare(const MediaTime& a, const MediaTime& b);

inline bool operator==(const MediaTime& a, const MediaTime& b) { return compare(a, b) == 0; }
inline std::strong_ordering operator<=>(const MediaTime& a, const MediaTime& b) {
  return compare(a, b) <=> 0;
}

// Across timescales the result uses their least common multiple, or the
// maximum timescale (rounded) when that multiple is larger. Times of
// different epochs cannot be combined and give invalid.
MediaTime operator+(const MediaTime& a, const MediaTime& b);
MediaTime operator-(const MediaTime& a, const MediaTime& b);
// The product keeps t's timescale, doubled until it is at least 65536 (the
// value doubled alike), then rounded to nearest: 18018/600 x 0.33 is
// 761080/76800.
MediaTime multiplyByFloat64(const MediaTime& t, double multiplier);

}  // namespace skylark
