#include "MonitorOption.h"

#include <chrono>
#include <thread>

#include <CLI/CLI.hpp>

namespace skylark::tool {

void addMonitorOptions(CLI::App& command, MonitorOption& option) {
  auto* address = command.add_option(
      "--monitor", option.address,
      "[HOST:]PORT: show the session in a browser page served there (host 127.0.0.1; port 0 "
      "lets the system choose)");
  command
      .add_flag("--monitor-any", option.anyInterface,
                "Let --monitor serve on an address other than loopback")
      ->needs(address);
}

std::unique_ptr<MonitorServer> startMonitor(const MonitorOption& option, std::ostream& err,
                                            int* exitCode) {
  *exitCode = 0;
  if (!option.address) return nullptr;
  std::string why;
  const auto address = parseMonitorAddress(*option.address, option.anyInterface, &why);
  if (!address) {
    err << "error: " << why << "\n";
    *exitCode = 2;
    return nullptr;
  }
  auto monitor = std::make_unique<MonitorServer>();
  if (!monitor->start(*address, &why)) {
    err << "error: " << why << "\n";
    *exitCode = 1;
    return nullptr;
  }
  err << "monitor: " << monitor->url() << "\n" << std::flush;
  return monitor;
}

void serveUntilInterrupted(MonitorServer& monitor, const std::atomic<bool>& interrupted,
                           std::ostream& err) {
  monitor.publish("over", "{}");
  err << "monitor: the session is over; " << monitor.url() << " stays up until Ctrl-C\n"
      << std::flush;
  while (!interrupted) std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

}  // namespace skylark::tool
