#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "entry/SKYLSSAIAdditions.h"
#include "environment/SessionClock.h"
#include "host/SKYLAdLedgerManager.h"
#include "host/reference/SimulatedPlayer.h"
#include "session/SKYLVUXSession.h"
#include "support/RecordingTransport.h"

namespace skylark::test {

// An application on the whole stack: the SSAI playback controller over a
// VMAP document given as bytes, on a simulated player whose stream is the
// one the document names. Records the lifecycle events the application
// hears ("AdEnter ad-1", "AdSequenceEnter", ...), every beacon and every
// ledger call. Main queue; the test drives the virtual clock.
class SessionHarness {
 public:
  explicit SessionHarness(const std::string& vmap,
                          SKYLVUXSessionProviderOptions options = SKYLVUXSessionProviderOptions());
  ~SessionHarness();

  // Until the session is delivered and its stream ready to play (which
  // enters a pre-roll). `beforeReady` runs once the session is delivered,
  // before the stream is ready: the place for what must see the pre-roll.
  bool start(const std::function<void()>& beforeReady = {});
  // Plays until the stream time reaches `seconds` (or the stream ends).
  void playUntil(double seconds, double step = 0.25);
  // Runs the main queue until idle, without moving the playhead.
  void settle();
  double streamTime() const { return player->currentTime().seconds(); }
  // The lifecycle events heard since the last call.
  std::vector<std::string> takeEvents();
  std::vector<std::string> takeBeacons();

  // Records the beacons unless the options name a transport of their own.
  std::shared_ptr<RecordingTransport> transport = std::make_shared<RecordingTransport>();
  // The sessions' clock (unless the options name one): it moves with the
  // simulated player.
  std::shared_ptr<ManualSessionClock> clock =
      std::make_shared<ManualSessionClock>(SystemTime{std::chrono::hours(24 * 365 * 50)});
  std::shared_ptr<SimulatedPlayer> player;
  std::shared_ptr<SKYLPlaybackController> controller;
  std::shared_ptr<SKYLVUXSession> session;
  std::shared_ptr<SKYLAd> currentAd;  // of the last ad-enter event
  std::vector<SKYLLifecycleEventPtr> lifecycle;

 private:
  std::vector<std::string> events_;
};

// "AdEnter" for kSKYLPlaybackSessionLifecycleEventAdEnter.
std::string shortEventName(std::string_view type);

}  // namespace skylark::test
