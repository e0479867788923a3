#include "host/gst/PlaylistStartDate.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <sstream>

#include <glib.h>

#include "platform/DispatchQueue.h"
#include "platform/URLSession.h"

namespace skylark {
namespace {

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

std::string_view trimmed(std::string_view line) {
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
  return line;
}

// Playlists are small; the whole text is read (bounded like any download).
constexpr size_t kMaximumPlaylistBytes = 4u << 20;

std::optional<std::string> readFile(const URL& url) {
  gchar* path = g_filename_from_uri(url.absoluteString().c_str(), nullptr, nullptr);
  if (!path) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  g_free(path);
  if (!file) return std::nullopt;
  std::string text(kMaximumPlaylistBytes, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<size_t>(file.gcount()));
  return text;
}

std::shared_ptr<URLSession> playlistSession() {
  static const auto session =
      URLSession::create(URLSession::Configuration{kMaximumPlaylistBytes, 10, 2});
  return session;
}

using TextCompletion = std::function<void(std::optional<std::string>)>;

// Calls done off the main queue with the playlist's text.
void readPlaylist(const URL& url, TextCompletion done) {
  if (url.scheme() == "file") {
    Dispatch::global().async([url, done = std::move(done)] { done(readFile(url)); });
    return;
  }
  if (!url.isHTTPOrHTTPS()) {
    done(std::nullopt);
    return;
  }
  URLRequest request(url);
  request.timeoutInterval = std::chrono::seconds(10);
  playlistSession()
      ->dataTask(std::move(request),
                 [done = std::move(done)](Result<URLSessionResponse> result) {
                   if (!result.ok() || result->response.statusCode / 100 != 2)
                     return done(std::nullopt);
                   done(std::move(result->data));
                 })
      ->resume();
}

}  // namespace

std::optional<SystemTime> parseProgramDate(std::string_view text) {
  const std::string value(text.substr(0, 64));
  int year, month, day, hour, minute, consumed = 0;
  double seconds;
  if (std::sscanf(value.c_str(), "%4d-%2d-%2dT%2d:%2d:%lf%n", &year, &month, &day, &hour, &minute,
                  &seconds, &consumed) != 6 ||
      month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 ||
      !(seconds >= 0 && seconds < 61)) {
    return std::nullopt;
  }
  std::string_view zone = std::string_view(value).substr(static_cast<size_t>(consumed));
  int offsetMinutes = 0;
  if (zone != "Z" && zone != "z") {
    int zoneHours, zoneMinutes;
    char sign;
    if (zone.size() != 6 ||
        std::sscanf(std::string(zone).c_str(), "%c%2d:%2d", &sign, &zoneHours, &zoneMinutes) != 3 ||
        (sign != '+' && sign != '-')) {
      return std::nullopt;
    }
    offsetMinutes = (sign == '-' ? -1 : 1) * (zoneHours * 60 + zoneMinutes);
  }
  std::tm fields{};
  fields.tm_year = year - 1900;
  fields.tm_mon = month - 1;
  fields.tm_mday = day;
  fields.tm_hour = hour;
  fields.tm_min = minute;
  const time_t whole = timegm(&fields) - offsetMinutes * 60;
  const auto millis = static_cast<int64_t>(std::llround(seconds * 1000));
  return SystemTime(std::chrono::milliseconds(static_cast<int64_t>(whole) * 1000 + millis));
}

PlaylistDating readPlaylistDating(std::string_view playlist) {
  PlaylistDating dating;
  double before = 0;  // seconds of the segments before the first date
  double pending = 0;
  bool variantNext = false;
  bool segments = false, ended = false;
  std::istringstream lines{std::string(playlist)};
  for (std::string raw; std::getline(lines, raw);) {
    const std::string_view line = trimmed(raw);
    if (startsWith(line, "#EXT-X-PROGRAM-DATE-TIME:")) {
      if (const auto date = parseProgramDate(line.substr(25)); date && !dating.startDate) {
        dating.startDate = *date - std::chrono::milliseconds(std::llround(before * 1000));
      }
    } else if (startsWith(line, "#EXT-X-ENDLIST") || startsWith(line, "#EXT-X-PLAYLIST-TYPE:VOD")) {
      ended = true;
    } else if (startsWith(line, "#EXTINF:")) {
      pending = std::atof(std::string(line.substr(8)).c_str());
      if (!std::isfinite(pending) || pending < 0) pending = 0;
    } else if (startsWith(line, "#EXT-X-STREAM-INF:")) {
      variantNext = true;
    } else if (!line.empty() && line[0] != '#') {
      if (variantNext && !dating.firstVariant) dating.firstVariant = std::string(line);
      segments = segments || !variantNext;
      variantNext = false;
      before += pending;
      pending = 0;
    }
  }
  dating.live = segments && !ended && !dating.firstVariant;
  return dating;
}

void fetchPlaylistDating(const URL& url, std::function<void(PlaylistDating)> done) {
  auto finish = [done](PlaylistDating dating) {
    Dispatch::main().async([done, dating = std::move(dating)] { done(dating); });
  };
  readPlaylist(url, [url, finish](std::optional<std::string> text) {
    if (!text) return finish({});
    const auto dating = readPlaylistDating(*text);
    if (!dating.firstVariant) return finish(dating);
    const auto variant = URL::resolve(*dating.firstVariant, url);
    if (!variant) return finish({});
    readPlaylist(*variant, [finish](std::optional<std::string> variantText) {
      finish(variantText ? readPlaylistDating(*variantText) : PlaylistDating{});
    });
  });
}

}  // namespace skylark
