#pragma once

#include <atomic>
#include <optional>
#include <ostream>
#include <string>

#include "MonitorOption.h"
#include "PlayCommand.h"

namespace CLI {
class App;
}

namespace skylark::tool {

struct Command;

struct DemoOptions {
  bool quick = false;        // the VOD only, no live part
  bool json = false;         // the report as one JSON object
  bool keepServing = false;  // leave the ad service up afterwards
  std::optional<std::string> svg;
  PlayerKind player = PlayerKind::simulated;
  bool fast = false;
  bool window = false;
  std::string streamDirectory;  // gst: the demo's stream (scripts/make-test-stream --layout demo)
  MonitorOption monitor;        // show the viewing in a browser page
  // The session options of the VOD viewing (only those fields of it).
  PlayOptions session;
};

// Starts the demo ad service, plays a scripted viewing through the whole
// stack (a VOD: pre-roll, a pause during an ad, a skip, a forward seek over
// both mid-rolls, the post-roll; then about 20 s of a live stream), and
// reports, for each ad, each expected beacon and how often the service
// received it. Exit code 0 only when every expected beacon arrived exactly
// once and nothing unexpected did. On the GStreamer player the real
// streams play: the VOD, and the live service's stream as a sliding window.
int runDemo(const DemoOptions& options, const std::atomic<bool>& interrupted, std::ostream& out,
            std::ostream& err);

// Adds the demo command to the tool's command line.
Command addDemoCommand(CLI::App& app);

}  // namespace skylark::tool
