#include <filesystem>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "live2/SKYLSSAILive2Session.h"
#include "live2/SKYLSSAILive2Time.h"
#include "live2/SKYLSSAILive2TrackingResponse.h"
#include "support/VMAPFixtures.h"

namespace skylark {
namespace {

using Response = SKYLSSAILive2TrackingResponse;

Response decoded(const std::string& json) {
  auto result = Response::decode(json);
  EXPECT_TRUE(result.ok()) << json;
  return result.ok() ? result.value() : Response{};
}

TEST(SKYLSSAILive2TimeTest, TimeDurations) {
  struct Case {
    std::string text;
    std::optional<double> seconds;
  };
  const Case cases[] = {
      {"PT1H30M15.5S", 5415.5},
      {"PT15S", 15},
      {"PT1M56.060003037S", 116.060003037},
      {"PT0S", 0},
      {"PT30", std::nullopt},
      {"P1D", std::nullopt},
      {"PT", std::nullopt},
      {"10", std::nullopt},
      {"PT1.2.3S", std::nullopt},
      {"PTS", std::nullopt},
      {"PT5X", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& c : cases) {
    const auto parsed = SKYLSSAILive2ParseTimeDuration(c.text);
    ASSERT_EQ(parsed.has_value(), c.seconds.has_value()) << c.text;
    if (parsed) {
      EXPECT_DOUBLE_EQ(*parsed, *c.seconds) << c.text;
    }
  }
}

TEST(SKYLSSAILive2TimeTest, ProgramDateTimes) {
  const auto withFraction = SKYLSSAILive2ParseProgramDateTime("2024-05-01T10:00:00.250Z");
  const auto whole = SKYLSSAILive2ParseProgramDateTime("2024-05-01T10:00:00Z");
  ASSERT_TRUE(withFraction);
  ASSERT_TRUE(whole);
  EXPECT_EQ((*withFraction - *whole).count(), 250);
  EXPECT_EQ(whole->time_since_epoch().count(), 1714557600000);
  EXPECT_TRUE(SKYLSSAILive2ParseProgramDateTime("2024-05-01T12:00:00+02:00"));
  EXPECT_FALSE(SKYLSSAILive2ParseProgramDateTime("2024-05-01 10:00:00"));
  EXPECT_FALSE(SKYLSSAILive2ParseProgramDateTime(""));
}

TEST(SKYLSSAILive2TrackingResponseTest, DefaultsAndDurations) {
  const auto empty = decoded("{}");
  EXPECT_TRUE(empty.avails.empty());
  EXPECT_FALSE(empty.nextToken);

  const auto response = decoded(R"({
    "nextToken": "abc", "hlsAnchorMediaSequenceNumber": 42, "unknown": [1, 2],
    "avails": [
      {"availId": "a1", "adMarkerDurationInSeconds": 0, "adMarkerDuration": "PT15S",
       "durationInSeconds": 30, "startTimeInSeconds": 0, "startTime": "PT1M",
       "ads": [
         {"adId": "x", "durationInSeconds": 0, "duration": "PT10.5S",
          "trackingEvents": [
            {"eventType": "FirstQuartile", "beaconUrls": ["https://b/q1a", "https://b/q1b"]},
            {"eventType": "firstquartile", "beaconUrls": ["https://b/q1c"]},
            {"eventType": "Click", "beaconUrls": ["https://b/click"]},
            {"eventType": "close", "beaconUrls": []}]},
         {"adId": "y", "durationInSeconds": 0, "duration": "10"},
         {"adId": "z", "durationInSeconds": "oops"}]},
      {"availId": "a2", "adMarkerDuration": 12, "durationInSeconds": 20},
      {}
    ]})");
  ASSERT_EQ(response.avails.size(), 3u);
  EXPECT_EQ(response.nextToken, "abc");
  EXPECT_EQ(response.hlsAnchorMediaSequenceNumber, 42);
  const auto& first = response.avails[0];
  EXPECT_EQ(first.durationInSeconds, 15);  // the ad marker wins
  EXPECT_EQ(first.adMarkerDuration, "PT15S");
  EXPECT_EQ(first.startTimeInSeconds, 60);
  EXPECT_EQ(first.ads[0].durationInSeconds, 10.5);
  EXPECT_EQ(first.ads[1].durationInSeconds, 0);  // "10" is no ISO duration
  EXPECT_EQ(first.ads[2].durationInSeconds, 0);  // a wrong-typed duration counts as absent
  EXPECT_EQ(first.ads[0].beaconUrls(SKYLSSAILive2TrackingType::firstQuartile),
            (std::vector<std::string>{"https://b/q1a", "https://b/q1b", "https://b/q1c"}));
  EXPECT_EQ(first.ads[0].trackingEvents[2].trackingType(),
            SKYLSSAILive2TrackingType::clickTracking);
  EXPECT_EQ(first.ads[0].trackingEvents[3].trackingType(), SKYLSSAILive2TrackingType::other);
  EXPECT_EQ(response.avails[1].durationInSeconds, 20);
  EXPECT_EQ(response.avails[2].availId, "");
}

TEST(SKYLSSAILive2TrackingResponseTest, WrongTypesAndNonJSONFailWithParseError) {
  for (const char* json : {"not json", "[]", R"({"avails": {}})", R"({"avails": [1]})",
                           R"({"nextToken": 5})", R"({"avails": [{"ads": [{"adId": 7}]}]})",
                           R"({"avails": [{"ads": [{"companionAds": [{"width": "REQUIRED"}]}]}]})",
                           R"({"avails": [{"adBreakTrackingEvents": [{"beaconUrls": [1]}]}]})"}) {
    const auto result = Response::decode(json);
    ASSERT_FALSE(result.ok()) << json;
    EXPECT_EQ(result.error().code, SKYLSSAILive2ErrorCode::PARSE_ERROR);
    EXPECT_EQ(result.error().description(), "PARSE_ERROR: Failed to parse tracking response");
  }
  // A hostile nesting is refused, not recursed into.
  EXPECT_FALSE(Response::decode(std::string(100000, '[') + std::string(100000, ']')).ok());
}

// Integers written with a zero fraction read as integers, as the platform's
// decoder reads them; a fraction or a value beyond 64 bits is refused.
TEST(SKYLSSAILive2TrackingResponseTest, IntegersWithAZeroFractionAreIntegers) {
  const auto accepted = decoded(R"({"hlsAnchorMediaSequenceNumber": 12.0, "avails": [{"ads": [
      {"companionAds": [{"width": 300.0, "height": 2.5e2}]}]}]})");
  EXPECT_EQ(accepted.hlsAnchorMediaSequenceNumber, 12);
  const auto& companion = accepted.avails[0].ads[0].companionAds[0];
  EXPECT_EQ(companion.width, 300);
  EXPECT_EQ(companion.height, 250);
  for (const char* json :
       {R"({"hlsAnchorMediaSequenceNumber": 12.5})", R"({"hlsAnchorMediaSequenceNumber": 1e19})",
        R"({"avails": [{"ads": [{"companionAds": [{"width": 300.5}]}]}]})"}) {
    const auto result = Response::decode(json);
    EXPECT_FALSE(result.ok()) << json;
  }
}

// Times are used when present and not zero, epoch seconds included; only
// what is not finite or does not fit counts as absent.
TEST(SKYLSSAILive2TrackingResponseTest, LargeTimesAreKeptAndOnlyUnfittingOnesDropped) {
  struct Case {
    std::string written;
    double read;
  };
  const Case cases[] = {
      {"1732500000", 1732500000},
      {"1732500000.5", 1732500000.5},
      {"1e300", 0},
      {"-1e300", 0},
  };
  for (const auto& c : cases) {
    const auto response =
        decoded(R"({"avails": [{"startTimeInSeconds": )" + c.written + R"(, "ads": []}]})");
    EXPECT_DOUBLE_EQ(response.avails[0].startTimeInSeconds, c.read) << c.written;
  }
}

TEST(SKYLSSAILive2TrackingResponseTest, VerificationResourcesInAllThreeForms) {
  const auto response = decoded(R"({"avails": [{"ads": [{"adVerifications": [
      {"vendor": "v", "javaScriptResource": "https://v/one.js",
       "javaScriptResources": [{"uri": "https://v/two.js", "apiFramework": "omid",
                                "browserOptional": true},
                               {"uri": "https://v/three.js"}],
       "verificationParameters": "p"},
      {"javascriptResource": "https://v/lower.js", "javaScriptResource": 5,
       "javaScriptResources": "not a list"}]}]}]})");
  const auto& verifications = response.avails[0].ads[0].adVerifications;
  ASSERT_EQ(verifications.size(), 2u);
  using Resource = SKYLSSAILive2AdVerification::Resource;
  EXPECT_EQ(verifications[0].resources,
            (std::vector<Resource>{{"https://v/one.js", std::nullopt, std::nullopt},
                                   {"https://v/two.js", "omid", true},
                                   {"https://v/three.js", std::nullopt, std::nullopt}}));
  EXPECT_EQ(verifications[1].resources,
            (std::vector<Resource>{{"https://v/lower.js", std::nullopt, std::nullopt}}));
  EXPECT_EQ(verifications[1].vendor, "");
}

TEST(SKYLSSAILive2TrackingResponseTest, CorpusDocumentsDecodeOrFailCleanly) {
  const auto folder = std::filesystem::path(SKYLARK_SHARED_DIR) / "corpus" / "tracking-json";
  if (!std::filesystem::exists(folder)) {
    GTEST_SKIP() << "the public corpus is not beside the project: " << folder;
  }
  std::map<std::string, bool> decodedByName;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    decodedByName[entry.path().filename().string()] =
        Response::decode(test::readFile(entry.path().string())).ok();
  }
  EXPECT_TRUE(decodedByName.at("aws-docs-quartile-beacons.json"));
  EXPECT_TRUE(decodedByName.at("aws-docs-2018-placeholder-urls.json"));
  EXPECT_FALSE(decodedByName.at("aws-docs-vpaid-mediafiles-malformed.json"));
  EXPECT_FALSE(decodedByName.at("aws-docs-adverifications-malformed.json"));
  // Its companion nests width and height under "attributes": they stay absent.
  EXPECT_TRUE(decodedByName.at("aws-docs-companion-ads.json"));
  const auto companions =
      decoded(test::readFile((folder / "aws-docs-companion-ads.json").string()));
  const auto& companion = companions.avails.at(0).ads.at(0).companionAds.at(0);
  EXPECT_FALSE(companion.width);
  EXPECT_EQ(companion.staticResource, "");
  EXPECT_DOUBLE_EQ(companions.avails[0].ads[0].startTimeInSeconds, 116.06);

  const auto quartiles =
      decoded(test::readFile((folder / "aws-docs-quartile-beacons.json").string()));
  ASSERT_EQ(quartiles.avails.size(), 1u);
  const auto& ad = quartiles.avails[0].ads.at(0);
  EXPECT_EQ(ad.beaconUrls(SKYLSSAILive2TrackingType::impression).size(), 1u);
  EXPECT_GT(ad.durationInSeconds, 15.0);
}

TEST(SKYLSSAILive2SessionTest, RequestBodyAndURLResolution) {
  const auto body =
      nlohmann::json::parse(SKYLSSAILive2SessionRequest{{{"k", "v"}}}.encode().value());
  EXPECT_EQ(body, nlohmann::json::parse(
                      R"({"adsParams": {"k": "v"}, "adSignaling": {"enabled": true},
                          "reportingMode": "server"})"));

  const URL endpoint = *URL::parse("https://live.example.com/v1/session/abc/channel.m3u8");
  const auto relative =
      SKYLSSAILive2SessionURLs::resolve({"/v1/master/abc.m3u8", "../tracking/xyz"}, endpoint);
  ASSERT_TRUE(relative.ok());
  EXPECT_EQ(relative->manifest.absoluteString(), "https://live.example.com/v1/master/abc.m3u8");
  EXPECT_EQ(relative->tracking.absoluteString(),
            "https://live.example.com/v1/session/tracking/xyz");

  const auto missing = SKYLSSAILive2SessionURLs::resolve({"", "t"}, endpoint);
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().code, SKYLSSAILive2ErrorCode::INVALID_SESSION);
  EXPECT_EQ(missing.error().message, "Session response missing manifestUrl or trackingUrl");
  const std::pair<std::string, std::string> unusable[] = {
      {"a b", "t"},
      {"file:///etc/passwd", "t"},
      {"m.m3u8", "gopher://live.example.com/t"},
  };
  for (const auto& [manifestUrl, trackingUrl] : unusable) {
    const auto broken = SKYLSSAILive2SessionURLs::resolve({manifestUrl, trackingUrl}, endpoint);
    ASSERT_FALSE(broken.ok()) << manifestUrl;
    EXPECT_EQ(broken.error().code, SKYLSSAILive2ErrorCode::PARSE_ERROR);
    EXPECT_EQ(broken.error().message, "Failed to resolve session response URLs");
  }

  const auto invalidUTF8 = SKYLSSAILive2SessionRequest{{{"k", "\xff\xfe"}}}.encode();
  ASSERT_FALSE(invalidUTF8.ok());
  EXPECT_EQ(invalidUTF8.error().code, SKYLSSAILive2ErrorCode::PARSE_ERROR);
  EXPECT_EQ(invalidUTF8.error().message, "Failed to build the session init body");

  EXPECT_FALSE(SKYLSSAILive2SessionInfo::decode("{\"manifestUrl\": 1}").ok());
  EXPECT_EQ(SKYLSSAILive2SessionInfo::decode("{\"trackingUrl\": \"t\"}")->trackingUrl, "t");
}

TEST(SKYLSSAILive2ErrorTest, DescriptionAndPlatformError) {
  SKYLSSAILive2Error error(SKYLSSAILive2ErrorCode::SESSION_ERROR, "Session init failed");
  EXPECT_EQ(error.description(), "SESSION_ERROR: Session init failed");
  error.context["statusCode"] = "503";
  error.underlying = SKYLError("NSURLErrorDomain", -1001, "timed out");
  EXPECT_EQ(error.description(),
            "SESSION_ERROR: Session init failed \u00b7 context=[\"statusCode\": \"503\"] \u00b7 "
            "underlying=Error Domain=NSURLErrorDomain Code=-1001 \"timed out\"");
  const SKYLError platform = error.toError();
  EXPECT_EQ(platform.domain, "SKYLSSAILive2ErrorDomain");
  EXPECT_EQ(platform.code, 4);
  EXPECT_EQ(platform.localizedDescription, "Session init failed");
  EXPECT_EQ(platform.userInfo.at("code"), "SESSION_ERROR");
  ASSERT_TRUE(platform.underlyingError);
  EXPECT_EQ(SKYLSSAILive2ErrorCodeFromRaw(6), std::nullopt);
  EXPECT_EQ(SKYLSSAILive2TrackingTypeFromRaw(12), std::nullopt);
  EXPECT_EQ(SKYLSSAILive2TrackingTypeProgressFraction(SKYLSSAILive2TrackingType::pause),
            std::nullopt);
}

}  // namespace
}  // namespace skylark
