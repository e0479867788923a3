// Parse and build of generated VMAP documents (3 breaks of 1 ad, 60 and 500
// breaks of 4 ads, each ad with ~12 beacons, companions, verifications and
// extensions), next to libxml2's own parse of the same bytes in the same
// run: the baseline no parser built on libxml2 can beat.
#include <libxml/parser.h>

#include <fstream>
#include <sstream>
#include <string>

#include "RatioReporter.h"
#include "host/SKYLHostLog.h"
#include "timeline/SKYLVelaLog.h"
#include "vmap/SKYLVelaVMAPParser.h"

namespace skylark {
namespace {

const char* const kDocuments[] = {SKYLARK_VMAP_SMALL, SKYLARK_VMAP_MEDIUM, SKYLARK_VMAP_LARGE};

const std::string& document(int64_t index) {
  static std::string loaded[3];
  if (loaded[index].empty()) {
    std::ifstream in(kDocuments[index], std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    loaded[index] = bytes.str();
  }
  return loaded[index];
}

void BM_LibxmlReadMemory(benchmark::State& state) {
  const std::string& bytes = document(state.range(0));
  for (auto _ : state) {
    xmlDocPtr doc = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), "", nullptr, 97);
    benchmark::DoNotOptimize(doc);
    xmlFreeDoc(doc);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

void BM_ParseAndBuild(benchmark::State& state) {
  SKYLVelaLogConfigure(0);
  const std::string& bytes = document(state.range(0));
  size_t breaks = 0;
  for (auto _ : state) {
    auto timeline = SKYLVelaParseTimelineFromDataWithError(nullptr, bytes);
    if (!timeline.ok()) {
      state.SkipWithError(timeline.error().description().c_str());
      return;
    }
    breaks = timeline.value()->adSequences()->size();
    benchmark::DoNotOptimize(timeline);
  }
  state.counters["breaks"] = static_cast<double>(breaks);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

BENCHMARK(BM_LibxmlReadMemory)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ParseAndBuild)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace skylark

int main(int argc, char** argv) {
  return skylark::bench::runWithRatios(argc, argv,
                                       {{"BM_ParseAndBuild/0", "BM_LibxmlReadMemory/0"},
                                        {"BM_ParseAndBuild/1", "BM_LibxmlReadMemory/1"},
                                        {"BM_ParseAndBuild/2", "BM_LibxmlReadMemory/2"}});
}
