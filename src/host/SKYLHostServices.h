#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/SKYLSource.h"
#include "host/SKYLVideo.h"
#include "platform/Result.h"
#include "platform/SKYLError.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Services of the host SDK that an application (or a test) may replace:
// refreshing an expired signed manifest address, telling encrypted HLS
// apart, and logging object lifetimes.
struct SKYLHostServices {
  // Nothing, or why the address could not be renewed.
  using TTLCompletion = std::function<void(Result<void> renewed)>;
  using UpdateManifestURLTTLToken =
      std::function<void(const std::shared_ptr<SKYLVideo>& video,
                         const std::shared_ptr<SKYLSource>& source, TTLCompletion completion)>;
  // Given kSKYLSourceURLKey and kSKYLSourcePropertyKeyEncryption entries.
  using SourceIsHLSe = std::function<bool(const std::map<std::string, std::string>& source)>;

  static SKYLHostServices& shared();

  // Default: marks the video's manifest valid again and completes at once.
  UpdateManifestURLTTLToken updateManifestURLTTLTokenForVideo;
  // Default: a source with a non-empty encryption entry is encrypted HLS.
  SourceIsHLSe sourceIsHLSe;

  // The deallocation logger: one verbose host log line per object.
  static void logDeallocation(const std::string& className, const void* object);
};

}  // namespace skylark
