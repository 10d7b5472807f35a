// Reading the result of the last solve.
#include <algorithm>

#include "model/attachments.h"
#include "model/edit.h"
#include "model/problem.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

bool hasSolution(const Problem *lp) {
  return lp->solution && lp->solution->primalComputed && lp->status > 0 && !isMipType(lp->probType);
}

bool hasDuals(const Problem *lp) { return hasSolution(lp) && lp->solution->dualComputed; }

template <class Pick>
int getRange(const Environment *env, const Problem *lp, const char *name, double *values, int begin,
             int end, bool dual, bool perRow, Pick pick) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(const_cast<Environment *>(env), p));
    if (!values) return QVNERR_NULL_POINTER;
    if (dual && isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    const int count = perRow ? p->lpData->numRows : p->lpData->numCols;
    QVN_TRY(rangeStatus(env, name, begin, end, count));
    if (isMipType(p->probType)) {
      // A MIP reads its incumbent.
      EnvVector<double> v;
      QVN_TRY(attachedSolutionPoint(p, nullptr, perRow ? nullptr : &v, perRow ? &v : nullptr));
      std::copy(v.begin() + begin, v.begin() + end + 1, values);
      return 0;
    }
    if (!hasSolution(p)) return QVNERR_NO_SOLN;
    if (dual && !hasDuals(p)) return QVNERR_NO_DUAL_SOLN;
    const EnvVector<double> &v = pick(*p->solution);
    std::copy(v.begin() + begin, v.begin() + end + 1, values);
    return 0;
  });
}

} // namespace

extern "C" {

QVN_API int QVNsolution(QVNCENVptr env, QVNCLPptr lp, int *statusOut, double *objectiveOut, double *x,
                        double *pi, double *slack, double *dj) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(const_cast<Environment *>(env), p));
    if (isMipType(p->probType) && (pi || dj)) return QVNERR_NOT_FOR_MIP;
    if (isMipType(p->probType)) {
      // A MIP reads its incumbent; only the status is there without one.
      EnvVector<double> xs, slacks;
      double objective = 0.0;
      const int have = attachedSolutionPoint(p, &objective, &xs, &slacks);
      if (have == QVNERR_NO_SOLN || (have != 0 && (x || slack || objectiveOut))) return have;
      if (statusOut) *statusOut = p->status;
      if (objectiveOut) *objectiveOut = objective;
      if (x) std::copy(xs.begin(), xs.end(), x);
      if (slack) std::copy(slacks.begin(), slacks.end(), slack);
      return 0;
    }
    if (!hasSolution(p)) return QVNERR_NO_SOLN;
    if ((pi || dj) && !hasDuals(p)) return QVNERR_NO_DUAL_SOLN;
    const SolutionBlock &s = *p->solution;
    if (statusOut) *statusOut = p->status;
    if (objectiveOut) *objectiveOut = s.objValue;
    if (x) std::copy(s.x.begin(), s.x.end(), x);
    if (pi) std::copy(s.pi.begin(), s.pi.end(), pi);
    if (slack) std::copy(s.slack.begin(), s.slack.end(), slack);
    if (dj) std::copy(s.dj.begin(), s.dj.end(), dj);
    return 0;
  });
}

QVN_API int QVNsolninfo(QVNCENVptr env, QVNCLPptr lp, int *methodOut, int *typeOut, int *primalFeasOut,
                        int *dualFeasOut) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(const_cast<Environment *>(env), p));
    if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
    const bool have = hasSolution(p);
    const SolutionBlock *s = p->solution;
    if (methodOut) *methodOut = have ? s->method : -1;
    if (typeOut) *typeOut = !have ? 0 : s->dualComputed ? 1 : 3;
    if (primalFeasOut) *primalFeasOut = have && s->primalFeasible;
    if (dualFeasOut) *dualFeasOut = have && s->dualFeasible;
    return 0;
  });
}

QVN_API int QVNgetobjval(QVNCENVptr env, QVNCLPptr lp, double *valuePointer) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(const_cast<Environment *>(env), p));
    if (!valuePointer) return QVNERR_NULL_POINTER;
    if (isMipType(p->probType)) return attachedSolutionPoint(p, valuePointer, nullptr, nullptr);
    if (!hasSolution(p)) return QVNERR_NO_SOLN;
    *valuePointer = p->solution->objValue;
    return 0;
  });
}

QVN_API int QVNgetx(QVNCENVptr env, QVNCLPptr lp, double *x, int begin, int end) {
  return getRange(env, lp, "QVNgetx", x, begin, end, false, false,
                  [](const SolutionBlock &s) -> const EnvVector<double> & { return s.x; });
}

QVN_API int QVNgetslack(QVNCENVptr env, QVNCLPptr lp, double *slack, int begin, int end) {
  return getRange(env, lp, "QVNgetslack", slack, begin, end, false, true,
                  [](const SolutionBlock &s) -> const EnvVector<double> & { return s.slack; });
}

QVN_API int QVNgetpi(QVNCENVptr env, QVNCLPptr lp, double *pi, int begin, int end) {
  return getRange(env, lp, "QVNgetpi", pi, begin, end, true, true,
                  [](const SolutionBlock &s) -> const EnvVector<double> & { return s.pi; });
}

QVN_API int QVNgetdj(QVNCENVptr env, QVNCLPptr lp, double *dj, int begin, int end) {
  return getRange(env, lp, "QVNgetdj", dj, begin, end, true, false,
                  [](const SolutionBlock &s) -> const EnvVector<double> & { return s.dj; });
}

QVN_API int QVNgetitcnt(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->solution ? p->solution->iterationCount : 0; });
}

QVN_API int QVNgetbaritcnt(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->solution ? p->solution->barrierIterations : 0; });
}

QVN_API int QVNgetphase1cnt(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return p->solution ? p->solution->phase1Count : 0; });
}

QVN_API int QVNgetmethod(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return hasSolution(p) ? p->solution->method : 0; });
}

} // extern "C"
