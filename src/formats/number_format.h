// Number text in and out, shared by every text model format.
#pragma once
#include <cstddef>

namespace qvn {

enum NumberParse {
  kNumberOk = 0,
  kNumberBad,            // characters left over: "Couldn't convert"
  kNumberExpRange,       // exponent above 37
  kNumberExpNotStarted,  // exponent letter first or right behind a lone sign
  kNumberExpNotEnded,    // exponent letter with nothing numeric behind it
};

// Optional sign, digits, point, digits, exponent letter (e/E, and d/D when
// `mpsExponent`), optional sign, digits. Empty text is 0, a lone sign is +1 or
// -1; a negative exponent beyond -37 gives exactly 0.
NumberParse parseNumber(const char *text, size_t length, bool mpsExponent, double *value);

// Number text with 15 significant digits, positional for decimal exponents -6
// to 14, else "<mantissa>e<sign><exponent>". Writes at most 32 characters and a
// terminating NUL; a negative value gets a leading '-'. Returns the length, or
// -1 (text "?") for a value with no exponential form (infinite or NaN).
int formatNumber(double value, char *out);

// The 12-character form of the MPS writer's short number fields.
int formatShortNumber(double value, char *out);

} // namespace qvn
