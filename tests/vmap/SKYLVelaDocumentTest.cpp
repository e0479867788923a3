#include "vmap/SKYLVelaDocument.h"

#include <future>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>
#include <httplib.h>

#include "host/SKYLHostLog.h"
#include "host/SKYLHostNotifications.h"
#include "platform/Log.h"
#include "support/LoopbackServer.h"
#include "support/TimelineFixtures.h"
#include "support/VMAPFixtures.h"
#include "timeline/SKYLVelaErrors.h"
#include "vmap/SKYLVelaTimelineLoader.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;
using test::LoopbackServer;

struct Outcome {
  std::shared_ptr<SKYLVelaDocument> document;
  std::optional<SKYLError> error;
};

// Retrieves on the global queue and waits for the completion.
Outcome retrieve(const std::shared_ptr<SKYLVelaDocument>& document,
                 const HTTPHeaderFields& headers = {}) {
  std::promise<Outcome> done;
  document->retrieveOnQueue(Dispatch::global(), headers, [&done](auto doc, auto error) {
    done.set_value({doc, error});
  });
  auto future = done.get_future();
  if (future.wait_for(20s) != std::future_status::ready) return {nullptr, SKYLError("test", -1)};
  return future.get();
}

std::shared_ptr<SKYLVelaDocument> documentFor(const std::string& url) {
  return SKYLVelaDocument::initWithURL(*URL::parse(url));
}

const std::string kVMAP = test::vmapDocument(test::adBreak("start", "00:00:15"));

TEST(SKYLVelaDocumentTest, RetrievesWithHeadersAndAnnouncesTheRawResponse) {
  LoopbackServer server([](httplib::Server& s) {
    s.Get("/vmap.xml", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(kVMAP, "application/xml");
    });
  });
  std::vector<std::string> announced;
  std::vector<std::string> objects;
  const auto token = NotificationCenter::defaultCenter().addObserver(
      std::string(kSKYLSSAIVMAPResponseReceivedNotification), [&](const Notification& n) {
        EXPECT_TRUE(Dispatch::main().isCurrent());
        announced.push_back(std::any_cast<std::string>(n.userInfo.at("response_data")));
        objects.push_back(std::any_cast<std::string>(n.object));
      });
  auto document = documentFor(server.url("/vmap.xml"));
  document->setSessionCommonProperties(std::string("session-1"));
  const auto outcome = retrieve(
      document,
      {{"User-Agent", "ios-vela-ux/7.2.18.42 (test)"}, {"X-Extra", "a"}, {"x-extra", "b"}});
  EXPECT_FALSE(outcome.error) << outcome.error->description();
  EXPECT_EQ(outcome.document, document);
  EXPECT_EQ(document->state(), SKYLVelaDocument::State::Retrieved);
  ASSERT_TRUE(document->timeline());
  EXPECT_EQ(document->vmapExtensionsNamespace(), "sk");

  ASSERT_TRUE(server.waitForRequests(1, 5s));
  const auto request = server.requests().at(0);
  EXPECT_EQ(request.header("User-Agent"), "ios-vela-ux/7.2.18.42 (test)");
  EXPECT_EQ(request.header("X-Extra"), "a,b");

  EXPECT_TRUE(Dispatch::main().runUntil([&] { return !announced.empty(); }, 5s));
  EXPECT_EQ(announced, std::vector<std::string>{kVMAP});
  EXPECT_EQ(objects, std::vector<std::string>{"session-1"});
  NotificationCenter::defaultCenter().removeObserver(token);
}

TEST(SKYLVelaDocumentTest, TheResponseIsReadOffTheURLSessionsThread) {
  // The URL session's one thread carries every transfer of the process: a
  // document of megabytes read there would hold up every beacon meanwhile.
  LoopbackServer server([](httplib::Server& s) {
    s.Get("/vmap.xml", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(kVMAP, "application/xml");
    });
  });
  const auto session = URLSession::create();
  std::promise<std::thread::id> networkThread;
  session
      ->dataTask(URLRequest(*URL::parse(server.url("/status/204"))),
                 [&](auto) { networkThread.set_value(std::this_thread::get_id()); })
      ->resume();
  auto networkThreadId = networkThread.get_future();
  ASSERT_EQ(networkThreadId.wait_for(5s), std::future_status::ready);

  // The response's verbose log line is written where it is read.
  std::mutex mutex;
  std::vector<std::thread::id> readOn;
  setLogSink([&](const LogRecord& record) {
    if (record.message.rfind("VMAP response: ", 0) != 0) return;
    std::lock_guard lock(mutex);
    readOn.push_back(std::this_thread::get_id());
  });
  const int level = SKYLHostLogLevel();
  SKYLHostLogSetLevel(6);
  auto document = documentFor(server.url("/vmap.xml"));
  document->setSharedURLSession(session);
  const auto outcome = retrieve(document);
  SKYLHostLogSetLevel(level);
  setLogSink(nullptr);
  EXPECT_FALSE(outcome.error);
  std::lock_guard lock(mutex);
  ASSERT_EQ(readOn.size(), 1u);
  EXPECT_NE(readOn.front(), networkThreadId.get());
}

TEST(SKYLVelaDocumentTest, TransportFailuresAreConnectionErrors) {
  LoopbackServer server;
  int closedPort = 0;
  {
    LoopbackServer gone;
    closedPort = gone.port();
  }
  struct Case {
    std::string name;
    std::string url;
    int64_t underlying;
    // Only the time-out case waits for its time-out: the others fail on
    // their own, however slow the machine.
    std::chrono::milliseconds timeout = 30s;
  };
  const Case cases[] = {
      {"refused", "http://127.0.0.1:" + std::to_string(closedPort) + "/v.xml",
       kURLErrorCannotConnectToHost},
      {"time-out", server.url("/delay/3000"), kURLErrorTimedOut, 300ms},
      {"over 16 MiB", server.url("/bytes/" + std::to_string((16 << 20) + 1)),
       kURLErrorDataLengthExceedsMaximum},
      {"file", "file:///etc/hostname", kURLErrorUnsupportedURL},
      {"gopher", "gopher://127.0.0.1/1", kURLErrorUnsupportedURL},
  };
  for (const auto& c : cases) {
    auto document = documentFor(c.url);
    document->setTimeoutInterval(c.timeout);
    const auto outcome = retrieve(document);
    ASSERT_TRUE(outcome.error) << c.name;
    EXPECT_EQ(outcome.error->domain, "SKYLVelaErrorDomain") << c.name;
    EXPECT_EQ(outcome.error->code, 4010) << c.name;
    ASSERT_TRUE(outcome.error->underlyingError) << c.name;
    EXPECT_EQ(outcome.error->underlyingError->code, c.underlying) << c.name;
    EXPECT_EQ(document->state(), SKYLVelaDocument::State::Failed) << c.name;
  }
}

TEST(SKYLVelaDocumentTest, ABodyThatIsNotVMAPIsADeserializationError) {
  LoopbackServer server([](httplib::Server& s) {
    s.Get("/json", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("{ vast: null }", "application/json");
    });
  });
  const auto outcome = retrieve(documentFor(server.url("/json")));
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->code, 4011);
  EXPECT_EQ(outcome.document->state(), SKYLVelaDocument::State::Failed);
}

// A downloaded document may only name http(s) streams: a file: stream
// would make the player read a local file. Local documents may.
TEST(SKYLVelaDocumentTest, ADownloadedDocumentNamingALocalStreamFails) {
  std::string local = kVMAP;
  local.replace(local.find("https://cdn.example.com/stream.m3u8"), 35, "file:///etc/passwd");
  LoopbackServer server([&](httplib::Server& s) {
    s.Get("/local", [&](const httplib::Request&, httplib::Response& response) {
      response.set_content(local, "application/xml");
    });
  });
  const auto outcome = retrieve(documentFor(server.url("/local")));
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->code, 4011);
  EXPECT_EQ(outcome.error->localizedDescription,
            "The VMAP document names a stream that is not http(s).");
  EXPECT_FALSE(outcome.document->timeline());
  EXPECT_EQ(outcome.document->responseStatusCode(), 200);

  const auto fromFile = SKYLVelaDocument::initWithVMAPXMLData(local);
  fromFile->processVMAPXMLData([](auto, const auto& error) { EXPECT_FALSE(error); });
  ASSERT_TRUE(fromFile->timeline());
  EXPECT_EQ(fromFile->timeline()->velaURL()->absoluteString(), "file:///etc/passwd");
}

TEST(SKYLVelaDocumentTest, ASecondRetrievalFailsAndFailsTheDocument) {
  LoopbackServer server([](httplib::Server& s) {
    s.Get("/slow.xml", [](const httplib::Request&, httplib::Response& response) {
      std::this_thread::sleep_for(200ms);
      response.set_content(kVMAP, "application/xml");
    });
  });
  auto document = documentFor(server.url("/slow.xml"));
  std::promise<Outcome> first;
  document->retrieveOnQueue(Dispatch::global(), {}, [&first](auto doc, auto error) {
    first.set_value({doc, error});
  });
  const auto second = retrieve(document);
  ASSERT_TRUE(second.error);
  EXPECT_EQ(second.error->code, 4012);
  EXPECT_EQ(second.document, nullptr);
  EXPECT_EQ(second.error->failureReason,
            "Multiple -[SKYLVelaDocument retrieveOnQueue:completion:] messages not may not be "
            "sent to the same instance.");
  EXPECT_EQ(second.error->recoverySuggestion,
            "Create a new instance of SKYLVelaDocument with URL " + server.url("/slow.xml") +
                " to re-retrieve.");
  auto firstOutcome = first.get_future();
  ASSERT_EQ(firstOutcome.wait_for(10s), std::future_status::ready);
  EXPECT_FALSE(firstOutcome.get().error);
  // The first download succeeded later, but the document stays failed.
  EXPECT_EQ(document->state(), SKYLVelaDocument::State::Failed);
}

std::shared_ptr<SKYLVelaTimelineLoader> load(std::shared_ptr<SKYLSource> source) {
  auto loader = SKYLVelaTimelineLoader::initWithSource(std::move(source));
  std::promise<void> done;
  loader->load([&done](auto) { done.set_value(); });
  EXPECT_EQ(done.get_future().wait_for(20s), std::future_status::ready);
  return loader;
}

TEST(SKYLVelaTimelineLoaderTest, ASessionKeepsItsDocumentsBytesOnce) {
  // Bytes the application gives: the timeline keeps the source's own, and
  // sources made from the same shared bytes share them.
  const auto bytes = std::make_shared<const std::string>(kVMAP);
  const auto first = load(SKYLSource::initWithVMAPXMLData(bytes, {}));
  const auto second = load(SKYLSource::initWithVMAPXMLData(bytes, {}));
  ASSERT_TRUE(first->resultTimeline());
  ASSERT_TRUE(second->resultTimeline());
  EXPECT_EQ(first->resultTimeline()->vmapResponseData(), bytes);
  EXPECT_EQ(second->resultTimeline()->vmapResponseData(), bytes);

  // Bytes downloaded: the timeline keeps the download's buffer, as large as
  // the document and no larger; with nobody observing, no copy is announced.
  LoopbackServer server([](httplib::Server& s) {
    s.Get("/vmap.xml", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(kVMAP, "application/xml");
    });
  });
  const auto downloaded =
      load(SKYLSource::initWithURL(URL::parse(server.url("/vmap.xml")), "Vela", {}));
  ASSERT_TRUE(downloaded->resultTimeline());
  const auto& kept = downloaded->resultTimeline()->vmapResponseData();
  ASSERT_TRUE(kept);
  EXPECT_EQ(*kept, kVMAP);
  EXPECT_EQ(kept->capacity(), kVMAP.size());
  // Once the announcement has found no observer and the download's
  // callback has returned, the timeline's is the only reference.
  EXPECT_TRUE(Dispatch::main().runUntil([&] { return kept.use_count() == 1; }, 5s));
}

TEST(SKYLVelaTimelineLoaderTest, LoadsFromEachKindOfSource) {
  LoopbackServer server([](httplib::Server& s) {
    s.Get("/vmap.xml", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(kVMAP, "application/xml");
    });
  });
  const auto fromBytes = load(SKYLSource::initWithVMAPXMLData(kVMAP, {}));
  ASSERT_TRUE(fromBytes->resultTimeline());
  EXPECT_FALSE(fromBytes->error());

  const auto fromURL =
      load(SKYLSource::initWithURL(URL::parse(server.url("/vmap.xml")), "Vela", {}));
  ASSERT_TRUE(fromURL->resultTimeline());
  EXPECT_EQ(*fromURL->resultTimeline(), *fromBytes->resultTimeline());

  auto liveSource = SKYLSource::initWithURL(URL::parse(server.url("/live.m3u8")), "HLS", {});
  liveSource->setLiveSSAISource(true);
  const auto live = load(liveSource);
  ASSERT_TRUE(live->resultTimeline());
  EXPECT_TRUE(live->resultTimeline()->isLiveSSAI());
  EXPECT_TRUE(live->resultTimeline()->payloadLength().isPositiveInfinity());
  EXPECT_TRUE(live->resultTimeline()->adSequences()->empty());
  EXPECT_TRUE(server.waitForRequests(1, 5s));
  EXPECT_EQ(server.requests().size(), 1u);  // nothing was downloaded for the live source

  const auto none = load(SKYLSource::initWithURL(std::nullopt, "HLS", {}));
  EXPECT_FALSE(none->resultTimeline());
  ASSERT_TRUE(none->error());
  EXPECT_EQ(none->error()->domain, kSKYLPlaybackSessionErrorDomain);
  EXPECT_EQ(none->error()->code, kSKYLPlaybackSessionErrorCodeLoadFailed);

  const auto broken = load(SKYLSource::initWithVMAPXMLData("<VMAP><AdBreak/>", {}));
  EXPECT_FALSE(broken->resultTimeline());
  ASSERT_TRUE(broken->error());
  EXPECT_EQ(broken->error()->code, 4011);
  EXPECT_EQ(broken->error()->localizedDescription,
            "AdBreak timeOffset `(null)` could not be parsed.");
}

}  // namespace
}  // namespace skylark
