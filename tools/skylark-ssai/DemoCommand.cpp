#include "DemoCommand.h"

#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include <fmt/format.h>

#include "CommandLine.h"
#include "DemoService.h"
#include "PlayCommand.h"
#include "TimelineJSON.h"

namespace skylark::tool {
namespace {

// What the scripted viewing must make the ad server hear, once each.
// pre-1 is skipped at 5.5 s (after its first quartile); mid-a is jumped
// over by the seek, which plays mid-b; the post-roll plays to the end.
const std::vector<std::pair<std::string, std::vector<std::string>>>& expectedVOD() {
  static const std::vector<std::pair<std::string, std::vector<std::string>>> table = {
      {"pre-1",
       {"impression", "viewable", "verification", "creativeView", "companion-view", "breakStart",
        "start", "firstQuartile", "skip"}},
      {"pre-2",
       {"impression", "viewable", "verification", "creativeView", "start", "firstQuartile",
        "midpoint", "thirdQuartile", "complete", "breakEnd"}},
      {"mid-a", {}},
      {"mid-b",
       {"impression", "viewable", "verification", "creativeView", "companion-view", "breakStart",
        "start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "breakEnd"}},
      {"post-1",
       {"impression", "viewable", "verification", "creativeView", "breakStart", "start",
        "firstQuartile", "midpoint", "thirdQuartile", "complete", "breakEnd"}},
  };
  return table;
}

const std::vector<std::pair<std::string, std::vector<std::string>>>& expectedLive() {
  static const std::vector<std::pair<std::string, std::vector<std::string>>> table = {
      {"live-1",
       {"impression", "start", "creativeView", "firstQuartile", "midpoint", "thirdQuartile",
        "complete"}},
  };
  return table;
}

constexpr double kPlayheadDelay = 10;
constexpr double kLiveSeconds = 20;
const char* const kDemoToken = "eyJhbGciOiJub25lIn0.eyJzdWIiOiJkZW1vIn0.ZGVtbw";

}  // namespace

int runDemo(const DemoOptions& options, const std::atomic<bool>& interrupted, std::ostream& out,
            std::ostream& err) {
  const bool gst = options.player == PlayerKind::gst;
  if (gst &&
      !std::filesystem::exists(std::filesystem::path(options.streamDirectory) / "vod.m3u8")) {
    err << "error: demo --player gst needs the demo's stream: --stream DIR, a folder made by "
           "scripts/make-test-stream DIR --layout demo (scripts/demo --player gst makes and passes "
           "it)\n";
    return 1;
  }
  const bool quick = options.quick;
  int monitorFailed = 0;
  const auto monitor = startMonitor(options.monitor, err, &monitorFailed);
  if (monitorFailed) return monitorFailed;
  DemoService service(kPlayheadDelay, gst ? options.streamDirectory : "");
  std::ostringstream discarded;
  std::ostream& progress = options.json ? discarded : out;
  progress << "Ad service on " << service.base() << "\n\n"
           << "VOD: pre-roll pod, a pause during the first ad, its skip button, a seek over both "
              "mid-rolls (the second plays first), the post-roll\n";

  PlayOptions vod;
  vod.source = service.vmapURL();
  vod.fire = true;
  vod.brief = true;
  vod.pauses = {{3, 2}};
  vod.skips = {5.5};
  vod.seeks = {{40, 200}};
  vod.companions = {{300, 250}};
  vod.svg = options.svg;
  vod.player = options.player;
  vod.fast = options.fast;
  vod.window = options.window;
  vod.monitor = monitor.get();
  vod.interrupted = &interrupted;
  vod.macros = options.session.macros;
  vod.snapback = options.session.snapback;
  vod.startAt = options.session.startAt;
  vod.bookmarkPlaysLastBreak = options.session.bookmarkPlaysLastBreak;
  vod.playedBreaks = options.session.playedBreaks;
  if (runPlay(vod, progress, err) != 0) return 1;

  if (!quick && !interrupted) {
    progress << "\nLive: " << kLiveSeconds << " s of a Meridian Live stream, "
             << (gst ? "its manifest a window sliding with the clock, the playhead where "
                       "GStreamer joins it"
                     : fmt::format("the playhead {} s behind the clock", kPlayheadDelay))
             << "\n";
    service.setBeaconObserver([&progress](const std::string& path) {
      if (path.rfind("/b/live", 0) == 0)
        progress << "  ad service received " << path << "\n" << std::flush;
    });
    PlayOptions live;
    live.source = service.liveURL();
    live.token = kDemoToken;
    live.fire = true;
    live.brief = true;
    live.until = kLiveSeconds;
    live.playheadDelay = kPlayheadDelay;
    live.monitor = monitor.get();
    // A live stream comes as fast as the clock makes it, not faster.
    live.player = options.player;
    live.window = options.window;
    live.interrupted = &interrupted;
    if (runPlay(live, progress, err) != 0) return 1;
  }
  // Beacons still on their way get a moment; after Ctrl-C only a short one.
  if (interrupted) {
    service.waitUntilQuiet(std::chrono::milliseconds(100), std::chrono::milliseconds(300));
  } else {
    service.waitUntilQuiet(std::chrono::milliseconds(1500), std::chrono::seconds(10));
  }
  service.setBeaconObserver(nullptr);

  // The report.
  std::map<std::string, int> counts;
  for (const auto& path : service.received()) ++counts[path];
  auto tables = expectedVOD();
  // Without the snapback the seek plays neither mid-roll.
  if (!options.session.snapback) {
    for (auto& [ad, events] : tables) {
      if (ad == "mid-b") events.clear();
    }
  }
  if (!quick) tables.insert(tables.end(), expectedLive().begin(), expectedLive().end());
  bool allOk = true;
  Json adsJSON = Json::array();
  std::string text = "\nReport: each expected beacon and how often the ad service received it\n";
  std::set<std::string> expectedPaths;
  for (const auto& [ad, events] : tables) {
    Json beacons = Json::array();
    text += fmt::format("  {}\n", ad);
    if (events.empty()) text += "    (none expected: the seek jumped over this break)\n";
    for (const auto& event : events) {
      const std::string path = "/b/" + ad + "/" + event;
      expectedPaths.insert(path);
      const int received = counts.count(path) ? counts.at(path) : 0;
      const std::string verdict = received == 1 ? "ok" : (received == 0 ? "MISSING" : "DUPLICATE");
      allOk = allOk && received == 1;
      beacons.push_back(Json{{"event", event}, {"received", received}, {"verdict", verdict}});
      text += fmt::format("    {:<16} received {}  {}\n", event, received, verdict);
    }
    adsJSON.push_back(Json{{"ad", ad}, {"beacons", beacons}});
  }
  Json unexpected = Json::array();
  for (const auto& [path, count] : counts) {
    if (expectedPaths.count(path)) continue;
    unexpected.push_back(Json{{"path", path}, {"received", count}});
    text += fmt::format("  UNEXPECTED {} received {}\n", path, count);
    allOk = false;
  }
  text += allOk ? "Verdict: every expected beacon arrived exactly once, nothing else did.\n"
                : "Verdict: FAILED (see above).\n";
  if (options.svg) text += "Timeline picture: " + *options.svg + "\n";
  if (options.json) {
    out << jsonText(Json{{"ads", adsJSON}, {"unexpected", unexpected}, {"ok", allOk}}, 2) << "\n";
  } else {
    out << text;
  }

  if (options.keepServing) {
    err << "\nThe ad service stays up until Ctrl-C:\n"
        << "  VMAP document   " << service.vmapURL() << "\n"
        << "  live session    " << service.liveURL() << "  (token " << kDemoToken << ")\n"
        << "  beacon sink     " << service.base() << "/b/AD/EVENT\n"
        << "  any size        " << service.base() << "/generated.xml?breaks=60&ads=4&seed=1\n"
        << "Try: skylark-ssai inspect " << service.vmapURL() << "\n";
  }
  if (monitor) {
    serveUntilInterrupted(*monitor, interrupted, err);
  } else if (options.keepServing) {
    while (!interrupted) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return allOk ? 0 : 1;
}

Command addDemoCommand(CLI::App& app) {
  auto options = std::make_shared<DemoOptions>();
  auto* command = app.add_subcommand(
      "demo",
      "Serve a demo ad service, play a scripted viewing through the plug-in, report every beacon");
  command->add_flag("--quick", options->quick, "The VOD only (no live part)");
  command->add_flag("--json", options->json, "Print the report as JSON");
  command->add_flag("--keep-serving", options->keepServing,
                    "Leave the ad service up afterwards (Ctrl-C ends it)");
  command->add_option("--svg", options->svg,
                      "Write an SVG picture of the timeline and the viewing to FILE");
  addPlayerOptions(*command, options->player, options->fast, options->window);
  addMonitorOptions(*command, options->monitor);
  addSessionOptionFlags(*command, options->session);
  command->add_option("--stream", options->streamDirectory,
                      "gst: the demo's stream, made by scripts/make-test-stream DIR --layout demo");
  return {command,
          [options] { return runDemo(*options, catchInterrupts(), std::cout, std::cerr); }};
}

}  // namespace skylark::tool
