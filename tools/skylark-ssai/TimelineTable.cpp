#include "TimelineTable.h"

#include <fmt/format.h>

namespace skylark::tool {
namespace {

std::string seconds(const MediaTime& time) {
  if (time.isPositiveInfinity()) return "+inf";
  if (time.isNegativeInfinity()) return "-inf";
  if (!time.isNumeric()) return "-";
  return fmt::format("{:.3f}", time.seconds());
}

size_t trackingCount(const SKYLVelaAd& ad) {
  size_t count = 0;
  if (const auto& events = ad.trackingEventsCollection()) {
    for (const auto& [name, list] : events->eventsByName()) count += list.size();
  }
  return count;
}

size_t companionCount(const SKYLVelaAd& ad) {
  const auto& companions = ad.companionsCollection();
  return companions ? companions->orderedCompanionAdsWithWidthThenHeight().size() : 0;
}

}  // namespace

void printTimelineTable(const SKYLVelaTimeline& timeline, std::ostream& out) {
  const auto sequences = timeline.adSequences();
  const auto& stream = timeline.velaURL();
  out << fmt::format("Stream    {}\n", stream ? stream->absoluteString() : "none");
  out << fmt::format("Length    {} s stream, {} s content{}\n", seconds(timeline.payloadLength()),
                     seconds(timeline.contentLength()), timeline.isLiveSSAI() ? " (live)" : "");
  out << fmt::format("Breaks    {}\n\n", sequences->size());

  out << fmt::format("{:<6} {:>10} {:>10} {:>10} {:>9}\n", "break", "begin", "end", "content",
                     "duration");
  for (size_t i = 0; i < sequences->size(); ++i) {
    const auto& sequence = (*sequences)[i];
    out << fmt::format("{:<6} {:>10} {:>10} {:>10} {:>9}\n", i + 1, seconds(sequence->beginTime()),
                       seconds(sequence->endTime()), seconds(sequence->logicalOffset()),
                       seconds(sequence->duration()));
    for (const auto& ad : sequence->ads()) {
      out << fmt::format(
          "  ad {:<16} {:>8} s  skip {:>7}  impressions {}  tracking {}  companions {}  "
          "verifications {}  {}\n",
          ad->adId(), seconds(ad->duration()), seconds(ad->skipOffset()),
          ad->impressionURLs().size(), trackingCount(*ad), companionCount(*ad),
          ad->adVerifications().size(), ad->title());
    }
  }

  out << "\nContent segments (begin + duration)\n";
  for (const auto& segment : timeline.contentSegments()) {
    out << fmt::format("  {:>10} + {}\n", seconds(segment.beginTime()),
                       seconds(segment.duration()));
  }
}

}  // namespace skylark::tool
