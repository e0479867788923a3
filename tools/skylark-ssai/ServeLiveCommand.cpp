#include "ServeLiveCommand.h"

#include <iostream>

#include "CommandLine.h"

namespace skylark::tool {

int runServeLive(const ServeLiveOptions& options, const std::atomic<bool>& interrupted,
                 std::ostream& out, std::ostream& err) {
  std::string why;
  const auto origin = LiveOrigin::start(options.origin, &why);
  if (!origin) {
    err << "error: the live origin cannot start: " << why << "\n";
    return 1;
  }
  Mutex printing;
  origin->setBeaconObserver([&](const std::string& path) {
    MutexLock lock(printing);
    out << "beacon " << path << std::endl;
  });
  {
    MutexLock lock(printing);
    out << "live origin at " << origin->base() << ", the live edge at "
        << options.origin.startPosition << " s of the looped stream\n"
        << "  " << origin->base() << "/live.m3u8      sliding window\n"
        << "  " << origin->base() << "/live-id3.m3u8  sliding window, ad metadata as ID3\n"
        << "  " << origin->base() << "/b/             beacon sink\n"
        << std::flush;
  }
  const auto deadline =
      std::chrono::steady_clock::now() +
      std::chrono::milliseconds(static_cast<int64_t>(options.seconds.value_or(0) * 1000));
  while (!interrupted && (!options.seconds || std::chrono::steady_clock::now() < deadline)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  origin->setBeaconObserver(nullptr);
  return 0;
}

Command addServeLiveCommand(CLI::App& app) {
  auto options = std::make_shared<ServeLiveOptions>();
  auto* command = app.add_subcommand(
      "serve-live", "Serve a test stream directory as a live origin on loopback (sliding windows)");
  command
      ->add_option("DIR", options->origin.directory,
                   "A directory written by scripts/make-test-stream")
      ->required()
      ->check(CLI::ExistingDirectory);
  command->add_option("--port", options->origin.port, "The port (any free one by default)")
      ->check(CLI::Range(0, 65535));
  command
      ->add_option("--start", options->origin.startPosition,
                   "Where the live edge is in the stream when the origin starts (20 s)")
      ->check(finiteNumber(true, false));
  command->add_option("--window", options->origin.windowSegments, "Segments in each playlist (5)")
      ->check(CLI::Range(1, 1000));
  command->add_option("--for", options->seconds, "Stop after this many seconds")
      ->check(finiteNumber(true, false));
  return {command,
          [options] { return runServeLive(*options, catchInterrupts(), std::cout, std::cerr); }};
}

}  // namespace skylark::tool
