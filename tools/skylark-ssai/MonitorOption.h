#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "MonitorServer.h"

namespace CLI {
class App;
}

namespace skylark::tool {

// --monitor [HOST:]PORT and --monitor-any, as play and demo take them.
struct MonitorOption {
  std::optional<std::string> address;
  bool anyInterface = false;
};

void addMonitorOptions(CLI::App& command, MonitorOption& option);

// The monitor the options ask for, started, its address printed on err:
// null when none is asked for, or when it cannot start, with the exit code
// in *exitCode (2 for an address the options refuse, 1 when it cannot
// listen).
std::unique_ptr<MonitorServer> startMonitor(const MonitorOption& option, std::ostream& err,
                                            int* exitCode);

// After the run: tells the pages the session is over, and keeps serving
// them until Ctrl-C.
void serveUntilInterrupted(MonitorServer& monitor, const std::atomic<bool>& interrupted,
                           std::ostream& err);

}  // namespace skylark::tool
