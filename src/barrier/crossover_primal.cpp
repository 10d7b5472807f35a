// Primal pushes: every superbasic variable goes to a bound, or into the basis
// when a basic variable reaches its own bound first, which then leaves.
#include <algorithm>
#include <cmath>

#include "barrier/crossover.h"
#include "simplex/loops.h"

namespace qvn {

namespace {

constexpr double kColumnZero = 1e-11;  // entries of a solved column below this are rounding
constexpr double kPivotTol = 1e-7;     // smallest pivot an exchange accepts
constexpr double kBreakdownDrift = 100.0;  // relative drift of a basic value that stops the phase at once
constexpr double kDriftNoted = 1.0;        // ... and the one that stops it at the kDriftCountLimit-th time
constexpr int kDriftCountLimit = 6;
constexpr int kFirstRun = 16, kLongestRun = 1024;  // superbasics pushed by one solve
constexpr double kCostTol = 1e-5;      // a reduced cost this small leaves the direction to the bounds
constexpr double kHarrisTol = 1e-9;    // relative overstep of a bound the ratio test allows

// Where superbasic j with reduced cost d goes: the direction, the distance
// (kInfinity when only a basic variable can stop it) and the nonbasic
// position it ends in.
void chooseTarget(const SimplexEngine &e, int j, double d, double &dir, double &dist, signed char &endMove) {
  const double x = e.x[j], l = e.lower[j], u = e.upper[j];
  const bool hasL = l > -kInfinity, hasU = u < kInfinity;
  if (!hasL && !hasU) {
    // A free column is best basic: it moves against its reduced cost (or
    // towards 0) until a basic variable stops it.
    dir = std::fabs(d) > kCostTol ? (d > 0 ? -1.0 : 1.0) : (x > 0 ? -1.0 : 1.0);
    dist = kInfinity;
    endMove = kAtZero;
    return;
  }
  // Against the reduced cost; with none to speak of, to the nearer bound.
  // Towards a missing bound only a basic variable can stop the move.
  bool down;
  if (d > kCostTol)
    down = true;
  else if (d < -kCostTol)
    down = false;
  else if (hasL && hasU)
    down = x - l <= u - x;
  else
    down = hasL;
  dir = down ? -1.0 : 1.0;
  if (down ? !hasL : !hasU) {
    dist = kInfinity;
    endMove = kAtZero;
    return;
  }
  dist = std::max(down ? x - l : u - x, 0.0);
  endMove = down ? kAtLower : kAtUpper;
}

// The ratio test over the solved column in e.column for a move of dir up to
// dist: -1 when nothing stops the move before dist, -2 when nothing stops an
// unlimited move, -3 when only a pivot below kPivotTol would; else the
// position of the basic variable that leaves, with the step in `step`.
int primalRatio(const SimplexEngine &e, double dir, double dist, double &step) {
  const HVector &col = e.column;
  double thetaMax = dist;
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    const double a = col.array[pos];
    if (std::fabs(a) < kColumnZero) continue;
    const int j = e.head[pos];
    const double g = -dir * a;  // change of x_j per unit step
    double t;
    if (g < 0 && e.lower[j] > -kInfinity)
      t = (e.x[j] - e.lower[j] + kHarrisTol * std::max(1.0, std::fabs(e.lower[j]))) / -g;
    else if (g > 0 && e.upper[j] < kInfinity)
      t = (e.upper[j] - e.x[j] + kHarrisTol * std::max(1.0, std::fabs(e.upper[j]))) / g;
    else
      continue;
    thetaMax = std::min(thetaMax, std::max(t, 0.0));
  }
  if (thetaMax >= dist) {
    step = dist;
    return dist >= kInfinity ? -2 : -1;
  }
  // Among the variables that reach their bound within the relaxed step, the
  // largest pivot leaves.
  double bestAbs = 0.0, leaveRatio = 0.0;
  const int leave = largestPivotWithin(e, dir, thetaMax, kColumnZero, &bestAbs, &leaveRatio);
  if (leave < 0 || bestAbs < kPivotTol) return -3;
  step = std::max(leaveRatio, 0.0);
  return leave;
}

// After the dual pushes (a dual crossover) the basis is dual feasible, and
// an exchange would bring in a column whose reduced cost is not nil. A
// variable whose reduced cost names its bound goes there whatever the basic
// values do: the dual simplex that finishes mends the primal side, which
// costs it far fewer iterations than a dual infeasible start.
bool forcedPush(const CrossoverWork &cw, double d, double dist) {
  return !cw.primalFirst && std::fabs(d) > kCostTol && dist < kInfinity;
}

void logPrimalMoves(const CrossoverWork &cw) {
  const SimplexEngine &e = cw.e;
  QVNmsg(e.env->resultsChannel, "   %6d PMoves:  Infeasibility %15.8e  Objective %15.8e\n", cw.moves,
         primalInfeasibilitySum(e), e.lp->sense * objectiveValue(e) + e.lp->offset);
}

// One superbasic: 1 when it moved (pushed or exchanged), 0 when it stays.
int pushOne(CrossoverWork &cw, int j) {
  SimplexEngine &e = cw.e;
  HVector &col = e.column;
  hvClear(col);
  addColumn(*e.lp, j, 1.0, col.array.data());
  if (j < e.n) {
    col.count = 0;
    for (int p = e.lp->aStart[j]; p < e.lp->aStart[j + 1]; ++p) col.index[col.count++] = e.lp->aIndex[p];
  } else {
    col.index[0] = j - e.n;
    col.count = 1;
  }
  ftranForUpdate(e.factor, col);
  // Before the dual pushes the direction comes from the reduced cost of the
  // dual point: moving against it keeps x complementary to that point, so
  // the dual pushes find the bounds on the side they need. After them, or
  // where the point's reduced cost is nil, the one of the current basis,
  // d_j = c_j - c_B^T B^-1 a_j, decides: a move against it cannot raise the
  // objective.
  double d = cw.primalFirst ? cw.z[j] : 0.0;
  if (std::fabs(d) <= kCostTol) {
    d = e.cost[j];
    for (int k = 0; k < col.count; ++k) d -= e.cost[e.head[col.index[k]]] * col.array[col.index[k]];
  }
  double dir, dist;
  signed char endMove;
  chooseTarget(e, j, d, dir, dist, endMove);
  double step = 0.0;
  int r;
  if (forcedPush(cw, d, dist)) {
    step = dist;
    r = -1;
  } else {
    r = primalRatio(e, dir, dist, step);
  }
  if (r == -2) {
    // Nothing stops the move: a ray that the interior point's optimality
    // denies, or a free column that costs nothing. The nearer bound, or 0 for
    // a free column, instead.
    chooseTarget(e, j, 0.0, dir, dist, endMove);
    if (dist >= kInfinity) {
      dir = e.x[j] > 0 ? -1.0 : 1.0;
      dist = std::fabs(e.x[j]);
    }
    r = primalRatio(e, dir, dist, step);
  }
  if (r <= -2) {
    hvClear(col);
    return 0;
  }
  for (int k = 0; k < col.count; ++k) {
    const int pos = col.index[k];
    e.x[e.head[pos]] -= dir * step * col.array[pos];
  }
  if (r == -1) {
    e.move[j] = endMove;
    e.x[j] = endMove == kAtZero ? 0.0 : endMove == kAtLower ? e.lower[j] : e.upper[j];
    ++cw.counts.primalPushes;
    hvClear(col);
    return 1;
  }
  e.x[j] += dir * step;
  const int leaving = e.head[r];
  const double alpha = col.array[r];
  const bool toLower = -dir * alpha < 0;
  const double value = e.x[j];
  updateFactor(e.factor, r, alpha);
  changeBasis(e, j, r, toLower ? kAtLower : kAtUpper);
  e.x[j] = value;
  e.x[leaving] = toLower ? e.lower[leaving] : e.upper[leaving];
  ++cw.counts.primalExchanges;
  hvClear(col);
  return 1;
}

// The direction of superbasic j as pushOne takes it, without its column:
// the point's reduced cost, or else c_j - a_j^T y with y the duals of the
// basis (`duals`, filled on first need).
double pushCost(CrossoverWork &cw, int j, bool &dualsReady) {
  SimplexEngine &e = cw.e;
  const double d = cw.primalFirst ? cw.z[j] : 0.0;
  if (std::fabs(d) > kCostTol) return d;
  if (!dualsReady) {
    HVector &y = e.rowRho;
    hvClear(y);
    for (int k = 0; k < e.m; ++k) y.array[k] = e.cost[e.head[k]];
    y.count = -1;
    btran(e.factor, y);
    cw.batchDuals.assign(y.array.begin(), y.array.begin() + e.m);
    hvClear(y);
    dualsReady = true;
  }
  return e.cost[j] - columnDot(*e.lp, j, cw.batchDuals.data());
}

// Pushes the superbasics in `run` to their bounds together, by one solve
// for the combined change of the basic values: taken (true) only when every
// basic variable ends within its bound and the ratio test's tolerance, or
// no further outside than it was. Most pushes need no exchange, and one
// solve for a run of them is far cheaper than one each. A variable with no
// bound in its direction ends the run before it (`taken` counts the run's
// head that was treated).
bool pushBatch(CrossoverWork &cw, const int *run, int count, bool &dualsReady, int &taken) {
  SimplexEngine &e = cw.e;
  HVector &col = e.column;
  hvClear(col);
  double *rhs = col.array.data();
  taken = 0;
  bool allForced = true;
  for (; taken < count; ++taken) {
    const int j = run[taken];
    double dir, dist;
    signed char endMove;
    const double d = pushCost(cw, j, dualsReady);
    chooseTarget(e, j, d, dir, dist, endMove);
    if (dist >= kInfinity) break;
    allForced = allForced && forcedPush(cw, d, dist);
    cw.batchMove[taken] = endMove;
    addColumn(*e.lp, j, -dir * dist, rhs);
  }
  if (taken == 0) {
    hvClear(col);
    return false;
  }
  col.count = -1;
  ftran(e.factor, col);
  bool inside = true;
  for (int k = 0; k < e.m && inside && !allForced; ++k) {
    const int j = e.head[k];
    const double before = e.x[j], after = before + rhs[k];
    const double below = e.lower[j] - kHarrisTol * std::max(1.0, std::fabs(e.lower[j]));
    const double above = e.upper[j] + kHarrisTol * std::max(1.0, std::fabs(e.upper[j]));
    if (after < below && after < before) inside = false;
    if (after > above && after > before) inside = false;
  }
  if (inside) {
    for (int k = 0; k < e.m; ++k) e.x[e.head[k]] += rhs[k];
    for (int q = 0; q < taken; ++q) {
      const int j = run[q];
      const signed char m = cw.batchMove[q];
      e.move[j] = m;
      e.x[j] = m == kAtLower ? e.lower[j] : e.upper[j];
    }
    cw.counts.primalPushes += taken;
  }
  hvClear(col);
  return inside;
}

} // namespace

int primalPushes(CrossoverWork &cw) {
  SimplexEngine &e = cw.e;
  Environment *env = e.env;
  // The list may hold variables that a repair or an exchange made basic.
  int count = 0;
  for (const int j : cw.list)
    if (e.basicPos[j] < 0 && e.move[j] == kAtZero) ++count;
  if (cw.log) {
    if (count == 0)
      QVNmsg(env->resultsChannel, "  Primal:  Fixed no variables.\n");
    else if (count == 1)
      QVNmsg(env->resultsChannel, "  Primal:  Fixing 1 variable.\n");
    else
      QVNmsg(env->resultsChannel, "  Primal:  Fixing %d variables.\n", count);
  }
  const int pushesBefore = cw.counts.primalPushes, exchangesBefore = cw.counts.primalExchanges;
  cw.moves = 0;
  bool logged = false;
  // Runs of superbasics are tried together first; a run that would take a
  // basic variable out of its bounds is split, and the next run is shorter.
  // The duals for the directions hold until the basis changes.
  EnvVector<int> run, members, batch;
  EnvVector<std::pair<int, int>> ranges;  // [lo, hi) of run, the last one next
  cw.batchMove.assign(kLongestRun, kAtZero);
  int runLength = kFirstRun;
  bool dualsReady = false;
  // A fresh factor when the updates ask for one; cw.breakdown when its
  // drift shows a basis too ill-conditioned to go on: basic values that it
  // moves by more than their size, once far or again and again, make the
  // moves meaningless, and the phase stops to leave the choice to the caller.
  auto brokenDown = [&]() -> int {
    if (!refactorDue(e.factor)) return 0;
    QVN_TRY(crossoverRefactor(cw));
    dualsReady = false;  // a repair may have changed the basis
    if (cw.log) logPrimalMoves(cw);
    if (cw.drift > kDriftNoted) ++cw.driftCount;
    cw.breakdown = cw.drift > kBreakdownDrift || cw.driftCount >= kDriftCountLimit;
    return 0;
  };
  for (size_t k = 0; k < cw.list.size() && !cw.breakdown;) {
    if (crossoverLimitHit(cw)) return 0;
    if (cw.log && !logged) logPrimalMoves(cw), logged = true;
    const int movesLeft = e.iterationLimit - (cw.counts.primalPushes + cw.counts.primalExchanges +
                                              cw.counts.dualPushes + cw.counts.dualExchanges);
    run.clear();
    for (; k < cw.list.size() && static_cast<int>(run.size()) < std::min(runLength, movesLeft); ++k) {
      const int j = cw.list[k];
      if (e.basicPos[j] < 0 && e.move[j] == kAtZero) run.push_back(j);
    }
    // A run that fails as a batch is split in halves, each tried as a batch
    // again, down to single pushes (with exchanges): the few superbasics
    // that need an exchange cost a solve each, the rest go by halves.
    const int runCount = static_cast<int>(run.size());
    ranges.clear();
    ranges.push_back({0, runCount});
    bool whole = true;
    while (!ranges.empty() && !cw.breakdown) {
      const auto [lo, hi] = ranges.back();
      ranges.pop_back();
      members.clear();
      for (int q = lo; q < hi; ++q)
        if (e.basicPos[run[q]] < 0 && e.move[run[q]] == kAtZero) members.push_back(q);
      if (members.empty()) continue;
      if (members.size() >= 2) {
        batch.clear();
        for (const int q : members) batch.push_back(run[q]);
        int taken = 0;
        if (pushBatch(cw, batch.data(), static_cast<int>(batch.size()), dualsReady, taken)) {
          cw.moves += taken;
          if (taken < static_cast<int>(members.size())) {
            // members[taken] has no bound its way: alone, then the rest.
            ranges.push_back({members[taken] + 1, hi});
            ranges.push_back({members[taken], members[taken] + 1});
          }
          QVN_TRY(brokenDown());
          continue;
        }
        whole = false;
        if (taken == 0) {
          // The head has no bound its way: alone, then the rest.
          ranges.push_back({members[0] + 1, hi});
          ranges.push_back({members[0], members[0] + 1});
        } else {
          const int mid = members[members.size() / 2];
          ranges.push_back({mid, hi});
          ranges.push_back({lo, mid});
        }
        continue;
      }
      // A single member: a push or an exchange.
      for (const int q : members) {
        const int j = run[q];
        if (cw.breakdown) break;
        if (e.basicPos[j] >= 0 || e.move[j] != kAtZero) continue;
        if (crossoverLimitHit(cw)) return 0;
        const int exchanged = cw.counts.primalExchanges;
        cw.moves += pushOne(cw, j);
        if (cw.counts.primalExchanges != exchanged) dualsReady = false;
        QVN_TRY(brokenDown());
      }
    }
    runLength = whole ? std::min(2 * runLength, kLongestRun) : std::max(runLength / 2, kFirstRun);
    if (!cw.breakdown) QVN_TRY(brokenDown());
    crossoverElapsedLine(cw, "PMoves");
  }
  if (cw.log && cw.moves > 0) logPrimalMoves(cw);
  if (cw.log && count > 0)
    QVNmsg(env->resultsChannel, "  Primal:  Pushed %d, exchanged %d.\n", cw.counts.primalPushes - pushesBefore,
           cw.counts.primalExchanges - exchangesBefore);
  return 0;
}

} // namespace qvn
