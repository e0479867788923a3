#include "measurement/SKYLViewableImpressionCollection.h"

#include "platform/Description.h"

namespace skylark {

const std::vector<URL>& SKYLViewableImpressionCollection::URLsForImpression(
    bool clientOnlyTracking, bool hasImpressionURLs) const {
  if (!clientOnlyTracking) return viewUndeterminedImpressionURLs;
  if (!hasImpressionURLs) return notViewableImpressionURLs;
  return viewableImpressionURLs;
}

std::string SKYLViewableImpressionCollection::description() const {
  return descriptionHeader("SKYLViewableImpressionCollection", this) +
         " viewable = " + describeList(viewableImpressionURLs) + ";" +
         " notViewable = " + describeList(notViewableImpressionURLs) + ";" +
         " viewUndetermined = " + describeList(viewUndeterminedImpressionURLs) + ";>";
}

}  // namespace skylark
