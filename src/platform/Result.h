#pragma once

#include <cassert>
#include <utility>
#include <variant>

#include "platform/SKYLError.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// A value or the error that prevented it: the one result shape of every
// fallible operation (the library throws nothing across its interface).
// The error is the platform's SKYLError unless a subsystem has its own.
template <typename T, typename E = SKYLError>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}  // NOLINT: implicit
  Result(E error) : state_(std::in_place_index<1>, std::move(error)) {}  // NOLINT

  bool ok() const { return state_.index() == 0; }
  explicit operator bool() const { return ok(); }

  T& value() & {
    assert(ok());
    return std::get<0>(state_);
  }
  const T& value() const& {
    assert(ok());
    return std::get<0>(state_);
  }
  T&& value() && {
    assert(ok());
    return std::get<0>(std::move(state_));
  }
  const E& error() const {
    assert(!ok());
    return std::get<1>(state_);
  }

  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  T& operator*() & { return value(); }
  const T& operator*() const& { return value(); }

 private:
  std::variant<T, E> state_;
};

// The result of an operation that yields nothing but may fail.
template <>
class [[nodiscard]] Result<void, SKYLError> {
 public:
  Result() = default;
  Result(SKYLError error) : error_(std::move(error)), failed_(true) {}  // NOLINT: implicit

  bool ok() const { return !failed_; }
  explicit operator bool() const { return ok(); }
  const SKYLError& error() const {
    assert(failed_);
    return error_;
  }

 private:
  SKYLError error_;
  bool failed_ = false;
};

}  // namespace skylark

// Returns the error of a failed Result from the enclosing function.
#define SKYL_RETURN_IF_ERROR(expr)                                              \
  do {                                                                          \
    if (auto skyl_result_ = (expr); !skyl_result_) return skyl_result_.error(); \
  } while (false)

// Declares or assigns `lhs` from the value of a Result, or returns its
// error from the enclosing function:
//   SKYL_ASSIGN_OR_RETURN(SKYLVelaAdBuilder builder, parseAd(element));
#define SKYL_ASSIGN_OR_RETURN(lhs, expr) \
  SKYL_ASSIGN_OR_RETURN_IMPL_(SKYL_RESULT_CONCAT_(skyl_result_, __LINE__), lhs, expr)
#define SKYL_ASSIGN_OR_RETURN_IMPL_(result, lhs, expr) \
  auto result = (expr);                                \
  if (!result.ok()) return result.error();             \
  lhs = std::move(result).value()
#define SKYL_RESULT_CONCAT_(a, b) SKYL_RESULT_CONCAT_INNER_(a, b)
#define SKYL_RESULT_CONCAT_INNER_(a, b) a##b
