#include "host/SKYLBasicSessionProvider.h"

#include "host/SKYLBasicPlaybackSession.h"
#include "host/SKYLPlayerSDKManager.h"

namespace skylark {

std::vector<std::shared_ptr<SKYLPlaybackSession>>
SKYLBasicSessionProvider::playbackSessionsForVideos(
    const std::vector<std::shared_ptr<SKYLVideo>>& videos,
    const std::shared_ptr<SKYLSessionListener>& withListener) {
  std::vector<std::shared_ptr<SKYLPlaybackSession>> sessions;
  const auto properties = commonProperties_.lock();
  for (const auto& video : videos) {
    auto session = SKYLBasicPlaybackSession::create(
        video, nullptr, SKYLPlayerSDKManager::sharedManager().makePlayer());
    session->setSessionCommonProperties(properties);
    if (shouldLoadVideo_) session->load();
    sessions.push_back(std::move(session));
  }
  if (withListener) withListener->deliverSessions(sessions);
  return sessions;
}

}  // namespace skylark
