#include "platform/StringFormat.h"

#include <gtest/gtest.h>

#include "platform/MediaTime.h"

namespace skylark {
namespace {

TEST(StringFormatTest, FormatsObjectStylePlaceholders) {
  struct Case {
    std::string result;
    std::string expected;
  };
  const std::optional<std::string> nothing;
  const Case cases[] = {
      {formatObjC("a `%@` b", {"x"}), "a `x` b"},
      {formatObjC("%@ and %ld and %lu", {"s", -3, 7u}), "s and -3 and 7"},
      {formatObjC("100%% of `%@`", {"t"}), "100% of `t`"},
      {formatObjC("%.3f|%f", {2.5, 1}), "2.500|1.000000"},
      {formatObjC("%@ %@", {nullptr, nothing}), "(null) (null)"},
      {formatObjC("%@ %@", {"only"}), "only (null)"},
      {formatObjC("%@", {MediaTime::make(1, 2)}), "{1/2 = 0.500}"},
      {formatObjC("%@", {true}), "YES"},
      // A percent sign inside an argument is never read as a placeholder.
      {formatObjC("%@", {"50%d %@"}), "50%d %@"},
      {formatObjC("trailing %", {}), "trailing %"},
      {formatObjC("odd %q", {"x"}), "odd %q"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.result, c.expected);
}

}  // namespace
}  // namespace skylark
