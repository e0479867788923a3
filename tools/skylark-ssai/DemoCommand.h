#pragma once

#include <atomic>
#include <optional>
#include <ostream>
#include <string>

namespace skylark::tool {

struct DemoOptions {
  bool quick = false;        // the VOD only, no live part
  bool json = false;         // the report as one JSON object
  bool keepServing = false;  // leave the ad service up afterwards
  std::optional<std::string> svg;
};

// Starts the demo ad service, plays a scripted viewing through the whole
// stack (a VOD: pre-roll, a pause during an ad, a skip, a forward seek over
// both mid-rolls, the post-roll; then about 20 s of a live stream), and
// reports, for each ad, each expected beacon and how often the service
// received it. Exit code 0 only when every expected beacon arrived exactly
// once and nothing unexpected did.
int runDemo(const DemoOptions& options, const std::atomic<bool>& interrupted, std::ostream& out,
            std::ostream& err);

}  // namespace skylark::tool
