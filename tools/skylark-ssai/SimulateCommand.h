#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "platform/URLSession.h"

namespace CLI {
class App;
}

namespace skylark::tool {

struct Command;

struct SimulateOptions {
  std::string source;  // a file path or an http(s) URL
  HTTPHeaderFields headers;
  double step = 0.25;  // seconds of playback per update, at rate 1
  double rate = 1.0;   // negative plays backwards, from the end
  std::optional<double> until;
  std::vector<std::pair<double, double>> seeks;  // at playhead AT, the player jumps to TO
  std::vector<double> skips;                     // at playhead AT, press the ad's skip button
  bool fire = false;                             // really send the beacons
  bool json = false;
};

// Plays the source through the whole stack, as `play` does on the
// simulated player, printing the ad events of the session's progress
// tracker and every beacon in the order they happen (an event's beacons go
// out before it reaches anyone else). Returns the exit code (1 when the
// document could not be loaded).
int runSimulate(const SimulateOptions& options, std::ostream& out, std::ostream& err);

// Adds the simulate command to the tool's command line.
Command addSimulateCommand(CLI::App& app);

}  // namespace skylark::tool
