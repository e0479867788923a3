#include "entry/SKYLVUXSessionProvider.h"

#include "host/SKYLBasicPlaybackSession.h"
#include "host/SKYLBasicSessionProvider.h"
#include "host/SKYLErrorSession.h"
#include "host/SKYLHostConstants.h"
#include "host/SKYLHostLog.h"
#include "host/SKYLPlayerSDKManager.h"
#include "platform/ASCIICase.h"
#include "session/SKYLVUXSession.h"
#include "timeline/SKYLSSAIConstants.h"

namespace skylark {
namespace {

constexpr double kResolvedSessionLifetimeSeconds = 30.0;

std::optional<std::string> property(const SKYLSource& source, std::string_view key) {
  const auto found = source.properties().find(std::string(key));
  if (found == source.properties().end()) return std::nullopt;
  return found->second;
}

// A leading integer, as the platform reads one from text ("4", " 12abc");
// 0 when there is none.
int64_t integerValue(const std::optional<std::string>& text) {
  if (!text) return 0;
  try {
    return std::stoll(*text);
  } catch (const std::exception&) {
    return 0;
  }
}

std::optional<URL> vmapURL(const SKYLSource& source) {
  const auto text = property(source, kSKYLSourcePropertyKeyVMAP);
  return text ? URL::parse(*text) : std::nullopt;
}

}  // namespace

std::shared_ptr<SKYLVUXSessionProvider> SKYLVUXSessionProvider::initWithOptions(
    std::shared_ptr<const SKYLVUXSessionProviderOptions> options,
    std::shared_ptr<SKYLSessionProvider> upstreamSessionProvider) {
  if (!options) options = std::make_shared<const SKYLVUXSessionProviderOptions>();
  if (!upstreamSessionProvider)
    upstreamSessionProvider = std::make_shared<SKYLBasicSessionProvider>();
  return std::shared_ptr<SKYLVUXSessionProvider>(
      new SKYLVUXSessionProvider(std::move(options), std::move(upstreamSessionProvider)));
}

SKYLVUXSessionProvider::SKYLVUXSessionProvider(
    std::shared_ptr<const SKYLVUXSessionProviderOptions> options,
    std::shared_ptr<SKYLSessionProvider> upstream)
    : upstream_(std::move(upstream)),
      options_(std::move(options)),
      environment_(SessionEnvironment::make(
          {options_->clock(), options_->urlSession(), options_->beaconTransport()})) {
  // The plug-in session, not the upstream one, decides when the stream loads.
  upstream_->setShouldLoadVideo(false);
}

SKYLVUXSessionProvider::~SKYLVUXSessionProvider() { kvoManager_.stopObserving(); }

std::vector<std::shared_ptr<SKYLPlaybackSession>> SKYLVUXSessionProvider::playbackSessionsForVideos(
    const std::vector<std::shared_ptr<SKYLVideo>>& videos,
    const std::shared_ptr<SKYLSessionListener>& withListener) {
  preparedSessionsCount_ = 0;
  listener_ = withListener;
  videosCount_ = static_cast<int64_t>(videos.size());
  sessions_.clear();
  sessions_.reserve(videos.size());
  processSessions(upstream_->playbackSessionsForVideos(videos, shared_from_this()));
  return {};
}

void SKYLVUXSessionProvider::setSessionCommonProperties(
    const std::shared_ptr<SKYLSessionCommonProperties>& properties) {
  sessionCommonProperties_ = properties;
  if (properties) properties->sourceSelectionPolicy = sourceSelectionPolicy();
  upstream_->setSessionCommonProperties(properties);
}

void SKYLVUXSessionProvider::processSessions(
    const std::vector<std::shared_ptr<SKYLPlaybackSession>>& sessions) {
  if (!processingSessions_.empty()) return;  // a batch is under way
  size_t wrapped = 0;
  std::weak_ptr<SKYLVUXSessionProvider> weak = shared_from_this();
  for (const auto& upstream : sessions) {
    if (dynamic_cast<SKYLErrorSession*>(upstream.get())) {
      processingSessions_.push_back(upstream);
      continue;
    }
    auto session =
        SKYLVUXSession::initWithUpstreamSession(upstream, options_->httpHeaders(), environment_);
    session->setOptions(options_->sessionOptions());
    session->setMeridianLiveDetection(options_->meridianLiveDetection());
    session->setLive2AdsParams(options_->live2AdsParams());
    session->setLive2ResolvedSessionLookup([weak](const URL& sourceURL) {
      const auto self = weak.lock();
      return self ? self->live2ResolvedSessionForSourceURL(sourceURL) : nullptr;
    });
    session->setLive2ResolvedSessionRecorder(
        [weak](const URL& sourceURL, const URL& manifestURL, const URL& trackingURL) {
          if (const auto self = weak.lock()) {
            self->recordLive2ResolvedSessionForSourceURL(sourceURL, manifestURL, trackingURL);
          }
        });
    std::weak_ptr<SKYLVUXSession> weakSession = session;
    kvoManager_.startObserving<int64_t>(
        session->loadState(),
        [weak, weakSession](int64_t state) {
          const auto self = weak.lock();
          const auto loaded = weakSession.lock();
          if (self && loaded && (state == 2 || state == 3))
            self->finishPreparingSession(loaded, state);
        },
        false);
    processingSessions_.push_back(session);
    ++wrapped;
    session->load();
  }
  if (wrapped == 0) {
    if (const auto listener = listener_.lock()) listener->deliverSessions(sessions_);
  }
}

void SKYLVUXSessionProvider::finishPreparingSession(const std::shared_ptr<SKYLVUXSession>& session,
                                                    int64_t state) {
  if (state == 2) {
    sessions_.push_back(session);
  } else {
    SKYLError error(std::string(kSKYLSSAIErrorDomain), kSKYLSSAIErrorCodeTimelineLoadError);
    if (session->loadError()) error.withUnderlyingError(*session->loadError());
    auto event = SKYLPlaybackSessionLifecycleEvent::eventWithType(
        kSKYLSSAILifecycleErrorEvent,
        {{std::string(kSKYLSSAILifecycleEventPropertiesKeyError), error}});
    sessions_.push_back(SKYLErrorSession::initWithPlaybackSession(session, std::move(event)));
  }
  ++preparedSessionsCount_;
  if (static_cast<int64_t>(preparedSessionsCount_) == videosCount_) {
    processingSessions_.clear();  // ready for the next batch
    if (const auto listener = listener_.lock()) listener->deliverSessions(sessions_);
  }
}

// Source selection ------------------------------------------------------------

SKYLSessionCommonProperties::SourceSelectionPolicy SKYLVUXSessionProvider::sourceSelectionPolicy() {
  auto self = shared_from_this();
  return [self](const SKYLVideo& video) { return self->selectSource(video); };
}

std::shared_ptr<SKYLSource> SKYLVUXSessionProvider::selectSource(const SKYLVideo& video) {
  if (video.liveSSAISource()) return video.liveSSAISource();
  const auto& sources = video.sources();
  if (sources.size() == 1) {
    const auto& method = sources.front()->deliveryMethod();
    if (!method || equalsIgnoringASCIICase(*method, kSKYLDeliveryHLS) ||
        equalsIgnoringASCIICase(*method, kSKYLDeliveryVela) ||
        equalsIgnoringASCIICase(*method, kSKYLDeliveryFlintSSAI)) {
      return sources.front();
    }
  }
  // The FlintSSAI source of the highest EXT-X-VERSION whose VMAP URL has
  // the scheme; ties keep the earlier. Also tells whether the last source
  // examined had a VMAP URL at all.
  bool lastHadVMAP = false;
  auto pass = [&](std::string_view scheme) -> std::shared_ptr<SKYLSource> {
    std::shared_ptr<SKYLSource> best;
    int64_t bestVersion = -1;
    for (const auto& source : sources) {
      const auto vmap = vmapURL(*source);
      lastHadVMAP = vmap.has_value();
      if (!source->deliveryMethod() || !vmap || vmap->scheme() != scheme ||
          *source->deliveryMethod() != kSKYLDeliveryFlintSSAI) {
        continue;
      }
      const int64_t version = integerValue(property(*source, kSKYLSourcePropertyKeyEXTXVersion));
      if (version > bestVersion) {
        bestVersion = version;
        best = source;
      }
    }
    return best;
  };
  auto winner = pass("https");
  if (!winner) {
    winner = pass("http");
    if (sources.empty() || !lastHadVMAP) addMissingVMAPErrorSession(video);
    if (!winner) return nullptr;
  }
  auto properties = winner->properties();
  properties["original_source_url"] = winner->url() ? winner->url()->absoluteString() : "";
  return SKYLSource::initWithURL(vmapURL(*winner), std::string(kSKYLDeliveryHLS),
                                 std::move(properties));
}

void SKYLVUXSessionProvider::addMissingVMAPErrorSession(const SKYLVideo& video) {
  SKYLHostLog(1, "Found nil delivery method or nil/missing/malformed VMAP URL in %@",
              "-[SKYLVUXSessionProvider sourceSelectionPolicy]");
  SKYLError error(std::string(kSKYLSSAIErrorDomain), kSKYLSSAIErrorCodeVMAPMissingError,
                  "Found nil delivery method or nil/missing/malformed VMAP URL");
  error.withRecoverySuggestion("Verify KORU response contains a VMAP URL");
  auto event = SKYLPlaybackSessionLifecycleEvent::eventWithType(
      kSKYLPlaybackSessionLifecycleEventFail,
      {{std::string(kSKYLPlaybackSessionLifecycleEventPropertiesKeyError), error}});
  auto player = SKYLPlayerSDKManager::sharedManager().makePlayer();
  const auto view = std::make_shared<SKYLPlayerLayerView>(player, 0, 0);
  (void)view;  // the platform shows the failure in a zero-frame view of its own
  auto basic = SKYLBasicPlaybackSession::create(video.update(video.cuePoints()), nullptr, player);
  sessions_.push_back(SKYLErrorSession::initWithPlaybackSession(basic, std::move(event)));
}

// Resolved live sessions ---------------------------------------------------------

std::shared_ptr<const SKYLSSAILive2ResolvedSession>
SKYLVUXSessionProvider::live2ResolvedSessionForSourceURL(const URL& sourceURL) {
  const std::string& key = sourceURL.absoluteString();
  if (key.empty()) return nullptr;
  const auto found = live2ResolvedSessions_.find(key);
  if (found == live2ResolvedSessions_.end()) return nullptr;
  const double age =
      std::chrono::duration<double>(environment_->clock->now() - found->second->resolvedAt).count();
  if (age > kResolvedSessionLifetimeSeconds) {
    live2ResolvedSessions_.erase(found);
    return nullptr;
  }
  return found->second;
}

void SKYLVUXSessionProvider::recordLive2ResolvedSessionForSourceURL(const URL& sourceURL,
                                                                    const URL& manifestURL,
                                                                    const URL& trackingURL) {
  const std::string& key = sourceURL.absoluteString();
  if (key.empty()) return;
  live2ResolvedSessions_[key] = std::make_shared<const SKYLSSAILive2ResolvedSession>(
      manifestURL, trackingURL, environment_->clock->now());
}

}  // namespace skylark
