// The sifting driver. The work LP is a Problem of its own: its columns are
// 2m artificials (+e_i and -e_i, which only phase 1 lets move) followed by
// the chosen structural columns. Columns left out rest at a lower bound of
// 0, so they add nothing to the rows; any other column stays in the work LP
// throughout. Objectives inside are in minimization sense.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "runtime/errors.h"
#include "simplex/engine.h"
#include "simplex/sifting.h"
#include "simplex/sifting_run.h"

namespace qvn {

namespace {

constexpr int kPrimal = methodNumber(LpMethod::kPrimal), kDual = methodNumber(LpMethod::kDual);
constexpr int kAutomatic = methodNumber(LpMethod::kAuto);
constexpr int kNetwork = methodNumber(LpMethod::kNetwork), kBarrier = methodNumber(LpMethod::kBarrier);

// Marks of inWork besides 0 (outside) and 1 (in the work LP), set only
// inside one update.
constexpr char kQueued = 2, kLeaving = 3;

struct SiftState {
  Environment *env = nullptr;
  Problem *lp = nullptr;
  Problem *workLp = nullptr;
  int n = 0, m = 0;
  EnvVector<double> cost;       // minimization sense, whole problem
  EnvVector<int> workColumns;   // original index of each structural of workLp
  EnvVector<char> inWork;       // per original column
  int phase1Iterations = 0, iterationCount = 0, workIterations = 0;
  int added = 0, removed = 0;
  int statusCode = 0;           // 0 running, 1 finished, 3 the limit was reached
  int solves = 0;               // of the work LP
  double tolerance = 1e-6;
  // The perturbation of the work columns' bounds against stalling: the
  // magnitude of the next one, the count of rounds without progress that
  // starts it, and whether the work LP's bounds are moved now.
  double perturbation = 1e-6;
  int perturbLimit = 3;
  bool perturbed = false;
  int stalledRounds = 0;
  double lastObjective = kInfinity;
  bool progressed = true;  // the last round lowered the objective of its phase
  // What code inside the run sees: phase, method and the last work point.
  SiftRun run;
  ~SiftState() {
    leaveSiftRun(&run);
    if (workLp) QVNfreeprob(env, &workLp);
  }
};

bool mustStayIn(const LpData &d, int j) { return d.lowerBound[j] != 0.0; }

// Adds original columns `cols` to the work LP with the costs of the phase.
int addWorkColumns(SiftState &s, const EnvVector<int> &cols) {
  if (cols.empty()) return 0;
  const LpData &d = *s.lp->lpData;
  EnvVector<double> obj, lo, up, val;
  EnvVector<int> start, idx;
  for (int j : cols) {
    obj.push_back(s.run.phase == 1 ? 0.0 : s.cost[j]);
    lo.push_back(d.lowerBound[j]);
    up.push_back(d.upperBound[j]);
    start.push_back(static_cast<int>(idx.size()));
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      idx.push_back(d.rowIndex[k]);
      val.push_back(d.coefValue[k]);
    }
    s.workColumns.push_back(j);
    s.inWork[j] = 1;
  }
  s.run.workColumnCount = static_cast<int>(s.workColumns.size());
  if (idx.empty()) idx.push_back(0), val.push_back(0.0);
  return QVNaddcols(s.env, s.workLp, static_cast<int>(cols.size()), static_cast<int>(start.empty() ? 0 : val.size()),
                    obj.data(), start.data(), idx.data(), val.data(), lo.data(), up.data(), nullptr);
}

int createWorkLp(SiftState &s) {
  const LpData &d = *s.lp->lpData;
  int status = 0;
  s.workLp = QVNcreateprob(s.env, &status, "sift");
  if (!s.workLp) return status;
  const int m = s.m;
  // The artificials: column 2i is +e_i, 2i+1 is -e_i, both fixed at 0 until phase 1.
  EnvVector<double> obj(static_cast<size_t>(2 * m + 1), 0.0), lo(obj.size(), 0.0), up(obj.size(), 0.0);
  EnvVector<double> val(obj.size(), 0.0);
  EnvVector<int> start(obj.size(), 0), count(obj.size(), 1), idx(obj.size(), 0);
  for (int i = 0; i < m; ++i) {
    start[2 * i] = 2 * i, start[2 * i + 1] = 2 * i + 1;
    idx[2 * i] = idx[2 * i + 1] = i;
    val[2 * i] = 1.0, val[2 * i + 1] = -1.0;
  }
  EnvVector<double> rhs(d.rhs.begin(), d.rhs.begin() + m);
  EnvVector<char> sense(d.sense.begin(), d.sense.begin() + m);
  const double *range = d.rangeValue.empty() ? nullptr : d.rangeValue.data();
  return QVNcopylp(s.env, s.workLp, 2 * m, m, 1, obj.data(), rhs.data(), sense.data(), start.data(), count.data(),
                   idx.data(), val.data(), lo.data(), up.data(), range);
}

// The first structural set: columns that cannot rest outside, and for each
// row the few columns of least cost per entry that cover it.
void firstColumns(SiftState &s, EnvVector<int> &cols) {
  const LpData &d = *s.lp->lpData;
  constexpr int kPerRow = 4;
  EnvVector<int> bestCol(static_cast<size_t>(s.m) * kPerRow + 1, -1);
  EnvVector<double> bestKey(bestCol.size(), 0.0);
  EnvVector<char> chosen(static_cast<size_t>(s.n + 1), 0);
  for (int j = 0; j < s.n; ++j) {
    if (mustStayIn(d, j)) {
      chosen[j] = 1;
      continue;
    }
    if (d.upperBound[j] == 0.0 || d.colCount[j] == 0) continue;
    const double key = s.cost[j] / d.colCount[j];
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      const int i = d.rowIndex[k];
      int *bc = &bestCol[static_cast<size_t>(i) * kPerRow];
      double *bk = &bestKey[static_cast<size_t>(i) * kPerRow];
      // Insertion into the row's short sorted list.
      int at = kPerRow;
      while (at > 0 && (bc[at - 1] < 0 || bk[at - 1] > key)) --at;
      if (at == kPerRow) continue;
      for (int t = kPerRow - 1; t > at; --t) bc[t] = bc[t - 1], bk[t] = bk[t - 1];
      bc[at] = j, bk[at] = key;
    }
  }
  for (int c : bestCol)
    if (c >= 0) chosen[c] = 1;
  for (int j = 0; j < s.n; ++j)
    if (chosen[j]) cols.push_back(j);
}

// Sets the costs and artificial bounds of a phase in the work LP.
int enterPhase(SiftState &s, int phase) {
  s.run.phase = phase;
  dropSiftPoint(s.run);
  s.lastObjective = kInfinity;
  s.stalledRounds = 0;
  s.progressed = true;
  const int m = s.m, count = 2 * m + static_cast<int>(s.workColumns.size());
  EnvVector<int> idx(static_cast<size_t>(count > 0 ? count : 1));
  EnvVector<double> obj(idx.size(), 0.0), ub(idx.size(), 0.0);
  EnvVector<char> kind(idx.size(), 'U');
  for (int k = 0; k < count; ++k) idx[k] = k;
  for (int k = 0; k < 2 * m; ++k) obj[k] = phase == 1 ? 1.0 : 0.0, ub[k] = phase == 1 ? kInfinity : 0.0;
  for (size_t k = 0; k < s.workColumns.size(); ++k) obj[2 * m + k] = phase == 1 ? 0.0 : s.cost[s.workColumns[k]];
  QVN_TRY(QVNchgobj(s.env, s.workLp, count, idx.data(), obj.data()));
  if (m > 0) QVN_TRY(QVNchgbds(s.env, s.workLp, 2 * m, idx.data(), kind.data(), ub.data()));
  return 0;
}

// An exported optimizer called from inside the sifting frame has printed its
// error already: negated, the outer frame does not print it again.
int inner(int status) { return status > 0 ? -status : status; }

// The work LP by the network stage and the primal clean-up, or by the
// barrier and crossover, each from scratch: neither takes the last round's
// basis, and both leave a basis for the pricing and the mapping back.
int solveWorkByOptimizer(SiftState &s) {
  Environment *env = s.env;
  int &netDisplay = env->netParams->netdisplay, &barDisplay = env->barrierParams->bardisplay;
  const int savedNet = netDisplay, savedBar = barDisplay;
  netDisplay = 0;
  barDisplay = 0;
  const int rc = s.run.method == kNetwork ? QVNhybnetopt(env, s.workLp, 'p') : QVNhybbaropt(env, s.workLp, 0);
  netDisplay = savedNet;
  barDisplay = savedBar;
  return inner(rc);
}

int solveWork(SiftState &s, int *status) {
  GeneralParams &gp = *s.env->generalParams;
  const int savedAdvind = gp.advind, savedDisplay = gp.simdisplay, savedRecovery = gp.p1004;
  const int savedRestart = gp.p1041;
  gp.advind = 1;
  gp.simdisplay = 0;
  // The work LP neither writes nor loads restart files: they would serve nothing.
  gp.p1004 = 2100000000;
  gp.p1041 = 0;
  // The automatic choice: the dual for the first work LP, which starts from
  // nothing; the primal afterwards, since added columns and new costs keep
  // the held basis primal feasible.
  const int method = s.run.method != kAutomatic ? s.run.method : s.solves == 0 ? kDual : kPrimal;
  ++s.solves;
  const int rc = method == kNetwork || method == kBarrier ? solveWorkByOptimizer(s)
                                                          : solveBySimplex(s.env, s.workLp, method);
  gp.advind = savedAdvind;
  gp.simdisplay = savedDisplay;
  gp.p1004 = savedRecovery;
  gp.p1041 = savedRestart;
  QVN_TRY(rc);
  *status = s.workLp->status;
  if (s.workLp->solution) s.workIterations += s.workLp->solution->iterationCount;
  if (!s.workLp->basisData || !s.workLp->solution || !s.workLp->solution->primalComputed) {
    // No number of its own: the text says what failed, the number that no basis came of it.
    QVNmsg(s.env->errorChannel, "Failure to solve work LP\n");
    return QVNERR_SINGULAR;
  }
  if (s.workLp->solution->dualComputed)
    takeSiftPoint(s.run, s.workLp, 2 * s.m, s.workColumns.data(), static_cast<int>(s.workColumns.size()));
  return 0;
}

// A work solve as the loop needs it: a work LP that lost its feasibility in
// phase 2 (columns taken out from inside the run) goes back to phase 1.
int solveRound(SiftState &s, int *status) {
  QVN_TRY(solveWork(s, status));
  if (s.run.phase == 2 && *status == 3) {
    QVN_TRY(enterPhase(s, 1));
    QVN_TRY(solveWork(s, status));
  }
  return 0;
}

struct Candidate {
  double dj;
  int col;
};

// Takes the work columns marked kLeaving out of the work LP.
int dropMarkedColumns(SiftState &s) {
  const int size = static_cast<int>(s.workColumns.size());
  EnvVector<int> flags(static_cast<size_t>(2 * s.m + size), 0);
  int drop = 0;
  for (int k = 0; k < size; ++k)
    if (s.inWork[s.workColumns[k]] == kLeaving) flags[2 * s.m + k] = 1, ++drop;
  if (drop == 0) return 0;
  QVN_TRY(QVNdelsetcols(s.env, s.workLp, flags.data()));
  // The call leaves each column's new index in its flag, -1 for the deleted.
  EnvVector<int> kept;
  for (int k = 0; k < size; ++k) {
    if (flags[2 * s.m + k] < 0)
      s.inWork[s.workColumns[k]] = 0;
    else
      kept.push_back(s.workColumns[k]);
  }
  s.workColumns.swap(kept);
  s.run.workColumnCount = static_cast<int>(s.workColumns.size());
  s.removed = drop;
  return 0;
}

// Prices the columns outside with the work duals; adds the best and drops
// nonbasic work columns that price out well above zero when the work LP grows
// past its target size. The changes asked for from inside the run join in.
// No column leaves by price while the bounds are perturbed (the column set
// then only grows, so it stays feasible once the bounds are restored), nor
// after a round that did not lower the objective: the rounds that drop
// columns then lower it strictly, so a degenerate run cannot drop and take
// back the same columns for ever.
int priceAndUpdate(SiftState &s) {
  const LpData &d = *s.lp->lpData;
  const SolutionBlock &ws = *s.workLp->solution;
  const double *y = ws.pi.data();
  EnvVector<Candidate> cands;
  for (int j = 0; j < s.n; ++j) {
    if (s.inWork[j] || d.upperBound[j] == 0.0) continue;
    double dj = s.run.phase == 1 ? 0.0 : s.cost[j];
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) dj -= d.coefValue[k] * y[d.rowIndex[k]];
    if (dj < -s.tolerance) cands.push_back({dj, j});
  }
  const int addLimit = std::max(2 * s.m, 200);
  if (static_cast<int>(cands.size()) > addLimit) {
    std::nth_element(cands.begin(), cands.begin() + addLimit, cands.end(),
                     [](const Candidate &a, const Candidate &b) { return a.dj < b.dj; });
    cands.resize(static_cast<size_t>(addLimit));
  }
  for (const Candidate &c : cands) s.inWork[c.col] = kQueued;
  for (int j : s.run.pendingAdd)
    if (s.inWork[j] == 0) s.inWork[j] = kQueued, cands.push_back({0.0, j});
  s.run.pendingAdd.clear();
  s.added = static_cast<int>(cands.size());
  s.removed = 0;
  // Removal first, so that the work LP keeps its indices until the add.
  bool leaving = false;
  for (int j : s.run.pendingDelete)
    if (s.inWork[j] == 1 && !mustStayIn(d, j)) s.inWork[j] = kLeaving, leaving = true;
  s.run.pendingDelete.clear();
  const int target = std::max(10 * s.m, 2000);
  const int size = static_cast<int>(s.workColumns.size());
  if (!s.perturbed && s.progressed && s.added > 0 && size + s.added > target) {
    const BasisData &b = *s.workLp->basisData;
    EnvVector<Candidate> out;
    for (int k = 0; k < size; ++k) {
      const int wc = 2 * s.m + k, j = s.workColumns[k];
      if (mustStayIn(d, j) || b.colStatus[wc] != 0 || s.inWork[j] != 1) continue;
      if (ws.dj[wc] > s.tolerance) out.push_back({-ws.dj[wc], k});
    }
    const int drop = std::min(static_cast<int>(out.size()), size + s.added - target);
    if (drop > 0) {
      std::nth_element(out.begin(), out.begin() + (drop - 1), out.end(),
                       [](const Candidate &a, const Candidate &b) { return a.dj < b.dj; });
      for (int t = 0; t < drop; ++t) s.inWork[s.workColumns[out[t].col]] = kLeaving;
      leaving = true;
    }
  }
  if (leaving) QVN_TRY(dropMarkedColumns(s));
  EnvVector<int> cols;
  for (const Candidate &c : cands) cols.push_back(c.col);
  QVN_TRY(addWorkColumns(s, cols));
  checkSiftWorkColumns(s.env, s.lp, s.workLp, s.m, s.workColumns.data(), static_cast<int>(s.workColumns.size()),
                       s.inWork.data());
  return 0;
}

// Moves each finite bound of the work columns out by its own random share
// of the magnitude, then halves the magnitude and doubles the stall count
// that starts the next one. The automatic method turns to the barrier, which
// a degenerate work LP does not stall.
int perturbWork(SiftState &s) {
  const LpData &d = *s.lp->lpData;
  if (s.env->generalParams->siftdisplay >= 1) QVNmsg(s.env->resultsChannel, "Sifting perturbation started\n");
  EnvVector<int> idx;
  EnvVector<char> kind;
  EnvVector<double> value;
  for (size_t k = 0; k < s.workColumns.size(); ++k) {
    const int j = s.workColumns[k], wc = 2 * s.m + static_cast<int>(k);
    if (d.lowerBound[j] > -kInfinity)
      idx.push_back(wc), kind.push_back('L'), value.push_back(d.lowerBound[j] - nextRandom(s.env) * s.perturbation);
    if (d.upperBound[j] < kInfinity)
      idx.push_back(wc), kind.push_back('U'), value.push_back(d.upperBound[j] + nextRandom(s.env) * s.perturbation);
  }
  if (!idx.empty())
    QVN_TRY(QVNchgbds(s.env, s.workLp, static_cast<int>(idx.size()), idx.data(), kind.data(), value.data()));
  s.perturbation *= 0.5;
  s.perturbLimit *= 2;
  s.perturbed = true;
  s.stalledRounds = 0;
  if (s.run.method == kAutomatic) s.run.method = kBarrier;
  return 0;
}

// The work columns get their own bounds back; the rounds after clean up.
int removePerturbation(SiftState &s) {
  const LpData &d = *s.lp->lpData;
  if (s.env->generalParams->siftdisplay >= 1) QVNmsg(s.env->resultsChannel, "Removing sifting perturbation\n");
  const int count = static_cast<int>(s.workColumns.size());
  s.perturbed = false;
  s.stalledRounds = 0;
  s.lastObjective = kInfinity;
  if (count == 0) return 0;
  EnvVector<int> idx(static_cast<size_t>(2 * count));
  EnvVector<char> kind(idx.size());
  EnvVector<double> value(idx.size());
  for (int k = 0; k < count; ++k) {
    const int j = s.workColumns[k];
    idx[2 * k] = idx[2 * k + 1] = 2 * s.m + k;
    kind[2 * k] = 'L', kind[2 * k + 1] = 'U';
    value[2 * k] = d.lowerBound[j], value[2 * k + 1] = d.upperBound[j];
  }
  return QVNchgbds(s.env, s.workLp, 2 * count, idx.data(), kind.data(), value.data());
}

// Counts the rounds in a row that did not lower the objective of the phase
// (the infeasibility in phase 1); true when they make a stall.
bool stalled(SiftState &s, double objective) {
  const double last = s.lastObjective;
  s.lastObjective = objective;
  s.progressed = !(last < kInfinity && objective > last - 1e-9 * (1.0 + std::fabs(last)));
  if (s.perturbed) return false;
  s.stalledRounds = s.progressed ? 0 : s.stalledRounds + 1;
  return s.stalledRounds >= s.perturbLimit;
}

void logRound(const SiftState &s, double value) {
  const int display = s.env->generalParams->siftdisplay;
  if (display < 1) return;
  QVNCHANNELptr log = s.env->resultsChannel;
  if (display >= 2) QVNmsg(log, "\n");
  // The count shown is the work LP's columns less its rows.
  QVNmsg(log, "Sifting iteration %4d [%5d]:   ", s.iterationCount, static_cast<int>(s.workColumns.size()) - s.m);
  const LpData &d = *s.lp->lpData;
  if (s.run.phase == 1)
    QVNmsg(log, "Infeasibility = %20.6f\n", value);
  else
    QVNmsg(log, "Objective     = %20.6f\n", d.objSense * value + d.objOffset);
  if (display >= 2) QVNmsg(log, "\n");
}

// The rounds. Leaves s.statusCode and the work LP's last solution.
int siftRounds(SiftState &s) {
  const GeneralParams &gp = *s.env->generalParams;
  int work = 0;
  QVN_TRY(solveWork(s, &work));
  if (work == 3 || work == 4) {
    QVN_TRY(enterPhase(s, 1));
    QVN_TRY(solveWork(s, &work));
  }
  while (s.statusCode == 0) {
    if (s.iterationCount >= gp.siftitlim) {
      s.statusCode = 3;
      break;
    }
    // The work LP is unbounded, hence the whole one; the clean-up proves it.
    if ((work == 2 || work == 4) && s.run.phase == 2) break;
    // Read before the update: deleting work columns discards the work solution.
    const double value = s.workLp->solution->objValue;
    QVN_TRY(priceAndUpdate(s));
    if (s.added == 0 && s.removed == 0) {
      if (s.perturbed) {
        QVN_TRY(removePerturbation(s));
        QVN_TRY(solveRound(s, &work));
        continue;
      }
      if (s.run.phase == 2) {
        s.statusCode = 1;
        break;
      }
      if (value <= gp.eprhs) {
        QVN_TRY(enterPhase(s, 2));
      } else if (s.tolerance > 1e-10) {
        s.tolerance *= 0.1;
        continue;
      } else {
        s.statusCode = 1;  // infeasible: the clean-up on the whole problem proves it
        break;
      }
    } else {
      ++s.iterationCount;
      if (s.run.phase == 1) ++s.phase1Iterations;
    }
    QVN_TRY(solveRound(s, &work));
    const double objective = s.workLp->solution->objValue;
    logRound(s, objective);
    const bool stall = work == 1 && stalled(s, objective);
    if (s.run.phase == 1 && objective <= gp.eprhs) {
      QVN_TRY(enterPhase(s, 2));
      QVN_TRY(solveRound(s, &work));
    } else if (s.run.phase == 2 && stall) {
      QVN_TRY(perturbWork(s));
      QVN_TRY(solveRound(s, &work));
    }
  }
  return 0;
}

// The whole problem's basis: the work basis, the rest at their lower bound of 0.
void mapBasis(SiftState &s) {
  const BasisData &wb = *s.workLp->basisData;
  Problem *lp = s.lp;
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  BasisData &b = *lp->basisData;
  b.colStatus.assign(static_cast<size_t>(s.n > 0 ? s.n : 1), 0);
  b.rowStatus.assign(wb.rowStatus.begin(), wb.rowStatus.begin() + s.m);
  for (size_t k = 0; k < s.workColumns.size(); ++k) b.colStatus[s.workColumns[k]] = wb.colStatus[2 * s.m + k];
  b.norms.clear();
  b.normHead.clear();
  b.primalNorms.clear();
  // A basic artificial (degenerate at 0) leaves its row's logical to take its place.
  for (int i = 0; i < s.m; ++i)
    if (wb.colStatus[2 * i] == 1 || wb.colStatus[2 * i + 1] == 1) b.rowStatus[i] = 1;
}

} // namespace

int siftSolve(Environment *env, Problem *lp) {
  QVN_TRY(flushCache(env, lp));
  modelChanged(env, lp, ModelEvent::kSiftOrBarrierBegins);
  SiftState s;
  s.env = env;
  s.lp = lp;
  const LpData &d = *lp->lpData;
  s.n = d.numCols;
  s.m = d.numRows;
  s.tolerance = env->generalParams->epopt;
  // QVN_PARAM_SIFTALG's values are the method numbers, 0 the automatic choice.
  s.run.method = env->generalParams->siftalg;
  s.run.env = env;
  s.run.lp = lp;
  s.run.n = s.n;
  s.run.m = s.m;
  s.perturbation = env->generalParams->epper;
  s.cost.resize(static_cast<size_t>(s.n > 0 ? s.n : 1));
  for (int j = 0; j < s.n; ++j) s.cost[j] = d.objSense * d.objCoef[j];
  s.inWork.assign(static_cast<size_t>(s.n > 0 ? s.n : 1), 0);
  s.run.cost = s.cost.data();
  if (env->generalParams->siftitlim == 0) {
    lp->status = kRunIterLimit;
    return 0;
  }
  QVN_TRY(createWorkLp(s));
  EnvVector<int> first;
  firstColumns(s, first);
  QVN_TRY(addWorkColumns(s, first));
  enterSiftRun(&s.run);
  QVN_TRY(siftRounds(s));
  // The clean-up below is no work LP solve: code it calls back is outside the run.
  leaveSiftRun(&s.run);
  if (s.statusCode == 3) {
    modelChanged(env, lp, ModelEvent::kSiftOrBarrierBegins);
    lp->status = kRunIterLimit;
    return 0;
  }
  mapBasis(s);
  // The clean-up on the whole problem from the mapped basis: normally no
  // iteration; it proves the status and stores the solution.
  GeneralParams &gp = *env->generalParams;
  const int savedAdvind = gp.advind;
  gp.advind = 1;
  const int rc = solveBySimplex(env, lp, kPrimal);
  gp.advind = savedAdvind;
  QVN_TRY(rc);
  if (lp->solution) {
    lp->solution->method = methodNumber(LpMethod::kSifting);
    lp->solution->iterationCount += s.workIterations;
    lp->solution->siftIterations = s.iterationCount;
    lp->solution->siftPhase1 = s.phase1Iterations;
  }
  return 0;
}

} // namespace qvn
