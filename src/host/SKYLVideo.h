#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/SKYLCuePoint.h"
#include "host/SKYLSource.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A video as the application describes it: sources to choose from, cue
// points, properties (the identifier under kSKYLVideoPropertyKeyIdentifier)
// and, for a live SSAI stream, the source to use as it is. Shared between
// the application and the sessions; changed only on the main queue.
class SKYLVideo {
 public:
  using Properties = std::map<std::string, std::string>;

  static std::shared_ptr<SKYLVideo> initWithSources(
      std::vector<std::shared_ptr<SKYLSource>> sources, std::vector<SKYLCuePoint> cuePoints = {},
      Properties properties = {});

  const std::vector<std::shared_ptr<SKYLSource>>& sources() const { return sources_; }
  const std::vector<SKYLCuePoint>& cuePoints() const { return cuePoints_; }
  const Properties& properties() const { return properties_; }
  std::optional<std::string> identifier() const;

  const std::shared_ptr<SKYLSource>& liveSSAISource() const { return liveSSAISource_; }
  void setLiveSSAISource(std::shared_ptr<SKYLSource> source) {
    liveSSAISource_ = std::move(source);
  }

  // False once the stream's signed manifest address has expired.
  bool manifestTTLIsValid() const { return manifestTTLIsValid_; }
  void setManifestTTLIsValid(bool valid) { manifestTTLIsValid_ = valid; }

  bool isUsingSSAIPlugin() const { return usingSSAIPlugin_; }
  void setIsUsingSSAIPlugin(bool using_) { usingSSAIPlugin_ = using_; }

  // The duration property in milliseconds, once known.
  std::optional<int64_t> durationMilliseconds() const { return durationMilliseconds_; }
  void setDurationMilliseconds(std::optional<int64_t> ms) { durationMilliseconds_ = ms; }

  // A copy with other cue points and, when given, other sources.
  std::shared_ptr<SKYLVideo> update(
      std::vector<SKYLCuePoint> cuePoints,
      std::optional<std::vector<std::shared_ptr<SKYLSource>>> sources = std::nullopt) const;

 private:
  SKYLVideo() = default;

  std::vector<std::shared_ptr<SKYLSource>> sources_;
  std::vector<SKYLCuePoint> cuePoints_;
  Properties properties_;
  std::shared_ptr<SKYLSource> liveSSAISource_;
  bool manifestTTLIsValid_ = true;
  bool usingSSAIPlugin_ = false;
  std::optional<int64_t> durationMilliseconds_;
};

}  // namespace skylark
