#pragma once

#include <string>
#include <vector>

#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The VAST ViewableImpression lists of one ad. Filled by the document
// parser, then shared read-only with the ad.
struct SKYLViewableImpressionCollection {
  std::vector<URL> viewableImpressionURLs;
  std::vector<URL> notViewableImpressionURLs;
  std::vector<URL> viewUndeterminedImpressionURLs;

  // Which list fires with the ad's impression: an ad tracked by the server
  // reports "undetermined"; a client-tracked ad with no impression URLs
  // "not viewable"; otherwise "viewable".
  const std::vector<URL>& URLsForImpression(bool clientOnlyTracking, bool hasImpressionURLs) const;

  bool operator==(const SKYLViewableImpressionCollection&) const = default;
  std::string description() const;
};

}  // namespace skylark
