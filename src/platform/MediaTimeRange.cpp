#include "platform/MediaTimeRange.h"

namespace skylark {

bool MediaTimeRange::isValid() const {
  if (!start.isValid() || !duration.isValid() || start.isIndefinite()) return false;
  if (duration.isPositiveInfinity()) return true;
  return duration.isNumeric() && duration >= MediaTime::zero();
}

bool MediaTimeRange::containsTime(const MediaTime& t) const {
  return isValid() && t.isValid() && start <= t && t < end();
}

std::string MediaTimeRange::description() const {
  return "{" + start.description() + ", " + duration.description() + "}";
}

}  // namespace skylark
