#include "vmap/SKYLLiveSSAIAdMetadataParser.h"

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "support/TimelineFixtures.h"

namespace skylark {
namespace {

using test::seconds;

std::string vastAd(const std::string& duration) {
  return R"(<vmap:AdBreak timeOffset="start"><vmap:AdSource><vmap:VASTAdData><VAST version="3.0">
      <Ad id="ignored"><InLine><AdTitle>Live</AdTitle>
        <Impression>https://b.example.com/imp</Impression>
        <Creatives><Creative><Linear skipoffset="00:00:01"><Duration>)" +
         duration + R"(</Duration></Linear></Creative></Creatives>
      </InLine></Ad></VAST></vmap:VASTAdData></vmap:AdSource></vmap:AdBreak>)";
}

std::string placeholder(int durationMs) {
  return R"(<vmap:AdBreak timeOffset="start"><vmap:Extensions><vmap:Extension>
      <sk:AdSourcePlaceholder><sk:durationMs>)" +
         std::to_string(durationMs) + R"(</sk:durationMs></sk:AdSourcePlaceholder>
      </vmap:Extension></vmap:Extensions></vmap:AdBreak>)";
}

// The document a live stream carries; timing is (duration, remaining, ad
// remaining, ad index) in ms, or empty for no TimingData.
std::string metadata(const std::string& breaks, const std::string& timing,
                     const std::string& options = "") {
  return R"(<vmap:VMAP xmlns:vmap="http://www.iab.net/videosuite/vmap" xmlns:sk="http://example.com/sk" version="1.0">)" +
         breaks + "<vmap:Extensions><sk:Player>" + options + timing +
         "</sk:Player></vmap:Extensions></vmap:VMAP>";
}

std::string timing(int durationMs, int remainingMs, int adRemainingMs = 0, int adIndex = -1) {
  std::string text = "<sk:TimingData><sk:adBreakDurationMs>" + std::to_string(durationMs) +
                     "</sk:adBreakDurationMs><sk:adBreakRemainingMs>" +
                     std::to_string(remainingMs) + "</sk:adBreakRemainingMs><sk:adRemainingMs>" +
                     std::to_string(adRemainingMs) + "</sk:adRemainingMs>";
  if (adIndex >= 0) text += "<sk:adIndex>" + std::to_string(adIndex) + "</sk:adIndex>";
  return text + "<sk:segmentType>AD</sk:segmentType></sk:TimingData>";
}

struct Laid {
  double begin, duration;
  bool slate, placeholder;
  bool operator==(const Laid&) const = default;
};

std::vector<Laid> layout(const SKYLVelaTimeline::Sequences& sequences) {
  std::vector<Laid> out;
  for (const auto& sequence : sequences) {
    for (const auto& ad : sequence->ads()) {
      out.push_back({ad->beginTime().seconds(), ad->duration().seconds(), !ad->isAdNotSlate(),
                     ad->isAdSourcePlaceholder()});
    }
  }
  return out;
}

SKYLVelaTimeline::Sequences parse(const std::string& text, double now = 1000) {
  auto result = SKYLLiveSSAIParseAdMetadataFromDataWithError(text, seconds(now));
  EXPECT_TRUE(result.ok()) << (result.ok() ? "" : result.error().description());
  return result.ok() ? result.value() : SKYLVelaTimeline::Sequences{};
}

// 24 digits: far beyond 64-bit milliseconds.
const std::string kHuge = "123456789012345678901234";

TEST(SKYLLiveSSAIAdMetadataParserTest, AdsLieBackToBackFromTheBreakStartWithASlateAfter) {
  struct Case {
    std::string name;
    std::string document;
    std::vector<Laid> expected;
  };
  const Case cases[] = {
      {"two ads and a slate",
       metadata(vastAd("00:00:15") + vastAd("00:00:15"), timing(60000, 45000)),
       {{985, 15, false, false}, {1000, 15, false, false}, {1015, 30, true, false}}},
      {"59 s of ads: no slate",
       metadata(vastAd("00:00:59"), timing(60000, 45000)),
       {{985, 59, false, false}}},
      {"58.4 s of ads: a slate",
       metadata(vastAd("00:00:58.400"), timing(60000, 45000)),
       {{985, 58.4, false, false}, {1043.4, 1.6, true, false}}},
      {"just begun: every ad lasts what remains",
       metadata(vastAd("00:00:15") + vastAd("00:00:20"), timing(60000, 60000, 12000)),
       {{1000, 12, false, false}, {1012, 12, false, false}, {1024, 36, true, false}}},
      {"a placeholder",
       metadata(placeholder(20000), timing(20000, 20000)),
       {{1000, 20, false, true}}},
      {"no Player: defaults", metadata(vastAd("00:00:10"), ""), {{1000, 10, false, false}}},
      {"numbers too large for milliseconds count as absent",
       metadata(vastAd("00:00:10"), "<sk:TimingData><sk:adBreakDurationMs>" + kHuge +
                                        "</sk:adBreakDurationMs><sk:adBreakRemainingMs>-" + kHuge +
                                        "</sk:adBreakRemainingMs><sk:adIndex>" + kHuge +
                                        "</sk:adIndex></sk:TimingData>"),
       {{1000, 10, false, false}}},
      {"a placeholder too long for milliseconds lasts 0",
       metadata(R"(<vmap:AdBreak timeOffset="start"><vmap:Extensions><vmap:Extension>
           <sk:AdSourcePlaceholder><sk:durationMs>)" +
                    kHuge + R"(</sk:durationMs></sk:AdSourcePlaceholder>
           </vmap:Extension></vmap:Extensions></vmap:AdBreak>)" +
                    vastAd("00:00:10"),
                ""),
       {{1000, 0, false, true}, {1000, 10, false, false}}},
  };
  for (const auto& c : cases) {
    const auto sequences = parse(c.document);
    EXPECT_EQ(layout(sequences), c.expected) << c.name;
  }
}

TEST(SKYLLiveSSAIAdMetadataParserTest, SequenceFlagsIndexesAndLiveAds) {
  const auto sequences =
      parse(metadata(vastAd("00:00:15") + vastAd("00:00:15"), timing(60000, 45000),
                     "<sk:ClientOptions><sk:clientOnlyTracking>true</sk:clientOnlyTracking>"
                     "<sk:showAdRemainingTime>false</sk:showAdRemainingTime></sk:ClientOptions>"));
  ASSERT_EQ(sequences.size(), 1u);
  const auto& sequence = *sequences[0];
  EXPECT_TRUE(sequence.isLiveSsaiAdSequence());
  EXPECT_FALSE(sequence.liveSsaiClientOptionsShowAdRemainingTime());
  EXPECT_TRUE(sequence.liveSsaiClientOptionsShowNumberOfRemainingAds());
  EXPECT_EQ(sequence.liveSsaiTimingDataAdIndex(), 2);  // no adIndex: the last ad's
  const auto ads = sequence.ads();
  EXPECT_EQ(ads[1]->adIndex(), 1);
  EXPECT_TRUE(ads[0]->isLiveSSAI());
  EXPECT_TRUE(ads[0]->isClientOnlyTracking());
  EXPECT_FALSE(ads[0]->skipOffset().isValid());  // live ads are never skippable
  EXPECT_EQ(ads[0]->adId(), "");
  EXPECT_EQ(parse(metadata(vastAd("00:00:15"), timing(60000, 45000, 0, 4)))[0]
                ->liveSsaiTimingDataAdIndex(),
            4);
}

// Live ads are never skippable: their "skipoffset" is not even read, so a
// bad one logs nothing.
TEST(SKYLLiveSSAIAdMetadataParserTest, TheSkipOffsetIsNotRead) {
  std::string ad = vastAd("00:00:10");
  ad.replace(ad.find("00:00:01"), 8, "whenever");
  test::LogCapture log;
  const auto sequences = parse(metadata(ad, timing(10000, 5000)));
  ASSERT_EQ(sequences.size(), 1u);
  EXPECT_FALSE(sequences[0]->ads()[0]->skipOffset().isValid());
  for (const auto& message : log.messages()) {
    EXPECT_EQ(message.find("whenever"), std::string::npos) << message;
  }
}

TEST(SKYLLiveSSAIAdMetadataParserTest, FailuresAreDeserializationErrors) {
  const auto notXML = SKYLLiveSSAIParseAdMetadataFromDataWithError("\x01\x02 not xml", seconds(10));
  ASSERT_FALSE(notXML.ok());
  EXPECT_EQ(notXML.error().code, 4011);
  const auto badDuration = SKYLLiveSSAIParseAdMetadataFromDataWithError(
      metadata(vastAd("soon"), timing(10000, 5000)), seconds(10));
  ASSERT_FALSE(badDuration.ok());
  EXPECT_EQ(badDuration.error().localizedDescription,
            "Linear Duration `soon` could not be parsed.");
}

}  // namespace
}  // namespace skylark
