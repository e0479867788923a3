#include "timeline/SKYLVelaAdSequencesBuilder.h"

#include <algorithm>

#include "timeline/SKYLVelaLog.h"

namespace skylark {

void SKYLVelaAdSequencesBuilder::insertAdBuilder(SKYLVelaAdBuilder adBuilder,
                                                 const MediaTime& atTimeOffset) {
  structure_[atTimeOffset].push_back(std::move(adBuilder));
}

std::vector<MediaTime> SKYLVelaAdSequencesBuilder::sortedArrayOfCMTimes(
    std::vector<MediaTime> times) {
  std::stable_sort(times.begin(), times.end(),
                   [](const MediaTime& a, const MediaTime& b) { return compare(a, b) < 0; });
  return times;
}

std::optional<SKYLVelaTimeline::Sequences> SKYLVelaAdSequencesBuilder::buildAdSequences() {
  if (spent_) {
    SKYLVelaLog(
        "`-[SKYLVelaAdSequenceBuilder buildAdSequences]` may only be called once, as doing so "
        "mutates its internal state (and possibly that of its SKYLVelaAdBuilders)");
    return std::nullopt;
  }
  spent_ = true;

  // Post-rolls end at the stream's end, back to back.
  if (!structure_.empty()) {
    auto& [greatest, postRolls] = *structure_.rbegin();
    if (greatest.isPositiveInfinity()) {
      MediaTime sum = MediaTime::zero();
      for (auto builder = postRolls.rbegin(); builder != postRolls.rend(); ++builder) {
        sum = sum + builder->duration;
        builder->beginTime = payloadLength_ - sum;
      }
    }
  }

  SKYLVelaTimeline::Sequences sequences;
  // Building once, the builders give their fields up to the ads.
  for (auto& [offset, builders] : structure_) {
    SKYLVelaAdSequence::Ads ads;
    for (auto& builder : builders) ads.push_back(std::move(builder).buildAd());
    sequences.push_back(std::make_shared<SKYLVelaAdSequence>(std::move(ads)));
  }
  return sequences;
}

}  // namespace skylark
