#pragma once

#include <string>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// The value of an XPath expression that is not a node set (count(), a
// comparison, string()...), in its three readings.
struct SKYLVelaXPathFunctionResult {
  bool boolValue = false;
  double numericValue = 0;
  std::string stringValue;
};

}  // namespace skylark
