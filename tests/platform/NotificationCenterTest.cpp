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

TEST(NotificationCenterTest, HasObserversTellsWhetherAPostFromNoSenderWouldReachAnyone) {
  int sender = 0;
  struct Case {
    const char* what;
    std::string name;
    const void* sender;
    bool observed;
  };
  const Case cases[] = {
      {"that name", "vmap", nullptr, true},
      {"every name", "", nullptr, true},
      {"another name", "beacon", nullptr, false},
      {"that name from one sender only", "vmap", &sender, false},
  };
  for (const auto& c : cases) {
    NotificationCenter center;
    EXPECT_FALSE(center.hasObservers("vmap")) << "nobody yet";
    int heard = 0;
    const auto token = center.addObserver(c.name, c.sender, [&](const Notification&) { ++heard; });
    EXPECT_EQ(center.hasObservers("vmap"), c.observed) << c.what;
    // It answers what a post would do.
    center.post({"vmap", nullptr, {}});
    EXPECT_EQ(heard, c.observed ? 1 : 0) << c.what;
    center.removeObserver(token);
    EXPECT_FALSE(center.hasObservers("vmap")) << c.what << ", once removed";
  }
}

TEST(NotificationCenterTest, ObserversOfOneSenderHearOnlyItInRegistrationOrder) {
  NotificationCenter center;
  int a = 0, b = 0;
  std::vector<std::string> calls;
  const auto record = [&](std::string who) {
    return [&calls, who](const Notification&) { calls.push_back(who); };
  };
  const auto ofA = center.addObserver("rate", &a, record("ofA"));
  const auto anyone = center.addObserver("rate", record("anyone"));
  const auto ofB = center.addObserver("rate", &b, record("ofB"));
  const auto everything = center.addObserver("", record("everything"));
  const auto ofA2 = center.addObserver("rate", &a, record("ofA2"));

  Notification fromA{"rate", nullptr, {}, &a};
  center.post(fromA);
  EXPECT_EQ(calls, (std::vector<std::string>{"ofA", "anyone", "everything", "ofA2"}));
  calls.clear();
  center.post({"rate", nullptr, {}, &b});
  center.post({"rate", nullptr, {}, nullptr});
  EXPECT_EQ(calls,
            (std::vector<std::string>{"anyone", "ofB", "everything", "anyone", "everything"}));

  for (const auto token : {ofA, anyone, ofB, everything, ofA2}) center.removeObserver(token);
  calls.clear();
  center.post(fromA);
  EXPECT_TRUE(calls.empty());
}

}  // namespace
}  // namespace skylark
