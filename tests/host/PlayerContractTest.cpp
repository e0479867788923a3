// What every Player back-end must do, as typed tests: the simulated player
// runs them now; a real back-end adds itself to PlayerBackends.
#include <gtest/gtest.h>

#include "host/SKYLHostConstants.h"
#include "host/reference/SimulatedPlayer.h"
#include "platform/DispatchQueue.h"
#include "platform/NotificationCenter.h"

namespace skylark {
namespace {

const URL kStream = *URL::parse("https://cdn.example.com/stream.m3u8");

// A back-end as the contract needs it: a player for a 60 s stream (with a
// start date) and a way to let playback time pass.
struct SimulatedBackend {
  static std::shared_ptr<Player> make() {
    return SimulatedPlayer::create([](const URL& url) -> std::optional<SimulatedMedia> {
      if (url != kStream) return std::nullopt;
      return SimulatedMedia{MediaTime::make(60, 1), SystemTime(std::chrono::seconds(1'700'000'000)), {}};
    });
  }
  static void play(Player& player, double seconds) {
    static_cast<SimulatedPlayer&>(player).runFor(seconds);
  }
};

template <typename Backend>
class PlayerContractTest : public ::testing::Test {
 protected:
  std::shared_ptr<Player> loaded() {
    auto player = Backend::make();
    player->replaceCurrentItem(std::make_shared<PlayerItem>(kStream));
    Dispatch::main().runUntil(
        [&] { return player->itemStatus.get() != PlayerItem::Status::unknown; },
        std::chrono::seconds(10));
    return player;
  }
};

using PlayerBackends = ::testing::Types<SimulatedBackend>;
TYPED_TEST_SUITE(PlayerContractTest, PlayerBackends);

TYPED_TEST(PlayerContractTest, LoadsAnItemAndKnowsItsDuration) {
  auto player = this->loaded();
  EXPECT_EQ(player->itemStatus.get(), PlayerItem::Status::readyToPlay);
  EXPECT_NEAR(player->currentItem()->duration().seconds(), 60, 0.1);

  auto missing = TypeParam::make();
  missing->replaceCurrentItem(std::make_shared<PlayerItem>(*URL::parse("https://cdn.example.com/none")));
  EXPECT_EQ(missing->itemStatus.get(), PlayerItem::Status::unknown);  // not inside the call
  Dispatch::main().runUntil([&] { return missing->itemStatus.get() != PlayerItem::Status::unknown; },
                            std::chrono::seconds(10));
  EXPECT_EQ(missing->itemStatus.get(), PlayerItem::Status::failed);
}

TYPED_TEST(PlayerContractTest, ASeekCompletesOnTheMainQueueAfterTheCall) {
  auto player = this->loaded();
  std::vector<bool> completions;
  player->seek(MediaTime::make(30, 1), MediaTime::zero(), MediaTime::zero(), [&](bool finished) {
    EXPECT_TRUE(Dispatch::main().isCurrent());
    completions.push_back(finished);
  });
  EXPECT_TRUE(completions.empty());
  Dispatch::main().runUntil([&] { return !completions.empty(); }, std::chrono::seconds(10));
  EXPECT_EQ(completions, std::vector<bool>{true});
  EXPECT_EQ(player->currentTime(), MediaTime::make(30, 1));  // zero tolerance lands exactly

  // A seek replaced by another completes false.
  completions.clear();
  player->seek(MediaTime::make(10, 1), MediaTime::zero(), MediaTime::zero(),
               [&](bool finished) { completions.push_back(finished); });
  player->seek(MediaTime::make(20, 1), MediaTime::zero(), MediaTime::zero(),
               [&](bool finished) { completions.push_back(finished); });
  Dispatch::main().runUntil([&] { return completions.size() == 2; }, std::chrono::seconds(10));
  EXPECT_EQ(completions, (std::vector<bool>{false, true}));
  EXPECT_EQ(player->currentTime(), MediaTime::make(20, 1));
}

TYPED_TEST(PlayerContractTest, RateChangesAreAnnounced) {
  auto player = this->loaded();
  std::vector<float> rates;
  auto token = NotificationCenter::defaultCenter().addObserver(
      std::string(kSKYLPlayerRateDidChangeNotification), [&](const Notification& n) {
        if (std::any_cast<Player*>(n.object) == player.get()) rates.push_back(player->rate());
      });
  player->play();
  player->setRate(2);
  player->pause();
  NotificationCenter::defaultCenter().removeObserver(token);
  EXPECT_EQ(rates, (std::vector<float>{1, 2, 0}));
}

TYPED_TEST(PlayerContractTest, PlaysToTheEndOnceAndStops) {
  auto player = this->loaded();
  player->seek(MediaTime::make(59, 1), MediaTime::zero(), MediaTime::zero(), nullptr);
  Dispatch::main().runUntilIdle();
  int ends = 0;
  player->playedToEnd.addObserver([&](bool ended) { ends += ended; }, false);
  player->play();
  TypeParam::play(*player, 3);
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(player->rate(), 0);
  EXPECT_NEAR(player->currentTime().seconds(), 60, 0.1);
  ASSERT_TRUE(player->currentDate());
  EXPECT_EQ(player->currentDate()->time_since_epoch(), std::chrono::seconds(1'700'000'060));
}

}  // namespace
}  // namespace skylark
