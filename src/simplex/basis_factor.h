// The factorized basis as the simplex loops see it: factor, FTRAN, BTRAN and
// column replacement. The basis matrix has column k equal to column head[k]
// of [A, -I].
#pragma once
#include "runtime/alloc.h"
#include "simplex/hvector.h"
#include "simplex/work_lp.h"

namespace qvn {

struct BasisFactor {
  int m = 0;
  // LU of the basis at the last factorization, dense column-major.
  EnvVector<double> lu;
  EnvVector<int> pivotRow;  // pivot row of each basis position
  EnvVector<int> rowStep;   // elimination step at which each row was pivoted
  // Product-form updates since then: for each, the position and the FTRAN'd column.
  EnvVector<int> etaPos, etaStart, etaIndex;
  EnvVector<double> etaPivot, etaValue;
  int updateCount = 0;
  EnvVector<double> work;
};

// Factors the basis given by head. Positions whose column is dependent on the
// others are returned in `deficient`, and rows that got no pivot in `freeRows`
// (same length); the caller replaces those columns by the rows' logicals and
// factors again. Returns the number of deficient positions.
int factorBasis(BasisFactor &f, const WorkLp &lp, const int *head, EnvVector<int> &deficient,
                EnvVector<int> &freeRows);
// x := B^{-1} x (x indexed by row on entry, by basis position on exit).
void ftran(const BasisFactor &f, HVector &x);
// y := B^{-T} y (y indexed by basis position on entry, by row on exit).
void btran(const BasisFactor &f, HVector &y);
// Records that the column at `pos` was replaced; alpha is B^{-1} a_q of the
// entering column, computed before the change.
void updateFactor(BasisFactor &f, int pos, const HVector &alpha);
bool refactorDue(const BasisFactor &f);

} // namespace qvn
