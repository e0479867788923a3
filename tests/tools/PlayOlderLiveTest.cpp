#include <cstdio>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "PlayCommand.h"

namespace skylark::tool {
namespace {

// An older live stream's break whose ad data arrives at 1000 s: on the
// virtual clock it plays at once (paced, it would take a quarter of an
// hour), and the same way each time, however fast the parsing goes.
TEST(PlayOlderLiveTest, AnOlderLiveBreakFarIntoTheStreamPlaysOnTheVirtualClock) {
  const std::string path = ::testing::TempDir() + "skylark-live-break.xml";
  std::ofstream(path)
      << R"(<vmap:VMAP xmlns:vmap="http://www.iab.net/videosuite/vmap" xmlns:sk="http://example.com/sk" version="1.0">
    <vmap:AdBreak timeOffset="start"><vmap:AdSource><vmap:VASTAdData><VAST version="3.0"><Ad><InLine>
      <AdTitle>Live</AdTitle><Impression>http://127.0.0.1:9/b/imp</Impression>
      <Creatives><Creative><Linear><Duration>00:00:04</Duration><TrackingEvents>
        <Tracking event="complete">http://127.0.0.1:9/b/complete</Tracking></TrackingEvents>
      </Linear></Creative></Creatives>
    </InLine></Ad></VAST></vmap:VASTAdData></vmap:AdSource></vmap:AdBreak>
    <vmap:Extensions><sk:Player><sk:TimingData><sk:adBreakDurationMs>4000</sk:adBreakDurationMs>
      <sk:adBreakRemainingMs>4000</sk:adBreakRemainingMs><sk:adRemainingMs>4000</sk:adRemainingMs>
    </sk:TimingData></sk:Player></vmap:Extensions></vmap:VMAP>)";
  PlayOptions options;
  options.source = "https://live.example.com/channel.m3u8";
  options.live = true;
  options.json = true;
  options.until = 1010;
  options.metadata = {{1000, path}};
  auto run = [&] {
    std::ostringstream out, err;
    EXPECT_EQ(runPlay(options, out, err), 0) << err.str();
    std::vector<std::string> seen;  // when each ad event and beacon happened
    std::istringstream lines(out.str());
    for (std::string text; std::getline(lines, text);) {
      const auto line = nlohmann::json::parse(text);
      if (line.contains("beacon")) {
        seen.push_back(std::to_string(line["t"].get<double>()) + " " +
                       line["beacon"].get<std::string>());
      } else if (line.contains("lifecycle") &&
                 line["lifecycle"].get<std::string>().find("AdSequence") != std::string::npos) {
        seen.push_back(std::to_string(line["t"].get<double>()) + " " +
                       line["lifecycle"].get<std::string>().substr(34));
      }
    }
    return seen;
  };
  const auto first = run();
  ASSERT_EQ(first.size(), 4u);
  EXPECT_EQ(first[0], "1000.500000 AdSequenceEnter");
  EXPECT_EQ(first[1], "1000.500000 http://127.0.0.1:9/b/imp");
  EXPECT_EQ(first[2], "1004.000000 http://127.0.0.1:9/b/complete");
  EXPECT_EQ(first[3], "1004.000000 AdSequenceExit");
  EXPECT_EQ(run(), first);
  std::remove(path.c_str());
}

}  // namespace
}  // namespace skylark::tool
