#include "host/SKYLPlaybackSessionLifecycleEvent.h"

#include <optional>

#include <gtest/gtest.h>

#include "host/SKYLHostConstants.h"

namespace skylark {
namespace {

// An event keeps its type whether it is the host's or a component's, made
// from a text that goes away at once, and so does a copy of it.
TEST(SKYLPlaybackSessionLifecycleEventTest, KeepsItsTypeAndProperties) {
  for (const std::string_view type :
       {kSKYLPlaybackSessionLifecycleEventAdProgress, kSKYLPlaybackSessionLifecycleEventBumperExit,
        std::string_view("com.example.component.didTap"), std::string_view("")}) {
    std::optional<SKYLPlaybackSessionLifecycleEvent> copy;
    {
      auto text = std::make_unique<std::string>(type);
      const auto event = SKYLPlaybackSessionLifecycleEvent::eventWithType(
          *text, {{std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyError), 7}});
      text.reset();
      EXPECT_EQ(event->eventType(), type);
      copy.emplace(*event);
    }
    EXPECT_EQ(copy->eventType(), type);
    const int* error = copy->property<int>(kSKYLPlaybackSessionLifecycleEventPropertiesKeyError);
    ASSERT_TRUE(error);
    EXPECT_EQ(*error, 7);
  }
}

}  // namespace
}  // namespace skylark
