#pragma once

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "platform/URLSession.h"

namespace CLI {
class App;
}

namespace skylark::tool {

struct Command;

// The media back-end: the simulated player on a virtual clock, or GStreamer
// playing the real stream.
enum class PlayerKind { simulated, gst };

struct PlayOptions {
  std::string source;  // a VMAP file or an http(s) URL
  PlayerKind player = PlayerKind::simulated;
  bool fast = false;    // gst: as fast as the stream decodes (no real time)
  bool window = false;  // gst: show the video in a window
  HTTPHeaderFields headers;
  double step = 0.25;           // seconds of playback per update
  std::optional<double> until;  // stream seconds
  double rate = 1.0;
  bool fire = false;
  bool json = false;
  bool realtime = false;
  // The application's actions, each taken when the stream time first
  // reaches AT.
  std::vector<std::pair<double, double>> seeks;   // AT:TO (TO in content seconds)
  std::vector<double> skips;                      // AT
  std::vector<std::pair<double, double>> pauses;  // AT:SECONDS
  std::vector<std::pair<double, double>> rates;   // AT:RATE
  // Live streams.
  std::optional<std::string> token;                      // the source's live playback token
  std::map<std::string, std::string> adsParams;          // the newer live service's ad parameters
  double playheadDelay = 10;                             // seconds behind the wall clock
  bool live = false;                                     // the source is an older live SSAI stream
  std::vector<std::pair<double, std::string>> metadata;  // AT:FILE, as ID3 user text
  std::vector<std::pair<int, int>> companions;           // companion slots, WxH
  std::optional<std::string> svg;                        // write the timeline picture here
  bool brief = false;                                    // leave out ad progress and ledger lines
  // Beyond the plug-in's own behaviour (the provider options of the same names).
  bool macros = false;                  // fill in the VAST macros of beacon URLs
  bool snapback = true;                 // false: forward seeks go straight to their target
  std::optional<double> startAt;        // a bookmark: start at this content time
  bool bookmarkPlaysLastBreak = false;  // the last break before the bookmark plays first
  std::string playedBreaks = "replay";  // or "skip"
};

// Plays a VMAP document through the whole stack as an application would:
// manager, SSAI playback controller, session provider, session, and the
// simulated player on a virtual clock or GStreamer on the wall clock. Prints every lifecycle event
// the application receives, the content duration, every beacon and ledger call, seek completions
// and rates. A live source plays for --until seconds (60 by default) paced to the wall clock.
// Returns the exit code.
int runPlay(const PlayOptions& options, std::ostream& out, std::ostream& err);

// Adds the play command to the tool's command line.
Command addPlayCommand(CLI::App& app);

}  // namespace skylark::tool
