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

// An ad event answers as an event made with the same map would, by key and
// by type, and its map holds exactly those properties.
TEST(SKYLPlaybackSessionLifecycleEventTest, AnAdEventAnswersAsItsMapWould) {
  const auto ad = std::make_shared<SKYLAd>();
  const MediaTime progress = MediaTime::make(3, 2);
  struct Case {
    std::shared_ptr<SKYLAd> ad;
    std::optional<MediaTime> progress;
  };
  for (const auto& c : {Case{ad, progress}, Case{ad, std::nullopt}, Case{nullptr, progress},
                        Case{nullptr, std::nullopt}}) {
    SKYLPlaybackSessionLifecycleEvent::Properties map;
    if (c.ad) map[std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd)] = c.ad;
    if (c.progress) {
      map[std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress)] = *c.progress;
    }
    const auto byMap = SKYLPlaybackSessionLifecycleEvent::eventWithType(
        kSKYLPlaybackSessionLifecycleEventAdExit, map);
    const auto made = SKYLPlaybackSessionLifecycleEvent::adEventWithType(
        kSKYLPlaybackSessionLifecycleEventAdExit, c.ad, c.progress);
    const SKYLPlaybackSessionLifecycleEvent copy(*made);
    for (const auto* e : {made.get(), &copy}) {
      for (const auto key : {kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd,
                             kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress,
                             kSKYLPlaybackSessionLifecycleEventPropertiesKeyError}) {
        EXPECT_EQ(e->property<std::shared_ptr<SKYLAd>>(key) != nullptr,
                  byMap->property<std::shared_ptr<SKYLAd>>(key) != nullptr)
            << key;
        EXPECT_EQ(e->property<MediaTime>(key) != nullptr,
                  byMap->property<MediaTime>(key) != nullptr)
            << key;
        EXPECT_FALSE(e->property<int>(key)) << key;
      }
      if (c.ad) {
        EXPECT_EQ(*e->property<std::shared_ptr<SKYLAd>>(
                      kSKYLPlaybackSessionLifecycleEventPropertiesKeyAd),
                  ad);
      }
      if (c.progress) {
        EXPECT_EQ(
            *e->property<MediaTime>(kSKYLPlaybackSessionLifecycleEventPropertiesKeyAdProgress),
            progress);
      }
      ASSERT_EQ(e->properties().size(), map.size());
      for (const auto& [key, value] : map) {
        ASSERT_TRUE(e->properties().count(key)) << key;
        EXPECT_EQ(e->properties().at(key).type(), value.type()) << key;
      }
    }
  }
}

}  // namespace
}  // namespace skylark
