#include "vmap/SKYLLiveSSAIAdMetadataParser.h"

#include <cmath>

#include <fmt/format.h>

#include "host/SKYLHostLog.h"
#include "platform/NumberParser.h"
#include "timeline/SKYLVelaAdSequencesBuilder.h"
#include "timeline/SKYLVelaErrors.h"
#include "timeline/SKYLVelaTimeStrings.h"
#include "vmap/SKYLVelaVMAPParser.h"
#include "vmap/TextValues.h"

namespace skylark {
namespace {

using OptionalElement = std::optional<SKYLVelaXMLElement>;

OptionalElement childPath(OptionalElement current, std::initializer_list<std::string_view> tags) {
  for (const auto tag : tags) {
    if (!current) return std::nullopt;
    current = current->firstChildWithTag(tag);
  }
  return current;
}

std::optional<std::string> textOf(const OptionalElement& element) {
  if (!element) return std::nullopt;
  return SKYLTrimXMLStringValue(std::string_view(element->stringValue()));
}

// Beyond a quadrillion (31,700 years in milliseconds) a number would no
// longer fit the whole milliseconds of a media time, nor their sums: such a
// number, or one that is not finite, counts as absent.
constexpr double kLargestNumber = 1e15;

std::optional<double> numberOf(const OptionalElement& element) {
  const auto text = textOf(element);
  const auto number = text ? NumberParser::decimalStyleEnUS().parse(*text) : std::nullopt;
  if (!number || !std::isfinite(*number) || std::fabs(*number) > kLargestNumber) {
    return std::nullopt;
  }
  return number;
}

FormatArg numberArg(const std::optional<double>& value) {
  if (!value) return FormatArg(nullptr);
  return FormatArg(fmt::format("{:g}", *value));
}

struct ClientOptions {
  bool clientOnlyTracking = false;
  bool showAdRemainingTime = true;
  bool showAdBreakRemainingTime = true;
  bool showNumberOfRemainingAds = true;
};

struct TimingData {
  std::optional<double> adBreakDurationMs, adBreakRemainingMs, adRemainingMs, adIndex,
      totalPlayableAds;
  std::optional<std::string> segmentType;
};

ClientOptions readClientOptions(const OptionalElement& player) {
  ClientOptions options;
  if (const auto element = childPath(player, {"ClientOptions"})) {
    auto flag = [&](std::string_view tag, bool absent) {
      const auto text = textOf(element->firstChildWithTag(tag));
      return text ? vmap_detail::boolValue(*text) : absent;
    };
    options.clientOnlyTracking = flag("clientOnlyTracking", false);
    options.showAdRemainingTime = flag("showAdRemainingTime", true);
    options.showAdBreakRemainingTime = flag("showAdBreakRemainingTime", true);
    options.showNumberOfRemainingAds = flag("showNumberOfRemainingAds", true);
  }
  SKYLHostLog(6,
              "clientOnlyTracking %d, showAdRemainingTime %d, showAdBreakRemainingTime %d, "
              "showNumberOfRemainingAds %d",
              int{options.clientOnlyTracking}, int{options.showAdRemainingTime},
              int{options.showAdBreakRemainingTime}, int{options.showNumberOfRemainingAds});
  return options;
}

TimingData readTimingData(const OptionalElement& player) {
  TimingData timing;
  if (const auto element = childPath(player, {"TimingData"})) {
    timing.adBreakDurationMs = numberOf(element->firstChildWithTag("adBreakDurationMs"));
    timing.adBreakRemainingMs = numberOf(element->firstChildWithTag("adBreakRemainingMs"));
    timing.adRemainingMs = numberOf(element->firstChildWithTag("adRemainingMs"));
    timing.adIndex = numberOf(element->firstChildWithTag("adIndex"));
    timing.totalPlayableAds = numberOf(element->firstChildWithTag("totalPlayableAds"));
    timing.segmentType = textOf(element->firstChildWithTag("segmentType"));
  }
  SKYLHostLog(
      6,
      "TimingData: adBreakDurationMs %@, adBreakRemainingMs %@, adRemainingMs %@, adIndex %@, "
      "totalPlayableAds %@, segmentType %@",
      numberArg(timing.adBreakDurationMs), numberArg(timing.adBreakRemainingMs),
      numberArg(timing.adRemainingMs), numberArg(timing.adIndex),
      numberArg(timing.totalPlayableAds),
      timing.segmentType ? FormatArg(*timing.segmentType) : FormatArg(nullptr));
  return timing;
}

MediaTime milliseconds(const std::optional<double>& ms) {
  return MediaTime::make(static_cast<int64_t>(ms.value_or(0)), 1000);
}

}  // namespace

Result<SKYLVelaTimeline::Sequences> SKYLLiveSSAIParseAdMetadataFromDataWithError(
    std::string_view data, const MediaTime& currentAbsoluteTime) {
  auto document = SKYLVelaXMLDocument::XMLDocumentWithData(data);
  if (!document.ok() || !document.value()->rootElement()) {
    SKYLError error(std::string(SKYLVelaErrorDomain), SKYLVelaDocumentErrorCodeDeserialization,
                    "The live ad metadata could not be read.");
    if (!document.ok()) error.withUnderlyingError(document.error());
    return error;
  }
  return SKYLLiveSSAIParseAdMetadataFromXMLDocWithError(*document.value(), currentAbsoluteTime);
}

Result<SKYLVelaTimeline::Sequences> SKYLLiveSSAIParseAdMetadataFromXMLDocWithError(
    SKYLVelaXMLDocument& document, const MediaTime& currentAbsoluteTime) {
  const auto root = document.rootElement();
  const OptionalElement player = childPath(root, {"Extensions", "Player"});
  const ClientOptions options = readClientOptions(player);
  const TimingData timing = readTimingData(player);

  SKYLVelaAdSequencesBuilder builder(MediaTime::positiveInfinity());
  const MediaTime elapsed =
      MediaTime::make(static_cast<int64_t>(timing.adBreakDurationMs.value_or(0) -
                                           timing.adBreakRemainingMs.value_or(0)),
                      1000);
  const MediaTime start = currentAbsoluteTime - elapsed;
  SKYLHostLog(6, "Computed ad break start time %@", fmt::format("{:.5f}", start.seconds()));
  // Only two numbers the document gives can be equal: without timing data
  // the ads keep their own durations.
  const bool justBegun = timing.adBreakRemainingMs && timing.adBreakDurationMs &&
                         *timing.adBreakRemainingMs == *timing.adBreakDurationMs;

  MediaTime accumulated = MediaTime::zero();
  for (const auto& adBreak :
       root ? root->childrenWithTag("AdBreak") : SKYLVelaXMLElement::Elements{}) {
    const MediaTime begin = start + accumulated;
    if (const auto ad = childPath(adBreak, {"AdSource", "VASTAdData", "VAST", "Ad"})) {
      SKYLHostLog(6, "SLS AD: Adding ad with absolute offset %@, logical offset %@",
                  fmt::format("{:.2f}", begin.seconds()), fmt::format("{:.2f}", start.seconds()));
      SKYL_ASSIGN_OR_RETURN(SKYLVelaAdBuilder adBuilder,
                            SKYLLiveSSAIParseAdBuilderFromAdElementAndBeginTimeWithError(
                                *ad, begin, start, options.clientOnlyTracking));
      if (justBegun) adBuilder.duration = milliseconds(timing.adRemainingMs);
      accumulated = accumulated + adBuilder.duration;
      builder.insertAdBuilder(std::move(adBuilder), start);
    } else if (const auto extension = childPath(adBreak, {"Extensions", "Extension"})) {
      SKYLHostLog(
          6, "SLS PLACEHOLDER: Adding ad placeholder with absolute offset %@, logical offset %@",
          fmt::format("{:.2f}", begin.seconds()), fmt::format("{:.2f}", begin.seconds()));
      auto placeholder =
          SKYLLiveSSAIParseAdBuilderFromAdSoucePlaceholderElementAndBeginTimeWithError(
              *extension, begin, start);
      accumulated = accumulated + placeholder.duration;
      builder.insertAdBuilder(std::move(placeholder), start);
    }
  }

  const MediaTime remaining = milliseconds(timing.adBreakDurationMs) - accumulated;
  if (remaining > MediaTime::make(1500, 1000)) {
    builder.insertAdBuilder(SKYLLiveSSAICreateAdBuilderForAdSlateFromBeginTimeWithError(
                                start + accumulated, start, remaining),
                            start);
  }

  // Each built break becomes a live one whose ads know their positions.
  SKYLVelaTimeline::Sequences sequences;
  for (const auto& built : builder.buildAdSequences().value_or(SKYLVelaTimeline::Sequences{})) {
    const auto ads = built->ads();
    SKYLVelaAdSequence::Ads indexed;
    for (size_t i = 0; i < ads.size(); ++i) {
      indexed.push_back(ads[i]->copyWith(
          [i](SKYLVelaAd::Fields& fields) { fields.adIndex = static_cast<int64_t>(i); }));
    }
    SKYLVelaAdSequence::LiveOptions live;
    live.showAdRemainingTime = options.showAdRemainingTime;
    live.showAdBreakRemainingTime = options.showAdBreakRemainingTime;
    live.showNumberOfRemainingAds = options.showNumberOfRemainingAds;
    live.timingDataAdIndex = timing.adIndex ? static_cast<int64_t>(*timing.adIndex)
                                            : static_cast<int64_t>(ads.size()) - 1;
    sequences.push_back(std::make_shared<SKYLVelaAdSequence>(std::move(indexed), live));
  }
  return sequences;
}

Result<SKYLVelaAdBuilder> SKYLLiveSSAIParseAdBuilderFromAdElementAndBeginTimeWithError(
    const SKYLVelaXMLElement& adElement, const MediaTime& beginTime, const MediaTime& logicalTime,
    bool clientOnlyTracking) {
  SKYL_ASSIGN_OR_RETURN(SKYLVelaAdBuilder builder,
                        SKYLVelaParseAdBuilderFromElementAndBeginTimeWithError(
                            adElement, std::nullopt, beginTime, logicalTime,
                            /*readSkipOffset=*/false));
  builder.adId.clear();                       // live ads are known by position, not id
  builder.skipOffset = MediaTime::invalid();  // and are never skippable
  builder.liveSSAI = true;
  builder.adSourcePlaceholder = false;
  builder.adNotSlate = true;
  builder.clientOnlyTracking = clientOnlyTracking;
  return builder;
}

SKYLVelaAdBuilder SKYLLiveSSAIParseAdBuilderFromAdSoucePlaceholderElementAndBeginTimeWithError(
    const SKYLVelaXMLElement& extensionElement, const MediaTime& beginTime,
    const MediaTime& logicalTime) {
  SKYLVelaAdBuilder builder;
  builder.liveSSAI = true;
  builder.adSourcePlaceholder = true;
  builder.adNotSlate = true;
  builder.skipOffset = MediaTime::invalid();
  builder.beginTime = beginTime;
  builder.logicalOffset = logicalTime;
  const auto placeholder = extensionElement.firstChildWithTag("AdSourcePlaceholder");
  builder.duration = milliseconds(
      numberOf(placeholder ? placeholder->firstChildWithTag("durationMs") : std::nullopt));
  return builder;
}

SKYLVelaAdBuilder SKYLLiveSSAICreateAdBuilderForAdSlateFromBeginTimeWithError(
    const MediaTime& beginTime, const MediaTime& logicalTime, const MediaTime& duration) {
  SKYLVelaAdBuilder builder;
  builder.liveSSAI = true;
  builder.adSourcePlaceholder = false;
  builder.adNotSlate = false;
  builder.beginTime = beginTime;
  builder.logicalOffset = logicalTime;
  builder.duration = duration;
  builder.skipOffset = MediaTime::invalid();
  return builder;
}

}  // namespace skylark
