#include "platform/NotificationCenter.h"

#include <gtest/gtest.h>

namespace skylark {
namespace {

TEST(NotificationCenterTest, DeliversByNameInOrderAndRemovalTakesEffectAtOnce) {
  NotificationCenter center;
  std::vector<std::string> calls;
  NotificationCenter::Token second = 0;
  const auto first = center.addObserver("beacon", [&](const Notification& n) {
    calls.push_back("first:" + std::any_cast<std::string>(n.userInfo.at("url")));
    center.removeObserver(second);  // removed during this very post
  });
  second = center.addObserver("beacon", [&](const Notification&) { calls.push_back("second"); });
  const auto all = center.addObserver("", [&](const Notification& n) {
    calls.push_back("all:" + n.name);
    // Observers added during a post hear only later posts.
    (void)center.addObserver("beacon", [&](const Notification&) { calls.push_back("late"); });
  });

  center.post({"beacon", nullptr, {{"url", std::string("u1")}}});
  center.post({"other", nullptr, {}});
  EXPECT_EQ(calls, (std::vector<std::string>{"first:u1", "all:beacon", "all:other"}));

  center.removeObserver(first);
  center.removeObserver(all);
  calls.clear();
  center.post({"beacon", nullptr, {{"url", std::string("u2")}}});
  EXPECT_EQ(calls, (std::vector<std::string>{"late", "late"}));
}

}  // namespace
}  // namespace skylark
