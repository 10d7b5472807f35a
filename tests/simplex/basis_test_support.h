// Helpers of the advanced basis and sensitivity tests: netlib models and
// their reference optima, and the basis matrix rebuilt from a head read
// back, independently of the library's factor.
#pragma once
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/lp_model.h"
#include "support/test_support.h"

namespace qvntest {

inline std::map<std::string, double> netlibReference(const std::string &) { return referenceOptima("netlib"); }

// Column `var` of the caller's basis matrix: a structural column, or the
// unit vector of a row's slack (head entry -1-i), dense over the rows.
inline std::vector<double> basisColumn(const LpModel &m, int var) {
  std::vector<double> col(static_cast<size_t>(m.numRows()), 0.0);
  if (var >= 0)
    for (const auto &[row, value] : m.cols[static_cast<size_t>(var)]) col[static_cast<size_t>(row)] += value;
  else
    col[static_cast<size_t>(-1 - var)] = 1.0;
  return col;
}

inline double dot(const std::vector<double> &a, const std::vector<double> &b) {
  double s = 0.0;
  for (size_t k = 0; k < a.size(); ++k) s += a[k] * b[k];
  return s;
}

} // namespace qvntest
