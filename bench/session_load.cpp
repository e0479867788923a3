// Many sessions in one process: N SSAI sessions (manager, provider,
// SKYLVUXSession, simulated players) play the same VOD in lock step, so
// every session crosses each break boundary on the same tick; every beacon
// goes over the process's one URL session to a loopback sink that counts
// what it receives. Prints, for N = 10, 100, 1000: beacons fired and
// received, the drain time of the last burst, memory per session (peak;
// what the sessions hold once loaded and played; what playback and the
// last burst still hold), CPU per session, the main queue's longest tick,
// the process's threads, the time from the tick that fired each beacon to
// its arrival at the sink (median, 99th percentile and longest) next to
// the time bare libcurl takes to deliver as many requests as the busiest
// tick fired, and the ratios of N = 1000 to N = 10 per session.
//
//   session_load            a healthy sink
//   session_load --faulty   503 to one request in ten, a broken connection in fifty
//   session_load --offline  beacons counted in process, no HTTP: the sessions' own cost
//   ... [--sessions N]...   N sessions instead of 10, 100 and 1000 (repeatable)
//   ... [--repeat K]        every N K times, taking turns; ratios of the medians
//   ... [--stagger S]       viewers join one after another, evenly over S
//                           seconds of play, instead of all at once
//
// Lock step is the worst case: every session's beacons of a boundary leave
// on one tick, a burst of up to five per session at one host. Viewers of a
// VOD rarely start together; with --stagger each session begins when its
// turn comes and plays its 121 s from there, so a tick carries the beacons
// of the few sessions crossing a boundary on it.
//
// Each N runs in a process of its own (forked before any thread starts):
// measured in one process, a run inherits the heap the one before left
// behind, and was a third slower for it (the second of two runs of 1000).
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <httplib.h>
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include "BareBurst.h"
#include "entry/SKYLSSAIAdditions.h"
#include "host/SKYLHostConstants.h"
#include "host/reference/SimulatedPlayer.h"
#include "platform/DispatchQueue.h"
#include "platform/URLSession.h"
#include "session/SKYLVUXSession.h"
#include "support/VMAPFixtures.h"
#include "timeline/SKYLVelaLog.h"

namespace {

using namespace skylark;
using Clock = std::chrono::steady_clock;

long statusKB(const char* field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field, 0) == 0) return std::stol(line.substr(std::strlen(field)));
  }
  return 0;
}

// The whole process's CPU time, HTTP thread included.
double cpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
  return values[values.size() / 2];
}

// When each beacon was fired (the start of the tick that fired it) and
// when it reached the sink, by URL. The same URL fired more than once is
// paired in order: its first send with its first arrival, and so on. The
// records are made in room set aside (and touched) before the run, so
// that they count in none of its memory figures.
class WireTimes {
 public:
  explicit WireTimes(size_t capacity) : sent_(capacity), arrived_(capacity) {}

  // Main queue.
  void tickStarted() {
    tickStarted_ = Clock::now();
    sentThisTick_ = 0;
  }
  void sent(std::string_view url) {
    record(sent_, sentCount_, url, tickStarted_);
    largestTick_ = std::max(largestTick_, ++sentThisTick_);
    std::lock_guard lock(mutex_);
    ++inFlight_;
  }
  // The most beacons one tick fired.
  size_t largestTick() const { return largestTick_; }
  // Any thread: a beacon answered or failed.
  void delivered() {
    std::lock_guard lock(mutex_);
    if (--inFlight_ == 0) drained_.notify_all();
  }
  // Main queue: waits until no beacon is in flight or the deadline passes.
  void waitForDrain(Clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    drained_.wait_until(lock, deadline, [&] { return inFlight_ == 0; });
  }
  // Any thread.
  void arrived(std::string_view url) { record(arrived_, arrivedCount_, url, Clock::now()); }

  // Milliseconds from tick to wire, one per beacon that arrived, sorted.
  std::vector<double> latenciesMs() {
    const auto sent = inOrder(sent_, sentCount_);
    const auto arrived = inOrder(arrived_, arrivedCount_);
    std::unordered_map<size_t, std::vector<Clock::time_point>> sentByURL;
    for (const auto& event : sent) sentByURL[event.url].push_back(event.at);
    std::unordered_map<size_t, size_t> paired;
    std::vector<double> latencies;
    latencies.reserve(arrived.size());
    for (const auto& event : arrived) {
      const auto found = sentByURL.find(event.url);
      if (found == sentByURL.end()) continue;
      size_t& next = paired[event.url];
      if (next == found->second.size()) continue;
      latencies.push_back(
          std::chrono::duration<double, std::milli>(event.at - found->second[next++]).count());
    }
    std::sort(latencies.begin(), latencies.end());
    return latencies;
  }

 private:
  struct Event {
    size_t url = 0;  // the URL's hash
    Clock::time_point at;
  };
  static void record(std::vector<Event>& events, std::atomic<size_t>& count, std::string_view url,
                     Clock::time_point at) {
    const size_t index = count++;
    if (index < events.size()) events[index] = {std::hash<std::string_view>{}(url), at};
  }
  static std::vector<Event> inOrder(const std::vector<Event>& events,
                                    const std::atomic<size_t>& count) {
    std::vector<Event> recorded(events.begin(),
                                events.begin() + std::min(count.load(), events.size()));
    std::stable_sort(recorded.begin(), recorded.end(),
                     [](const Event& a, const Event& b) { return a.at < b.at; });
    return recorded;
  }

  Clock::time_point tickStarted_ = Clock::now();
  size_t sentThisTick_ = 0;
  size_t largestTick_ = 0;
  std::vector<Event> sent_;
  std::atomic<size_t> sentCount_{0};
  std::vector<Event> arrived_;
  std::atomic<size_t> arrivedCount_{0};
  std::mutex mutex_;
  std::condition_variable drained_;
  long inFlight_ = 0;
};

// The sessions' transport, noting when each beacon was fired.
class WireTimingTransport final : public BeaconTransport {
 public:
  WireTimingTransport(std::shared_ptr<BeaconTransport> inner, WireTimes& times)
      : inner_(std::move(inner)), times_(times) {}
  using BeaconTransport::send;
  void send(const URL& url, Delivered delivered) override {
    times_.sent(url.absoluteString());
    inner_->send(url, [this, delivered = std::move(delivered)](const BeaconDelivery& outcome) {
      if (delivered) delivered(outcome);
      times_.delivered();
    });
  }

 private:
  const std::shared_ptr<BeaconTransport> inner_;
  WireTimes& times_;
};

// The value at fraction q of sorted values (q = 1: the largest).
double percentile(const std::vector<double>& sorted, double q) {
  if (sorted.empty()) return 0;
  const auto rank = static_cast<size_t>(std::ceil(q * static_cast<double>(sorted.size())));
  return sorted[std::clamp<size_t>(rank, 1, sorted.size()) - 1];
}

struct Sink {
  // Room for this many beacons' times.
  Sink(bool faulty, size_t beacons) : wire(beacons) {
    // A beacon server answers at once: without TCP_NODELAY an answer could
    // wait for the client's delayed ACK, and the next request on its
    // connection with it.
    server.set_tcp_nodelay(true);
    // And keeps its connections, as beacon servers do (httplib closes one
    // after five requests unless told: a burst of 5,000 beacons then opened
    // a thousand connections, and measured that instead of the requests).
    server.set_keep_alive_max_count(1 << 20);
    server.Get(R"(/b/.*)",
               [this, faulty](const httplib::Request& request, httplib::Response& response) {
                 wire.arrived(url(request.target));
                 const int n = ++received;
                 if (faulty && n % 50 == 25) {
                   ++broken;
                   response.set_content_provider(
                       10, "text/plain", [](size_t, size_t, httplib::DataSink&) { return false; });
                 } else if (faulty && n % 10 == 0) {
                   ++unavailable;
                   response.status = 503;
                 } else {
                   ++ok;
                   response.status = 204;
                 }
               });
    port = server.bind_to_any_port("127.0.0.1");
    thread = std::thread([this] { server.listen_after_bind(); });
    while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ~Sink() {
    server.stop();
    thread.join();
  }
  std::string url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port) + path;
  }

  httplib::Server server;
  std::thread thread;
  int port = 0;
  std::atomic<long> received{0}, ok{0}, unavailable{0}, broken{0};
  WireTimes wire;
};

// Beacons per session in the document below, with room to spare.
constexpr size_t kBeaconsPerSession = 64;

// A 120 s VOD: a two-ad pre-roll pod and mid-rolls at content 30 and 60 s,
// every ad with its impression, quartiles and break beacons at the sink.
std::string document(const Sink& sink) {
  auto ad = [&](const std::string& offset, const std::string& id) {
    std::string tracking = "<TrackingEvents>";
    for (const char* event : {"start", "firstQuartile", "midpoint", "thirdQuartile", "complete"}) {
      tracking += std::string("<Tracking event=\"") + event + "\">" +
                  sink.url("/b/" + id + "/" + event) + "</Tracking>";
    }
    std::string text = test::adBreak(offset, "00:00:10", id, tracking + "</TrackingEvents>");
    for (const auto& [from, to] : std::map<std::string, std::string>{
             {"https://beacon.example.com/imp/" + id, "impression"},
             {"https://beacon.example.com/break/start/" + id, "breakStart"},
             {"https://beacon.example.com/break/end/" + id, "breakEnd"}}) {
      const size_t at = text.find(from);
      if (at != std::string::npos) text.replace(at, from.size(), sink.url("/b/" + id + "/" + to));
    }
    return text;
  };
  std::string vmap = test::vmapDocument(
      ad("start", "p1") + ad("start", "p2") + ad("00:00:30", "m1") + ad("00:01:00", "m2"), 120, 80);
  const std::string content = "https://beacon.example.com/content/1";
  vmap.replace(vmap.find(content), content.size(), sink.url("/b/content"));
  return vmap;
}

struct Listener final : SKYLSessionListener {
  void deliverSessions(
      const std::vector<std::shared_ptr<SKYLPlaybackSession>>& delivered) override {
    sessions = delivered;
  }
  std::vector<std::shared_ptr<SKYLPlaybackSession>> sessions;
};

struct Figures {
  long fired = 0, received = 0, answered2xx = 0, answeredOther = 0, failed = 0;
  long sinkOk = 0, sinkUnavailable = 0, sinkBroken = 0;
  double drainSeconds = 0, kbPerSession = 0, cpuMsPerSessionSecond = 0, longestTickMs = 0;
  // Resident anonymous memory (heap and stacks) once the sessions have
  // loaded, played and drained, less before the first video was made, per
  // session: what a session keeps for as long as it lives (its document,
  // timeline, tracker...). Not the pages of library code the first
  // session touched (ICU, libxml2, libcurl: about 7 MB), which the
  // process maps once however many sessions it runs.
  double kbHeldPerSession = 0;
  // Tick to wire, in milliseconds: from the start of the tick that fired a
  // beacon to its arrival at the sink.
  double wireP50Ms = 0, wireP99Ms = 0, wireMaxMs = 0;
  // The floor for those: the most beacons one tick fired, and the time
  // bare libcurl takes from their start to the last one's arrival.
  long largestBurst = 0;
  double bareBurstMs = 0;
  // The same CPU figure for the median second of play: the mean moves with
  // whatever else the machine runs meanwhile, the median much less.
  double medianCpuMsPerSessionSecond = 0;
  // Resident anonymous memory after the burst drained, less before it started, per
  // session: what playback and the burst still hold (staggered, the
  // sessions that joined after the first tick as well). Freed memory is handed
  // back to the system first (malloc_trim), or glibc's arenas would keep
  // the burst's high-water mark resident.
  double kbLeftPerSession = 0;
  long threads = 0;
};

// Counts beacons and answers each at once, for the offline run.
class CountingTransport final : public BeaconTransport {
 public:
  using BeaconTransport::send;
  void send(const URL&, Delivered delivered) override {
    ++sent;
    if (delivered) delivered({BeaconDelivery::Outcome::answered2xx, 204, ""});
  }
  std::atomic<long> sent{0};
};

// As many GETs as `count` sent with bare libcurl to a healthy sink of
// their own (the sessions' sink still keeps a server thread on each
// connection the URL session left open): milliseconds from their start to
// the last one's arrival, as the wire times are measured.
double bareBurstMs(size_t count) {
  if (count == 0) return 0;
  Sink sink(false, count);
  std::vector<std::string> urls;
  urls.reserve(count);
  for (size_t i = 0; i < count; ++i) urls.push_back(sink.url("/b/bare/" + std::to_string(i)));
  sink.wire.tickStarted();
  for (const auto& url : urls) sink.wire.sent(url);
  const size_t answered =
      bench::bareBurst(urls, URLSession::Configuration{}.maximumConnectionsPerHost);
  if (answered != count) {
    std::fprintf(stderr, "session_load: the sink answered %zu of bare libcurl's %zu GETs\n",
                 answered, count);
    return 0;
  }
  return percentile(sink.wire.latenciesMs(), 1.0);
}

Figures run(int n, bool faulty, bool offline, double stagger) {
  Sink sink(faulty, offline ? 0 : kBeaconsPerSession * static_cast<size_t>(n));
  const std::string vmap = document(sink);
  auto& manager = SKYLPlayerSDKManager::sharedManager();
  std::vector<std::shared_ptr<SimulatedPlayer>> players;
  manager.setPlayerFactory([&] {
    auto player = SimulatedPlayer::create([](const URL&) {
      return std::optional(SimulatedMedia{MediaTime::make(120, 1), std::nullopt, {}});
    });
    players.push_back(player);
    return player;
  });
  const long baselineKB = statusKB("VmRSS:");
  const long baselineAnonKB = statusKB("RssAnon:");
  Figures figures;
  {
    SKYLVUXSessionProviderOptions options;
    auto counting = std::make_shared<CountingTransport>();
    if (offline) {
      options.setBeaconTransport(counting);
    } else {
      options.setBeaconTransport(std::make_shared<WireTimingTransport>(
          std::make_shared<URLSessionBeaconTransport>(), sink.wire));
    }
    auto provider =
        createSSAISessionProviderWithUpstreamSessionProvider(manager, nullptr, &options);
    // Session i joins at stagger * i / n seconds (all at 0 in lock step):
    // asks for its session then (in lock step all of them are asked for in
    // one batch beforehand), begins, and plays 121 s from there.
    struct Viewer {
      std::shared_ptr<SKYLVideo> video;
      double joinsAt = 0;
      std::shared_ptr<SKYLPlaybackSession> session;
      std::shared_ptr<SimulatedPlayer> player;
      double played = -1;  // not yet joined
    };
    std::vector<Viewer> viewers;
    for (int i = 0; i < n; ++i) {
      Viewer viewer;
      viewer.video = SKYLVideo::initWithSources({SKYLSource::initWithVMAPXMLData(vmap, {})});
      viewer.joinsAt = stagger * i / n;
      viewers.push_back(std::move(viewer));
    }
    // Asks for the sessions of viewers [from, to) in one batch.
    const auto request = [&](size_t from, size_t to) {
      auto listener = std::make_shared<Listener>();
      std::vector<std::shared_ptr<SKYLVideo>> videos;
      for (size_t i = from; i < to; ++i) videos.push_back(viewers[i].video);
      (void)provider->playbackSessionsForVideos(videos, listener);
      Dispatch::main().runUntil([&] { return listener->sessions.size() == videos.size(); },
                                std::chrono::seconds(60));
      for (size_t i = from; i < to && i - from < listener->sessions.size(); ++i) {
        viewers[i].session = listener->sessions[i - from];
        viewers[i].player =
            std::dynamic_pointer_cast<SimulatedPlayer>(viewers[i].session->player());
        if (!viewers[i].player) {
          std::fprintf(stderr, "session_load: a session without its simulated player\n");
          std::abort();
        }
      }
    };
    if (stagger <= 0) request(0, viewers.size());
    size_t joined = 0;
    const auto join = [&](double now) {
      size_t end = joined;
      while (end < viewers.size() && viewers[end].joinsAt <= now) ++end;
      if (end == joined) return;
      if (!viewers[joined].session) request(joined, end);
      for (; joined < end; ++joined) {
        viewers[joined].session->begin();
        viewers[joined].session->avPlayerPlay();
        viewers[joined].played = 0;
      }
    };
    constexpr double kPlayed = 121;
    sink.wire.tickStarted();
    join(0);
    Dispatch::main().runUntilIdle();

    // Every session that has joined moves 0.25 s per tick. Over HTTP the
    // next tick comes when the last one's beacons are all answered, or 0.25
    // s after it began, whichever is sooner: as in real time, where a burst
    // drains while the playhead moves on, but without waiting out seconds
    // in which nothing is on the wire (that would change nothing).
    const long beforeBurstKB = statusKB("RssAnon:");
    const double cpuBefore = cpuSeconds();
    double secondStarted = cpuBefore;
    std::vector<double> perSecond;
    double played = 0;          // by the last session to join
    double sessionSeconds = 0;  // played since the last CPU sample
    for (int tickCount = 1; played < kPlayed; ++tickCount) {
      const auto tick = Clock::now();
      sink.wire.tickStarted();
      join(0.25 * tickCount);
      for (auto& viewer : viewers) {
        if (viewer.played < 0 || viewer.played >= kPlayed) continue;
        viewer.player->advance(0.25);
        viewer.played += 0.25;
        sessionSeconds += 0.25;
      }
      Dispatch::main().runUntilIdle();
      played = std::max(0.0, viewers.back().played);
      figures.longestTickMs =
          std::max(figures.longestTickMs,
                   std::chrono::duration<double, std::milli>(Clock::now() - tick).count());
      if (!offline) sink.wire.waitForDrain(tick + std::chrono::milliseconds(250));
      if (tickCount % 4 == 0) {
        const double now = cpuSeconds();
        if (sessionSeconds > 0) perSecond.push_back((now - secondStarted) * 1000 / sessionSeconds);
        secondStarted = now;
        sessionSeconds = 0;
      }
    }
    figures.cpuMsPerSessionSecond = (cpuSeconds() - cpuBefore) * 1000 / (n * kPlayed);
    figures.medianCpuMsPerSessionSecond = median(perSecond);
    figures.kbPerSession = static_cast<double>(statusKB("VmHWM:") - baselineKB) / n;
    figures.threads = statusKB("Threads:");

    // The last burst drains: every beacon answered (or failed).
    const auto drainStart = Clock::now();
    auto pending = [&] {
      long count = 0;
      for (const auto& viewer : viewers) {
        count += static_cast<SKYLVUXSession&>(*viewer.session).deliveryLedger()->total().pending();
      }
      return count;
    };
    while (pending() > 0 && Clock::now() - drainStart < std::chrono::seconds(120)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    figures.drainSeconds = std::chrono::duration<double>(Clock::now() - drainStart).count();
    malloc_trim(0);
    const long heldKB = statusKB("RssAnon:");
    figures.kbLeftPerSession = static_cast<double>(heldKB - beforeBurstKB) / n;
    figures.kbHeldPerSession = static_cast<double>(heldKB - baselineAnonKB) / n;
    for (const auto& viewer : viewers) {
      const auto total = static_cast<SKYLVUXSession&>(*viewer.session).deliveryLedger()->total();
      figures.fired += total.handed;
      figures.answered2xx += total.answered2xx;
      figures.answeredOther += total.answeredOther;
      figures.failed += total.transportFailed;
    }
  }
  figures.received = offline ? figures.answered2xx : sink.received.load();
  figures.sinkOk = offline ? figures.answered2xx : sink.ok.load();
  figures.sinkUnavailable = sink.unavailable;
  figures.sinkBroken = sink.broken;
  if (!offline) {
    const auto latencies = sink.wire.latenciesMs();
    figures.wireP50Ms = percentile(latencies, 0.5);
    figures.wireP99Ms = percentile(latencies, 0.99);
    figures.wireMaxMs = percentile(latencies, 1.0);
    figures.largestBurst = static_cast<long>(sink.wire.largestTick());
    figures.bareBurstMs = bareBurstMs(sink.wire.largestTick());
  }
  manager.setPlayerFactory(nullptr);
  return figures;
}

// run() in a child process, so that each N starts from the same heap.
std::optional<Figures> runInChild(int n, bool faulty, bool offline, double stagger) {
  int fds[2];
  if (pipe(fds) != 0) return std::nullopt;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) return std::nullopt;
  if (child == 0) {
    close(fds[0]);
    const Figures figures = run(n, faulty, offline, stagger);
#if defined(__SANITIZE_ADDRESS__)
    // _exit below skips the leak check of a normal exit: it runs here.
    __lsan_do_leak_check();
#endif
    const bool written = write(fds[1], &figures, sizeof figures) == sizeof figures;
    _exit(written ? 0 : 1);
  }
  close(fds[1]);
  Figures figures;
  const bool read = ::read(fds[0], &figures, sizeof figures) == sizeof figures;
  close(fds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!read || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::nullopt;
  return figures;
}

}  // namespace

int main(int argc, char** argv) {
  bool faulty = false, offline = false;
  std::vector<int> counts = {10, 100, 1000};
  bool countsGiven = false;
  int repeats = 1;
  double stagger = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool valueFollows = i + 1 < argc && std::atoi(argv[i + 1]) > 0;
    if (arg == "--faulty") {
      faulty = true;
    } else if (arg == "--offline") {
      offline = true;
    } else if (arg == "--sessions" && valueFollows) {
      if (!countsGiven) counts.clear();
      countsGiven = true;
      counts.push_back(std::atoi(argv[++i]));
    } else if (arg == "--repeat" && valueFollows) {
      repeats = std::atoi(argv[++i]);
    } else if (arg == "--stagger" && valueFollows) {
      stagger = std::atof(argv[++i]);
    } else {
      std::fprintf(stderr,
                   "usage: session_load [--faulty | --offline] [--sessions N]... [--repeat K] "
                   "[--stagger S]\n");
      return 2;
    }
  }
  SKYLVelaLogConfigure(0);
  std::map<int, std::vector<Figures>> results;
  const std::string shape =
      stagger > 0 ? fmt::format("joins spread over {:g} s", stagger) : std::string("lock step");
  std::printf("%s, %s\n%6s %8s %8s %8s %8s %8s %9s %12s %8s %8s %14s %10s %10s %8s %22s %18s\n",
              offline  ? "offline (no HTTP)"
              : faulty ? "faulty sink"
                       : "healthy sink",
              shape.c_str(), "N", "fired", "received", "2xx", "other", "failed", "drain s",
              "KB/session", "KB held", "KB left", "CPU ms/sess·s", "median", "tick ms", "threads",
              "wire ms p50/p99/max", "bare GETs/ms");
  bool ok = true;
  // With --repeat the counts take turns, so that a busy spell of the
  // machine's neighbours falls on every N alike; the ratios are of medians.
  for (int round = 0; round < repeats; ++round) {
    for (const int n : counts) {
      const auto figures = runInChild(n, faulty, offline, stagger);
      if (!figures) {
        std::fprintf(stderr, "session_load: the run of %d sessions did not finish\n", n);
        return 1;
      }
      const Figures& f = *figures;
      results[n].push_back(f);
      std::printf("%6d %8ld %8ld %8ld %8ld %8ld %9.3f %12.1f %8.1f %8.1f %14.4f %10.4f %10.2f %8ld",
                  n, f.fired, f.received, f.answered2xx, f.answeredOther, f.failed, f.drainSeconds,
                  f.kbPerSession, f.kbHeldPerSession, f.kbLeftPerSession, f.cpuMsPerSessionSecond,
                  f.medianCpuMsPerSessionSecond, f.longestTickMs, f.threads);
      if (offline) {
        std::printf(" %22s %18s\n", "-", "-");
      } else {
        std::printf(" %8.2f/%6.2f/%6.1f %11ld/%6.1f\n", f.wireP50Ms, f.wireP99Ms, f.wireMaxMs,
                    f.largestBurst, f.bareBurstMs);
      }
      ok = ok && f.fired == f.received && f.answered2xx == f.sinkOk &&
           f.answeredOther == f.sinkUnavailable && f.failed == f.sinkBroken;
    }
  }
  if (results.count(10) && results.count(1000)) {
    auto ratio = [&](double Figures::*figure) {
      auto medianOf = [&](int n) {
        std::vector<double> values;
        for (const Figures& f : results[n]) values.push_back(f.*figure);
        return median(values);
      };
      return medianOf(1000) / medianOf(10);
    };
    std::printf(
        "\nper session, N=1000 / N=10%s: CPU %.2f (median second %.2f), memory %.2f (held %.2f)\n",
        repeats > 1 ? " (medians of the runs)" : "", ratio(&Figures::cpuMsPerSessionSecond),
        ratio(&Figures::medianCpuMsPerSessionSecond), ratio(&Figures::kbPerSession),
        ratio(&Figures::kbHeldPerSession));
  }
  if (!offline) {
    // How much longer the last beacon of a tick took to arrive than the
    // transport alone needs for as many requests.
    std::printf("\ntick to wire, longest / bare burst%s:", repeats > 1 ? " (medians)" : "");
    for (const auto& [n, runs] : results) {
      std::vector<double> longest, bare;
      for (const Figures& f : runs) {
        longest.push_back(f.wireMaxMs);
        bare.push_back(f.bareBurstMs);
      }
      std::printf(" N=%d %.2f", n, median(bare) > 0 ? median(longest) / median(bare) : 0.0);
    }
    std::printf("\n");
  }
  std::printf("fired = received and the ledgers equal the sink's log: %s\n", ok ? "yes" : "NO");
  return ok ? 0 : 1;
}
