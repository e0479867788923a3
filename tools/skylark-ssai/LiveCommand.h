#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace skylark::tool {

struct Command;

struct LiveOptions {
  std::string sourceURL;
  std::optional<std::string> token;
  std::map<std::string, std::string> adsParams;
  double playheadDelay = 10.0;  // the playhead is now minus this many seconds
  double duration = 60.0;       // seconds to follow the stream
  bool fire = false;            // really send the beacons
  bool json = false;
};

// Opens a live session (or says why not), follows the tracking poll and
// moves a playhead along program date-time every 0.5 s, printing avails as
// they appear, ad changes with countdowns and every beacon. Ends after the
// duration or once `interrupted` is set. Returns the exit code.
int runLive(const LiveOptions& options, const std::atomic<bool>& interrupted, std::ostream& out,
            std::ostream& err);

// Adds the live command to the tool's command line.
Command addLiveCommand(CLI::App& app);

}  // namespace skylark::tool
