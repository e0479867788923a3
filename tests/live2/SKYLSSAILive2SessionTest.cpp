#include <condition_variable>
#include <future>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "environment/SessionEnvironment.h"

#include "live2/SKYLSSAILive2Detector.h"
#include "live2/SKYLSSAILive2SessionClient.h"
#include "live2/SKYLSSAILive2SessionController.h"
#include "support/MockLiveService.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;
using test::MockLiveService;
using Rule = SKYLSSAILive2DetectionRule;

TEST(SKYLSSAILive2DetectorTest, Rules) {
  const auto production = URL::parse("https://MERIDIAN.skylark-ssai.net/v1/channel.m3u8");
  const auto sub = URL::parse("https://edge.meridian.skylark-ssai.net/v1/channel.m3u8");
  const auto other = URL::parse("https://cdn.example.com/live.m3u8");
  const std::optional<std::string> jwt = "eyJhbGciOi.x.y";
  struct Case {
    std::optional<URL> url;
    std::optional<std::string> token;
    bool hostnameOnly, tokenOnly, either;
  };
  const Case cases[] = {
      {production, std::nullopt, true, false, true}, {other, jwt, false, true, true},
      {sub, std::nullopt, false, false, false},      {std::nullopt, "eyJa..c", false, true, true},
      {other, "eyJa.b", false, false, false},        {other, "abc.d.e", false, false, false},
  };
  for (const auto& c : cases) {
    const std::string what =
        (c.url ? c.url->absoluteString() : "(no URL)") + " " + c.token.value_or("");
    EXPECT_EQ(SKYLSSAILive2Detector::isLive2(c.url, c.token, Rule::hostnameOnly), c.hostnameOnly)
        << what;
    EXPECT_EQ(SKYLSSAILive2Detector::isLive2(c.url, c.token, Rule::tokenOnly), c.tokenOnly) << what;
    EXPECT_EQ(SKYLSSAILive2Detector::isLive2(c.url, c.token), c.either) << what;
  }
  EXPECT_TRUE(
      SKYLSSAILive2Detector::matchesHostname(URL::parse("https://meridian-qa.skylark-ssai.net/x")));
  EXPECT_TRUE(
      SKYLSSAILive2Detector::isLegacyVela(URL::parse("https://a.example.com/x_ssaiM/y.m3u8")));
  SKYLSSAILive2Detector::setEndpointHosts("live.example.com", "qa.example.com");
  EXPECT_TRUE(SKYLSSAILive2Detector::matchesHostname(URL::parse("https://LIVE.example.com/a")));
  EXPECT_FALSE(SKYLSSAILive2Detector::matchesHostname(production));
  SKYLSSAILive2Detector::setEndpointHosts(kSKYLSSAILive2ProductionHost, kSKYLSSAILive2QAHost);
}

Result<SKYLSSAILive2SessionURLs, SKYLSSAILive2Error> openSession(const std::string& url,
                                                                 double timeout = 10.0) {
  std::promise<Result<SKYLSSAILive2SessionURLs, SKYLSSAILive2Error>> done;
  SKYLSSAILive2SessionClient client(URLSession::shared(), timeout);
  client.start(*URL::parse(url), {{"k", "v"}},
               [&](auto result) { done.set_value(std::move(result)); });
  auto future = done.get_future();
  if (future.wait_for(10s) != std::future_status::ready) {
    return SKYLSSAILive2Error(SKYLSSAILive2ErrorCode::SESSION_ERROR, "test: no completion");
  }
  return future.get();
}

TEST(SKYLSSAILive2SessionClientTest, PostsAndResolvesRelativeURLs) {
  MockLiveService service;
  const auto result = openSession(service.sessionURL());
  ASSERT_TRUE(result.ok()) << result.error().description();
  EXPECT_EQ(result->manifest.absoluteString(),
            service.sessionURL().substr(0, service.sessionURL().find("/v1")) + "/live/m.m3u8");
  EXPECT_EQ(result->tracking.host(), "127.0.0.1");
  const auto bodies = service.sessionBodies();
  ASSERT_EQ(bodies.size(), 1u);
  EXPECT_EQ(nlohmann::json::parse(bodies[0])["adsParams"]["k"], "v");
  EXPECT_EQ(nlohmann::json::parse(bodies[0])["reportingMode"], "server");
}

TEST(SKYLSSAILive2SessionClientTest, EveryFailure) {
  struct Case {
    int status;
    const char* body;
    int delayMs;
    double timeout;
    SKYLSSAILive2ErrorCode code;
    const char* message;
  };
  const std::string relative = MockLiveService::relativeSessionBody();
  const Case cases[] = {
      {503, "busy", 0, 10, SKYLSSAILive2ErrorCode::SESSION_ERROR,
       "Session init failed with HTTP 503"},
      {200, "", 0, 10, SKYLSSAILive2ErrorCode::PARSE_ERROR, "Session response was empty"},
      {200, "<html>", 0, 10, SKYLSSAILive2ErrorCode::PARSE_ERROR,
       "Failed to parse session response"},
      {200, R"({"manifestUrl": "/m.m3u8"})", 0, 10, SKYLSSAILive2ErrorCode::INVALID_SESSION,
       "Session response missing manifestUrl or trackingUrl"},
      {200, relative.c_str(), 1500, 0.2, SKYLSSAILive2ErrorCode::TIMEOUT_ERROR,
       "Session init failed"},
  };
  for (const auto& c : cases) {
    MockLiveService service;
    service.setSessionAnswer({c.status, c.body, c.delayMs});
    const auto result = openSession(service.sessionURL(), c.timeout);
    ASSERT_FALSE(result.ok()) << c.message;
    EXPECT_EQ(result.error().code, c.code) << c.message;
    EXPECT_EQ(result.error().message, c.message);
    if (c.status == 503) {
      EXPECT_EQ(result.error().context.at("statusCode"), "503");
    }
  }
  // A body that does not decode carries the decoder's own error beneath.
  {
    MockLiveService service;
    service.setSessionAnswer({200, "<html>", 0});
    const auto result = openSession(service.sessionURL());
    ASSERT_FALSE(result.ok());
    ASSERT_TRUE(result.error().underlying);
    EXPECT_NE(result.error().underlying->localizedDescription, result.error().message);
    EXPECT_NE(result.error().underlying->description().find("The session response is not JSON"),
              std::string::npos)
        << result.error().underlying->description();
  }
  int closedPort = 0;
  {
    test::LoopbackServer gone;
    closedPort = gone.port();
  }
  const auto refused =
      openSession("http://127.0.0.1:" + std::to_string(closedPort) + "/v1/session");
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.error().code, SKYLSSAILive2ErrorCode::NETWORK_ERROR);
  ASSERT_TRUE(refused.error().underlying);
}

// Records what the controller says, from whatever thread it says it.
class RecordingDelegate : public SKYLSSAILive2ControllerDelegate {
 public:
  void live2ControllerDidResolveManifest(const URL& manifest) override {
    record("resolved " + manifest.absoluteString().substr(manifest.absoluteString().rfind('/')));
  }
  void live2ControllerDidFail(const SKYLError& error) override {
    record("failed " + std::to_string(error.code) + " " + error.localizedDescription);
  }

  std::vector<std::string> calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }
  size_t count(const std::string& call) const {
    const auto all = calls();
    return static_cast<size_t>(std::count(all.begin(), all.end(), call));
  }
  bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] {
      lock.unlock();
      const bool met = condition();
      lock.lock();
      return met;
    });
  }

 private:
  void record(std::string call) {
    {
      std::lock_guard lock(mutex_);
      calls_.push_back(std::move(call));
    }
    changed_.notify_all();
  }
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> calls_;
};

const std::string kAvail =
    R"({"nextToken": "tok 1", "avails": [{"availId": "a1", "durationInSeconds": 30, "ads": [{"adId": "x", "durationInSeconds": 30}]}]})";

// The controller's poll runs on a manual clock: a poll starts when the
// test moves the clock on by the interval.
constexpr double kPollInterval = 0.02;

std::shared_ptr<SKYLSSAILive2SessionController> controllerFor(
    const MockLiveService& service, const std::shared_ptr<ManualSessionClock>& clock) {
  SKYLSSAILive2SessionController::Dependencies dependencies;
  dependencies.pollInterval = kPollInterval;
  return SKYLSSAILive2SessionController::create(
      *URL::parse(service.sessionURL()), *SessionEnvironment::make({clock, nullptr, nullptr}),
      std::move(dependencies));
}

// Moves the poll's clock on, interval by interval, until the condition
// holds (a tick while a poll is in flight is skipped, as on a real timer);
// false after 10 s of waiting.
bool pollUntil(ManualSessionClock& clock, const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    clock.advance(kPollInterval);
    std::this_thread::yield();
  }
  return true;
}

std::shared_ptr<ManualSessionClock> manualClock() {
  return std::make_shared<ManualSessionClock>(SystemTime{});
}

TEST(SKYLSSAILive2SessionControllerTest, PollsWithTheTokenAndResetsItAfterFiveFailures) {
  MockLiveService service;
  std::vector<MockLiveService::Answer> script = {{200, kAvail, 0}};
  for (int i = 0; i < 5; ++i) script.push_back({500, "", 0});
  script.push_back({200, kAvail, 0});
  service.scriptTracking(script);
  auto delegate = std::make_shared<RecordingDelegate>();
  const auto clock = manualClock();
  auto controller = controllerFor(service, clock);
  controller->setDelegate(delegate);
  controller->start({});
  ASSERT_TRUE(pollUntil(*clock, [&] { return service.pollTargets().size() >= 8; }));
  // Answers are taken in on the poll's queue: every failure is heard before the stop.
  ASSERT_TRUE(delegate->waitFor(
      [&] { return delegate->count("failed 5 Tracking fetch failed with HTTP 500") == 5; }, 5s));
  controller->stop();

  const auto polls = service.pollTargets();
  EXPECT_EQ(polls[0], "/live/tracking?x=1");
  EXPECT_EQ(polls[1], "/live/tracking?x=1&nextToken=tok%201");  // after the other items
  EXPECT_EQ(polls[5], "/live/tracking?x=1&nextToken=tok%201");  // the fifth failure is next
  EXPECT_EQ(polls[6], "/live/tracking?x=1");                    // token dropped after five
  ASSERT_TRUE(delegate->waitFor(
      [&] { return delegate->count("failed 5 Tracking fetch failed with HTTP 500") == 5; }, 5s));
  const auto calls = delegate->calls();
  EXPECT_EQ(calls[0], "resolved /m.m3u8");
  EXPECT_EQ(calls.size(), 6u);  // resolved, then the five failures: answers merge silently
  EXPECT_EQ(controller->timeline()->entries().size(), 1u);
}

TEST(SKYLSSAILive2SessionControllerTest, ABrokenAnswerFailsOnePollAndPollingGoesOn) {
  MockLiveService service;
  service.scriptTracking({{200, "not json", 0}, {200, "", 0}, {200, kAvail, 0}});
  auto delegate = std::make_shared<RecordingDelegate>();
  const auto clock = manualClock();
  auto controller = controllerFor(service, clock);
  controller->setDelegate(delegate);
  controller->start({});
  ASSERT_TRUE(pollUntil(*clock, [&] { return controller->timeline()->entries().size() == 1; }));
  controller->stop();
  EXPECT_EQ(delegate->count("failed 3 Failed to parse tracking response"), 1u);
  EXPECT_EQ(delegate->count("failed 5 Tracking API returned an empty response"), 1u);
}

TEST(SKYLSSAILive2SessionControllerTest, StopDuringThePostDropsTheAnswer) {
  MockLiveService service;
  service.setSessionAnswer({200, MockLiveService::relativeSessionBody(), 300});
  auto delegate = std::make_shared<RecordingDelegate>();
  const auto clock = manualClock();
  auto controller = controllerFor(service, clock);
  controller->setDelegate(delegate);
  controller->start({});
  controller->stop();
  ASSERT_TRUE(service.waitForSessionAnswers(5s));  // past the answer: nothing may follow it
  clock->advance(1);
  EXPECT_TRUE(delegate->calls().empty());
  EXPECT_TRUE(service.pollTargets().empty());
  EXPECT_FALSE(controller->manifestURL());
}

TEST(SKYLSSAILive2SessionControllerTest, StopDuringAFailingPostReportsNothing) {
  MockLiveService service;
  service.setSessionAnswer({503, "busy", 300});
  auto delegate = std::make_shared<RecordingDelegate>();
  auto controller = controllerFor(service, manualClock());
  controller->setDelegate(delegate);
  controller->start({});
  controller->stop();
  ASSERT_TRUE(service.waitForSessionAnswers(5s));  // past the answer
  EXPECT_TRUE(delegate->calls().empty());
}

TEST(SKYLSSAILive2SessionControllerTest, AResumedSessionPollsWithoutAPost) {
  MockLiveService service;
  service.scriptTracking({{200, R"({"avails": []})", 0}});
  auto delegate = std::make_shared<RecordingDelegate>();
  const auto clock = manualClock();
  auto controller = controllerFor(service, clock);
  controller->setDelegate(delegate);
  controller->resume({*URL::parse(service.sessionURL() + "/m"),
                      *URL::parse(service.sessionURL().substr(0, service.sessionURL().find("/v1")) +
                                  "/live/tracking")});
  ASSERT_TRUE(pollUntil(*clock, [&] { return service.pollTargets().size() >= 3; }));
  controller->stop();
  EXPECT_TRUE(service.sessionBodies().empty());
  EXPECT_EQ(delegate->calls(), std::vector<std::string>{"resolved /m"});
  EXPECT_TRUE(controller->timeline()->entries().empty());
}

TEST(SKYLSSAILive2TrackingClientTest, ASecondFetchWhileOneIsOutstandingIsSkipped) {
  MockLiveService service;
  service.scriptTracking({{200, kAvail, 300}});
  const std::string base = service.sessionURL().substr(0, service.sessionURL().find("/v1"));
  auto client = SKYLSSAILive2TrackingClient::create(*URL::parse(base + "/live/tracking"),
                                                    URLSession::shared());
  std::promise<bool> first;
  EXPECT_TRUE(client->fetch([&](auto outcome) {
    first.set_value(std::holds_alternative<SKYLSSAILive2TrackingResponse>(outcome));
  }));
  std::optional<SKYLSSAILive2PollSkip::Reason> skipped;
  EXPECT_FALSE(client->fetch([&](auto outcome) {
    if (auto* skip = std::get_if<SKYLSSAILive2PollSkip>(&outcome)) skipped = skip->reason;
  }));
  EXPECT_EQ(skipped, SKYLSSAILive2PollSkip::alreadyInFlight);
  EXPECT_TRUE(first.get_future().get());
  EXPECT_EQ(service.pollTargets().size(), 1u);
  EXPECT_EQ(client->nextToken(), "tok 1");
}

// The skipped fetch's completion may ask the client something: it runs
// outside the client's lock (a second fetch from inside it, say).
TEST(SKYLSSAILive2TrackingClientTest, TheSkippedFetchsCompletionRunsOutsideTheLock) {
  MockLiveService service;
  service.scriptTracking({{200, kAvail, 300}});
  const std::string base = service.sessionURL().substr(0, service.sessionURL().find("/v1"));
  auto client = SKYLSSAILive2TrackingClient::create(*URL::parse(base + "/live/tracking"),
                                                    URLSession::shared());
  std::promise<void> first;
  ASSERT_TRUE(client->fetch([&](auto) { first.set_value(); }));
  // On a thread of its own: under the lock it would wait for itself for ever.
  struct Skipped {
    std::promise<bool> fetched;
    std::optional<int> failuresSeen;
  };
  auto skipped = std::make_shared<Skipped>();
  auto done = skipped->fetched.get_future();
  std::thread([client, skipped] {
    skipped->fetched.set_value(nullptr != client->fetch([client, skipped](auto) {
      skipped->failuresSeen = client->consecutiveFailures();
    }));
  }).detach();
  ASSERT_EQ(done.wait_for(5s), std::future_status::ready);
  EXPECT_FALSE(done.get());
  EXPECT_EQ(skipped->failuresSeen, 0);
  first.get_future().wait();
}

// A scheduler that lets the test stop the controller just as polling is
// about to be armed.
class StopWhileArming final : public SKYLSSAILive2Scheduler {
 public:
  std::function<void()> beforeArming;
  bool armed = false;
  void schedule(double, std::function<void()>) override {
    if (beforeArming) beforeArming();
    armed = true;
  }
  void cancel() override { armed = false; }
  void post(std::function<void()> work) override { work(); }
};

TEST(SKYLSSAILive2SessionControllerTest, AStopWhilePollingIsArmedLeavesNoTimer) {
  SKYLSSAILive2SessionController::Dependencies dependencies;
  auto scheduler = std::make_unique<StopWhileArming>();
  auto* arming = scheduler.get();
  dependencies.scheduler = std::move(scheduler);
  auto controller = SKYLSSAILive2SessionController::create(
      *URL::parse("http://127.0.0.1:9/v1/session"), std::move(dependencies));
  arming->beforeArming = [&] { controller->stop(); };
  controller->resume(
      {*URL::parse("http://127.0.0.1:9/m.m3u8"), *URL::parse("http://127.0.0.1:9/tracking")});
  EXPECT_FALSE(arming->armed);
}

// Polls fast while another thread reads the timeline and stops the
// controller: clean under ThreadSanitizer.
TEST(SKYLSSAILive2SessionControllerTest, PollingReadingAndStoppingFromManyThreads) {
  MockLiveService service;
  service.scriptTracking(
      {{200, kAvail, 0}, {200, R"({"avails": [{"availId": "a2", "durationInSeconds": 10}]})", 0}});
  auto delegate = std::make_shared<RecordingDelegate>();
  const auto clock = manualClock();
  auto controller = controllerFor(service, clock);
  controller->setDelegate(delegate);
  controller->start({});
  std::atomic<bool> done{false};
  std::thread reader([&] {
    while (!done) {
      (void)controller->timeline()->entries();
      (void)controller->timeline()->entry(SystemTime(std::chrono::milliseconds(0)));
      (void)controller->manifestURL();
    }
  });
  ASSERT_TRUE(pollUntil(*clock, [&] { return service.pollTargets().size() >= 5; }));
  std::thread stopper([&] { controller->stop(); });
  stopper.join();
  done = true;
  reader.join();
  // Stopped: however far the clock moves, no poll starts (one in flight may still land).
  const size_t polls = service.pollTargets().size();
  for (int i = 0; i < 100; ++i) clock->advance(kPollInterval);
  EXPECT_LE(service.pollTargets().size(), polls + 1);
}

}  // namespace
}  // namespace skylark
