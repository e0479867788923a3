#include "tracking/BeaconDeliveryLedger.h"

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>

#include <gtest/gtest.h>
#include <httplib.h>

#include "support/LoopbackServer.h"
#include "support/SessionHarness.h"
#include "support/VMAPFixtures.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;

// A sink that answers 503 to every 7th request and breaks off every 25th
// connection without an answer; it counts what it did.
struct FaultySink {
  std::atomic<int> requests{0}, ok{0}, unavailable{0}, broken{0};
  test::LoopbackServer server{[this](httplib::Server& s) {
    s.Get(R"(/b/.*)", [this](const httplib::Request&, httplib::Response& response) {
      const int n = ++requests;
      if (n % 25 == 12) {
        ++broken;
        response.set_content_provider(10, "text/plain",
                                      [](size_t, size_t, httplib::DataSink&) { return false; });
      } else if (n % 7 == 0) {
        ++unavailable;
        response.status = 503;
      } else {
        ++ok;
        response.status = 204;
      }
    });
  }};
};

TEST(BeaconDeliveryLedgerTest, TheLedgerAgreesWithAFaultySinksLog) {
  FaultySink sink;
  std::string breaks;
  for (const char* offset : {"start", "00:00:20", "00:00:40", "00:01:00", "end"}) {
    breaks += test::adBreak(
        offset, "00:00:08", "ad" + std::to_string(breaks.size()),
        "<TrackingEvents><Tracking event=\"start\">https://b/start</Tracking>"
        "<Tracking event=\"firstQuartile\">https://b/q1</Tracking>"
        "<Tracking event=\"midpoint\">https://b/mid</Tracking>"
        "<Tracking event=\"thirdQuartile\">https://b/q3</Tracking>"
        "<Tracking event=\"complete\">https://b/complete</Tracking></TrackingEvents>");
  }
  std::string vmap = test::vmapDocument(breaks, 120, 80);
  // Every beacon to the sink.
  for (const std::string& from :
       {std::string("https://beacon.example.com/"), std::string("https://b/")}) {
    for (size_t at = vmap.find(from); at != std::string::npos; at = vmap.find(from, at)) {
      vmap.replace(at, from.size(), sink.server.url("/b/"));
    }
  }
  SKYLVUXSessionProviderOptions options;
  options.setBeaconTransport(std::make_shared<URLSessionBeaconTransport>());
  test::SessionHarness app(vmap, options);
  // Each beacon as an observer hears of it: handed over, then settled.
  struct Heard {
    std::string key, url;
    int handed = 0, settled = 0;
    BeaconDelivery::Outcome outcome{};
    int attempts = 0;
    bool negativeLatency = false;
  };
  std::mutex heardMutex;
  std::map<uint64_t, Heard> heard;
  const auto observe = [&](const BeaconDeliveryLedger::Beacon& beacon) {
    std::lock_guard lock(heardMutex);
    Heard& entry = heard[beacon.sequence];
    entry.key = beacon.key.first + "|" + beacon.key.second;
    entry.url = beacon.url.absoluteString();
    if (!beacon.delivery) {
      ++entry.handed;
      return;
    }
    ++entry.settled;
    entry.outcome = beacon.delivery->outcome;
    entry.attempts = beacon.delivery->attempts;
    entry.negativeLatency = beacon.latency.count() < 0;
  };
  ASSERT_TRUE(app.start([&] { app.session->deliveryLedger()->setObserver(observe); }));
  app.playUntil(121);
  const auto& ledger = *app.session->deliveryLedger();
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (ledger.total().pending() > 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(10ms);
  }
  const auto total = ledger.total();
  EXPECT_GT(total.handed, 30);
  EXPECT_EQ(total.pending(), 0);
  EXPECT_EQ(total.handed, sink.requests.load());  // each beacon once: no retries
  EXPECT_EQ(total.answered2xx, sink.ok.load());
  EXPECT_EQ(total.answeredOther, sink.unavailable.load());
  EXPECT_EQ(total.transportFailed, sink.broken.load());
  EXPECT_GT(sink.broken.load(), 0);
  const auto counts = ledger.counts();
  EXPECT_EQ(counts.at({"ad0", "impression"}).handed, 1);
  EXPECT_EQ(counts.at({"ad0", "firstQuartile"}).handed, 1);

  // The observer heard every beacon twice under one number, numbered from
  // 1 without a gap, and its outcomes add up to the ledger's counts.
  std::lock_guard lock(heardMutex);
  ASSERT_EQ(heard.size(), static_cast<size_t>(total.handed));
  EXPECT_EQ(heard.begin()->first, 1u);
  EXPECT_EQ(heard.rbegin()->first, heard.size());
  BeaconDeliveryLedger::Counts seen;
  for (const auto& [sequence, entry] : heard) {
    SCOPED_TRACE(entry.url);
    EXPECT_EQ(entry.handed, 1);
    EXPECT_EQ(entry.settled, 1);
    EXPECT_EQ(entry.attempts, 1);  // the session's own transport does not retry
    EXPECT_FALSE(entry.negativeLatency);
    EXPECT_NE(entry.url.find("/b/"), std::string::npos);
    ++seen.handed;
    ++(entry.outcome == BeaconDelivery::Outcome::answered2xx     ? seen.answered2xx
       : entry.outcome == BeaconDelivery::Outcome::answeredOther ? seen.answeredOther
                                                                 : seen.transportFailed);
  }
  EXPECT_EQ(seen, total);
}

}  // namespace
}  // namespace skylark
