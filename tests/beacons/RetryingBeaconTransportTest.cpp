#include "beacons/RetryingBeaconTransport.h"

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "support/ManualScheduler.h"
#include "support/RecordingTransport.h"

namespace skylark {
namespace {

using test::RecordingTransport;

const URL kBeacon = *URL::parse("https://b.example.com/imp");
RetryingBeaconTransport::Options liveOptions(test::ManualScheduler& scheduler) {
  RetryingBeaconTransport::Options options;
  options.schedule = scheduler.schedule();
  options.logLabel = "Meridian Live beacon";
  return options;
}

const std::string kLine = "SkylarkSSAI: Meridian Live beacon https://b.example.com/imp. ";

class RetryingBeaconTransportTest : public ::testing::Test {
 protected:
  std::shared_ptr<RecordingTransport> inner_ = std::make_shared<RecordingTransport>();
  test::ManualScheduler scheduler_;
  test::LogCapture log_;
  std::shared_ptr<RetryingBeaconTransport> transport_ =
      RetryingBeaconTransport::create(inner_, liveOptions(scheduler_));
  std::vector<BeaconDelivery::Outcome> outcomes_;
  BeaconTransport::Delivered record_ = [this](const BeaconDelivery& d) {
    outcomes_.push_back(d.outcome);
  };
};

TEST_F(RetryingBeaconTransportTest, RetriesWhatMayPassAfterOneTwoAndFourSeconds) {
  struct Case {
    std::vector<BeaconDelivery> answers;
    size_t attempts;
    std::vector<double> delays;
    std::string logLine;  // empty: delivered, nothing logged
    BeaconDelivery::Outcome outcome;
  };
  const BeaconDelivery refused{BeaconDelivery::Outcome::transportFailed, 0,
                               "NSURLErrorDomain -1004"};
  const std::vector<Case> cases = {
      {{RecordingTransport::http(204)}, 1, {}, "", BeaconDelivery::Outcome::answered2xx},
      {{RecordingTransport::http(404)},
       1,
       {},
       "dropped, HTTP 404",
       BeaconDelivery::Outcome::answeredOther},
      {{RecordingTransport::http(503), refused, RecordingTransport::http(200)},
       3,
       {1, 2},
       "",
       BeaconDelivery::Outcome::answered2xx},
      {{RecordingTransport::http(429), RecordingTransport::http(408), RecordingTransport::http(500),
        RecordingTransport::http(503)},
       4,
       {1, 2, 4},
       "dropped after 3 retries, last failure HTTP 503",
       BeaconDelivery::Outcome::answeredOther},
  };
  for (const auto& c : cases) {
    auto inner = std::make_shared<RecordingTransport>();
    test::ManualScheduler scheduler;
    test::LogCapture log;
    auto transport = RetryingBeaconTransport::create(inner, liveOptions(scheduler));
    inner->script(c.answers);
    std::vector<BeaconDelivery::Outcome> outcomes;
    int attemptsTold = 0;
    transport->send(kBeacon, [&](const BeaconDelivery& d) {
      outcomes.push_back(d.outcome);
      attemptsTold = d.attempts;
    });
    while (scheduler.runPending() > 0) {
    }
    EXPECT_EQ(inner->urls.size(), c.attempts) << c.logLine;
    EXPECT_EQ(attemptsTold, static_cast<int>(c.attempts)) << c.logLine;
    EXPECT_EQ(outcomes, std::vector{c.outcome}) << c.logLine;
    EXPECT_EQ(scheduler.delays(), c.delays) << c.logLine;
    EXPECT_EQ(log.messages(), c.logLine.empty() ? std::vector<std::string>{}
                                                : std::vector<std::string>{kLine + c.logLine});
  }
}

TEST_F(RetryingBeaconTransportTest, ABeaconThatIsNotHTTPIsDroppedAtOnce) {
  transport_->send(*URL::parse("file:///etc/passwd"), record_);
  EXPECT_TRUE(inner_->urls.empty());
  EXPECT_TRUE(scheduler_.delays().empty());
  EXPECT_EQ(
      log_.messages(),
      std::vector<std::string>{
          "SkylarkSSAI: Meridian Live beacon file:///etc/passwd. dropped, not an http(s) URL"});
  EXPECT_EQ(outcomes_, std::vector{BeaconDelivery::Outcome::transportFailed});
}

TEST_F(RetryingBeaconTransportTest, ARetryPendingWhenStoppedOrDestroyedIsDroppedWithItsLine) {
  inner_->script({RecordingTransport::http(503), RecordingTransport::http(503)});
  transport_->send(kBeacon, record_);
  transport_->stop();
  scheduler_.runPending();
  EXPECT_EQ(inner_->urls.size(), 1u);
  EXPECT_EQ(log_.messages(),
            std::vector<std::string>{kLine + "dropped, the transport was stopped"});

  auto other = RetryingBeaconTransport::create(inner_, liveOptions(scheduler_));
  other->send(kBeacon, record_);
  other.reset();
  scheduler_.runPending();
  EXPECT_EQ(inner_->urls.size(), 2u);
  EXPECT_EQ(log_.messages().back(),
            kLine + "dropped, its session ended before the retry, last failure HTTP 503");
  EXPECT_EQ(outcomes_.size(), 2u);  // each beacon's final outcome, once
}

// At exit the retries still due get their chance, up to a bound; what
// never arrived is told, with why. On the global queue, with short delays.
TEST(RetryingBeaconTransportDrainTest, WaitsForDueRetriesThenTellsWhatWasDropped) {
  using namespace std::chrono_literals;
  struct Case {
    std::string name;
    std::vector<BeaconDelivery> answers;
    std::vector<double> delays;
    std::vector<std::string> dropped;  // why, in order
  };
  const std::vector<Case> cases = {
      {"delivered on the second retry",
       {RecordingTransport::http(503), RecordingTransport::http(503),
        RecordingTransport::http(200)},
       {0.01, 0.02},
       {}},
      {"refused at once", {RecordingTransport::http(404)}, {0.01}, {"HTTP 404"}},
      {"out of retries",
       {RecordingTransport::http(503), RecordingTransport::http(503)},
       {0.01},
       {"after 1 retries, last failure HTTP 503"}},
      {"a retry due after the bound",
       {RecordingTransport::http(503)},
       {60},
       {"still retrying at exit"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    test::LogCapture log;
    auto inner = std::make_shared<RecordingTransport>();
    inner->script(c.answers);
    RetryingBeaconTransport::Options options;
    options.delays = c.delays;
    auto transport = RetryingBeaconTransport::create(inner, options);
    transport->send(kBeacon);
    const auto dropped = transport->drain(c.delays.back() > 10 ? 50ms : 10s);
    std::vector<std::string> why;
    for (const auto& drop : dropped) {
      EXPECT_EQ(drop.url, kBeacon);
      why.push_back(drop.why);
    }
    EXPECT_EQ(why, c.dropped);
  }
}

}  // namespace
}  // namespace skylark
