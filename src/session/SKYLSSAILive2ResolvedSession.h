#pragma once

#include <chrono>

#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The addresses of a live session of the newer service, kept for a short
// while so a session of the same source can resume instead of opening a
// new one. Immutable.
struct SKYLSSAILive2ResolvedSession {
  using Clock = std::chrono::system_clock;

  SKYLSSAILive2ResolvedSession(URL manifest, URL tracking, Clock::time_point at)
      : manifestURL(std::move(manifest)), trackingURL(std::move(tracking)), resolvedAt(at) {}

  const URL manifestURL;
  const URL trackingURL;
  const Clock::time_point resolvedAt;
};

}  // namespace skylark
