#include "platform/NumberParser.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace skylark {
namespace {

TEST(NumberParserTest, DecimalAcceptsOnlyWholeNumbers) {
  struct Case {
    std::string text;
    std::optional<double> expected;
  };
  const Case cases[] = {
      {"05", 5},           {"05.5", 5.5},           {"0.125", 0.125},
      {"1234567", 1234567}, {".", std::nullopt},     {"", std::nullopt},
      {"12abc", std::nullopt}, {"1,000", std::nullopt}, {"5%", std::nullopt},
      {std::string("5\0", 2), std::nullopt},
      {"\xff\xfe", std::nullopt},
      {"NaN", std::nullopt},   {"\xe2\x88\x9e", std::nullopt}, {"-\xe2\x88\x9e", std::nullopt},
      {"1e400", std::nullopt}, {std::string(63, '0') + "7", 7},
      {std::string(65, '1'), std::nullopt}, {std::string(9'000'000, '1'), std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(NumberParser::decimalEnUS().parse(c.text), c.expected) << c.text;
  }
}

TEST(NumberParserTest, PercentReadsAFraction) {
  struct Case {
    std::string text;
    std::optional<double> expected;
  };
  const Case cases[] = {
      {"25%", 0.25}, {"100%", 1.0}, {"12.5%", 0.125},
      {"00:00:05", std::nullopt}, {"abc", std::nullopt}, {"", std::nullopt},
      {"NaN%", std::nullopt}, {std::string(9'000'000, '1') + "%", std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(NumberParser::percentEnUS().parse(c.text), c.expected) << c.text;
  }
}

TEST(NumberParserTest, SharedParserIsReadFromManyThreads) {
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&wrong, i] {
      for (int n = 0; n < 500; ++n) {
        const auto text = std::to_string(i * 1000 + n) + ".5";
        if (NumberParser::decimalEnUS().parse(text) != i * 1000 + n + 0.5) ++wrong;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
}  // namespace skylark
