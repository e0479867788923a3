#include "PlayMonitor.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <map>
#include <mutex>

#include "PlayLines.h"
#include "live2/SKYLSSAILive2Coordinator.h"
#include "live2/SKYLSSAILive2SessionController.h"
#include "session/SKYLVUXSession.h"
#include "tracking/BeaconDeliveryLedger.h"

namespace skylark::tool {
namespace {

std::atomic<int> gRuns{0};

// What became of a beacon, as the page's result column says it.
std::string result(const BeaconDelivery& delivery) {
  switch (delivery.outcome) {
    case BeaconDelivery::Outcome::answered2xx:
      return "HTTP " + std::to_string(delivery.statusCode);
    case BeaconDelivery::Outcome::answeredOther:
      return delivery.reason.empty() ? "HTTP " + std::to_string(delivery.statusCode)
                                     : delivery.reason;
    case BeaconDelivery::Outcome::transportFailed:
      return "failed: " + delivery.reason;
  }
  return "";
}

const char* outcomeName(BeaconDelivery::Outcome outcome) {
  switch (outcome) {
    case BeaconDelivery::Outcome::answered2xx:
      return "2xx";
    case BeaconDelivery::Outcome::answeredOther:
      return "other";
    case BeaconDelivery::Outcome::transportFailed:
      return "failed";
  }
  return "";
}

}  // namespace

// The ledger tells of a beacon on the thread that hands it over, and of its
// outcome on the URL session's; rows are stamped with the playhead the run
// last told. Shared with the ledger's observer, which may outlive
// the run by an answer.
struct PlayMonitor::BeaconRows {
  BeaconRows(MonitorServer& monitor, int session, bool sending)
      : server(monitor), index(session), sendsBeacons(sending) {}

  void heard(const BeaconDeliveryLedger::Beacon& beacon) {
    Json row;
    {
      std::lock_guard lock(mutex);
      Json& kept = rows[beacon.sequence];
      if (kept.is_null()) {
        kept = Json{{"session", index},
                    {"n", beacon.sequence},
                    {"ad", beacon.key.first},
                    {"type", beacon.key.second},
                    {"url", beacon.url.absoluteString()},
                    {"t", streamTime.load()},
                    {"content", contentTime.load()},
                    {"outcome", sendsBeacons ? "waiting" : "not sent"}};
      }
      if (beacon.delivery) {
        kept["outcome"] = outcomeName(beacon.delivery->outcome);
        kept["result"] = result(*beacon.delivery);
        kept["attempts"] = beacon.delivery->attempts;
        kept["ms"] = std::chrono::duration<double, std::milli>(beacon.latency).count();
      }
      row = kept;
    }
    server.publishLatest("beacon",
                         "beacon/" + std::to_string(index) + "/" + std::to_string(beacon.sequence),
                         jsonText(row));
  }

  MonitorServer& server;
  const int index;
  const bool sendsBeacons;
  std::atomic<double> streamTime{0}, contentTime{0};
  std::mutex mutex;
  std::map<uint64_t, Json> rows;
};

PlayMonitor::PlayMonitor(MonitorServer& server, const std::string& source)
    : server_(server), index_(++gRuns) {
  server_.publish("session", jsonText(Json{{"session", index_}, {"source", source}}));
}

PlayMonitor::~PlayMonitor() {
  if (followed_) followed_->setObserver(nullptr);
}

void PlayMonitor::line(const Json& fields, const std::string& text) {
  server_.publish("line", jsonText(Json{{"fields", fields}, {"text", text}}));
}

void PlayMonitor::followBeacons(const std::shared_ptr<BeaconDeliveryLedger>& ledger, bool sending) {
  if (followed_) followed_->setObserver(nullptr);
  followed_ = ledger;
  beaconRows_ = std::make_shared<BeaconRows>(server_, index_, sending);
  ledger->setObserver(
      [rows = beaconRows_](const BeaconDeliveryLedger::Beacon& beacon) { rows->heard(beacon); });
}

void PlayMonitor::playheadMoved(double streamTime, double contentTime) {
  if (!beaconRows_) return;
  beaconRows_->streamTime = streamTime;
  beaconRows_->contentTime = contentTime;
}

void PlayMonitor::poll(const SKYLSSAILive2PollReport& report, double streamTime) {
  Json row{{"session", index_},
           {"t", streamTime},
           {"url", report.url.absoluteString()},
           {"availsAnswered", report.availsAnswered},
           {"timelineChanged", report.timelineChanged},
           {"availsKnown", report.availsKnown}};
  if (report.error) row["error"] = report.error->description();
  server_.publish("poll", jsonText(row));
}

void PlayMonitor::showTimeline(const SKYLVUXSession& session, bool live, double streamTime,
                               std::optional<SystemTime> playheadDate) {
  // A live timeline grows as polls merge avails into it.
  if (const auto& timeline = session.timeline();
      timeline && (timeline.get() != timeline_ || timeline->adSequences()->size() != breaks_)) {
    timeline_ = timeline.get();
    breaks_ = timeline->adSequences()->size();
    server_.publishLatest(
        "timeline", "timeline/" + std::to_string(index_),
        jsonText(Json{{"session", index_}, {"live", live}, {"timeline", timelineJSON(*timeline)}}));
    return;
  }
  const auto& coordinator = session.live2Coordinator();
  if (!coordinator || !playheadDate) return;
  // The live service's ads, each placed on the stream by how far its
  // program date lies from the playhead's; an avail is a break. Avails the
  // playhead has left are pruned from the live timeline but stay drawn.
  bool changed = false;
  for (const auto& entry : coordinator->timelineHandle().timeline->entries()) {
    if (entry.isSlate || !entry.programDate) continue;
    const double begin =
        streamTime + std::chrono::duration<double>(*entry.programDate - *playheadDate).count();
    // Whole milliseconds: the placement moves by the player's jitter.
    const double at = std::round(begin * 1000) / 1000;
    Json ad{{"adId", entry.adId}, {"beginTime", at}, {"endTime", at + entry.durationInSeconds}};
    auto [avail, added] = liveAvails_.try_emplace(entry.availId);
    if (added) liveAvailOrder_.push_back(entry.availId);
    Json& ads = avail->second[entry.adId];
    if (ads == ad) continue;
    ads = std::move(ad);
    changed = true;
  }
  if (!changed) return;
  Json sequences = Json::array();
  for (const auto& id : liveAvailOrder_) {
    Json ads = Json::array();
    for (const auto& [adId, ad] : liveAvails_[id]) ads.push_back(ad);
    std::sort(ads.begin(), ads.end(),
              [](const Json& a, const Json& b) { return a["beginTime"] < b["beginTime"]; });
    sequences.push_back(Json{{"beginTime", ads.front()["beginTime"]}, {"ads", ads}});
  }
  server_.publishLatest(
      "timeline", "timeline/" + std::to_string(index_),
      jsonText(Json{
          {"session", index_}, {"live", true}, {"timeline", Json{{"adSequences", sequences}}}}));
}

void PlayMonitor::step(const SKYLVUXSession* session, bool live, double streamTime,
                       double contentTime, float rate, std::optional<SystemTime> playheadDate) {
  server_.publishLatest(
      "playhead", "playhead",
      jsonText(Json{{"t", streamTime}, {"content", contentTime}, {"rate", rate}}));
  playheadMoved(streamTime, contentTime);
  if (!session) return;
  showTimeline(*session, live, streamTime, playheadDate);

  Json rows = deliveryLedgerJSON(*session->deliveryLedger());
  if (rows != deliveryRows_) {
    deliveryRows_ = rows;
    server_.publishLatest("delivery", "delivery/" + std::to_string(index_),
                          jsonText(Json{{"session", index_}, {"rows", rows}}));
  }
}

}  // namespace skylark::tool
