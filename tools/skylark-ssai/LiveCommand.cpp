#include "LiveCommand.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <mutex>
#include <set>
#include <thread>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "CommandLine.h"
#include "TimelineJSON.h"
#include "beacons/RetryingBeaconTransport.h"
#include "live2/SKYLSSAILive2Coordinator.h"
#include "live2/SKYLSSAILive2Detector.h"
#include "live2/SKYLSSAILive2SessionClient.h"
#include "live2/SKYLSSAILive2Timeline.h"
#include "platform/DispatchQueue.h"
#include "platform/ThreadAnnotations.h"

namespace skylark::tool {
namespace {

using Clock = std::chrono::system_clock;

std::string isoTime(SystemTime t) {
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(Clock::to_time_t(t)),
                     t.time_since_epoch().count() % 1000);
}

// Prints one line per happening, as text or JSON, from any thread.
class Printer {
 public:
  Printer(std::ostream& out, bool json) : out_(out), json_(json) {}
  void print(const Json& fields, const std::string& text) {
    MutexLock lock(mutex_);
    out_ << (json_ ? jsonText(fields) : text) << "\n" << std::flush;
  }

 private:
  Mutex mutex_;
  std::ostream& out_ SKYL_GUARDED_BY(mutex_);
  bool json_;
};

// Reports each beacon, then hands it on (or not, without --fire).
class ReportingTransport final : public BeaconTransport {
 public:
  ReportingTransport(std::shared_ptr<Printer> printer, std::shared_ptr<BeaconTransport> inner)
      : printer_(std::move(printer)), inner_(std::move(inner)) {}
  using BeaconTransport::send;
  void send(const URL& url, Delivered delivered) override {
    printer_->print({{"t", isoTime(SystemTime(std::chrono::duration_cast<std::chrono::milliseconds>(
                               Clock::now().time_since_epoch())))},
                     {"beacon", url.absoluteString()}},
                    "beacon " + url.absoluteString() + (inner_ ? "" : " (not sent)"));
    if (inner_) inner_->send(url, std::move(delivered));
  }

 private:
  std::shared_ptr<Printer> printer_;
  std::shared_ptr<BeaconTransport> inner_;
};

}  // namespace

int runLive(const LiveOptions& options, const std::atomic<bool>& interrupted, std::ostream& out,
            std::ostream& err) {
  const auto source = URL::parse(options.sourceURL);
  if (!source || !source->isHTTPOrHTTPS()) {
    err << "error: NSURLErrorDomain -1002: Not an http(s) URL: " << options.sourceURL << "\n";
    return 1;
  }
  // Shared with callbacks that may still run while the command returns.
  const auto printer = std::make_shared<Printer>(out, options.json);
  const bool detected = SKYLSSAILive2Detector::isLive2(source, options.token);
  printer->print({{"detected", detected}}, detected ? "Meridian Live source"
                                                    : "not recognised as a Meridian Live source; "
                                                      "opening a session anyway");

  auto inner = options.fire ? SKYLSSAILive2Coordinator::liveBeaconTransport() : nullptr;
  auto coordinator = SKYLSSAILive2Coordinator::create(
      *source, {}, std::make_shared<ReportingTransport>(printer, inner));

  // The completion comes once, on the main queue, which this command runs.
  std::optional<bool> opened;
  coordinator->start(options.adsParams, [&opened, printer](Result<URL> manifest) {
    opened = manifest.ok();
    if (manifest.ok()) {
      const std::string& url = manifest.value().absoluteString();
      printer->print({{"session", "opened"}, {"manifest", url}}, "session opened; manifest " + url);
    } else {
      const SKYLError& error = manifest.error();
      printer->print(errorJSON(error), "error: " + error.domain + " " + std::to_string(error.code) +
                                           ": " + errorText(error));
    }
  });
  Dispatch::main().runUntil([&] { return opened.has_value() || interrupted; },
                            std::chrono::seconds(15));
  if (!opened.value_or(false)) {
    coordinator->stop();  // cancels a session request still in flight
    if (!opened && !interrupted) err << "error: the session did not open within 15 s\n";
    return 1;
  }

  const auto delay = std::chrono::milliseconds(static_cast<int64_t>(options.playheadDelay * 1000));
  const auto end =
      Clock::now() + std::chrono::milliseconds(static_cast<int64_t>(options.duration * 1000));
  std::set<std::string> knownAvails;
  std::optional<std::string> playing;
  while (!interrupted && Clock::now() < end) {
    const SystemTime playhead =
        std::chrono::time_point_cast<std::chrono::milliseconds>(Clock::now() - delay);
    const auto timeline = coordinator->timelineHandle().timeline;
    for (const auto& id : timeline->availOrder()) {
      if (!knownAvails.insert(id).second) continue;
      const auto span = timeline->availSpan(id);
      const auto count = coordinator->presentableAdCount(id);
      printer->print(
          {{"avail", id},
           {"start", span ? span->start : 0.0},
           {"duration", span ? span->end - span->start : 0.0},
           {"ads", count}},
          fmt::format("avail {} at {:.3f} s for {:.3f} s, {} ads", id, span ? span->start : 0.0,
                      span ? span->end - span->start : 0.0, count));
    }
    const auto info = coordinator->presentableAdInfo(playhead);
    const std::optional<std::string> now = info ? std::optional(info->adId) : std::nullopt;
    if (now != playing) {
      if (playing) {
        printer->print({{"t", isoTime(playhead)}, {"event", "ExitAd"}, {"adId", *playing}},
                       isoTime(playhead) + "  exit ad " + *playing);
      }
      if (info) {
        const auto countdown = coordinator->countdown(playhead);
        Json fields{{"t", isoTime(playhead)},
                    {"event", "EnterAd"},
                    {"adId", info->adId},
                    {"title", info->title}};
        std::string text =
            isoTime(playhead) + "  enter ad " + info->adId + " \"" + info->title + "\"";
        if (countdown) {
          fields["adIndex"] = countdown->adIndex;
          fields["adCount"] = countdown->adCount;
          fields["remainingInAd"] = countdown->remainingInCurrentAd;
          fields["remainingInBreak"] = countdown->remainingInBreak;
          text += fmt::format(" ({} of {}, {:.1f} s left, {:.1f} s in the break)",
                              countdown->adIndex, countdown->adCount,
                              countdown->remainingInCurrentAd, countdown->remainingInBreak);
        }
        printer->print(fields, text);
      }
      playing = now;
    }
    // A poll may have merged since the lines above were printed: print what
    // it brought first, so an ad's lines always precede its beacons.
    const auto order = timeline->availOrder();
    const bool newAvail = std::any_of(order.begin(), order.end(),
                                      [&](const auto& id) { return !knownAvails.count(id); });
    const auto info2 = coordinator->presentableAdInfo(playhead);
    if (newAvail || (info2 ? std::optional(info2->adId) : std::nullopt) != playing) continue;
    coordinator->update(playhead);
    Dispatch::main().runUntil([&] { return interrupted.load(); }, std::chrono::milliseconds(500));
  }
  coordinator->stop();
  // Retries still due get up to 10 s (none after Ctrl-C); then what never arrived is told.
  if (const auto retrying = std::dynamic_pointer_cast<RetryingBeaconTransport>(inner)) {
    for (const auto& [url, why] :
         retrying->drain(interrupted ? std::chrono::seconds(0) : std::chrono::seconds(10))) {
      printer->print({{"dropped", url.absoluteString()}, {"why", why}},
                     "beacon " + url.absoluteString() + " dropped, " + why);
    }
  }
  return 0;
}

Command addLiveCommand(CLI::App& app) {
  auto options = std::make_shared<LiveOptions>();
  auto adsParams = std::make_shared<std::vector<std::string>>();
  auto* command = app.add_subcommand(
      "live", "Follow a Meridian Live stream: session, tracking poll, ads and beacons");
  command->add_option("SOURCE_URL", options->sourceURL, "The live source URL")->required();
  command->add_option("--token", options->token, "The playback token");
  command->add_option("--ads-param", *adsParams, "K=V ad parameter of the session (repeatable)")
      ->each(checkKeyValue);
  command
      ->add_option("--playhead-delay", options->playheadDelay,
                   "Seconds the playhead stays behind now (10)")
      ->check(finiteNumber(true, true));
  command->add_option("--duration", options->duration, "Seconds to follow the stream (60)")
      ->check(finiteNumber(true, true));
  command->add_flag("--fire", options->fire, "Send the beacons (otherwise only report)");
  command->add_flag("--json", options->json, "Print one JSON object per line");
  return {command, [options, adsParams] {
            options->adsParams = parseKeyValues(*adsParams);
            return runLive(*options, catchInterrupts(), std::cout, std::cerr);
          }};
}

}  // namespace skylark::tool
