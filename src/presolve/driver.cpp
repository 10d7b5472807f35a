// The presolve driver: settings, the reduction loop with its pass order, the
// aggregator loop, and the building of the reduced problem.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "model/attachments.h"
#include "model/copy.h"
#include "presolve/presolve_state.h"
#include "runtime/environment.h"
#include "runtime/progress_callback.h"

namespace qvn {

namespace {

void rememberParams(const Environment *env, int *out) {
  const GeneralParams &gp = *env->generalParams;
  const int v[8] = {gp.preind, gp.prepass, gp.aggind, gp.depind, gp.aggfill, gp.predual, gp.reduce, gp.prelinear};
  std::copy(v, v + 8, out);
}

void setUp(Environment *env, PresolveState &s) {
  const GeneralParams &gp = *env->generalParams;
  s.preind = gp.preind;
  s.prepass = gp.prepass;
  s.reduce = gp.reduce;
  s.prelinear = gp.prelinear;
  s.aggind = gp.aggind;
  s.depind = gp.depind;
  s.predual = gp.predual;
  s.aggfill = gp.aggfill;
  rememberParams(env, s.madeWith);
  s.aggTries = s.preind == 0 ? 0 : s.aggind < 0 ? 1 : s.aggind;
  if (s.predual == 0 && !(s.reduce == 3 && s.prelinear != 0)) s.predual = -1;
  s.passLimit = s.prepass < 0 ? 2100000000 : s.prepass;
  if (s.preind == 0 || (s.passLimit == 0 && s.predual != -1)) s.passLimit = 1;
  s.primalFlag = (s.reduce & 1) != 0;
  s.dualLevel = s.reduce < 2 ? 0 : s.prelinear == 1 ? 2 : 1;
}

// The touched list of one kind, taken whole; beyond a third of the rows the
// pass scans everything (mode 1), which visits the same items.
void takeList(EnvVector<int> &touched, EnvVector<char> &marked, EnvVector<int> &out, int &mode, int rows) {
  out.swap(touched);
  touched.clear();
  for (int k : out) marked[k] = 0;
  mode = 3 * static_cast<int64_t>(out.size()) > rows ? 1 : 0;
}

int eliminated(const PresolveState &s) { return s.rowsEliminated + s.colsEliminated; }

// The progress call of each inner round: a report every 5 seconds, the
// caller's progress callback and the terminate flag.
int progress(Environment *env, const PresolveState &s, std::chrono::steady_clock::time_point &last) {
  if (terminateRequested(env)) return QVNERR_PRESLV_ABORT;
  if (progressCallbackSet(env)) {
    LpProgress report;
    report.wherefrom = QVN_CALLBACK_PRESOLVE;
    report.rowsGone = s.rowsEliminated;
    report.colsGone = s.colsEliminated;
    report.substitutions = s.substitutions;
    report.boundChanges = s.boundsImproved;
    if (reportProgress(env, report) != 0) return QVNERR_PRESLV_ABORT;
  }
  const auto now = std::chrono::steady_clock::now();
  if (std::chrono::duration<double>(now - last).count() < 5.0) return 0;
  last = now;
  if (env->generalParams->simdisplay == 0) return 0;
  QVNmsg(env->resultsChannel, "Presolve has eliminated %d rows and %d columns...\n", s.rowsEliminated,
         s.colsEliminated);
  if (s.substitutions > 0) QVNmsg(env->resultsChannel, "Aggregator has done %d substitutions...\n", s.substitutions);
  return 0;
}

// The dependency checker runs before the passes for the barrier (whose
// normal equations need full row rank) and after them for the others, where
// the passes have made the equality rows fewer and smaller.
bool barrierMethod(const PresolveState &s) { return s.method == methodNumber(LpMethod::kBarrier); }
bool checkDependenciesFirst(const PresolveState &s) {
  return s.primalFlag && (s.depind == 1 || s.depind == 3 || (s.depind == -1 && barrierMethod(s)));
}
bool checkDependenciesLast(const PresolveState &s) {
  return s.primalFlag && (s.depind >= 2 || (s.depind == -1 && !barrierMethod(s)));
}

// The test solution against what remains: the largest violation of a live
// column's bounds or a live row's limits, relative to 1 + |limit|. Merged
// columns hold x_j + r x_k; removed columns show through the limits of the
// rows they left.
double testViolation(const PresolveState &s) {
  EnvVector<double> v(s.testSolution);
  EnvVector<int> order;
  for (int r = s.head; r >= 0; r = s.records[r].next) order.push_back(r);
  for (auto it = order.rbegin(); it != order.rend(); ++it) {
    const ReductionRecord &rec = s.records[*it];
    if (rec.kind == kRecMergedColumns) v[rec.index] += rec.value * v[rec.other];
  }
  auto outside = [](double a, double lo, double up) {
    if (lo > -kPreInf && a < lo) return (lo - a) / (1.0 + std::fabs(lo));
    if (up < kPreInf && a > up) return (a - up) / (1.0 + std::fabs(up));
    return 0.0;
  };
  double worst = 0.0;
  for (int j = 0; j < s.numCols; ++j)
    if (s.colLive[j] >= 0) worst = std::max(worst, outside(v[j], s.colLower[j], s.colUpper[j]));
  for (int i = 0; i < s.numRows; ++i) {
    if (s.rowLive[i] < 0) continue;
    double act = 0.0;
    for (int e : s.rowEntries[i])
      if (s.entries[e].alive) act += s.entries[e].value * v[s.entries[e].col];
    worst = std::max(worst, outside(act, s.rowLower[i], s.rowUpper[i]));
  }
  return worst;
}

// The clean-up step's early stop: a reduction that cut off the attached test
// solution ends the run as infeasible, where it happened.
int checkTestSolution(const PresolveState &s) {
  if (s.testSolution.size() != static_cast<size_t>(s.numCols)) return 0;
  return testViolation(s) > s.feasTol ? QVNERR_PRESLV_INForUNBD : 0;
}

int reductionLoop(Environment *env, const Problem *lp, PresolveState &s) {
  EnvVector<int> rows, cols;
  int tries = 0;
  if (checkDependenciesFirst(s)) QVN_TRY(dependentRows(env, lp, s));
  auto lastReport = std::chrono::steady_clock::now();
  while (s.passes < s.passLimit) {
    const int passStart = eliminated(s);
    const int coefStart = s.coefsModified;
    int before, rounds = 0;
    do {
      QVN_TRY(progress(env, s, lastReport));
      before = eliminated(s);
      takeList(s.touchedRows, s.rowMarked, rows, s.mode, s.numRows);
      takeList(s.touchedCols, s.colMarked, cols, s.mode, s.numRows);
      QVN_TRY(emptyAndSingletonRows(env, lp, s, rows));
      QVN_TRY(columnPass(env, lp, s, cols));
      if (s.primalFlag) {
        // Rows touched by the column pass are looked at again in the next round.
        // Integer bounds first: a row that cannot hold then names the column it pushes out.
        QVN_TRY(integerPasses(env, lp, s, rows));
        QVN_TRY(boundStrengthening(env, lp, s, rows));
        QVN_TRY(rowActivityPass(env, lp, s, rows));
      }
      QVN_TRY(checkTestSolution(s));
    } while ((eliminated(s) != before || !s.touchedRows.empty() || !s.touchedCols.empty()) && ++rounds < 1000);
    if (s.dualLevel > 0) QVN_TRY(duplicateColumns(env, lp, s));
    if (s.primalFlag) QVN_TRY(duplicateRows(env, lp, s));
    ++s.passes;
    bool changed = eliminated(s) != passStart || s.coefsModified != coefStart;
    if (s.primalFlag && tries < s.aggTries && (tries == 0 || changed)) {
      ++tries;
      // One try sweeps until a sweep finds nothing; chains of doubletons need several.
      for (int sweep = 0; sweep < 20; ++sweep) {
        const int subs = s.substitutions;
        QVN_TRY(aggregate(env, lp, s));
        if (s.substitutions == subs) break;
        changed = true;
      }
    }
    QVN_TRY(checkTestSolution(s));
    if (!changed) break;
  }
  s.aggTries = tries;
  if (env->generalParams->simdisplay != 0)
    QVNmsg(env->resultsChannel, tries == 1 ? "Tried aggregator 1 time.\n" : "Tried aggregator %d times.\n", tries);
  if (checkDependenciesLast(s)) QVN_TRY(dependentRows(env, lp, s));
  // Last empty rows and columns.
  takeList(s.touchedRows, s.rowMarked, rows, s.mode, s.numRows);
  takeList(s.touchedCols, s.colMarked, cols, s.mode, s.numRows);
  QVN_TRY(emptyAndSingletonRows(env, lp, s, rows));
  QVN_TRY(columnPass(env, lp, s, cols));
  return 0;
}

// Negative column statuses for the crush functions.
void fillMaps(PresolveState &s) {
  s.colMap.assign(static_cast<size_t>(s.numCols), mapCode(RemovedColumn::kNoRecord));
  s.rowMap.assign(static_cast<size_t>(s.numRows), -1);
  s.redColOrig.clear();
  s.redRowOrig.clear();
  for (int j = 0; j < s.numCols; ++j)
    if (s.colLive[j] >= 0) {
      s.colMap[j] = static_cast<int>(s.redColOrig.size());
      s.redColOrig.push_back(j);
    }
  for (int i = 0; i < s.numRows; ++i)
    if (s.rowLive[i] >= 0) {
      s.rowMap[i] = static_cast<int>(s.redRowOrig.size());
      s.redRowOrig.push_back(i);
    }
  // Oldest record last: walk newest first and let older ones overwrite.
  for (int r = s.head; r >= 0; r = s.records[r].next) {
    const ReductionRecord &rec = s.records[r];
    int j = -1, status = mapCode(RemovedColumn::kByReplay);
    switch (rec.kind) {
    case kRecFixed: case kRecAtLower: case kRecAtUpper:
      j = rec.index;
      if (std::fabs(rec.value - s.origLower[j]) <= 1e-10) status = mapCode(rec.kind == kRecFixed ? RemovedColumn::kFixedAtLower : RemovedColumn::kAtLower);
      else if (std::fabs(rec.value - s.origUpper[j]) <= 1e-10) status = mapCode(rec.kind == kRecFixed ? RemovedColumn::kFixedAtUpper : RemovedColumn::kAtUpper);
      break;
    case kRecFreeEmpty: j = rec.index, status = mapCode(RemovedColumn::kFreeAtZero); break;
    case kRecAggregate: case kRecDoubleton: j = s.recIndex[rec.first], status = mapCode(RemovedColumn::kByReplay); break;
    case kRecMergedColumns: j = rec.other, status = mapCode(RemovedColumn::kByReplay); break;
    case kRecInfiniteUpper: case kRecInfiniteLower: j = rec.index, status = mapCode(RemovedColumn::kByReplay); break;
    default: break;
    }
    if (j >= 0 && s.colMap[j] < 0) s.colMap[j] = status;
  }
}

int buildReduced(Environment *env, const Problem *lp, PresolveState &s) {
  const int n = static_cast<int>(s.redColOrig.size()), m = static_cast<int>(s.redRowOrig.size());
  const LpData &d = *lp->lpData;
  EnvVector<double> obj(n + 1), lb(n + 1), ub(n + 1), rhs(m + 1), range(m + 1);
  EnvVector<char> sense(m + 1);
  EnvVector<int> start(n + 1), count(n + 1), index;
  EnvVector<double> value;
  EnvVector<char *> colNames, rowNames;
  for (int k = 0; k < n; ++k) {
    const int j = s.redColOrig[k];
    obj[k] = s.objSense * s.cost[j];
    lb[k] = s.colLower[j];
    ub[k] = s.colUpper[j];
    start[k] = static_cast<int>(index.size());
    for (int e : s.colEntries[j]) {
      const PresolveEntry &en = s.entries[e];
      if (!en.alive) continue;
      index.push_back(s.rowMap[en.row]);
      value.push_back(en.value);
    }
    count[k] = static_cast<int>(index.size()) - start[k];
    if (d.colNames.exists) colNames.push_back(const_cast<char *>(d.colNames.name(j)));
  }
  for (int k = 0; k < m; ++k) {
    const int i = s.redRowOrig[k];
    const double lo = s.rowLower[i], up = s.rowUpper[i];
    range[k] = 0.0;
    if (lo == up) sense[k] = 'E', rhs[k] = lo;
    else if (lo <= -kPreInf) sense[k] = 'L', rhs[k] = up;
    else if (up >= kPreInf) sense[k] = 'G', rhs[k] = lo;
    else sense[k] = 'R', rhs[k] = lo, range[k] = up - lo;
    if (d.rowNames.exists) rowNames.push_back(const_cast<char *>(d.rowNames.name(i)));
  }
  index.push_back(0);
  value.push_back(0.0);
  Problem *red = nullptr;
  QVN_TRY(createProblem(env, d.probName ? d.probName : "presolved", &red));
  // The new problem must not outlive a failure here.
  const int status = runCaught([&]() {
    return copyLpWithNames(env, red, n, m, s.objSense, obj.data(), rhs.data(), sense.data(), start.data(),
                           count.data(), index.data(), value.data(), lb.data(), ub.data(), range.data(),
                           d.colNames.exists ? colNames.data() : nullptr, d.rowNames.exists ? rowNames.data() : nullptr);
  });
  if (status != 0) {
    freeProblem(env, red);
    return status > 0 ? status : -status;
  }
  red->lpData->objOffset = s.objSense * s.offset;
  s.reduced = red;
  return 0;
}

// What the reductions in force can have shown.
int narrowStatus(const PresolveState &s) {
  const bool primal = s.primalFlag, dual = s.dualLevel > 0;
  if (primal && dual) return QVNERR_PRESLV_INForUNBD;
  if (!primal && dual) return QVNERR_PRESLV_UNBD;
  return QVNERR_PRESLV_INF;
}

} // namespace

bool presolveParamsMatch(const Environment *env, const PresolveState &s) {
  int now[8];
  rememberParams(env, now);
  return std::equal(now, now + 8, s.madeWith);
}

void dropPresolveResult(Problem *lp) {
  if (!lp->presolved) return;
  EnvVector<int> keep;
  EnvVector<double> point;
  keep.swap(lp->presolved->protectedList);
  point.swap(lp->presolved->testSolution);
  freePresolved(lp);
  if (keep.empty() && point.empty()) return;
  lp->presolved = envNew<PresolveState>();
  lp->presolved->protectedList.swap(keep);
  lp->presolved->testSolution.swap(point);
}

void setPresolveTestSolution(Problem *lp, const double *x) {
  if (!lp->presolved) lp->presolved = envNew<PresolveState>();
  EnvVector<double> &point = lp->presolved->testSolution;
  if (x) point.assign(x, x + lp->lpData->numCols);
  else point = EnvVector<double>();
}

namespace {

int presolveBody(Environment *env, Problem *lp, bool keepReduced, int method, int passCap, bool mip = false) {
  EnvVector<int> keep;
  EnvVector<double> point;
  if (lp->presolved) keep.swap(lp->presolved->protectedList), point.swap(lp->presolved->testSolution);
  freePresolved(lp);
  lp->presolved = envNew<PresolveState>();
  PresolveState &s = *lp->presolved;
  s.protectedList.swap(keep);
  s.testSolution.swap(point);
  setUp(env, s);
  s.method = method;
  s.mip = mip;
  if (passCap >= 0) s.passLimit = std::min(s.passLimit, passCap);
  buildWorkingCopy(env, lp, s);
  int status = reductionLoop(env, lp, s);
  if (status == QVNERR_PRESLV_INForUNBD) status = narrowStatus(s);
  if (status != 0) {
    s.status = status;
    return status;
  }
  fillMaps(s);
  s.ran = true;
  const bool display = env->generalParams->simdisplay != 0 && (!mip || env->mipParams->mipdisplay > 0);
  const char *cls = mip ? "MIP" : hasQuadObjType(lp->probType) ? "QP" : "LP";
  const bool dualize = !mip && keepReduced && chooseDual(lp, s);
  s.nothingDone = !dualize && s.head < 0 && s.rowsEliminated == 0 && s.colsEliminated == 0 &&
                  s.coefsModified == 0 && s.boundsImproved == 0;
  s.allEliminated = !s.nothingDone && s.redColOrig.empty() && s.redRowOrig.empty();
  if (s.nothingDone) {
    if (display) QVNmsg(env->resultsChannel, "No %s presolve or aggregator reductions.\n", cls);
    return 0;
  }
  if (display) {
    if (s.preind != 0)
      QVNmsg(env->resultsChannel, "%s Presolve eliminated %d rows and %d columns.\n", cls, s.rowsEliminated,
             s.colsEliminated);
    else
      QVNmsg(env->resultsChannel, "Reduced presolve eliminated %d rows and %d columns.\n", s.rowsEliminated,
             s.colsEliminated);
    if (mip && s.coefsModified > 0)
      QVNmsg(env->resultsChannel, "%s Presolve modified %d coefficients.\n", cls, s.coefsModified);
    if (s.substitutions > 0) QVNmsg(env->resultsChannel, "Aggregator did %d substitutions.\n", s.substitutions);
  }
  if (s.allEliminated) {
    if (display) QVNmsg(env->resultsChannel, "All rows and columns eliminated.\n");
    return 0;
  }
  if (keepReduced) QVN_TRY(buildReduced(env, lp, s));
  if (dualize) {
    QVN_TRY(buildDual(env, s));
    if (display) QVNmsg(env->resultsChannel, "DUAL formed by presolve\n");
  }
  return 0;
}

} // namespace

// Memory failures inside come back as 1001, so that the optimizers can go on
// without presolve.
//
// A verdict of infeasibility may come from a late pass working on numbers
// that earlier passes have changed; with the repeat setting on, the run is
// made once more with the passes that completed before the verdict.
int runPresolve(Environment *env, Problem *lp, bool keepReduced, int method) {
  int status = runCaught([&]() { return presolveBody(env, lp, keepReduced, method, -1); });
  const bool verdict = status == QVNERR_PRESLV_INForUNBD || status == QVNERR_PRESLV_INF || status == QVNERR_PRESLV_UNBD;
  if (!verdict || env->mipParams->repeatpresolve <= 0 || !lp->presolved) return status;
  const PresolveState &failed = *lp->presolved;
  if (failed.passes >= failed.passLimit) return status;  // the limit already stopped it
  const int reached = failed.passes;
  return runCaught([&]() { return presolveBody(env, lp, keepReduced, method, reached); });
}

int runMipPresolveCore(Environment *env, Problem *lp) {
  return runCaught([&]() { return presolveBody(env, lp, true, methodNumber(LpMethod::kDual), -1, true); });
}

} // namespace qvn
