// Error numbers, their texts, and the reporting conventions.
//
// A status inside a function starts at 0. A detailed error is printed where it
// happens and stored negated; a plain one is stored positive. recordError at the
// single exit prints plain errors and leaves the positive number.
#pragma once
#include "quorvan.h"

struct Environment;

namespace qvn {

void buildErrorIndex(Environment *env);
// The format text of an error row, or null when the number has none.
const char *errorRowText(const Environment *env, int number);
void recordError(const Environment *env, int *status);
// Formats "QUORVAN Error %5d: <row text>.\n" into the Environment's message
// buffer and returns it, ready as a format for the row's arguments; null for an
// unknown number (the buffer then holds "Unknown error code %d.\n").
const char *errorText(Environment *env, int number);
// Prints a detailed error with the row's arguments on the error channel and
// returns the negated number, to be stored in the caller's status.
int reportError(const Environment *env, int number, ...);
// reportError for a row whose text has no place in it, where the caller knows
// one: `place` (such as "Line 12: ") goes between the number and the text,
// in the form of the rows that carry their own "Line %d: ".
int reportErrorAt(const Environment *env, const char *place, int number, ...);
// reportErrorAt with "Line <line>: " as the place.
int reportErrorAtLine(const Environment *env, int line, int number, ...);

// Propagates the first nonzero status.
#define QVN_TRY(expr)                        \
  do {                                       \
    int qvnTryStatus_ = (expr);              \
    if (qvnTryStatus_ != 0) return qvnTryStatus_; \
  } while (0)

} // namespace qvn
