// The first basis of a run from a held primal or dual start vector (from
// QVNcopystart, a vector file or an XML solution) when no basis is held.
//
// The engine keeps no superbasic variables, so the crash settles every
// variable: those far inside their bounds (primal) or with the smallest
// reduced cost (dual) are offered to the basis, most interior first, and the
// others go to the bound nearest to their value (or the one their reduced
// cost sign asks for). The first factor swaps dependent choices for logicals;
// what that costs in feasibility the simplex repairs in a few iterations when
// the vector was close to a vertex, which is the point of giving one.
#include <algorithm>
#include <cmath>

#include "simplex/advanced_basis.h"
#include "simplex/engine.h"

namespace qvn {

namespace {

constexpr double kInterior = 1e-9;  // relative distance from a bound that counts as inside

struct Variable {
  double lower, upper, value, dj;
};

Variable variableOf(const LpData &d, const BasisData &b, int k, bool primal, bool dual) {
  const int n = d.numCols;
  Variable v{};
  if (k < n) {
    v.lower = d.lowerBound[static_cast<size_t>(k)];
    v.upper = d.upperBound[static_cast<size_t>(k)];
    if (primal) v.value = b.primalStart[static_cast<size_t>(k)];
    // Held dual start: row duals first, then the columns' reduced costs.
    if (dual) v.dj = b.dualStart[static_cast<size_t>(d.numRows + k)];
  } else {
    const int i = k - n;
    rowActivityLimits(d, i, v.lower, v.upper);
    // The held slack is rhs - activity.
    if (primal) v.value = d.rhs[static_cast<size_t>(i)] - b.primalStart[static_cast<size_t>(n + i)];
    // The activity's logical prices at the row's dual.
    if (dual) v.dj = b.dualStart[static_cast<size_t>(i)];
  }
  return v;
}

double distanceInside(const Variable &v) {
  const double scale = 1.0 + std::fabs(v.value);
  const double below = v.lower > -kInfinity ? v.value - v.lower : kInfinity;
  const double above = v.upper < kInfinity ? v.upper - v.value : kInfinity;
  return std::min(below, above) / scale;
}

// Nonbasic status of a variable settled at a bound: 0 lower, 2 upper, 3 free.
int boundStatus(const Variable &v, bool byValue, double objSense) {
  const bool hasLower = v.lower > -kInfinity, hasUpper = v.upper < kInfinity;
  if (!hasLower && !hasUpper) return 3;
  if (!hasLower) return 2;
  if (!hasUpper) return 0;
  if (byValue) return v.value - v.lower <= v.upper - v.value ? 0 : 2;
  // A minimization wants a positive reduced cost at the lower bound.
  return v.dj * objSense >= 0 ? 0 : 2;
}

} // namespace

bool buildStartFromVectors(SimplexEngine &e, const Problem *lp) {
  const BasisData *held = lp->basisData;
  const LpData &d = *lp->lpData;
  const int n = d.numCols, m = d.numRows, nt = n + m;
  if (!held || n != e.n || m != e.m) return false;
  const bool primal = static_cast<int>(held->primalStart.size()) == nt;
  const bool dual = static_cast<int>(held->dualStart.size()) == nt;
  if (!primal && !dual) return false;
  EnvVector<int> status(static_cast<size_t>(nt > 0 ? nt : 1), 0);
  EnvVector<int> order;
  EnvVector<double> merit(static_cast<size_t>(nt > 0 ? nt : 1), 0.0);
  const double objSense = d.objSense >= 0 ? 1.0 : -1.0;
  for (int k = 0; k < nt; ++k) {
    const Variable v = variableOf(d, *held, k, primal, dual);
    status[k] = boundStatus(v, primal, objSense);
    if (v.lower == v.upper) continue;  // a fixed variable is never worth a basis position
    const double cost = k < n ? std::fabs(d.objCoef[static_cast<size_t>(k)]) : 0.0;
    const bool priced = dual && std::fabs(v.dj) <= 1e-9 * (1.0 + cost);
    if (primal) {
      // Inside its bounds first, most inside first; then, with duals, the
      // variables at a bound that price at zero: a degenerate vertex has
      // basic variables at bounds, and only the duals tell which.
      const double inside = distanceInside(v);
      if (inside > kInterior) merit[k] = 1.0 + inside;
      else if (priced) merit[k] = 0.5;
      else continue;
    } else {
      if (!priced && std::fabs(v.dj) > 1e-7 * (1.0 + cost)) continue;
      // Basic variables price at zero: the smallest reduced costs first.
      merit[k] = 1.0 / (1.0 + std::fabs(v.dj));
    }
    order.push_back(k);
  }
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return merit[a] > merit[b]; });
  if (static_cast<int>(order.size()) > m) order.resize(static_cast<size_t>(m));
  for (int k : order) status[k] = 1;
  installBasis(e, status.data(), status.data() + n);
  // A column left free but given a value in a primal start sits at zero in
  // the engine; the clean-up iterations move it.
  return true;
}

} // namespace qvn
