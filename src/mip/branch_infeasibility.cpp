// Branching by the integer infeasibility of the candidates: the maximum rule
// takes the most fractional column, the minimum rule the least fractional one.
#include <algorithm>

#include "mip/branching.h"

namespace qvn {

namespace {

double infeasibility(const BranchCandidate &c) { return std::min(c.fraction, 1.0 - c.fraction); }

int pick(MipContext &ctx, BranchRecord out[2], bool largest) {
  int best = -1;
  double bestValue = 0.0;
  for (int k = 0; k < ctx.candidateCount; ++k) {
    const double v = infeasibility(ctx.candidates[k]);
    // Strict comparisons: ties keep the first candidate.
    if (best < 0 || (largest ? v > bestValue : v < bestValue)) {
      best = k;
      bestValue = v;
    }
  }
  if (best < 0) return 0;
  std::swap(ctx.candidates[0], ctx.candidates[best]);
  const BranchCandidate &c = ctx.candidates[0];
  makeBranchPair(c, c.fraction >= 0.5, 0.0, 0.0, out);
  return 0;
}

} // namespace

int selectMaxInfeasibility(MipContext &ctx, void *, BranchRecord out[2]) { return pick(ctx, out, true); }

int selectMinInfeasibility(MipContext &ctx, void *, BranchRecord out[2]) { return pick(ctx, out, false); }

} // namespace qvn
