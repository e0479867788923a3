#include "entry/SKYLSSAIAdditions.h"

#include "entry/SKYLSSAIComponent.h"
#include "session/SKYLVUXSession.h"

namespace skylark {
namespace {

// The plug-in's session that answers `selector` for the extension's
// session: that session itself, or the one it forwards to when it is a
// decorator of the application's (or a chain of them); null when the
// extension has no session or it does not answer.
SKYLVUXSession* sessionAnswering(const SKYLSessionProviderExtension& extension,
                                 std::string_view selector, bool& hasSession) {
  const auto session = extension.playbackSession();
  hasSession = session != nullptr;
  if (!session || !session->respondsToSelector(selector)) return nullptr;
  for (SKYLPlaybackSession* answering = session.get(); answering;
       answering = answering->forwardingTarget()) {
    if (auto* plugin = dynamic_cast<SKYLVUXSession*>(answering)) return plugin;
  }
  return nullptr;
}

}  // namespace

std::shared_ptr<SKYLPlaybackController> createSSAIPlaybackController(
    SKYLPlayerSDKManager& manager) {
  return createSSAIPlaybackControllerWithViewStrategy(manager, nullptr);
}

std::shared_ptr<SKYLPlaybackController> createSSAIPlaybackControllerWithViewStrategy(
    SKYLPlayerSDKManager& manager, SKYLPlayerSDKManager::ViewStrategy viewStrategy) {
  manager.registerComponent(std::make_shared<SKYLSSAIComponent>());
  // One component per factory call: the provider is made here without a
  // second registration.
  auto provider = SKYLVUXSessionProvider::initWithOptions(nullptr, nullptr);
  return manager.createPlaybackControllerWithSessionProvider(std::move(provider),
                                                             std::move(viewStrategy));
}

std::shared_ptr<SKYLVUXSessionProvider> createSSAISessionProviderWithUpstreamSessionProvider(
    SKYLPlayerSDKManager& manager, std::shared_ptr<SKYLSessionProvider> upstream) {
  return createSSAISessionProviderWithUpstreamSessionProvider(manager, std::move(upstream),
                                                              nullptr);
}

std::shared_ptr<SKYLVUXSessionProvider> createSSAISessionProviderWithUpstreamSessionProvider(
    SKYLPlayerSDKManager& manager, std::shared_ptr<SKYLSessionProvider> upstream,
    const SKYLVUXSessionProviderOptions* options) {
  manager.registerComponent(std::make_shared<SKYLSSAIComponent>());
  // A copy: the application's options object may change afterwards.
  auto copied = options ? std::make_shared<const SKYLVUXSessionProviderOptions>(*options) : nullptr;
  return SKYLVUXSessionProvider::initWithOptions(std::move(copied), std::move(upstream));
}

bool ssai_canSeek(const SKYLSessionProviderExtension& extension) {
  bool hasSession = false;
  const auto* session = sessionAnswering(extension, "canSeek", hasSession);
  return session && session->canSeek();
}

void ssai_seekToTime(const SKYLSessionProviderExtension& extension, const MediaTime& time,
                     std::function<void(bool finished)> completionHandler) {
  bool hasSession = false;
  auto* session = sessionAnswering(extension, "seekToTime:completionHandler:", hasSession);
  if (!session) return;
  session->seekToTime(time, std::move(completionHandler));
}

MediaTime ssai_absoluteTimeAtContentTime(const SKYLSessionProviderExtension& extension,
                                         const MediaTime& contentTime) {
  bool hasSession = false;
  const auto* session = sessionAnswering(extension, "absoluteTimeAtContentTime:", hasSession);
  if (!hasSession) return MediaTime();
  return session ? session->absoluteTimeAtContentTime(contentTime) : MediaTime::zero();
}

MediaTime ssai_contentTimeAtAbsoluteTime(const SKYLSessionProviderExtension& extension,
                                         const MediaTime& absoluteTime) {
  bool hasSession = false;
  const auto* session = sessionAnswering(extension, "contentTimeAtAbsoluteTime:", hasSession);
  if (!hasSession) return MediaTime();
  return session ? session->contentTimeAtAbsoluteTime(absoluteTime) : MediaTime::zero();
}

}  // namespace skylark
