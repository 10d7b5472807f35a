#include "formats/char_classes.h"

#include <array>

namespace qvn {

namespace {

constexpr bool isLetter(int c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isDigit(int c) { return c >= '0' && c <= '9'; }
constexpr bool inSet(int c, const char *set) {
  for (; *set; ++set)
    if (static_cast<unsigned char>(*set) == c) return true;
  return false;
}
// The C locale's space test: blank, tab, line feed, vertical tab, form feed, carriage return.
constexpr bool isCSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

constexpr std::array<uint32_t, 256> buildLp() {
  std::array<uint32_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    uint32_t f = 0;
    if (isLetter(c) || inSet(c, "!\"#$%&(),;?@_'{}~`") || (c >= 128 && c <= 254)) f |= CC_NameStart;
    if (inSet(c, "<=>")) f |= CC_Sense;
    if (isDigit(c) || inSet(c, "+-.eE")) f |= CC_NumberChar;
    if (c == 'e' || c == 'E') f |= CC_Exponent;
    if ((f & CC_NameStart) || isDigit(c) || inSet(c, ".+-<=>:|[]*/^ \t")) f |= CC_Valid;
    if (c == 0 || c == '\n' || c == '\f' || c == '\r' || c == '\\') f |= CC_LineEnd;
    if (isDigit(c)) f |= CC_Digit;
    if (c == '+' || c == '-') f |= CC_Sign;
    if (isCSpace(c)) f |= CC_Blank;
    if (c == 0 || inSet(c, ": |=<>+-[]*/^\\\n\r\f")) f |= CC_Delimiter;
    if (inSet(c, "[]*/^")) f |= CC_QuadChar;
    if (inSet(c, "<>-")) f |= CC_Arrow;
    t[c] = f;
  }
  return t;
}

constexpr std::array<uint8_t, 256> buildMps() {
  std::array<uint8_t, 256> t{};
  for (int c = 0; c < 256; ++c) {
    uint8_t f = 0;
    if (inSet(c, "eEdD")) f |= MC_Exponent;
    if (isDigit(c)) f |= MC_Digit;
    // Blank and tab separate fields; the other space characters make a comment line.
    if (c == '*' || (isCSpace(c) && c != ' ' && c != '\t')) f |= MC_Comment;
    if (isLetter(c) || isDigit(c) || c >= 128 || inSet(c, "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{}~"))
      f |= MC_NameChar;
    if (inSet(c, "LGENlgen")) f |= MC_Sense;
    t[c] = f;
  }
  return t;
}

} // namespace

constinit const std::array<uint32_t, 256> kLpCharClass = buildLp();
constinit const std::array<uint8_t, 256> kMpsCharClass = buildMps();

} // namespace qvn
