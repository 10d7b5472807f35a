// The XML solution document read back: per column and per row what the file
// gave (value, dual number, basis status), matched by name or else by index.
// The MIP start reader takes the values only; QVNreadcopysol all of it.
#pragma once
#include "formats/side_file.h"

namespace qvn {

struct SolutionRead {
  ColumnNameIndex cols, rows;
  // Per column and per row: 1 when the file gave an entry.
  EnvVector<char> colSeen, rowSeen;
  EnvVector<char> colHasValue, colHasDual, rowHasValue, rowHasDual;
  EnvVector<double> x, dj, slack, pi;
  // 1 basic, 0 nonbasic, -1 not given.
  EnvVector<int> colStatus, rowStatus;
  bool readRows = true;  // constraints are skipped when false
};

// Sizes `s` for lp (its names, empty entries) and parses the document at
// path: 1425 with expat's text on malformed XML, warnings for unknown names,
// indices out of range and repeated entries.
int readSolutionDocument(Environment *env, Problem *lp, const char *path, const char *extension, SolutionRead &s);

} // namespace qvn
