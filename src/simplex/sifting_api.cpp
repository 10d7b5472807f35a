// The functions for code that runs inside a sifting run. They read the
// point of the last finished work solve in the frame of the whole problem:
// full-length vectors, columns outside the work LP at their rest bound of
// 0 and priced with the same duals. Column changes and the method take
// effect when the driver next prepares the work LP, never in the middle of
// the solve that called them. The handle is the problem given to the
// optimizer; after presolve the frame is that of the reduced problem.
#include <algorithm>

#include "model/datacheck.h"
#include "model/edit.h"
#include "presolve/presolve_state.h"
#include "simplex/sifting_run.h"

namespace qvn {

namespace {

thread_local SiftRun *activeRun = nullptr;

bool runsOn(const SiftRun &run, const Problem *lp) {
  if (lp == run.lp) return true;
  const PresolveState *p = lp->presolved;
  return p && (p->reduced == run.lp || p->dualProblem == run.lp);
}

SiftRun *findRun(const Environment *env, const Problem *lp) {
  for (SiftRun *r = activeRun; r; r = r->outer)
    if (r->env == env && runsOn(*r, lp)) return r;
  return nullptr;
}

// The frame: environment (1002), the handle (1009), and a sifting run on it
// in progress on this thread (1009 too: outside of one there is no work problem).
template <class Body> int guardedRun(const Environment *env, const Problem *lp, Body &&body) noexcept {
  return guarded(env, [&]() -> int {
    if (!problemOfEnv(env, lp) || !checkProblemFast(lp)) return QVNERR_NO_PROBLEM;
    SiftRun *run = findRun(env, lp);
    if (!run) return QVNERR_NO_PROBLEM;
    return body(*run);
  });
}

template <class Body> int runValue(const Environment *env, const Problem *lp, Body &&body) noexcept {
  int result = 0;
  guardedRun(env, lp, [&](SiftRun &run) -> int {
    result = body(run);
    return 0;
  });
  return result;
}

// Phase 2 values are given in the objective's own sense.
double senseOf(const SiftRun &run) { return run.phase == 2 ? run.lp->lpData->objSense : 1.0; }

template <class Fill>
int getRange(const Environment *env, const Problem *lp, const char *name, double *values, int begin, int end,
             bool perRow, Fill fill) {
  return guardedRun(env, lp, [&](SiftRun &run) -> int {
    if (!values) return QVNERR_NULL_POINTER;
    QVN_TRY(rangeStatus(env, name, begin, end, perRow ? run.m : run.n));
    if (!run.havePoint) return QVNERR_NO_SOLN;
    fill(run, values, begin, end);
    return 0;
  });
}

int queueColumns(const Environment *env, Problem *lp, int count, const int *indices, bool adding) {
  return guardedRun(env, lp, [&](SiftRun &run) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    if (!indices) return QVNERR_NULL_POINTER;
    QVN_TRY(checkIndexList(env, count, indices, run.n, QVNERR_COL_INDEX_RANGE));
    EnvVector<int> &list = adding ? run.pendingAdd : run.pendingDelete;
    list.insert(list.end(), indices, indices + count);
    return 0;
  });
}

} // namespace

void enterSiftRun(SiftRun *run) {
  run->outer = activeRun;
  activeRun = run;
}

void leaveSiftRun(SiftRun *run) {
  // Runs end in the reverse order of their start on one thread.
  if (activeRun == run) activeRun = run->outer;
}

void takeSiftPoint(SiftRun &run, const Problem *work, int artificials, const int *workColumns, int count) {
  const SolutionBlock &s = *work->solution;
  if (run.pointPos.size() != static_cast<size_t>(run.n)) run.pointPos.assign(static_cast<size_t>(run.n), -1);
  for (int j : run.pointColumns) run.pointPos[j] = -1;
  run.pointColumns.assign(workColumns, workColumns + count);
  run.pointX.resize(static_cast<size_t>(count));
  run.pointDj.resize(static_cast<size_t>(count));
  for (int k = 0; k < count; ++k) {
    run.pointPos[workColumns[k]] = k;
    run.pointX[k] = s.x[artificials + k];
    run.pointDj[k] = s.dj[artificials + k];
  }
  run.pi.assign(s.pi.begin(), s.pi.begin() + run.m);
  const LpData &d = *run.lp->lpData;
  run.objective = run.phase == 2 ? d.objSense * s.objValue + d.objOffset : s.objValue;
  run.havePoint = true;
}

void dropSiftPoint(SiftRun &run) { run.havePoint = false; }

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNsiftgetx(QVNCENVptr env, QVNCLPptr lp, double *x, int begin, int end) {
  return getRange(env, lp, "QVNsiftgetx", x, begin, end, false, [](const SiftRun &run, double *v, int b, int e) {
    for (int j = b; j <= e; ++j) {
      const int k = run.pointPos[j];
      v[j - b] = k >= 0 ? run.pointX[k] : 0.0;
    }
  });
}

// Row slacks rhs - a_i x of the point, from the work columns alone: the
// columns outside rest at 0 and the artificials are not the model's.
QVN_API int QVNsiftgetslack(QVNCENVptr env, QVNCLPptr lp, double *slack, int begin, int end) {
  return getRange(env, lp, "QVNsiftgetslack", slack, begin, end, true,
                  [](const SiftRun &run, double *v, int b, int e) {
                    const LpData &d = *run.lp->lpData;
                    for (int i = b; i <= e; ++i) v[i - b] = d.rhs[i];
                    for (size_t k = 0; k < run.pointColumns.size(); ++k) {
                      const int j = run.pointColumns[k];
                      const double xj = run.pointX[k];
                      if (xj == 0.0) continue;
                      for (int64_t t = d.colStart[j]; t < d.colStart[j] + d.colCount[j]; ++t) {
                        const int i = d.rowIndex[t];
                        if (i >= b && i <= e) v[i - b] -= d.coefValue[t] * xj;
                      }
                    }
                  });
}

QVN_API int QVNsiftgetpi(QVNCENVptr env, QVNCLPptr lp, double *pi, int begin, int end) {
  return getRange(env, lp, "QVNsiftgetpi", pi, begin, end, true, [](const SiftRun &run, double *v, int b, int e) {
    const double sense = senseOf(run);
    for (int i = b; i <= e; ++i) v[i - b] = sense * run.pi[i];
  });
}

// Work columns give the work LP's reduced costs; the others are priced
// c_j - a_j'pi with the costs of the phase (0 in phase 1).
QVN_API int QVNsiftgetdj(QVNCENVptr env, QVNCLPptr lp, double *dj, int begin, int end) {
  return getRange(env, lp, "QVNsiftgetdj", dj, begin, end, false, [](const SiftRun &run, double *v, int b, int e) {
    const LpData &d = *run.lp->lpData;
    const double sense = senseOf(run);
    for (int j = b; j <= e; ++j) {
      const int k = run.pointPos[j];
      if (k >= 0) {
        v[j - b] = sense * run.pointDj[k];
        continue;
      }
      double value = run.phase == 2 ? run.cost[j] : 0.0;
      for (int64_t t = d.colStart[j]; t < d.colStart[j] + d.colCount[j]; ++t)
        value -= d.coefValue[t] * run.pi[d.rowIndex[t]];
      v[j - b] = sense * value;
    }
  });
}

QVN_API int QVNsiftgetobjval(QVNCENVptr env, QVNCLPptr lp, double *objective) {
  return guardedRun(env, lp, [&](SiftRun &run) -> int {
    if (!objective) return QVNERR_NULL_POINTER;
    if (!run.havePoint) return QVNERR_NO_SOLN;
    *objective = run.objective;
    return 0;
  });
}

QVN_API int QVNsiftgetnumcols(QVNCENVptr env, QVNCLPptr lp) {
  return runValue(env, lp, [](const SiftRun &run) { return run.workColumnCount; });
}

QVN_API int QVNsiftgetnumrows(QVNCENVptr env, QVNCLPptr lp) {
  return runValue(env, lp, [](const SiftRun &run) { return run.m; });
}

QVN_API int QVNsiftgetphase(QVNCENVptr env, QVNCLPptr lp) {
  return runValue(env, lp, [](const SiftRun &run) { return run.phase; });
}

QVN_API int QVNsiftaddcols(QVNCENVptr env, QVNLPptr lp, int count, const int *indices) {
  return queueColumns(env, lp, count, indices, true);
}

QVN_API int QVNsiftdelcols(QVNCENVptr env, QVNLPptr lp, int count, const int *indices) {
  return queueColumns(env, lp, count, indices, false);
}

// 0 automatic, 1 primal, 2 dual, 3 network, 4 barrier: the values of QVN_PARAM_SIFTALG.
QVN_API int QVNsiftsetmethod(QVNCENVptr env, QVNLPptr lp, int method) {
  return guardedRun(env, lp, [&](SiftRun &run) -> int {
    if (method < 0 || method > 4) return QVNERR_BAD_ARGUMENT;
    run.method = method;
    return 0;
  });
}

} // extern "C"
