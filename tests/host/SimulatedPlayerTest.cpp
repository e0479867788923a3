#include "host/reference/SimulatedPlayer.h"

#include <chrono>

#include <gtest/gtest.h>

#include "platform/DispatchQueue.h"

namespace skylark {
namespace {

using namespace std::chrono_literals;

const URL kVOD = *URL::parse("https://cdn.example.com/vod.m3u8");

class Recorder final : public TimedMetadataOutputDelegate {
 public:
  void outputDidOutputTimedMetadata(const std::vector<TimedMetadataItem>& items) override {
    onMain = onMain && Dispatch::main().isCurrent();
    for (const auto& item : items) seen.push_back(item.bytes);
  }
  std::vector<std::string> seen;
  bool onMain = true;
};

std::shared_ptr<SimulatedPlayer> playerFor(double seconds,
                                           std::vector<TimedMetadataItem> metadata = {}) {
  auto player = SimulatedPlayer::create([=](const URL&) {
    return std::optional(
        SimulatedMedia{MediaTime::makeWithSeconds(seconds, 600), std::nullopt, metadata});
  });
  return player;
}

TEST(SimulatedPlayerTest, MetadataReachesOutputsOnceInOrderOnTheirQueue) {
  auto player = playerFor(30, {{MediaTime::make(12, 1), "b"},
                               {MediaTime::make(5, 1), "a"},
                               {MediaTime::make(30, 1), "end"}});
  auto item = std::make_shared<PlayerItem>(kVOD);
  auto recorder = std::make_shared<Recorder>();
  item->addOutput({recorder, &Dispatch::main()});
  player->replaceCurrentItem(item);
  player->play();
  player->runFor(40, 0.25);
  EXPECT_EQ(recorder->seen, (std::vector<std::string>{"a", "b", "end"}));
  EXPECT_TRUE(recorder->onMain);
}

TEST(SimulatedPlayerTest, ReversePlaybackStopsAtTheReverseEndTime) {
  auto player = playerFor(100);
  auto item = std::make_shared<PlayerItem>(kVOD);
  item->setReversePlaybackEndTime(MediaTime::make(30, 1));
  player->replaceCurrentItem(item);
  player->seek(MediaTime::make(40, 1), MediaTime::zero(), MediaTime::zero(), nullptr);
  player->runFor(0);
  player->setRate(-24);
  player->runFor(2);
  EXPECT_EQ(player->currentTime(), MediaTime::make(30, 1));
  EXPECT_EQ(player->rate(), 0);
}

TEST(SimulatedPlayerTest, AReadyItemAnnouncesTheStartingPositionBeforeAnythingPlays) {
  auto player = playerFor(100);
  std::vector<MediaTime> announced;
  player->time.addObserver([&](const MediaTime& time) { announced.push_back(time); }, false);
  player->replaceCurrentItem(std::make_shared<PlayerItem>(kVOD));
  Dispatch::main().runUntilIdle();
  EXPECT_EQ(player->itemStatus.get(), PlayerItem::Status::readyToPlay);
  EXPECT_EQ(announced, std::vector<MediaTime>{MediaTime::zero()});
}

// A reverse rate set where reverse playback cannot go (at or before the
// reverse end time) stops the player where it stands.
TEST(SimulatedPlayerTest, AReverseThatCannotMoveStopsWhereItIs) {
  struct Case {
    double from;
    double reverseEnd;  // negative: none set (the start)
  };
  for (const auto& c : std::vector<Case>{{5, 30}, {30, 30}, {0, -1}}) {
    SCOPED_TRACE(::testing::Message() << "from " << c.from << " reverse end " << c.reverseEnd);
    auto player = playerFor(100);
    auto item = std::make_shared<PlayerItem>(kVOD);
    if (c.reverseEnd >= 0)
      item->setReversePlaybackEndTime(MediaTime::makeWithSeconds(c.reverseEnd, 600));
    player->replaceCurrentItem(item);
    player->seek(MediaTime::makeWithSeconds(c.from, 600), MediaTime::zero(), MediaTime::zero(),
                 nullptr);
    player->runFor(0);
    player->setRate(-2);
    player->runFor(1);
    EXPECT_EQ(player->currentTime(), MediaTime::makeWithSeconds(c.from, 600));
    EXPECT_EQ(player->rate(), 0);
  }
}

TEST(SimulatedPlayerTest, ATwoHourStreamPlaysToItsEndTenUpdatesASecond) {
  auto player = playerFor(7200);
  player->replaceCurrentItem(std::make_shared<PlayerItem>(kVOD));
  int updates = 0;
  player->time.addObserver([&](const MediaTime&) { ++updates; }, false);
  player->play();
  player->runFor(7300, 0.1);
  EXPECT_EQ(player->currentTime(), MediaTime::make(7200, 1));
  EXPECT_GE(updates, 72000);  // ten a second of playback
}

}  // namespace
}  // namespace skylark
