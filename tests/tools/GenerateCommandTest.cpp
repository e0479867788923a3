#include "GenerateCommand.h"

#include <gtest/gtest.h>

#include "platform/URLSession.h"
#include "timeline/SKYLVelaLog.h"
#include "vmap/SKYLVelaVMAPParser.h"

namespace skylark::tool {
namespace {

TEST(GenerateCommandTest, TheSameOptionsGiveTheSameBytesAndAnotherSeedOthers) {
  const GenerateOptions options{4, 2, 7, "-"};
  EXPECT_EQ(generateVMAP(options), generateVMAP(options));
  EXPECT_NE(generateVMAP(options), generateVMAP({4, 2, 8, "-"}));
}

TEST(GenerateCommandTest, TheDocumentParsesIntoTheBreaksAndAdsAskedFor) {
  SKYLVelaLogConfigure(0);
  for (const auto& [breaks, ads] : {std::pair{1, 1}, std::pair{3, 1}, std::pair{12, 4}}) {
    const auto timeline =
        SKYLVelaParseTimelineFromDataWithError(nullptr, generateVMAP({breaks, ads, 1, "-"}));
    ASSERT_TRUE(timeline.ok()) << timeline.error().description();
    const auto sequences = timeline.value()->adSequences();
    ASSERT_EQ(static_cast<int>(sequences->size()), breaks);
    MediaTime adTime = MediaTime::zero();
    for (const auto& sequence : *sequences) {
      ASSERT_EQ(static_cast<int>(sequence->ads().size()), ads);
      for (const auto& ad : sequence->ads()) {
        EXPECT_EQ(ad->impressionURLs().size(), 2u);
        ASSERT_TRUE(ad->companionsCollection());
        EXPECT_EQ(ad->companionsCollection()->orderedCompanionAdsWithWidthThenHeight().size(), 2u);
        adTime = adTime + ad->duration();
      }
    }
    // The stream is its content and its ads.
    EXPECT_NEAR(timeline.value()->payloadLength().seconds(),
                timeline.value()->contentLength().seconds() + adTime.seconds(), 1e-3);
  }
}

// The largest documents the help names as within the limit parse: under
// 16 MiB, every time offset readable.
TEST(GenerateCommandTest, TheLargestAllowedDocumentsParse) {
  SKYLVelaLogConfigure(0);
  for (const auto& [breaks, ads] :
       {std::pair{kMostGeneratedBreaks, kAdsWithin16MiB / kMostGeneratedBreaks},
        std::pair{kAdsWithin16MiB / 100, 100}}) {
    const std::string document = generateVMAP({breaks, ads, 1, "-"});
    EXPECT_LE(document.size(), URLSession::Configuration().maximumBodyBytes)
        << breaks << " x " << ads;
    const auto timeline = SKYLVelaParseTimelineFromDataWithError(nullptr, document);
    ASSERT_TRUE(timeline.ok()) << breaks << " x " << ads << ": " << timeline.error().description();
    EXPECT_EQ(static_cast<int>(timeline.value()->adSequences()->size()), breaks);
  }
}

}  // namespace
}  // namespace skylark::tool
