#pragma once

#include <map>
#include <string>

#include "platform/MediaTime.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A marked position of a video's content, such as an ad slot
// (kSKYLCuePointTypeAdSlot) at a content time.
struct SKYLCuePoint {
  std::string type;
  MediaTime position;
  std::map<std::string, std::string> properties;

  bool operator==(const SKYLCuePoint&) const = default;
};

}  // namespace skylark
