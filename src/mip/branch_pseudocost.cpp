// Pseudo-cost branching: the expected objective change of each direction is
// the column's cost per unit times the distance to the next integer; columns
// never observed are initialised by a short strong-branch trial.
#include <algorithm>
#include <cmath>

#include "mip/branching.h"

namespace qvn {

namespace {

// Trials that initialise unobserved columns at one node: enough to give the
// rule a start, few enough that a node with hundreds of candidates stays cheap.
constexpr int kInitTrialsPerNode = 16;

} // namespace

int selectPseudoCost(MipContext &ctx, void *, BranchRecord out[2]) {
  PseudoCostTable &t = *ctx.pseudo;
  const int itLimit = ctx.control->strongItLimit > 0 ? ctx.control->strongItLimit : 50;
  // Unobserved candidates first get a trial, most fractional first.
  EnvVector<int> fresh;
  for (int k = 0; k < ctx.candidateCount; ++k)
    if (t.updateCount[ctx.candidates[k].col] == 0) fresh.push_back(k);
  std::stable_sort(fresh.begin(), fresh.end(), [&](int a, int b) {
    const double fa = std::min(ctx.candidates[a].fraction, 1 - ctx.candidates[a].fraction);
    const double fb = std::min(ctx.candidates[b].fraction, 1 - ctx.candidates[b].fraction);
    return fa > fb;
  });
  const double gapCap = std::max(0.0, std::min(ctx.cutoff - ctx.objective, 1e37));
  int trials = 0;
  for (int k : fresh) {
    if (trials >= kInitTrialsPerNode || ctx.timeLeft <= 0) break;
    const BranchCandidate &c = ctx.candidates[k];
    double down = 0, up = 0;
    QVN_TRY(strongTrial(ctx, c, itLimit, &down, &up));
    ++trials;
    if (ctx.nodeInfeasible) return 0;
    t.downCost[c.col] = std::min(down, gapCap) / std::max(c.fraction, 1e-10);
    t.upCost[c.col] = std::min(up, gapCap) / std::max(1.0 - c.fraction, 1e-10);
    t.updateCount[c.col] = -1;
  }
  // A proved change alters the node: the caller re-solves it and selects again.
  if (!ctx.proved->empty()) return 0;
  int best = -1;
  double bestScore = -1.0, bestDown = 0, bestUp = 0;
  for (int k = 0; k < ctx.candidateCount; ++k) {
    const BranchCandidate &c = ctx.candidates[k];
    const double down = t.downCost[c.col] * c.fraction, up = t.upCost[c.col] * (1.0 - c.fraction);
    const double score = scoreProduct(down, up);
    if (score > bestScore) {
      bestScore = score;
      best = k;
      bestDown = down;
      bestUp = up;
    }
  }
  if (best < 0) return 0;
  std::swap(ctx.candidates[0], ctx.candidates[best]);
  const BranchCandidate &c = ctx.candidates[0];
  bool upFirst;
  if (std::fabs(bestDown - bestUp) >= (std::fabs(ctx.objective) + 1.0) * 1e-6)
    upFirst = bestDown > bestUp;
  else
    upFirst = c.fraction > 0.5;
  makeBranchPair(c, upFirst, bestDown, bestUp, out);
  return 0;
}

} // namespace qvn
