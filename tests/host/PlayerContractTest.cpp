// The simulated player against the contract every Player back-end keeps.
#include "host/contract/PlayerContract.h"

#include "host/reference/SimulatedPlayer.h"

namespace skylark::test {
namespace {

struct SimulatedBackend {
  static constexpr int kLength = 60;
  static URL stream() { return *URL::parse("https://cdn.example.com/stream.m3u8"); }
  static URL missing() { return *URL::parse("https://cdn.example.com/none"); }
  static std::shared_ptr<Player> make() {
    return SimulatedPlayer::create([](const URL& url) -> std::optional<SimulatedMedia> {
      if (url != stream()) return std::nullopt;
      return SimulatedMedia{MediaTime::make(kLength, 1), SystemTime(kStartDate), {}};
    });
  }
  static void play(Player& player, double seconds) {
    static_cast<SimulatedPlayer&>(player).runFor(seconds);
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Simulated, PlayerContractTest, SimulatedBackend);

}  // namespace
}  // namespace skylark::test
