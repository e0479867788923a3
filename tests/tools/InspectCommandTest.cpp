#include "InspectCommand.h"

#include <sys/wait.h>

#include <cstdlib>
#include <sstream>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "TimelineJSON.h"
#include "support/LoopbackServer.h"
#include "support/VMAPFixtures.h"

namespace skylark::tool {
namespace {

const std::string kSample = std::string(SKYLARK_SOURCE_DIR) + "/samples/vod-sample.vmap.xml";

std::vector<std::string> keys(const nlohmann::ordered_json& object) {
  std::vector<std::string> out;
  for (const auto& [key, value] : object.items()) out.push_back(key);
  return out;
}

TEST(InspectCommandTest, JSONHasTheDocumentedShape) {
  std::ostringstream out, err;
  ASSERT_EQ(runInspect({kSample, {}, true}, out, err), 0) << err.str();
  const auto json = nlohmann::ordered_json::parse(out.str());
  EXPECT_EQ(keys(json), (std::vector<std::string>{
                            "velaURL", "payloadLength", "contentLength", "isLiveSSAI",
                            "thumbnailVTTURL", "contentImpressions", "contentSegments",
                            "adSequences"}));
  const auto& ad = json["adSequences"][1]["ads"][0];
  EXPECT_EQ(keys(ad), (std::vector<std::string>{
                          "adId", "title", "beginTime", "endTime", "duration", "logicalOffset",
                          "skipOffset", "impressionURLs", "clickThroughURL", "clickTrackingURLs",
                          "trackingEventsByName", "orderedEventsWithOffsets", "companions",
                          "verifications", "viewableImpression", "vastAdExtensions",
                          "vastAdCreativeExtensions"}));
  EXPECT_EQ(ad["beginTime"], 330.0);
  EXPECT_EQ(ad["skipOffset"], nullptr);  // not skippable
  EXPECT_EQ(ad["clickThroughURL"], nullptr);
  EXPECT_EQ(ad["companions"][0]["width"], 300);
  EXPECT_EQ(ad["verifications"][0]["resource"], "https://verify.example.com/omid.js");
  EXPECT_EQ(ad["viewableImpression"]["viewUndetermined"][0],
            "https://beacon.example.com/view?ad=mid-1&v=u");
  EXPECT_EQ(ad["vastAdExtensions"][0]["content"][0]["content"], "Ocean Ferries");
  EXPECT_EQ(json["adSequences"][2]["logicalOffset"], "+Infinity");
}

TEST(InspectCommandTest, TimesMapToNumbersNullOrInfinityStrings) {
  EXPECT_EQ(timeJSON(MediaTime::make(3, 2)), 1.5);
  EXPECT_EQ(timeJSON(MediaTime::invalid()), nullptr);
  EXPECT_EQ(timeJSON(MediaTime::indefinite()), nullptr);
  EXPECT_EQ(timeJSON(MediaTime::positiveInfinity()), "+Infinity");
  EXPECT_EQ(timeJSON(MediaTime::negativeInfinity()), "-Infinity");
}

TEST(InspectCommandTest, FailuresPrintTheErrorAndExitWithOne) {
  std::ostringstream out, err;
  EXPECT_EQ(runInspect({"/nonexistent/doc.xml", {}, false}, out, err), 1);
  EXPECT_EQ(err.str(), "error: NSCocoaErrorDomain 260: The file /nonexistent/doc.xml could not be read.\n");

  std::ostringstream jsonOut, jsonErr;
  EXPECT_EQ(runInspect({"file:///etc/hostname", {}, true}, jsonOut, jsonErr), 1);
  const auto json = nlohmann::json::parse(jsonOut.str());
  EXPECT_EQ(json["error"]["domain"], "SKYLVelaErrorDomain");
  EXPECT_EQ(json["error"]["code"], 4010);
}

TEST(InspectCommandTest, DownloadsWithTheDefaultUserAgentAndGivenHeaders) {
  const std::string vmap = test::vmapDocument(test::adBreak("start", "00:00:15"));
  test::LoopbackServer server([&](httplib::Server& s) {
    s.Get("/vmap.xml", [&](const httplib::Request&, httplib::Response& response) {
      response.set_content(vmap, "application/xml");
    });
  });
  std::ostringstream out, err;
  ASSERT_EQ(runInspect({server.url("/vmap.xml"), {{"X-Token", "t1"}}, false}, out, err), 0)
      << err.str();
  EXPECT_NE(out.str().find("Breaks    1"), std::string::npos) << out.str();
  const auto request = server.requests().at(0);
  EXPECT_EQ(request.header("User-Agent").rfind("ios-vela-ux/7.2.18.42 (", 0), 0u);
  EXPECT_EQ(request.header("X-Token"), "t1");

  EXPECT_EQ(requestHeaders({{"user-agent", "mine"}}),
            (HTTPHeaderFields{{"user-agent", "mine"}}));
}

TEST(InspectCommandTest, UsageErrorsExitWithTwo) {
  const std::string tool = SKYLARK_TOOL_PATH;
  for (const std::string arguments : {"", " inspect", " inspect x --header novalue", " bogus"}) {
    const int status = std::system((tool + arguments + " > /dev/null 2>&1").c_str());
    ASSERT_TRUE(WIFEXITED(status)) << arguments;
    EXPECT_EQ(WEXITSTATUS(status), 2) << arguments;
  }
  const int status = std::system((tool + " inspect " + kSample + " > /dev/null").c_str());
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace skylark::tool
