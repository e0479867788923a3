#include "host/gst/PlaylistStartDate.h"

#include <gtest/gtest.h>

namespace skylark {
namespace {

using namespace std::chrono_literals;

TEST(PlaylistStartDateTest, ReadsTheStartDateAndWhetherThePlaylistIsLive) {
  const SystemTime date(1'700'000'000'000ms);  // 2023-11-14T22:13:20.000Z
  struct Case {
    std::string name;
    std::string playlist;
    std::optional<SystemTime> startDate;
    std::optional<std::string> firstVariant;
    bool live;
  };
  const Case cases[] = {
      {"a live window, dated from its first segment",
       "#EXTM3U\n#EXT-X-MEDIA-SEQUENCE:7\n#EXT-X-PROGRAM-DATE-TIME:2023-11-14T22:13:20.000Z\n"
       "#EXTINF:2.000,\na.ts\n#EXT-X-PROGRAM-DATE-TIME:2023-11-14T22:13:22.000Z\n#EXTINF:2,\nb."
       "ts\n",
       date, std::nullopt, true},
      {"the first date after two segments: the start is their length earlier",
       "#EXTM3U\n#EXTINF:2.5,\na.ts\n#EXTINF:1.5,\nb.ts\n"
       "#EXT-X-PROGRAM-DATE-TIME:2023-11-14T22:13:24.000+00:00\n#EXTINF:2,\nc.ts\n#EXT-X-ENDLIST\n",
       date, std::nullopt, false},
      {"a VOD by its type", "#EXTM3U\n#EXT-X-PLAYLIST-TYPE:VOD\n#EXTINF:2,\na.ts\n", std::nullopt,
       std::nullopt, false},
      {"a multivariant playlist names its first variant",
       "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\r\nlow.m3u8\r\n#EXT-X-STREAM-INF:BANDWIDTH=2\nhigh."
       "m3u8\n",
       std::nullopt, "low.m3u8", false},
      {"no segments at all", "#EXTM3U\n", std::nullopt, std::nullopt, false},
  };
  for (const auto& c : cases) {
    const auto dating = readPlaylistDating(c.playlist);
    EXPECT_EQ(dating.startDate, c.startDate) << c.name;
    EXPECT_EQ(dating.firstVariant, c.firstVariant) << c.name;
    EXPECT_EQ(dating.live, c.live) << c.name;
  }
}

}  // namespace
}  // namespace skylark
