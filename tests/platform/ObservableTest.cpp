#include "platform/Observable.h"

#include <gtest/gtest.h>

#include "host/SKYLKVOManager.h"

namespace skylark {
namespace {

TEST(ObservableTest, EveryAssignmentNotifiesAndRemovalTakesEffectAtOnce) {
  Observable<int> property(1);
  std::vector<std::string> calls;
  uint64_t second = 0;
  property.addObserver([&](const int& v) {
    calls.push_back("first " + std::to_string(v));
    property.removeObserver(second);
  }, /*initial=*/true);
  second = property.addObserver([&](const int& v) { calls.push_back("second " + std::to_string(v)); },
                                false);
  property.set(2);
  property.set(2);  // an equal value notifies too
  EXPECT_EQ(calls, (std::vector<std::string>{"first 1", "first 2", "first 2"}));
}

TEST(SKYLKVOManagerTest, EndsItsObservationsWhenGoneEvenAfterTheProperty) {
  Observable<int> property(0);
  int seen = 0;
  {
    SKYLKVOManager manager;
    manager.startObserving<int>(property, [&](const int& v) { seen = v; }, false);
    property.set(5);
    EXPECT_EQ(seen, 5);
  }
  property.set(6);
  EXPECT_EQ(seen, 5);

  SKYLKVOManager outlives;
  {
    Observable<int> shortLived(0);
    outlives.startObserving<int>(shortLived, [&](const int& v) { seen = v; }, true);
  }
  outlives.stopObserving();  // the property is gone: ending quietly, no crash
  EXPECT_EQ(seen, 0);
}

}  // namespace
}  // namespace skylark
