// The one list of branching rules, and what the rules share: building the
// child records, a strong-branch trial, proved bound changes, pseudo-cost
// observations.
#include <cmath>

#include "mip/branching.h"
#include "simplex/engine.h"

namespace qvn {

namespace {

const BranchRule kRules[] = {
    {"minimum infeasibility", -1, selectMinInfeasibility},
    {"maximum infeasibility", 1, selectMaxInfeasibility},
    {"pseudo costs", 2, selectPseudoCost},
    {"strong branching", 3, selectStrong},
    {"pseudo reduced costs", 4, selectPseudoReducedCost},
};

} // namespace

const BranchRule *findBranchRule(int varsel) {
  for (const BranchRule &r : kRules)
    if (r.varsel == varsel) return &r;
  return &kRules[1];
}

void makeBranchPair(const BranchCandidate &c, bool upFirst, double downEstimate, double upEstimate,
                    BranchRecord out[2]) {
  const BranchRecord down{'D', c.col, c.value, downEstimate};
  const BranchRecord up{'U', c.col, c.value, upEstimate};
  out[0] = upFirst ? up : down;
  out[1] = upFirst ? down : up;
}

void proveBound(MipContext &ctx, int col, double lower, double upper) {
  ctx.proved->push_back(BoundChange{col, lower, upper});
  relaxChangeBounds(*ctx.nodeLp, 1, &col, &lower, &upper);
  if (ctx.trialBase) relaxFreeState(ctx.trialBase->state);
}

int strongTrial(MipContext &ctx, const BranchCandidate &c, int iterationLimit, double *downGain,
                double *upGain) {
  const double downUpper = std::floor(c.value), upLower = downUpper + 1.0;
  double downObj = kTreeInfinity, upObj = kTreeInfinity;
  int downStatus = 0, upStatus = 0;
  const double before = relaxTrialIterations(*ctx.nodeLp);
  struct Count {
    MipContext &ctx;
    double before;
    ~Count() { ctx.strongIterations += relaxTrialIterations(*ctx.nodeLp) - before; }
  } count{ctx, before};
  if (ctx.trialBase) {
    if (!ctx.trialBase->state) QVN_TRY(relaxSaveState(*ctx.nodeLp, &ctx.trialBase->state));
    // A side that passes the cutoff is dead: its trial stops there.
    QVN_TRY(relaxStrongBranchFrom(*ctx.nodeLp, *ctx.trialBase->state, c.col, downUpper, upLower, iterationLimit,
                                  ctx.cutoff, &downObj, &downStatus, &upObj, &upStatus));
  } else {
    QVN_TRY(relaxStrongBranch(*ctx.nodeLp, c.col, downUpper, upLower, iterationLimit, &downObj, &downStatus,
                              &upObj, &upStatus));
  }
  auto dead = [&](double obj, int status) {
    return status == kRunInfeasible || status == kRunObjLimit || obj >= ctx.cutoff;
  };
  const bool downDead = dead(downObj, downStatus), upDead = dead(upObj, upStatus);
  *downGain = downDead ? kTreeInfinity : std::max(0.0, downObj - ctx.objective);
  *upGain = upDead ? kTreeInfinity : std::max(0.0, upObj - ctx.objective);
  // Only a solved side gives a usable bound: an aborted trial bounds nothing.
  if (downDead && upDead) {
    ctx.nodeInfeasible = true;
  } else if (downDead) {
    double lo = 0, up = 0;
    relaxGetBounds(*ctx.nodeLp, c.col, &lo, &up);
    proveBound(ctx, c.col, std::max(lo, upLower), up);
    ctx.objectiveRaise = std::max(ctx.objectiveRaise, ctx.objective + *upGain);
  } else if (upDead) {
    double lo = 0, up = 0;
    relaxGetBounds(*ctx.nodeLp, c.col, &lo, &up);
    proveBound(ctx, c.col, lo, std::min(up, downUpper));
    ctx.objectiveRaise = std::max(ctx.objectiveRaise, ctx.objective + *downGain);
  }
  return 0;
}

void observePseudoCost(PseudoCostTable &t, int col, bool up, double gain, double fraction) {
  if (gain < 1e-10) gain = 0.0;
  double observation;
  if (up) {
    const double f = 1.0 - fraction < 1e-10 ? 0.0 : fraction;
    observation = gain / (1.0 - f);
  } else {
    observation = gain / std::max(fraction, 1e-10);
  }
  double &cost = up ? t.upCost[col] : t.downCost[col];
  // A cost set by an initialising trial is replaced by the first real observation.
  if (t.updateCount[col] < 0) {
    cost = cost > 1e37 ? 0.01 : cost;
    t.updateCount[col] = 0;
  }
  cost = std::max(cost, observation);
  ++t.updateCount[col];
}

// A set branch moves the set's mass off one side: the down child gives up
// the members after the split (the share 1 - x beyond what it keeps), the up
// child those before it. Half the change is charged to the weight of the
// nonzero members plus the share moved.
void observeSetPseudoCost(PseudoCostTable &t, int set, bool up, double gain, double weight, double share) {
  if (set < 0 || static_cast<size_t>(set) >= t.setUpdateCount.size()) return;
  if (gain < 1e-10) gain = 0.0;
  double observation;
  if (up)
    observation = share > 0.9999999999 ? 0.5 * gain / (weight + 1e-10) : 0.5 * gain / (1.0 + weight - share);
  else
    observation = 0.5 * gain / (weight + std::max(share, 1e-10));
  double &cost = up ? t.setUpCost[set] : t.setDownCost[set];
  cost = std::max(cost, observation);
  ++t.setUpdateCount[set];
}

void setPseudoEstimates(const PseudoCostTable &t, int set, double weight, double share, double *down, double *up) {
  *down = *up = 0.0;
  if (set < 0 || static_cast<size_t>(set) >= t.setUpdateCount.size()) return;
  *down = 2.0 * t.setDownCost[set] * (weight + std::max(share, 1e-10));
  *up = 2.0 * t.setUpCost[set] * (1.0 + weight - share);
}

} // namespace qvn
