#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "formats/char_classes.h"
#include "formats/number_format.h"

namespace qvn {

namespace {
NumberParse parse(const char *text, double *v, bool mps = false) {
  return parseNumber(text, std::strlen(text), mps, v);
}
std::string text(double v) {
  char out[40];
  formatNumber(v, out);
  return out;
}
} // namespace

TEST(NumberFormat, ConverterTakesSignsPointsAndExponents) {
  double v = -7;
  EXPECT_EQ(parse("", &v), kNumberOk);
  EXPECT_EQ(v, 0.0);
  EXPECT_EQ(parse("+", &v), kNumberOk);
  EXPECT_EQ(v, 1.0);
  EXPECT_EQ(parse("-", &v), kNumberOk);
  EXPECT_EQ(v, -1.0);
  EXPECT_EQ(parse("-2.5", &v), kNumberOk);
  EXPECT_EQ(v, -2.5);
  EXPECT_EQ(parse(".5", &v), kNumberOk);
  EXPECT_EQ(v, 0.5);
  EXPECT_EQ(parse("1.5E-3", &v), kNumberOk);
  EXPECT_EQ(v, 0.0015);
  EXPECT_EQ(parse("0.1", &v), kNumberOk);
  EXPECT_EQ(v, 0.1);
  EXPECT_EQ(parse("123.456", &v), kNumberOk);
  EXPECT_EQ(v, 123.456);
  EXPECT_EQ(parse("1e37", &v), kNumberOk);
  EXPECT_EQ(v, 1e37);
  EXPECT_EQ(parse("1e-38", &v), kNumberOk);
  EXPECT_EQ(v, 0.0);
  EXPECT_EQ(parse("12345678901234567890", &v), kNumberOk);
  EXPECT_NEAR(v, 1.2345678901234567e19, 1e5);
  // the MPS family also writes d and D
  EXPECT_EQ(parse("2d3", &v, true), kNumberOk);
  EXPECT_EQ(v, 2000.0);
  EXPECT_EQ(parse("2d3", &v, false), kNumberBad);
  // faults
  EXPECT_EQ(parse("1e38", &v), kNumberExpRange);
  EXPECT_EQ(parse("e5", &v), kNumberExpNotStarted);
  EXPECT_EQ(parse("-e5", &v), kNumberExpNotStarted);
  EXPECT_EQ(parse("3e", &v), kNumberExpNotEnded);
  EXPECT_EQ(parse("1.2.3", &v), kNumberBad);
  EXPECT_EQ(parse("12x", &v), kNumberBad);
  EXPECT_EQ(parse("1e+", &v), kNumberBad);
}

TEST(NumberFormat, WriterUsesFifteenDigitsAndPositionalRange) {
  EXPECT_EQ(text(1), "1");
  EXPECT_EQ(text(0.25), "0.25");
  EXPECT_EQ(text(1e-7), "1e-7");
  EXPECT_EQ(text(1e-6), "0.000001");
  EXPECT_EQ(text(1e20), "1e+20");
  EXPECT_EQ(text(0.0), "0");
  EXPECT_EQ(text(-0.0), "0");
  EXPECT_EQ(text(-3.5), "-3.5");
  EXPECT_EQ(text(123456789012345.0), "123456789012345");
  EXPECT_EQ(text(1e15), "1e+15");
  EXPECT_EQ(text(1.00000000000001), "1.00000000000001");
  EXPECT_EQ(text(1.0 / 3.0), "0.333333333333333");
  EXPECT_EQ(text(2.5e-300), "2.5e-300");
  char out[40];
  EXPECT_EQ(formatNumber(INFINITY, out), -1);
  EXPECT_STREQ(out, "?");
  EXPECT_EQ(formatNumber(NAN, out), -1);
}

TEST(NumberFormat, WrittenTextReadsBackWithinFifteenDigits) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
  std::uniform_int_distribution<int> exponent(-30, 30);
  char out[40], shortOut[40];
  for (int k = 0; k < 20000; ++k) {
    const double v = mantissa(random) * std::pow(10.0, exponent(random));
    const int n = formatNumber(v, out);
    ASSERT_GT(n, 0);
    double back = 0;
    ASSERT_EQ(parseNumber(out, static_cast<size_t>(n), false, &back), kNumberOk) << out;
    EXPECT_NEAR(back, v, std::fabs(v) * 5e-15) << out;
    const int s = formatShortNumber(v, shortOut);
    ASSERT_GT(s, 0);
    EXPECT_LE(s, 12) << shortOut;
    ASSERT_EQ(parseNumber(shortOut, static_cast<size_t>(s), true, &back), kNumberOk) << shortOut;
    EXPECT_NEAR(back, v, std::fabs(v) * 1e-5) << shortOut;
  }
}

TEST(NumberFormat, CharacterClassesOfBothFormats) {
  EXPECT_TRUE(lpIs('x', CC_NameStart));
  EXPECT_TRUE(lpIs('_', CC_NameStart));
  EXPECT_FALSE(lpIs('1', CC_NameStart));
  EXPECT_TRUE(lpIs(static_cast<char>(200), CC_NameStart));
  EXPECT_EQ(lpClass(static_cast<char>(255)), 0u);
  EXPECT_EQ(lpClass(127), 0u);
  EXPECT_TRUE(lpIs('\\', CC_LineEnd));
  EXPECT_TRUE(lpIs('\v', CC_Blank));
  EXPECT_FALSE(lpIs('\v', CC_Valid));
  EXPECT_TRUE(lpIs('-', CC_Sign | CC_Arrow | CC_Delimiter | CC_NumberChar));
  EXPECT_TRUE(lpIs('^', CC_QuadChar));
  EXPECT_FALSE(lpIs('.', CC_Delimiter));
  EXPECT_TRUE(mpsClass('D') & MC_Exponent);
  EXPECT_TRUE(mpsClass('*') & MC_Comment);
  EXPECT_FALSE(mpsClass('|') & MC_NameChar);
  EXPECT_FALSE(mpsClass(' ') & MC_Comment);
  EXPECT_TRUE(mpsClass('n') & MC_Sense);
}

} // namespace qvn
