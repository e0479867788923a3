#include "SimulateCommand.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <iostream>
#include <mutex>

#include <fmt/format.h>

#include "CommandLine.h"
#include "InspectCommand.h"
#include "TimelineJSON.h"
#include "platform/ThreadAnnotations.h"
#include "tracking/SKYLVelaAnalyticsSession.h"

namespace skylark::tool {
namespace {

// Reports beacons without sending them.
class ReportOnlyTransport final : public BeaconTransport {
 public:
  using BeaconTransport::send;
  void send(const URL&, Delivered) override {}
};

// Sends beacons and lets the tool wait for them before it exits (a URL
// session abandons requests still in flight when it goes).
class WaitingTransport final : public BeaconTransport {
 public:
  using BeaconTransport::send;
  void send(const URL& url, Delivered delivered) override {
    {
      MutexLock lock(mutex_);
      ++inFlight_;
    }
    inner_.send(url, [this, delivered](const BeaconDelivery& delivery) {
      if (delivered) delivered(delivery);
      MutexLock lock(mutex_);
      --inFlight_;
      done_.notify_all();
    });
  }
  void waitForAll(std::chrono::seconds timeout) {
    MutexLock lock(mutex_);
    // The wait gives the mutex up and takes it back, which the analysis
    // cannot follow; the predicate runs with the mutex held.
    done_.wait_for(mutex_, timeout,
                   [this]() SKYL_NO_THREAD_SAFETY_ANALYSIS { return inFlight_ == 0; });
  }

 private:
  URLSessionBeaconTransport inner_;
  Mutex mutex_;
  std::condition_variable_any done_;
  int inFlight_ SKYL_GUARDED_BY(mutex_) = 0;
};

double seconds(const MediaTime& t) { return t.seconds(); }

class Simulation {
 public:
  Simulation(const SimulateOptions& options, std::shared_ptr<SKYLVelaTimeline> timeline,
             std::ostream& out)
      : options_(options), out_(out), tracker_(timeline) {
    transport_ = options.fire ? std::static_pointer_cast<BeaconTransport>(waiting_)
                              : std::make_shared<ReportOnlyTransport>();
    // Printing observes first, so an event prints before the beacons it causes.
    tracker_.event().addObserver([this](const auto& event) { printEvent(*event); }, false);
    (void)center_.addObserver(std::string(kSKYLSSAIAnalayticsDigestNotification),
                              [this](const Notification& n) {
                                printBeacon(std::any_cast<URL>(n.object).absoluteString());
                              });
    analytics_ = std::make_unique<SKYLVelaAnalyticsSession>(
        tracker_, std::make_shared<SKYLVelaAnalyticsDigester>(transport_, center_));
    analytics_->observeTracker();
  }

  void run() {
    const double end = tracker_.timeline()->payloadLength().seconds();
    const double delta = options_.step * options_.rate;
    if (delta == 0 || !std::isfinite(end)) return;
    const bool forward = delta > 0;
    const double limit = options_.until.value_or(forward ? end : 0);
    tracker_.setPlaybackRate(static_cast<float>(options_.rate));
    std::vector<bool> seekDone(options_.seeks.size()), skipDone(options_.skips.size());
    double playhead = forward ? 0 : end;
    for (int guard = 0; guard < 10'000'000; ++guard) {
      moveTo(playhead);
      for (size_t i = 0; i < options_.skips.size(); ++i) {
        if (!skipDone[i] && reached(playhead, options_.skips[i], forward)) {
          skipDone[i] = true;
          playhead = skip(playhead, end);
        }
      }
      for (size_t i = 0; i < options_.seeks.size(); ++i) {
        if (!seekDone[i] && reached(playhead, options_.seeks[i].first, forward)) {
          seekDone[i] = true;
          playhead = seek(options_.seeks[i].second);
        }
      }
      if (forward ? playhead >= limit - 1e-9 : playhead <= limit + 1e-9) break;
      // The last update lands exactly on the limit, whatever the step, so
      // a post-roll's exit, "complete" and "breakEnd" are seen.
      const double next = playhead + delta;
      playhead = forward ? std::min(next, limit) : std::max(next, limit);
    }
    if (options_.fire) waiting_->waitForAll(std::chrono::seconds(10));
  }

 private:
  // The timeline's content time of the playhead.
  MediaTime contentTime() const {
    return tracker_.timeline()->contentTimeAtAbsoluteTime(MediaTime::makeWithSeconds(now_, 600));
  }

  static bool reached(double playhead, double at, bool forward) {
    return forward ? playhead >= at - 1e-9 : playhead <= at + 1e-9;
  }

  void moveTo(double t) {
    now_ = t;
    tracker_.setAbsoluteTime(MediaTime::makeWithSeconds(t, 600));
  }

  // A player seek: the tracker is suspended for the jump and resumed; the
  // next update announces what changed (the old ad left, the new entered).
  double seek(double to) {
    tracker_.setSuspendProgress(true);
    moveTo(to);
    tracker_.setSuspendProgress(false);
    return to;
  }

  // The skip handler: report the skip, then seek just past the ad.
  double skip(double playhead, double end) {
    const auto& ad = analytics_->adAnalaytics();
    if (!ad || !ad->ad()) return playhead;
    ad->trackAdSkip();
    const double target = seconds(ad->ad()->endTime()) + 0.2;
    tracker_.setSuspendProgress(true);
    const double landing = target < end ? target : end;
    if (target < end) tracker_.setDidSkipAd(true);
    moveTo(landing);
    tracker_.setSuspendProgress(false);
    return landing;
  }

  void printEvent(const SKYLVelaProgressTrackerEvent& event) {
    const auto& properties = event.properties();
    const auto ad = properties ? properties->ad : nullptr;
    const auto sequence = properties ? properties->adSequence : nullptr;
    if (options_.json) {
      Json line{{"t", now_},
                {"content", timeJSON(contentTime())},
                {"event", std::string(event.trackerType())}};
      if (ad) line["adId"] = ad->adId();
      if (sequence) line["sequenceBegin"] = timeJSON(sequence->beginTime());
      if (event.type() == SKYLVelaProgressTrackerEvent::AdProgress && properties->adProgress) {
        line["progress"] = timeJSON(*properties->adProgress);
      }
      if (event.type() == SKYLVelaProgressTrackerEvent::ExitAd) {
        line["skipped"] = properties && properties->skippedAd.value_or(false);
      }
      out_ << jsonText(line) << "\n";
      return;
    }
    std::string detail;
    if (ad) detail += " ad=" + ad->adId();
    if (sequence) detail += fmt::format(" break@{:.3f}", seconds(sequence->beginTime()));
    if (event.type() == SKYLVelaProgressTrackerEvent::AdProgress && properties->adProgress) {
      detail += fmt::format(" progress={:.3f}", seconds(*properties->adProgress));
    }
    if (event.type() == SKYLVelaProgressTrackerEvent::ExitAd && properties &&
        properties->skippedAd.value_or(false)) {
      detail += " skipped";
    }
    out_ << fmt::format("{:>9.3f}  content {:>9.3f}  {}{}\n", now_, seconds(contentTime()),
                        event.trackerType(), detail);
  }

  void printBeacon(const std::string& url) {
    if (options_.json) {
      out_ << jsonText(Json{{"t", now_}, {"content", timeJSON(contentTime())}, {"beacon", url}})
           << "\n";
      return;
    }
    out_ << fmt::format("{:>9.3f}  content {:>9.3f}  beacon {}{}\n", now_, seconds(contentTime()),
                        url, options_.fire ? "" : " (not sent)");
  }

  const SimulateOptions& options_;
  std::ostream& out_;
  NotificationCenter center_;
  std::shared_ptr<WaitingTransport> waiting_ = std::make_shared<WaitingTransport>();
  std::shared_ptr<BeaconTransport> transport_;
  SKYLVelaProgressTracker tracker_;
  std::unique_ptr<SKYLVelaAnalyticsSession> analytics_;
  double now_ = 0;
};

}  // namespace

int runSimulate(const SimulateOptions& options, std::ostream& out, std::ostream& err) {
  auto timeline = loadTimeline(options.source, options.headers, options.json, out, err);
  if (!timeline) return 1;
  Simulation(options, timeline, out).run();
  return 0;
}

Command addSimulateCommand(CLI::App& app) {
  auto options = std::make_shared<SimulateOptions>();
  auto headers = std::make_shared<std::vector<std::string>>();
  auto seeks = std::make_shared<std::vector<std::string>>();
  auto* command = app.add_subcommand(
      "simulate",
      "Play a document's timeline with a virtual playhead, printing events and beacons");
  command->add_option("SOURCE", options->source, "A file path or an http(s) URL")->required();
  addHeaderOption(*command, *headers);
  command->add_option("--step", options->step, "Seconds per update at rate 1 (0.25)")
      ->check(finiteNumber(true, false));
  command->add_option("--rate", options->rate, "Playback rate; negative plays backwards")
      ->check(finiteNumber(false, false));
  command->add_option("--until", options->until, "Stop at this absolute time (seconds)")
      ->check(finiteNumber(false, false));
  command->add_option("--seek-at", *seeks, "AT:TO: at playhead AT, seek to TO (absolute seconds)")
      ->each(pairValidator("--seek-at", "AT:TO"));
  command->add_option("--skip-at", options->skips, "At playhead AT, skip the ad playing")
      ->check(finiteNumber(false, false));
  command->add_flag("--fire", options->fire, "Send the beacons (otherwise only report)");
  command->add_flag("--json", options->json, "Print one JSON object per line");
  return {command, [options, headers, seeks] {
            options->headers = parseHeaders(*headers);
            if (options->rate == 0) {
              std::cerr << "--rate: must not be 0\n";
              return kUsageError;
            }
            options->seeks = parsePairs(*seeks);
            return runSimulate(*options, std::cout, std::cerr);
          }};
}

}  // namespace skylark::tool
