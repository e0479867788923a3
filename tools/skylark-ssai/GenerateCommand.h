#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace skylark::tool {

struct Command;

// The most ads a generated document holds (breaks x ads per break): about
// 12 KB each, so the document stays under the 16 MiB that inspect and play
// accept.
inline constexpr int kMostGeneratedAds = 1300;
// The most breaks: five minutes apart, the last offset stays under the 100
// hours that an HH:MM:SS time offset can say.
inline constexpr int kMostGeneratedBreaks = 1199;

struct GenerateOptions {
  int breaks = 3;
  int adsPerBreak = 1;
  uint64_t seed = 20240601;
  std::string output = "-";  // a file, or "-" for standard output
};

// A realistic VMAP document of the given size, the same bytes for the same
// options: breaks five minutes apart (the first a pre-roll), each pod
// written as consecutive AdBreaks sharing one offset, every ad an inline
// VAST 4.1 ad with impressions, viewability, an OM verification, a linear
// creative with a dozen tracking events, click tracking, media files,
// two companions and extensions; content impressions at each quarter.
std::string generateVMAP(const GenerateOptions& options);

// Writes the document and says what it wrote on `err`. Returns the exit code.
int runGenerate(const GenerateOptions& options, std::ostream& out, std::ostream& err);

// Adds the generate command to the tool's command line.
Command addGenerateCommand(CLI::App& app);

}  // namespace skylark::tool
