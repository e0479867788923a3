#include "DemoCommand.h"
#include "InspectCommand.h"
#include "LiveCommand.h"
#include "PlayCommand.h"
#include "SimulateCommand.h"
#include "support/MockLiveService.h"

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "TimelineJSON.h"
#include "support/LoopbackServer.h"
#include "support/VMAPFixtures.h"
#include "xml/SKYLVelaXMLDocument.h"

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
  ASSERT_EQ(runInspect({kSample, {}, true, std::nullopt}, out, err), 0) << err.str();
  const auto json = nlohmann::ordered_json::parse(out.str());
  EXPECT_EQ(keys(json),
            (std::vector<std::string>{"velaURL", "payloadLength", "contentLength", "isLiveSSAI",
                                      "thumbnailVTTURL", "contentImpressions", "contentSegments",
                                      "adSequences"}));
  const auto& ad = json["adSequences"][1]["ads"][0];
  EXPECT_EQ(keys(ad),
            (std::vector<std::string>{
                "adId", "title", "beginTime", "endTime", "duration", "logicalOffset", "skipOffset",
                "impressionURLs", "clickThroughURL", "clickTrackingURLs", "trackingEventsByName",
                "orderedEventsWithOffsets", "companions", "verifications", "viewableImpression",
                "vastAdExtensions", "vastAdCreativeExtensions"}));
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
  EXPECT_EQ(runInspect({"/nonexistent/doc.xml", {}, false, std::nullopt}, out, err), 1);
  EXPECT_EQ(err.str(),
            "error: NSCocoaErrorDomain 260: The file /nonexistent/doc.xml could not be read: No "
            "such file or directory\n");

  std::ostringstream jsonOut, jsonErr;
  EXPECT_EQ(runInspect({"file:///etc/hostname", {}, true, std::nullopt}, jsonOut, jsonErr), 1);
  const auto json = nlohmann::json::parse(jsonOut.str());
  EXPECT_EQ(json["error"]["domain"], "SKYLVelaErrorDomain");
  EXPECT_EQ(json["error"]["code"], 4010);
}

TEST(InspectCommandTest, ErrorsNameTheirCause) {
  test::LoopbackServer server([](httplib::Server& s) {
    s.Get("/page", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("<html><body>Not an ad</body></html>", "text/html");
    });
  });
  struct Case {
    std::string source;
    int exit;
    std::string stderrHas;
  };
  const Case cases[] = {
      {server.url("/redirect?to=file:///etc/passwd"), 1,
       "error: SKYLVelaErrorDomain 4010: The VMAP document could not be downloaded. (HTTP "
       "redirect to file:// refused)\n"},
      {"/dev/zero", 1, "is larger than 16 MiB, the most an ad document may be"},
      {server.url("/page"), 1,
       "warning: not a VMAP document (HTTP 200; its root element is not VMAP): the timeline is "
       "empty\n"},
  };
  for (const auto& c : cases) {
    std::ostringstream out, err;
    EXPECT_EQ(runInspect({c.source, {}, false, std::nullopt}, out, err), c.exit) << c.source;
    EXPECT_NE(err.str().find(c.stderrHas), std::string::npos) << err.str();
    EXPECT_EQ(out.str().find("(null)"), std::string::npos) << out.str();
  }
  // A root that is not VMAP still gives ads here: no warning then.
  std::string otherRoot = test::vmapDocument(test::adBreak("start", "00:00:15"));
  otherRoot.replace(otherRoot.find("<vmap:VMAP "), 11, "<vmap:Playlist ");
  otherRoot.replace(otherRoot.find("</vmap:VMAP>"), 12, "</vmap:Playlist>");
  const std::string path = ::testing::TempDir() + "skylark-other-root.xml";
  std::ofstream(path, std::ios::binary) << otherRoot;
  std::ostringstream out, err;
  EXPECT_EQ(runInspect({path, {}, false, std::nullopt}, out, err), 0);
  EXPECT_EQ(err.str(), "");
  EXPECT_NE(out.str().find("Breaks    1"), std::string::npos) << out.str();
  std::remove(path.c_str());

  SKYLError timedOut("SKYLVelaErrorDomain", 4010, "The VMAP document could not be downloaded.");
  timedOut.withUnderlyingError(SKYLError("NSURLErrorDomain", -1001, "timed out after 60 s"));
  EXPECT_EQ(errorText(timedOut),
            "The VMAP document could not be downloaded. (timed out after 60 s)");
}

TEST(InspectCommandTest, DownloadsWithTheDefaultUserAgentAndGivenHeaders) {
  const std::string vmap = test::vmapDocument(test::adBreak("start", "00:00:15"));
  test::LoopbackServer server([&](httplib::Server& s) {
    s.Get("/vmap.xml", [&](const httplib::Request&, httplib::Response& response) {
      response.set_content(vmap, "application/xml");
    });
  });
  std::ostringstream out, err;
  ASSERT_EQ(
      runInspect({server.url("/vmap.xml"), {{"X-Token", "t1"}}, false, std::nullopt}, out, err), 0)
      << err.str();
  EXPECT_NE(out.str().find("Breaks    1"), std::string::npos) << out.str();
  ASSERT_TRUE(server.waitForRequests(1, std::chrono::seconds(5)));
  const auto request = server.requests().at(0);
  EXPECT_EQ(request.header("User-Agent").rfind("ios-vela-ux/7.2.18.42 (", 0), 0u);
  EXPECT_EQ(request.header("X-Token"), "t1");

  EXPECT_EQ(requestHeaders({{"user-agent", "mine"}}), (HTTPHeaderFields{{"user-agent", "mine"}}));
}

TEST(InspectCommandTest, UsageErrorsExitWithTwo) {
  const std::string tool = SKYLARK_TOOL_PATH;
  const std::string simulate = " simulate " + kSample;
  const std::string live = " live http://127.0.0.1:9/v1/session";
  for (const std::string& arguments :
       {std::string(), std::string(" inspect"), std::string(" inspect x --header novalue"),
        std::string(" bogus"), simulate + " --step nan", simulate + " --step 0",
        simulate + " --rate inf", simulate + " --until -nan", simulate + " --seek-at nan:1",
        simulate + " --seek-at 1:1e300", simulate + " --skip-at 1x", live + " --duration 1e300",
        live + " --duration nan", live + " --playhead-delay -1"}) {
    const int status = std::system((tool + arguments + " > /dev/null 2>&1").c_str());
    ASSERT_TRUE(WIFEXITED(status)) << arguments;
    EXPECT_EQ(WEXITSTATUS(status), 2) << arguments;
  }
  const int status = std::system((tool + " inspect " + kSample + " > /dev/null").c_str());
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

std::vector<nlohmann::json> jsonLines(const std::string& text) {
  std::vector<nlohmann::json> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

TEST(LiveCommandTest, OpensTheSessionAndFollowsAnAdAtThePlayhead) {
  test::MockLiveService service;
  const auto now = std::chrono::system_clock::now();
  const auto adStart = std::chrono::system_clock::to_time_t(now - std::chrono::seconds(12));
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&adStart));
  service.scriptTracking({{200,
                           std::string(R"({"avails": [{"availId": "a1", "durationInSeconds": 30,
                             "ads": [{"adId": "x", "adTitle": "Ferries", "durationInSeconds": 30,
                                      "adProgramDateTime": ")") +
                               date + R"(",
                                      "trackingEvents": [{"eventType": "impression",
                                        "beaconUrls": ["https://beacon.example.com/x-imp"]}]}]}]})",
                           0}});
  LiveOptions options;
  options.sourceURL = service.sessionURL();
  options.duration = 1.2;
  options.json = true;
  std::atomic<bool> interrupted{false};
  std::ostringstream out, err;
  ASSERT_EQ(runLive(options, interrupted, out, err), 0) << err.str();
  std::vector<std::string> seen;
  for (const auto& line : jsonLines(out.str())) {
    if (line.contains("session")) seen.push_back("session");
    if (line.contains("avail")) seen.push_back("avail " + line["avail"].get<std::string>());
    if (line.value("event", "") == "EnterAd")
      seen.push_back("enter " + line["adId"].get<std::string>());
    if (line.contains("beacon")) seen.push_back(line["beacon"].get<std::string>());
  }
  // As on every path, an ad's beacons go out before the application hears of it.
  const std::vector<std::string> expected = {"session", "avail a1",
                                             "https://beacon.example.com/x-imp", "enter x"};
  EXPECT_EQ(seen, expected) << out.str();
}

// With --fire, retries still due at the end get their chance before the
// command returns, and what never arrived is printed.
TEST(LiveCommandTest, FireWaitsForDueRetriesAndPrintsWhatWasDropped) {
  std::atomic<int> flakyAnswers{0};
  test::LoopbackServer beacons([&](httplib::Server& s) {
    s.Get("/flaky", [&](const httplib::Request&, httplib::Response& response) {
      response.status = flakyAnswers++ < 2 ? 503 : 204;
    });
  });
  test::MockLiveService service;
  const auto adStart = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now() -
                                                            std::chrono::seconds(12));
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&adStart));
  service.scriptTracking(
      {{200,
        std::string(R"({"avails": [{"availId": "a1", "durationInSeconds": 30,
            "ads": [{"adId": "x", "adTitle": "Ferries", "durationInSeconds": 30,
                     "adProgramDateTime": ")") +
            date + R"(", "trackingEvents": [{"eventType": "impression", "beaconUrls": [")" +
            beacons.url("/flaky") + R"(", ")" + beacons.url("/status/404") + R"("]}]}]}]})",
        0}});
  LiveOptions options;
  options.sourceURL = service.sessionURL();
  options.duration = 1.2;  // ends before the second retry is due (+1 s, then +2 s)
  options.json = true;
  options.fire = true;
  std::atomic<bool> interrupted{false};
  std::ostringstream out, err;
  ASSERT_EQ(runLive(options, interrupted, out, err), 0) << err.str();
  EXPECT_EQ(flakyAnswers.load(), 3);  // 503, 503, then the second retry's 204
  std::vector<std::string> dropped;
  for (const auto& line : jsonLines(out.str())) {
    if (line.contains("dropped")) {
      dropped.push_back(line["dropped"].get<std::string>() + " " + line["why"].get<std::string>());
    }
  }
  EXPECT_EQ(dropped, std::vector<std::string>{beacons.url("/status/404") + " HTTP 404"})
      << out.str();
}

TEST(LiveCommandTest, ASessionThatCannotOpenSaysWhy) {
  test::MockLiveService service;
  service.setSessionAnswer({503, "busy", 0});
  LiveOptions options;
  options.sourceURL = service.sessionURL();
  options.duration = 1;
  std::atomic<bool> interrupted{false};
  std::ostringstream out, err;
  EXPECT_EQ(runLive(options, interrupted, out, err), 1);
  EXPECT_NE(out.str().find("error: SKYLSSAILive2ErrorDomain 4: Session init failed with HTTP 503"),
            std::string::npos)
      << out.str();
}

TEST(LiveCommandTest, InterruptingAStalledSessionRequestEndsAtOnce) {
  test::MockLiveService service;
  service.setSessionAnswer({200, test::MockLiveService::relativeSessionBody(), 8000});
  LiveOptions options;
  options.sourceURL = service.sessionURL();
  std::atomic<bool> interrupted{false};
  // Ctrl-C once the request is at the service, which holds its answer.
  std::thread ctrlC([&] {
    while (service.sessionBodies().empty()) std::this_thread::yield();
    interrupted = true;
  });
  std::ostringstream out, err;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(runLive(options, interrupted, out, err), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  ctrlC.join();
}

TEST(ToolJSONTest, InvalidUTF8BecomesReplacementCharacters) {
  const std::string bad = "T\xff\xfe";
  EXPECT_EQ(jsonText(Json{{"title", bad}}), "{\"title\":\"T\xef\xbf\xbd\xef\xbf\xbd\"}");

  std::string vmap = test::vmapDocument(test::adBreak("start", "00:00:15", "ad\xff"));
  const std::string path = ::testing::TempDir() + "skylark-bad-utf8.xml";
  std::ofstream(path, std::ios::binary) << vmap;
  std::ostringstream out, err;
  EXPECT_EQ(runInspect({path, {}, true, std::nullopt}, out, err), 0) << err.str();
  EXPECT_NE(out.str().find("ad\xef\xbf\xbd"), std::string::npos);

  SimulateOptions simulate;
  simulate.source = path;
  simulate.json = true;
  simulate.step = 5;
  std::ostringstream simOut, simErr;
  EXPECT_EQ(runSimulate(simulate, simOut, simErr), 0) << simErr.str();
  EXPECT_NE(simOut.str().find("\"adId\":\"ad\xef\xbf\xbd\""), std::string::npos) << simOut.str();
  std::remove(path.c_str());
}

TEST(PlayCommandTest, PlaysTheSampleToTheEndWithSnapbackAndSkip) {
  PlayOptions options;
  options.source = kSample;
  options.json = true;
  options.skips = {3};          // the first ad's skip button shows at 5 s: pressed then
  options.seeks = {{40, 500}};  // over the mid-roll at content 300
  std::ostringstream out, err;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(runPlay(options, out, err), 0) << err.str();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  std::vector<std::string> lines;
  std::vector<bool> seekCompletions;
  double duration = 0;
  double lastTime = 0;
  for (const auto& line : jsonLines(out.str())) {
    if (line.contains("seek")) seekCompletions.push_back(line["completed"].get<bool>());
    if (line.contains("duration")) duration = line["duration"].get<double>();
    if (line.contains("t")) lastTime = line["t"].get<double>();
    if (!line.contains("lifecycle")) continue;
    const std::string type = line["lifecycle"].get<std::string>().substr(34);
    if (type == "AdEnter" || type == "AdSkipped")
      lines.push_back(type + " " + line["adId"].get<std::string>());
    if (type == "End") lines.push_back(type);
  }
  EXPECT_EQ(duration, 600);
  EXPECT_EQ(lastTime, 660);
  EXPECT_EQ(seekCompletions, (std::vector<bool>{true, true}));
  EXPECT_EQ(lines, (std::vector<std::string>{"AdEnter pre-1", "AdSkipped pre-1", "AdEnter pre-2",
                                             "AdEnter mid-1", "AdEnter post-1", "End"}));
  const auto skipped = out.str().find("AdSkipped");
  ASSERT_NE(skipped, std::string::npos);
  EXPECT_NE(out.str().rfind("{\"t\":5.0", skipped), std::string::npos);
}

TEST(PlayCommandTest, AFailedLoadPrintsTheErrorAndExitsWithOne) {
  const std::string path = ::testing::TempDir() + "skylark-not-vmap.xml";
  std::ofstream(path) << "{ not xml }";
  PlayOptions options;
  options.source = path;
  options.json = true;
  std::ostringstream out, err;
  EXPECT_EQ(runPlay(options, out, err), 1);
  const auto lines = jsonLines(out.str());
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back()["error"]["code"], 4011) << out.str();
  std::remove(path.c_str());
}

TEST(PlayCommandTest, ANewerLiveSourcePlaysThroughItsCoordinator) {
  test::MockLiveService service;
  const auto adStart = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now() -
                                                            std::chrono::seconds(12));
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&adStart));
  service.scriptTracking({{200,
                           std::string(R"({"avails": [{"availId": "a1", "durationInSeconds": 30,
                             "ads": [{"adId": "x", "adTitle": "Ferries", "durationInSeconds": 30,
                                      "adProgramDateTime": ")") +
                               date + R"("}]}]})",
                           0}});
  PlayOptions options;
  options.source = service.sessionURL();
  options.token = "eyJhbGciOiJub25lIn0.eyJzdWIiOiJ0In0.c2ln";
  options.json = true;
  options.until = 1;
  std::ostringstream out, err;
  ASSERT_EQ(runPlay(options, out, err), 0) << err.str();
  std::vector<std::string> seen;
  for (const auto& line : jsonLines(out.str())) {
    if (!line.contains("lifecycle")) continue;
    const std::string type = line["lifecycle"].get<std::string>().substr(34);
    if (type.rfind("Ad", 0) == 0 && type != "AdProgress")
      seen.push_back(type + " " + line.value("adId", ""));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"AdSequenceEnter ", "AdEnter x"})) << out.str();
}

TEST(PlayCommandTest, TimedMetadataOfAnOlderLiveStreamAnnouncesItsBreak) {
  const std::string path = ::testing::TempDir() + "skylark-live-metadata.xml";
  std::ofstream(path)
      << R"(<vmap:VMAP xmlns:vmap="http://www.iab.net/videosuite/vmap" xmlns:sk="http://example.com/sk" version="1.0">
    <vmap:AdBreak timeOffset="start"><vmap:AdSource><vmap:VASTAdData><VAST version="3.0"><Ad><InLine>
      <AdTitle>Live</AdTitle><Creatives><Creative><Linear><Duration>00:00:05</Duration></Linear></Creative></Creatives>
    </InLine></Ad></VAST></vmap:VASTAdData></vmap:AdSource></vmap:AdBreak>
    <vmap:Extensions><sk:Player><sk:TimingData><sk:adBreakDurationMs>5000</sk:adBreakDurationMs>
      <sk:adBreakRemainingMs>5000</sk:adBreakRemainingMs><sk:adRemainingMs>5000</sk:adRemainingMs>
    </sk:TimingData></sk:Player></vmap:Extensions></vmap:VMAP>)";
  PlayOptions options;
  options.source = "https://live.example.com/channel.m3u8";
  options.live = true;
  options.json = true;
  options.until = 1.5;
  options.metadata = {{0.5, path}};
  std::ostringstream out, err;
  ASSERT_EQ(runPlay(options, out, err), 0) << err.str();
  EXPECT_NE(out.str().find("kSKYLPlaybackSessionLifecycleEventAdSequenceEnter"), std::string::npos)
      << out.str();
  std::remove(path.c_str());
}

TEST(DemoCommandTest, TheQuickDemoHearsEveryExpectedBeaconOnce) {
  DemoOptions options;
  options.quick = true;
  options.json = true;
  options.svg = ::testing::TempDir() + "skylark-demo.svg";
  std::atomic<bool> interrupted{false};
  std::ostringstream out, err;
  EXPECT_EQ(runDemo(options, interrupted, out, err), 0) << out.str() << err.str();
  const auto report = nlohmann::json::parse(out.str());
  EXPECT_TRUE(report["ok"].get<bool>());
  EXPECT_TRUE(report["unexpected"].empty()) << report["unexpected"].dump();
  size_t beacons = 0;
  for (const auto& ad : report["ads"]) {
    for (const auto& beacon : ad["beacons"]) {
      ++beacons;
      EXPECT_EQ(beacon["received"], 1) << ad["ad"] << " " << beacon["event"];
    }
  }
  EXPECT_EQ(beacons, 42u);
  // The picture is XML that names every break and ad.
  const std::string svg = test::readFile(*options.svg);
  ASSERT_TRUE(SKYLVelaXMLDocument::XMLDocumentWithData(svg).ok());
  for (const char* ad : {"pre-1", "pre-2", "mid-a", "mid-b", "post-1"}) {
    EXPECT_NE(svg.find(std::string("ad ") + ad), std::string::npos) << ad;
  }
  for (const char* id : {"break-1", "break-2", "break-3", "break-4"}) {
    EXPECT_NE(svg.find(id), std::string::npos) << id;
  }
  std::remove(options.svg->c_str());
}

}  // namespace
}  // namespace skylark::tool
