#include "host/SKYLVideo.h"

#include "host/SKYLHostConstants.h"

namespace skylark {

std::shared_ptr<SKYLVideo> SKYLVideo::initWithSources(
    std::vector<std::shared_ptr<SKYLSource>> sources, std::vector<SKYLCuePoint> cuePoints,
    Properties properties) {
  std::shared_ptr<SKYLVideo> video(new SKYLVideo);
  video->sources_ = std::move(sources);
  video->cuePoints_ = std::move(cuePoints);
  video->properties_ = std::move(properties);
  return video;
}

std::optional<std::string> SKYLVideo::identifier() const {
  const auto found = properties_.find(std::string(kSKYLVideoPropertyKeyIdentifier));
  if (found == properties_.end()) return std::nullopt;
  return found->second;
}

std::shared_ptr<SKYLVideo> SKYLVideo::update(
    std::vector<SKYLCuePoint> cuePoints,
    std::optional<std::vector<std::shared_ptr<SKYLSource>>> sources) const {
  std::shared_ptr<SKYLVideo> copy(new SKYLVideo(*this));
  copy->cuePoints_ = std::move(cuePoints);
  if (sources) copy->sources_ = std::move(*sources);
  return copy;
}

}  // namespace skylark
