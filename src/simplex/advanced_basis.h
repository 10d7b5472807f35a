// The held basis of a Problem, factored on demand, as the advanced basis and
// sensitivity functions see it.
//
// The Problem keeps its basis as statuses only (BasisData); a view builds the
// unscaled computational form and factors that basis, so every answer is in
// the caller's units. The engine works with logicals r_i = a_i x whose matrix
// column is -e_i; the caller's slack of row i is s_i = rhs_i - a_i x with
// column +e_i. With D the diagonal that is -1 at the positions of logicals,
// B_user = B_engine D, hence B_user^-1 = D B_engine^-1: every row or column
// of the inverse handed out is multiplied by D.
//
// Basis statuses at the boundary are the caller's: a row's status is that of
// its slack, 0 for a row tight at its right-hand side, 2 for a ranged row at
// the other end of its range. BasisData keeps the activity form (0 at the
// row's lower limit, 2 at its upper); rowStatusToUser/FromUser translate.
#pragma once
#include "model/problem.h"
#include "simplex/engine.h"

namespace qvn {

struct BasisView {
  Problem *lp = nullptr;
  WorkLp w;
  SimplexEngine e;  // e.lp points at w: a view never moves
  BasisView() = default;
  BasisView(const BasisView &) = delete;
  BasisView &operator=(const BasisView &) = delete;
};

// Factors the held basis of lp with values and duals of the real costs.
// 1262 without a basis, 1258 when it does not cover the problem or cannot be
// factored.
int openBasisView(Environment *env, Problem *lp, BasisView &v);
// The sign D of basis position k: -1 for a logical, 1 for a column.
inline double positionSign(const BasisView &v, int k) { return v.e.head[k] >= v.e.n ? -1.0 : 1.0; }
// Engine variable of a caller's index (j >= 0 a column, -1-i the slack of row
// i), or -1 when out of range.
int engineVariable(const BasisView &v, int userIndex);
inline int userIndex(const BasisView &v, int var) { return var < v.e.n ? var : -1 - (var - v.e.n); }
// Stores the view's basis in the Problem: the old solution goes, the basis stays.
void storeViewBasis(Environment *env, BasisView &v);

// Without a held basis: installs in e a basis built from the held primal
// start vector (or else the dual one) by a crash; false when there is none.
bool buildStartFromVectors(SimplexEngine &e, const Problem *lp);

// The largest violation of a nonbasic reduced cost's sign in the view, and
// its variable in *where (-1 when all hold exactly).
double maxDualInfeasibility(const BasisView &v, int *where);

// Row status translations between the caller's slack form and the activity form.
int rowStatusToUser(const LpData &d, int i, int activityStatus);
int rowStatusFromUser(const LpData &d, int i, int userStatus);

} // namespace qvn
