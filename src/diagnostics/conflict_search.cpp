// The two-stage search of the conflict refiner.
//
// Invariant of a stage: the proven set P together with the candidate list C
// is infeasible. A stage asks first whether P alone is; if not, a bisection
// finds the shortest prefix C[0..k] with P + C[0..k] infeasible. C[k] is then
// needed (P + C[0..k-1] has a point), moves to P, and the list shrinks to
// C[0..k-1]. Every member of the final P was needed when it moved, and P only
// gains members of that shorter list afterwards, so dropping any one member
// leaves a subset of a set that had a point: the conflict is minimal when the
// tests are exact.
//
// Stage 4 tests through one persistent LP relaxation of the model with an
// explicit activity column per row (a_i x - s_i = 0, s_i within the row's
// limits): switching a row or bound off is a bound change on the relaxation,
// and with zero costs every basis is dual feasible, so each test is a warm
// dual simplex. Stage 5 solves a fresh copy holding only the members that
// are on, with the full optimizer (branch and bound for a MIP), so that the
// conflict it returns is confirmed by a second path.
#include <algorithm>

#include "diagnostics/conflict.h"
#include "formats/model_image.h"
#include "model/mip_data.h"
#include "runtime/channels.h"
#include "runtime/environment.h"
#include "runtime/errors.h"
#include "runtime/limit_clock.h"
#include "runtime/params.h"
#include "runtime/progress_callback.h"
#include "simplex/engine.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

namespace {

enum class Verdict { kInfeasible, kFeasible, kStopped };

// The test levels of the two stages.
constexpr int kCheapLevel = 4;
constexpr int kFullLevel = 5;

// Parameters that the sub-solves must not take from the caller (their logs
// would bury the refiner's) or that carry the caller's remaining time.
struct SavedParams {
  Environment *env;
  double tilim;
  int simdisplay, mipdisplay, presolveDisplay;
  explicit SavedParams(Environment *e)
      : env(e), tilim(e->generalParams->tilim), simdisplay(e->generalParams->simdisplay),
        mipdisplay(e->mipParams->mipdisplay), presolveDisplay(e->generalParams->presolveDisplay) {}
  ~SavedParams() {
    env->generalParams->tilim = tilim;
    env->generalParams->simdisplay = simdisplay;
    env->mipParams->mipdisplay = mipdisplay;
    env->generalParams->presolveDisplay = presolveDisplay;
  }
};

// The callbacks stay out of the tests: they solve copies whose columns and
// rows are numbered apart from the caller's model, which a callback would
// read as its own. The progress callback is asked by the search itself, once
// per test.
struct SuspendedCallbacks {
  Environment *env;
  CallbackSlot saved[kMipCallbackKinds];
  LpCallback progress;
  void *progressHandle;
  explicit SuspendedCallbacks(Environment *e) : env(e) {
    for (int k = 0; k < kMipCallbackKinds; ++k) {
      saved[k] = env->mipCallbacks[k];
      env->mipCallbacks[k] = CallbackSlot{nullptr, nullptr};
    }
    progress = env->generalParams->lpCallback;
    progressHandle = env->generalParams->lpCallbackHandle;
    env->generalParams->lpCallback = nullptr;
    env->generalParams->lpCallbackHandle = nullptr;
  }
  ~SuspendedCallbacks() {
    for (int k = 0; k < kMipCallbackKinds; ++k) env->mipCallbacks[k] = saved[k];
    env->generalParams->lpCallback = progress;
    env->generalParams->lpCallbackHandle = progressHandle;
  }
};

struct ConflictRun {
  Environment *env = nullptr;
  const SuspendedCallbacks *callbacks = nullptr;
  ConflictResult *groups = nullptr;
  ModelImage model;
  bool isMip = false;
  int n = 0, m = 0;
  EnvVector<double> rowLower, rowUpper;
  // Row-wise copy of the matrix for the copies of stage 5.
  EnvVector<int> rowStart, rowCol;
  EnvVector<double> rowValue;
  // Bounds of the relaxation's n + m columns with only the background on.
  EnvVector<double> baseLower, baseUpper, lower, upper;
  EnvVector<int> allColumns;
  Problem *augmented = nullptr, *copy = nullptr;
  LpRelaxation *relaxation = nullptr;
  // Search state.
  LimitClock start;
  double timeLimit = 1e75;
  int itLimit = 2100000000;
  int display = 0, iteration = 0, status = 0, numMembers = 0;
  bool headerShown = false;

  ~ConflictRun() {
    relaxFree(relaxation);
    if (augmented) freeProblem(env, augmented);
    if (copy) freeProblem(env, copy);
  }

  double elapsed() const { return limitSeconds(start); }
};

int buildRun(ConflictRun &run, Problem *lp) {
  Environment *env = run.env;
  QVN_TRY(imageFromProblem(env, lp, run.model));
  const ModelImage &img = run.model;
  run.n = img.numCols, run.m = img.numRows;
  run.isMip = img.isMip();
  const int n = run.n, m = run.m;
  run.rowLower.resize(static_cast<size_t>(m));
  run.rowUpper.resize(static_cast<size_t>(m));
  for (int i = 0; i < m; ++i) {
    double lo = -kInfinity, up = kInfinity;
    const double rhs = img.rhs[i];
    switch (img.sense[i]) {
    case 'L': up = rhs; break;
    case 'G': lo = rhs; break;
    case 'E': lo = up = rhs; break;
    case 'R': {
      const double r = img.range.empty() ? 0.0 : img.range[i];
      lo = r >= 0 ? rhs : rhs + r;
      up = r >= 0 ? rhs + r : rhs;
      break;
    }
    default: break;
    }
    run.rowLower[i] = lo, run.rowUpper[i] = up;
  }
  run.rowStart.assign(static_cast<size_t>(m) + 1, 0);
  for (int r : img.rowIndex) ++run.rowStart[r + 1];
  for (int i = 0; i < m; ++i) run.rowStart[i + 1] += run.rowStart[i];
  run.rowCol.resize(img.rowIndex.size());
  run.rowValue.resize(img.rowIndex.size());
  {
    EnvVector<int> fill(run.rowStart.begin(), run.rowStart.end() - 1);
    for (int j = 0; j < n; ++j)
      for (int k = img.colStart[j]; k < img.colStart[j + 1]; ++k) {
        const int at = fill[img.rowIndex[k]]++;
        run.rowCol[at] = j;
        run.rowValue[at] = img.value[k];
      }
  }

  // Background: everything no group holds keeps its value, the rest is open.
  const ConflictResult &g = *run.groups;
  EnvVector<uint8_t> heldLower(static_cast<size_t>(n + m), 0), heldUpper(static_cast<size_t>(n + m), 0);
  for (int k = g.groupStart.front(); k < g.groupStart.back(); ++k) {
    const int at = g.memberIndex[k];
    switch (g.memberKind[k]) {
    case MemberKind::kLowerBound: heldLower[at] = !boundsAreIntrinsic(img.ctype, at); break;
    case MemberKind::kUpperBound: heldUpper[at] = !boundsAreIntrinsic(img.ctype, at); break;
    case MemberKind::kRow: heldLower[n + at] = heldUpper[n + at] = 1; break;
    }
  }
  run.baseLower.resize(static_cast<size_t>(n + m));
  run.baseUpper.resize(static_cast<size_t>(n + m));
  for (int c = 0; c < n + m; ++c) {
    const double lo = c < n ? img.lower[c] : run.rowLower[c - n];
    const double up = c < n ? img.upper[c] : run.rowUpper[c - n];
    run.baseLower[c] = heldLower[c] ? -kInfinity : lo;
    run.baseUpper[c] = heldUpper[c] ? kInfinity : up;
  }
  run.allColumns.resize(static_cast<size_t>(n + m));
  for (int c = 0; c < n + m; ++c) run.allColumns[c] = c;
  return 0;
}

// Bounds of the relaxation's columns with the groups marked in `on`.
void boundsFor(ConflictRun &run, const EnvVector<uint8_t> &on) {
  const ConflictResult &g = *run.groups;
  const ModelImage &img = run.model;
  const int n = run.n;
  run.lower = run.baseLower;
  run.upper = run.baseUpper;
  for (int grp = 0; grp < g.numGroups(); ++grp) {
    if (!on[grp]) continue;
    for (int k = g.groupStart[grp]; k < g.groupStart[grp + 1]; ++k) {
      const int at = g.memberIndex[k];
      switch (g.memberKind[k]) {
      case MemberKind::kLowerBound: run.lower[at] = img.lower[at]; break;
      case MemberKind::kUpperBound: run.upper[at] = img.upper[at]; break;
      case MemberKind::kRow:
        run.lower[n + at] = run.rowLower[at];
        run.upper[n + at] = run.rowUpper[at];
        break;
      }
    }
  }
}

int buildRelaxation(ConflictRun &run) {
  Environment *env = run.env;
  const ModelImage &img = run.model;
  const int n = run.n, m = run.m;
  const int64_t nz = img.numNonzeros();
  EnvVector<int> start(static_cast<size_t>(n + m) + 1), count(static_cast<size_t>(n + m) + 1);
  EnvVector<int> index(static_cast<size_t>(nz + m) + 1);
  EnvVector<double> value(static_cast<size_t>(nz + m) + 1), zero(static_cast<size_t>(n + m) + 1, 0.0);
  EnvVector<double> rhs(static_cast<size_t>(m) + 1, 0.0);
  EnvVector<char> sense(static_cast<size_t>(m) + 1, 'E');
  for (int j = 0; j < n; ++j) {
    start[j] = img.colStart[j];
    count[j] = img.colStart[j + 1] - img.colStart[j];
  }
  std::copy(img.rowIndex.begin(), img.rowIndex.end(), index.begin());
  std::copy(img.value.begin(), img.value.end(), value.begin());
  for (int i = 0; i < m; ++i) {
    start[n + i] = static_cast<int>(nz) + i;
    count[n + i] = 1;
    index[nz + i] = i;
    value[nz + i] = -1.0;
  }
  QVN_TRY(createProblem(env, "conflict", &run.augmented));
  EnvVector<uint8_t> all(static_cast<size_t>(run.groups->numGroups()), 1);
  boundsFor(run, all);
  QVN_TRY(QVNcopylp(env, run.augmented, n + m, m, 1, zero.data(), rhs.data(), sense.data(), start.data(),
                    count.data(), index.data(), value.data(), run.lower.data(), run.upper.data(), nullptr));
  return relaxCreate(env, *run.augmented->lpData, &run.relaxation);
}

// The conflict status of a sub-solve that stopped at a limit, 0 for none.
int limitStatus(int solveStatus) {
  switch (solveStatus) {
  case 11: case 107: case 108: return QVN_STAT_CONFLICT_ABORT_TIME_LIM;
  case 10: return QVN_STAT_CONFLICT_ABORT_IT_LIM;
  case 105: case 106: return QVN_STAT_CONFLICT_ABORT_NODE_LIM;
  case 12: return QVN_STAT_CONFLICT_ABORT_OBJ_LIM;
  case 111: case 112: return QVN_STAT_CONFLICT_ABORT_MEM_LIM;
  case 13: case 113: case 114: return QVN_STAT_CONFLICT_ABORT_USER;
  default: return 0;
  }
}

int cheapTest(ConflictRun &run, const EnvVector<uint8_t> &on, Verdict *out) {
  boundsFor(run, on);
  const int total = run.n + run.m;
  QVN_TRY(relaxChangeBounds(*run.relaxation, total, run.allColumns.data(), run.lower.data(), run.upper.data()));
  RelaxSolveLimits limits;
  limits.iterationLimit = run.itLimit;
  limits.timeLimit = std::max(0.0, run.timeLimit - run.elapsed());
  int status = 0;
  QVN_TRY(relaxSolve(*run.relaxation, limits, &status));
  if (status == kRunInfeasible) *out = Verdict::kInfeasible;
  else if (status == kRunOptimal) *out = Verdict::kFeasible;
  else {
    run.status = limitStatus(status);
    // Numerical trouble: the stage cannot tell, and stops where it stands.
    if (run.status == 0) run.status = QVN_STAT_CONFLICT_NONMINIMAL;
    *out = Verdict::kStopped;
  }
  return 0;
}

// A fresh problem with the members that are on, over the columns they touch.
int fullTest(ConflictRun &run, const EnvVector<uint8_t> &on, Verdict *out) {
  Environment *env = run.env;
  const ModelImage &img = run.model;
  const int n = run.n, m = run.m;
  boundsFor(run, on);
  EnvVector<int> newCol(static_cast<size_t>(n), -1);
  EnvVector<int> rows;
  for (int i = 0; i < m; ++i)
    if (run.lower[n + i] > -kInfinity || run.upper[n + i] < kInfinity) {
      rows.push_back(i);
      for (int k = run.rowStart[i]; k < run.rowStart[i + 1]; ++k) newCol[run.rowCol[k]] = 0;
    }
  for (int j = 0; j < n; ++j)
    if (run.lower[j] > -kInfinity || run.upper[j] < kInfinity) newCol[j] = 0;
  EnvVector<int> cols;
  for (int j = 0; j < n; ++j)
    if (newCol[j] == 0) {
      newCol[j] = static_cast<int>(cols.size());
      cols.push_back(j);
    }
  const int nc = static_cast<int>(cols.size()), nr = static_cast<int>(rows.size());
  EnvVector<int> newRow(static_cast<size_t>(m), -1);
  for (int r = 0; r < nr; ++r) newRow[rows[r]] = r;
  EnvVector<int> start(static_cast<size_t>(nc) + 1, 0), count(static_cast<size_t>(nc) + 1, 0), index;
  EnvVector<double> value, obj(static_cast<size_t>(nc) + 1, 0.0), lo(static_cast<size_t>(nc) + 1),
      up(static_cast<size_t>(nc) + 1), rhs(static_cast<size_t>(nr) + 1);
  EnvVector<char> sense(static_cast<size_t>(nr) + 1), ctype(static_cast<size_t>(nc) + 1, 'C');
  EnvVector<double> range(static_cast<size_t>(nr) + 1, 0.0);
  for (int c = 0; c < nc; ++c) {
    const int j = cols[c];
    start[c] = static_cast<int>(index.size());
    for (int k = img.colStart[j]; k < img.colStart[j + 1]; ++k)
      if (newRow[img.rowIndex[k]] >= 0) {
        index.push_back(newRow[img.rowIndex[k]]);
        value.push_back(img.value[k]);
      }
    count[c] = static_cast<int>(index.size()) - start[c];
    lo[c] = run.lower[j], up[c] = run.upper[j];
    if (run.isMip) ctype[c] = img.ctype[j];
  }
  for (int r = 0; r < nr; ++r) {
    const int i = rows[r];
    const double a = run.rowLower[i], b = run.rowUpper[i];
    if (a <= -kInfinity) sense[r] = 'L', rhs[r] = b;
    else if (b >= kInfinity) sense[r] = 'G', rhs[r] = a;
    else if (a == b) sense[r] = 'E', rhs[r] = a;
    else sense[r] = 'R', rhs[r] = a, range[r] = b - a;
  }
  index.push_back(0);
  value.push_back(0.0);
  if (!run.copy) QVN_TRY(createProblem(env, "conflict", &run.copy));
  QVN_TRY(QVNcopylp(env, run.copy, nc, nr, 1, obj.data(), rhs.data(), sense.data(), start.data(), count.data(),
                    index.data(), value.data(), lo.data(), up.data(), range.data()));
  if (run.isMip) QVN_TRY(QVNcopyctype(env, run.copy, ctype.data()));
  env->generalParams->tilim = std::max(0.0, run.timeLimit - run.elapsed());
  const int rc = run.isMip ? QVNmipopt(env, run.copy) : QVNlpopt(env, run.copy);
  if (rc != 0) return rc;
  const int stat = QVNgetstat(env, run.copy);
  switch (stat) {
  case 3: case 4: case 103: case 119: *out = Verdict::kInfeasible; return 0;
  case 1: case 2: case 5: case 101: case 102: case 104: case 115: case 118: *out = Verdict::kFeasible; return 0;
  default: break;
  }
  // A limit with an integer point found still proves a point exists.
  if (stat == 105 || stat == 107 || stat == 111 || stat == 113) {
    *out = Verdict::kFeasible;
    return 0;
  }
  run.status = limitStatus(stat);
  if (run.status == 0) run.status = QVN_STAT_CONFLICT_NONMINIMAL;
  *out = Verdict::kStopped;
  return 0;
}

int runTest(ConflictRun &run, int level, const EnvVector<uint8_t> &on, Verdict *out) {
  const SuspendedCallbacks *cb = run.callbacks;
  bool abort = terminateRequested(run.env);
  if (!abort && cb && cb->progress) {
    LpProgress report;
    report.wherefrom = QVN_CALLBACK_CONFLICT;
    report.iterations = run.iteration;
    abort = cb->progress(run.env, &report, QVN_CALLBACK_CONFLICT, cb->progressHandle) != 0;
  }
  if (abort) {
    run.status = QVN_STAT_CONFLICT_ABORT_USER;
    *out = Verdict::kStopped;
    return 0;
  }
  if (run.elapsed() >= run.timeLimit) {
    run.status = QVN_STAT_CONFLICT_ABORT_TIME_LIM;
    *out = Verdict::kStopped;
    return 0;
  }
  return level == kCheapLevel ? cheapTest(run, on, out) : fullTest(run, on, out);
}

void logLine(ConflictRun &run, int possible, int proven) {
  if (run.display <= 0) return;
  Environment *env = run.env;
  if (!run.headerShown) {
    QVNmsg(env->logChannel, "\nRefine conflict on %d members...\n\n", run.numMembers);
    QVNmsg(env->logChannel, " Iteration  Max Members  Min Members\n");
    run.headerShown = true;
  }
  QVNmsg(env->logChannel, " %9d %12d %12d\n", run.iteration, possible, proven);
}

// Group states from the stage's sets: P proven (or possible before the last
// stage has confirmed it), C possible, the rest out.
void recordSets(ConflictRun &run, const EnvVector<int> &proven, const EnvVector<int> &cand, int candCount,
                bool provenFinal) {
  ConflictResult &g = *run.groups;
  for (int grp = 0; grp < g.numGroups(); ++grp) g.state[grp] = GroupState::kExcluded;
  for (int grp : proven) g.state[grp] = provenFinal ? GroupState::kProven : GroupState::kPossible;
  for (int k = 0; k < candCount; ++k) g.state[cand[k]] = GroupState::kPossible;
}

// One stage over the candidates `cand`; on return `cand` holds the members
// still in. Returns 0 or an error; run.status tells a stop.
int runStage(ConflictRun &run, int level, EnvVector<int> &cand, bool *feasibleWhole) {
  const int groupsTotal = run.groups->numGroups();
  EnvVector<int> proven;
  EnvVector<uint8_t> on(static_cast<size_t>(groupsTotal), 0);
  int n = static_cast<int>(cand.size());
  auto setOn = [&](int prefix) {
    std::fill(on.begin(), on.end(), 0);
    for (int grp : proven) on[grp] = 1;
    for (int k = 0; k < prefix; ++k) on[cand[k]] = 1;
  };
  Verdict v = Verdict::kFeasible;
  setOn(n);
  QVN_TRY(runTest(run, level, on, &v));
  *feasibleWhole = v == Verdict::kFeasible;
  if (v != Verdict::kInfeasible) {
    recordSets(run, proven, cand, n, false);
    return 0;
  }
  if (!run.headerShown) logLine(run, n, 0);
  for (int guard = 0; guard <= groupsTotal; ++guard) {
    setOn(0);
    QVN_TRY(runTest(run, level, on, &v));
    if (v == Verdict::kStopped) break;
    if (v == Verdict::kInfeasible) {
      n = 0;
      break;
    }
    // Shortest infeasible prefix: P + C[0..hi] is infeasible, P + C[0..lo-1] is not.
    int lo = 0, hi = n - 1;
    while (lo < hi && v != Verdict::kStopped) {
      const int mid = (lo + hi) / 2;
      setOn(mid + 1);
      QVN_TRY(runTest(run, level, on, &v));
      if (v == Verdict::kInfeasible) hi = mid;
      else if (v == Verdict::kFeasible) lo = mid + 1;
    }
    if (v == Verdict::kStopped) {
      n = hi + 1;  // P + C[0..hi] is known infeasible
      break;
    }
    proven.push_back(cand[lo]);
    n = lo;
    ++run.iteration;
    const bool last = n == 0;
    logLine(run, static_cast<int>(proven.size()) + n,
            level == kFullLevel || last ? static_cast<int>(proven.size()) : 0);
  }
  cand.resize(static_cast<size_t>(n));
  const bool done = run.status == 0;
  recordSets(run, proven, cand, n, level == kFullLevel && done);
  // The members still in for the next stage: the proven ones and any left.
  for (int grp : proven) cand.push_back(grp);
  return 0;
}

} // namespace

void allMemberGroups(int numRows, int numCols, ConflictResult &g) {
  g.numRows = numRows, g.numCols = numCols;
  const int total = numRows + 2 * numCols;
  g.groupStart.resize(static_cast<size_t>(total) + 1);
  g.memberIndex.resize(static_cast<size_t>(total));
  g.memberKind.resize(static_cast<size_t>(total));
  for (int k = 0; k < total; ++k) {
    g.groupStart[k] = k;
    if (k < numRows) g.memberIndex[k] = k, g.memberKind[k] = MemberKind::kRow;
    else if (k < numRows + numCols) g.memberIndex[k] = k - numRows, g.memberKind[k] = MemberKind::kLowerBound;
    else g.memberIndex[k] = k - numRows - numCols, g.memberKind[k] = MemberKind::kUpperBound;
  }
  g.groupStart[total] = total;
  g.state.assign(static_cast<size_t>(total), GroupState::kExcluded);
}

int refineConflict(Environment *env, Problem *lp, ConflictResult &groups, const EnvVector<int> &order) {
  ConflictRun run;
  run.env = env;
  run.groups = &groups;
  run.start = startLimitClock(env);
  SavedParams saved(env);
  // The tests solve copies of the model's own rows, so rows kept beside the
  // model and the cut callback take no part; the caller is told.
  if (lp->mipData && lp->mipData->lazyConstraints && lp->mipData->lazyConstraints->count > 0)
    QVNmsg(env->warningChannel, "Warning:  Lazy constraints ignored during conflict refinement.\n");
  if (lp->mipData && lp->mipData->userCuts && lp->mipData->userCuts->count > 0)
    QVNmsg(env->warningChannel, "Warning:  User cuts ignored during conflict refinement.\n");
  if (env->mipCallbacks[kCutCallback].function)
    QVNmsg(env->warningChannel, "Warning:  Cut callback ignored during conflict refinement.\n");
  SuspendedCallbacks callbacksOff(env);
  run.callbacks = &callbacksOff;
  run.timeLimit = saved.tilim;
  run.itLimit = env->generalParams->itlim;
  run.display = env->generalParams->conflictdisplay;
  env->generalParams->simdisplay = 0;
  env->mipParams->mipdisplay = 0;
  env->generalParams->presolveDisplay = 0;
  QVN_TRY(buildRun(run, lp));
  // A group whose members are all infinite bounds restricts nothing.
  EnvVector<int> cand;
  for (int grp : order) {
    bool restricts = false;
    for (int k = groups.groupStart[grp]; k < groups.groupStart[grp + 1] && !restricts; ++k) {
      const int at = groups.memberIndex[k];
      switch (groups.memberKind[k]) {
      case MemberKind::kLowerBound:
        restricts = run.model.lower[at] > -kInfinity && !boundsAreIntrinsic(run.model.ctype, at);
        break;
      case MemberKind::kUpperBound:
        restricts = run.model.upper[at] < kInfinity && !boundsAreIntrinsic(run.model.ctype, at);
        break;
      case MemberKind::kRow: restricts = true; break;
      }
    }
    if (restricts) cand.push_back(grp);
  }
  run.numMembers = static_cast<int>(cand.size());
  QVN_TRY(buildRelaxation(run));
  bool feasibleWhole = false;
  QVN_TRY(runStage(run, kCheapLevel, cand, &feasibleWhole));
  if (run.status != 0) {
    groups.status = run.status;
    return 0;
  }
  // The relaxation with everything on has a point: for an LP the model is
  // feasible; a MIP goes on to the full test of the whole model.
  if (feasibleWhole && !run.isMip) {
    groups.status = QVN_STAT_CONFLICT_FEASIBLE;
    for (GroupState &s : groups.state) s = GroupState::kExcluded;
    return 0;
  }
  const bool reducedBefore = !feasibleWhole;
  QVN_TRY(runStage(run, kFullLevel, cand, &feasibleWhole));
  if (run.status != 0) {
    groups.status = run.status;
    return 0;
  }
  if (feasibleWhole) {
    if (!reducedBefore) {
      groups.status = QVN_STAT_CONFLICT_FEASIBLE;
      for (GroupState &s : groups.state) s = GroupState::kExcluded;
      return 0;
    }
    // What the cheap stage found infeasible has a point under the full test.
    groups.status = QVN_STAT_CONFLICT_NONMINIMAL;
    return QVNERR_CONFLICT_UNREPRODUCED;
  }
  groups.status = QVN_STAT_CONFLICT_MINIMAL;
  return 0;
}

void conflictRowStatus(const ConflictResult &c, EnvVector<int> &rowStatus) {
  rowStatus.assign(static_cast<size_t>(c.numRows), QVN_CONFLICT_EXCLUDED);
  for (int grp = 0; grp < c.numGroups(); ++grp) {
    if (c.state[grp] == GroupState::kExcluded) continue;
    const bool proven = c.state[grp] == GroupState::kProven;
    for (int k = c.groupStart[grp]; k < c.groupStart[grp + 1]; ++k)
      if (c.memberKind[k] == MemberKind::kRow) {
        int &s = rowStatus[c.memberIndex[k]];
        if (proven || s == QVN_CONFLICT_EXCLUDED) s = proven ? QVN_CONFLICT_MEMBER : QVN_CONFLICT_POSSIBLE_MEMBER;
      }
  }
}

void conflictColStatus(const ConflictResult &c, EnvVector<int> &colStatus) {
  // Bits per column: 1 lower, 2 upper; proven and possible apart.
  EnvVector<uint8_t> provenBits(static_cast<size_t>(c.numCols), 0), possibleBits(static_cast<size_t>(c.numCols), 0);
  for (int grp = 0; grp < c.numGroups(); ++grp) {
    if (c.state[grp] == GroupState::kExcluded) continue;
    EnvVector<uint8_t> &bits = c.state[grp] == GroupState::kProven ? provenBits : possibleBits;
    for (int k = c.groupStart[grp]; k < c.groupStart[grp + 1]; ++k) {
      if (c.memberKind[k] == MemberKind::kLowerBound) bits[c.memberIndex[k]] |= 1;
      if (c.memberKind[k] == MemberKind::kUpperBound) bits[c.memberIndex[k]] |= 2;
    }
  }
  colStatus.assign(static_cast<size_t>(c.numCols), QVN_CONFLICT_EXCLUDED);
  for (int j = 0; j < c.numCols; ++j) {
    const int all = provenBits[j] | possibleBits[j];
    if (all == 0) continue;
    if (provenBits[j]) {
      // A column with one bound proven and the other possible counts as proven on both.
      colStatus[j] = all == 3 ? QVN_CONFLICT_MEMBER : all == 1 ? QVN_CONFLICT_LB : QVN_CONFLICT_UB;
    } else {
      colStatus[j] = all == 3 ? QVN_CONFLICT_POSSIBLE_MEMBER : all == 1 ? QVN_CONFLICT_POSSIBLE_LB
                                                                        : QVN_CONFLICT_POSSIBLE_UB;
    }
  }
}

} // namespace qvn
