// The computational form that both simplex loops work on.
//
// Variables 0..n-1 are the structural columns, n+i is the logical of row i,
// defined by a_i x - r_i = 0, so its matrix column is -e_i and its bounds are
// the row's bounds. The objective is always minimized: a maximization is
// stored with negated costs and the sign is applied when results leave.
#pragma once
#include "model/problem.h"

namespace qvn {

struct WorkLp {
  int numCol = 0, numRow = 0, numTot = 0;
  int sense = 1;          // +1 minimize, -1 maximize (of the user's model)
  double offset = 0.0;    // objective constant, in the user's sense
  // Structural matrix, column-wise and contiguous, and its row-wise copy.
  EnvVector<int> aStart, aIndex;
  EnvVector<double> aValue;
  EnvVector<int> arStart, arIndex;
  EnvVector<double> arValue;
  // Per variable (numTot): cost in minimization sense and bounds.
  EnvVector<double> cost, lower, upper;
};

// Builds the computational form from the model (user ranges, senses, bounds).
void buildWorkLp(const LpData &d, WorkLp &w);

// Column j of the full matrix [A, -I], applied: y += mult * column j.
inline void addColumn(const WorkLp &w, int j, double mult, double *y) {
  if (j < w.numCol) {
    for (int k = w.aStart[j]; k < w.aStart[j + 1]; ++k) y[w.aIndex[k]] += mult * w.aValue[k];
  } else {
    y[j - w.numCol] -= mult;
  }
}

// Dot product of column j of [A, -I] with a dense vector.
inline double columnDot(const WorkLp &w, int j, const double *y) {
  if (j >= w.numCol) return -y[j - w.numCol];
  double s = 0.0;
  for (int k = w.aStart[j]; k < w.aStart[j + 1]; ++k) s += w.aValue[k] * y[w.aIndex[k]];
  return s;
}

} // namespace qvn
