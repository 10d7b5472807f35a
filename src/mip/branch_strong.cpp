// Strong branching: the most promising candidates are tried in both
// directions by a few dual simplex iterations each; the largest combined
// degradation wins, and a direction that fails proves a bound change.
#include <algorithm>
#include <cmath>

#include "mip/branching.h"

namespace qvn {

int selectStrong(MipContext &ctx, void *, BranchRecord out[2]) {
  if (ctx.candidateCount == 1) {
    const BranchCandidate &c = ctx.candidates[0];
    makeBranchPair(c, true, 0.0, 0.0, out);
    return 0;
  }
  const int itLimit = ctx.control->strongItLimit > 0 ? ctx.control->strongItLimit : 50;
  // The list: most fractional first.
  std::stable_sort(ctx.candidates, ctx.candidates + ctx.candidateCount,
                   [](const BranchCandidate &a, const BranchCandidate &b) {
                     return std::min(a.fraction, 1 - a.fraction) > std::min(b.fraction, 1 - b.fraction);
                   });
  const int listed = std::min(ctx.candidateCount, std::max(1, ctx.control->strongCandLimit));
  if (itLimit == 1) {
    // No trial LP: the most fractional candidate stands.
    makeBranchPair(ctx.candidates[0], true, 0.0, 0.0, out);
    return 0;
  }
  int best = -1;
  double bestScore = -1.0, bestDown = 0, bestUp = 0;
  for (int k = 0; k < listed; ++k) {
    const BranchCandidate &c = ctx.candidates[k];
    if (k > 0 && std::min(c.fraction, 1 - c.fraction) < 0.001) break;
    if (ctx.timeLeft <= 0 && best >= 0) break;
    double down = 0, up = 0;
    QVN_TRY(strongTrial(ctx, c, itLimit, &down, &up));
    if (ctx.nodeInfeasible) return 0;
    if (down >= kTreeInfinity || up >= kTreeInfinity) continue;  // proved change: re-solve first
    const double score = scoreSum(down, up);
    if (score > bestScore) {
      bestScore = score;
      best = k;
      bestDown = down;
      bestUp = up;
    }
  }
  if (!ctx.proved->empty()) return 0;
  if (best < 0) best = 0;
  std::swap(ctx.candidates[0], ctx.candidates[best]);
  makeBranchPair(ctx.candidates[0], bestUp <= bestDown, bestDown, bestUp, out);
  return 0;
}

} // namespace qvn
