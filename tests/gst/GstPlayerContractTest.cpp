// The GStreamer player against the contract every Player back-end keeps,
// on the stitched test stream as fast as it decodes.
#include "host/contract/PlayerContract.h"

#include "TestStream.h"
#include "host/gst/GstPlayer.h"

namespace skylark::test {
namespace {

struct GstBackend {
  static constexpr int kLength = 40;
  static TestStream& served() {
    static TestStream stream;
    return stream;
  }
  static URL stream() { return served().vod(); }
  static URL missing() { return served().missing(); }
  static std::shared_ptr<Player> make() {
    std::string why;
    auto player =
        GstPlayer::create({.sync = false, .positionInterval = std::chrono::milliseconds(5)}, &why);
    if (!player) ADD_FAILURE() << why;
    return player;
  }
  static void play(Player& player, double seconds) {
    const double until = player.currentTime().seconds() + seconds;
    Dispatch::main().runUntil(
        [&] { return player.rate() == 0 || player.currentTime().seconds() >= until; },
        std::chrono::seconds(20));
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(GStreamer, PlayerContractTest, GstBackend);

}  // namespace
}  // namespace skylark::test
