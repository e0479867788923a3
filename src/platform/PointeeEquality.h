#pragma once

#include <memory>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Two shared objects compare equal when both are null or their values are
// equal, as the model's equality treats nil.
template <typename T>
bool pointeesEqual(const std::shared_ptr<T>& a, const std::shared_ptr<T>& b) {
  if (a == b) return true;
  return a && b && *a == *b;
}

}  // namespace skylark
