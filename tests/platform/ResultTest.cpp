#include "platform/Result.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace skylark {
namespace {

Result<int> parsed(const std::string& text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
    return SKYLError("test", 1, "not a number: " + text);
  }
  return std::stoi(text);
}

// Adds two numbers, passing the first failure up.
Result<int> sum(const std::string& a, const std::string& b) {
  SKYL_ASSIGN_OR_RETURN(const int first, parsed(a));
  int second = 0;
  SKYL_ASSIGN_OR_RETURN(second, parsed(b));
  return first + second;
}

Result<void> check(const std::string& a) {
  SKYL_RETURN_IF_ERROR(parsed(a));
  return {};
}

TEST(ResultTest, ErrorsPassUpAndValuesAssign) {
  struct Case {
    std::string a, b;
    std::optional<int> value;
    std::string error;
  };
  for (const auto& c : std::vector<Case>{{"2", "40", 42, ""},
                                         {"x", "40", std::nullopt, "not a number: x"},
                                         {"2", "", std::nullopt, "not a number: "}}) {
    const auto result = sum(c.a, c.b);
    ASSERT_EQ(result.ok(), c.value.has_value()) << c.a << "+" << c.b;
    if (c.value) {
      EXPECT_EQ(*result, *c.value);
    } else {
      EXPECT_EQ(result.error().localizedDescription, c.error);
    }
  }
  EXPECT_TRUE(check("7").ok());
  EXPECT_FALSE(check("seven").ok());
}

}  // namespace
}  // namespace skylark
