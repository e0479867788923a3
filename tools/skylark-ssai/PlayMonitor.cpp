#include "PlayMonitor.h"

#include <atomic>

#include "session/SKYLVUXSession.h"

namespace skylark::tool {
namespace {

std::atomic<int> gRuns{0};

}  // namespace

PlayMonitor::PlayMonitor(MonitorServer& server, const std::string& source)
    : server_(server), index_(++gRuns) {
  server_.publish("session", jsonText(Json{{"session", index_}, {"source", source}}));
}

void PlayMonitor::line(const Json& fields, const std::string& text) {
  server_.publish("line", jsonText(Json{{"fields", fields}, {"text", text}}));
}

void PlayMonitor::step(const SKYLVUXSession* session, bool live, double streamTime,
                       double contentTime, float rate) {
  server_.publishLatest(
      "playhead", "playhead",
      jsonText(Json{{"t", streamTime}, {"content", contentTime}, {"rate", rate}}));
  if (!session) return;

  // A live timeline grows as polls merge avails into it.
  if (const auto& timeline = session->timeline();
      timeline && (timeline.get() != timeline_ || timeline->adSequences()->size() != breaks_)) {
    timeline_ = timeline.get();
    breaks_ = timeline->adSequences()->size();
    server_.publishLatest(
        "timeline", "timeline/" + std::to_string(index_),
        jsonText(Json{{"session", index_}, {"live", live}, {"timeline", timelineJSON(*timeline)}}));
  }

  Json rows = Json::array();
  for (const auto& [key, counts] : session->deliveryLedger()->counts()) {
    rows.push_back(Json{{"ad", key.first},
                        {"type", key.second},
                        {"handed", counts.handed},
                        {"ok", counts.answered2xx},
                        {"other", counts.answeredOther},
                        {"failed", counts.transportFailed}});
  }
  if (rows != deliveryRows_) {
    deliveryRows_ = rows;
    server_.publishLatest("delivery", "delivery/" + std::to_string(index_),
                          jsonText(Json{{"session", index_}, {"rows", rows}}));
  }
}

}  // namespace skylark::tool
