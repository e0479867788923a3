#pragma once

#include <cmath>
#include <cstddef>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The model's hash step: h = 31 * h + value, starting from h = 1 (unsigned
// arithmetic, so it wraps by design).
inline size_t hashStep(size_t h, size_t value) { return 31 * h + value; }

// A floating-point quantity (times hash by their seconds) as an unsigned
// hash value: truncated, with NaN and out-of-range values mapped to fixed
// numbers instead of an undefined conversion.
inline size_t hashFromDouble(double value) {
  if (std::isnan(value)) return 0x7ff8;
  if (value >= 1.8e19) return static_cast<size_t>(-1);
  if (value <= -9.2e18) return static_cast<size_t>(1) << 63;
  if (value < 0) return static_cast<size_t>(static_cast<long long>(value));
  return static_cast<size_t>(value);
}

}  // namespace skylark
