#include "tracking/OneShotBeaconFilter.h"

#include <array>

#include <fmt/format.h>

namespace skylark {

bool OneShotBeaconFilter::isOneShot(std::string_view type) {
  static constexpr std::array<std::string_view, 14> kOneShot = {"impression",
                                                                "viewableImpression",
                                                                "verification",
                                                                "creativeView",
                                                                "start",
                                                                "firstQuartile",
                                                                "midpoint",
                                                                "thirdQuartile",
                                                                "complete",
                                                                "breakStart",
                                                                "breakEnd",
                                                                "companionCreativeView",
                                                                "contentImpression",
                                                                "loaded"};
  for (const auto one : kOneShot) {
    if (one == type) return true;
  }
  return false;
}

bool OneShotBeaconFilter::firstTime(const URL& url, const BeaconContext& context) {
  if (!isOneShot(context.type)) return true;
  // The same creative in two breaks is two ads: its place on the stream
  // tells them apart.
  const double begin =
      context.adBeginTime && context.adBeginTime->isNumeric() ? context.adBeginTime->seconds() : -1;
  std::string key =
      fmt::format("{}\n{}\n{}\n{}", context.type, context.adId, begin, url.absoluteString());
  MutexLock lock(mutex_);
  return fired_.insert(std::move(key)).second;
}

}  // namespace skylark
