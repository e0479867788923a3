#include "TimelineJSON.h"

#include "measurement/SKYLAdVerification.h"
#include "measurement/SKYLViewableImpressionCollection.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark::tool {
namespace {

Json urlJSON(const std::optional<URL>& url) {
  return url ? Json(url->absoluteString()) : Json(nullptr);
}

Json stringJSON(const std::optional<std::string>& s) { return s ? Json(*s) : Json(nullptr); }

Json urlsJSON(const std::vector<URL>& urls) {
  Json out = Json::array();
  for (const auto& url : urls) out.push_back(url.absoluteString());
  return out;
}

Json extensionJSON(const SKYLXMLElementDictionary& element) {
  Json attributes = Json::object();
  for (const auto& [name, value] : element.attributes) attributes[name] = value;
  Json content;
  if (const auto* text = std::get_if<std::string>(&element.content)) {
    content = *text;
  } else {
    content = Json::array();
    for (const auto& child : std::get<std::vector<SKYLXMLElementDictionary>>(element.content)) {
      content.push_back(extensionJSON(child));
    }
  }
  return Json{{kSKYLXMLElementTagKey, element.tag},
              {kSKYLXMLElementAttributesKey, attributes},
              {kSKYLXMLElementContentKey, content}};
}

Json extensionsJSON(const SKYLVelaAd::Extensions& extensions) {
  Json out = Json::array();
  for (const auto& extension : extensions) out.push_back(extensionJSON(extension));
  return out;
}

Json companionJSON(const SKYLVelaCompanionAd& companion) {
  return Json{{"identifier", stringJSON(companion.identifier())},
              {"width", companion.width()},
              {"height", companion.height()},
              {"staticResourceURL", urlJSON(companion.staticResourceURL())},
              {"staticResourceCreativeType", stringJSON(companion.staticResourceCreativeType())},
              {"clickThroughURL", urlJSON(companion.clickThroughURL())},
              {"clickTrackingURLs", urlsJSON(companion.clickTrackingURLs())}};
}

Json verificationJSON(const SKYLAdVerification& verification) {
  return Json{{"vendor", verification.vendor()},
              {"apiFramework", verification.apiFramework()},
              {"browserOptional", verification.browserOptional()},
              {"resource", urlJSON(verification.resource())},
              {"verificationParameters", verification.verificationParameters()}};
}

Json adJSON(const SKYLVelaAd& ad) {
  Json byName = Json::object();
  Json ordered = Json::array();
  if (const auto& events = ad.trackingEventsCollection()) {
    for (const auto& [name, list] : events->eventsByName()) {
      Json entries = Json::array();
      for (const auto& event : list) {
        entries.push_back(
            Json{{"url", urlJSON(event.url())}, {"offset", timeJSON(event.offset())}});
      }
      byName[name] = entries;
    }
    for (const auto& event : events->orderedEventsWithOffsets()) {
      ordered.push_back(Json{{"name", event.name()},
                             {"url", urlJSON(event.url())},
                             {"offset", timeJSON(event.offset())}});
    }
  }
  Json companions = Json::array();
  if (const auto& collection = ad.companionsCollection()) {
    for (const auto& companion : collection->orderedCompanionAdsWithWidthThenHeight()) {
      companions.push_back(companionJSON(*companion));
    }
  }
  Json verifications = Json::array();
  for (const auto& verification : ad.adVerifications()) {
    verifications.push_back(verificationJSON(*verification));
  }
  Json viewable = nullptr;
  if (const auto& lists = ad.viewableImpression()) {
    viewable = Json{{"viewable", urlsJSON(lists->viewableImpressionURLs)},
                    {"notViewable", urlsJSON(lists->notViewableImpressionURLs)},
                    {"viewUndetermined", urlsJSON(lists->viewUndeterminedImpressionURLs)}};
  }
  return Json{{"adId", ad.adId()},
              {"title", ad.title()},
              {"beginTime", timeJSON(ad.beginTime())},
              {"endTime", timeJSON(ad.endTime())},
              {"duration", timeJSON(ad.duration())},
              {"logicalOffset", timeJSON(ad.logicalOffset())},
              {"skipOffset", timeJSON(ad.skipOffset())},
              {"impressionURLs", urlsJSON(ad.impressionURLs())},
              {"clickThroughURL", urlJSON(ad.clickThroughURL())},
              {"clickTrackingURLs", urlsJSON(ad.clickTrackingURLs())},
              {"trackingEventsByName", byName},
              {"orderedEventsWithOffsets", ordered},
              {"companions", companions},
              {"verifications", verifications},
              {"viewableImpression", viewable},
              {"vastAdExtensions", extensionsJSON(ad.vastAdExtensions())},
              {"vastAdCreativeExtensions", extensionsJSON(ad.vastAdCreativeExtensions())}};
}

}  // namespace

Json timeJSON(const MediaTime& time) {
  if (time.isPositiveInfinity()) return "+Infinity";
  if (time.isNegativeInfinity()) return "-Infinity";
  if (!time.isNumeric()) return nullptr;
  return time.seconds();
}

Json timelineJSON(const SKYLVelaTimeline& timeline) {
  Json impressions = Json::array();
  for (const auto& impression : timeline.contentImpressions()) {
    impressions.push_back(Json{{"url", urlJSON(impression.url())},
                               {"logicalTime", timeJSON(impression.logicalTime())}});
  }
  Json segments = Json::array();
  for (const auto& segment : timeline.contentSegments()) {
    segments.push_back(Json{{"beginTime", timeJSON(segment.beginTime())},
                            {"duration", timeJSON(segment.duration())}});
  }
  Json sequences = Json::array();
  for (const auto& sequence : *timeline.adSequences()) {
    Json ads = Json::array();
    for (const auto& ad : sequence->ads()) ads.push_back(adJSON(*ad));
    sequences.push_back(Json{{"beginTime", timeJSON(sequence->beginTime())},
                             {"endTime", timeJSON(sequence->endTime())},
                             {"duration", timeJSON(sequence->duration())},
                             {"logicalOffset", timeJSON(sequence->logicalOffset())},
                             {"ads", ads}});
  }
  return Json{{"velaURL", urlJSON(timeline.velaURL())},
              {"payloadLength", timeJSON(timeline.payloadLength())},
              {"contentLength", timeJSON(timeline.contentLength())},
              {"isLiveSSAI", timeline.isLiveSSAI()},
              {"thumbnailVTTURL", urlJSON(timeline.thumbnailVTTURL())},
              {"contentImpressions", impressions},
              {"contentSegments", segments},
              {"adSequences", sequences}};
}

namespace {

std::string ownText(const SKYLError& error) {
  if (!error.localizedDescription.empty()) return error.localizedDescription;
  if (error.failureReason) return *error.failureReason;
  // The session's load errors carry no text of their own.
  if (error.domain == kSKYLSSAIErrorDomain && error.code == kSKYLSSAIErrorCodeTimelineLoadError) {
    return "the ad document gives no stream to play (no timeline, or no content URL in it)";
  }
  return "";
}

}  // namespace

std::string errorText(const SKYLError& error) {
  // The cause is what a person can act on: follow the underlying errors.
  std::string causes;
  for (const SKYLError* cause = error.underlyingError.get(); cause;
       cause = cause->underlyingError.get()) {
    const std::string text = ownText(*cause);
    if (text.empty()) continue;
    causes += (causes.empty() ? "" : ": ") + text;
  }
  if (causes.empty() && !error.localizedDescription.empty() && error.failureReason) {
    causes = *error.failureReason;
  }
  const std::string own = ownText(error);
  return causes.empty() ? own : own + " (" + causes + ")";
}

std::string jsonText(const Json& value, int indent) {
  return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

Json errorJSON(const SKYLError& error) {
  return Json{
      {"error",
       Json{{"domain", error.domain}, {"code", error.code}, {"description", errorText(error)}}}};
}

}  // namespace skylark::tool
