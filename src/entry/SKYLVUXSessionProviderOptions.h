#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "environment/SessionClock.h"
#include "platform/URLSession.h"
#include "platform/Visibility.h"
#include "session/SessionOptions.h"
#include "tracking/SKYLVelaAnalyticsDigester.h"

namespace SKYLARK_API skylark {

// The options an application gives the plug-in's factory methods: how
// sources of the newer live service are recognised, the ad parameters of
// such live sessions, and the headers of every request for ad documents
// and live data.
class SKYLVUXSessionProviderOptions {
 public:
  SKYLVUXSessionProviderOptions();

  int64_t meridianLiveDetection() const { return meridianLiveDetection_; }
  void setMeridianLiveDetection(int64_t v) { meridianLiveDetection_ = v; }
  const std::map<std::string, std::string>& live2AdsParams() const { return live2AdsParams_; }
  void setLive2AdsParams(std::map<std::string, std::string> v) { live2AdsParams_ = std::move(v); }
  // By default one entry: "User-Agent" = defaultUserAgent().
  const HTTPHeaderFields& httpHeaders() const { return httpHeaders_; }
  void setHttpHeaders(HTTPHeaderFields v) { httpHeaders_ = std::move(v); }

  // Where the sessions' beacons go; by default the process's shared URL
  // session. Tools and tests give their own (report only, count, record).
  // Every beacon goes through it, VOD and live alike (live beacons with
  // retries on top).
  const std::shared_ptr<BeaconTransport>& beaconTransport() const { return beaconTransport_; }
  void setBeaconTransport(std::shared_ptr<BeaconTransport> v) { beaconTransport_ = std::move(v); }

  // The sessions' time: the wall clock by default. Tools and tests on a
  // virtual clock give a ManualSessionClock.
  const std::shared_ptr<SessionClock>& clock() const { return clock_; }
  void setClock(std::shared_ptr<SessionClock> v) { clock_ = std::move(v); }
  // Ad documents and live requests; the process's shared session by default.
  const std::shared_ptr<URLSession>& urlSession() const { return urlSession_; }
  void setURLSession(std::shared_ptr<URLSession> v) { urlSession_ = std::move(v); }

  // Beyond the plug-in's own behaviour, each off (or as the plug-in
  // behaves) unless set:
  // VAST macros ([CACHEBUSTING], %%TIMESTAMP%%, ...) in beacon and
  // click-tracking URLs are filled in just before each request; false:
  // URLs go out as the document wrote them.
  bool expandVASTMacros() const { return session_.expandVASTMacros; }
  void setExpandVASTMacros(bool v) { session_.expandVASTMacros = v; }
  // False: a forward seek over unwatched breaks goes straight to its
  // target, and the breaks stay unwatched.
  bool snapbackEnabled() const { return session_.snapbackEnabled; }
  void setSnapbackEnabled(bool v) { session_.snapbackEnabled = v; }
  // Starting at a bookmark (SKYLVUXSession::startAtContentTime): true, none
  // of the breaks before it plays; false, the last of them plays first.
  bool bookmarkSkipsEarlierBreaks() const { return session_.bookmarkSkipsEarlierBreaks; }
  void setBookmarkSkipsEarlierBreaks(bool v) { session_.bookmarkSkipsEarlierBreaks = v; }
  // replay: a break already watched plays again when the playhead comes to
  // it; skip: the player seeks past it, and no one-shot beacon (impression,
  // quartiles, ...) goes out twice in the session.
  PlayedBreaksPolicy playedBreaks() const { return session_.playedBreaks; }
  void setPlayedBreaks(PlayedBreaksPolicy v) { session_.playedBreaks = v; }
  // All four, as the sessions take them.
  const SessionOptions& sessionOptions() const { return session_; }

  // "ios-vela-ux/7.2.18.42 (MODEL; OS VERSION; LOCALE)", read from this
  // machine at the moment of the call: the hardware name, the kernel's name
  // and release, and the locale of the environment ("en_US_POSIX" when
  // none is set).
  static std::string defaultUserAgent();

 private:
  int64_t meridianLiveDetection_ = 3;
  std::map<std::string, std::string> live2AdsParams_;
  HTTPHeaderFields httpHeaders_;
  std::shared_ptr<BeaconTransport> beaconTransport_;
  std::shared_ptr<SessionClock> clock_;
  std::shared_ptr<URLSession> urlSession_;
  SessionOptions session_;
};

}  // namespace skylark
