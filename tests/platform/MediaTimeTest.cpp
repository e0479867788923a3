#include "platform/MediaTime.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace skylark {
namespace {

constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

MediaTime t(int64_t value, int32_t timescale) { return MediaTime::make(value, timescale); }

TEST(MediaTimeTest, MakeWithSeconds_RoundsToNearestAndMarksRounding) {
  struct Case {
    double seconds;
    int32_t timescale;
    int64_t value;
    bool rounded;
  };
  const Case cases[] = {
      {30, 600, 18000, false},     {62.5, 600, 37500, false}, {1.0 / 3, 600, 200, true},
      {-2.0 / 3, 600, -400, true}, {0.0004, 600, 0, true},    {0.0009, 600, 1, true},
  };
  for (const auto& c : cases) {
    const MediaTime made = MediaTime::makeWithSeconds(c.seconds, c.timescale);
    EXPECT_TRUE(made.isNumeric()) << c.seconds;
    EXPECT_EQ(made.value, c.value) << c.seconds;
    EXPECT_EQ(made.timescale, c.timescale) << c.seconds;
    EXPECT_EQ(made.hasBeenRounded(), c.rounded) << c.seconds;
  }
}

TEST(MediaTimeTest, MakeWithSeconds_NonFiniteAndHugeInputs) {
  EXPECT_FALSE(MediaTime::makeWithSeconds(std::nan(""), 600).isValid());
  EXPECT_TRUE(MediaTime::makeWithSeconds(INFINITY, 600).isPositiveInfinity());
  EXPECT_TRUE(MediaTime::makeWithSeconds(-INFINITY, 600).isNegativeInfinity());
  EXPECT_FALSE(MediaTime::makeWithSeconds(1, 0).isValid());
  // Too large for timescale 600: the timescale shrinks instead of wrapping.
  const MediaTime huge = MediaTime::makeWithSeconds(1e17, 600);
  ASSERT_TRUE(huge.isNumeric());
  EXPECT_LT(huge.timescale, 600);
  EXPECT_DOUBLE_EQ(huge.seconds(), 1e17);
  EXPECT_TRUE(MediaTime::makeWithSeconds(1e300, 600).isPositiveInfinity());
}

TEST(MediaTimeTest, Compare_OrdersEveryState) {
  // -infinity < numeric < indefinite < +infinity < invalid
  const MediaTime ordered[] = {MediaTime::negativeInfinity(),
                               t(-5, 1),
                               t(1, 3),
                               t(201, 600),
                               MediaTime::indefinite(),
                               MediaTime::positiveInfinity(),
                               MediaTime::invalid()};
  for (size_t i = 0; i < std::size(ordered); ++i) {
    for (size_t j = 0; j < std::size(ordered); ++j) {
      const int expected = i < j ? -1 : (i > j ? 1 : 0);
      EXPECT_EQ(compare(ordered[i], ordered[j]), expected) << i << " vs " << j;
    }
  }
  EXPECT_EQ(compare(t(1, 2), t(300, 600)), 0);
  MediaTime laterEpoch = t(0, 1);
  laterEpoch.epoch = 1;
  EXPECT_GT(compare(laterEpoch, t(1000, 1)), 0);
  // Values whose cross products exceed 64 bits still compare exactly.
  EXPECT_LT(compare(t(kMax - 1, 1000000000), t(kMax, 1000000000)), 0);
}

TEST(MediaTimeTest, AddAndSubtract_FollowThePlatformRules) {
  struct Case {
    const char* name;
    MediaTime result;
    MediaTime expected;
  };
  const MediaTime inf = MediaTime::positiveInfinity();
  const MediaTime ninf = MediaTime::negativeInfinity();
  const Case cases[] = {
      {"same timescale", t(600, 600) + t(300, 600), t(900, 600)},
      {"across timescales", t(1, 3) + t(1, 600), t(201, 600)},
      {"subtract", t(5, 1) - t(7, 2), t(3, 2)},
      {"invalid propagates", t(1, 1) + MediaTime::invalid(), MediaTime::invalid()},
      {"indefinite wins over infinity", MediaTime::indefinite() + inf, MediaTime::indefinite()},
      {"inf plus number", inf + t(5, 1), inf},
      {"number minus inf", t(5, 1) - inf, ninf},
      {"inf minus inf", inf - inf, MediaTime::indefinite()},
      {"inf plus -inf", inf + ninf, MediaTime::indefinite()},
      {"-inf minus inf", ninf - inf, ninf},
      {"overflow becomes +inf", t(kMax, 1) + t(1, 1), inf},
      {"underflow becomes -inf", t(kMin, 1) - t(1, 1), ninf},
      {"rescale overflow becomes +inf", t(kMax / 2, 1) + t(1, 600), inf},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(compare(c.result, c.expected), 0)
        << c.name << ": " << c.result.description() << " vs " << c.expected.description();
    EXPECT_EQ(c.result.isValid(), c.expected.isValid()) << c.name;
  }
  const MediaTime sum = t(600, 600) + t(300, 600);
  EXPECT_EQ(sum.value, 900);
  EXPECT_EQ(sum.timescale, 600);
}

TEST(MediaTimeTest, Add_TimescaleBeyondMaximumIsRounded) {
  // Two large primes: their multiple exceeds the maximum timescale.
  const MediaTime sum = t(1, 999999937) + t(1, 999999929);
  ASSERT_TRUE(sum.isNumeric());
  EXPECT_EQ(sum.timescale, MediaTime::kMaxTimescale);
  EXPECT_TRUE(sum.hasBeenRounded());
  EXPECT_NEAR(sum.seconds(), 2e-9, 1e-9);
  // One timescale, but beyond the maximum: rescaled and rounded as well.
  const MediaTime same = t(3, 2'000'000'000) + t(2, 2'000'000'000);
  EXPECT_EQ(same.timescale, MediaTime::kMaxTimescale);
  EXPECT_EQ(same.value, 3);  // 1.5 rounds away from zero to 2, plus 1
  EXPECT_TRUE(same.hasBeenRounded());
  MediaTime otherEpoch = t(1, 1);
  otherEpoch.epoch = 2;
  EXPECT_FALSE((t(1, 1) + otherEpoch).isValid());
}

// Rescaling takes 64-bit arithmetic while the products fit and 128-bit
// beyond; a timescale that is a multiple of the other needs no division.
// Each way must round to nearest, halves away from zero, and say so.
TEST(MediaTimeTest, Rescaling_RoundsAlikeWhateverTheArithmetic) {
  struct Case {
    const char* name;
    MediaTime result;
    int64_t value;
    int32_t timescale;
    bool rounded;
  };
  const Case cases[] = {
      {"multiple: playhead minus timeline time", t(72'600'000, 600'000) - t(600, 600), 72'000'000,
       600'000, false},
      {"multiple, the other way round", t(1, 600) + t(1, 600'000), 1001, 600'000, false},
      {"half rounds up", t(5, 10).convertScale(1), 1, 1, true},
      {"negative half rounds down", t(-5, 10).convertScale(1), -1, 1, true},
      {"below half rounds to zero", t(-4, 10).convertScale(1), 0, 1, true},
      {"exact stays unrounded", t(30, 10).convertScale(1), 3, 1, false},
      {"128-bit half rounds up", t(kMax, 1'000'000'000).convertScale(500'000'000), kMax / 2 + 1,
       500'000'000, true},
      {"128-bit negative half rounds down", t(-kMax, 1'000'000'000).convertScale(500'000'000),
       -(kMax / 2 + 1), 500'000'000, true},
      {"neither a multiple: 1/3 + 1/4", t(1, 3) + t(1, 4), 7, 12, false},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(c.result.isNumeric()) << c.name;
    EXPECT_EQ(c.result.value, c.value) << c.name;
    EXPECT_EQ(c.result.timescale, c.timescale) << c.name;
    EXPECT_EQ(c.result.hasBeenRounded(), c.rounded) << c.name;
  }
}

TEST(MediaTimeTest, MultiplyByFloat64) {
  // The timescale doubles to at least 65536 before rounding: 33 % of
  // 00:00:30.030 is 761080/76800, not 9.91 s.
  const MediaTime third = multiplyByFloat64(t(18018, 600), 0.33);
  EXPECT_EQ(third.value, 761080);
  EXPECT_EQ(third.timescale, 76800);
  EXPECT_EQ(multiplyByFloat64(t(12000, 600), 0.25), t(3000, 600));
  EXPECT_EQ(multiplyByFloat64(t(5, 100000), 3).timescale, 100000);
  EXPECT_FALSE(multiplyByFloat64(MediaTime::invalid(), 2).isValid());
  EXPECT_FALSE(multiplyByFloat64(t(1, 1), std::nan("")).isValid());
  EXPECT_TRUE(multiplyByFloat64(MediaTime::positiveInfinity(), -1).isNegativeInfinity());
  EXPECT_TRUE(multiplyByFloat64(MediaTime::positiveInfinity(), 0).isIndefinite());
  EXPECT_TRUE(multiplyByFloat64(t(kMax / 2, 1), 4).isPositiveInfinity());
  EXPECT_TRUE(multiplyByFloat64(t(1, 1), -1e300).isNegativeInfinity());
  EXPECT_TRUE(multiplyByFloat64(t(1, 65537), 0.5).hasBeenRounded());
  EXPECT_FALSE(multiplyByFloat64(t(1, 3), 0.5).hasBeenRounded());
}

TEST(MediaTimeTest, SecondsAndDescription) {
  EXPECT_EQ(t(18000, 600).description(), "{18000/600 = 30.000}");
  EXPECT_EQ(t(-1, 3).description(), "{-1/3 = -0.333}");
  EXPECT_EQ(MediaTime::invalid().description(), "{INVALID}");
  EXPECT_EQ(MediaTime::indefinite().description(), "{INDEFINITE}");
  EXPECT_EQ(MediaTime::positiveInfinity().description(), "{+INFINITY}");
  EXPECT_EQ(MediaTime::negativeInfinity().description(), "{-INFINITY}");
  EXPECT_TRUE(std::isnan(MediaTime::invalid().seconds()));
  EXPECT_TRUE(std::isnan(MediaTime::indefinite().seconds()));
  EXPECT_EQ(MediaTime::negativeInfinity().seconds(), -INFINITY);
  EXPECT_EQ(t(1, 600).convertScale(1).value, 0);
  EXPECT_EQ(t(300, 600).convertScale(1).value, 1);  // half rounds away from zero
  EXPECT_EQ(t(-300, 600).convertScale(1).value, -1);
}

}  // namespace
}  // namespace skylark
