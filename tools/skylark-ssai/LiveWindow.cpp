#include "LiveWindow.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace skylark::tool {
namespace {

std::string programDate(std::chrono::system_clock::time_point t) {
  const auto ms =
      std::chrono::duration_cast<std::chrono::milliseconds>(t.time_since_epoch()).count();
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                     fmt::gmtime(std::chrono::system_clock::to_time_t(t)), ms % 1000);
}

}  // namespace

std::vector<PlaylistSegment> readPlaylistSegments(std::string_view playlist) {
  std::vector<PlaylistSegment> segments;
  std::istringstream lines{std::string(playlist)};
  double duration = -1;
  for (std::string line; std::getline(lines, line);) {
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    if (line.rfind("#EXTINF:", 0) == 0) {
      duration = std::strtod(line.c_str() + 8, nullptr);
    } else if (!line.empty() && line[0] != '#' && duration > 0 && std::isfinite(duration)) {
      segments.push_back({duration, line});
      duration = -1;
    }
  }
  return segments;
}

std::string LiveWindow::playlistAt(double livePosition) const {
  double loop = 0, longest = 0;
  for (const auto& segment : segments) {
    loop += segment.duration;
    longest = std::max(longest, segment.duration);
  }
  const size_t count = segments.size();
  std::vector<double> begins;  // within the loop
  for (double at = 0; const auto& segment : segments) {
    begins.push_back(at);
    at += segment.duration;
  }
  // The last segment the edge has passed the end of, counted from the
  // first segment of the first loop.
  int64_t last = -1;
  if (count > 0 && livePosition > 0) {
    const auto loops = static_cast<int64_t>(std::floor(livePosition / loop));
    const double within = livePosition - static_cast<double>(loops) * loop;
    size_t whole = 0;
    while (whole < count && begins[whole] + segments[whole].duration <= within + 1e-9) ++whole;
    last = loops * static_cast<int64_t>(count) + static_cast<int64_t>(whole) - 1;
  }
  const int64_t first = std::max<int64_t>(0, last - static_cast<int64_t>(windowSegments) + 1);
  const auto n = static_cast<int64_t>(count);
  std::string text = fmt::format(
      "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:{}\n#EXT-X-MEDIA-SEQUENCE:{}\n"
      "#EXT-X-DISCONTINUITY-SEQUENCE:{}\n",
      static_cast<int64_t>(std::ceil(longest)), first, n > 0 ? first / n : 0);
  for (int64_t index = first; index <= last; ++index) {
    const auto& segment = segments[static_cast<size_t>(index % n)];
    const double position =
        static_cast<double>(index / n) * loop + begins[static_cast<size_t>(index % n)];
    if (index > first && index % n == 0) text += "#EXT-X-DISCONTINUITY\n";
    const auto date = positionZeroDate + std::chrono::milliseconds(std::llround(position * 1000));
    text += fmt::format("#EXT-X-PROGRAM-DATE-TIME:{}\n#EXTINF:{:.3f},\n{}{}\n", programDate(date),
                        segment.duration, uriPrefix, segment.uri);
  }
  return text;
}

}  // namespace skylark::tool
