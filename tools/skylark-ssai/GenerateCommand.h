#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace skylark::tool {

struct Command;

// Ads in a generated document (breaks x ads per break): up to
// kAdsWithin16MiB (about 12 KB each) it stays under the 16 MiB that inspect
// and play accept; larger ones, up to kMostGeneratedAds (the "large" size,
// about 24 MB, for benchmarks of the parser alone), are written with a
// warning. Beyond that the generator refuses: it holds the document in
// memory.
inline constexpr int kAdsWithin16MiB = 1300;
inline constexpr int kMostGeneratedAds = 2000;
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
