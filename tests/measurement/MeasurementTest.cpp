#include <gtest/gtest.h>

#include "host/SKYLHostNotifications.h"
#include "measurement/SKYLAdVerification.h"
#include "measurement/SKYLOMSDKComponent.h"
#include "measurement/SKYLViewableImpressionCollection.h"

namespace skylark {
namespace {

TEST(SKYLAdVerificationTest, MissingStringsAreEmptyAndTheRequestFollowsTheParameters) {
  const auto script = URL::parse("https://verify.example.com/v.js");
  const SKYLAdVerification bare(std::nullopt, std::nullopt, false, script, std::nullopt, nullptr);
  EXPECT_EQ(bare.vendor(), "");
  EXPECT_EQ(bare.apiFramework(), "");
  EXPECT_EQ(bare.verificationParameters(), "");
  EXPECT_EQ(bare.requestURLString(), "https://verify.example.com/v.js");

  const SKYLAdVerification withParameters("iabtechlab.com-omid", "omid", true, script, "{\"k\":1}",
                                          nullptr);
  EXPECT_EQ(withParameters.requestURLString(), "https://verify.example.com/v.js?{\"k\":1}");
  EXPECT_EQ(SKYLAdVerification("v", "omid", true, std::nullopt, "p", nullptr).requestURLString(),
            std::nullopt);
}

TEST(SKYLViewableImpressionCollectionTest, ChoosesTheListForTheImpression) {
  SKYLViewableImpressionCollection lists;
  lists.viewableImpressionURLs = {*URL::parse("https://v.example.com/viewable")};
  lists.notViewableImpressionURLs = {*URL::parse("https://v.example.com/not")};
  lists.viewUndeterminedImpressionURLs = {*URL::parse("https://v.example.com/undetermined")};
  struct Case {
    bool clientOnly, hasImpressions;
    const std::vector<URL>* expected;
  };
  const Case cases[] = {{false, true, &lists.viewUndeterminedImpressionURLs},
                        {false, false, &lists.viewUndeterminedImpressionURLs},
                        {true, false, &lists.notViewableImpressionURLs},
                        {true, true, &lists.viewableImpressionURLs}};
  for (const auto& c : cases) {
    EXPECT_EQ(&lists.URLsForImpression(c.clientOnly, c.hasImpressions), c.expected);
  }
}

TEST(SKYLOMSDKComponentTest, PostsTheVersionOnlyWhenTheApplicationHasOne) {
  NotificationCenter center;
  std::vector<std::string> posted;
  const auto token = center.addObserver(
      kSKYLNotificationAnalyticsPostFeatureAnalytics, [&](const Notification& n) {
        posted.push_back(std::any_cast<std::string>(n.userInfo.at("omsdk")));
      });
  SKYLOMSDKComponent component;
  SKYLOMSDKComponent::setVersionLookup(nullptr);
  EXPECT_EQ(component.versionIdentifier(), std::nullopt);
  component.postFeatureAnalytics(center);
  EXPECT_TRUE(posted.empty());

  SKYLOMSDKComponent::setVersionLookup([] { return std::optional<std::string>("1.4.12"); });
  component.postFeatureAnalytics(center);
  EXPECT_EQ(posted, std::vector<std::string>{"1.4.12"});
  SKYLOMSDKComponent::setVersionLookup(nullptr);
  center.removeObserver(token);
}

}  // namespace
}  // namespace skylark
