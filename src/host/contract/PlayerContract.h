// What every Player back-end must do, as GoogleTest typed tests. A back-end
// proves itself with one instantiation in a test program of its own, linked
// to SkylarkSSAI::player_contract and GTest::gtest_main:
//
//   struct MyBackend {
//     static constexpr int kLength = 60;            // the stream's seconds
//     static std::shared_ptr<Player> make();        // a new player, no item
//     static URL stream();   // kLength s long, its first frame dated kStartDate
//     static URL missing();  // an address that fails to load
//     // Lets `seconds` of playback pass: a real player runs the main queue
//     // until then, a simulated one advances its clock.
//     static void play(Player& player, double seconds);
//   };
//   namespace skylark::test {  // where GoogleTest looks the suite up
//   INSTANTIATE_TYPED_TEST_SUITE_P(MyPlayer, PlayerContractTest, MyBackend);
//   }
//
// The tests run the main queue (Dispatch::main()) themselves, with a deadline
// of seconds for each wait, and fail where the player breaks a rule of
// host/Player.h. docs/integrating.md says what each rule is for.
#pragma once

#include <any>
#include <chrono>

#include <gtest/gtest.h>

#include "host/Player.h"
#include "host/PlayerItem.h"
#include "host/SKYLHostConstants.h"
#include "platform/DispatchQueue.h"
#include "platform/NotificationCenter.h"

namespace skylark::test {

// The date every contract stream starts at.
constexpr std::chrono::seconds kStartDate{1'700'000'000};

template <typename Backend>
class PlayerContractTest : public ::testing::Test {
 protected:
  std::shared_ptr<Player> loaded() {
    auto player = Backend::make();
    player->replaceCurrentItem(std::make_shared<PlayerItem>(Backend::stream()));
    Dispatch::main().runUntil(
        [&] { return player->itemStatus.get() != PlayerItem::Status::unknown; },
        std::chrono::seconds(10));
    return player;
  }
};

TYPED_TEST_SUITE_P(PlayerContractTest);

TYPED_TEST_P(PlayerContractTest, LoadsAnItemAndKnowsItsDuration) {
  auto player = this->loaded();
  EXPECT_EQ(player->itemStatus.get(), PlayerItem::Status::readyToPlay);
  EXPECT_NEAR(player->currentItem()->duration().seconds(), TypeParam::kLength, 0.1);

  auto missing = TypeParam::make();
  missing->replaceCurrentItem(std::make_shared<PlayerItem>(TypeParam::missing()));
  EXPECT_EQ(missing->itemStatus.get(), PlayerItem::Status::unknown);  // not inside the call
  Dispatch::main().runUntil(
      [&] { return missing->itemStatus.get() != PlayerItem::Status::unknown; },
      std::chrono::seconds(10));
  EXPECT_EQ(missing->itemStatus.get(), PlayerItem::Status::failed);
}

TYPED_TEST_P(PlayerContractTest, ASeekCompletesOnTheMainQueueAfterTheCall) {
  auto player = this->loaded();
  std::vector<bool> completions;
  player->seek(MediaTime::make(TypeParam::kLength / 2, 1), MediaTime::zero(), MediaTime::zero(),
               [&](bool finished) {
                 EXPECT_TRUE(Dispatch::main().isCurrent());
                 completions.push_back(finished);
               });
  EXPECT_TRUE(completions.empty());
  Dispatch::main().runUntil([&] { return !completions.empty(); }, std::chrono::seconds(10));
  EXPECT_EQ(completions, std::vector<bool>{true});
  EXPECT_EQ(player->currentTime(),
            MediaTime::make(TypeParam::kLength / 2, 1));  // zero tolerance lands exactly

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

TYPED_TEST_P(PlayerContractTest, RateChangesAreAnnounced) {
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

TYPED_TEST_P(PlayerContractTest, PlaysToTheEndOnceAndStops) {
  auto player = this->loaded();
  bool landed = false;
  player->seek(MediaTime::make(TypeParam::kLength - 1, 1), MediaTime::zero(), MediaTime::zero(),
               [&](bool) { landed = true; });
  Dispatch::main().runUntil([&] { return landed; }, std::chrono::seconds(10));
  int ends = 0;
  player->playedToEnd.addObserver([&](bool ended) { ends += ended; }, false);
  player->play();
  TypeParam::play(*player, 3);
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(player->rate(), 0);
  EXPECT_NEAR(player->currentTime().seconds(), TypeParam::kLength, 0.1);
  ASSERT_TRUE(player->currentDate());
  EXPECT_EQ(player->currentDate()->time_since_epoch(),
            kStartDate + std::chrono::seconds(TypeParam::kLength));
}

REGISTER_TYPED_TEST_SUITE_P(PlayerContractTest, LoadsAnItemAndKnowsItsDuration,
                            ASeekCompletesOnTheMainQueueAfterTheCall, RateChangesAreAnnounced,
                            PlaysToTheEndOnceAndStops);

}  // namespace skylark::test
