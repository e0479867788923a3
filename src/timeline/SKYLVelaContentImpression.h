#pragma once

#include <optional>
#include <string>

#include "platform/Description.h"
#include "platform/Hashing.h"
#include "platform/MediaTime.h"
#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A beacon of the content itself, due when playback reaches a content time.
class SKYLVelaContentImpression {
 public:
  SKYLVelaContentImpression(std::optional<URL> url, MediaTime atLogicalTime)
      : url_(std::move(url)), logicalTime_(atLogicalTime) {}

  const std::optional<URL>& url() const { return url_; }
  const MediaTime& logicalTime() const { return logicalTime_; }

  bool operator==(const SKYLVelaContentImpression& other) const {
    return url_ == other.url_ && logicalTime_ == other.logicalTime_;
  }
  size_t hash() const {
    return hashStep(hashStep(1, url_ ? url_->hash() : 0), hashFromDouble(logicalTime_.seconds()));
  }
  std::string description() const {
    return descriptionHeader("SKYLVelaContentImpression", this) + " url = " + describe(url_) + ";" +
           " logicalTime = " + logicalTime_.description() + ";>";
  }

 private:
  std::optional<URL> url_;
  MediaTime logicalTime_;
};

}  // namespace skylark
