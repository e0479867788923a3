#include "platform/Observable.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/SKYLKVOManager.h"

namespace skylark {
namespace {

TEST(ObservableTest, EveryAssignmentNotifiesAndRemovalTakesEffectAtOnce) {
  Observable<int> property(1);
  std::vector<std::string> calls;
  uint64_t second = 0;
  property.addObserver(
      [&](const int& v) {
        calls.push_back("first " + std::to_string(v));
        property.removeObserver(second);
      },
      /*initial=*/true);
  second = property.addObserver(
      [&](const int& v) { calls.push_back("second " + std::to_string(v)); }, false);
  property.set(2);
  property.set(2);  // an equal value notifies too
  EXPECT_EQ(calls, (std::vector<std::string>{"first 1", "first 2", "first 2"}));
}

TEST(ObservableTest, AValueSetFromAnObserverIsAnnouncedAfterTheCurrentOneInOrder) {
  Observable<int> property(0);
  std::vector<std::string> calls;
  property.addObserver(
      [&](const int& v) {
        calls.push_back("a" + std::to_string(v));
        if (v == 1) property.set(2);  // as an application seeking from an ad-start callback
      },
      false);
  property.addObserver([&](const int& v) { calls.push_back("b" + std::to_string(v)); }, false);
  property.set(1);
  // b hears 1 before 2, though a set 2 while 1 was being announced.
  EXPECT_EQ(calls, (std::vector<std::string>{"a1", "b1", "a2", "b2"}));
  EXPECT_EQ(property.get(), 2);
}

// An observer added while another runs hears its initial value at once
// and, of the changes, only those set after it was added; one that removes
// itself while it runs is not called again.
TEST(ObservableTest, ObserversAddedOrRemovedWhileOneRunsTakeEffectInOrder) {
  Observable<int> property(0);
  std::vector<std::string> calls;
  uint64_t self = 0;
  self = property.addObserver(
      [&](const int& v) {
        calls.push_back("a" + std::to_string(v));
        if (v != 1) return;
        property.set(2);  // queued: announced after 1 has reached everyone
        property.addObserver([&](const int& w) { calls.push_back("b" + std::to_string(w)); },
                             /*initial=*/true);
        property.removeObserver(self);
      },
      false);
  property.addObserver([&](const int& v) { calls.push_back("c" + std::to_string(v)); }, false);
  property.set(1);
  // b joined after 2 was set, and after c: its initial value (already 2),
  // then 3 after c.
  property.set(3);
  EXPECT_EQ(calls, (std::vector<std::string>{"a1", "b2", "c1", "c2", "c3", "b3"}));
}

// The first observers sit in the registry itself, later ones behind it:
// order and removal hold across the two, however many come and go.
TEST(ObservableTest, ManyObserversKeepTheirOrderThroughRemovalsAndAdditions) {
  Observable<int> property(0);
  std::string heard;
  std::map<char, uint64_t> ids;
  auto add = [&](char name) {
    ids[name] = property.addObserver([&heard, name](const int&) { heard += name; }, false);
  };
  struct Step {
    std::string add, remove, expected;
  };
  const std::vector<Step> steps = {
      {"abcde", "", "abcde"}, {"", "bd", "ace"}, {"fg", "", "acefg"},
      {"", "a", "cefg"},      {"", "cefg", ""},  {"hij", "", "hij"},
  };
  for (const auto& step : steps) {
    for (char name : step.add) add(name);
    for (char name : step.remove) property.removeObserver(ids[name]);
    heard.clear();
    property.set(1);
    EXPECT_EQ(heard, step.expected)
        << "after adding \"" << step.add << "\" and removing \"" << step.remove << "\"";
  }
}

TEST(ObservableTest, AnObserverMayDestroyTheProperty) {
  auto property = std::make_unique<Observable<int>>(0);
  int later = 0;
  property->addObserver([&](const int&) { property.reset(); }, false);
  property->addObserver([&](const int& v) { later = v; }, false);
  property->set(3);
  EXPECT_FALSE(property);
  EXPECT_EQ(later, 3);  // the change still reaches the observers it was announced to
}

// Gone while its initial value is delivered, or while a value set from an
// observer waits its turn: what was announced still reaches everyone.
TEST(ObservableTest, AnObserverMayDestroyThePropertyAtAnyPointOfAnAnnouncement) {
  auto property = std::make_unique<Observable<int>>(0);
  property->addObserver([&](const int&) { property.reset(); }, true);
  EXPECT_FALSE(property);

  property = std::make_unique<Observable<int>>(0);
  std::vector<int> heard;
  property->addObserver(
      [&](const int& v) {
        if (v == 1) property->set(2);
        if (v == 2) property.reset();
      },
      false);
  property->addObserver([&](const int& v) { heard.push_back(v); }, false);
  property->set(1);
  EXPECT_FALSE(property);
  EXPECT_EQ(heard, (std::vector<int>{1, 2}));
}

TEST(SKYLKVOManagerTest, EndsItsObservationsWhenGoneEvenAfterTheProperty) {
  Observable<int> property(0);
  int seen = 0;
  {
    SKYLKVOManager manager;
    manager.startObserving<int>(
        property, [&](const int& v) { seen = v; }, false);
    property.set(5);
    EXPECT_EQ(seen, 5);
  }
  property.set(6);
  EXPECT_EQ(seen, 5);

  SKYLKVOManager outlives;
  {
    Observable<int> shortLived(0);
    outlives.startObserving<int>(
        shortLived, [&](const int& v) { seen = v; }, true);
  }
  outlives.stopObserving();  // the property is gone: ending quietly, no crash
  EXPECT_EQ(seen, 0);
}

}  // namespace
}  // namespace skylark
