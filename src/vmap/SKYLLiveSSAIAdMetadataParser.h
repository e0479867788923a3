#pragma once

#include <string_view>

#include "platform/MediaTime.h"
#include "platform/Result.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaAdBuilder.h"
#include "timeline/SKYLVelaTimeline.h"
#include "xml/SKYLVelaXMLDocument.h"

namespace SKYLARK_API skylark {

// The ad metadata an older live SSAI stream carries in its timed metadata:
// a small VMAP document describing the break under way (the service's
// player options, timing data in milliseconds, VAST ads and placeholders
// for ads not known yet). Turned into ad sequences on the stream's clock
// for SKYLVelaTimeline::installLiveAdSequences. Pure apart from logging
// (host log, level 6): any thread.

// Fails with 4011 (the XML error attached) for bytes that are not XML.
Result<SKYLVelaTimeline::Sequences> SKYLLiveSSAIParseAdMetadataFromDataWithError(
    std::string_view data, const MediaTime& currentAbsoluteTime);

// The break started adBreakDurationMs - adBreakRemainingMs ago; its ads lie
// back to back from there, and a slate fills what they leave of the break
// when that is more than 1.5 s. Missing Player, ClientOptions or TimingData
// read as defaults and zeros.
Result<SKYLVelaTimeline::Sequences> SKYLLiveSSAIParseAdMetadataFromXMLDocWithError(
    SKYLVelaXMLDocument& document, const MediaTime& currentAbsoluteTime);

// A VAST Ad of a live break: read as the VMAP parser reads one, but live,
// never skippable, without the ad's id or break beacons.
Result<SKYLVelaAdBuilder> SKYLLiveSSAIParseAdBuilderFromAdElementAndBeginTimeWithError(
    const SKYLVelaXMLElement& adElement, const MediaTime& beginTime, const MediaTime& logicalTime,
    bool clientOnlyTracking);

// An ad not known yet: its duration from the placeholder's "durationMs".
// (The name's spelling is the published one.)
SKYLVelaAdBuilder SKYLLiveSSAIParseAdBuilderFromAdSoucePlaceholderElementAndBeginTimeWithError(
    const SKYLVelaXMLElement& extensionElement, const MediaTime& beginTime,
    const MediaTime& logicalTime);

SKYLVelaAdBuilder SKYLLiveSSAICreateAdBuilderForAdSlateFromBeginTimeWithError(
    const MediaTime& beginTime, const MediaTime& logicalTime, const MediaTime& duration);

}  // namespace skylark
