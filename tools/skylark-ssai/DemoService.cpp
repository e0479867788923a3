#include "DemoService.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <httplib.h>

#include "GenerateCommand.h"
#include "LiveOrigin.h"

namespace skylark::tool {
namespace {

struct DemoAd {
  std::string id;
  std::string title;
  std::string duration;
  std::string skipOffset;  // empty: not skippable
  bool companion;
};

std::string beacon(const std::string& base, const std::string& ad, const std::string& event) {
  return base + "/b/" + ad + "/" + event;
}

std::string adBreak(const std::string& base, const std::string& offset, const DemoAd& ad,
                    bool breakStart, bool breakEnd) {
  auto tracking = [&](const std::string& event) {
    return "<Tracking event=\"" + event + "\"><![CDATA[" + beacon(base, ad.id, event) +
           "]]></Tracking>";
  };
  std::string linear =
      ad.skipOffset.empty() ? "<Linear>" : "<Linear skipoffset=\"" + ad.skipOffset + "\">";
  std::string text =
      "  <vmap:AdBreak timeOffset=\"" + offset + "\" breakType=\"linear\" breakId=\"" + ad.id +
      "\">\n    <vmap:AdSource id=\"" + ad.id +
      "\"><vmap:VASTAdData>\n"
      "      <VAST version=\"4.2\"><Ad id=\"" +
      ad.id +
      "\"><InLine>\n"
      "        <AdSystem>Skylark Demo</AdSystem><AdTitle>" +
      ad.title +
      "</AdTitle>\n"
      "        <Impression><![CDATA[" +
      beacon(base, ad.id, "impression") +
      "]]></Impression>\n"
      "        <ViewableImpression><ViewUndetermined><![CDATA[" +
      beacon(base, ad.id, "viewable") +
      "]]></ViewUndetermined></ViewableImpression>\n"
      "        <AdVerifications><Verification vendor=\"verify.demo\">\n"
      "          <JavaScriptResource apiFramework=\"omid\" browserOptional=\"true\"><![CDATA[" +
      beacon(base, ad.id, "verification") +
      "]]></JavaScriptResource>\n"
      "          <VerificationParameters><![CDATA[{\"campaign\": \"" +
      ad.id +
      "\"}]]></VerificationParameters>\n"
      "        </Verification></AdVerifications>\n"
      "        <Creatives><Creative>" +
      linear + "<Duration>" + ad.duration +
      "</Duration>\n"
      "          <TrackingEvents>" +
      tracking("creativeView") + tracking("start") + tracking("firstQuartile") +
      tracking("midpoint") + tracking("thirdQuartile") + tracking("complete") +
      (ad.skipOffset.empty() ? "" : tracking("skip")) +
      "</TrackingEvents>\n"
      "          <VideoClicks><ClickThrough><![CDATA[https://advertiser.example.com/" +
      ad.id + "]]></ClickThrough><ClickTracking><![CDATA[" + beacon(base, ad.id, "click") +
      "]]></ClickTracking></VideoClicks>\n"
      "        </Linear></Creative>";
  if (ad.companion) {
    text += "<Creative><CompanionAds><Companion id=\"" + ad.id +
            "-box\" width=\"300\" height=\"250\">"
            "<StaticResource creativeType=\"image/png\"><![CDATA[https://img.example.com/" +
            ad.id +
            "-300x250.png]]></StaticResource><TrackingEvents><Tracking "
            "event=\"creativeView\"><![CDATA[" +
            beacon(base, ad.id, "companion-view") +
            "]]></Tracking></TrackingEvents></Companion>"
            "</CompanionAds></Creative>";
  }
  text += "</Creatives>\n      </InLine></Ad></VAST>\n    </vmap:VASTAdData></vmap:AdSource>\n";
  if (breakStart || breakEnd) {
    text += "    <vmap:TrackingEvents>";
    if (breakStart)
      text += "<vmap:Tracking event=\"breakStart\"><![CDATA[" + beacon(base, ad.id, "breakStart") +
              "]]></vmap:Tracking>";
    if (breakEnd)
      text += "<vmap:Tracking event=\"breakEnd\"><![CDATA[" + beacon(base, ad.id, "breakEnd") +
              "]]></vmap:Tracking>";
    text += "</vmap:TrackingEvents>\n";
  }
  return text + "  </vmap:AdBreak>\n";
}

std::string isoDate(std::chrono::system_clock::time_point t) {
  const auto ms =
      std::chrono::duration_cast<std::chrono::milliseconds>(t.time_since_epoch()).count();
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                     fmt::gmtime(std::chrono::system_clock::to_time_t(t)), ms % 1000);
}

}  // namespace

std::string DemoService::vodDocument(const std::string& base) {
  // 300 s of content in a 360 s stream: the pre-roll pod at 0-25 s, mid-a
  // at content 1:00 (stream 85-95), mid-b at content 2:30 (185-200), the
  // post-roll at 350-360.
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<vmap:VMAP xmlns:vmap=\"http://www.iab.net/videosuite/vmap\" "
         "xmlns:sk=\"http://example.com/sk\" "
         "version=\"1.0\">\n" +
         adBreak(base, "start", {"pre-1", "Mountain Coffee", "00:00:15", "00:00:05", true}, true,
                 false) +
         adBreak(base, "start", {"pre-2", "City Bikes", "00:00:10", "", false}, false, true) +
         adBreak(base, "00:01:00", {"mid-a", "Ocean Ferries", "00:00:10", "", false}, true, true) +
         adBreak(base, "00:02:30", {"mid-b", "Night Trains", "00:00:15", "", true}, true, true) +
         adBreak(base, "end", {"post-1", "See You Soon", "00:00:10", "", false}, true, true) +
         "  <vmap:Extensions><sk:Skylark contenturi=\"" + base +
         "/vod/vod.m3u8\" payloadlength=\"360\" contentlength=\"300\"/></vmap:Extensions>\n"
         "</vmap:VMAP>\n";
}

DemoService::DemoService(double playheadDelaySeconds, const std::string& streamDirectory)
    : server_(std::make_unique<httplib::Server>()), playheadDelay_(playheadDelaySeconds) {
  // One request per connection, so stopping never waits out a keep-alive.
  server_->set_keep_alive_max_count(1);
  if (!streamDirectory.empty()) {
    server_->set_mount_point("/vod", streamDirectory);
    serveLiveStream(streamDirectory);
  }
  server_->Get("/vod/vmap.xml", [this](const httplib::Request&, httplib::Response& response) {
    response.set_content(vodDocument(base()), "application/xml");
  });
  // Any size of document, for inspect and play: /generated.xml?breaks=N&ads=M&seed=S.
  server_->Get("/generated.xml", [](const httplib::Request& request, httplib::Response& response) {
    GenerateOptions options;
    auto number = [&](const char* key, int64_t low, int64_t high, int64_t fallback) {
      const auto text = request.get_param_value(key);
      char* end = nullptr;
      const long long value = text.empty() ? fallback : std::strtoll(text.c_str(), &end, 10);
      return std::clamp<int64_t>(end && *end ? fallback : value, low, high);
    };
    // No larger than the tools accept.
    options.adsPerBreak = static_cast<int>(number("ads", 1, 10, 1));
    options.breaks =
        static_cast<int>(number("breaks", 1, kAdsWithin16MiB / options.adsPerBreak, 3));
    options.breaks = std::min(options.breaks, kMostGeneratedBreaks);
    options.seed = static_cast<uint64_t>(number("seed", 0, INT64_MAX, 20240601));
    response.set_content(generateVMAP(options), "application/xml");
  });
  server_->Post("/live/v1/session", [this](const httplib::Request&, httplib::Response& response) {
    {
      MutexLock lock(mutex_);
      liveOpened_ = std::chrono::system_clock::now();
    }
    response.set_content(R"({"manifestUrl": "/live/master.m3u8", "trackingUrl": "/live/tracking"})",
                         "application/json");
  });
  server_->Get("/live/tracking", [this](const httplib::Request&, httplib::Response& response) {
    response.set_content(trackingAnswer(), "application/json");
  });
  server_->Get(R"(/b/.*)", [this](const httplib::Request& request, httplib::Response& response) {
    std::function<void(const std::string&)> observer;
    {
      MutexLock lock(mutex_);
      received_.push_back(request.path);
      lastBeacon_ = std::chrono::steady_clock::now();
      observer = observer_;
    }
    if (observer) observer(request.path);
    response.status = 204;
  });
  port_ = server_->bind_to_any_port("127.0.0.1");
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!server_->is_running() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void DemoService::serveLiveStream(const std::string& streamDirectory) {
  std::ifstream file(streamDirectory + "/live.m3u8", std::ios::binary);
  std::stringstream playlist;
  playlist << file.rdbuf();
  auto segments = readPlaylistSegments(playlist.str());
  if (segments.empty()) return;
  // The live session's manifest: the stream looped, its edge a minute in
  // when the service starts, dated with the clock.
  constexpr double kEdge = 60;
  const auto zero =
      std::chrono::system_clock::now() - std::chrono::milliseconds(std::llround(kEdge * 1000));
  LiveOrigin::serveWindow(*server_, "/live/master.m3u8",
                          LiveWindow{std::move(segments), zero, 6, "/vod/"},
                          std::chrono::steady_clock::now(), kEdge);
}

DemoService::~DemoService() {
  server_->stop();
  if (thread_.joinable()) thread_.join();
}

std::string DemoService::base() const { return "http://127.0.0.1:" + std::to_string(port_); }

std::string DemoService::trackingAnswer() {
  std::chrono::system_clock::time_point opened;
  int poll = 0;
  {
    MutexLock lock(mutex_);
    opened = liveOpened_;
    poll = ++polls_;
  }
  // One 8 s ad, 3 s ahead of a playhead that runs the delay behind the clock.
  const auto adDate = opened -
                      std::chrono::milliseconds(static_cast<int64_t>(playheadDelay_ * 1000)) +
                      std::chrono::seconds(3);
  std::string events;
  for (const char* type : {"impression", "start", "creativeView", "firstQuartile", "midpoint",
                           "thirdQuartile", "complete"}) {
    events += fmt::format(R"({}{{"eventType": "{}", "beaconUrls": ["{}"]}})",
                          events.empty() ? "" : ",", type, beacon(base(), "live-1", type));
  }
  return fmt::format(
      R"({{"nextToken": "poll-{}", "avails": [{{"availId": "live-break-1", "durationInSeconds": 8,
          "ads": [{{"adId": "live-1", "adTitle": "Harbour Lights", "durationInSeconds": 8,
                    "adProgramDateTime": "{}", "trackingEvents": [{}]}}]}}]}})",
      poll, isoDate(adDate), events);
}

std::vector<std::string> DemoService::received() const {
  MutexLock lock(mutex_);
  return received_;
}

void DemoService::setBeaconObserver(std::function<void(const std::string&)> observer) {
  MutexLock lock(mutex_);
  observer_ = std::move(observer);
}

void DemoService::waitUntilQuiet(std::chrono::milliseconds quiet,
                                 std::chrono::milliseconds timeout) const {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < deadline) {
    {
      MutexLock lock(mutex_);
      if (std::chrono::steady_clock::now() - lastBeacon_ >= quiet) return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace skylark::tool
