// Exported presolve functions: running presolve on its own, reading its
// maps and reduced problem, protected columns, and releasing the state.
#include <algorithm>

#include "model/attachments.h"
#include "model/edit.h"
#include "presolve/presolve_state.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

int presolveNow(Environment *env, Problem *lp, bool keepReduced, int method) {
  QVN_TRY(flushCache(env, lp));
  if (isMipType(lp->probType) || hasQuadConstrType(lp->probType)) return QVNERR_NOT_FOR_MIP;
  const int status = runPresolve(env, lp, keepReduced, method);
  if (status != 0) dropPresolveResult(lp);
  return status;
}

} // namespace

extern "C" {

QVN_API int QVNpresolve(QVNCENVptr cenv, QVNLPptr lp, int method) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (method < 0 || method > 6) return QVNERR_BAD_ARGUMENT;
    return presolveNow(env, p, true, method);
  });
}

QVN_API int QVNbasicpresolve(QVNCENVptr cenv, QVNLPptr lp, int *rowRedundantOut, double *lowerOut,
                             double *upperOut) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(presolveNow(env, p, false, 2));
    const PresolveState &s = *p->presolved;
    if (rowRedundantOut)
      for (int i = 0; i < s.numRows; ++i) rowRedundantOut[i] = s.rowLive[i] < 0 ? -1 : 0;
    for (int j = 0; j < s.numCols; ++j) {
      const bool fixedByRecord = s.colLive[j] < 0 && s.colLower[j] == s.colUpper[j];
      const bool live = s.colLive[j] >= 0;
      if (lowerOut) lowerOut[j] = live || fixedByRecord ? s.colLower[j] : s.origLower[j];
      if (upperOut) upperOut[j] = live || fixedByRecord ? s.colUpper[j] : s.origUpper[j];
    }
    // Only the result is kept; the protected columns stay with the problem.
    dropPresolveResult(p);
    return 0;
  });
}

QVN_API int QVNfreepresolve(QVNCENVptr env, QVNLPptr lp) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    freePresolved(p);
    return 0;
  });
}

QVN_API int QVNgetprestat(QVNCENVptr env, QVNCLPptr lp, int *statusOut, int *reducedColStatus,
                          int *reducedRowStatus, int *origColStatus, int *origRowStatus) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    const PresolveState *s = p->presolved;
    const bool ran = s && s->ran && !s->nothingDone;
    if (statusOut) *statusOut = !ran ? 0 : s->allEliminated ? 2 : 1;
    if (!ran) return 0;
    if (reducedColStatus) std::copy(s->colMap.begin(), s->colMap.end(), reducedColStatus);
    if (reducedRowStatus) std::copy(s->rowMap.begin(), s->rowMap.end(), reducedRowStatus);
    if (origColStatus) std::copy(s->redColOrig.begin(), s->redColOrig.end(), origColStatus);
    if (origRowStatus) std::copy(s->redRowOrig.begin(), s->redRowOrig.end(), origRowStatus);
    return 0;
  });
}

QVN_API int QVNgetredlp(QVNCENVptr env, QVNCLPptr lp, QVNCLPptr *reducedOut) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!reducedOut) return QVNERR_NULL_POINTER;
    const PresolveState *s = p->presolved;
    *reducedOut = !s ? nullptr : s->dualized ? s->dualProblem : s->reduced;
    return 0;
  });
}

QVN_API int QVNcopyprotected(QVNCENVptr env, QVNLPptr lp, int count, const int *indices) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count > 0 && !indices) return QVNERR_NULL_POINTER;
    const int n = p->lpData->numCols;
    for (int k = 0; k < count; ++k)
      if (indices[k] < 0 || indices[k] >= n) return QVNERR_COL_INDEX_RANGE;
    EnvVector<int> list(indices, indices + count);
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
    // A new protection makes an earlier presolve result stale.
    dropPresolveResult(p);
    if (!p->presolved) p->presolved = envNew<PresolveState>();
    p->presolved->protectedList.swap(list);
    return 0;
  });
}

QVN_API int QVNgetprotected(QVNCENVptr env, QVNCLPptr lp, int *countOut, int *indices, int space, int *surplusOut) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!countOut || !surplusOut) return QVNERR_NULL_POINTER;
    if (space < 0) return QVNERR_BAD_ARGUMENT;
    const int have = p->presolved ? static_cast<int>(p->presolved->protectedList.size()) : 0;
    *surplusOut = space - have;
    *countOut = 0;
    if (have > space) return QVNERR_NEGATIVE_SURPLUS;
    if (have > 0 && !indices) return QVNERR_NULL_POINTER;
    std::copy_n(p->presolved ? p->presolved->protectedList.data() : nullptr, have, indices);
    *countOut = have;
    return 0;
  });
}

} // extern "C"

namespace {

// The reduced objective follows a change of surviving columns' costs by the
// same amounts: the reductions only added constants and other columns' cost
// multiples to them. Columns removed or merged cannot follow.
// In the dual a reduced column's cost is the right-hand side of its row
// and, times the column's shift, part of the constant.
void changeDualOfCosts(Environment *env, PresolveState &s, int count, const int *indices, const double *values,
                       const double *before) {
  LpData &dual = *s.dualProblem->lpData;
  const double sense = s.reduced->lpData->objSense;
  modelChanged(env, s.dualProblem, ModelEvent::kRhsChanged);
  modelChanged(env, s.dualProblem, ModelEvent::kObjChanged);
  for (int k = 0; k < count; ++k) {
    const int col = s.colMap[indices[k]], row = s.dualMap.rowOfCol[col];
    const double delta = sense * (values[k] - before[k]);
    if (row >= 0) dual.rhs[row] += delta;
    dual.objOffset += delta * s.dualMap.base[col];
  }
}

bool changeReducedObjective(Environment *env, PresolveState &s, int count, const int *indices, const double *values,
                            const double *before) {
  if (!s.reduced) return false;
  for (int k = 0; k < count; ++k)
    if (s.colMap[indices[k]] < 0) return false;
  for (int r = s.head; r >= 0; r = s.records[r].next)
    if (s.records[r].kind == kRecMergedColumns)
      for (int k = 0; k < count; ++k)
        if (indices[k] == s.records[r].index) return false;
  LpData &d = *s.reduced->lpData;
  modelChanged(env, s.reduced, ModelEvent::kObjChanged);
  for (int k = 0; k < count; ++k) d.objCoef[s.colMap[indices[k]]] += values[k] - before[k];
  if (s.dualized) changeDualOfCosts(env, s, count, indices, values, before);
  return true;
}

} // namespace

extern "C" {

QVN_API int QVNprechgobj(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const double *values) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count > 0 && (!indices || !values)) return QVNERR_NULL_POINTER;
    LpData &d = *p->lpData;
    for (int k = 0; k < count; ++k)
      if (indices[k] < 0 || indices[k] >= d.numCols) return QVNERR_COL_INDEX_RANGE;
    EnvVector<double> before(static_cast<size_t>(count) + 1);
    for (int k = 0; k < count; ++k) before[k] = d.objCoef[indices[k]];
    // The original changes under its own event, with the presolved copy set
    // aside so that the event does not drop it.
    PresolveState *held = p->presolved;
    p->presolved = nullptr;
    modelChanged(env, p, ModelEvent::kObjChanged);
    p->presolved = held;
    for (int k = 0; k < count; ++k) d.objCoef[indices[k]] = values[k];
    if (held && held->ran && !held->nothingDone && !changeReducedObjective(env, *held, count, indices, values, before.data())) {
      QVNmsg(env->warningChannel, "Warning: Changing obj. of the presolved model fails.\n");
      dropPresolveResult(p);
    }
    return 0;
  });
}

} // extern "C"

namespace {

// Reduced index -> original index, entries begin..end of `map`.
int originalIndices(const Environment *env, const Problem *lp, const char *name, int *out, int begin, int end,
                    bool rows) {
  if (!out) return QVNERR_NULL_POINTER;
  const PresolveState *s = lp->presolved;
  if (!s || !s->ran) return QVNERR_PRESLV_NO_PROB;
  if (s->dualized) return QVNERR_PRESLV_DUAL;
  const EnvVector<int> &map = rows ? s->redRowOrig : s->redColOrig;
  QVN_TRY(rangeStatus(env, name, begin, end, static_cast<int>(map.size())));
  if (end >= begin) std::copy(map.begin() + begin, map.begin() + end + 1, out);
  return 0;
}

} // namespace

extern "C" {

QVN_API int QVNEgetorigcolind(QVNCENVptr env, QVNCLPptr lp, int *origIndex, int begin, int end) {
  return guardedProblem(env, lp, [&](Problem *p) {
    return originalIndices(env, p, "QVNEgetorigcolind", origIndex, begin, end, false);
  });
}

QVN_API int QVNEgetorigrowind(QVNCENVptr env, QVNCLPptr lp, int *origIndex, int begin, int end) {
  return guardedProblem(env, lp, [&](Problem *p) {
    return originalIndices(env, p, "QVNEgetorigrowind", origIndex, begin, end, true);
  });
}

} // extern "C"
