#include "GenerateCommand.h"

#include <array>
#include <fstream>
#include <iostream>
#include <iterator>

#include <fmt/format.h>

#include "CommandLine.h"
#include "XMLText.h"

namespace skylark::tool {
namespace {

// xorshift64*: small, and the same sequence on every platform.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ull + 0x1234567ull) {
    if (state_ == 0) state_ = 1;
  }
  uint64_t next() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545F4914F6CDD1Dull;
  }
  size_t below(size_t n) { return static_cast<size_t>((next() >> 11) % n); }
  template <typename T, size_t N>
  const T& choice(const std::array<T, N>& items) {
    return items[below(N)];
  }
  std::string hex(size_t length) {
    std::string out;
    while (out.size() < length) out += fmt::format("{:016x}", next());
    out.resize(length);
    return out;
  }

 private:
  uint64_t state_;
};

constexpr std::array<const char*, 3> kTrackingHosts = {"https://track.adserver.example.com",
                                                       "https://beacon.measure.example.net",
                                                       "https://t.ssai-vendor.example.org"};
constexpr std::array<const char*, 8> kAdvertisers = {
    "Acme Motors",  "Globex Insurance", "Initech Cloud", "Umbrella Pharma",
    "Hooli Phones", "Soylent Foods",    "Stark Energy",  "Wayne Travel"};
constexpr std::array<int, 8> kDurationsMs = {6000, 10000, 15000, 15000, 20000, 30000, 30000, 15500};
constexpr int64_t kBreakSpacingMs = 5 * 60'000;

std::string clock(int64_t ms) {
  return fmt::format("{:02}:{:02}:{:02}.{:03}", ms / 3'600'000, ms / 60'000 % 60, ms / 1000 % 60,
                     ms % 1000);
}

std::string cdata(const std::string& text) { return "<![CDATA[" + text + "]]>"; }

class Generator {
 public:
  Generator(const GenerateOptions& options)
      : options_(options), random_(options.seed), session_(random_.hex(32)) {}

  std::string document() {
    write(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<vmap:VMAP xmlns:vmap=\"http://www.iab.net/videosuite/vmap\" "
        "xmlns:sk=\"http://example.com/sk\" "
        "version=\"1.0\">\n");
    for (int b = 0; b < options_.breaks; ++b) {
      const int64_t offset = b == 0 ? 0 : b * kBreakSpacingMs + (b * 137) % 1000;
      for (int a = 0; a < options_.adsPerBreak; ++a) adBreak(b, a, offset);
    }
    const int64_t contentMs = options_.breaks * kBreakSpacingMs + 123'456;
    write("  <vmap:Extensions>\n");
    write(fmt::format(
        "    <sk:Skylark contenturi=\"{}\" payloadlength=\"{:.3f}\" contentlength=\"{:.3f}\"/>\n",
        xmlEscaped(
            fmt::format("https://vod.origin.example.com/content/{}/master.m3u8?token={}&exp={}",
                        random_.hex(16), random_.hex(40), 1'700'000'000 + options_.breaks)),
        static_cast<double>(contentMs + adsMs_) / 1000, static_cast<double>(contentMs) / 1000));
    write(fmt::format(
        "    "
        "<sk:thumbnailURL>https://vod.origin.example.com/thumbs/{}/thumbs.vtt</sk:thumbnailURL>\n",
        random_.hex(16)));
    write("    <sk:contentImpressions>\n");
    for (int quarter = 0; quarter <= 4; ++quarter) {
      write(fmt::format("      <sk:Impression url=\"{}\" time=\"{:.3f}\"/>\n",
                        xmlEscaped(url("v1/content", fmt::format("q={}", quarter))),
                        static_cast<double>(contentMs) * quarter / 4000));
    }
    write("    </sk:contentImpressions>\n  </vmap:Extensions>\n</vmap:VMAP>\n");
    return std::move(out_);
  }

 private:
  void write(const std::string& text) { out_ += text; }

  std::string url(const std::string& path, const std::string& query) {
    const char* host = random_.choice(kTrackingHosts);
    return fmt::format("{}/{}?{}&sid={}&rid={}&cb=[CACHEBUSTING]&ts=[TIMESTAMP]&ua=[CLIENTUA]",
                       host, path, query, session_, random_.hex(24));
  }

  void adBreak(int b, int a, int64_t offset) {
    const std::string id = fmt::format("break-{}-{}", b, a);
    write(fmt::format("  <vmap:AdBreak timeOffset=\"{}\" breakType=\"linear\" breakId=\"{}\">\n",
                      clock(offset), id));
    write(fmt::format(
        "    <vmap:AdSource id=\"{}-src\" allowMultipleAds=\"false\" followRedirects=\"true\">\n"
        "      <vmap:VASTAdData>\n        <VAST version=\"4.1\">\n",
        id));
    ad(b, a);
    write(
        "        </VAST>\n      </vmap:VASTAdData>\n    </vmap:AdSource>\n    "
        "<vmap:TrackingEvents>\n");
    for (const char* event : {"breakStart", "breakEnd"}) {
      write(fmt::format("      <vmap:Tracking event=\"{}\">{}</vmap:Tracking>\n", event,
                        cdata(url("v1/break", fmt::format("ev={}&b={}&pos={}", event, b, a)))));
    }
    write("    </vmap:TrackingEvents>\n  </vmap:AdBreak>\n");
  }

  void ad(int b, int a) {
    const std::string adId = fmt::format("{}{:06}", 100000 + b, a);
    const std::string creative = "cr-" + random_.hex(12);
    const std::string advertiser = random_.choice(kAdvertisers);
    const std::string brand = [&] {
      std::string word = advertiser.substr(0, advertiser.find(' '));
      for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      return word;
    }();
    const int durationMs = random_.choice(kDurationsMs);
    adsMs_ += durationMs;
    const std::string tag = fmt::format("b={}&a={}&ad={}", b, a, adId);
    const std::string i = "          ";
    write(
        fmt::format("{0}<Ad id=\"{1}\">\n{0} <InLine>\n{0}  <AdSystem "
                    "version=\"4.2\">SkylarkAdServer</AdSystem>\n"
                    "{0}  <AdServingId>{2}</AdServingId>\n{0}  <AdTitle>{3}</AdTitle>\n"
                    "{0}  <Description>{4}</Description>\n{0}  <Advertiser>{5}</Advertiser>\n"
                    "{0}  <Error>{6}</Error>\n",
                    i, adId, random_.hex(32),
                    cdata(fmt::format("{} - Spring campaign {} ({}s)", advertiser, b * 7 + a,
                                      durationMs / 1000)),
                    cdata("Video spot for " + advertiser), advertiser,
                    cdata(url("v1/error", "code=[ERRORCODE]&" + tag))));
    write(
        fmt::format("{0}  <Impression id=\"imp-{1}-1\">{2}</Impression>\n"
                    "{0}  <Impression id=\"imp-{1}-2\">{3}</Impression>\n{0}  <ViewableImpression "
                    "id=\"vi-{1}\">\n",
                    i, adId, cdata(url("v1/impression", tag)),
                    cdata(url("pixel/imp", "cid=" + random_.hex(8)))));
    for (const char* state : {"Viewable", "NotViewable", "ViewUndetermined"}) {
      write(fmt::format("{0}   <{1}>{2}</{1}>\n", i, state,
                        cdata(url("v1/viewability", fmt::format("state={}&{}", state, tag)))));
    }
    write(fmt::format(
        "{0}  </ViewableImpression>\n{0}  <AdVerifications>\n{0}   <Verification "
        "vendor=\"measure.example.net-omid\">\n"
        "{0}    <JavaScriptResource apiFramework=\"omid\" "
        "browserOptional=\"true\">{1}</JavaScriptResource>\n"
        "{0}    <VerificationParameters>{2}</VerificationParameters>\n{0}    <TrackingEvents>\n"
        "{0}     <Tracking event=\"verificationNotExecuted\">{3}</Tracking>\n{0}    "
        "</TrackingEvents>\n"
        "{0}   </Verification>\n{0}  </AdVerifications>\n{0}  <Creatives>\n",
        i,
        cdata("https://verify.measure.example.net/omid/v3/omid-validation-verification-script.js"),
        cdata(fmt::format(
            R"({{"campaignId":"{}","placementId":"{}","adId":"{}","creativeId":"{}","debug":false}})",
            random_.hex(10), random_.hex(10), adId, creative)),
        cdata(url("v1/omid", "reason=[REASON]&" + tag))));
    const int skipKind = (b * 7 + a) % 4;
    const std::string skip = skipKind == 1   ? " skipoffset=\"00:00:05.000\""
                             : skipKind == 3 ? " skipoffset=\"25%\""
                                             : "";
    write(fmt::format(
        "{0}   <Creative id=\"{1}\" adId=\"{2}\" sequence=\"1\">\n"
        "{0}    <UniversalAdId idRegistry=\"Ad-ID\">SKYL{3:08}</UniversalAdId>\n"
        "{0}    <Linear{4}>\n{0}     <Duration>{5}</Duration>\n{0}     <TrackingEvents>\n",
        i, creative, adId, b * 10 + a, skip, clock(durationMs)));
    for (const char* event : {"creativeView", "start", "firstQuartile", "midpoint", "thirdQuartile",
                              "complete", "pause", "resume", "mute", "unmute", "skip"}) {
      write(fmt::format("{}      <Tracking event=\"{}\">{}</Tracking>\n", i, event,
                        cdata(url("v1/track", fmt::format("ev={}&{}", event, tag)))));
    }
    write(fmt::format(
        "{0}      <Tracking event=\"progress\" offset=\"00:00:05.000\">{1}</Tracking>\n{0}     "
        "</TrackingEvents>\n"
        "{0}     <VideoClicks>\n{0}      <ClickThrough id=\"ct-{2}\">{3}</ClickThrough>\n"
        "{0}      <ClickTracking id=\"ctr-{2}-1\">{4}</ClickTracking>\n"
        "{0}      <ClickTracking id=\"ctr-{2}-2\">{5}</ClickTracking>\n{0}     </VideoClicks>\n{0} "
        "    <MediaFiles>\n",
        i, cdata(url("v1/track", "ev=progress&off=5&" + tag)), adId,
        cdata(fmt::format("https://www.{}.example.com/landing?utm_source=ssai&utm_campaign={}",
                          brand, random_.hex(8))),
        cdata(url("v1/click", tag)), cdata(url("pixel/click", "cid=" + random_.hex(8)))));
    for (const auto& [width, height, bitrate] :
         {std::array{1920, 1080, 6000}, std::array{1280, 720, 3000}, std::array{640, 360, 800}}) {
      write(fmt::format(
          "{0}      <MediaFile id=\"mf-{1}-{3}\" delivery=\"progressive\" type=\"video/mp4\" "
          "width=\"{2}\" height=\"{3}\" bitrate=\"{4}\" codec=\"avc1.64001f\" scalable=\"true\" "
          "maintainAspectRatio=\"true\">{5}</MediaFile>\n",
          i, adId, width, height, bitrate,
          cdata(fmt::format("https://cdn.media.example.com/ads/{}/{}_{}p.mp4", creative,
                            random_.hex(16), height))));
    }
    write(fmt::format(
        "{0}      <MediaFile id=\"mf-{1}-hls\" delivery=\"streaming\" "
        "type=\"application/x-mpegURL\" "
        "width=\"1920\" height=\"1080\" minBitrate=\"800\" maxBitrate=\"6000\">{2}</MediaFile>\n"
        "{0}     </MediaFiles>\n{0}    </Linear>\n{0}   </Creative>\n"
        "{0}   <Creative id=\"{3}-comp\" sequence=\"1\">\n{0}    <CompanionAds required=\"any\">\n",
        i, adId, cdata(fmt::format("https://cdn.media.example.com/ads/{}/master.m3u8", creative)),
        creative));
    for (const auto& [width, height, type] :
         {std::tuple{300, 250, "png"}, std::tuple{728, 90, "jpeg"}}) {
      const std::string companion = fmt::format("comp-{}-{}x{}", adId, width, height);
      write(fmt::format(
          "{0}     <Companion id=\"{1}\" width=\"{2}\" height=\"{3}\">\n"
          "{0}      <StaticResource creativeType=\"image/{4}\">{5}</StaticResource>\n{0}      "
          "<TrackingEvents>\n"
          "{0}       <Tracking event=\"creativeView\">{6}</Tracking>\n{0}      </TrackingEvents>\n"
          "{0}      <CompanionClickThrough>{7}</CompanionClickThrough>\n"
          "{0}      <CompanionClickTracking>{8}</CompanionClickTracking>\n{0}     </Companion>\n",
          i, companion, width, height, type,
          cdata(fmt::format("https://cdn.media.example.com/companions/{}/{}x{}.{}", random_.hex(16),
                            width, height, type)),
          cdata(url("v1/companion", "ev=creativeView&c=" + companion)),
          cdata(fmt::format("https://www.{}.example.com/companion?c={}", brand, companion)),
          cdata(url("v1/companion-click", "c=" + companion))));
    }
    write(fmt::format(
        "{0}    </CompanionAds>\n{0}   </Creative>\n{0}  </Creatives>\n{0}  <Extensions>\n"
        "{0}   <Extension type=\"skAdInfo\">\n"
        "{0}    <AdInfo campaignId=\"{1}\" lineItemId=\"{2}\" orderId=\"{3}\" priority=\"{4}\"/>\n"
        "{0}    <DealId>deal-{5}</DealId>\n{0}   </Extension>\n"
        "{0}   <Extension type=\"waterfall\" fallback_index=\"0\">\n"
        "{0}    <Trafficking source=\"direct\" tier=\"{6}\">{7}</Trafficking>\n{0}   </Extension>\n"
        "{0}  </Extensions>\n{0} </InLine>\n{0}</Ad>\n",
        i, random_.hex(12), 500000 + b * 10 + a, 7000 + b, 1 + random_.below(12), random_.hex(10),
        1 + random_.below(3), cdata("placement=" + random_.hex(8))));
  }

  const GenerateOptions& options_;
  Random random_;
  std::string session_;
  std::string out_;
  int64_t adsMs_ = 0;
};

}  // namespace

std::string generateVMAP(const GenerateOptions& options) { return Generator(options).document(); }

int runGenerate(const GenerateOptions& options, std::ostream& out, std::ostream& err) {
  const std::string document = generateVMAP(options);
  if (options.output == "-") {
    out << document;
    return out ? 0 : 1;
  }
  std::ofstream file(options.output, std::ios::binary);
  file << document;
  if (!file) {
    err << "error: could not write " << options.output << "\n";
    return 1;
  }
  err << options.output << ": " << options.breaks << " breaks x " << options.adsPerBreak << " ads, "
      << document.size() << " bytes\n";
  return 0;
}

Command addGenerateCommand(CLI::App& app) {
  auto options = std::make_shared<GenerateOptions>();
  auto size = std::make_shared<std::string>();
  auto* command = app.add_subcommand(
      "generate",
      "Write a realistic VMAP document of a given size (the same bytes for the same options)");
  command
      ->add_option("--breaks", options->breaks,
                   fmt::format("Ad breaks, five minutes apart (3), at most {} (offsets under 100 "
                               "hours); breaks x ads-per-break up to {} keeps the document under "
                               "the 16 MiB inspect and play accept, {} at most",
                               kMostGeneratedBreaks, kAdsWithin16MiB, kMostGeneratedAds))
      ->check(CLI::Range(1, kMostGeneratedBreaks));
  command->add_option("--ads-per-break", options->adsPerBreak, "Ads in each break (1)")
      ->check(CLI::Range(1, 100));
  command->add_option("--seed", options->seed, "Seed of the document's random parts");
  command->add_option("--size", *size, "small (3 x 1), medium (60 x 4) or large (500 x 4)")
      ->check(CLI::IsMember({"small", "medium", "large"}));
  command->add_option("-o,--output", options->output, "Write to FILE instead of standard output");
  return {command, [options, size] {
            const std::map<std::string, std::pair<int, int>> sizes = {
                {"small", {3, 1}}, {"medium", {60, 4}}, {"large", {500, 4}}};
            if (!size->empty()) std::tie(options->breaks, options->adsPerBreak) = sizes.at(*size);
            if (options->breaks * options->adsPerBreak > kMostGeneratedAds) {
              std::cerr << fmt::format(
                  "error: {} breaks x {} ads is more than the {} ads a generated document may "
                  "hold ({} keep it under the 16 MiB inspect and play accept)\n",
                  options->breaks, options->adsPerBreak, kMostGeneratedAds, kAdsWithin16MiB);
              return kUsageError;
            }
            if (options->breaks * options->adsPerBreak > kAdsWithin16MiB) {
              std::cerr << fmt::format(
                  "warning: more than {} ads: the document will be over the 16 MiB inspect and "
                  "play accept (fine for benchmarks of the parser)\n",
                  kAdsWithin16MiB);
            }
            return runGenerate(*options, std::cout, std::cerr);
          }};
}

}  // namespace skylark::tool
