// Scale factors for the working LP: a(i,j) becomes a(i,j) / (rowScale(i) x
// colScale(j)), all factors powers of two so that scaling loses no bits.
// Scaled variables are x' = x * colScale, row activities r' = r / rowScale;
// costs divide by colScale; duals multiply by rowScale.
#pragma once
#include "simplex/work_lp.h"

namespace qvn {

struct ScaleFactors {
  int kind = -1;  // -2 not needed, -1 none, 0 equilibration, 1 geometric
  EnvVector<double> rowScale, colScale;
};

// Computes the factors of `kind` (0 or 1) for lp; kind -2 when the matrix is
// already well scaled.
void computeScaling(const WorkLp &lp, int kind, ScaleFactors &s);
// Applies the factors to the matrix, costs and bounds of lp.
void applyScaling(WorkLp &lp, const ScaleFactors &s);
// Nearest power of two, as the scale factors are rounded.
double roundToPowerOfTwo(double factor);

} // namespace qvn
