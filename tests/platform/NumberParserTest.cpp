#include "platform/NumberParser.h"

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/unum.h>

namespace skylark {
namespace {

TEST(NumberParserTest, DecimalAcceptsOnlyWholeNumbers) {
  struct Case {
    std::string text;
    std::optional<double> expected;
  };
  const Case cases[] = {
      {"05", 5},
      {"05.5", 5.5},
      {"0.125", 0.125},
      {"1234567", 1234567},
      {".", std::nullopt},
      {"", std::nullopt},
      {"12abc", std::nullopt},
      {"1,000", std::nullopt},
      {"5%", std::nullopt},
      {std::string("5\0", 2), std::nullopt},
      {"\xff\xfe", std::nullopt},
      {"NaN", std::nullopt},
      {"\xe2\x88\x9e", std::nullopt},
      {"-\xe2\x88\x9e", std::nullopt},
      {"1e400", std::nullopt},
      {std::string(63, '0') + "7", 7},
      {std::string(65, '1'), std::nullopt},
      {std::string(9'000'000, '1'), std::nullopt},
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
      {"25%", 0.25},          {"100%", 1.0},
      {"12.5%", 0.125},       {"00:00:05", std::nullopt},
      {"abc", std::nullopt},  {"", std::nullopt},
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

// Reads `count` texts made by `make` (given a pseudo-random source) with
// `parser` and with ICU's reader of `style`: the values must agree to the bit.
template <typename Make>
void expectReadsAsICU(UNumberFormatStyle style, bool grouping, const NumberParser& parser,
                      uint64_t seed, int count, Make make) {
  UErrorCode status = U_ZERO_ERROR;
  UNumberFormat* icu = unum_open(style, nullptr, 0, "en_US", nullptr, &status);
  ASSERT_TRUE(U_SUCCESS(status));
  if (!grouping) unum_setAttribute(icu, UNUM_GROUPING_USED, 0);
  uint64_t state = seed;
  auto next = [&] {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return state >> 33;
  };
  for (int i = 0; i < count; ++i) {
    const std::string text = make(next);
    std::u16string utf16(text.begin(), text.end());
    int32_t position = 0;
    status = U_ZERO_ERROR;
    const double expected =
        unum_parseDouble(icu, utf16.data(), static_cast<int32_t>(utf16.size()), &position, &status);
    ASSERT_TRUE(U_SUCCESS(status)) << text;
    const auto value = parser.parse(text);
    ASSERT_TRUE(value) << text;
    EXPECT_EQ(std::memcmp(&*value, &expected, sizeof expected), 0)
        << text << " " << *value << " " << expected;
  }
  unum_close(icu);
}

// Plain decimals are read without ICU; the value must be ICU's, to the bit.
TEST(NumberParserTest, PlainDecimalsReadAsICUReadsThem) {
  expectReadsAsICU(UNUM_DECIMAL, false, NumberParser::decimalEnUS(), 42, 20000, [](auto& next) {
    std::string text = (next() % 4 == 0 ? "-" : "") + std::to_string(next() % 100000);
    if (next() % 2) text += "." + std::to_string(next() % 1000000000);
    return text;
  });
}

// Plain percents ("12.5%") are read without ICU too, to ICU's bit.
TEST(NumberParserTest, PlainPercentsReadAsICUReadsThem) {
  expectReadsAsICU(UNUM_PERCENT, true, NumberParser::percentEnUS(), 7, 5000, [](auto& next) {
    std::string text = (next() % 4 == 0 ? "-" : "") + std::to_string(next() % 1000);
    if (next() % 2) text += "." + std::to_string(next() % 100000);
    return text + "%";
  });
}

}  // namespace
}  // namespace skylark
