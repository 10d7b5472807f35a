// What a caller reads about a MIP run besides the solution: the best bound,
// the gap, and the counters of the tree.
#include <cmath>

#include "mip/mip_presolve.h"
#include "mip/mip_search.h"

using namespace qvn;

namespace {

// The search of a MIP problem that has been optimized, or an error.
int searchOf(Problem *p, MipSearch **out) {
  if (!isMipType(p->probType)) return QVNERR_NOT_MIP;
  if (!p->mipSearch) return QVNERR_NO_TREE;
  *out = p->mipSearch;
  return 0;
}

double userSense(const Problem *p) { return p->lpData->objSense >= 0 ? 1.0 : -1.0; }

} // namespace

namespace qvn {

int mipSolutionPoint(const Problem *lp, double *objective, EnvVector<double> *x, EnvVector<double> *slack) {
  const MipSearch *s = lp->mipSearch;
  if (!s || lp->status < 101 || lp->status > 119) return QVNERR_NO_SOLN;
  if (!s->incumbent.exists) return QVNERR_NO_INT_X;
  const LpData &d = *lp->lpData;
  if (objective) *objective = userSense(lp) * s->incumbent.objective;
  if (x) x->assign(s->incumbent.x.begin(), s->incumbent.x.end());
  if (slack) {
    slack->assign(d.rhs.begin(), d.rhs.begin() + d.numRows);
    for (int j = 0; j < d.numCols; ++j) {
      const int64_t begin = d.colStart[j], end = begin + d.colCount[j];
      for (int64_t p = begin; p < end; ++p) (*slack)[d.rowIndex[p]] -= d.coefValue[p] * s->incumbent.x[j];
    }
  }
  return 0;
}

} // namespace qvn

extern "C" {

QVN_API int QVNgetbestobjval(QVNCENVptr env, QVNCLPptr lp, double *valuePointer) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!valuePointer) return QVNERR_NULL_POINTER;
    MipSearch *s = nullptr;
    QVN_TRY(searchOf(p, &s));
    const double b = s->bestBound;
    // No bound at all (an infeasible or unsolved tree) reads as infinite in the user's sense.
    *valuePointer = std::fabs(b) >= 1e74 ? userSense(p) * (b > 0 ? 1e75 : -1e75) : userSense(p) * b;
    return 0;
  });
}

QVN_API int QVNgetmiprelgap(QVNCENVptr env, QVNCLPptr lp, double *gapPointer) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!gapPointer) return QVNERR_NULL_POINTER;
    MipSearch *s = nullptr;
    QVN_TRY(searchOf(p, &s));
    if (!s->incumbent.exists) return QVNERR_NO_INT_X;
    const double z = s->incumbent.objective, b = s->bestBound;
    *gapPointer = std::fabs(b) >= 1e74 ? 1.0 : std::fabs(z - b) / (1e-10 + std::fabs(z));
    return 0;
  });
}

QVN_API int QVNgetnodecnt(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) {
    return isMipType(p->probType) && p->mipSearch ? static_cast<int>(p->mipSearch->nodeCount) : 0;
  });
}

QVN_API int QVNgetnodeleftcnt(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) {
    const MipSearch *s = isMipType(p->probType) ? activeSearch(p) : nullptr;
    if (!s) return 0;
    return storeCount(s->store) + (s->resume ? 1 : 0);
  });
}

QVN_API int QVNgetmipitcnt(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) {
    if (!isMipType(p->probType) || !p->mipSearch) return 0;
    const double total = p->mipSearch->iterationTotal;
    return total > 2.1e9 ? 2100000000 : static_cast<int>(total);
  });
}

} // extern "C"
