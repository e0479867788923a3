#pragma once

#include <functional>
#include <memory>

#include "entry/SKYLVUXSessionProvider.h"
#include "entry/SKYLVUXSessionProviderOptions.h"
#include "host/SKYLPlayerSDKManager.h"
#include "host/SKYLSessionProviderExtension.h"
#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The plug-in's additions to the host's manager: each factory registers a
// fresh SKYLSSAIComponent, then makes an SKYLVUXSessionProvider (options
// copied; defaults for null arguments).
std::shared_ptr<SKYLPlaybackController> createSSAIPlaybackController(SKYLPlayerSDKManager& manager);
std::shared_ptr<SKYLPlaybackController> createSSAIPlaybackControllerWithViewStrategy(
    SKYLPlayerSDKManager& manager, SKYLPlayerSDKManager::ViewStrategy viewStrategy);
std::shared_ptr<SKYLVUXSessionProvider> createSSAISessionProviderWithUpstreamSessionProvider(
    SKYLPlayerSDKManager& manager, std::shared_ptr<SKYLSessionProvider> upstream);
std::shared_ptr<SKYLVUXSessionProvider> createSSAISessionProviderWithUpstreamSessionProvider(
    SKYLPlayerSDKManager& manager, std::shared_ptr<SKYLSessionProvider> upstream,
    const SKYLVUXSessionProviderOptions* options);

// The plug-in's additions to the provider extension: each asks the session
// playing whether it implements the operation and forwards to it.
bool ssai_canSeek(const SKYLSessionProviderExtension& extension);
// Without seeking, nothing happens and the completion is never called.
void ssai_seekToTime(const SKYLSessionProviderExtension& extension, const MediaTime& time,
                     std::function<void(bool finished)> completionHandler);
// Zero for a session without time mapping; the all-zero (invalid) time
// with no session.
MediaTime ssai_absoluteTimeAtContentTime(const SKYLSessionProviderExtension& extension,
                                         const MediaTime& contentTime);
MediaTime ssai_contentTimeAtAbsoluteTime(const SKYLSessionProviderExtension& extension,
                                         const MediaTime& absoluteTime);

}  // namespace skylark
