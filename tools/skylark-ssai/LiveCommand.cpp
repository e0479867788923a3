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
#include "session/Live2AdState.h"
#include "tracking/SKYLVelaAnalyticsDigester.h"

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

// Hands nothing to the network: beacons are only reported.
class ReportOnlyTransport final : public BeaconTransport {
 public:
  using BeaconTransport::send;
  void send(const URL&, Delivered) override {}
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

  // The pieces a playback session of this stream would have: its
  // environment, its digester (beacons announced, counted, sent through the
  // environment's live transport) and its live ad state.
  const auto environment = SessionEnvironment::make(
      {nullptr, nullptr, options.fire ? nullptr : std::make_shared<ReportOnlyTransport>()});
  const auto ledger = std::make_shared<BeaconDeliveryLedger>();
  const auto digester =
      std::make_shared<SKYLVelaAnalyticsDigester>(*environment, environment->liveBeaconTransport);
  digester->setDeliveryLedger(ledger);
  const auto beacons = environment->notificationCenter.addObserver(
      std::string(kSKYLSSAIAnalayticsDigestNotification),
      [printer, fire = options.fire, environment](const Notification& n) {
        const auto* url = std::any_cast<URL>(&n.object);
        if (!url) return;
        printer->print(
            {{"t", isoTime(environment->clock->now())}, {"beacon", url->absoluteString()}},
            "beacon " + url->absoluteString() + (fire ? "" : " (not sent)"));
      });
  auto coordinator = SKYLSSAILive2Coordinator::create(*source, environment, digester);

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
    environment->notificationCenter.removeObserver(beacons);
    if (!opened && !interrupted) err << "error: the session did not open within 15 s\n";
    return 1;
  }

  const auto delay = std::chrono::milliseconds(static_cast<int64_t>(options.playheadDelay * 1000));
  SystemTime playhead{};
  // The session's own ad state machine, its events printed.
  Live2AdState adState(coordinator, [&](const SKYLVelaProgressTracker::Event& event) {
    const auto& properties = event->properties();
    if (!properties || !properties->ad) return;
    const auto& ad = *properties->ad;
    if (event->type() == SKYLVelaProgressTrackerEvent::ExitAd) {
      printer->print({{"t", isoTime(playhead)}, {"event", "ExitAd"}, {"adId", ad.adId()}},
                     isoTime(playhead) + "  exit ad " + ad.adId());
      return;
    }
    if (event->type() != SKYLVelaProgressTrackerEvent::EnterAd) return;
    const auto countdown = coordinator->countdown(playhead);
    Json fields{
        {"t", isoTime(playhead)}, {"event", "EnterAd"}, {"adId", ad.adId()}, {"title", ad.title()}};
    std::string text = isoTime(playhead) + "  enter ad " + ad.adId() + " \"" + ad.title() + "\"";
    if (countdown) {
      fields["adIndex"] = countdown->adIndex;
      fields["adCount"] = countdown->adCount;
      fields["remainingInAd"] = countdown->remainingInCurrentAd;
      fields["remainingInBreak"] = countdown->remainingInBreak;
      text += fmt::format(" ({} of {}, {:.1f} s left, {:.1f} s in the break)", countdown->adIndex,
                          countdown->adCount, countdown->remainingInCurrentAd,
                          countdown->remainingInBreak);
    }
    printer->print(fields, text);
  });

  const auto end = environment->clock->now() +
                   std::chrono::milliseconds(static_cast<int64_t>(options.duration * 1000));
  std::set<std::string> knownAvails;
  while (!interrupted && environment->clock->now() < end) {
    playhead = environment->clock->now() - delay;
    const auto snapshot = coordinator->timelineHandle().timeline->snapshot();
    for (const auto& avail : snapshot->avails) {
      if (!knownAvails.insert(avail->id).second) continue;
      const auto count = coordinator->presentableAdCount(avail->id);
      printer->print({{"avail", avail->id},
                      {"start", avail->start},
                      {"duration", avail->duration},
                      {"ads", count}},
                     fmt::format("avail {} at {:.3f} s for {:.3f} s, {} ads", avail->id,
                                 avail->start, avail->duration, count));
    }
    adState.live2UpdateAdState(playhead);
    Dispatch::main().runUntil([&] { return interrupted.load(); }, std::chrono::milliseconds(500));
  }
  coordinator->stop();
  // Retries still due get up to 10 s (none after Ctrl-C); then what never arrived is told.
  const auto retrying =
      std::dynamic_pointer_cast<RetryingBeaconTransport>(environment->liveBeaconTransport);
  if (options.fire && retrying) {
    for (const auto& [url, why] :
         retrying->drain(interrupted ? std::chrono::seconds(0) : std::chrono::seconds(10))) {
      printer->print({{"dropped", url.absoluteString()}, {"why", why}},
                     "beacon " + url.absoluteString() + " dropped, " + why);
    }
  }
  environment->notificationCenter.removeObserver(beacons);
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
