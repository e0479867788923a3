#pragma once

#include <atomic>
#include <optional>
#include <ostream>

#include "LiveOrigin.h"

namespace CLI {
class App;
}

namespace skylark::tool {

struct Command;

struct ServeLiveOptions {
  LiveOrigin::Options origin;
  std::optional<double> seconds;  // stop after this long; otherwise at Ctrl-C
};

// Serves a directory of scripts/make-test-stream as a live origin on
// loopback (LiveOrigin), prints its addresses, then each beacon its sink
// receives, until interrupted or the time is up. Returns the exit code.
int runServeLive(const ServeLiveOptions& options, const std::atomic<bool>& interrupted,
                 std::ostream& out, std::ostream& err);

// Adds the serve-live command to the tool's command line.
Command addServeLiveCommand(CLI::App& app);

}  // namespace skylark::tool
