// Presolve around the barrier on a quadratic objective.
//
// The linear presolve knows nothing of Q, so the columns that Q touches are
// protected for the run: no argument about the objective, no substitution
// and no merge may remove them, since each of those reasons with a linear
// cost. What may still remove such a column is a fixing at a constant value
// (x_j = v); with F the fixed columns and S the rest,
//   1/2 x'Qx = 1/2 x_S'Q_SS x_S + v'Q_FS x_S + 1/2 v'Q_FF v,
// so the reduced problem gets Q_SS, its linear costs Q_SF v more and its
// offset 1/2 v'Q_FF v more. The replay of the log then gives x exactly; the
// duals it rebuilds from costs stay right as long as no removed Q column
// took part in a record that reads its reduced cost (a singleton row on it,
// or a doubleton that passed it bounds), and a forcing row fixes its
// columns by a dual argument too. A run that did either is thrown away and
// the barrier solves the problem as it stands. The reduced costs of the
// answer are recomputed as c + Qx - A'pi from the caller's data.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>

#include "barrier/barrier.h"
#include "presolve/presolve_state.h"
#include "quadratic/qp_data.h"
#include "quadratic/qp_presolve.h"
#include "runtime/environment.h"
#include "runtime/errors.h"
#include "runtime/params.h"

namespace qvn {

namespace {

// Distance (relative to 1 + |bound|) within which a value of the reduced
// answer counts as resting on its bound.
constexpr double kOnBound = 1e-7;

// Runs the linear presolve with the columns of Q protected, and restores the
// caller's own protected list after it. Returns what the run returned.
int presolveProtected(Environment *env, Problem *lp, const EnvVector<char> &inQ) {
  EnvVector<int> own;
  if (lp->presolved) own = lp->presolved->protectedList;
  EnvVector<int> list(own);
  for (int j = 0; j < static_cast<int>(inQ.size()); ++j)
    if (inQ[j]) list.push_back(j);
  std::sort(list.begin(), list.end());
  list.erase(std::unique(list.begin(), list.end()), list.end());
  if (!lp->presolved) lp->presolved = envNew<PresolveState>();
  lp->presolved->protectedList.swap(list);
  const int status = runPresolve(env, lp, true, methodNumber(LpMethod::kBarrier));
  if (lp->presolved) lp->presolved->protectedList.swap(own);
  return status;
}

// The value of every removed column of Q, or false when one of them left
// in a way whose duals the replay cannot rebuild with Q in the objective.
bool fixedValuesOfQ(const PresolveState &s, const EnvVector<char> &inQ, EnvVector<double> &value) {
  const int n = s.numCols;
  EnvVector<char> fixed(static_cast<size_t>(n), 0), readsCost(static_cast<size_t>(n), 0);
  value.assign(static_cast<size_t>(n), 0.0);
  for (int h = s.head; h >= 0; h = s.records[static_cast<size_t>(h)].next) {
    const ReductionRecord &r = s.records[static_cast<size_t>(h)];
    switch (r.kind) {
    case kRecFixed:
      fixed[r.index] = 1;
      value[r.index] = r.value;
      break;
    case kRecRowLower: case kRecRowUpper: case kRecRowEqual:
      readsCost[s.recIndex[r.first]] = 1;
      break;
    case kRecDoubleton:
      if (r.other >= 0) readsCost[r.other] = 1;
      break;
    default: break;
    }
  }
  for (int j = 0; j < n; ++j)
    if (inQ[j] && s.colMap[j] < 0 && (!fixed[j] || readsCost[j])) return false;
  return true;
}

// Q of the reduced problem and the linear and constant parts that the fixed
// columns of Q leave, installed on s.reduced.
int installReducedQ(Environment *env, const QpData &q, PresolveState &s, const EnvVector<double> &fixedValue) {
  Problem *red = s.reduced;
  LpData &rd = *red->lpData;
  const int n = s.numCols, nr = rd.numCols;
  EnvVector<EnvVector<std::pair<int, double>>> cols(static_cast<size_t>(nr));
  forEachQEntry(q, n, [&](int i, int j, double v) {
    const int ri = s.colMap[i], rj = s.colMap[j];
    if (ri >= 0 && rj >= 0)
      cols[rj].push_back({ri, v});
    else if (ri >= 0)
      rd.objCoef[ri] += v * fixedValue[j];
    else if (rj < 0)
      rd.objOffset += 0.5 * v * fixedValue[i] * fixedValue[j];
  });
  EnvVector<int> start(static_cast<size_t>(nr) + 1, 0), count(static_cast<size_t>(nr) + 1, 0), index;
  EnvVector<double> entry;
  for (int k = 0; k < nr; ++k) {
    start[k] = static_cast<int>(index.size());
    for (const auto &[row, v] : cols[k]) index.push_back(row), entry.push_back(v);
    count[k] = static_cast<int>(index.size()) - start[k];
  }
  index.push_back(0), entry.push_back(0.0);  // data() stays valid for an empty Q
  return QVNcopyquad(env, red, start.data(), count.data(), index.data(), entry.data());
}

// Columns that presolve sent to a bound by the sign of their cost alone
// (no row could stop them moving that way): the rows they sat in then were
// one-sided against them, so any row dual of the right sign keeps their
// reduced cost of the right sign too. Such a column, like a fixed one,
// leaves a row's dual free. A column sent to a bound by a forcing row is not
// one of them: its reduced cost depends on that row's dual.
void markDominatedColumns(const PresolveState &s, EnvVector<char> &anyDual) {
  for (int h = s.head; h >= 0; h = s.records[static_cast<size_t>(h)].next) {
    const ReductionRecord &r = s.records[static_cast<size_t>(h)];
    if ((r.kind == kRecAtLower || r.kind == kRecAtUpper) && s.dualRemoved[r.index]) anyDual[r.index] = 1;
  }
}

// The replay hands a singleton row the reduced cost of its column when the
// column's value is not exactly on one of its own bounds, which is what a
// vertex gives but not an interior point: a value 1e-6 off its own lower
// bound, with a positive reduced cost, would make a row that capped the
// column from above take a dual of the wrong sign. So the duals of those
// rows are settled again here from distances: the column's reduced cost
// without them, g, goes to whichever of its own bound or one of the rows
// can hold it with the right sign and lies nearest to the value, the
// others get 0. Only rows whose other entries are fixed or dominated columns
// (whose reduced costs stay right) are settled, so no other column's
// optimality moves. Duals here are in minimization sense: y = sense * pi.
void settleSingletonRows(const Problem *lp, const PresolveState &s, const EnvVector<double> &qx, SolutionBlock &sol) {
  const LpData &d = *lp->lpData;
  const int n = d.numCols, m = d.numRows;
  const double sense = d.objSense;
  EnvVector<int> colOfRow(static_cast<size_t>(m), -1);
  for (int h = s.head; h >= 0; h = s.records[static_cast<size_t>(h)].next) {
    const ReductionRecord &r = s.records[static_cast<size_t>(h)];
    if (r.kind == kRecRowLower || r.kind == kRecRowUpper || r.kind == kRecRowEqual) colOfRow[r.index] = s.recIndex[r.first];
  }
  EnvVector<double> activity(static_cast<size_t>(m), 0.0), coef(static_cast<size_t>(m), 0.0);
  EnvVector<char> settle(static_cast<size_t>(m), 0), anyDual(static_cast<size_t>(n), 0);
  for (int i = 0; i < m; ++i) settle[i] = colOfRow[i] >= 0;
  for (int j = 0; j < n; ++j) anyDual[j] = d.lowerBound[j] == d.upperBound[j];
  markDominatedColumns(s, anyDual);
  for (int j = 0; j < n; ++j)
    for (int k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      const int i = d.rowIndex[k];
      activity[i] += d.coefValue[k] * sol.x[j];
      if (colOfRow[i] == j) coef[i] = d.coefValue[k];
    }
  // A column fixed by an equation that is settled here has its reduced cost
  // set to 0 by that equation's free dual, so it too leaves the duals of its
  // other rows free; that may free further rows, hence the rounds.
  for (int round = 0; round <= m; ++round) {
    bool grew = false;
    for (int i = 0; i < m; ++i) settle[i] = colOfRow[i] >= 0;
    for (int j = 0; j < n; ++j)
      for (int k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
        const int i = d.rowIndex[k];
        if (colOfRow[i] >= 0 && colOfRow[i] != j && !anyDual[j]) settle[i] = 0;
      }
    for (int i = 0; i < m; ++i)
      if (settle[i] && d.sense[i] == 'E' && coef[i] != 0.0 && !anyDual[colOfRow[i]])
        anyDual[colOfRow[i]] = 1, grew = true;
    if (!grew) break;
  }
  EnvVector<int> head(static_cast<size_t>(n), -1), next(static_cast<size_t>(m), -1);
  for (int i = 0; i < m; ++i)
    if (settle[i] && coef[i] != 0.0) next[i] = head[colOfRow[i]], head[colOfRow[i]] = i;
  for (int j = 0; j < n; ++j) {
    if (head[j] < 0) continue;
    double g = sense * (d.objCoef[j] + qx[j]);
    for (int k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      const int i = d.rowIndex[k];
      if (!(settle[i] && coef[i] != 0.0 && colOfRow[i] == j)) g -= d.coefValue[k] * sense * sol.pi[i];
    }
    const double x = sol.x[j], lo = d.lowerBound[j], up = d.upperBound[j];
    double best = g > 0 ? (lo > -kInfinity ? x - lo : kInfinity) : g < 0 ? (up < kInfinity ? up - x : kInfinity) : 0.0;
    int bestRow = -1;
    for (int i = head[j]; i >= 0; i = next[i]) {
      double rowLo = 0.0, rowUp = 0.0;
      rowActivityLimits(d, i, rowLo, rowUp);
      const double y = g / coef[i];
      const double gap = y > 0 ? (rowLo > -kInfinity ? std::fabs(activity[i] - rowLo) : kInfinity)
                         : y < 0 ? (rowUp < kInfinity ? std::fabs(activity[i] - rowUp) : kInfinity)
                                 : 0.0;
      const double dist = gap / std::fabs(coef[i]);
      if (dist < best) best = dist, bestRow = i;
      sol.pi[i] = 0.0;
    }
    if (bestRow >= 0) sol.pi[bestRow] = sense * g / coef[bestRow];
  }
}

// The same for the equations through which a doubleton was substituted:
// y = (b - a_k x_k) / a_y left, and x_k took over y's bounds. Either y is
// basic and x_k rests on a bound of its own (the row's dual from y's
// reduced cost), or x_k is basic and y rests on one of its bounds (the
// row's dual from x_k's). The replay picks by exact position; here the
// nearer bound wins. Duals in minimization sense, as above.
void settleDoubletons(const Problem *lp, const PresolveState &s, const EnvVector<double> &qx, SolutionBlock &sol) {
  const LpData &d = *lp->lpData;
  const double sense = d.objSense;
  // Reduced cost of column j in minimization sense without row skip.
  auto reducedWithout = [&](int j, int skip) {
    double g = sense * (d.objCoef[j] + qx[j]);
    for (int k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k)
      if (d.rowIndex[k] != skip) g -= d.coefValue[k] * sense * sol.pi[d.rowIndex[k]];
    return g;
  };
  // Distance of column j from the bound that a reduced cost g asks for.
  auto distance = [&](int j, double g) {
    const double x = sol.x[j], lo = d.lowerBound[j], up = d.upperBound[j];
    return g > 0 ? (lo > -kInfinity ? std::fabs(x - lo) : kInfinity)
         : g < 0 ? (up < kInfinity ? std::fabs(up - x) : kInfinity)
                 : 0.0;
  };
  EnvVector<char> onlyFixed(static_cast<size_t>(d.numRows), 1);
  EnvVector<int> pairOf(static_cast<size_t>(d.numRows), -1);
  for (int h = s.head; h >= 0; h = s.records[static_cast<size_t>(h)].next) {
    const ReductionRecord &r = s.records[static_cast<size_t>(h)];
    if (r.kind == kRecDoubleton && r.count >= 2) pairOf[r.index] = h;
  }
  for (int j = 0; j < d.numCols; ++j)
    for (int k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      const int i = d.rowIndex[k];
      if (pairOf[i] < 0 || d.lowerBound[j] == d.upperBound[j]) continue;
      const ReductionRecord &r = s.records[static_cast<size_t>(pairOf[i])];
      if (j != s.recIndex[r.first] && j != s.recIndex[r.first + 1]) onlyFixed[i] = 0;
    }
  for (int h = s.head; h >= 0; h = s.records[static_cast<size_t>(h)].next) {
    const ReductionRecord &r = s.records[static_cast<size_t>(h)];
    const int i = r.index;
    if (r.kind != kRecDoubleton || r.count < 2 || !onlyFixed[i]) continue;
    const int y = s.recIndex[r.first], k = s.recIndex[r.first + 1];
    const double ay = s.recValue[r.first], ak = s.recValue[r.first + 1];
    const double gy = reducedWithout(y, i), gk = reducedWithout(k, i);
    const double dualByY = gy / ay, dualByK = gk / ak;
    const double keepOnBound = distance(k, gk - ak * dualByY), yOnBound = distance(y, gy - ay * dualByK);
    sol.pi[i] = sense * (keepOnBound <= yOnBound ? dualByY : dualByK);
  }
}

// The reduced problem's answer carried back: x and pi by the replay, the
// reduced costs and the objective from the caller's data with Q.
void installAnswer(Problem *lp, const PresolveState &s, const Problem *red, int status) {
  const LpData &d = *lp->lpData;
  const QpData &q = *lp->qpData;
  const int n = d.numCols, m = d.numRows;
  if (!lp->solution) lp->solution = envNew<SolutionBlock>();
  SolutionBlock &sol = *lp->solution;
  sol.x.assign(static_cast<size_t>(n), 0.0);
  sol.dj.assign(static_cast<size_t>(n), 0.0);
  sol.pi.assign(static_cast<size_t>(m), 0.0);
  sol.slack.assign(static_cast<size_t>(m), 0.0);
  ReducedSolution in;
  EnvVector<double> onBounds;
  if (red && red->solution) {
    // The replay tells a column held by its own bound from one held by a
    // row that tightened it by which bound the value sits on, to 1e-9; an
    // interior point comes within some 1e-8 of a bound and no closer, so
    // values that near a bound of the reduced problem are put on it.
    const LpData &rd = *red->lpData;
    onBounds.assign(red->solution->x.begin(), red->solution->x.end());
    for (int k = 0; k < rd.numCols && k < static_cast<int>(onBounds.size()); ++k) {
      const double lo = rd.lowerBound[k], up = rd.upperBound[k];
      if (lo > -kInfinity && onBounds[k] - lo <= kOnBound * (1.0 + std::fabs(lo))) onBounds[k] = lo;
      if (up < kInfinity && up - onBounds[k] <= kOnBound * (1.0 + std::fabs(up))) onBounds[k] = up;
    }
    in.x = onBounds.data();
    in.pi = red->solution->pi.data();
    in.dj = red->solution->dj.data();
  }
  OriginalSolution out;
  out.x = sol.x.data();
  out.activity = sol.slack.data();
  out.pi = sol.pi.data();
  uncrush(lp, s, in, out);
  EnvVector<double> qx(static_cast<size_t>(n), 0.0);
  forEachQEntry(q, n, [&](int i, int j, double v) { qx[i] += v * sol.x[j]; });
  // Each settles its rows on the duals of the others: twice round lets a
  // row settled first see the final duals of the rows settled after it.
  for (int round = 0; round < 2; ++round) {
    settleDoubletons(lp, s, qx, sol);
    settleSingletonRows(lp, s, qx, sol);
  }
  sol.objValue = quadraticReducedCosts(d, n, qx.data(), sol.x.data(), sol.pi.data(), sol.dj.data());
  for (int i = 0; i < m; ++i) sol.slack[i] = d.rhs[i] - sol.slack[i];
  sol.iterationCount = 0;
  sol.phase1Count = 0;
  sol.primalComputed = sol.dualComputed = true;
  sol.primalFeasible = sol.dualFeasible = status == kBarOptimal;
  sol.method = methodNumber(LpMethod::kBarrier);
  sol.barrierIterations = red && red->solution ? red->solution->barrierIterations : 0;
  lp->status = status;
}

} // namespace

namespace {
std::atomic<bool> quadraticPresolveOn{false};
} // namespace

bool enableQuadraticPresolve(bool on) { return quadraticPresolveOn.exchange(on); }

int quadraticSolveWithPresolve(Environment *env, Problem *lp) {
  // A presolve kept from an earlier solve knows nothing of Q.
  dropPresolveResult(lp);
  const GeneralParams &gp = *env->generalParams;
  if (gp.preind == 0 || !lp->qpData || !quadraticPresolveOn.load()) return barrierSolveQuadratic(env, lp);
  const int n = lp->lpData->numCols;
  EnvVector<char> inQ(static_cast<size_t>(n), 0);
  forEachQEntry(*lp->qpData, n, [&](int i, int j, double) { inQ[i] = inQ[j] = 1; });
  const auto clock = std::chrono::steady_clock::now();
  const int status = presolveProtected(env, lp, inQ);
  if (status == QVNERR_PRESLV_INF) {
    // Primal reductions alone proved it: the rows and bounds admit no point.
    dropPresolveResult(lp);
    modelChanged(env, lp, ModelEvent::kReducedProblemAbandoned);
    lp->status = kBarInfeasible;
    return 0;
  }
  if (status != 0) {
    // No memory, or a verdict that needs the optimizer to tell infeasible
    // from unbounded: the whole problem goes to the barrier.
    dropPresolveResult(lp);
    if (status == QVNERR_NO_MEMORY || status == QVNERR_PRESLV_INForUNBD || status == QVNERR_PRESLV_UNBD)
      return barrierSolveQuadratic(env, lp);
    return status;
  }
  if (gp.simdisplay != 0)
    QVNmsg(env->resultsChannel, "Presolve time = %7.2f sec.\n",
           std::chrono::duration<double>(std::chrono::steady_clock::now() - clock).count());
  PresolveState &s = *lp->presolved;
  EnvVector<double> fixedValue;
  if (s.nothingDone || !fixedValuesOfQ(s, inQ, fixedValue)) {
    dropPresolveResult(lp);
    return barrierSolveQuadratic(env, lp);
  }
  bool removedFromQ = false;
  for (int j = 0; j < n; ++j) removedFromQ = removedFromQ || (inQ[j] && s.colMap[j] < 0);
  // Fixed columns may hide where Q fails to be semi-definite: the test runs
  // on the whole Q first, as it would without presolve.
  if (removedFromQ) QVN_TRY(quadraticConvexityTest(env, lp));
  Problem *red = s.reduced;
  int result = kBarOptimal;
  if (red) {
    QVN_TRY(installReducedQ(env, *lp->qpData, s, fixedValue));
    QVN_TRY(flushCache(env, red));
    QVN_TRY(barrierSolveQuadratic(env, red));
    result = red->status;
  }
  modelChanged(env, lp, ModelEvent::kDualDriverBegins);
  installAnswer(lp, s, red, result);
  return 0;
}

} // namespace qvn
