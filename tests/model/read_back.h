// Everything a caller can read back from a problem through the public
// functions, in one comparable record: the tests compare a model against a
// plain reference, and a model before and after a failing call.
#pragma once
#include <string>
#include <vector>

#include "quorvan.h"

namespace qvntest {

struct SosSet {
  char type = '1';
  std::vector<int> members;
  std::vector<double> weights;
  bool operator==(const SosSet &) const = default;
};

struct ReadBack {
  int rows = 0, cols = 0, nonzeros = 0, objSense = 0, type = -1;
  std::vector<double> obj, lower, upper, rhs, range;
  std::string sense;
  // Per column, (row, value) sorted by row; the same from the row view, by rising column.
  std::vector<std::vector<std::pair<int, double>>> columns, rowsView;
  bool hasColNames = false, hasRowNames = false;
  std::vector<std::string> colNames, rowNames;
  std::string ctype;  // empty when the problem has no types
  std::vector<SosSet> sos;
  bool hasQ = false;
  std::vector<std::vector<std::pair<int, double>>> q;  // per column, sorted by row
  int qNonzeros = 0;
  double objOffset = 0.0;
  std::string probName;
  bool operator==(const ReadBack &) const = default;
};

// Reads every part through the exported getters; getter failures are
// reported through gtest.
ReadBack readBack(QVNENVptr env, QVNLPptr lp);
// First difference of two read-backs, for failure messages ("" when equal).
std::string firstDifference(const ReadBack &a, const ReadBack &b);

} // namespace qvntest
