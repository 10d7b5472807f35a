// Pseudo reduced costs: the dual values of the node LP price the rows that a
// move of a column in each direction pushes against; the candidate with the
// best combined price wins, explored in its cheaper direction first.
#include <algorithm>
#include <cmath>

#include "mip/branching.h"

namespace qvn {

namespace {

// Floor of a row's price, so that rows without a dual still count a little.
constexpr double kPriceFloor = 1e-2;

} // namespace

int selectPseudoReducedCost(MipContext &ctx, void *, BranchRecord out[2]) {
  const LpData &d = *ctx.model;
  const double *pi = relaxDuals(*ctx.nodeLp);
  int best = -1;
  double bestScore = -1.0, bestDown = 0, bestUp = 0;
  for (int k = 0; k < ctx.candidateCount; ++k) {
    const BranchCandidate &c = ctx.candidates[k];
    // Raising the activity of row i by one costs about -pi_i when pi_i < 0,
    // lowering it about pi_i when pi_i > 0 (duals in minimization sense).
    double downRate = 0.0, upRate = 0.0;
    const int64_t begin = d.colStart[c.col], end = begin + d.colCount[c.col];
    for (int64_t p = begin; p < end; ++p) {
      const int i = d.rowIndex[p];
      const double a = d.coefValue[p];
      const double raise = std::max(-pi[i], 0.0), lower = std::max(pi[i], 0.0);
      const double rowFloor = d.sense[i] == 'E' ? kPriceFloor : 0.0;
      upRate += std::fabs(a) * (std::max(a > 0 ? raise : lower, rowFloor));
      downRate += std::fabs(a) * (std::max(a > 0 ? lower : raise, rowFloor));
    }
    const double down = downRate * c.fraction, up = upRate * (1.0 - c.fraction);
    const double score = scoreSum(down, up);
    if (score > bestScore) {
      bestScore = score;
      best = k;
      bestDown = down;
      bestUp = up;
    }
  }
  if (best < 0) return 0;
  std::swap(ctx.candidates[0], ctx.candidates[best]);
  makeBranchPair(ctx.candidates[0], bestUp <= bestDown, bestDown, bestUp, out);
  return 0;
}

} // namespace qvn
