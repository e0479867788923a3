#include "vmap/SKYLVelaVMAPParser.h"

#include <chrono>
#include <filesystem>

#include <gtest/gtest.h>

#include "measurement/SKYLAdVerification.h"
#include "measurement/SKYLViewableImpressionCollection.h"
#include "support/LogCapture.h"
#include "support/TimelineFixtures.h"
#include "support/VMAPFixtures.h"
#include "timeline/SKYLVelaErrors.h"
#include "timeline/SKYLVelaLog.h"
#include "xml/SKYLVelaXMLDocument.h"
#include "xml/SKYLVelaXPathEnumerator.h"

namespace skylark {
namespace {

using test::adBreak;
using test::seconds;
using test::vmapDocument;

std::shared_ptr<SKYLVelaTimeline> parse(const std::string& text,
                                        SKYLVelaParseContext* context = nullptr) {
  auto result = SKYLVelaParseTimelineFromDataWithError(context, text);
  EXPECT_TRUE(result.ok()) << (result.ok() ? "" : result.error().description());
  return result.ok() ? result.value() : nullptr;
}

std::vector<std::string> names(const std::vector<URL>& urls) {
  std::vector<std::string> out;
  for (const auto& url : urls) out.push_back(url.absoluteString());
  return out;
}

TEST(SKYLVelaVMAPParserTest, EnvelopeExtensionsAndThumbnails) {
  SKYLVelaParseContext context;
  const std::string text = vmapDocument(adBreak("start", "00:00:15"));
  const auto timeline = parse(text, &context);
  ASSERT_TRUE(timeline);
  EXPECT_EQ(context.vmapExtensionsNamespace, "sk");
  EXPECT_EQ(timeline->velaURL()->absoluteString(), "https://cdn.example.com/stream.m3u8");
  EXPECT_EQ(timeline->payloadLength(), seconds(1000));
  EXPECT_EQ(timeline->contentLength(), seconds(940));
  EXPECT_EQ(timeline->thumbnailVTTURL()->absoluteString(), "https://cdn.example.com/thumbs.vtt");
  ASSERT_EQ(timeline->contentImpressions().size(), 1u);  // "soon" is no time
  EXPECT_EQ(timeline->contentImpressions()[0].logicalTime(), seconds(10));
  EXPECT_EQ(*timeline->vmapResponseData(), text);
  EXPECT_FALSE(timeline->isLiveSSAI());
}

TEST(SKYLVelaVMAPParserTest, WithoutExtensionNamespaceTheLegacyExtensionIsRead) {
  std::string text = vmapDocument(adBreak("start", "00:00:15"));
  text.replace(text.find("xmlns:sk="), 9, "xmlns:zz=");
  text.replace(text.find("<sk:Skylark"), 11, "<zz:Skylark");
  SKYLVelaParseContext context;
  auto result = SKYLVelaParseTimelineFromDataWithError(&context, text);
  EXPECT_EQ(context.vmapExtensionsNamespace, "");
  // "sk:" no longer resolves, so the document reads no extension at all.
  ASSERT_TRUE(result.ok());
  EXPECT_EQ(result.value()->payloadLength(), seconds(0));
  EXPECT_TRUE(result.value()->contentImpressions().empty());
}

TEST(SKYLVelaVMAPParserTest, TheLegacyPelicanExtensionIsReadUnderPv) {
  std::string text = vmapDocument(adBreak("start", "00:00:15"), 500, 485);
  for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
           {"xmlns:sk=", "xmlns:pv="},
           {"<sk:Skylark", "<pv:pelicanVela"},
           {"<sk:contentImpressions>", "<pv:contentImpressions>"},
           {"</sk:contentImpressions>", "</pv:contentImpressions>"}}) {
    text.replace(text.find(from), from.size(), to);
  }
  while (text.find("<sk:Impression") != std::string::npos) {
    text.replace(text.find("<sk:Impression"), 14, "<pv:Impression");
  }
  SKYLVelaParseContext context;
  const auto timeline = parse(text, &context);
  ASSERT_TRUE(timeline);
  EXPECT_EQ(context.vmapExtensionsNamespace, "pv");
  EXPECT_EQ(timeline->payloadLength(), seconds(500));
  EXPECT_EQ(timeline->contentLength(), seconds(485));
  EXPECT_EQ(timeline->contentImpressions().size(), 1u);
  EXPECT_FALSE(timeline->thumbnailVTTURL());  // its prefix is always "sk"
}

TEST(SKYLVelaVMAPParserTest, PodsByEqualOffsetsAndAbsolutePositions) {
  const auto timeline = parse(vmapDocument(adBreak("00:00:00", "00:00:15", "a") +
                                           adBreak("00:00:00", "00:00:15", "b") +
                                           adBreak("00:10:00", "00:00:30", "c")));
  const auto breaks = *timeline->adSequences();
  ASSERT_EQ(breaks.size(), 2u);
  const auto pre = breaks[0]->ads();
  ASSERT_EQ(pre.size(), 2u);
  EXPECT_EQ(pre[0]->beginTime(), seconds(0));
  EXPECT_EQ(pre[1]->beginTime(), seconds(15));
  EXPECT_EQ(pre[1]->logicalOffset(), seconds(0));
  EXPECT_EQ(breaks[0]->duration(), seconds(30));
  const auto mid = breaks[1]->ads();
  EXPECT_EQ(mid[0]->beginTime(), seconds(630));
  EXPECT_EQ(mid[0]->logicalOffset(), seconds(600));
  EXPECT_EQ(mid[0]->adId(), "c");
  EXPECT_EQ(mid[0]->title(), "Title c");
  EXPECT_EQ(names(mid[0]->impressionURLs()),
            std::vector<std::string>{"https://beacon.example.com/imp/c"});
}

TEST(SKYLVelaVMAPParserTest, PostRollsEndAtThePayloadLength) {
  const auto timeline =
      parse(vmapDocument(adBreak("00:01:00", "00:00:30", "mid") + adBreak("end", "00:00:10", "p1") +
                         adBreak("end", "00:00:20", "p2")));
  const auto breaks = *timeline->adSequences();
  ASSERT_EQ(breaks.size(), 2u);
  EXPECT_EQ(breaks[0]->beginTime(), seconds(60));
  const auto post = breaks[1]->ads();
  EXPECT_EQ(post[0]->beginTime(), seconds(970));
  EXPECT_EQ(post[1]->beginTime(), seconds(980));
  EXPECT_EQ(post[1]->endTime(), seconds(1000));
}

TEST(SKYLVelaVMAPParserTest, QuartileMarksProgressOffsetsAndBreakTracking) {
  const std::string tracking = R"(
        <TrackingEvents>
          <Tracking event="start"> https://t.example.com/start </Tracking>
          <Tracking event="firstQuartile">https://t.example.com/q1</Tracking>
          <Tracking event="midpoint">https://t.example.com/mid</Tracking>
          <Tracking event="thirdQuartile">https://t.example.com/q3</Tracking>
          <Tracking event="complete">https://t.example.com/complete</Tracking>
          <Tracking event="progress" offset="5">https://t.example.com/p5</Tracking>
          <Tracking event="progress" offset="00:00:05">https://t.example.com/p-time</Tracking>
          <Tracking event="creativeView" offset="9">https://t.example.com/view</Tracking>
          <Tracking event="pause">https://t.example.com/pause</Tracking>
        </TrackingEvents>)";
  const auto timeline = parse(vmapDocument(adBreak("start", "00:00:15", "a", tracking)));
  const auto events = (*timeline->adSequences())[0]->ads()[0]->trackingEventsCollection();
  struct Case {
    double from, before;
    std::vector<std::string> urls;
  };
  const Case cases[] = {
      {0,
       1,
       {"https://beacon.example.com/break/start/a", "https://t.example.com/start",
        "https://t.example.com/p-time"}},
      {3, 4, {"https://t.example.com/q1"}},
      {5, 6, {"https://t.example.com/p5"}},
      {7, 8, {"https://t.example.com/mid"}},
      {11, 12, {"https://t.example.com/q3"}},
      {12, 100, {}},  // complete and breakEnd are only found by name
  };
  for (const auto& c : cases) {
    EXPECT_EQ(names(events->URLsForTrackingEventsAtOrAfter(seconds(c.from), seconds(c.before))),
              c.urls)
        << c.from;
  }
  EXPECT_EQ(events->eventsByName().at("complete").front().offset(), seconds(15));
  EXPECT_EQ(events->eventsByName().at("breakEnd").front().offset(), seconds(15));
  EXPECT_FALSE(events->eventsByName().at("creativeView").front().offset().isValid());
  EXPECT_FALSE(events->eventsByName().at("pause").front().offset().isValid());
}

TEST(SKYLVelaVMAPParserTest, SkipClicksCompanionsExtensionsAndVerifications) {
  const std::string linear = R"(
        <VideoClicks>
          <ClickTracking>https://t.example.com/ct1</ClickTracking>
          <ClickThrough> https://advertiser.example.com/ </ClickThrough>
          <ClickTracking>https://t.example.com/ct2</ClickTracking>
        </VideoClicks>)";
  const std::string inLine = R"(
        <Creative><CompanionAds>
          <Companion id="leader" width="728" height="90">
            <StaticResource creativeType="image/png"> https://img.example.com/728.png </StaticResource>
            <CompanionClickThrough>https://advertiser.example.com/c</CompanionClickThrough>
            <TrackingEvents><Tracking event="creativeView">https://t.example.com/cv</Tracking></TrackingEvents>
          </Companion>
          <Companion id="box" width="300" height="REQUIRED"/>
        </CompanionAds></Creative>
      </Creatives>
      <ViewableImpression>
        <Viewable>https://v.example.com/yes</Viewable>
        <NotViewable>https://v.example.com/no</NotViewable>
      </ViewableImpression>
      <Extensions>
        <Extension type="AdVerifications"><AdVerifications>
          <Verification vendor="v.example.com">
            <JavaScriptResource apiFramework="omid" browserOptional="true">https://v.example.com/v.js</JavaScriptResource>
            <VerificationParameters>k=1</VerificationParameters>
          </Verification>
        </AdVerifications></Extension>
        <Extension type="geo"><Country>US</Country></Extension>
      </Extensions>)";
  std::string breakText = adBreak("start", "00:00:20", "a", linear, "");
  // The companion creative joins the Linear one in the same Creatives.
  breakText.replace(breakText.find("</Creatives>"), 12, "");
  breakText.replace(breakText.find("</InLine>"), 9, inLine + "</InLine>");
  breakText.replace(breakText.find("<Linear>"), 8, "<Linear skipoffset=\"25%\">");
  // A second Linear creative in the same ad is ignored (with its companions).
  breakText.replace(breakText.find("<CompanionAds>"), 0,
                    "</Creative><Creative><Linear><Duration>00:00:01</Duration></Linear>"
                    "<CompanionAds><Companion id=\"ignored\" width=\"1\" height=\"1\"/>"
                    "</CompanionAds></Creative><Creative>");
  test::LogCapture log;
  const auto timeline = parse(vmapDocument(breakText));
  ASSERT_TRUE(timeline);
  const auto ad = (*timeline->adSequences())[0]->ads()[0];
  EXPECT_EQ(ad->duration(), seconds(20));
  EXPECT_EQ(ad->skipOffset(), seconds(5));
  EXPECT_EQ(ad->clickThroughURL()->absoluteString(), "https://advertiser.example.com/");
  EXPECT_EQ(names(ad->clickTrackingURLs()),
            (std::vector<std::string>{"https://t.example.com/ct1", "https://t.example.com/ct2"}));

  const auto& companions = ad->companionsCollection()->orderedCompanionAdsWithWidthThenHeight();
  ASSERT_EQ(companions.size(), 2u);
  EXPECT_EQ(*companions[0]->identifier(), "box");
  EXPECT_EQ(companions[0]->height(), 0);
  EXPECT_EQ(companions[1]->staticResourceURL()->absoluteString(),
            "https://img.example.com/728.png");
  EXPECT_EQ(companions[1]->staticResourceCreativeType(), "image/png");
  EXPECT_EQ(
      names(companions[1]->trackingEventsCollection()->URLsForTrackingEventsNamed("creativeView")),
      std::vector<std::string>{"https://t.example.com/cv"});

  ASSERT_EQ(ad->adVerifications().size(), 1u);
  const auto& verification = *ad->adVerifications()[0];
  EXPECT_EQ(verification.vendor(), "v.example.com");
  EXPECT_EQ(verification.apiFramework(), "omid");
  EXPECT_TRUE(verification.browserOptional());
  EXPECT_EQ(verification.requestURLString(), "https://v.example.com/v.js?k=1");

  ASSERT_TRUE(ad->viewableImpression());
  EXPECT_EQ(names(ad->viewableImpression()->notViewableImpressionURLs),
            std::vector<std::string>{"https://v.example.com/no"});
  ASSERT_EQ(ad->vastAdExtensions().size(), 2u);
  EXPECT_EQ(ad->vastAdExtensions()[1].attributes.at("type"), "geo");

  const auto messages = log.messages();
  EXPECT_NE(std::find(messages.begin(), messages.end(),
                      "Cannot process multiple Linear elements within a single Ad element."),
            messages.end());
}

TEST(SKYLVelaVMAPParserTest, VASTInTheIABDefaultNamespaceIsRead) {
  std::string text =
      vmapDocument(adBreak("start", "00:00:15", "a") + adBreak("00:05:00", "00:00:10", "b"));
  text.replace(text.find("<VAST version=\"3.0\">"), 20,
               "<VAST xmlns=\"http://www.iab.com/VAST\" version=\"4.2\">");
  const auto timeline = parse(text);
  const auto breaks = *timeline->adSequences();
  ASSERT_EQ(breaks.size(), 2u);
  EXPECT_EQ(breaks[0]->ads()[0]->adId(), "a");
  EXPECT_EQ(breaks[0]->ads()[0]->title(), "Title a");
  EXPECT_EQ(breaks[1]->ads()[0]->beginTime(), seconds(315));
}

// Beacon URLs with characters a URL may not hold are kept, those characters
// percent-encoded (UTF-8); what is still no URL is logged and left out.
TEST(SKYLVelaVMAPParserTest, BeaconURLsWithInvalidCharactersAreKeptEncoded) {
  struct Case {
    std::string written;
    std::optional<std::string> kept;
  };
  const Case cases[] = {
      {"https://t.example.com/imp?q=a b", "https://t.example.com/imp?q=a%20b"},
      {"https://t.example.com/imp?m=<>|{}^", "https://t.example.com/imp?m=%3C%3E%7C%7B%7D%5E"},
      {"https://t.example.com/imp?city=M\xc3\xbcnchen",
       "https://t.example.com/imp?city=M%C3%BCnchen"},
      {"https://t.example.com/imp?ok=%41", "https://t.example.com/imp?ok=%41"},
      {"https://[not-an-address/imp", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.written);
    const std::string impression = "<Impression><![CDATA[" + c.written + "]]></Impression>";
    test::LogCapture log;
    const auto timeline = parse(vmapDocument(adBreak("start", "00:00:15", "a", "", impression)));
    ASSERT_TRUE(timeline);
    const auto urls = names((*timeline->adSequences())[0]->ads()[0]->impressionURLs());
    const bool kept = std::find(urls.begin(), urls.end(), c.kept.value_or("")) != urls.end();
    EXPECT_EQ(kept, c.kept.has_value()) << ::testing::PrintToString(urls);
    const auto messages = log.messages();
    const bool logged =
        std::any_of(messages.begin(), messages.end(), [&](const std::string& message) {
          return message.find("Could not parse URL `" + c.written + "` in <Impression>.") !=
                 std::string::npos;
        });
    EXPECT_EQ(logged, !c.kept.has_value()) << ::testing::PrintToString(messages);
  }
}

TEST(SKYLVelaVMAPParserTest, FailuresAreDeserializationErrors) {
  struct Case {
    std::string name;
    std::string text;
    std::string description;
  };
  const Case cases[] = {
      {"time offset", vmapDocument(adBreak("50%", "00:00:15")),
       "AdBreak timeOffset `50%` could not be parsed."},
      {"duration", vmapDocument(adBreak("start", "30")),
       "Linear Duration `30` could not be parsed."},
      {"317 years", vmapDocument(adBreak("start", "00:00:9999999999.000")),
       "Linear Duration `00:00:9999999999.000` could not be parsed."},
      {"forty nines", vmapDocument(adBreak("start", "00:00:" + std::string(40, '9'))),
       "Linear Duration `00:00:" + std::string(40, '9') + "` could not be parsed."},
      {"not XML", "{ vast: null }", "The VMAP document could not be read."},
      {"empty", "", "The VMAP document could not be read."},
  };
  for (const auto& c : cases) {
    const auto result = SKYLVelaParseTimelineFromDataWithError(nullptr, c.text);
    ASSERT_FALSE(result.ok()) << c.name;
    EXPECT_EQ(result.error().domain, "SKYLVelaErrorDomain") << c.name;
    EXPECT_EQ(result.error().code, 4011) << c.name;
    EXPECT_EQ(result.error().localizedDescription, c.description) << c.name;
  }
  const auto empty = SKYLVelaParseTimelineFromDataWithError(nullptr, "");
  ASSERT_TRUE(empty.error().underlyingError);
  EXPECT_EQ(empty.error().underlyingError->domain, "SKYLVelaXMLErrorDomain");
}

TEST(SKYLVelaVMAPParserTest, ABreakWithoutVASTAdTakesNoTime) {
  const std::string empty = R"(  <vmap:AdBreak timeOffset="00:00:10" breakId="empty">
    <vmap:AdSource><vmap:AdTagURI templateType="vast3">https://ads.example.com/tag</vmap:AdTagURI></vmap:AdSource>
  </vmap:AdBreak>
)";
  const auto timeline = parse(vmapDocument(empty + adBreak("00:01:00", "00:00:15", "a")));
  const auto breaks = *timeline->adSequences();
  ASSERT_EQ(breaks.size(), 1u);
  EXPECT_EQ(breaks[0]->beginTime(), seconds(60));
}

TEST(SKYLVelaVMAPParserTest, TrackingWithoutEventSkipOffsetRuleAndVerificationFallback) {
  const std::string linear = R"(
        <TrackingEvents>
          <Tracking>https://t.example.com/nameless</Tracking>
          <Tracking event="start">https://t.example.com/start</Tracking>
        </TrackingEvents>)";
  const std::string inLine = R"(
      <Extensions>
        <Extension type="AdVerifications"><Note>empty</Note></Extension>
        <Extension type="AdVerifications"><AdVerifications>
          <Verification vendor="second"><JavaScriptResource>https://v.example.com/2.js</JavaScriptResource></Verification>
        </AdVerifications></Extension>
      </Extensions>)";
  std::string breakText = adBreak("start", "00:00:30.030", "a", linear, inLine);
  breakText.replace(breakText.find("<Linear>"), 8, "<Linear skipoffset=\"33%\">");
  breakText.replace(breakText.find("<vmap:Tracking event=\"breakStart\">"), 34, "<vmap:Tracking>");
  const auto timeline = parse(vmapDocument(breakText));
  ASSERT_TRUE(timeline);
  const auto ad = (*timeline->adSequences())[0]->ads()[0];
  EXPECT_EQ(ad->skipOffset().value, 761080);
  EXPECT_EQ(ad->skipOffset().timescale, 76800);
  const auto& byName = ad->trackingEventsCollection()->eventsByName();
  EXPECT_EQ(byName.count(""), 0u);
  EXPECT_EQ(byName.count("breakStart"), 0u);
  EXPECT_EQ(
      names(ad->trackingEventsCollection()->URLsForTrackingEventsAtOrAfter(seconds(0), seconds(1))),
      std::vector<std::string>{"https://t.example.com/start"});
  ASSERT_EQ(ad->adVerifications().size(), 1u);
  EXPECT_EQ(ad->adVerifications()[0]->vendor(), "second");
}

TEST(SKYLVelaVMAPParserTest, HostileSizesEndQuickly) {
  struct Case {
    std::string name;
    std::string text;
    bool parses;
  };
  std::string attributes;
  for (int i = 0; i < 200000; ++i) attributes += " a" + std::to_string(i) + "=\"1\"";
  std::string manyAttributes = adBreak("start", "00:00:10");
  manyAttributes.replace(manyAttributes.find("<Linear>"), 8, "<Linear" + attributes + ">");
  std::string longSkip = adBreak("start", "00:00:10");
  longSkip.replace(longSkip.find("<Linear>"), 8,
                   "<Linear skipoffset=\"" + std::string(9'000'000, '1') + "%\">");
  std::string longPayload = vmapDocument(adBreak("start", "00:00:10"));
  longPayload.insert(longPayload.find("payloadlength=\"") + 15, std::string(9'000'000, '1'));
  std::string entities = vmapDocument(adBreak("start", "00:00:10", "&a;"));
  entities.replace(entities.find("<vmap:VMAP"), 0,
                   "<!DOCTYPE vmap:VMAP [<!ENTITY a \"" + std::string(4000, 'x') + "\">]>");
  std::string manyReferences;
  for (int i = 0; i < 50000; ++i) manyReferences += "&a;";
  entities.replace(entities.find("Title &a;"), 9, manyReferences);
  const Case cases[] = {
      {"9 MB time offset", vmapDocument(adBreak(std::string(9'000'000, '0'), "00:00:10")), false},
      {"9 MB skip offset", vmapDocument(longSkip), true},
      {"9 MB payload length", longPayload, true},
      {"200,000 attributes", vmapDocument(manyAttributes), false},
      {"50,000 entity references", entities, false},
  };
  SKYLVelaLogConfigure(0);
  for (const auto& c : cases) {
    const auto start = std::chrono::steady_clock::now();
    const auto result = SKYLVelaParseTimelineFromDataWithError(nullptr, c.text);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << c.name;
    EXPECT_EQ(result.ok(), c.parses) << c.name;
    if (!result.ok()) {
      EXPECT_EQ(result.error().code, 4011) << c.name;
    }
  }
  SKYLVelaLogConfigure(1);
}

TEST(SKYLVelaVMAPParserTest, EveryCorpusDocumentParsesOrFailsClearly) {
  const std::filesystem::path corpus = std::filesystem::path(SKYLARK_SHARED_DIR) / "corpus";
  if (!std::filesystem::exists(corpus)) {
    GTEST_SKIP() << "the public corpus is not beside the project: " << corpus;
  }
  SKYLVelaLogConfigure(0);
  size_t parsed = 0, failed = 0;
  for (const char* folder : {"vast", "vmap"}) {
    for (const auto& entry : std::filesystem::directory_iterator(corpus / folder)) {
      std::string text = test::readFile(entry.path().string());
      if (std::string(folder) == "vast") text = test::wrapVAST(text);
      const auto result = SKYLVelaParseTimelineFromDataWithError(nullptr, text);
      if (result.ok()) {
        ++parsed;
        continue;
      }
      ++failed;
      EXPECT_EQ(result.error().domain, "SKYLVelaErrorDomain") << entry.path();
      EXPECT_EQ(result.error().code, 4011) << entry.path();
      EXPECT_FALSE(result.error().localizedDescription.empty()) << entry.path();
    }
  }
  SKYLVelaLogConfigure(1);
  EXPECT_EQ(parsed + failed, 37u);
  EXPECT_GT(parsed, 15u);
}

// Which ad each break reads, wherever the document puts the VMAP namespace
// and the VAST container: the first Ad, in document order, of a VAST in a
// vmap:VASTData or vmap:VASTAdData of a vmap:AdSource, where "vmap:" is the
// prefix the document declares or the VMAP namespace when it is the default.
TEST(SKYLVelaVMAPParserTest, TheAdOfABreakFollowsTheVMAPNamespace) {
  const auto ad = [](std::string_view id) {
    return "<VAST><Ad id=\"" + std::string(id) +
           "\"><InLine><Creatives><Creative><Linear><Duration>00:00:05</Duration>"
           "</Linear></Creative></Creatives></InLine></Ad></VAST>";
  };
  const std::string vmapURI = "http://www.iab.net/videosuite/vmap";
  struct Case {
    const char* name;
    std::string document;
    std::vector<std::string> adIds;
  };
  const Case cases[] = {
      {"prefixed, VASTData, VAST in the IAB namespace",
       "<vmap:VMAP xmlns:vmap=\"" + vmapURI +
           "\"><vmap:AdBreak timeOffset=\"start\"><vmap:AdSource><vmap:VASTData>"
           "<VAST xmlns=\"http://www.iab.com/VAST\"><Ad id=\"a\"><InLine><Creatives><Creative>"
           "<Linear><Duration>00:00:05</Duration></Linear></Creative></Creatives></InLine></Ad>"
           "</VAST></vmap:VASTData></vmap:AdSource></vmap:AdBreak></vmap:VMAP>",
       {"a"}},
      {"VMAP as the default namespace",
       "<VMAP xmlns=\"" + vmapURI + "\"><AdBreak timeOffset=\"start\"><AdSource><VASTAdData>" +
           ad("b") + "</VASTAdData></AdSource></AdBreak></VMAP>",
       {"b"}},
      {"the first source holding an ad, in document order",
       "<vmap:VMAP xmlns:vmap=\"" + vmapURI +
           "\"><vmap:AdBreak timeOffset=\"start\"><vmap:AdSource><vmap:VASTAdData><VAST/>"
           "</vmap:VASTAdData></vmap:AdSource><vmap:AdSource><vmap:VASTAdData>" +
           ad("c1") + "</vmap:VASTAdData><vmap:VASTData>" + ad("c2") +
           "</vmap:VASTData></vmap:AdSource></vmap:AdBreak></vmap:VMAP>",
       {"c1"}},
      {"containers outside the VMAP namespace hold nothing",
       "<vmap:VMAP xmlns:vmap=\"" + vmapURI +
           "\" xmlns:x=\"urn:x\"><vmap:AdBreak timeOffset=\"start\"><vmap:AdSource><x:VASTAdData>" +
           ad("d") + "</x:VASTAdData></vmap:AdSource></vmap:AdBreak></vmap:VMAP>",
       {}},
      {"another prefix for the VMAP namespace leaves \"vmap:\" unbound",
       "<v:VMAP xmlns:v=\"" + vmapURI +
           "\"><v:AdBreak timeOffset=\"start\"><v:AdSource><v:VASTAdData>" + ad("e") +
           "</v:VASTAdData></v:AdSource></v:AdBreak></v:VMAP>",
       {}},
      {"\"vmap\" bound to another URI is that URI",
       "<vmap:VMAP xmlns:vmap=\"urn:other\"><vmap:AdBreak timeOffset=\"start\"><vmap:AdSource>"
       "<vmap:VASTData>" +
           ad("f") + "</vmap:VASTData></vmap:AdSource></vmap:AdBreak></vmap:VMAP>",
       {"f"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto timeline = parse(c.document);
    ASSERT_TRUE(timeline);
    std::vector<std::string> ids;
    for (const auto& sequence : *timeline->adSequences()) {
      for (const auto& a : sequence->ads()) ids.push_back(a->adId());
    }
    EXPECT_EQ(ids, c.adIds);

    // The same ads as the XPath query the walk stands for.
    auto document = SKYLVelaXMLDocument::XMLDocumentWithData(c.document).value();
    document->definePrefix("vmap", vmapURI);
    std::vector<std::string> queried;
    for (const auto& adBreak : document->rootElement()->childrenWithTag("AdBreak")) {
      if (const auto found = adBreak.firstChildWithXPath(
              "./vmap:AdSource/vmap:VASTData/*[local-name()='VAST']/*[local-name()='Ad'] | "
              "./vmap:AdSource/vmap:VASTAdData/*[local-name()='VAST']/*[local-name()='Ad']")) {
        queried.push_back(*found->valueForAttribute("id"));
      }
    }
    EXPECT_EQ(queried, c.adIds);
  }
}

// What the envelope's extensions read, wherever the document declares its
// prefixes: the first sk:Skylark and sk:thumbnailURL under a vmap:Extensions
// of the vmap:VMAP root, and every sk:contentImpressions/sk:Impression there,
// with "sk:" and "vmap:" as the root declares them.
TEST(SKYLVelaVMAPParserTest, TheExtensionsFollowTheRootsPrefixes) {
  const std::string vmapURI = "http://www.iab.net/videosuite/vmap";
  const auto replaced = [](std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
      text.replace(at, from.size(), to);
    return text;
  };
  const std::string base = vmapDocument(adBreak("start", "00:00:15"), 500, 485);
  const std::string secondExtensions =
      "<vmap:Extensions><sk:Skylark payloadlength=\"700\"/><sk:thumbnailURL>https://"
      "cdn.example.com/second.vtt</sk:thumbnailURL><sk:contentImpressions><sk:Impression "
      "url=\"https://beacon.example.com/content/2\" time=\"20\"/></sk:contentImpressions>"
      "</vmap:Extensions></vmap:VMAP>";
  struct Case {
    const char* name;
    std::string document;
    double payloadSeconds;
    bool thumbnail;
    size_t impressions;
  };
  const Case cases[] = {
      {"declared on the root", base, 500, true, 1},
      {"VMAP as the default namespace",
       replaced(replaced(replaced(base, "xmlns:vmap=", "xmlns="), "<vmap:", "<"), "</vmap:", "</"),
       500, true, 1},
      {"a second vmap:Extensions adds impressions, the first extension stays",
       replaced(base, "</vmap:VMAP>", secondExtensions), 500, true, 2},
      {"\"sk\" declared below the root is not the root's",
       replaced(replaced(base, " xmlns:sk=\"http://example.com/sk\"", ""), "<vmap:Extensions>",
                "<vmap:Extensions xmlns:sk=\"http://example.com/sk\">"),
       0, false, 0},
      {"\"sk\" bound again below the root names another namespace",
       replaced(base, "<vmap:Extensions>", "<vmap:Extensions xmlns:sk=\"urn:other\">"), 0, false,
       0},
      {"a root other than vmap:VMAP", replaced(base, "vmap:VMAP", "vmap:Playlist"), 0, false, 0},
      {"names differ in case",
       replaced(replaced(base, "sk:Skylark", "sk:SKYLARK"), "sk:Impression", "sk:impression"), 0,
       true, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SKYLVelaParseContext context;
    const auto timeline = parse(c.document, &context);
    ASSERT_TRUE(timeline);
    ASSERT_EQ(context.vmapExtensionsNamespace, "sk");
    EXPECT_EQ(timeline->payloadLength(), seconds(c.payloadSeconds));
    EXPECT_EQ(timeline->thumbnailVTTURL().has_value(), c.thumbnail);
    EXPECT_EQ(timeline->contentImpressions().size(), c.impressions);

    // The same elements as the XPath queries the walk stands for.
    auto document = SKYLVelaXMLDocument::XMLDocumentWithData(c.document).value();
    document->definePrefix("vmap", vmapURI);
    const auto extension = document->firstChildWithXPath("/vmap:VMAP/vmap:Extensions/sk:Skylark");
    EXPECT_EQ(extension ? std::stod(*extension->valueForAttribute("payloadlength")) : 0,
              c.payloadSeconds);
    EXPECT_EQ(
        document->firstChildWithXPath("/vmap:VMAP/vmap:Extensions/sk:thumbnailURL").has_value(),
        c.thumbnail);
    size_t timed = 0;
    if (const auto found =
            document->XPath("/vmap:VMAP/vmap:Extensions/sk:contentImpressions/sk:Impression")) {
      for (const auto& impression : found->allObjects()) {
        timed += impression.valueForAttribute("time") != "soon";
      }
    }
    EXPECT_EQ(timed, c.impressions);
  }
}

}  // namespace
}  // namespace skylark
