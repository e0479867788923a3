// The application's own player against the plug-in's player contract: one
// backend description and one instantiation.
#include "TickPlayer.h"
#include "host/contract/PlayerContract.h"

using namespace skylark;

namespace {

struct TickBackend {
  static constexpr int kLength = 30;
  static URL stream() { return *URL::parse("https://media.example.com/ticks/master.m3u8"); }
  static URL missing() { return *URL::parse("https://media.example.com/none.m3u8"); }
  static std::shared_ptr<Player> make() {
    return TickPlayer::create(
        {{stream().absoluteString(), {kLength, SystemTime(test::kStartDate)}}});
  }
  // Frames come as the main queue runs: run it until the playhead has moved
  // `seconds` or the player stopped.
  static void play(Player& player, double seconds) {
    const double until = player.currentTime().seconds() + seconds;
    Dispatch::main().runUntil(
        [&] { return player.rate() == 0 || player.currentTime().seconds() >= until; },
        std::chrono::seconds(20));
  }
};

}  // namespace

// GoogleTest finds the suite's parts by its unqualified name.
namespace skylark::test {
INSTANTIATE_TYPED_TEST_SUITE_P(TickPlayer, PlayerContractTest, TickBackend);
}
