#include "vmap/SKYLVelaVMAPParser.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "host/SKYLHostLog.h"
#include "measurement/SKYLAdVerification.h"
#include "measurement/SKYLViewableImpressionCollection.h"
#include "platform/ASCIICase.h"
#include "platform/NumberParser.h"
#include "platform/StringFormat.h"
#include "timeline/SKYLAdBuilderDictionaryFromXMLElement.h"
#include "timeline/SKYLVelaAdSequencesBuilder.h"
#include "timeline/SKYLVelaCompanionAdBuilder.h"
#include "timeline/SKYLVelaCompanionAdsCollectionBuilder.h"
#include "timeline/SKYLVelaErrors.h"
#include "timeline/SKYLVelaLog.h"
#include "timeline/SKYLVelaTimeStrings.h"
#include "timeline/SKYLVelaTrackingEventsCollectionBuilder.h"
#include "vmap/TextValues.h"

namespace skylark {
namespace {

using Element = SKYLVelaXMLElement;
using vmap_detail::boolValue;
using vmap_detail::integerValue;
using OptionalElement = std::optional<SKYLVelaXMLElement>;

constexpr int32_t kTimescale = 600;
constexpr std::string_view kVMAPNamespace = "http://www.iab.net/videosuite/vmap";

// The VAST ad of a break, in either inline container, and whether or not
// the VAST element sits in the IAB default namespace: the first in document
// order of "./vmap:AdSource/vmap:VASTData/*[local-name()='VAST']/*[local-name()='Ad']"
// and the same under vmap:VASTAdData, walked directly (an XPath context per
// break cost more than the rest of the break's reading).
std::optional<SKYLVelaXMLElement> adOfBreak(const SKYLVelaXMLElement& adBreak) {
  const auto vmap = adBreak.namespaceURIForXPathPrefix("vmap");
  if (!vmap) return std::nullopt;
  const auto inVMAP = [&](const SKYLVelaXMLElement& element, std::string_view name) {
    return element.localName() == name && element.namespaceURI() == *vmap;
  };
  std::optional<SKYLVelaXMLElement> found;
  // Each visit answers whether to walk on.
  adBreak.forEachChild([&](const Element& source) {
    if (!inVMAP(source, "AdSource")) return true;
    source.forEachChild([&](const Element& data) {
      if (!inVMAP(data, "VASTData") && !inVMAP(data, "VASTAdData")) return true;
      data.forEachChild([&](const Element& vast) {
        if (vast.localName() != "VAST") return true;
        vast.forEachChild([&](const Element& ad) {
          if (ad.localName() == "Ad") found = ad;
          return !found;
        });
        return !found;
      });
      return !found;
    });
    return !found;
  });
  return found;
}

// One step of a path below the root: an element's namespace prefix and
// local name.
struct PathStep {
  std::string_view prefix;
  std::string_view name;
};

// The same step with its prefix resolved.
struct ResolvedStep {
  std::string namespaceURI;
  std::string_view name;
};

// Visits the children of parent at path, in document order; false when a
// visit stopped the walk.
template <typename Visit>
bool visitPath(const SKYLVelaXMLElement& parent, std::span<const ResolvedStep> path, Visit& visit) {
  bool walkOn = true;
  parent.forEachChild([&](const Element& child) {
    if (child.localName() != path.front().name ||
        child.namespaceURI() != path.front().namespaceURI) {
      return true;
    }
    walkOn = path.size() == 1 ? visit(child) : visitPath(child, path.subspan(1), visit);
    return walkOn;
  });
  return walkOn;
}

// Visits, in document order, the elements at
// /vmap:VMAP/vmap:Extensions/steps..., the prefixes read as an XPath
// expression on the root reads them (declared on the root; a default
// namespace under the document's prefix for it): a prefix that names no
// namespace there finds nothing, as it fails the expression. Walked
// directly, as adOfBreak is; a visit returns false to stop.
template <typename Visit>
void forEachExtension(const OptionalElement& root, std::initializer_list<PathStep> steps,
                      Visit visit) {
  if (!root) return;
  const auto vmap = root->namespaceURIForXPathPrefix("vmap");
  if (!vmap || root->localName() != "VMAP" || root->namespaceURI() != *vmap) return;
  std::vector<ResolvedStep> path{{*vmap, "Extensions"}};
  for (const PathStep step : steps) {
    auto uri = step.prefix.empty() ? std::nullopt : root->namespaceURIForXPathPrefix(step.prefix);
    if (!uri) return;
    path.push_back({std::move(*uri), step.name});
  }
  visitPath(*root, std::span<const ResolvedStep>(path), visit);
}

// The first element forEachExtension would visit.
OptionalElement firstExtension(const OptionalElement& root, std::initializer_list<PathStep> steps) {
  OptionalElement found;
  forEachExtension(root, steps, [&](const Element& element) {
    found = element;
    return false;
  });
  return found;
}

// A document's text as an error quotes it: no time string is longer than
// 64 characters, and a hostile one of megabytes is cut there.
std::string shown(std::string_view text) {
  constexpr size_t kLongest = 64;
  if (text.size() <= kLongest) return std::string(text);
  return std::string(text.substr(0, kLongest)) + "...";
}

SKYLError deserializationError(std::string description) {
  return SKYLError(std::string(SKYLVelaErrorDomain), SKYLVelaDocumentErrorCodeDeserialization,
                   std::move(description));
}

std::string trimmedText(const Element& element) {
  return std::string(SKYLTrimmedXMLStringView(element.stringView()));
}

// A document's URL. Ad servers write spaces, `<>|{}^` and non-ASCII text
// into beacon URLs; a beacon dropped is a billing event lost, so such
// characters are percent-encoded (the text is UTF-8 already) rather than
// refused. What is still no URL is logged.
std::optional<URL> urlOf(const Element& element) {
  const std::string_view text = SKYLTrimmedXMLStringView(element.stringView());
  if (text.empty()) return std::nullopt;
  if (auto url = URL::parse(text)) return url;
  if (auto url = URL::parseEncodingInvalidCharacters(text)) return url;
  SKYLVelaLog("Could not parse URL `%@` in <%@>.", shown(text), element.tag());
  return std::nullopt;
}

std::optional<URL> urlOf(const OptionalElement& element) {
  if (!element) return std::nullopt;
  return urlOf(*element);
}

// The URLs of the children of parent named tag, in document order.
std::vector<URL> urlsOfChildren(const Element& parent, std::string_view tag) {
  std::vector<URL> urls;
  parent.forEachChildWithTag(tag, [&](const Element& element) {
    if (auto url = urlOf(element)) urls.push_back(std::move(*url));
  });
  return urls;
}

size_t countChildren(const OptionalElement& parent, std::string_view tag) {
  size_t count = 0;
  if (parent) parent->forEachChildWithTag(tag, [&](const Element&) { ++count; });
  return count;
}

OptionalElement childPath(const OptionalElement& from,
                          std::initializer_list<std::string_view> tags) {
  OptionalElement current = from;
  for (const auto tag : tags) {
    if (!current) return std::nullopt;
    current = current->firstChildWithTag(tag);
  }
  return current;
}

double secondsAttribute(const OptionalElement& element, std::string_view name) {
  if (!element) return 0;
  const auto value = element->valueForAttribute(name);
  if (!value) return 0;
  return NumberParser::decimalStyleEnUS().parse(*value).value_or(0);
}

// An ad's duration must be finite and its marks whole seconds in 32 bits
// (68 years): beyond that its quartiles would all read 0 and fire at once.
bool representableDuration(const MediaTime& duration) {
  return duration.isNumeric() && duration.seconds() <= INT32_MAX;
}

std::string mark(double seconds) {
  if (!std::isfinite(seconds)) return "0";
  const double truncated = std::trunc(seconds);
  if (truncated > INT32_MAX || truncated < INT32_MIN) return "0";
  return std::to_string(static_cast<int32_t>(truncated));
}

std::vector<SKYLXMLElementDictionary> dictionariesOfChildren(const OptionalElement& element) {
  std::vector<SKYLXMLElementDictionary> dictionaries;
  if (!element) return dictionaries;
  element->forEachChild([&](const Element& child) {
    dictionaries.push_back(SKYLAdBuilderDictionaryFromXMLElement(child));
  });
  return dictionaries;
}

std::shared_ptr<const SKYLVelaTrackingEventsCollection> trackingByEventName(
    const OptionalElement& trackingEvents) {
  SKYLVelaTrackingEventsCollectionBuilder builder;
  if (trackingEvents) {
    builder.trackingEvents.reserve(countChildren(trackingEvents, "Tracking"));
    trackingEvents->forEachChildWithTag("Tracking", [&](const Element& tracking) {
      // A Tracking without an event names nothing to fire it on.
      if (auto event = tracking.valueForAttribute("event")) {
        builder.addTrackingEventNamed(std::move(*event), urlOf(tracking));
      }
    });
  }
  return std::move(builder).buildTrackingEventsCollection();
}

void addBreakTracking(SKYLVelaTrackingEventsCollectionBuilder& builder,
                      const OptionalElement& breakTracking, const std::string& completeMark) {
  if (!breakTracking) return;
  breakTracking->forEachChildWithTag("Tracking", [&](const Element& tracking) {
    const auto eventAttribute = tracking.valueForAttribute("event");
    if (!eventAttribute) return;
    const std::string& event = *eventAttribute;
    auto url = urlOf(tracking);
    if (event == kSKYLVelaTrackingEventsNameBreakStart) {
      builder.addTrackingEventNamed(event, "0", std::move(url));
    } else if (event == kSKYLVelaTrackingEventsNameBreakEnd) {
      builder.addTrackingEventNamed(event, completeMark, std::move(url));
    } else {
      builder.addTrackingEventNamed(event, std::move(url));
    }
  });
}

// The offsets of the linear events VAST places by the ad's duration.
using Marks = std::array<std::pair<std::string_view, std::string>, 5>;

void addLinearTracking(SKYLVelaTrackingEventsCollectionBuilder& builder,
                       const OptionalElement& trackingEvents, const Marks& marks) {
  if (!trackingEvents) return;
  trackingEvents->forEachChildWithTag("Tracking", [&](const Element& tracking) {
    const auto eventAttribute = tracking.valueForAttribute("event");
    if (!eventAttribute) return;
    const std::string& event = *eventAttribute;
    auto url = urlOf(tracking);
    const auto offset = tracking.valueForAttribute("offset");
    if (offset && !equalsIgnoringASCIICase(event, "creativeView")) {
      builder.addTrackingEventNamed(event, *offset, std::move(url));
    } else if (const auto found = std::find_if(marks.begin(), marks.end(),
                                               [&](const auto& m) { return m.first == event; });
               found != marks.end()) {
      builder.addTrackingEventNamed(event, found->second, std::move(url));
    } else {
      builder.addTrackingEventNamed(event, std::move(url));
    }
  });
}

std::shared_ptr<const SKYLVelaCompanionAd> companionOf(const Element& companion) {
  SKYLVelaCompanionAdBuilder builder;
  builder.width = integerValue(companion.valueForAttribute("width").value_or(""));
  builder.height = integerValue(companion.valueForAttribute("height").value_or(""));
  builder.identifier = companion.valueForAttribute("id");
  if (const auto resource = companion.firstChildWithTag("StaticResource")) {
    builder.staticResourceURL = urlOf(resource);
    builder.staticResourceCreativeType = resource->valueForAttribute("creativeType");
  }
  builder.clickThroughURL = urlOf(companion.firstChildWithTag("CompanionClickThrough"));
  builder.clickTrackingURLs = urlsOfChildren(companion, "CompanionClickTracking");
  builder.trackingEventsCollection =
      trackingByEventName(companion.firstChildWithTag("TrackingEvents"));
  return std::move(builder).buildCompanionAd();
}

SKYLVelaAd::Verifications verificationsOf(const Element& inLine) {
  OptionalElement container = inLine.firstChildWithTag("AdVerifications");
  if (!container) {
    // Before VAST 4.1 verifications travelled in an extension.
    if (const auto extensions = inLine.firstChildWithTag("Extensions")) {
      extensions->forEachChildWithTag("Extension", [&](const Element& extension) {
        if (extension.valueForAttribute("type") != "AdVerifications") return true;
        container = extension.firstChildWithTag("AdVerifications");
        return !container;
      });
    }
  }
  SKYLVelaAd::Verifications verifications;
  if (!container) return verifications;
  container->forEachChild([&](const Element& verification) {
    const auto script = verification.firstChildWithTag("JavaScriptResource");
    const auto parameters = verification.firstChildWithTag("VerificationParameters");
    verifications.push_back(std::make_shared<const SKYLAdVerification>(
        verification.valueForAttribute("vendor"),
        script ? script->valueForAttribute("apiFramework") : std::nullopt,
        script && boolValue(script->valueForAttribute("browserOptional").value_or("")),
        urlOf(script), parameters ? std::optional(parameters->stringValue()) : std::nullopt,
        trackingByEventName(verification.firstChildWithTag("TrackingEvents"))));
  });
  return verifications;
}

std::shared_ptr<const SKYLViewableImpressionCollection> viewableImpressionOf(
    const Element& inLine) {
  const auto element = inLine.firstChildWithTag("ViewableImpression");
  if (!element) return nullptr;
  auto collection = std::make_shared<SKYLViewableImpressionCollection>();
  collection->viewableImpressionURLs = urlsOfChildren(*element, "Viewable");
  collection->notViewableImpressionURLs = urlsOfChildren(*element, "NotViewable");
  collection->viewUndeterminedImpressionURLs = urlsOfChildren(*element, "ViewUndetermined");
  return collection;
}

}  // namespace

Result<SKYLVelaAdBuilder> SKYLVelaParseAdBuilderFromElementAndBeginTimeWithError(
    const SKYLVelaXMLElement& adElement,
    const std::optional<SKYLVelaXMLElement>& breakTrackingEvents, const MediaTime& beginTime,
    const MediaTime& logicalTime, bool readSkipOffset) {
  SKYLVelaAdBuilder builder;
  builder.adId = adElement.valueForAttribute("id").value_or("");
  const OptionalElement inLine = adElement.firstChildWithTag("InLine");
  if (inLine) {
    if (const auto title = inLine->firstChildWithTag("AdTitle"))
      builder.adTitle = trimmedText(*title);
    builder.impressionURLs = urlsOfChildren(*inLine, "Impression");
    builder.viewableImpression = viewableImpressionOf(*inLine);
  }

  // The first creative with a Linear is the ad; later ones are ignored.
  OptionalElement linearCreative;
  const OptionalElement creatives = childPath(inLine, {"Creatives"});
  if (creatives) {
    creatives->forEachChild([&](const Element& creative) {
      if (!creative.firstChildWithTag("Linear")) return;
      if (linearCreative) {
        SKYLVelaLog("Cannot process multiple Linear elements within a single Ad element.");
        return;
      }
      linearCreative = creative;
    });
  }

  const OptionalElement linear = childPath(linearCreative, {"Linear"});
  const OptionalElement durationElement = childPath(linear, {"Duration"});
  const std::optional<std::string_view> durationText =
      durationElement ? std::optional<std::string_view>(durationElement->stringView())
                      : std::nullopt;
  builder.duration = SKYLVelaDurationFromString(durationText);
  if (!builder.duration.isValid() || !representableDuration(builder.duration)) {
    return deserializationError(
        formatObjC("Linear Duration `%@` could not be parsed.",
                   {durationText ? FormatArg(shown(*durationText)) : FormatArg(nullptr)}));
  }
  builder.vastAdCreativeExtensions =
      dictionariesOfChildren(childPath(linearCreative, {"CreativeExtensions"}));
  if (const auto skip = readSkipOffset ? linear->valueForAttribute("skipoffset") : std::nullopt) {
    builder.skipOffset = SKYLVelaSkipOffsetFromStringWithDuration(*skip, builder.duration);
  }
  builder.beginTime = beginTime;
  builder.logicalOffset = logicalTime;

  const double d = builder.duration.seconds();
  const Marks marks = {{
      {kSKYLVelaTrackingEventsNameStart, "0"},
      {kSKYLVelaTrackingEventsNameFirstQuartile, mark(d * 0.25)},
      {kSKYLVelaTrackingEventsNameMidpoint, mark(d * 0.5)},
      {kSKYLVelaTrackingEventsNameThirdQuartile, mark(d * 0.75)},
      {kSKYLVelaTrackingEventsNameComplete, mark(d)},
  }};
  const OptionalElement linearTracking = linear->firstChildWithTag("TrackingEvents");
  SKYLVelaTrackingEventsCollectionBuilder tracking;
  tracking.trackingEvents.reserve(countChildren(breakTrackingEvents, "Tracking") +
                                  countChildren(linearTracking, "Tracking"));
  addBreakTracking(tracking, breakTrackingEvents, marks.back().second);
  addLinearTracking(tracking, linearTracking, marks);
  builder.trackingEventsCollection = std::move(tracking).buildTrackingEventsCollection();

  if (const auto clicks = linear->firstChildWithTag("VideoClicks")) {
    builder.clickThroughURL = urlOf(clicks->firstChildWithTag("ClickThrough"));
    builder.clickTrackingURLs = urlsOfChildren(*clicks, "ClickTracking");
  }

  // Companions of every creative but the Linear ones after the first.
  SKYLVelaCompanionAdsCollectionBuilder companions;
  if (creatives) {
    creatives->forEachChild([&](const Element& creative) {
      if (creative != *linearCreative && creative.firstChildWithTag("Linear")) return;
      if (const auto companionAds = creative.firstChildWithTag("CompanionAds")) {
        companionAds->forEachChild(
            [&](const Element& companion) { companions.addCompanionAd(companionOf(companion)); });
      }
    });
  }
  builder.companionsCollection = companions.buildCompanionAdsCollection();

  builder.vastAdExtensions = dictionariesOfChildren(childPath(inLine, {"Extensions"}));
  builder.adVerifications = verificationsOf(*inLine);
  return builder;
}

namespace {

// The timeline of a document; bytes, when given, are the document's own.
Result<std::shared_ptr<SKYLVelaTimeline>> parseTimeline(SKYLVelaParseContext* context,
                                                        SKYLVelaXMLDocument& document,
                                                        std::shared_ptr<const std::string> bytes) {
  const std::string ns = context ? context->vmapExtensionsNamespace : "";
  // A VMAP root in the default namespace still answers to "vmap:".
  document.definePrefix("vmap", std::string(kVMAPNamespace));

  const auto root = document.rootElement();
  const auto extension = firstExtension(
      root, {ns == "sk" ? PathStep{"sk", "Skylark"} : PathStep{"pv", "pelicanVela"}});
  const auto contentURI = extension ? extension->valueForAttribute("contenturi") : std::nullopt;
  const MediaTime payloadLength =
      MediaTime::makeWithSeconds(secondsAttribute(extension, "payloadlength"), kTimescale);
  const MediaTime contentLength =
      MediaTime::makeWithSeconds(secondsAttribute(extension, "contentlength"), kTimescale);

  std::optional<URL> thumbnail;
  if (const auto element = firstExtension(root, {{"sk", "thumbnailURL"}})) {
    thumbnail = urlOf(element);
  }

  std::vector<SKYLVelaContentImpression> impressions;
  forEachExtension(
      root, {{ns, "contentImpressions"}, {ns, "Impression"}}, [&](const Element& impression) {
        const auto time = impression.valueForAttribute("time");
        const auto seconds = time ? NumberParser::decimalStyleEnUS().parse(*time) : std::nullopt;
        if (seconds) {
          const auto url = impression.valueForAttribute("url");
          impressions.emplace_back(url ? URL::parse(*url) : std::nullopt,
                                   MediaTime::makeWithSeconds(*seconds, kTimescale));
        }
        return true;
      });

  SKYLVelaAdSequencesBuilder sequences(payloadLength);
  MediaTime accumulated = MediaTime::zero();
  for (const auto& adBreak : root ? root->childrenWithTag("AdBreak") : Element::Elements{}) {
    const auto offsetText = adBreak.valueForAttribute("timeOffset");
    const MediaTime offset = offsetText ? SKYLVelaAdBreakTimeOffsetFromString(*offsetText)
                                        : SKYLVelaDurationFromString(std::nullopt);
    if (!offset.isValid()) {
      return deserializationError(
          formatObjC("AdBreak timeOffset `%@` could not be parsed.",
                     {offsetText ? FormatArg(shown(*offsetText)) : FormatArg(nullptr)}));
    }
    const auto adElement = adOfBreak(adBreak);
    if (!adElement) {
      SKYLHostLog(1, "AdBreak `%@` at timeOffset `%@` holds no VAST ad; skipped.",
                  adBreak.valueForAttribute("breakId"), offsetText);
      continue;
    }
    SKYL_ASSIGN_OR_RETURN(
        SKYLVelaAdBuilder ad,
        SKYLVelaParseAdBuilderFromElementAndBeginTimeWithError(
            *adElement, adBreak.firstChildWithTag("TrackingEvents"), offset + accumulated, offset));
    if (!offset.isPositiveInfinity()) {
      accumulated = accumulated + ad.duration;
    } else {
      ad.beginTime = MediaTime::positiveInfinity();
    }
    sequences.insertAdBuilder(std::move(ad), offset);
  }

  auto built = sequences.buildAdSequences();
  return SKYLVelaTimeline::create(
      contentURI ? URL::parse(*contentURI) : std::nullopt, contentLength, payloadLength,
      built.value_or(SKYLVelaTimeline::Sequences{}), std::move(impressions), /*isLiveSSAI=*/false,
      {std::move(thumbnail), std::move(bytes)});
}

}  // namespace

Result<std::shared_ptr<SKYLVelaTimeline>> SKYLVelaParseTimelineFromXMLDocumentWithError(
    SKYLVelaParseContext* context, SKYLVelaXMLDocument& document) {
  return parseTimeline(context, document, nullptr);
}

Result<std::shared_ptr<SKYLVelaTimeline>> SKYLVelaParseTimelineFromDataWithError(
    SKYLVelaParseContext* context, std::string_view data) {
  return SKYLVelaParseTimelineFromDataWithError(context, std::make_shared<const std::string>(data));
}

Result<std::shared_ptr<SKYLVelaTimeline>> SKYLVelaParseTimelineFromDataWithError(
    SKYLVelaParseContext* context, std::shared_ptr<const std::string> bytes) {
  if (!bytes) bytes = std::make_shared<const std::string>();
  const std::string_view data = *bytes;
  std::string ns;
  if (data.find("xmlns:sk=") != std::string_view::npos) {
    ns = "sk";
  } else if (data.find("xmlns:pv=") != std::string_view::npos) {
    ns = "pv";
  }
  SKYLVelaParseContext local;
  if (!context) context = &local;
  context->vmapExtensionsNamespace = ns;

  auto document = SKYLVelaXMLDocument::XMLDocumentWithString(*bytes);
  if (!document.ok() || !document.value()->rootElement()) {
    SKYLError error = deserializationError("The VMAP document could not be read.");
    if (!document.ok()) error.withUnderlyingError(document.error());
    return error;
  }
  return parseTimeline(context, *document.value(), std::move(bytes));
}

}  // namespace skylark
