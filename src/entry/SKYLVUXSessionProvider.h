#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "entry/SKYLVUXSessionProviderOptions.h"
#include "environment/SessionEnvironment.h"
#include "host/SKYLKVOManager.h"
#include "host/SKYLSessionProvider.h"
#include "session/SKYLSSAILive2ResolvedSession.h"

namespace skylark {

class SKYLVUXSession;

// The plug-in's link in the host's chain of session providers. It takes
// the upstream provider's sessions for a batch of videos, wraps each in an
// SKYLVUXSession, starts their loading, and delivers the whole batch to the
// listener once every wrapped session has loaded or failed (a failure
// stands in the list as an error session with code 509). It also gives the
// host the source-selection policy that picks the source whose VMAP
// describes the stitched stream, and keeps a 30 s cache of resolved live
// sessions for the sessions it makes. Main queue only.
//
//   idle --batch with sessions to wrap--> busy --last load finished--> idle
//   (a batch while busy is ignored; a batch with nothing to wrap is
//    delivered at once)
class SKYLVUXSessionProvider final : public SKYLSessionProvider,
                                     public SKYLSessionListener,
                                     public std::enable_shared_from_this<SKYLVUXSessionProvider> {
 public:
  // Null options become the defaults; a null upstream provider a fresh
  // SKYLBasicSessionProvider.
  static std::shared_ptr<SKYLVUXSessionProvider> initWithOptions(
      std::shared_ptr<const SKYLVUXSessionProviderOptions> options,
      std::shared_ptr<SKYLSessionProvider> upstreamSessionProvider);
  ~SKYLVUXSessionProvider() override;

  std::vector<std::shared_ptr<SKYLPlaybackSession>> playbackSessionsForVideos(
      const std::vector<std::shared_ptr<SKYLVideo>>& videos,
      const std::shared_ptr<SKYLSessionListener>& withListener) override;
  void setSessionCommonProperties(
      const std::shared_ptr<SKYLSessionCommonProperties>& properties) override;
  bool shouldLoadVideo() const override { return shouldLoadVideo_; }
  void setShouldLoadVideo(bool load) override { shouldLoadVideo_ = load; }
  // The upstream provider's sessions arrive as its return value instead.
  void deliverSessions(const std::vector<std::shared_ptr<SKYLPlaybackSession>>&) override {}

  SKYLSessionCommonProperties::SourceSelectionPolicy sourceSelectionPolicy();

  std::shared_ptr<const SKYLSSAILive2ResolvedSession> live2ResolvedSessionForSourceURL(
      const URL& sourceURL);
  void recordLive2ResolvedSessionForSourceURL(const URL& sourceURL, const URL& manifestURL,
                                              const URL& trackingURL);

  const std::shared_ptr<SKYLSessionProvider>& upstreamSessionProvider() const { return upstream_; }
  const SKYLVUXSessionProviderOptions& options() const { return *options_; }
  // What every session it makes runs on, built from the options.
  const std::shared_ptr<const SessionEnvironment>& environment() const { return environment_; }

 private:
  SKYLVUXSessionProvider(std::shared_ptr<const SKYLVUXSessionProviderOptions> options,
                         std::shared_ptr<SKYLSessionProvider> upstream);
  void processSessions(const std::vector<std::shared_ptr<SKYLPlaybackSession>>& sessions);
  void finishPreparingSession(const std::shared_ptr<SKYLVUXSession>& session, int64_t state);
  std::shared_ptr<SKYLSource> selectSource(const SKYLVideo& video);
  void addMissingVMAPErrorSession(const SKYLVideo& video);

  bool shouldLoadVideo_ = true;
  std::weak_ptr<SKYLSessionCommonProperties> sessionCommonProperties_;
  std::shared_ptr<SKYLSessionProvider> upstream_;
  std::shared_ptr<const SKYLVUXSessionProviderOptions> options_;
  std::shared_ptr<const SessionEnvironment> environment_;
  std::weak_ptr<SKYLSessionListener> listener_;
  SKYLKVOManager kvoManager_;
  std::vector<std::shared_ptr<SKYLPlaybackSession>> sessions_;
  std::vector<std::shared_ptr<SKYLPlaybackSession>> processingSessions_;
  size_t preparedSessionsCount_ = 0;
  int64_t videosCount_ = 0;
  std::map<std::string, std::shared_ptr<const SKYLSSAILive2ResolvedSession>> live2ResolvedSessions_;
};

}  // namespace skylark
