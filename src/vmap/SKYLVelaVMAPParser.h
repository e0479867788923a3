#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Result.h"
#include "platform/Visibility.h"
#include "timeline/SKYLVelaAdBuilder.h"
#include "timeline/SKYLVelaTimeline.h"
#include "xml/SKYLVelaXMLDocument.h"

namespace SKYLARK_API skylark {

// What parsing learns about the document it reads: the prefix of the ad
// service's VMAP extension ("sk", the legacy "pv", or "").
struct SKYLVelaParseContext {
  std::string vmapExtensionsNamespace;
};

// VMAP bytes to a timeline. Fails with 4011 in SKYLVelaErrorDomain when
// the bytes are not XML or have no root element (the XML error attached),
// when a break's timeOffset cannot be read, or when an ad fails to parse
// (every later ad's position depends on the durations before it, so a
// broken ad fails the document). A break that holds no VAST ad occupies no
// time and is skipped.
Result<std::shared_ptr<SKYLVelaTimeline>> SKYLVelaParseTimelineFromDataWithError(
    SKYLVelaParseContext* context, std::string_view data);
// The same, and the timeline keeps the very bytes given (no copy of them).
Result<std::shared_ptr<SKYLVelaTimeline>> SKYLVelaParseTimelineFromDataWithError(
    SKYLVelaParseContext* context, std::shared_ptr<const std::string> data);

Result<std::shared_ptr<SKYLVelaTimeline>> SKYLVelaParseTimelineFromXMLDocumentWithError(
    SKYLVelaParseContext* context, SKYLVelaXMLDocument& document);

// One VAST Ad element (its InLine) to an ad builder, at the given absolute
// begin time and content (logical) time; breakTrackingEvents is the VMAP
// break's own TrackingEvents element. Fails with 4011 when the linear
// Duration cannot be read.
// `readSkipOffset` false leaves the Linear's "skipoffset" unread (older
// live streams' ads are never skippable; their offsets are not even parsed).
Result<SKYLVelaAdBuilder> SKYLVelaParseAdBuilderFromElementAndBeginTimeWithError(
    const SKYLVelaXMLElement& adElement,
    const std::optional<SKYLVelaXMLElement>& breakTrackingEvents, const MediaTime& beginTime,
    const MediaTime& logicalTime, bool readSkipOffset = true);

}  // namespace skylark
