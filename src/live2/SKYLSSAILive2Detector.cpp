#include "live2/SKYLSSAILive2Detector.h"

#include "platform/ASCIICase.h"

#include <algorithm>
#include <cctype>

#include "platform/ThreadAnnotations.h"

namespace skylark {
namespace {

struct EndpointHosts {
  Mutex mutex;
  std::pair<std::string, std::string> productionAndQA SKYL_GUARDED_BY(mutex){
      kSKYLSSAILive2ProductionHost, kSKYLSSAILive2QAHost};
};

EndpointHosts& endpointHostsSlot() {
  static EndpointHosts hosts;
  return hosts;
}

}  // namespace

void SKYLSSAILive2Detector::setEndpointHosts(std::string production, std::string qa) {
  EndpointHosts& hosts = endpointHostsSlot();
  MutexLock lock(hosts.mutex);
  hosts.productionAndQA = {lowercaseASCII(std::move(production)), lowercaseASCII(std::move(qa))};
}

std::pair<std::string, std::string> SKYLSSAILive2Detector::endpointHosts() {
  EndpointHosts& hosts = endpointHostsSlot();
  MutexLock lock(hosts.mutex);
  return hosts.productionAndQA;
}

bool SKYLSSAILive2Detector::matchesHostname(const std::optional<URL>& url) {
  if (!url) return false;
  const std::string host = lowercaseASCII(url->host());
  if (host.empty()) return false;
  const auto [production, qa] = endpointHosts();
  return host == production || host == qa;
}

bool SKYLSSAILive2Detector::isJWTShaped(const std::optional<std::string>& token) {
  if (!token || token->rfind("eyJ", 0) != 0) return false;
  return std::count(token->begin(), token->end(), '.') == 2;
}

bool SKYLSSAILive2Detector::isLegacyVela(const std::optional<URL>& url) {
  return url && url->absoluteString().find("_ssaiM") != std::string::npos;
}

bool SKYLSSAILive2Detector::isLive2(const std::optional<URL>& sourceURL,
                                    const std::optional<std::string>& playbackToken,
                                    SKYLSSAILive2DetectionRule rule) {
  switch (rule) {
    case SKYLSSAILive2DetectionRule::hostnameOnly:
      return matchesHostname(sourceURL);
    case SKYLSSAILive2DetectionRule::tokenOnly:
      return isJWTShaped(playbackToken);
    case SKYLSSAILive2DetectionRule::hostnameOrToken:
      return matchesHostname(sourceURL) || isJWTShaped(playbackToken);
  }
  return false;
}

}  // namespace skylark
