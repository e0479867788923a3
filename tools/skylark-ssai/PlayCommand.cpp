#include "PlayCommand.h"

#include <algorithm>
#include <any>
#include <chrono>
#include <cmath>
#include <fstream>
#include <iostream>
#include <thread>

#include <fmt/format.h>

#include "CommandLine.h"
#include "InspectCommand.h"
#include "LocalSource.h"
#include "MonitorOption.h"
#include "PlayLines.h"
#include "PlayMonitor.h"
#include "TimelineJSON.h"
#include "TimelineSVG.h"
#include "companions/SKYLSSAIAdComponentDisplayContainer.h"
#include "entry/SKYLSSAIAdditions.h"
#include "host/SKYLAdLedgerManager.h"
#include "host/SKYLErrorSession.h"
#include "host/SKYLHostConstants.h"
#include "host/reference/SimulatedPlayer.h"
#include "live2/SKYLSSAILive2Coordinator.h"
#ifdef SKYLARK_HAVE_GST
#include "host/gst/GstPlayer.h"
#endif
#include "environment/SessionClock.h"
#include "platform/DispatchQueue.h"
#include "session/SKYLVUXSession.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark::tool {
namespace {

using TrackerEvent = SKYLVelaProgressTrackerEvent;

// Hands nothing to the network: beacons are only reported.
class ReportOnlyTransport final : public BeaconTransport {
 public:
  using BeaconTransport::send;
  void send(const URL&, Delivered) override {}
};

// A live stream has no end: without --until it plays this long.
constexpr double kDefaultLiveSeconds = 60;

// Prints what a companion slot shows.
class SlotPrinter final : public SKYLSSAICompanionSlotDelegate {
 public:
  explicit SlotPrinter(
      std::function<void(const SKYLSSAICompanionSlot&, const SKYLVelaCompanionAd&)> print)
      : print_(std::move(print)) {}
  void companionSlotDidShow(SKYLSSAICompanionSlot& slot,
                            const SKYLVelaCompanionAd& companion) override {
    print_(slot, companion);
  }

 private:
  std::function<void(const SKYLSSAICompanionSlot&, const SKYLVelaCompanionAd&)> print_;
};

class Playback {
 public:
  Playback(const PlayOptions& options, std::ostream& out) : options_(options), out_(out) {}

  int run(std::ostream& err) {
    auto source = sourceFor(err);
    if (!source || !readMetadata(err)) return 1;
    if (options_.monitor) monitor_.emplace(*options_.monitor, options_.source);
    auto& manager = SKYLPlayerSDKManager::sharedManager();
    if (!installPlayerFactory(manager, err)) return 1;
    SKYLVUXSessionProviderOptions providerOptions;
    if (!options_.headers.empty()) {
      providerOptions.setHttpHeaders(requestHeaders(options_.headers));
    }
    if (!options_.fire) providerOptions.setBeaconTransport(std::make_shared<ReportOnlyTransport>());
    // The session's timers run on the simulated player's virtual clock;
    // a newer live stream's service answers in real time, so it keeps the
    // wall clock.
    if (simulated() && !options_.token) {
      virtualClock_ = std::make_shared<ManualSessionClock>(
          std::chrono::time_point_cast<std::chrono::milliseconds>(
              std::chrono::system_clock::now()));
      providerOptions.setClock(virtualClock_);
    }
    providerOptions.setLive2AdsParams(options_.adsParams);
    providerOptions.setExpandVASTMacros(options_.macros);
    providerOptions.setSnapbackEnabled(options_.snapback);
    providerOptions.setBookmarkSkipsEarlierBreaks(!options_.bookmarkPlaysLastBreak);
    providerOptions.setPlayedBreaks(options_.playedBreaks == "skip" ? PlayedBreaksPolicy::skip
                                                                    : PlayedBreaksPolicy::replay);
    auto provider =
        createSSAISessionProviderWithUpstreamSessionProvider(manager, nullptr, &providerOptions);
    controller_ = manager.createPlaybackControllerWithSessionProvider(provider);
    controller_->setLifecycleHandler(
        [this](const auto& session, const SKYLLifecycleEventPtr& event) {
          lifecycle(session, event);
        });
    observeBeaconsAndRates();
    if (application()) {
      SKYLAdLedgerManager::shared().setObserver(
          [this](const SKYLAdLedgerManager::Call& call) { emit(ledgerLine(call), true); });
    }

    controller_->setVideos({SKYLVideo::initWithSources({source})});
    // A VOD run ends with the stream, after a minute of wall time on the
    // virtual clock (an hour on a real player), or once the player stands
    // still with nothing left to resume it: a real one for five seconds,
    // the simulated one (which moves only when stepped) after one step.
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(simulated() ? 60 : 3600);
    auto lastMove = std::chrono::steady_clock::now();
    double lastTime = -1;
    while (!controller_->finished() && !failed_ && !interrupted()) {
      const bool live = isLive();
      const auto now = std::chrono::steady_clock::now();
      if (!live && now > deadline) break;
      if (streamTime() != lastTime || resumeAfter_ || (player_ && player_->rate() != 0)) {
        lastTime = streamTime();
        lastMove = now;
      } else if (!live && !simulated() && now - lastMove > std::chrono::seconds(5)) {
        print(Json{{"t", streamTime()}, {"note", "the player stopped"}},
              "the player stopped; nothing resumes it");
        break;
      }
      step();
      showOnMonitor();
      if (simulated() && stillSteps_ >= 2) {
        // Nothing left can move the virtual playhead: waiting changes nothing.
        const std::string why = stillReason();
        print(Json{{"t", streamTime()}, {"note", why}}, why);
        break;
      }
      if (backward()) {
        if (started_ && options_.until && streamTime() <= *options_.until + 1e-9) break;
        continue;
      }
      const double until = options_.until.value_or(live ? kDefaultLiveSeconds : INFINITY);
      if (streamTime() >= until - 1e-9) break;
    }
    writePicture(err);
    printDeliveryLedger();
    showOnMonitor();
    SKYLAdLedgerManager::shared().setObserver(nullptr);
    NotificationCenter::defaultCenter().removeObserver(beaconObserver_);
    NotificationCenter::defaultCenter().removeObserver(pollObserver_);
    NotificationCenter::defaultCenter().removeObserver(rateObserver_);
    manager.setPlayerFactory(nullptr);
    return failed_ ? 1 : 0;
  }

 private:
  bool simulated() const { return options_.player == PlayerKind::simulated; }
  bool application() const { return options_.view == PlayView::application; }
  // Played backwards from the end (the starting rate is negative).
  bool backward() const { return options_.rate < 0; }
  bool interrupted() const { return options_.interrupted && options_.interrupted->load(); }

  bool installPlayerFactory(SKYLPlayerSDKManager& manager, std::ostream& err) {
    if (simulated()) {
      manager.setPlayerFactory([this] {
        simulated_ = SimulatedPlayer::create([this](const URL& url) { return media(url); });
        player_ = simulated_;
        return player_;
      });
      return true;
    }
#ifdef SKYLARK_HAVE_GST
    std::string why;
    GstPlayerOptions gst{.sync = !options_.fast, .window = options_.window};
    // As fast as it decodes, the stream moves seconds in 50 ms: look often.
    if (options_.fast) gst.positionInterval = std::chrono::milliseconds(5);
    if (!GstPlayer::isAvailable(gst, &why)) {
      err << "error: the GStreamer player cannot start: " << why << "\n";
      return false;
    }
    manager.setPlayerFactory([this, gst] {
      player_ = GstPlayer::create(gst);
      return player_;
    });
    return true;
#else
    err << "error: this build has no GStreamer player (GStreamer was not found when it was "
           "configured; "
           "scripts/setup installs it)\n";
    return false;
#endif
  }

  std::shared_ptr<SKYLSource> sourceFor(std::ostream& err) {
    if (options_.source.find("://") != std::string::npos) {
      auto url = URL::parse(options_.source);
      if (!url || !url->isHTTPOrHTTPS()) {
        printError(SKYLError("NSURLErrorDomain", -1002, "Not an http(s) URL: " + options_.source),
                   err);
        return nullptr;
      }
      SKYLSource::Properties properties;
      if (options_.token)
        properties[std::string(kSKYLSourceParameterKeyLivePlaybackToken)] = *options_.token;
      auto source = SKYLSource::initWithURL(url, std::string(kSKYLDeliveryHLS), properties);
      source->setLiveSSAISource(options_.live);
      return source;
    }
    auto bytes = readLocalSource(options_.source);
    if (!bytes.ok()) {
      printError(bytes.error(), err);
      return nullptr;
    }
    return SKYLSource::initWithVMAPXMLData(std::move(bytes).value(), {});
  }

  // Each --metadata-at file, read once before playing, with a download's limits.
  bool readMetadata(std::ostream& err) {
    for (const auto& [at, path] : options_.metadata) {
      auto bytes = readLocalSource(path);
      if (!bytes.ok()) {
        printError(bytes.error(), err);
        return false;
      }
      metadataBytes_.push_back(std::move(bytes).value());
    }
    return true;
  }

  void printError(const SKYLError& error, std::ostream& err) {
    failed_ = true;
    if (options_.json) {
      out_ << jsonText(errorJSON(error)) << "\n";
    } else {
      err << "error: " << error.domain << " " << error.code << ": " << errorText(error) << "\n";
    }
  }

  // The stream the session hands the player is the one its timeline names.
  std::optional<SimulatedMedia> media(const URL& url) {
    const auto session = ssaiSession();
    if (!session) return std::nullopt;
    if (isLive()) {
      // A day of stream whose program date runs the delay behind the clock.
      SimulatedMedia live{
          MediaTime::make(24 * 3600, 1),
          std::chrono::time_point_cast<std::chrono::milliseconds>(
              std::chrono::system_clock::now() -
              std::chrono::milliseconds(static_cast<int64_t>(options_.playheadDelay * 1000))),
          {}};
      for (size_t i = 0; i < options_.metadata.size(); ++i) {
        live.metadata.push_back(
            {MediaTime::makeWithSeconds(options_.metadata[i].first, 600), metadataBytes_[i]});
      }
      return live;
    }
    if (!session->timeline()) return std::nullopt;
    const auto& timeline = *session->timeline();
    if (!timeline.velaURL() || *timeline.velaURL() != url) return std::nullopt;
    // Played backwards, the player starts at the end.
    return SimulatedMedia{timeline.payloadLength(),
                          std::nullopt,
                          {},
                          backward() ? std::optional(timeline.payloadLength()) : std::nullopt};
  }

  bool isLive2() const {
    const auto session = ssaiSession();
    return session && (session->live2Coordinator() || session->live2ContentOnly());
  }

  bool isLive() const {
    const auto session = ssaiSession();
    return session && (session->live2Coordinator() || session->live2ContentOnly() ||
                       (session->timeline() && session->timeline()->isLiveSSAI()));
  }

  std::shared_ptr<SKYLVUXSession> ssaiSession() const {
    if (session_) return session_;
    return std::dynamic_pointer_cast<SKYLVUXSession>(controller_ ? controller_->currentSession()
                                                                 : nullptr);
  }

  double streamTime() const { return player_ ? player_->currentTime().seconds() : 0; }
  // Live streams have no content clock of their own: their stream time.
  double contentTime() const {
    const auto session = ssaiSession();
    if (!session || !session->timeline() || session->timeline()->isLiveSSAI()) return streamTime();
    return session->contentTimeAtAbsoluteTime(player_ ? player_->currentTime() : MediaTime::zero())
        .seconds();
  }

  void print(Json line, const std::string& text, bool detail = false) {
    if (detail && options_.brief) return;
    if (monitor_) monitor_->line(line, text);
    if (options_.json) {
      out_ << jsonText(line) << "\n";
    } else {
      out_ << fmt::format("{:>9.3f}  content {:>9.3f}  {}\n", streamTime(), contentTime(), text);
    }
    // Each line as it happens: someone may be watching through a pipe, and
    // a run cut short keeps what it printed.
    out_ << std::flush;
  }
  Json stamp() const { return Json{{"t", streamTime()}, {"content", contentTime()}}; }

  void lifecycle(const std::shared_ptr<SKYLPlaybackSession>& session,
                 const SKYLLifecycleEventPtr& event) {
    if (auto ssai = std::dynamic_pointer_cast<SKYLVUXSession>(session); ssai && ssai != session_) {
      session_ = ssai;
      if (monitor_) monitor_->followBeacons(session_->deliveryLedger(), options_.fire);
      observeSession();
      attachCompanionSlots();
      startAtBookmark();
    }
    if (event->eventType() == kSKYLPlaybackSessionLifecycleEventAdEnter) {
      if (const auto* ad = event->property<std::shared_ptr<SKYLAd>>(
              kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd)) {
        currentAd_ = *ad;
      }
    }
    if (event->eventType() == kSKYLPlaybackSessionLifecycleEventAdSkipped) mark("skip");
    if (const auto* error = event->property<SKYLError>(kSKYLSSAILifecycleEventPropertiesKeyError)) {
      const SKYLError& cause = error->underlyingError ? *error->underlyingError : *error;
      out_ << (options_.json ? jsonText(errorJSON(cause)) + "\n"
                             : "error: " + cause.domain + " " + std::to_string(cause.code) + ": " +
                                   errorText(cause) + "\n");
      failed_ = true;
      return;
    }
    if (application()) {
      emit(lifecycleLine(*event),
           event->eventType() == kSKYLPlaybackSessionLifecycleEventAdProgress);
    }
  }

  void emit(PlayLine line, bool detail = false) {
    Json fields = stamp();
    fields.update(line.fields);
    print(fields, line.text, detail);
  }

  // What became of the beacons: handed over, answered 2xx, otherwise, failed.
  void printDeliveryLedger() {
    if (!session_ || !options_.fire) return;
    // Answers still on their way get a moment.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (session_->deliveryLedger()->total().pending() > 0 &&
           std::chrono::steady_clock::now() < deadline && !interrupted()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    auto line = deliveryLedgerLine(*session_->deliveryLedger());
    print(Json{{"t", streamTime()}, {"deliveryLedger", line.fields["deliveryLedger"]}}, line.text);
  }

  void showOnMonitor() {
    if (!monitor_) return;
    monitor_->step(session_.get(), isLive(), streamTime(), contentTime(),
                   player_ ? player_->rate() : 0.0f,
                   player_ ? player_->currentDate() : std::nullopt);
  }

  void mark(const std::string& label) { trace_.marks.push_back({steps_, streamTime(), label}); }

  void writePicture(std::ostream& err) {
    if (!options_.svg || !session_ || !session_->timeline()) return;
    std::ofstream file(*options_.svg);
    file << timelineSVG(*session_->timeline(), &trace_);
    if (!file) err << "error: could not write " << *options_.svg << "\n";
  }

  void attachCompanionSlots() {
    if (options_.companions.empty()) return;
    slotPrinter_ = std::make_shared<SlotPrinter>(
        [this](const SKYLSSAICompanionSlot& slot, const SKYLVelaCompanionAd& companion) {
          const std::string shown = slot.view() ? slot.view()->shownContent() : "";
          Json line = stamp();
          line["companion"] = fmt::format("{}x{}", slot.width(), slot.height());
          line["shows"] = shown;
          line["companionId"] = companion.identifier().value_or("");
          print(line, fmt::format("companion slot {}x{} shows {} ({}x{})", slot.width(),
                                  slot.height(), shown, companion.width(), companion.height()));
        });
    std::vector<std::shared_ptr<SKYLSSAICompanionSlot>> slots;
    for (const auto& [width, height] : options_.companions) {
      auto slot = SKYLSSAICompanionSlot::initWithView(std::make_shared<SKYLView>(width, height),
                                                      width, height);
      slot->setDelegate(slotPrinter_);
      slots.push_back(std::move(slot));
    }
    session_->setAdDisplayContainer(
        SKYLSSAIAdComponentDisplayContainer::initWithCompanionSlots(std::move(slots)));
  }

  void observeSession() {
    sessionObservations_.stopObserving();
    if (!application()) {
      // The tracker comes with the timeline, before the stream is handed
      // over (load state 2) and so before the playhead moves.
      sessionObservations_.startObserving<int64_t>(
          session_->loadState(),
          [this](int64_t) {
            if (!session_->tracker() || trackerObserved_) return;
            trackerObserved_ = true;
            trackerObservation_.startObserving<SKYLVelaProgressTracker::Event>(
                session_->tracker()->event(),
                [this](const SKYLVelaProgressTracker::Event& event) {
                  if (event)
                    emit(trackerEventLine(*event), event->type() == TrackerEvent::AdProgress);
                },
                false);
          },
          true);
      return;
    }
    sessionObservations_.startObserving<MediaTime>(
        session_->duration(),
        [this](const MediaTime& duration) {
          if (!duration.isNumeric()) return;
          print(Json{{"t", streamTime()}, {"duration", duration.seconds()}},
                fmt::format("duration {:.3f} s of content", duration.seconds()));
        },
        true);
    sessionObservations_.startObserving<int64_t>(
        session_->loadState(),
        [this](int64_t state) {
          print(Json{{"t", streamTime()}, {"loadState", state}},
                fmt::format("loadState {}", state));
        },
        true);
  }

  void observeBeaconsAndRates() {
    beaconObserver_ = NotificationCenter::defaultCenter().addObserver(
        std::string(kSKYLSSAIAnalayticsDigestNotification), [this](const Notification& n) {
          const auto* url = std::any_cast<URL>(&n.object);
          if (!url) return;
          trace_.beacons.push_back({steps_, streamTime(), beaconType(url->absoluteString())});
          // The ledger hears of it next, on this thread.
          if (monitor_) monitor_->playheadMoved(streamTime(), contentTime());
          Json line = stamp();
          line["beacon"] = url->absoluteString();
          print(line, "beacon " + url->absoluteString() + (options_.fire ? "" : " (not sent)"));
        });
    pollObserver_ = NotificationCenter::defaultCenter().addObserver(
        std::string(kSKYLSSAILive2TrackingPollNotification), [this](const Notification& n) {
          const auto* report = std::any_cast<SKYLSSAILive2PollReport>(&n.object);
          if (!report) return;
          if (monitor_) monitor_->poll(*report, streamTime());
          emit(pollLine(*report), true);
        });
    if (!application()) return;
    rateObserver_ = NotificationCenter::defaultCenter().addObserver(
        std::string(kSKYLPlayerRateDidChangeNotification), [this](const Notification& n) {
          const auto* player = std::any_cast<Player*>(&n.object);
          if (!player || !*player || *player != player_.get()) return;
          Json line = stamp();
          line["rate"] = (*player)->rate();
          print(line, fmt::format("rate {}", (*player)->rate()));
        });
  }

  // Runs the application's actions due now, then moves the clock a step.
  // The bookmark is given as the session arrives, before its stream is
  // ready: nothing before it has played.
  void startAtBookmark() {
    if (!options_.startAt || bookmarkTaken_) return;
    bookmarkTaken_ = true;
    mark("seek");
    const bool started =
        session_->startAtContentTime(MediaTime::makeWithSeconds(*options_.startAt, 600));
    Json line = stamp();
    line["startAt"] = *options_.startAt;
    line["accepted"] = started;
    print(line, fmt::format("start at content {:.3f} accepted={}", *options_.startAt, started));
  }

  void step() {
    if (!player_ || !session_) {
      // The document is still loading (off the main queue).
      Dispatch::main().runUntil([this] { return session_ || controller_->finished() || failed_; },
                                std::chrono::milliseconds(10));
      return;
    }
    const double now = streamTime();
    for (size_t i = 0; i < options_.seeks.size(); ++i) {
      if (!due(seeksDone_, i, options_.seeks[i].first, now)) continue;
      const double to = options_.seeks[i].second;
      mark("seek");
      ssai_seekToTime(*controller_->providerExtension(), MediaTime::makeWithSeconds(to, 600),
                      [this, to](bool completed) {
                        Json line = stamp();
                        line["seek"] = to;
                        line["completed"] = completed;
                        print(line, fmt::format("seek to {:.3f} completed={}", to, completed));
                      });
    }
    for (size_t i = 0; i < options_.playerSeeks.size(); ++i) {
      if (!due(playerSeeksDone_, i, options_.playerSeeks[i].first, now)) continue;
      mark("seek");
      player_->seek(MediaTime::makeWithSeconds(options_.playerSeeks[i].second, 600),
                    MediaTime::zero(), MediaTime::zero(), nullptr);
    }
    for (size_t i = 0; i < options_.skips.size(); ++i) {
      if (due(skipsDone_, i, options_.skips[i], now)) pendingSkips_.push_back(currentAd_);
    }
    pressSkipButtons(now);
    for (size_t i = 0; i < options_.pauses.size(); ++i) {
      if (!due(pausesDone_, i, options_.pauses[i].first, now)) continue;
      controller_->pause();
      mark("pause");
      resumeAfter_ = options_.pauses[i].second;
    }
    for (size_t i = 0; i < options_.rates.size(); ++i) {
      if (!due(ratesDone_, i, options_.rates[i].first, now)) continue;
      player_->setRate(static_cast<float>(options_.rates[i].second));
    }
    if (!started_ && player_->itemStatus.get() == PlayerItem::Status::readyToPlay) {
      started_ = true;
      if (backward() && simulated()) {
        player_->setRate(static_cast<float>(options_.rate));  // it started at the end
      } else if (backward()) {
        // From the end: the rate is given once the player is there.
        const auto item = player_->currentItem();
        player_->seek(item ? item->duration() : MediaTime::zero(), MediaTime::zero(),
                      MediaTime::zero(),
                      [this](bool) { player_->setRate(static_cast<float>(options_.rate)); });
      } else if (options_.rate != 1.0) {
        player_->setRate(static_cast<float>(options_.rate));
      }
    }
    if (resumeAfter_ && simulated() && player_->rate() == 0) {
      // A paused player waits in one step, the playhead still: a pause of a
      // billion seconds costs no more than one of a second.
      const double wait = *resumeAfter_;
      resumeAfter_.reset();
      // The session's timers move with it; past a minute they would count
      // nothing more (nothing is audible, the viewable impression needs two
      // seconds), so a long wait is not ticked second by second.
      if (virtualClock_) virtualClock_->advance(std::min(wait, 60.0));
      controller_->play();
      Dispatch::main().runUntilIdle();
      trace_.samples.push_back({steps_++, streamTime()});
      return;
    }
    double seconds = options_.step;
    if (resumeAfter_) {
      *resumeAfter_ -= seconds;
      if (*resumeAfter_ <= 1e-9) {
        resumeAfter_.reset();
        controller_->play();
      }
    }
    if (!simulated()) {
      // The real player moves on its own: the main queue runs while it does.
      const auto slice = options_.fast ? std::chrono::duration<double>(0.005)
                                       : std::chrono::duration<double>(seconds);
      Dispatch::main().runUntil(
          [] { return false; },
          std::chrono::duration_cast<std::chrono::steady_clock::duration>(slice));
      trace_.samples.push_back({steps_++, streamTime()});
      return;
    }
    // The last step lands on --until exactly, whichever way the player goes.
    if (options_.until && player_->rate() > 0) {
      seconds = std::min(seconds, (*options_.until - now) / player_->rate());
    } else if (options_.until && player_->rate() < 0 && now > *options_.until) {
      seconds = std::min(seconds, (now - *options_.until) / -player_->rate());
    }
    const auto sequencesBefore = liveAdSequences();
    const double before = streamTime();
    // The session's timers and the player move together.
    if (virtualClock_) virtualClock_->advance(seconds);
    simulated_->advance(seconds);
    Dispatch::main().runUntilIdle();
    if (crossedMetadata(now, streamTime())) {
      // The session parses the ad data off the main queue: the clock waits
      // for the timeline to change, so a run's events do not depend on how
      // fast the machine parses.
      Dispatch::main().runUntil([&] { return liveAdSequences() != sequencesBefore; },
                                std::chrono::seconds(2));
    }
    trace_.samples.push_back({steps_++, streamTime()});
    const bool waiting = resumeAfter_ || !started_;
    stillSteps_ = streamTime() == before && !waiting ? stillSteps_ + 1 : 0;
    // An older live stream carries its ad data itself and plays on the
    // virtual clock like a VOD; the newer live service answers in real time.
    if (options_.realtime || isLive2()) {
      std::this_thread::sleep_for(std::chrono::duration<double>(options_.step));
    }
  }

  std::shared_ptr<const SKYLVelaTimeline::Sequences> liveAdSequences() const {
    return session_ && session_->timeline() ? session_->timeline()->adSequences() : nullptr;
  }

  // Whether moving forward from `from` to `to` crossed a --metadata-at time.
  bool crossedMetadata(double from, double to) const {
    return std::any_of(options_.metadata.begin(), options_.metadata.end(), [&](const auto& item) {
      return item.first >= from - 1e-9 && item.first < to - 1e-9;
    });
  }

  // What a playhead that no longer moves is told.
  std::string stillReason() const {
    const double rate = player_ ? player_->rate() : 0;
    if (rate == 0) {
      return fmt::format("the playhead stopped at {:.3f} s and nothing resumes it", streamTime());
    }
    return fmt::format(
        "the playhead cannot move: rate {} x step {} s is below the clock's resolution", rate,
        options_.step);
  }

  // A skip button shows once the ad's skip time has passed: a press asked
  // for earlier waits for it; one for an ad that cannot be skipped, or that
  // ended meanwhile, does nothing.
  void pressSkipButtons(double now) {
    std::vector<std::shared_ptr<SKYLAd>> waiting;
    for (const auto& ad : pendingSkips_) {
      const bool playing = ad && ad == currentAd_ && session_->adPlaying();
      const auto* skippable = ad ? ad->property<int64_t>(kSKYLAdPropertyKeySkippable) : nullptr;
      if (!playing || !skippable || *skippable != 1) {
        print(Json{{"t", now}, {"note", "no skippable ad playing: skip ignored"}},
              "skip ignored: no skippable ad playing");
        continue;
      }
      const auto* velaAd =
          ad->property<std::shared_ptr<const SKYLVelaAd>>(kSKYLSSAIAdPropertiesKeyVelaAd);
      const auto* skipTime = ad->property<float>(kSKYLAdPropertyKeySkipTime);
      if (velaAd && *velaAd && skipTime &&
          now - (*velaAd)->beginTime().seconds() < *skipTime - 1e-6) {
        waiting.push_back(ad);
        continue;
      }
      if (const auto* handler =
              ad->privateProperty<std::function<void()>>(kSKYLAdPrivatePropertyKeySkipHandler);
          handler && *handler) {
        (*handler)();
      }
    }
    pendingSkips_ = std::move(waiting);
  }

  // True once: the first time the stream time reaches `at`.
  static bool due(std::vector<bool>& taken, size_t i, double at, double now) {
    if (taken.size() <= i) taken.resize(i + 1, false);
    if (taken[i] || now < at - 1e-9) return false;
    taken[i] = true;
    return true;
  }

  const PlayOptions& options_;
  std::ostream& out_;
  std::shared_ptr<Player> player_;
  std::shared_ptr<SimulatedPlayer> simulated_;  // when the player is the simulated one
  std::shared_ptr<SKYLPlaybackController> controller_;
  std::shared_ptr<SKYLVUXSession> session_;
  std::shared_ptr<SKYLAd> currentAd_;
  std::vector<std::shared_ptr<SKYLAd>> pendingSkips_;
  std::shared_ptr<SlotPrinter> slotPrinter_;
  std::vector<std::string> metadataBytes_;  // of options_.metadata, in order
  PlayTrace trace_;
  std::optional<PlayMonitor> monitor_;
  int steps_ = 0;
  SKYLKVOManager sessionObservations_;
  SKYLKVOManager trackerObservation_;
  bool trackerObserved_ = false;
  NotificationCenter::Token beaconObserver_ = 0;
  NotificationCenter::Token pollObserver_ = 0;
  NotificationCenter::Token rateObserver_ = 0;
  // The sessions' clock when the simulated player sets the pace.
  std::shared_ptr<ManualSessionClock> virtualClock_;
  std::vector<bool> seeksDone_, playerSeeksDone_, skipsDone_, pausesDone_, ratesDone_;
  std::optional<double> resumeAfter_;
  bool started_ = false;
  bool bookmarkTaken_ = false;
  bool failed_ = false;
  int stillSteps_ = 0;  // steps in a row that left the virtual playhead where it was
};

}  // namespace

int runPlay(const PlayOptions& options, std::ostream& out, std::ostream& err) {
  Playback playback(options, out);
  return playback.run(err);
}

Command addPlayCommand(CLI::App& app) {
  auto options = std::make_shared<PlayOptions>();
  struct Texts {
    std::vector<std::string> headers, seeks, pauses, rates, adsParams, metadata, companions;
  };
  auto texts = std::make_shared<Texts>();
  auto monitorOption = std::make_shared<MonitorOption>();
  auto* command = app.add_subcommand(
      "play",
      "Play a VMAP document through the whole plug-in stack on a simulated or GStreamer player");
  command->add_option("SOURCE", options->source, "A VMAP file or an http(s) URL")->required();
  addPlayerOptions(*command, options->player, options->fast, options->window);
  addHeaderOption(*command, texts->headers);
  command->add_option("--step", options->step, "Seconds of playback per update (0.25)")
      ->check(finiteNumber(true, false));
  command->add_option("--until", options->until, "Stop at this stream time (seconds)")
      ->check(finiteNumber(true, true));
  command->add_option("--rate", options->rate, "The player's rate once the stream is ready (1)")
      ->check(finiteNumber(false, false));
  command->add_option("--seek", texts->seeks, "AT:TO: at stream time AT, seek to content time TO")
      ->each(pairValidator("--seek", "AT:TO"));
  command->add_option("--skip-at", options->skips, "At stream time AT, press the ad's skip button")
      ->check(finiteNumber(true, true));
  command->add_option("--pause-at", texts->pauses, "AT:SECONDS: pause at AT, play SECONDS later")
      ->each(pairValidator("--pause-at", "AT:SECONDS"));
  command->add_option("--rate-at", texts->rates, "AT:RATE: at AT the player's rate becomes RATE")
      ->each(pairValidator("--rate-at", "AT:RATE"));
  command->add_flag("--fire", options->fire, "Send the beacons (otherwise only report)");
  command->add_flag("--json", options->json, "Print one JSON object per line");
  command->add_flag("--realtime", options->realtime, "Pace the virtual clock to the wall clock");
  command->add_option("--svg", options->svg,
                      "Write an SVG picture of the timeline and the viewing to FILE");
  command->add_flag("--brief", options->brief, "Leave out ad progress and ledger lines");
  command->add_option("--token", options->token, "The live playback token of the source");
  command
      ->add_option("--ads-param", texts->adsParams,
                   "K=V ad parameter of a live session (repeatable)")
      ->each(checkKeyValue);
  command
      ->add_option("--playhead-delay", options->playheadDelay,
                   "Live: seconds the playhead stays behind the wall clock (10)")
      ->check(finiteNumber(true, true));
  command->add_flag("--live", options->live, "The source is an older live SSAI stream");
  command
      ->add_option("--metadata-at", texts->metadata,
                   "AT:FILE: the stream carries FILE as ID3 user text at AT (live)")
      ->each([](const std::string& text) {
        const size_t colon = text.find(':');
        try {
          if (colon == std::string::npos || colon + 1 == text.size())
            throw std::invalid_argument(text);
          (void)parseFinite(text.substr(0, colon));
        } catch (const std::exception&) {
          throw CLI::ValidationError("--metadata-at", "expected AT:FILE, got " + text);
        }
      });
  addMonitorOptions(*command, *monitorOption);
  addSessionOptionFlags(*command, *options);
  command->add_option("--companion", texts->companions, "WxH: a companion slot (repeatable)")
      ->each([](const std::string& text) {
        int w = 0, h = 0;
        char x = 0;
        if (std::sscanf(text.c_str(), "%d%c%d", &w, &x, &h) != 3 || x != 'x' || w <= 0 || h <= 0) {
          throw CLI::ValidationError("--companion", "expected WxH in pixels, got " + text);
        }
      });
  return {command, [options, texts, monitorOption] {
            options->headers = parseHeaders(texts->headers);
            options->seeks = parsePairs(texts->seeks);
            options->pauses = parsePairs(texts->pauses);
            options->rates = parsePairs(texts->rates);
            options->adsParams = parseKeyValues(texts->adsParams);
            for (const auto& text : texts->metadata) {
              const size_t colon = text.find(':');
              options->metadata.emplace_back(parseFinite(text.substr(0, colon)),
                                             text.substr(colon + 1));
            }
            for (const auto& text : texts->companions) {
              int w = 0, h = 0;
              std::sscanf(text.c_str(), "%dx%d", &w, &h);
              options->companions.emplace_back(w, h);
            }
            int failed = 0;
            const auto monitor = startMonitor(*monitorOption, std::cerr, &failed);
            if (failed) return failed;
            options->monitor = monitor.get();
            const int result = runPlay(*options, std::cout, std::cerr);
            if (monitor) serveUntilInterrupted(*monitor, catchInterrupts(), std::cerr);
            return result;
          }};
}

}  // namespace skylark::tool
