// The monitor's page in a real browser: Debian's headless Chromium opens
// `demo --quick --monitor 0` once the demo is over (a late page gets the
// state so far), and what the page shows must be the demo's own report.
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/ChildProcess.h"

namespace skylark::test {
namespace {

const char* const kChromium = "/usr/bin/chromium";

// Every value of `attribute` in the elements `tag class="className"` of the page.
std::vector<std::string> attributeValues(const std::string& dom, const std::string& tag,
                                         const std::string& className,
                                         const std::string& attribute) {
  std::vector<std::string> values;
  const std::regex element("<" + tag + " class=\"" + className + "\"[^>]*>");
  const std::regex value(" " + attribute + "=\"([^\"]*)\"");
  for (auto it = std::sregex_iterator(dom.begin(), dom.end(), element);
       it != std::sregex_iterator(); ++it) {
    std::smatch match;
    const std::string text = it->str();
    if (std::regex_search(text, match, value)) values.push_back(match[1]);
  }
  return values;
}

std::string pathOf(const std::string& url) {
  const size_t host = url.find("://");
  const size_t path = url.find('/', host == std::string::npos ? 0 : host + 3);
  if (path == std::string::npos) return "/";
  return url.substr(path, url.find('?', path) - path);
}

TEST(MonitorPageTest, ShowsEveryBreakAndEndsWithTheDemosOwnBeaconReport) {
  if (!std::filesystem::exists(kChromium)) {
    GTEST_SKIP() << "Chromium is missing: install Debian's chromium package "
                    "(apt-get install chromium; scripts/setup does) to run the monitor's page";
  }
  ChildProcess demo({SKYLARK_TOOL_PATH, "demo", "--quick", "--json", "--monitor", "0"});
  const auto address = demo.waitForErrorLine("monitor: http://", std::chrono::seconds(30));
  ASSERT_TRUE(address) << demo.err();
  const std::string url = address->substr(address->find("http://"));
  ASSERT_TRUE(demo.waitForErrorLine("the session is over", std::chrono::seconds(60))) << demo.err();

  const auto profile =
      std::filesystem::temp_directory_path() / ("skylark-monitor-" + std::to_string(::getpid()));
  ChildProcess browser({kChromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                        "--no-first-run", "--disable-background-networking",
                        "--disable-component-update", "--disable-sync",
                        "--user-data-dir=" + profile.string(), "--enable-logging=stderr", "--v=0",
                        "--virtual-time-budget=10000", "--dump-dom", url});
  const auto browserExit = browser.wait(std::chrono::seconds(90));
  std::filesystem::remove_all(profile);
  ASSERT_EQ(browserExit, 0) << browser.err();
  ASSERT_EQ(demo.interruptAndWait(std::chrono::seconds(20)), 0) << demo.err();

  const std::string& dom = browser.out();
  // The page ran its script without a console message, and took in
  // everything up to the end of the session.
  EXPECT_EQ(browser.err().find(":CONSOLE"), std::string::npos) << browser.err();
  ASSERT_NE(dom.find("<body data-state=\"over\">"), std::string::npos) << dom;

  // The demo's report: each expected beacon and how often the ad service received it.
  const auto report = nlohmann::json::parse(demo.out());
  ASSERT_TRUE(report.at("ok").get<bool>()) << demo.out();
  std::multiset<std::string> expected;
  std::set<std::string> reportedAds;
  for (const auto& ad : report.at("ads")) {
    reportedAds.insert(ad.at("ad").get<std::string>());
    for (const auto& beacon : ad.at("beacons")) {
      for (int i = 0; i < beacon.at("received").get<int>(); ++i) {
        expected.insert("/b/" + ad.at("ad").get<std::string>() + "/" +
                        beacon.at("event").get<std::string>());
      }
    }
  }
  ASSERT_FALSE(expected.empty());

  // Every break of the timeline, with every ad of the report.
  std::set<std::string> drawnAds;
  const auto breaks = attributeValues(dom, "g", "break", "data-ads");
  ASSERT_FALSE(breaks.empty()) << dom;
  for (const auto& ads : breaks) {
    EXPECT_FALSE(ads.empty()) << "a break drawn without its ads";
    std::istringstream words(ads);
    for (std::string ad; words >> ad;) drawnAds.insert(ad);
  }
  EXPECT_EQ(drawnAds, reportedAds);

  // The requests the page lists are the beacons the ad service received:
  // every expected one once, nothing else.
  std::multiset<std::string> shown;
  for (const auto& beacon : attributeValues(dom, "tr", "request", "data-url")) {
    shown.insert(pathOf(beacon));
  }
  EXPECT_EQ(shown, expected);
  // Each answered 2xx at its first request.
  const auto outcomes = attributeValues(dom, "tr", "request", "data-outcome");
  EXPECT_EQ(outcomes, std::vector<std::string>(shown.size(), "2xx"));
  const auto attempts = attributeValues(dom, "tr", "request", "data-attempts");
  EXPECT_EQ(attempts, std::vector<std::string>(shown.size(), "1"));

  // And the delivery ledger's table says each was answered 2xx.
  const auto handed = attributeValues(dom, "tr", "delivery", "data-handed");
  const auto answered = attributeValues(dom, "tr", "delivery", "data-ok");
  const auto other = attributeValues(dom, "tr", "delivery", "data-other");
  const auto failed = attributeValues(dom, "tr", "delivery", "data-failed");
  ASSERT_EQ(handed.size(), answered.size());
  size_t total = 0;
  for (size_t i = 0; i < handed.size(); ++i) {
    total += std::stoul(handed[i]);
    EXPECT_EQ(answered[i], handed[i]) << "row " << i;
    EXPECT_EQ(other[i], "0") << "row " << i;
    EXPECT_EQ(failed[i], "0") << "row " << i;
  }
  EXPECT_EQ(total, expected.size());
}

}  // namespace
}  // namespace skylark::test
