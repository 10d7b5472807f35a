// The number converter checks the syntax of the file formats (sign, digits,
// point, exponent limited to 37) and takes the exact route whenever the digits
// fit: a mantissa of at most 15 digits and a net power of ten within 22 are
// both exact doubles, so one multiplication or division gives the correctly
// rounded value. Other numbers go through the C library's conversion.
#include "formats/number_format.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qvn {

namespace {

constexpr double kExactPowers[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                     1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                     1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }
inline bool isExponent(char c, bool mps) {
  return c == 'e' || c == 'E' || (mps && (c == 'd' || c == 'D'));
}

} // namespace

NumberParse parseNumber(const char *text, size_t length, bool mpsExponent, double *value) {
  size_t i = 0;
  bool negative = false;
  if (i < length && (text[i] == '+' || text[i] == '-')) {
    negative = text[i] == '-';
    ++i;
  }
  if (i == length) {
    *value = length == 0 ? 0.0 : (negative ? -1.0 : 1.0);
    return kNumberOk;
  }
  double whole = 0.0;
  unsigned long long mantissa = 0;
  int mantissaDigits = 0, fractionDigits = 0, digitsSeen = 0;
  for (; i < length && isDigit(text[i]); ++i) {
    whole = whole * 10.0 + (text[i] - '0');
    if (mantissaDigits > 0 || text[i] != '0') ++mantissaDigits;
    mantissa = mantissa * 10 + static_cast<unsigned>(text[i] - '0');
    ++digitsSeen;
  }
  double numerator = 0.0, divisor = 1.0;
  if (i < length && text[i] == '.') {
    for (++i; i < length && isDigit(text[i]); ++i) {
      numerator = numerator * 10.0 + (text[i] - '0');
      divisor *= 10.0;
      if (mantissaDigits > 0 || text[i] != '0') ++mantissaDigits;
      mantissa = mantissa * 10 + static_cast<unsigned>(text[i] - '0');
      ++fractionDigits;
      ++digitsSeen;
    }
  }
  int exponent = 0;
  if (i < length && isExponent(text[i], mpsExponent)) {
    const size_t signLength = (text[0] == '+' || text[0] == '-') ? 1 : 0;
    if (i == signLength) return kNumberExpNotStarted;
    ++i;
    if (i == length || !(isDigit(text[i]) || text[i] == '+' || text[i] == '-' || text[i] == '.' ||
                         isExponent(text[i], false)))
      return kNumberExpNotEnded;
    bool expNegative = false;
    if (text[i] == '+' || text[i] == '-') {
      expNegative = text[i] == '-';
      ++i;
    }
    const size_t expStart = i;
    for (; i < length && isDigit(text[i]); ++i)
      if (exponent < 100000) exponent = exponent * 10 + (text[i] - '0');
    if (i == expStart) return kNumberBad;
    if (expNegative) exponent = -exponent;
  }
  if (i != length || digitsSeen == 0) return kNumberBad;
  if (exponent > 37) return kNumberExpRange;
  double result;
  if (exponent < -37) {
    result = 0.0;
  } else {
    const int net = exponent - fractionDigits;
    if (mantissaDigits <= 15 && net >= -22 && net <= 22) {
      const double m = static_cast<double>(mantissa);
      result = net >= 0 ? m * kExactPowers[net] : m / kExactPowers[-net];
    } else {
      // Long mantissas and large powers: the syntax is checked, so the C
      // library's conversion gives the correctly rounded value.
      char copy[64];
      if (length < sizeof copy) {
        for (size_t k = 0; k < length; ++k) copy[k] = (text[k] == 'd' || text[k] == 'D') ? 'e' : text[k];
        copy[length] = '\0';
        result = std::fabs(std::strtod(copy, nullptr));
      } else {
        result = whole + numerator / divisor;
        double scale = 1.0;
        for (int k = 0; k < (exponent < 0 ? -exponent : exponent); ++k) scale *= 10.0;
        result = exponent < 0 ? result / scale : result * scale;
      }
    }
  }
  *value = negative ? -result : result;
  return kNumberOk;
}

namespace {

// Shapes "%.<digits-1>e"-style text into the file form: trailing mantissa
// zeros dropped, positional between the exponent limits.
int shapeNumber(double value, int digits, int lowExp, int highExp, char letter, char *out) {
  char raw[64];
  std::snprintf(raw, sizeof raw, "%.*e", digits - 1, std::fabs(value));
  const char *e = std::strchr(raw, 'e');
  if (!e) {
    std::strcpy(out, "?");
    return -1;
  }
  char mant[32];
  int n = 0;
  for (const char *p = raw; p < e; ++p)
    if (isDigit(*p)) mant[n++] = *p;
  while (n > 1 && mant[n - 1] == '0') --n;
  const int exponent = std::atoi(e + 1);
  char *o = out;
  if (value < 0) *o++ = '-';
  if (exponent >= lowExp && exponent <= highExp) {
    if (exponent < 0) {
      *o++ = '0';
      *o++ = '.';
      for (int k = 0; k < -exponent - 1; ++k) *o++ = '0';
      for (int k = 0; k < n; ++k) *o++ = mant[k];
    } else {
      for (int k = 0; k <= exponent; ++k) *o++ = k < n ? mant[k] : '0';
      if (n > exponent + 1) {
        *o++ = '.';
        for (int k = exponent + 1; k < n; ++k) *o++ = mant[k];
      }
    }
    *o = '\0';
  } else {
    *o++ = mant[0];
    if (n > 1) {
      *o++ = '.';
      for (int k = 1; k < n; ++k) *o++ = mant[k];
    }
    o += std::sprintf(o, "%c%c%d", letter, exponent < 0 ? '-' : '+', exponent < 0 ? -exponent : exponent);
  }
  return static_cast<int>(o - out);
}

} // namespace

int formatNumber(double value, char *out) {
  if (value == 0.0) value = 0.0;  // no "-0"
  return shapeNumber(value, 15, -6, 14, 'e', out);
}

int formatShortNumber(double value, char *out) {
  if (value == 0.0) value = 0.0;
  const bool negative = value < 0;
  // Drop digits until the text with its sign fits the 12-character field.
  for (int digits = negative ? 10 : 11; digits >= 1; --digits) {
    const int n = shapeNumber(value, digits, -3, negative ? 9 : 10, 'E', out);
    if (n < 0 || n <= 12) return n;
  }
  return static_cast<int>(std::strlen(out));
}

} // namespace qvn
