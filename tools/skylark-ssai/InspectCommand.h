#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/URLSession.h"
#include "timeline/SKYLVelaTimeline.h"

namespace CLI {
class App;
}

namespace skylark::tool {

struct Command;

struct InspectOptions {
  std::string source;  // a file path or an http(s) URL
  HTTPHeaderFields headers;
  bool json = false;
  std::optional<std::string> svg;  // also write the timeline picture here
};

// Loads the source's timeline and prints it (or the error). Returns the
// exit code: 0, or 1 when the document could not be loaded.
int runInspect(const InspectOptions& options, std::ostream& out, std::ostream& err);

// Loads a file path's or URL's timeline; on failure prints the error (as
// JSON to `out`, or as "error: DOMAIN CODE: DESCRIPTION" to `err`) and
// gives null.
std::shared_ptr<SKYLVelaTimeline> loadTimeline(const std::string& source,
                                               const HTTPHeaderFields& headers, bool json,
                                               std::ostream& out, std::ostream& err);

// The headers a request carries: the default User-Agent unless the caller
// gives one, then the caller's headers in order.
HTTPHeaderFields requestHeaders(const HTTPHeaderFields& given);

// Adds the inspect command to the tool's command line.
Command addInspectCommand(CLI::App& app);

}  // namespace skylark::tool
