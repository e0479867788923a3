// Start-up: what the plug-in adds between the application asking for a
// session and the player getting its stream. A loopback server serves a
// generated VMAP document (doc 0: 3 breaks of 1 ad, about 40 KB; doc 1: 60
// breaks of 4 ads, about 2.9 MB); each figure is timed on the real stack:
//
//   BM_BareGet           libcurl's GET of the document, nothing else
//   BM_BareGetAndParse   the same GET and libxml2's parse (and free) of it
//   BM_SessionStart      provider, SKYLVUXSession, SimulatedPlayer, the URL
//                        session's GET: from the provider's request for
//                        sessions to the stream URL handed to the player's
//                        item, for 1 session or a batch of 100
//   BM_BareStartThroughQueues
//                        the bare GET and parse again, handed along the
//                        threads a start passes through: main to the global
//                        queue, on to a serial queue, to a thread of its own
//                        that runs the GET (as the URL session's thread does),
//                        back to the global queue to parse, and to the main
//                        queue, each hand-off waking a thread that waited
//                        idle. The library's queues carry it, and nothing
//                        else of the library runs on the way: this is the
//                        fastest any start on this machine can be, and
//                        SessionStart / BareStartThroughQueues is what the
//                        library adds to it
//
// and stated as ratios to the baseline of the same run. Run with
// --benchmark_repetitions=K --benchmark_enable_random_interleaving=true for
// ratios of medians.
#include <curl/curl.h>
#include <libxml/parser.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <httplib.h>

#include "RatioReporter.h"
#include "entry/SKYLSSAIAdditions.h"
#include "host/SKYLHostLog.h"
#include "host/reference/SimulatedPlayer.h"
#include "platform/DispatchQueue.h"
#include "timeline/SKYLVelaLog.h"

namespace skylark {
namespace {

using Clock = std::chrono::steady_clock;

const char* const kDocuments[] = {SKYLARK_VMAP_SMALL, SKYLARK_VMAP_MEDIUM};
// The parse options of the XML layer: recover, no error or warning output.
constexpr int kParseOptions = XML_PARSE_RECOVER | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

std::string readFile(const char* path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// Serves /vmap/N (document N) on 127.0.0.1, as a CDN would: keep-alive
// connections that last the whole run, and no Nagle delay (without
// TCP_NODELAY the body, written after the headers, waits 40 ms for the
// client's delayed ACK). The documents' own https URLs (tracking, media,
// verification, content at *.example.* hosts) point here too, at
// /ext/<host>/..., answered with 204: whatever a session fetches or fires
// while it starts stays on loopback (a lookup of the generator's
// hostnames leaves the machine, and can wait out a resolver's time-out of
// seconds, holding the document's GET back behind it).
class DocumentServer {
 public:
  DocumentServer() {
    server_.set_keep_alive_max_count(1 << 20);
    server_.set_tcp_nodelay(true);
    server_.Get(R"(/vmap/(\d))", [this](const httplib::Request& request, httplib::Response& out) {
      const auto& bytes = documents_.at(std::stoul(request.matches[1]));
      out.set_content(bytes.data(), bytes.size(), "application/xml");
    });
    server_.Get(R"(/ext/.*)",
                [](const httplib::Request&, httplib::Response& out) { out.status = 204; });
    port_ = server_.bind_to_any_port("127.0.0.1");
    const std::regex external(R"(https://([a-z0-9.-]+\.example\.[a-z]+))");
    const std::string here = "http://127.0.0.1:" + std::to_string(port_) + "/ext/$1";
    for (const char* path : kDocuments) {
      documents_.push_back(std::regex_replace(readFile(path), external, here));
    }
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::yield();
  }
  ~DocumentServer() {
    server_.stop();
    thread_.join();
  }

  static DocumentServer& shared() {
    static auto* server = new DocumentServer();  // lives as long as the process
    return *server;
  }
  std::string url(int64_t document) const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/vmap/" + std::to_string(document);
  }
  size_t size(int64_t document) const { return documents_.at(document).size(); }

 private:
  std::vector<std::string> documents_;
  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
};

size_t appendBody(char* data, size_t size, size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, size * count);
  return size * count;
}

// One easy handle per document for the whole run: its connection stays
// open, as the URL session's do.
class BareGet {
 public:
  explicit BareGet(const std::string& url) : easy_(curl_easy_init()) {
    curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &appendBody);
  }
  ~BareGet() { curl_easy_cleanup(easy_); }
  BareGet(const BareGet&) = delete;
  BareGet& operator=(const BareGet&) = delete;

  // The body, or nothing when the transfer failed.
  std::optional<std::string> perform() {
    std::string body;
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, &body);
    if (curl_easy_perform(easy_) != CURLE_OK) return std::nullopt;
    return body;
  }

 private:
  CURL* easy_;
};

void timeBareGet(benchmark::State& state, bool parse) {
  const int64_t document = state.range(0);
  BareGet get(DocumentServer::shared().url(document));
  for (auto _ : state) {
    const auto start = Clock::now();
    const auto body = get.perform();
    if (!body || body->size() != DocumentServer::shared().size(document)) {
      state.SkipWithError("the loopback GET failed");
      return;
    }
    if (parse) {
      xmlDocPtr doc =
          xmlReadMemory(body->data(), static_cast<int>(body->size()), "", nullptr, kParseOptions);
      benchmark::DoNotOptimize(doc);
      xmlFreeDoc(doc);
    }
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
}

void BM_BareGet(benchmark::State& state) { timeBareGet(state, false); }
void BM_BareGetAndParse(benchmark::State& state) { timeBareGet(state, true); }

struct Listener final : SKYLSessionListener {
  void deliverSessions(
      const std::vector<std::shared_ptr<SKYLPlaybackSession>>& delivered) override {
    sessions = delivered;
  }
  std::vector<std::shared_ptr<SKYLPlaybackSession>> sessions;
};

// range(0): the document; range(1): sessions asked for in one batch.
void BM_SessionStart(benchmark::State& state) {
  const int64_t document = state.range(0);
  const auto sessions = static_cast<size_t>(state.range(1));
  const auto vmapURL = URL::parse(DocumentServer::shared().url(document));
  auto& manager = SKYLPlayerSDKManager::sharedManager();
  std::vector<std::shared_ptr<SimulatedPlayer>> players;
  manager.setPlayerFactory([&] {
    auto player = SimulatedPlayer::create([](const URL&) {
      return std::optional(SimulatedMedia{MediaTime::make(3600, 1), {}, {}});
    });
    players.push_back(player);
    return player;
  });
  // One provider for the run, as an application keeps one.
  auto provider = createSSAISessionProviderWithUpstreamSessionProvider(manager, nullptr, nullptr);
  auto listener = std::make_shared<Listener>();
  const auto handedOver = [&] {
    size_t count = 0;
    for (const auto& player : players) {
      const auto item = player->currentItem();
      count += item && item->url() != *vmapURL;
    }
    return count;
  };
  for (auto _ : state) {
    std::vector<std::shared_ptr<SKYLVideo>> videos;
    for (size_t i = 0; i < sessions; ++i) {
      videos.push_back(SKYLVideo::initWithSources(
          {SKYLSource::initWithURL(vmapURL, std::string(kSKYLDeliveryHLS), {})}));
    }
    const auto start = Clock::now();
    (void)provider->playbackSessionsForVideos(videos, listener);
    const bool started = Dispatch::main().runUntil([&] { return handedOver() == sessions; },
                                                   std::chrono::seconds(60));
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    if (!started) {
      state.SkipWithError("no stream reached the player");
      break;
    }
    // Every session delivered, then let go; the next batch starts clean.
    // The provider keeps the batch it delivered until it is asked again:
    // asked for none here, it lets this batch go outside the timing, and
    // the next start is not charged with this one's teardown.
    Dispatch::main().runUntil([&] { return listener->sessions.size() == sessions; },
                              std::chrono::seconds(60));
    (void)provider->playbackSessionsForVideos({}, listener);
    listener->sessions.clear();
    players.clear();
    Dispatch::main().runUntilIdle();
  }
  manager.setPlayerFactory(nullptr);
  state.counters["bytes"] = static_cast<double>(DocumentServer::shared().size(document));
}

// One thread that runs the work it is handed, one piece at a time, and
// waits idle in between: the URL session's thread, without the library.
// It lives as long as the process, as the URL session's thread does.
class WorkerThread {
 public:
  static WorkerThread& shared() {
    static auto* worker = new WorkerThread();
    return *worker;
  }

  void post(std::function<void()> work) {
    {
      std::lock_guard lock(mutex_);
      work_.push_back(std::move(work));
    }
    ready_.notify_one();
  }

 private:
  WorkerThread() {
    std::thread([this] { loop(); }).detach();
  }

  [[noreturn]] void loop() {
    while (true) {
      std::function<void()> work;
      {
        std::unique_lock lock(mutex_);
        ready_.wait(lock, [this] { return !work_.empty(); });
        work = std::move(work_.front());
        work_.pop_front();
      }
      work();
    }
  }

  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::function<void()>> work_;
};

void BM_BareStartThroughQueues(benchmark::State& state) {
  const int64_t document = state.range(0);
  const size_t expected = DocumentServer::shared().size(document);
  // Used by the worker thread alone, one GET at a time.
  auto get = std::make_shared<BareGet>(DocumentServer::shared().url(document));
  WorkerThread& network = WorkerThread::shared();
  auto retrieval = Dispatch::makeSerialQueue("com.skylark.bench.retrieval");
  for (auto _ : state) {
    // Owned by the work as well: work that comes back after the time-out
    // finds it still there. 0 while under way, 1 parsed, 2 failed.
    const auto outcome = std::make_shared<int>(0);
    const auto start = Clock::now();
    Dispatch::global().async([=, &network] {
      retrieval->async([=, &network] {
        network.post([=] {
          auto body = std::make_shared<const std::optional<std::string>>(get->perform());
          Dispatch::global().async([=] {
            const bool complete = *body && (*body)->size() == expected;
            if (complete) {
              xmlDocPtr doc = xmlReadMemory((*body)->data(), static_cast<int>((*body)->size()), "",
                                            nullptr, kParseOptions);
              benchmark::DoNotOptimize(doc);
              xmlFreeDoc(doc);
            }
            Dispatch::main().async([=] { *outcome = complete ? 1 : 2; });
          });
        });
      });
    });
    const bool returned =
        Dispatch::main().runUntil([&] { return *outcome != 0; }, std::chrono::seconds(60));
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    if (!returned) {
      state.SkipWithError("the work never came back to the main queue");
      break;
    }
    if (*outcome != 1) {
      state.SkipWithError("the loopback GET failed");
      break;
    }
  }
}

// The fastest of the repetitions, beside their median: see RatioReporter.
double fastest(const std::vector<double>& times) {
  return *std::min_element(times.begin(), times.end());
}

// Each document, timed by hand, its fastest repetition beside the median.
void eachDocument(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"doc"})
      ->Arg(0)
      ->Arg(1)
      ->UseManualTime()
      ->ComputeStatistics("min", fastest)
      ->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_BareGet)->Apply(eachDocument);
BENCHMARK(BM_BareGetAndParse)->Apply(eachDocument);
BENCHMARK(BM_BareStartThroughQueues)->Apply(eachDocument);
BENCHMARK(BM_SessionStart)
    ->ArgNames({"doc", "sessions"})
    ->Args({0, 1})
    ->Args({1, 1})
    ->Args({0, 100})
    ->UseManualTime()
    ->ComputeStatistics("min", fastest)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace skylark

int main(int argc, char** argv) {
  skylark::SKYLVelaLogConfigure(0);
  curl_global_init(CURL_GLOBAL_DEFAULT);
  return skylark::bench::runWithRatios(
      argc, argv,
      {{"BM_SessionStart/doc:0/sessions:1/manual_time", "BM_BareGetAndParse/doc:0/manual_time"},
       {"BM_SessionStart/doc:1/sessions:1/manual_time", "BM_BareGetAndParse/doc:1/manual_time"},
       {"BM_BareGetAndParse/doc:0/manual_time", "BM_BareGet/doc:0/manual_time"},
       {"BM_BareGetAndParse/doc:1/manual_time", "BM_BareGet/doc:1/manual_time"},
       {"BM_BareStartThroughQueues/doc:0/manual_time", "BM_BareGetAndParse/doc:0/manual_time"},
       {"BM_BareStartThroughQueues/doc:1/manual_time", "BM_BareGetAndParse/doc:1/manual_time"},
       {"BM_SessionStart/doc:0/sessions:1/manual_time",
        "BM_BareStartThroughQueues/doc:0/manual_time"},
       {"BM_SessionStart/doc:1/sessions:1/manual_time",
        "BM_BareStartThroughQueues/doc:1/manual_time"},
       {"BM_SessionStart/doc:0/sessions:100/manual_time",
        "BM_SessionStart/doc:0/sessions:1/manual_time"}});
}
