#include "host/SKYLHostServices.h"

#include "host/SKYLHostConstants.h"
#include "host/SKYLHostLog.h"

namespace skylark {

SKYLHostServices& SKYLHostServices::shared() {
  static auto* services = [] {
    auto* made = new SKYLHostServices;  // lives as long as the process
    made->updateManifestURLTTLTokenForVideo = [](const std::shared_ptr<SKYLVideo>& video,
                                                 const std::shared_ptr<SKYLSource>&,
                                                 TTLCompletion completion) {
      if (video) video->setManifestTTLIsValid(true);
      if (completion) completion(Result<void>());
    };
    made->sourceIsHLSe = [](const std::map<std::string, std::string>& source) {
      const auto found = source.find(std::string(kSKYLSourcePropertyKeyEncryption));
      return found != source.end() && !found->second.empty();
    };
    return made;
  }();
  return *services;
}

void SKYLHostServices::logDeallocation(const std::string& className, const void* object) {
  SKYLHostLog(6, "dealloc %@ %@", className, object);
}

}  // namespace skylark
