// QVNmipopt: the checks, the run control, the root, the tree and the
// translation of how the run ended into a MIP status.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "mip/mip_log.h"
#include "mip/debug_solution.h"
#include "mip/callbacks.h"
#include "mip/mip_presolve.h"
#include "mip/mip_run.h"
#include "mip/plugins.h"
#include "model/mip_data.h"
#include "presolve/presolve_state.h"
#include "simplex/engine.h"
#include "simplex/fpu_precision.h"

namespace qvn {

namespace {

// Largest magnitude of a general integer bound or branch value.
constexpr int kIntegerLimit = 2100000000;

const char *columnName(const LpData &d, int j, char *buffer) {
  if (d.colNames.exists) return d.colNames.name(j);
  std::snprintf(buffer, 32, "C%d", j + 1);
  return buffer;
}

// The step of the grid that every integer solution's objective lies on: the
// greatest common divisor of the objective coefficients when all of them sit
// on integer columns and are integers of moderate size; else 0.
double objectiveStep(const LpData &d) {
  long step = 0;
  for (int j = 0; j < d.numCols; ++j) {
    const double c = d.objCoef[j];
    if (c == 0.0) continue;
    const char t = d.ctype.empty() ? 'C' : d.ctype[j];
    if (t != 'B' && t != 'I') return 0.0;
    if (std::fabs(c) > 1e9 || c != std::round(c)) return 0.0;
    long a = std::labs(std::lround(c)), b = step;
    while (b != 0) {
      const long r = a % b;
      a = b;
      b = r;
    }
    step = a;
  }
  return static_cast<double>(step);
}

bool allObjectiveZero(const LpData &d) {
  for (int j = 0; j < d.numCols; ++j)
    if (d.objCoef[j] != 0.0) return false;
  return true;
}

MipControl buildControl(Environment *env, const LpData &d) {
  const MipParams &p = *env->mipParams;
  MipControl c;
  c.brdir = p.brdir;
  c.divetype = p.divetype;
  c.display = p.mipdisplay;
  c.interval = p.mipdisplay == 5 ? 1 : std::max(1, p.mipinterval);
  c.nodeLimit = p.nodelim;
  c.ordind = p.mipordind;
  c.solutionLimit = p.intsollim;
  c.nodeSelect = p.nodesel;
  c.strongItLimit = p.strongitlim;
  c.strongCandLimit = p.strongcandlim;
  c.emphasis = p.mipemphasis;
  c.timeLimit = env->generalParams->tilim;
  c.epagap = p.epagap;
  c.epgap = p.epgap;
  c.epint = p.epint < 1e-10 ? 1e-9 : p.epint;
  c.bttol = p.bttol;
  c.objdif = p.objdif;
  c.relobjdif = p.relobjdif;
  c.cutup = p.cutup;
  c.cutlo = p.cutlo;
  c.varSelect = p.varsel;
  const bool resolvedFromZero = c.varSelect == 0;
  if (c.varSelect == 0) c.varSelect = allObjectiveZero(d) ? 1 : 2;
  // The emphasis moves only what stands at its default.
  switch (c.emphasis) {
  case 1:
    if (resolvedFromZero && c.varSelect == 2) c.varSelect = 4;
    if (c.nodeSelect == 1) c.nodeSelect = 2;
    if (c.bttol == 0.9999) c.bttol = 1.0;
    break;
  case 2:
    if (c.bttol == 0.9999) c.bttol = 0.01;
    if (c.strongItLimit == 0) c.strongItLimit = 100;
    break;
  case 3:
    if (c.bttol == 0.9999) c.bttol = 0.0;
    if (c.strongItLimit == 0) c.strongItLimit = 100000;
    break;
  case 4:
    if (c.divetype == 0) c.divetype = 3;
    break;
  default: break;
  }
  c.objectiveStep = objectiveStep(d);
  c.start = startLimitClock(env);
  return c;
}

void printEmphasis(Environment *env, const MipControl &c) {
  static const char *const kTexts[] = {
      "MIP emphasis: balance optimality and feasibility.\n", "MIP emphasis: integer feasibility.\n",
      "MIP emphasis: optimality.\n", "MIP emphasis: best bound.\n",
      "MIP emphasis: hidden feasible solutions.\n"};
  if (c.display != 0 && c.emphasis >= 0 && c.emphasis <= 4) QVNmsg(env->resultsChannel, "%s", kTexts[c.emphasis]);
}

// The strong branching iteration limit when none is given, from the root's
// infeasibilities.
int resolvedStrongLimit(const MipControl &c, const LpData &d, int integers, int rootIinf) {
  if (c.strongItLimit > 0) return c.strongItLimit;
  if (c.varSelect == 3) return 50;
  long limit = std::lround(100.0 * d.numRows / (integers + 1.0));
  if (limit > 49) limit = 50;
  if (rootIinf > 0) {
    limit = std::min<long>(limit, 5000 / rootIinf);
    if (limit < 11) limit = 10;
    if (rootIinf > 1000) limit = 1;
  }
  return static_cast<int>(limit);
}

// Column kinds, the root's working bounds and the checks of integer bounds.
int prepareSearch(Environment *env, Problem *lp, MipSearch &s, const MipControl &c) {
  const LpData &d = *lp->lpData;
  const int n = d.numCols;
  s.kind.assign(static_cast<size_t>(n), ColKind::kContinuous);
  s.rootLower.assign(d.lowerBound.begin(), d.lowerBound.begin() + n);
  s.rootUpper.assign(d.upperBound.begin(), d.upperBound.begin() + n);
  s.semiLower.assign(static_cast<size_t>(n), 0.0);
  s.integerCount = 0;
  char buffer[32];
  for (int j = 0; j < n; ++j) {
    const char t = d.ctype.empty() ? 'C' : d.ctype[j];
    double &lo = s.rootLower[j], &up = s.rootUpper[j];
    if (t != 'C' && std::fabs(lo) < kInfinity && std::fabs(up) < kInfinity && std::fabs(up - lo) < 1e-10 &&
        t != 'S' && std::fabs(up - std::round(up)) > c.epint)
      return reportError(env, 3011, "fixed", up, columnName(d, j, buffer));
    switch (t) {
    case 'B':
      if (lo < -0.5 || up > 1.5 || std::fabs(up - lo) >= 1e-10) {
        lo = std::max(lo, 0.0);
        up = std::min(up, 1.0);
      }
      [[fallthrough]];
    case 'I':
      s.kind[j] = ColKind::kInteger;
      ++s.integerCount;
      if (t == 'I' && (lo > kIntegerLimit || up < -kIntegerLimit))
        return reportError(env, 3018, columnName(d, j, buffer), lo > kIntegerLimit ? lo : up, kIntegerLimit);
      break;
    case 'S':
    case 'N':
      s.kind[j] = t == 'S' ? ColKind::kSemiContinuous : ColKind::kSemiInteger;
      if (t == 'N') ++s.integerCount;
      s.semiLower[j] = lo;
      lo = std::min(lo, 0.0);
      break;
    default: break;
    }
    if (s.kind[j] == ColKind::kInteger || s.kind[j] == ColKind::kSemiInteger) {
      // Inward rounding: an integer column cannot take a fractional bound.
      if (lo > -kInfinity) lo = std::ceil(lo - c.epint);
      if (up < kInfinity) up = std::floor(up + c.epint);
      if (s.kind[j] == ColKind::kSemiInteger) s.semiLower[j] = std::ceil(s.semiLower[j] - c.epint);
    }
  }
  s.pseudo.updateCount.assign(static_cast<size_t>(n), 0);
  s.pseudo.downCost.assign(static_cast<size_t>(n), 0.01);
  s.pseudo.upCost.assign(static_cast<size_t>(n), 0.01);
  const SosData *sos = heldSos(lp);
  const size_t sets = sos ? static_cast<size_t>(sos->count) : 0;
  s.pseudo.setUpdateCount.assign(sets, 0);
  s.pseudo.setDownCost.assign(sets, 0.01);
  s.pseudo.setUpCost.assign(sets, 0.01);
  return 0;
}

// The node LP on the model with the root's bounds; a run that goes through
// presolve never needs it on the caller's model.
int prepareRelaxation(Environment *env, Problem *lp, MipSearch &s) {
  const LpData &d = *lp->lpData;
  const int n = d.numCols;
  QVN_TRY(relaxCreate(env, d, &s.nodeLp));
  EnvVector<int> cols;
  EnvVector<double> lows, ups;
  for (int j = 0; j < n; ++j)
    if (s.rootLower[j] != d.lowerBound[j] || s.rootUpper[j] != d.upperBound[j]) {
      cols.push_back(j);
      lows.push_back(s.rootLower[j]);
      ups.push_back(s.rootUpper[j]);
    }
  if (!cols.empty())
    QVN_TRY(relaxChangeBounds(*s.nodeLp, static_cast<int>(cols.size()), cols.data(), lows.data(), ups.data()));
  return 0;
}

bool limitStatus(int status) { return status >= 102 && status <= 114 && status != 103; }

// The status of the run from the stop reason and the incumbent.
int translate(const MipRun &run, int stop, bool nodesLeft) {
  const bool have = run.search->incumbent.exists;
  if (stop == 0) return have ? 101 : 103;
  if (stop == 103) return have ? 101 : 103;
  if (stop == 102 && !nodesLeft) return 101;
  if (stop >= 1000) return have ? 109 : 110;
  return stop;
}

int runSearch(MipRun &run) {
  MipSearch &s = *run.search;
  if (!s.rootSolved) {
    QVN_TRY(integerPresolveStage(run));
    QVN_TRY(tryMipStart(run));
    QVN_TRY(mipRoot(run));
    if (run.stopStatus != 0 || !s.rootSolved) return 0;
    QVN_TRY(mipRootRounds(run));
  } else if (run.control.display >= 1) {
    QVNmsg(run.env->resultsChannel, "\nNode log . . .\n");
  }
  QVN_TRY(runNodeLoop(run));
  printCutSummary(run);
  return 0;
}

bool polishable(int status) {
  return status == 102 || (status >= 104 && status <= 110) || status == 113 || status == 114;
}

// Polishing: after a run that ended short of a proof, the tree resumes for
// POLISHTIME more seconds with every other limit and both gaps lifted, so
// that the search keeps improving the incumbent it has.
int polish(MipRun &run, int *status) {
  Environment *env = run.env;
  MipSearch &s = *run.search;
  const bool show = run.control.display > 0;
  if (!s.incumbent.exists) {
    if (show) QVNmsg(env->resultsChannel, "\nPolishing requested, but no solution to polish.\n\n");
    return 0;
  }
  if (show) {
    char text[512];
    const int shown = *status == 106 ? 105 : *status == 108 ? 107 : *status;
    if (QVNgetstatstring(env, shown, text)) {
      text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
      QVNmsg(env->resultsChannel, "\n%s.\n", text);
    }
    const double seconds = env->mipParams->polishtime;
    QVNmsg(env->resultsChannel,
           seconds >= 1e7 ? "Spending an additional %.4e seconds polishing solution.\n\n"
                          : "Spending an additional %.0f seconds polishing solution.\n\n",
           seconds);
  }
  const int before = *status;
  MipControl &c = run.control;
  c.interval = 1;
  c.nodeLimit = 2100000000;
  c.solutionLimit = 2100000000;
  c.epgap = c.epagap = 0.0;
  c.timeLimit = env->mipParams->polishtime + elapsedSeconds(run);
  run.nodesAtStart = s.nodeCount;
  run.stopStatus = 0;
  const int failure = runNodeLoop(run);
  if (failure != 0) {
    if (failure < 0 || failure == QVNERR_NO_MEMORY) return failure;
    run.stopStatus = failure;
  }
  *status = translate(run, run.stopStatus, storeCount(s.store) > 0 || s.resume);
  if (*status == 107 || *status == 108) *status = before;
  return 0;
}

// The checks of the incumbent on the caller's own model, and the statuses
// that are stored as final.
int finishStatus(MipRun &run, int status) {
  Environment *env = run.env;
  Problem *lp = run.lp;
  MipSearch &s = *run.search;
  if (s.incumbent.exists) {
    double integrality = 0.0;
    s.incumbent.infeasibility =
        solutionViolation(*lp->lpData, s.kind, s.semiLower.data(), s.incumbent.x.data(), &integrality);
    s.incumbent.infeasibility =
        std::max({s.incumbent.infeasibility, integrality, sosViolation(run.sos, s.incumbent.x.data())});
    if (s.incumbent.infeasibility > std::max(run.control.epint, 1e-10)) {
      QVNmsg(env->warningChannel, "Warning: integer solution contains unscaled infeasibilities.\n");
      if (status == 101) status = 115;
    }
    if (status == 119) status = 118;
  }
  if (status == 101 || status == 115) s.bestBound = s.incumbent.objective;
  if (status == 101 || status == 115 || status == 118 || status == 103 || status == 119) s.finalStatus = status;
  lp->status = status;
  return 0;
}

int mipopt(Environment *env, Problem *lp, const ReducedRunContext *inherited = nullptr);

// Presolve of a fresh run: a verdict ends the run, a reduced problem is
// kept on lp for the search. True in *done when the run is over.
int presolveStage(MipRun &run, double *seconds, bool *done) {
  Environment *env = run.env;
  Problem *lp = run.lp;
  *done = false;
  const auto start = std::chrono::steady_clock::now();
  const MipParams &p = *env->mipParams;
  const int mode = p.probe > 1 || p.mipemphasis == 3 || p.repeatpresolve > 0 ? 1 : 0;
  // The presolve core logs by the simplex display; a silent MIP run keeps it silent.
  const int display = env->generalParams->simdisplay;
  if (run.control.display <= 0) env->generalParams->simdisplay = 0;
  const int status = mipPresolve(env, lp, mode);
  env->generalParams->simdisplay = display;
  *seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (run.control.display > 0 && env->generalParams->simdisplay != 0)
    QVNmsg(env->resultsChannel, "Presolve time = %7.2f sec.\n", *seconds);
  if (status == 0) return 0;
  if (status == QVNERR_PRESLV_ABORT) {
    // The terminate flag: the run ends as aborted; a later call searches the model as it is.
    dropPresolveResult(lp);
    *done = true;
    return finishStatus(run, run.search->incumbent.exists ? 113 : 114);
  }
  if (status != QVNERR_PRESLV_INForUNBD && status != QVNERR_PRESLV_INF && status != QVNERR_PRESLV_UNBD) {
    // Presolve could not run (memory): the search takes the model as it is.
    dropPresolveResult(lp);
    return status == QVNERR_NO_MEMORY ? 0 : status;
  }
  const int verdict = lp->presolved ? presolveVerdictStatus(*lp->presolved, status) : 103;
  dropPresolveResult(lp);
  run.search->rootSolved = true;
  run.search->bestBound = verdict == 103 ? kTreeInfinity : -kTreeInfinity;
  *done = true;
  return finishStatus(run, verdict);
}

// The search on the reduced problem, its incumbent taken back to lp.
int runPresolved(MipRun &run, double presolveSeconds) {
  Environment *env = run.env;
  Problem *lp = run.lp;
  PresolveState &ps = *lp->presolved;
  MipSearch &s = *run.search;
  int status = 0;
  if (!ps.reduced) {
    // Presolve removed everything: the replay alone gives the solution.
    QVN_TRY(adoptReducedResult(env, lp, s));
    s.rootSolved = true;
    status = s.incumbent.exists ? 101 : 103;
  } else {
    ReducedRunContext context;
    context.secondsUsed = presolveSeconds;
    context.objectiveStep = run.control.objectiveStep;
    QVN_TRY(mipopt(env, ps.reduced, &context));
    QVN_TRY(adoptReducedResult(env, lp, s));
    status = presolvedRunStatus(ps, ps.reduced->status);
    if (status == 117 && s.incumbent.exists) status = 116;
  }
  return finishStatus(run, status);
}

int mipopt(Environment *env, Problem *lp, const ReducedRunContext *inherited) {
  if (!isMipType(lp->probType)) return QVNERR_NOT_MIP;
  if (hasQuadObjType(lp->probType) || hasQuadConstrType(lp->probType)) return QVNERR_NOT_FOR_QP;
  ExtendedPrecisionScope precision;
  if (env->generalParams->advind == 0) destroyMipSearch(lp->mipSearch);
  if (lp->mipSearch) {
    const int last = lp->mipSearch->finalStatus;
    if (lp->status == 116 || lp->status == 117) return QVNERR_NO_MEMORY;
    if (last != 0) {
      lp->status = last;
      return 0;
    }
  }
  MipRun run;
  run.env = env;
  run.lp = lp;
  run.model = lp->lpData;
  run.sense = lp->lpData->objSense >= 0 ? 1 : -1;
  run.sos = heldSos(lp);
  run.control = buildControl(env, *lp->lpData);
  if (inherited) {
    run.control.timeLimit -= inherited->secondsUsed;
    if (run.control.objectiveStep <= 0.0) run.control.objectiveStep = inherited->objectiveStep;
  }
  // The known solution is in the caller's columns: a reduced problem's run
  // has other columns and is not checked.
  run.debug = inherited ? nullptr : debugSolutionLoad(run);
  struct DebugRelease {
    DebugSolution *&d;
    ~DebugRelease() { debugSolutionFree(d); }
  } debugRelease{run.debug};
  bool fresh = false;
  if (!lp->mipSearch) {
    lp->mipSearch = envNew<MipSearch>();
    const int status = prepareSearch(env, lp, *lp->mipSearch, run.control);
    if (status != 0) {
      destroyMipSearch(lp->mipSearch);
      return status;
    }
    fresh = true;
  }
  MipSearch &s = *lp->mipSearch;
  run.search = &s;
  if (!inherited) {
    // A reduced problem serves only the run that made it.
    if (fresh && mipPresolveState(lp)) dropPresolveResult(lp);
    double presolveSeconds = 0.0;
    if (fresh && mipPresolveWanted(env, lp)) {
      bool done = false;
      QVN_TRY(presolveStage(run, &presolveSeconds, &done));
      if (done) return 0;
    }
    const PresolveState *ps = mipPresolveState(lp);
    if (ps && !ps->nothingDone) return runPresolved(run, presolveSeconds);
  }
  if (!s.nodeLp) QVN_TRY(prepareRelaxation(env, lp, s));
  run.nodesAtStart = s.nodeCount;
  run.rule = findBranchRule(run.control.varSelect);
  const PriorityOrder *order = lp->mipData ? lp->mipData->order : nullptr;
  if (run.control.ordind != 0 && order && !order->column.empty()) {
    const int n = lp->lpData->numCols;
    run.priority.assign(static_cast<size_t>(n), -1);
    run.orderDirection.assign(static_cast<size_t>(n), 0);
    for (size_t k = 0; k < order->column.size(); ++k) {
      const int j = order->column[k];
      if (j < 0 || j >= n) continue;
      run.priority[j] = order->priority[k];
      run.orderDirection[j] = order->direction[k];
    }
  }
  s.store.keys.nodeSelect = run.control.nodeSelect;
  s.store.keys.varSelect = run.control.varSelect;
  s.store.bbInterval = env->mipParams->bbinterval;
  s.store.treeLimit = env->mipParams->trelim >= 1e75 ? 1e75 : env->mipParams->trelim * 1048576.0;
  const double workmem = env->generalParams->workmem;
  s.store.memoryLimit = workmem >= 1e75 ? 1e75 : workmem * 1048576.0;
  s.store.fileMode = env->mipParams->nodefileind;
  if (s.store.directory.empty()) {
    // The directory of a run's node files is fixed once it exists.
    const char *dir = env->generalParams->workdir;
    s.store.workDir.assign(dir, dir + std::strlen(dir) + 1);
  }
  storeRekey(s.store);
  // The cutoff of the caller, in minimization sense, unless an incumbent is better.
  const double userCut = run.sense > 0 ? run.control.cutup : -run.control.cutlo;
  s.cutoff = std::min(userCut, s.incumbent.exists ? cutoffFor(run.control, s.incumbent.objective) : 1e75);
  int failure = 0;
  try {
    failure = runSearch(run);
  } catch (const std::bad_alloc &) {
    // The tree is what ran out: it goes, the incumbent stays.
    storeClear(s.store);
    freeNode(s.resume);
    lp->status = s.incumbent.exists ? 116 : 117;
    return QVNERR_NO_MEMORY;
  } catch (const NodeFileFailure &f) {
    // Nodes lost with their file: what is left of the tree proves nothing.
    storeClear(s.store);
    freeNode(s.resume);
    lp->status = s.incumbent.exists ? 116 : 117;
    return f.code;
  }
  if (failure != 0) {
    if (failure < 0 || failure == QVNERR_NO_MEMORY) return failure;
    run.stopStatus = failure;
  }
  const bool nodesLeft = storeCount(s.store) > 0 || s.resume;
  int status = translate(run, run.stopStatus, nodesLeft);
  if (env->mipParams->polishtime > 0.0 && polishable(status)) {
    try {
      QVN_TRY(polish(run, &status));
    } catch (const std::bad_alloc &) {
      storeClear(s.store);
      freeNode(s.resume);
      lp->status = s.incumbent.exists ? 116 : 117;
      return QVNERR_NO_MEMORY;
    } catch (const NodeFileFailure &f) {
      storeClear(s.store);
      freeNode(s.resume);
      lp->status = s.incumbent.exists ? 116 : 117;
      return f.code;
    }
  }
  if (s.unprovedBound < s.cutoff && (status == 101 || status == 103)) {
    // Nodes dropped without a solved LP still hold what their bound allows:
    // the run may claim only what that bound proves.
    if (run.unprovedDrops > 0)
      QVNmsg(env->warningChannel, "Warning: %d node LPs unsolved; optimality not proved.\n", run.unprovedDrops);
    if (!s.incumbent.exists) {
      status = 110;
    } else {
      const double z = s.incumbent.objective, b = s.unprovedBound, gap = std::fabs(z - b);
      const bool within = gap < (std::fabs(b) + 1e-10) * run.control.epgap || gap < 1.0000000000001 * run.control.epagap;
      status = within ? 102 : 109;
    }
  }
  if (status == 101 || status == 103) {
    // The tree is exhausted: nothing open is left to bound the optimum.
    reportRemainingNodes(run);
    storeClear(s.store);
    freeNode(s.resume);
  }
  s.bestBound = currentBestBound(run, nullptr);
  (void)limitStatus;
  return finishStatus(run, status);
}

} // namespace

double elapsedSeconds(const MipRun &run) {
  return limitSeconds(run.control.start);
}

int mipRoot(MipRun &run) {
  Environment *env = run.env;
  MipSearch &s = *run.search;
  for (int j = 0; j < run.model->numCols; ++j)
    if (s.rootLower[j] > s.rootUpper[j]) {
      // Integer rounding emptied a column's range: no integer point exists.
      s.rootSolved = true;
      run.stopStatus = 103;
      return 0;
    }
  if (run.control.display >= 1 && run.control.display != 0) printEmphasis(env, run.control);
  RelaxSolveLimits limits;
  limits.objectiveLimit = s.cutoff;
  limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
  limits.display = run.control.display >= 4 ? env->generalParams->simdisplay : 0;
  int lpStatus = 0;
  QVN_TRY(relaxSolve(*s.nodeLp, limits, &lpStatus));
  s.iterationTotal += relaxIterations(*s.nodeLp);
  s.rootIterations = s.iterationTotal;
  if (run.control.display > 1)
    QVNmsg(env->resultsChannel, "Root relaxation solution time = %7.2f sec.\n", elapsedSeconds(run));
  switch (lpStatus) {
  case kRunOptimal: break;
  case kRunInfeasible:
  case kRunObjLimit:
    // Without an integer point below the cutoff the run is over.
    s.rootSolved = true;
    run.stopStatus = 103;
    return 0;
  case kRunUnbounded:
    s.rootSolved = true;
    run.stopStatus = 118;
    return 0;
  case kRunInfOrUnbd:
    s.rootSolved = true;
    run.stopStatus = 119;
    return 0;
  case kRunTimeLimit:
    run.stopStatus = 108;
    return 0;
  case kRunAborted:
    run.stopStatus = s.incumbent.exists ? 113 : 114;
    return 0;
  default:
    run.stopStatus = 110;
    return 0;
  }
  s.rootSolved = true;
  const double objective = relaxObjective(*s.nodeLp);
  s.rootObjective = s.rootBound = objective;
  // The root node: the loop re-solves it from the optimal basis at no cost and
  // branches on it like on any other node.
  NodeRecord *root = newNode();
  root->objective = root->bound = objective;
  root->sequence = s.nodesMade++;
  root->depth = 0;
  // Infeasibility counts for the node keys and estimates.
  const double *x = relaxPrimal(*s.nodeLp);
  int iinf = 0;
  double sumInf = 0.0;
  for (int j = 0; j < run.model->numCols; ++j) {
    if (s.kind[j] != ColKind::kInteger) continue;
    const double f = x[j] - std::floor(x[j]), dist = std::min(f, 1.0 - f);
    if (dist > run.control.epint) {
      ++iinf;
      sumInf += dist;
    }
  }
  root->iinf = s.rootIinf = iinf;
  root->sumInf = s.rootSumInf = sumInf;
  s.store.keys.rootIinf = iinf;
  if (sumInf > 0) {
    if (s.cutoff < 1e74) {
      s.estimateScale = std::fabs(s.cutoff - objective) / sumInf;
      s.secondScale = std::fabs(s.cutoff - objective) / iinf;
      s.referenceObjective = s.cutoff;
    } else {
      s.estimateScale = 0.25 * std::fabs(objective) / sumInf;
      s.referenceObjective = objective + 0.25 * std::fabs(objective);
    }
  }
  s.store.keys.estimateScale = s.estimateScale;
  s.store.keys.referenceObjective = s.referenceObjective;
  run.control.strongItLimit = resolvedStrongLimit(run.control, *run.model, s.integerCount, iinf);
  s.resume = root;
  if (run.control.display >= 1) QVNmsg(env->resultsChannel, "\nNode log . . .\n");
  return 0;
}

int mipRootRounds(MipRun &run) {
  QVN_TRY(rootCutRounds(run));
  QVN_TRY(heuristicStep(run, kAtRoot));
  return 0;
}

double currentBestBound(const MipRun &run, const NodeRecord *current) {
  const MipSearch &s = *run.search;
  double best = storeBestBound(s.store);
  if (s.resume) best = std::min(best, s.resume->bound);
  if (current) best = std::min(best, current->bound);
  if (s.incumbent.exists) best = std::min(best, s.incumbent.objective);
  if (s.unprovedBound < s.cutoff) best = std::min(best, s.unprovedBound);
  return best;
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNmipopt(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    return mipopt(env, p);
  });
}

} // extern "C"
