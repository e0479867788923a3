#include "LiveWindow.h"

#include <gtest/gtest.h>

namespace skylark::tool {
namespace {

using namespace std::chrono_literals;

// Three segments of 2, 2 and 1 s: a 5 s loop.
LiveWindow window(size_t segments) {
  return {readPlaylistSegments("#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXTINF:2.000,\na.ts\n"
                               "#EXT-X-PROGRAM-DATE-TIME:2023-11-14T22:13:22.000Z\r\n"
                               "#EXTINF:2.000,\nb.ts\n#EXTINF:1.000,\nc.ts\n#EXT-X-ENDLIST\n"),
          std::chrono::system_clock::time_point(1'700'000'000s), segments, "stream/"};
}

std::string entry(const std::string& date, const std::string& duration, const std::string& uri) {
  return "#EXT-X-PROGRAM-DATE-TIME:" + date + "\n#EXTINF:" + duration + ",\nstream/" + uri + "\n";
}

std::string head(int sequence, int discontinuities) {
  return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:" +
         std::to_string(sequence) +
         "\n#EXT-X-DISCONTINUITY-SEQUENCE:" + std::to_string(discontinuities) + "\n";
}

TEST(LiveWindowTest, TheWindowSlidesWithTheEdgeAndLoopsWithADiscontinuity) {
  struct Case {
    double edge;
    size_t segments;
    std::string expected;
  };
  const Case cases[] = {
      {0, 3, head(0, 0)},
      {1.999, 3, head(0, 0)},
      {2, 3, head(0, 0) + entry("2023-11-14T22:13:20.000Z", "2.000", "a.ts")},
      {4.5, 3,
       head(0, 0) + entry("2023-11-14T22:13:20.000Z", "2.000", "a.ts") +
           entry("2023-11-14T22:13:22.000Z", "2.000", "b.ts")},
      {7.5, 2,
       head(2, 0) + entry("2023-11-14T22:13:24.000Z", "1.000", "c.ts") + "#EXT-X-DISCONTINUITY\n" +
           entry("2023-11-14T22:13:25.000Z", "2.000", "a.ts")},
      {10, 2,
       head(4, 1) + entry("2023-11-14T22:13:27.000Z", "2.000", "b.ts") +
           entry("2023-11-14T22:13:29.000Z", "1.000", "c.ts")},
      {12, 1, head(6, 2) + entry("2023-11-14T22:13:30.000Z", "2.000", "a.ts")},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(window(c.segments).playlistAt(c.edge), c.expected) << "edge at " << c.edge;
  }
}

TEST(LiveWindowTest, ReadsOnlyTheSegmentsOfAPlaylist) {
  const auto segments = readPlaylistSegments(
      "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\nvariant.m3u8\n#EXTINF:nan,\nbad.ts\n"
      "#EXTINF:-1,\nnegative.ts\n#EXTINF:6.006,title\nok.ts\n");
  ASSERT_EQ(segments.size(), 1u);
  EXPECT_EQ(segments[0].uri, "ok.ts");
  EXPECT_DOUBLE_EQ(segments[0].duration, 6.006);
  EXPECT_EQ(LiveWindow{}.playlistAt(100),
            head(0, 0).replace(head(0, 0).find("DURATION:2"), 10, "DURATION:0"));
}

}  // namespace
}  // namespace skylark::tool
