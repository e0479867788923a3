#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "timeline/SKYLVelaAdBuilder.h"
#include "timeline/SKYLVelaTimeline.h"

namespace skylark::test {

inline MediaTime seconds(double s) { return MediaTime::makeWithSeconds(s, 600); }

// One break of a fixture: where it begins and its ads' durations.
struct BreakSpec {
  double begin;
  std::vector<double> durations;
};

// A break of back-to-back ads named "<break>-<ad>", standing at `logical`.
inline std::shared_ptr<SKYLVelaAdSequence> makeBreak(const BreakSpec& plan, double logical,
                                                     size_t breakNumber) {
  SKYLVelaAdSequence::Ads ads;
  double at = plan.begin;
  for (size_t i = 0; i < plan.durations.size(); ++i) {
    SKYLVelaAdBuilder builder;
    builder.adId = std::to_string(breakNumber) + "-" + std::to_string(i);
    builder.adTitle = "Ad " + builder.adId;
    builder.beginTime = seconds(at);
    builder.duration = seconds(plan.durations[i]);
    builder.logicalOffset = seconds(logical);
    ads.push_back(builder.buildAd());
    at += plan.durations[i];
  }
  return std::make_shared<SKYLVelaAdSequence>(std::move(ads));
}

// A VOD timeline of the given stream length with the given breaks, which
// must be listed in order.
inline std::shared_ptr<SKYLVelaTimeline> makeTimeline(double payload,
                                                      const std::vector<BreakSpec>& breaks,
                                                      bool live = false) {
  SKYLVelaTimeline::Sequences sequences;
  double adTime = 0;
  for (size_t i = 0; i < breaks.size(); ++i) {
    sequences.push_back(makeBreak(breaks[i], breaks[i].begin - adTime, i));
    for (double d : breaks[i].durations) adTime += d;
  }
  return SKYLVelaTimeline::create(URL::parse("https://ads.example.com/vmap.xml"),
                                  seconds(payload - adTime), seconds(payload), std::move(sequences),
                                  {}, live);
}

}  // namespace skylark::test
