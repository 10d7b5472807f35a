#include "simplex/engine.h"

#include "runtime/progress_callback.h"
#include "simplex/claim_check.h"

#include <algorithm>
#include <cmath>

namespace qvn {

int engineSetup(SimplexEngine &e, Environment *env, const WorkLp &lp) {
  e.env = env;
  e.lp = &lp;
  e.n = lp.numCol;
  e.m = lp.numRow;
  e.nt = lp.numTot;
  const size_t m = static_cast<size_t>(e.m > 0 ? e.m : 1), nt = static_cast<size_t>(e.nt > 0 ? e.nt : 1);
  e.head.assign(m, 0);
  e.basicPos.assign(nt, -1);
  e.move.assign(nt, kAtLower);
  e.x.assign(nt, 0.0);
  e.cost.assign(lp.cost.begin(), lp.cost.end());
  e.lower.assign(lp.lower.begin(), lp.lower.end());
  e.upper.assign(lp.upper.begin(), lp.upper.end());
  e.dual.assign(m, 0.0);
  e.dj.assign(nt, 0.0);
  hvSetup(e.column, e.m);
  hvSetup(e.rowRho, e.m);
  hvSetup(e.tau, e.m);
  hvSetup(e.flips, e.m);
  hvSetup(e.rowAlpha, e.nt);
  e.rowMark.assign(nt, 0);
  e.packed.valid = false;
  const GeneralParams &gp = *env->generalParams;
  e.iterationLimit = gp.itlim;
  e.timeLimit = gp.tilim;
  e.primalTol = gp.eprhs;
  e.dualTol = gp.epopt;
  e.display = gp.simdisplay;
  e.dualPricing = static_cast<DualPricingKind>(gp.dpriind);
  e.primalPricing = static_cast<PrimalPricingKind>(gp.ppriind);
  e.start = std::chrono::steady_clock::now();
  e.limitClock = startLimitClock(env);
  e.factorCurrent = false;
  return factorSetup(e.factor, env, lp, e.head.data());
}

int engineOnBasis(SimplexEngine &e, Environment *env, const WorkLp &lp, const BasisData &b) {
  QVN_TRY(engineSetup(e, env, lp));
  installBasis(e, b.colStatus.data(), b.rowStatus.data());
  return refactor(e);
}

void placeNonbasic(SimplexEngine &e, int j) {
  switch (e.move[j]) {
  case kAtLower: e.x[j] = e.lower[j] > -kInfinity ? e.lower[j] : (e.upper[j] < kInfinity ? e.upper[j] : 0.0); break;
  case kAtUpper: e.x[j] = e.upper[j] < kInfinity ? e.upper[j] : (e.lower[j] > -kInfinity ? e.lower[j] : 0.0); break;
  default: break;  // a free or superbasic variable keeps its value
  }
}

namespace {
signed char defaultMove(const SimplexEngine &e, int j) {
  if (e.lower[j] > -kInfinity) return kAtLower;
  if (e.upper[j] < kInfinity) return kAtUpper;
  return kAtZero;
}
} // namespace

void setSlackBasis(SimplexEngine &e) {
  e.factorCurrent = false;
  e.packed.valid = false;
  for (int j = 0; j < e.nt; ++j) e.basicPos[j] = -1;
  for (int i = 0; i < e.m; ++i) {
    e.head[i] = e.n + i;
    e.basicPos[e.n + i] = i;
  }
  for (int j = 0; j < e.n; ++j) {
    e.move[j] = defaultMove(e, j);
    e.x[j] = 0.0;
    placeNonbasic(e, j);
  }
}

void installBasis(SimplexEngine &e, const int *colStatus, const int *rowStatus) {
  int pos = 0;
  e.factorCurrent = false;
  e.packed.valid = false;
  for (int j = 0; j < e.nt; ++j) e.basicPos[j] = -1;
  for (int j = 0; j < e.nt && pos < e.m; ++j) {
    const int s = j < e.n ? colStatus[j] : rowStatus[j - e.n];
    if (s == 1) {
      e.head[pos] = j;
      e.basicPos[j] = pos++;
    }
  }
  // Too few basics: fill with logicals of rows that have none yet; the factor
  // repair below sorts out any dependence.
  for (int i = 0; i < e.m && pos < e.m; ++i) {
    if (e.basicPos[e.n + i] < 0) {
      e.head[pos] = e.n + i;
      e.basicPos[e.n + i] = pos++;
    }
  }
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0) continue;
    const int s = j < e.n ? colStatus[j] : rowStatus[j - e.n];
    if (s == 2 && e.upper[j] < kInfinity)
      e.move[j] = kAtUpper;
    else if (s == 3 && e.lower[j] <= -kInfinity && e.upper[j] >= kInfinity)
      e.move[j] = kAtZero;
    else
      e.move[j] = defaultMove(e, j);
    if (e.move[j] == kAtZero) e.x[j] = 0.0;
    placeNonbasic(e, j);
  }
}

void extractStatuses(const SimplexEngine &e, int *colStatus, int *rowStatus) {
  for (int j = 0; j < e.nt; ++j) {
    const int s = e.basicPos[j] >= 0 ? 1 : e.move[j] == kAtUpper ? 2 : e.move[j] == kAtZero ? 3 : 0;
    if (j < e.n)
      colStatus[j] = s;
    else
      rowStatus[j - e.n] = s;
  }
}

int refactor(SimplexEngine &e) {
  e.factorCurrent = false;
  ++e.factorizations;
  const int status = factorHead(e.factor);
  if (status == 0) return e.factorCurrent = true, 0;
  if (status != kLuBasisChanged) return status;
  e.factorCurrent = true;
  // The factor replaced dependent columns by logicals in head: bring the
  // basic flags and the dropped variables' positions in line.
  ++e.repairs;
  ++claimCounters().repairs;
  e.packed.valid = false;
  const LuFactor &f = *e.factor.lu;
  for (size_t k = 0; k < f.repairPosition.size(); ++k) {
    const int leaving = f.repairLeaving[k], entering = f.repairEntering[k];
    e.basicPos[leaving] = -1;
    e.basicPos[entering] = f.repairPosition[k];
    const double v = e.x[leaving];
    if (e.lower[leaving] > -kInfinity && e.upper[leaving] < kInfinity)
      e.move[leaving] = (v - e.lower[leaving] <= e.upper[leaving] - v) ? kAtLower : kAtUpper;
    else
      e.move[leaving] = defaultMove(e, leaving);
    if (e.move[leaving] == kAtZero) e.x[leaving] = 0.0;
    placeNonbasic(e, leaving);
  }
  return 0;
}

bool takeHeldFactor(SimplexEngine &e) {
  const bool usable = e.reuseFactor && e.factorCurrent && !refactorDue(e.factor);
  e.reuseFactor = false;
  return usable;
}

void computePrimal(SimplexEngine &e) {
  HVector &rhs = e.column;
  hvClear(rhs);
  double *b = rhs.array.data();
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.x[j] == 0.0) continue;
    addColumn(*e.lp, j, -e.x[j], b);
  }
  rhs.count = -1;
  ftran(e.factor, rhs);
  for (int k = 0; k < e.m; ++k) e.x[e.head[k]] = b[k];
  hvClear(rhs);
}

void refinePrimal(SimplexEngine &e) {
  HVector &rhs = e.column;
  hvClear(rhs);
  double *r = rhs.array.data();
  for (int j = 0; j < e.nt; ++j)
    if (e.x[j] != 0.0) addColumn(*e.lp, j, -e.x[j], r);
  rhs.count = -1;
  ftran(e.factor, rhs);
  for (int k = 0; k < e.m; ++k) e.x[e.head[k]] += r[k];
  hvClear(rhs);
}

void computeDual(SimplexEngine &e) {
  HVector &y = e.rowRho;
  hvClear(y);
  for (int k = 0; k < e.m; ++k) y.array[k] = e.cost[e.head[k]];
  y.count = -1;
  btran(e.factor, y);
  for (int i = 0; i < e.m; ++i) e.dual[i] = y.array[i];
  hvClear(y);
  for (int j = 0; j < e.nt; ++j)
    e.dj[j] = e.basicPos[j] >= 0 ? 0.0 : e.cost[j] - columnDot(*e.lp, j, e.dual.data());
  ++e.dualsComputed;
}

double objectiveValue(const SimplexEngine &e) {
  double s = 0.0;
  for (int j = 0; j < e.n; ++j) s += e.lp->cost[j] * e.x[j];
  return s;
}

void storeBasicPoint(const SimplexEngine &e, const LpData &d, SolutionBlock &s) {
  const WorkLp &w = *e.lp;
  s.x.assign(e.x.begin(), e.x.begin() + e.n);
  s.slack.resize(static_cast<size_t>(e.m));
  s.pi.resize(static_cast<size_t>(e.m));
  s.dj.resize(static_cast<size_t>(e.n));
  for (int i = 0; i < e.m; ++i) {
    s.slack[i] = d.rhs[i] - e.x[e.n + i];
    s.pi[i] = w.sense * e.dual[i];
  }
  for (int j = 0; j < e.n; ++j) s.dj[j] = w.sense * e.dj[j];
  s.objValue = w.sense * objectiveValue(e) + w.offset;
  s.primalComputed = s.dualComputed = true;
}

void btranUnitRow(SimplexEngine &e, int r) {
  HVector &rho = e.rowRho;
  hvClear(rho);
  rho.array[r] = 1.0;
  rho.index[0] = r;
  rho.count = 1;
  btran(e.factor, rho);
}

bool logLineDue(SimplexEngine &e) {
  if (e.display <= 0) return false;
  if (!e.logStarted) {
    QVNmsg(e.env->resultsChannel, "\nIteration log . . .\n");
    e.logStarted = true;
  }
  return true;
}

void changeBasis(SimplexEngine &e, int q, int r, signed char leaveMove) {
  const int leaving = e.head[r];
  e.head[r] = q;
  e.basicPos[q] = r;
  e.basicPos[leaving] = -1;
  packedColumnMoved(e, q, true);
  packedColumnMoved(e, leaving, false);
  e.move[leaving] = leaveMove;
  e.dj[q] = 0.0;
}

double maxPrimalInfeasibility(const SimplexEngine &e, int *where) {
  double worst = 0.0;
  int at = -1;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    const double v = std::max(e.lower[j] - e.x[j], e.x[j] - e.upper[j]);
    if (v > worst) worst = v, at = k;
  }
  if (where) *where = at;
  return worst;
}

double dualInfeasibility(const SimplexEngine &e, bool flipBoxed, int *count) {
  double sum = 0.0;
  int c = 0;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j]) continue;
    const double d = e.dj[j];
    double v = 0.0;
    if (flipBoxed && isBoxed(e, j)) continue;
    if (e.move[j] == kAtZero)
      v = std::fabs(d);
    else if (e.move[j] == kAtLower)
      v = -d;
    else
      v = d;
    if (v > e.dualTol) sum += v, ++c;
  }
  if (count) *count = c;
  return sum;
}

namespace {
// The limit a loop tests: the one in the direction it moves the objective.
double objectiveLimit(const SimplexEngine &e, bool dualLoop, bool &upward) {
  const GeneralParams &gp = *e.env->generalParams;
  upward = dualLoop == (e.lp->sense > 0);
  return upward ? gp.objulim : gp.objllim;
}
} // namespace

bool objectiveLimitSet(const SimplexEngine &e, bool dualLoop) {
  if (e.cutoffGiven) return dualLoop && e.cutoff < 1e75;
  bool upward;
  return std::fabs(objectiveLimit(e, dualLoop, upward)) < 1e75;
}

bool objectiveLimitPassed(const SimplexEngine &e, bool dualLoop) {
  return objectiveLimitPassedAt(e, dualLoop, objectiveValue(e));
}

bool objectiveLimitPassedAt(const SimplexEngine &e, bool dualLoop, double objective) {
  if (e.cutoffGiven) return dualLoop && e.cutoff < 1e75 && objective + e.lp->sense * e.lp->offset > e.cutoff;
  bool upward;
  const double limit = objectiveLimit(e, dualLoop, upward);
  if (std::fabs(limit) >= 1e75) return false;
  const double value = e.lp->sense * objective + e.lp->offset;
  return upward ? value > limit : value < limit;
}

namespace {
// What a progress callback may ask of the loop's point: its objective (the
// basic solution's value is both loops' objective), and the sums of the
// violations of the working bounds and of the reduced costs' signs.
void measureEngine(const void *source, LpProgress &p) {
  const auto &e = *static_cast<const SimplexEngine *>(source);
  const double objective = e.lp->sense * objectiveValue(e) + e.lp->offset;
  p.primalObjective = p.dualObjective = objective;
  double primal = 0.0, worst = 0.0;
  for (int k = 0; k < e.m; ++k) {
    const int j = e.head[k];
    const double v = std::max(0.0, std::max(e.lower[j] - e.x[j], e.x[j] - e.upper[j]));
    primal += v;
    worst = std::max(worst, v);
  }
  p.primalInfeasibility = primal;
  p.dualInfeasibility = dualInfeasibility(e, true);
  p.primalFeasible = worst <= e.primalTol;
  p.dualFeasible = p.dualInfeasibility == 0.0;
}

bool progressSaysStop(const SimplexEngine &e) {
  LpProgress p;
  p.wherefrom = e.loopKind;
  p.iterations = e.iterations;
  p.measure = measureEngine;
  p.source = &e;
  return reportProgress(e.env, p) != 0;
}
} // namespace

int checkLimits(SimplexEngine &e) {
  if (e.iterations >= e.iterationLimit) return kRunIterLimit;
  if (e.reportProgress && e.loopKind != 0 && progressCallbackSet(e.env) && progressSaysStop(e)) return kRunAborted;
  if (terminateRequested(e.env)) return kRunAborted;
  // Every tenth iteration: on a large LP a hundred iterations can take a
  // good part of a second, beyond what a time limit may overrun.
  if (e.iterations > 0 && e.iterations % 10 == 0 && e.timeLimit < 1e74) {
    if (limitSeconds(e.limitClock) > e.timeLimit) return kRunTimeLimit;
  }
  // A long solve tells the caller it is alive: at most every thousand
  // iterations and every ten seconds.
  if (e.reportProgress && e.display > 0 && e.iterations > 0 && e.iterations % 1000 == 0 &&
      e.iterations - e.elapsedLineIteration >= 1000) {
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - e.start).count();
    if (elapsed - e.elapsedLineSeconds >= 10.0) {
      QVNmsg(e.env->resultsChannel, "Elapsed time = %7.2f sec. (%d iterations).\n", elapsed, e.iterations);
      QVNflushchannel(e.env, e.env->resultsChannel);
      e.elapsedLineIteration = e.iterations;
      e.elapsedLineSeconds = elapsed;
    }
  }
  return kRunGoing;
}

} // namespace qvn
