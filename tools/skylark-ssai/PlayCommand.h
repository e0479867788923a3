#pragma once

#include <atomic>
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
class MonitorServer;

// The media back-end: the simulated player on a virtual clock, or GStreamer
// playing the real stream.
enum class PlayerKind { simulated, gst };

// What a playback prints besides beacons, errors and notes: what the
// application hears (lifecycle events, the content duration, the load
// state, ad ledger calls, rates, seek completions), or the ad events of the
// session's progress tracker as it announces them (simulate).
enum class PlayView { application, trackerEvents };

struct PlayOptions {
  std::string source;  // a VMAP file or an http(s) URL
  PlayerKind player = PlayerKind::simulated;
  bool fast = false;    // gst: as fast as the stream decodes (no real time)
  bool window = false;  // gst: show the video in a window
  HTTPHeaderFields headers;
  double step = 0.25;           // seconds of playback per update
  std::optional<double> until;  // stream seconds
  double rate = 1.0;            // negative plays backwards, from the end
  bool fire = false;
  bool json = false;
  bool realtime = false;
  // The application's actions, each taken when the stream time first
  // reaches AT.
  std::vector<std::pair<double, double>> seeks;   // AT:TO (TO in content seconds)
  std::vector<double> skips;                      // AT
  std::vector<std::pair<double, double>> pauses;  // AT:SECONDS
  std::vector<std::pair<double, double>> rates;   // AT:RATE
  // AT:TO, TO in stream seconds: the player seeks by itself (a host's own
  // scrub bar), the session only sees the playhead jump.
  std::vector<std::pair<double, double>> playerSeeks;
  // Live streams.
  std::optional<std::string> token;                      // the source's live playback token
  std::map<std::string, std::string> adsParams;          // the newer live service's ad parameters
  double playheadDelay = 10;                             // seconds behind the wall clock
  bool live = false;                                     // the source is an older live SSAI stream
  std::vector<std::pair<double, std::string>> metadata;  // AT:FILE, as ID3 user text
  std::vector<std::pair<int, int>> companions;           // companion slots, WxH
  std::optional<std::string> svg;                        // write the timeline picture here
  bool brief = false;                                    // leave out ad progress and ledger lines
  MonitorServer* monitor = nullptr;                      // shows the run in a browser page
  PlayView view = PlayView::application;
  const std::atomic<bool>* interrupted = nullptr;  // when set, the run ends at once
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
// and rates (or, in the tracker-events view, the ad events of the session's progress tracker).
// A live source plays for --until seconds (60 by default): an older live SSAI stream on the
// virtual clock, a stream of the newer live service paced to the wall clock.
// Returns the exit code.
int runPlay(const PlayOptions& options, std::ostream& out, std::ostream& err);

// Adds the play command to the tool's command line.
Command addPlayCommand(CLI::App& app);

}  // namespace skylark::tool
