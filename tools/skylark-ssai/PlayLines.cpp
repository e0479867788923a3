#include "PlayLines.h"

#include <fmt/format.h>

#include "host/SKYLAd.h"
#include "host/SKYLAdSequence.h"
#include "host/SKYLHostConstants.h"
#include "timeline/SKYLSSAIConstants.h"
#include "timeline/SKYLVelaAd.h"
#include "timeline/SKYLVelaAdSequence.h"

namespace skylark::tool {
namespace {

std::string withoutPrefix(std::string_view text, std::initializer_list<std::string_view> prefixes) {
  for (const auto prefix : prefixes) {
    if (text.substr(0, prefix.size()) == prefix) return std::string(text.substr(prefix.size()));
  }
  return std::string(text);
}

Json anyJSON(const std::any& value) {
  if (const auto* s = std::any_cast<std::string>(&value)) return *s;
  if (const auto* i = std::any_cast<int64_t>(&value)) return *i;
  if (const auto* d = std::any_cast<double>(&value)) return *d;
  if (const auto* f = std::any_cast<float>(&value)) return *f;
  if (const auto* b = std::any_cast<bool>(&value)) return *b;
  return nullptr;
}

}  // namespace

PlayLine lifecycleLine(const SKYLPlaybackSessionLifecycleEvent& event) {
  PlayLine line;
  line.fields["lifecycle"] = event.eventType();
  line.text = withoutPrefix(event.eventType(),
                            {"kSKYLPlaybackSessionLifecycleEvent", "kSKYLSSAILifecycle"});
  if (const auto* ad = event.property<std::shared_ptr<SKYLAd>>(
          kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd);
      ad && *ad) {
    line.fields["adId"] = (*ad)->adId;
    line.text += " ad=" + (*ad)->adId;
    if (event.eventType() == kSKYLPlaybackSessionLifecycleEventAdSkipped) {
      line.fields["skipped"] = true;
      line.text += " skipped";
    }
  }
  if (const auto* sequence = event.property<std::shared_ptr<SKYLAdSequence>>(
          kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdSequence);
      sequence && *sequence && !(*sequence)->ads.empty()) {
    const auto* velaAd = (*sequence)->ads.front()->property<std::shared_ptr<const SKYLVelaAd>>(
        kSKYLSSAIAdPropertiesKeyVelaAd);
    if (velaAd && *velaAd) {
      line.fields["sequenceBegin"] = timeJSON((*velaAd)->beginTime());
      line.text += fmt::format(" break@{:.3f}", (*velaAd)->beginTime().seconds());
    }
  }
  if (const auto* progress =
          event.property<MediaTime>(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress)) {
    line.fields["progress"] = timeJSON(*progress);
    line.text += fmt::format(" progress={:.3f}", progress->seconds());
  }
  return line;
}

PlayLine trackerEventLine(const SKYLVelaProgressTrackerEvent& event) {
  PlayLine line;
  const auto& properties = event.properties();
  line.fields["event"] = std::string(event.trackerType());
  line.text = std::string(event.trackerType());
  if (properties && properties->ad) {
    line.fields["adId"] = properties->ad->adId();
    line.text += " ad=" + properties->ad->adId();
  }
  if (properties && properties->adSequence) {
    line.fields["sequenceBegin"] = timeJSON(properties->adSequence->beginTime());
    line.text += fmt::format(" break@{:.3f}", properties->adSequence->beginTime().seconds());
  }
  if (event.type() == SKYLVelaProgressTrackerEvent::AdProgress && properties &&
      properties->adProgress) {
    line.fields["progress"] = timeJSON(*properties->adProgress);
    line.text += fmt::format(" progress={:.3f}", properties->adProgress->seconds());
  }
  if (event.type() == SKYLVelaProgressTrackerEvent::ExitAd) {
    const bool skipped = properties && properties->skippedAd.value_or(false);
    line.fields["skipped"] = skipped;
    if (skipped) line.text += " skipped";
  }
  return line;
}

PlayLine ledgerLine(const SKYLAdLedgerManager::Call& call) {
  PlayLine line;
  Json params = Json::object();
  line.text = fmt::format("ledger {}", call.code);
  for (const auto& [name, value] : call.parameters) {
    params[name] = anyJSON(value);
    line.text +=
        " " + withoutPrefix(name, {"kSKYLAdLedgerParameter"}) + "=" + jsonText(anyJSON(value));
  }
  line.fields["ledger"] = call.code;
  line.fields["params"] = params;
  return line;
}

Json deliveryLedgerJSON(const BeaconDeliveryLedger& ledger) {
  Json entries = Json::array();
  for (const auto& [key, counts] : ledger.counts()) {
    entries.push_back(Json{{"adId", key.first},
                           {"type", key.second},
                           {"handed", counts.handed},
                           {"answered2xx", counts.answered2xx},
                           {"answeredOther", counts.answeredOther},
                           {"transportFailed", counts.transportFailed},
                           {"retried", counts.retried}});
  }
  return entries;
}

PlayLine deliveryLedgerLine(const BeaconDeliveryLedger& ledger) {
  PlayLine line;
  line.fields["deliveryLedger"] = deliveryLedgerJSON(ledger);
  line.text = "delivery ledger (ad, type: handed / 2xx / other / failed)";
  for (const auto& entry : line.fields["deliveryLedger"]) {
    const std::string ad = entry["adId"];
    line.text +=
        fmt::format("\n    {:<8} {:<22} {} / {} / {} / {}", ad.empty() ? "-" : ad,
                    entry["type"].get<std::string>(), entry["handed"].get<int64_t>(),
                    entry["answered2xx"].get<int64_t>(), entry["answeredOther"].get<int64_t>(),
                    entry["transportFailed"].get<int64_t>());
    if (entry["retried"] > 0)
      line.text += fmt::format(" ({} retried)", entry["retried"].get<int64_t>());
  }
  return line;
}

PlayLine pollLine(const SKYLSSAILive2PollReport& report) {
  PlayLine line;
  line.fields["poll"] = report.url.absoluteString();
  if (report.error) {
    line.fields["error"] = report.error->description();
    line.text = "poll " + report.url.absoluteString() + " failed: " + report.error->description();
    return line;
  }
  line.fields["availsAnswered"] = report.availsAnswered;
  line.fields["timelineChanged"] = report.timelineChanged;
  line.fields["availsKnown"] = report.availsKnown;
  line.text =
      fmt::format("poll {}: {} avails answered, {}, {} on the timeline",
                  report.url.absoluteString(), report.availsAnswered,
                  report.timelineChanged ? "timeline changed" : "nothing new", report.availsKnown);
  return line;
}

}  // namespace skylark::tool
