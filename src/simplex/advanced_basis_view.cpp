#include "simplex/advanced_basis.h"

#include <cmath>

namespace qvn {

namespace {

// Activity status (0 lower limit, 2 upper limit) of the row's right-hand side.
int rhsSide(const LpData &d, int i) {
  switch (d.sense[i]) {
  case 'L': return 2;
  case 'R': return (d.rangeValue.empty() || d.rangeValue[i] >= 0) ? 0 : 2;
  default: return 0;
  }
}

} // namespace

int rowStatusToUser(const LpData &d, int i, int activityStatus) {
  if (activityStatus == 1 || activityStatus == 3) return activityStatus;
  if (d.sense[i] != 'R') return 0;
  return activityStatus == rhsSide(d, i) ? 0 : 2;
}

int rowStatusFromUser(const LpData &d, int i, int userStatus) {
  if (userStatus == 1 || userStatus == 3) return userStatus;
  const int side = rhsSide(d, i);
  if (userStatus == 2 && d.sense[i] == 'R') return 2 - side;
  return side;
}

double maxDualInfeasibility(const BasisView &v, int *where) {
  const SimplexEngine &e = v.e;
  double worst = 0.0;
  *where = -1;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j]) continue;
    const double d = e.dj[j];
    const double violation = e.move[j] == kAtLower ? -d : e.move[j] == kAtUpper ? d : std::fabs(d);
    if (violation > worst) worst = violation, *where = j;
  }
  return worst;
}

int openBasisView(Environment *env, Problem *lp, BasisView &v) {
  QVN_TRY(flushCache(env, lp));
  const BasisData *b = lp->basisData;
  const LpData &d = *lp->lpData;
  if (!b || b->colStatus.empty()) return QVNERR_NO_BASIS;
  if (static_cast<int>(b->colStatus.size()) < d.numCols || static_cast<int>(b->rowStatus.size()) < d.numRows)
    return QVNERR_NO_LU_FACTOR;
  v.lp = lp;
  buildWorkLp(d, v.w);
  const int status = engineOnBasis(v.e, env, v.w, *b);
  if (status == QVNERR_NO_MEMORY) return status;
  if (status != 0) return QVNERR_NO_LU_FACTOR;
  computePrimal(v.e);
  computeDual(v.e);
  return 0;
}

int engineVariable(const BasisView &v, int userIndex) {
  if (userIndex >= 0) return userIndex < v.e.n ? userIndex : -1;
  const int row = -1 - userIndex;
  return row < v.e.m ? v.e.n + row : -1;
}

void storeViewBasis(Environment *env, BasisView &v) {
  Problem *lp = v.lp;
  modelChanged(env, lp, ModelEvent::kLoopEndedWithBasis);
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  BasisData &b = *lp->basisData;
  b.colStatus.assign(static_cast<size_t>(v.e.n > 0 ? v.e.n : 1), 0);
  b.rowStatus.assign(static_cast<size_t>(v.e.m > 0 ? v.e.m : 1), 1);
  extractStatuses(v.e, b.colStatus.data(), b.rowStatus.data());
  b.norms.clear();
  b.normHead.clear();
  b.primalNorms.clear();
}

} // namespace qvn
