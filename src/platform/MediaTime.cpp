#include "platform/MediaTime.h"

#include <cmath>
#include <limits>
#include <numeric>

#include <fmt/format.h>

namespace skylark {
namespace {

// Products of a value and a timescale need 95 bits.
__extension__ typedef __int128 Wide;

constexpr Wide kInt64Max = std::numeric_limits<int64_t>::max();
constexpr Wide kInt64Min = std::numeric_limits<int64_t>::min();

// Ordering rank of the non-numeric states (see the header).
int rank(const MediaTime& t) {
  if (!t.isValid()) return 4;
  if (t.isPositiveInfinity()) return 3;
  if (t.isIndefinite()) return 2;
  if (t.isNegativeInfinity()) return 0;
  return 1;
}

// Rounds num / den to nearest, halves away from zero. den > 0.
template <typename Int>
Int roundedQuotient(Int num, Int den, bool& inexact) {
  Int q = num / den;
  Int r = num % den;
  inexact = r != 0;
  if (r < 0) r = -r;
  if (r >= den - r) q += (num < 0) ? -1 : 1;
  return q;
}

// The same, in 64 bits when the operands fit: a 128-bit division is a
// library call several times slower, and rescaling a playhead to a
// timeline's timescale happens on every tick of every session.
Wide roundedDivide(Wide num, Wide den, bool& inexact) {
  if (num >= kInt64Min && num <= kInt64Max && den <= kInt64Max) {
    return roundedQuotient<int64_t>(static_cast<int64_t>(num), static_cast<int64_t>(den), inexact);
  }
  return roundedQuotient<Wide>(num, den, inexact);
}

MediaTime infinityWithSign(bool negative) {
  return negative ? MediaTime::negativeInfinity() : MediaTime::positiveInfinity();
}

// A numeric result, or the infinity of its sign when it does not fit.
MediaTime numeric(Wide value, int32_t timescale, uint32_t extraFlags, int64_t epoch) {
  if (value > kInt64Max || value < kInt64Min) return infinityWithSign(value < 0);
  return {static_cast<int64_t>(value), timescale, MediaTime::kValid | extraFlags, epoch};
}

// The least common multiple of two timescales, without gcd's division loop
// in the usual case of one a multiple of the other (a playhead at 600000
// against a timeline at 600).
int64_t commonTimescale(int32_t a, int32_t b) {
  if (a % b == 0) return a;
  if (b % a == 0) return b;
  return std::lcm<int64_t, int64_t>(a, b);
}

// Shared by addition and subtraction: a + sign * b.
MediaTime combine(const MediaTime& a, const MediaTime& b, int sign) {
  if (!a.isValid() || !b.isValid()) return MediaTime::invalid();
  if (a.isIndefinite() || b.isIndefinite()) return MediaTime::indefinite();
  const bool bPositive = sign > 0 ? b.isPositiveInfinity() : b.isNegativeInfinity();
  const bool bNegative = sign > 0 ? b.isNegativeInfinity() : b.isPositiveInfinity();
  if (a.isInfinite() || b.isInfinite()) {
    if (a.isInfinite() && b.isInfinite()) {
      return a.isPositiveInfinity() == bPositive ? a : MediaTime::indefinite();
    }
    if (a.isInfinite()) return a;
    return infinityWithSign(bNegative);
  }
  if (a.epoch != b.epoch) return MediaTime::invalid();

  uint32_t rounded = (a.flags | b.flags) & MediaTime::kHasBeenRounded;
  // Nearly always one timescale: no rescaling, nothing rounded.
  if (a.timescale == b.timescale && a.timescale <= MediaTime::kMaxTimescale) {
    return numeric(Wide{a.value} + sign * Wide{b.value}, a.timescale, rounded, a.epoch);
  }
  const int64_t lcm = commonTimescale(a.timescale, b.timescale);
  int32_t timescale = static_cast<int32_t>(std::min<int64_t>(lcm, MediaTime::kMaxTimescale));
  auto rescale = [&](const MediaTime& t) {
    // A multiple of t's own timescale: exact, and no division.
    if (timescale % t.timescale == 0) return Wide{t.value} * (timescale / t.timescale);
    bool inexact = false;
    Wide v = roundedDivide(Wide{t.value} * timescale, t.timescale, inexact);
    if (inexact) rounded = MediaTime::kHasBeenRounded;
    return v;
  };
  Wide sum = rescale(a) + sign * rescale(b);
  return numeric(sum, timescale, rounded, a.epoch);
}

}  // namespace

MediaTime MediaTime::make(int64_t value, int32_t timescale) {
  if (timescale <= 0) return invalid();
  return {value, timescale, kValid, 0};
}

MediaTime MediaTime::makeWithSeconds(double seconds, int32_t preferredTimescale) {
  if (std::isnan(seconds) || preferredTimescale <= 0) return invalid();
  if (std::isinf(seconds)) return infinityWithSign(seconds < 0);
  int32_t timescale = preferredTimescale;
  long double scaled = static_cast<long double>(seconds) * timescale;
  constexpr long double kLimit = 9.2e18L;
  while (std::fabs(scaled) >= kLimit && timescale > 1) {
    timescale /= 2;
    scaled = static_cast<long double>(seconds) * timescale;
  }
  if (std::fabs(scaled) >= kLimit) return infinityWithSign(seconds < 0);
  const long double rounded = std::round(scaled);
  const uint32_t roundedFlag = rounded != scaled ? kHasBeenRounded : 0;
  return {static_cast<int64_t>(rounded), timescale, kValid | roundedFlag, 0};
}

double MediaTime::seconds() const {
  if (!isValid() || isIndefinite()) return std::numeric_limits<double>::quiet_NaN();
  if (isPositiveInfinity()) return std::numeric_limits<double>::infinity();
  if (isNegativeInfinity()) return -std::numeric_limits<double>::infinity();
  return static_cast<double>(value) / timescale;
}

MediaTime MediaTime::convertScale(int32_t newTimescale) const {
  if (!isNumeric() || newTimescale <= 0 || newTimescale == timescale) return *this;
  bool inexact = false;
  Wide v = roundedDivide(Wide{value} * newTimescale, timescale, inexact);
  return numeric(v, newTimescale, (flags & kHasBeenRounded) | (inexact ? kHasBeenRounded : 0),
                 epoch);
}

std::string MediaTime::description() const {
  if (!isValid()) return "{INVALID}";
  if (isIndefinite()) return "{INDEFINITE}";
  if (isPositiveInfinity()) return "{+INFINITY}";
  if (isNegativeInfinity()) return "{-INFINITY}";
  return fmt::format("{{{}/{} = {:.3f}}}", value, timescale, seconds());
}

int compare(const MediaTime& a, const MediaTime& b) {
  constexpr uint32_t kState = MediaTime::kValid | MediaTime::kPositiveInfinity |
                              MediaTime::kNegativeInfinity | MediaTime::kIndefinite;
  // Two plain numbers of one epoch, the case of nearly every call.
  if ((a.flags & kState) == MediaTime::kValid && (b.flags & kState) == MediaTime::kValid &&
      a.epoch == b.epoch) {
    const Wide lhs = Wide{a.value} * b.timescale;
    const Wide rhs = Wide{b.value} * a.timescale;
    return lhs < rhs ? -1 : (lhs > rhs ? 1 : 0);
  }
  const int ra = rank(a);
  const int rb = rank(b);
  if (ra != rb) return ra < rb ? -1 : 1;
  if (ra != 1) return 0;
  // Plain numbers of two epochs (one epoch was compared above).
  return a.epoch < b.epoch ? -1 : 1;
}

MediaTime operator+(const MediaTime& a, const MediaTime& b) { return combine(a, b, 1); }
MediaTime operator-(const MediaTime& a, const MediaTime& b) { return combine(a, b, -1); }

MediaTime multiplyByFloat64(const MediaTime& t, double multiplier) {
  if (!t.isValid() || std::isnan(multiplier)) return MediaTime::invalid();
  if (t.isIndefinite()) return t;
  if (t.isInfinite()) {
    if (multiplier == 0) return MediaTime::indefinite();
    return infinityWithSign(t.isNegativeInfinity() != (multiplier < 0));
  }
  constexpr int32_t kMinProductTimescale = 65536;
  int32_t timescale = t.timescale;
  long double value = static_cast<long double>(t.value);
  while (timescale < kMinProductTimescale) {
    timescale *= 2;
    value *= 2;
  }
  const long double product = value * multiplier;
  if (std::isinf(product) || std::fabs(product) >= 9.2e18L) {
    return infinityWithSign((t.value < 0) != (multiplier < 0));
  }
  const long double rounded = std::round(product);
  const uint32_t roundedFlag = (rounded != product ? MediaTime::kHasBeenRounded : 0) |
                               (t.flags & MediaTime::kHasBeenRounded);
  return {static_cast<int64_t>(rounded), timescale, MediaTime::kValid | roundedFlag, t.epoch};
}

}  // namespace skylark
