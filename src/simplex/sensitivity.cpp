// Ranges over which the final basis stays optimal: right-hand sides, bounds
// and objective coefficients. The held basis is factored afresh (advanced
// basis view); nothing of the Problem changes.
#include <algorithm>
#include <cmath>

#include "model/edit.h"
#include "simplex/advanced_basis.h"

using namespace qvn;

namespace {

constexpr double kPivotTiny = 1e-10;  // entries below this move nothing

double clampInfinite(double v) { return std::max(-kInfinity, std::min(kInfinity, v)); }

// How far nonbasic variable q may move down and up before a basic variable
// reaches a bound. With d = B^-1 a_q, moving x_q by t moves x_B by -t d.
void moveRange(BasisView &v, int q, double &down, double &up) {
  SimplexEngine &e = v.e;
  HVector &col = e.column;
  hvClear(col);
  addColumn(v.w, q, 1.0, col.array.data());
  col.count = -1;
  ftran(e.factor, col);
  down = up = kInfinity;
  for (int k = 0; k < e.m; ++k) {
    const double d = col.array[k];
    if (std::fabs(d) < kPivotTiny) continue;
    const int p = e.head[k];
    const double room_down = std::max(0.0, e.x[p] - e.lower[p]);  // x_p may fall by this
    const double room_up = std::max(0.0, e.upper[p] - e.x[p]);
    if (d > 0) {
      if (e.lower[p] > -kInfinity) up = std::min(up, room_down / d);
      if (e.upper[p] < kInfinity) down = std::min(down, room_up / d);
    } else {
      if (e.upper[p] < kInfinity) up = std::min(up, room_up / -d);
      if (e.lower[p] > -kInfinity) down = std::min(down, room_down / -d);
    }
  }
  hvClear(col);
}

// How far the working cost of the basic variable at position k may fall and
// rise with every nonbasic reduced cost keeping its sign. A cost change t
// changes dj_j by -t alpha_j, alpha the tableau row of k.
void costRange(BasisView &v, int k, double &down, double &up) {
  SimplexEngine &e = v.e;
  btranUnitRow(e, k);
  down = up = kInfinity;
  for (int j = 0; j < e.nt; ++j) {
    if (e.basicPos[j] >= 0 || e.lower[j] == e.upper[j]) continue;
    const double a = columnDot(v.w, j, e.rowRho.array.data());
    if (std::fabs(a) < kPivotTiny) continue;
    const double dj = e.dj[j];
    if (e.move[j] == kAtZero) {
      down = up = 0.0;  // a free nonbasic must keep dj at zero
      break;
    }
    const bool atLower = e.move[j] == kAtLower;
    const double slack = atLower ? std::max(0.0, dj) : std::max(0.0, -dj);
    // At lower dj - t a >= 0; at upper dj - t a <= 0.
    if ((a > 0) == atLower)
      up = std::min(up, slack / std::fabs(a));
    else
      down = std::min(down, slack / std::fabs(a));
  }
  hvClear(e.rowRho);
}

int openForSensitivity(Environment *env, Problem *p, BasisView &v) {
  QVN_TRY(flushCache(env, p));
  if (isMipType(p->probType)) return QVNERR_NOT_FOR_MIP;
  const SolutionBlock *s = p->solution;
  const int m = s ? s->method : -1;
  const bool basicKind = m == methodNumber(LpMethod::kPrimal) || m == methodNumber(LpMethod::kDual) ||
                         m == methodNumber(LpMethod::kSifting);
  if (!s || !s->primalComputed || (p->status != 1 && p->status != 5) || !basicKind) return QVNERR_NO_SENSIT;
  if (!p->basisData || p->basisData->colStatus.empty()) return QVNERR_NO_BASIC_SOLN;
  return openBasisView(env, p, v);
}

void rhsRanges(BasisView &v, int begin, int end, double *lower, double *upper) {
  const LpData &d = *v.lp->lpData;
  SimplexEngine &e = v.e;
  for (int i = begin; i <= end; ++i) {
    const int q = e.n + i;
    double lo = -kInfinity, up = kInfinity;
    if (e.basicPos[q] >= 0) {
      // The row's limits shift with its right-hand side; the activity stays.
      const double act = e.x[q];
      if (e.upper[q] < kInfinity) lo = d.rhs[i] + act - e.upper[q];
      if (e.lower[q] > -kInfinity) up = d.rhs[i] + act - e.lower[q];
    } else {
      double down, rise;
      moveRange(v, q, down, rise);
      lo = d.rhs[i] - down;
      up = d.rhs[i] + rise;
    }
    if (lower) lower[i - begin] = clampInfinite(lo);
    if (upper) upper[i - begin] = clampInfinite(up);
  }
}

void boundRanges(BasisView &v, int begin, int end, double *lbLower, double *lbUpper, double *ubLower,
                 double *ubUpper) {
  SimplexEngine &e = v.e;
  for (int j = begin; j <= end; ++j) {
    const double xj = e.x[j];
    double ll = -kInfinity, lu = xj, ul = xj, uu = kInfinity;
    if (e.basicPos[j] < 0 && e.move[j] != kAtZero) {
      double down, rise;
      moveRange(v, j, down, rise);
      if (e.move[j] == kAtLower) {
        ll = xj - down;
        lu = std::min(xj + rise, e.upper[j]);
      } else {
        ul = std::max(xj - down, e.lower[j]);
        uu = xj + rise;
      }
    }
    const int k = j - begin;
    if (lbLower) lbLower[k] = clampInfinite(ll);
    if (lbUpper) lbUpper[k] = clampInfinite(lu);
    if (ubLower) ubLower[k] = clampInfinite(ul);
    if (ubUpper) ubUpper[k] = clampInfinite(uu);
  }
}

void objectiveRanges(BasisView &v, int begin, int end, double *lower, double *upper) {
  SimplexEngine &e = v.e;
  const int sense = v.w.sense;
  for (int j = begin; j <= end; ++j) {
    const double c = e.cost[j];  // minimization sense
    double down = kInfinity, rise = kInfinity;
    if (e.basicPos[j] >= 0) {
      costRange(v, e.basicPos[j], down, rise);
    } else if (e.lower[j] != e.upper[j]) {
      if (e.move[j] == kAtLower) down = std::max(0.0, e.dj[j]);
      else if (e.move[j] == kAtUpper) rise = std::max(0.0, -e.dj[j]);
      else down = rise = 0.0;
    }
    // The caller's coefficient is sense * c: a maximization swaps the directions.
    const double lo = sense > 0 ? c - down : -c - rise;
    const double up = sense > 0 ? c + rise : -c + down;
    if (lower) lower[j - begin] = clampInfinite(lo);
    if (upper) upper[j - begin] = clampInfinite(up);
  }
}

template <class Body>
int sensitivityFrame(QVNCENVptr cenv, QVNCLPptr lp, const char *name, int begin, int end, bool rows, Body &&body) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    const int count = rows ? p->lpData->numRows : p->lpData->numCols;
    if (begin > end) return QVNERR_INDEX_RANGE;
    QVN_TRY(rangeStatus(env, name, begin, end, count));
    BasisView v;
    QVN_TRY(openForSensitivity(env, p, v));
    body(v);
    return 0;
  });
}

} // namespace

extern "C" {

QVN_API int QVNrhssa(QVNCENVptr env, QVNCLPptr lp, int begin, int end, double *lower, double *upper) {
  return sensitivityFrame(env, lp, "QVNrhssa", begin, end, true,
                          [&](BasisView &v) { rhsRanges(v, begin, end, lower, upper); });
}

QVN_API int QVNboundsa(QVNCENVptr env, QVNCLPptr lp, int begin, int end, double *lblower, double *lbupper,
                       double *ublower, double *ubupper) {
  return sensitivityFrame(env, lp, "QVNboundsa", begin, end, false, [&](BasisView &v) {
    boundRanges(v, begin, end, lblower, lbupper, ublower, ubupper);
  });
}

QVN_API int QVNobjsa(QVNCENVptr env, QVNCLPptr lp, int begin, int end, double *lower, double *upper) {
  return sensitivityFrame(env, lp, "QVNobjsa", begin, end, false,
                          [&](BasisView &v) { objectiveRanges(v, begin, end, lower, upper); });
}

QVN_API int QVNErangesa(QVNCENVptr cenv, QVNCLPptr lp, double *rhsLower, double *rhsUpper, double *objLower,
                        double *objUpper, double *lbLower, double *lbUpper, double *ubLower, double *ubUpper) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    BasisView v;
    QVN_TRY(openForSensitivity(env, p, v));
    const int m = v.e.m, n = v.e.n;
    if (m > 0 && (rhsLower || rhsUpper)) rhsRanges(v, 0, m - 1, rhsLower, rhsUpper);
    if (n > 0 && (objLower || objUpper)) objectiveRanges(v, 0, n - 1, objLower, objUpper);
    if (n > 0 && (lbLower || lbUpper || ubLower || ubUpper))
      boundRanges(v, 0, n - 1, lbLower, lbUpper, ubLower, ubUpper);
    return 0;
  });
}

} // extern "C"
