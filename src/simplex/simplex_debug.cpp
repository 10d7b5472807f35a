#include "simplex/simplex_debug.h"

#include <cmath>

#include "runtime/debug_checks.h"

namespace qvn {

namespace {

// Relative residuals allowed, each against the sum of the magnitudes of the
// terms that cancel in it (a componentwise backward error). With a Markowitz
// threshold of 0.01 the growth of a fresh factorization can reach 1e9 on the
// hardest netlib bases: pilot87, maros-r7 and grow22 show up to 5e-7. The
// bounds stand well above that; a wrong value, a stale dual or a factor of
// another basis is off by far more.
constexpr double kValueResidualTol = 1e-5;   // basic values against the rows
constexpr double kDualResidualTol = 1e-5;    // duals against the basic columns
constexpr double kFactorResidualTol = 1e-5;  // FTRAN and BTRAN of the fixed vector
// The stored reduced costs right after a rebuild come from the same duals
// by plain products: they agree to rounding (1e-15 seen).
constexpr double kReducedCostTol = 1e-9;

const char *const kReasonNames[kRebuildReasons] = {"start", "factor due", "confirm end", "confirm ray",
                                                   "pivot mismatch", "rows refused", "stall", "bounds restored"};

struct Checker {
  SimplexEngine &e;
  RebuildReason reason;
  int failures = 0;

  void fail(const char *what, int index, double value) {
    ++failures;
    reportDebugFailure(e.env, "simplex debug, after rebuild (%s) at iteration %d: %s at %d is %g",
                       rebuildReasonName(reason), e.iterations, what, index, value);
  }

  void basisHeader() {
    int basics = 0;
    for (int j = 0; j < e.nt; ++j)
      if (e.basicPos[j] >= 0) ++basics;
    if (basics != e.m) fail("count of basic variables", basics, e.m);
    for (int k = 0; k < e.m; ++k) {
      const int j = e.head[k];
      if (j < 0 || j >= e.nt || e.basicPos[j] != k) {
        fail("basis header entry", k, j);
        return;
      }
    }
  }

  // The packed row copy, while in use, holds each row's entries of the
  // matrix with exactly the nonbasic columns in front.
  void packedRows() {
    const PackedRows &p = e.packed;
    const WorkLp &lp = *e.lp;
    if (!p.valid || p.start.size() != static_cast<size_t>(e.m) + 1) return;
    for (int i = 0; i < e.m; ++i) {
      if (p.start[i + 1] - p.start[i] != lp.arStart[i + 1] - lp.arStart[i]) {
        fail("packed row length", i, p.start[i + 1] - p.start[i]);
        return;
      }
      for (int q = p.start[i]; q < p.start[i + 1]; ++q) {
        const int j = p.index[q], k = p.entryAtPlace[q];
        if (j < 0 || j >= e.n || (e.basicPos[j] < 0) != (q < p.nonbasicEnd[i])) {
          fail("packed row's basic split", i, j);
          return;
        }
        if (p.placeOfEntry[k] != q || lp.aIndex[k] != i || lp.aValue[k] != p.value[q] ||
            k < lp.aStart[j] || k >= lp.aStart[j + 1]) {
          fail("packed row entry", i, j);
          return;
        }
      }
    }
  }

  // Row i of [A, -I] x: a_i x - x_{n+i}, through the row-wise copy.
  void basicValues() {
    const WorkLp &lp = *e.lp;
    for (int i = 0; i < e.m; ++i) {
      long double sum = -static_cast<long double>(e.x[e.n + i]);
      long double scale = std::fabs(e.x[e.n + i]);
      for (int p = lp.arStart[i]; p < lp.arStart[i + 1]; ++p) {
        const long double t = static_cast<long double>(lp.arValue[p]) * e.x[lp.arIndex[p]];
        sum += t;
        scale += std::fabs(t);
      }
      const double relative = static_cast<double>(std::fabs(sum) / (1.0L + scale));
      if (!(relative <= kValueResidualTol)) fail("row residual of the values", i, relative);
    }
  }

  // a_j'y for every variable, row by row; the logical of row i gives -y_i.
  void duals() {
    const WorkLp &lp = *e.lp;
    EnvVector<long double> product(static_cast<size_t>(e.nt > 0 ? e.nt : 1), 0.0L);
    EnvVector<long double> scale(product.size(), 0.0L);
    for (int i = 0; i < e.m; ++i) {
      const long double y = e.dual[i];
      for (int p = lp.arStart[i]; p < lp.arStart[i + 1]; ++p) {
        const long double t = static_cast<long double>(lp.arValue[p]) * y;
        product[lp.arIndex[p]] += t;
        scale[lp.arIndex[p]] += std::fabs(t);
      }
      product[e.n + i] = -y;
      scale[e.n + i] = std::fabs(y);
    }
    // B'y = c_B first: a wrong dual shows there before in the reduced costs.
    for (int k = 0; k < e.m; ++k) {
      const int j = e.head[k];
      const double relative = static_cast<double>(std::fabs(e.cost[j] - product[j]) / dualScale(j, scale[j]));
      if (!(relative <= kDualResidualTol)) fail("dual residual of the basic column", j, relative);
    }
    for (int j = 0; j < e.nt; ++j) {
      if (e.basicPos[j] >= 0) continue;
      const long double d = e.cost[j] - product[j];
      const double relative = static_cast<double>(std::fabs(d - e.dj[j]) / dualScale(j, scale[j]));
      if (!(relative <= kReducedCostTol)) fail("reduced cost error", j, relative);
    }
  }

  long double dualScale(int j, long double terms) const {
    return 1.0L + std::fabs(static_cast<long double>(e.cost[j])) + terms;
  }

  // A fixed vector with entries in [1, 2) of both signs, from a private
  // stream: the Environment's must not move.
  static void fixedVector(EnvVector<double> &v) {
    uint32_t s = 12345u;
    for (double &x : v) {
      s = s * 1103515245u + 12345u;
      x = (s & 0x10000u ? -1.0 : 1.0) * (1.0 + static_cast<double>((s >> 17) & 0x3ff) / 1024.0);
    }
  }

  void factor() {
    LuFactor &f = *e.factor.lu;
    const LuBasis &basis = e.factor.basis;
    const size_t m = static_cast<size_t>(e.m > 0 ? e.m : 1);
    EnvVector<double> b(m), x(m);
    fixedVector(b);
    x = b;
    f.ops->ftran(f, x.data());
    // B x by rows against b.
    EnvVector<long double> r(m, 0.0L), scale(m, 0.0L);
    for (int k = 0; k < e.m; ++k) {
      const LuColumn c = basis.column(basis.context, e.head[k]);
      for (int q = 0; q < c.count; ++q) {
        const long double t = static_cast<long double>(c.value[q]) * x[k];
        r[c.index[q]] += t;
        scale[c.index[q]] += std::fabs(t);
      }
    }
    double worst = 0.0;
    int at = -1;
    for (int i = 0; i < e.m; ++i) {
      const double relative = static_cast<double>(std::fabs(r[i] - b[i]) / (std::fabs(b[i]) + scale[i]));
      if (!(relative <= worst)) worst = relative, at = i;
    }
    if (!(worst <= kFactorResidualTol)) fail("FTRAN residual of the factor", at, worst);
    // B'y by basis position against the same vector.
    EnvVector<double> y = b;
    f.ops->btran(f, y.data());
    worst = 0.0;
    at = -1;
    for (int k = 0; k < e.m; ++k) {
      const LuColumn c = basis.column(basis.context, e.head[k]);
      long double s = 0.0L, size = std::fabs(b[k]);
      for (int q = 0; q < c.count; ++q) {
        const long double t = static_cast<long double>(c.value[q]) * y[c.index[q]];
        s += t;
        size += std::fabs(t);
      }
      const double relative = static_cast<double>(std::fabs(s - b[k]) / size);
      if (!(relative <= worst)) worst = relative, at = k;
    }
    if (!(worst <= kFactorResidualTol)) fail("BTRAN residual of the factor", at, worst);
  }
};

} // namespace

const char *rebuildReasonName(RebuildReason reason) {
  const int k = static_cast<int>(reason);
  return k >= 0 && k < kRebuildReasons ? kReasonNames[k] : "unknown";
}

int debugAfterRebuild(SimplexEngine &e, RebuildReason reason, DebugScope scope) {
  Checker c{e, reason};
  c.basisHeader();
  if (c.failures > 0) return c.failures;  // the other checks read the header
  c.packedRows();
  c.basicValues();
  if (scope == DebugScope::kPrimalAndDual) c.duals();
  if (e.m > 0 && e.factor.lu->valid) c.factor();
  return c.failures;
}

} // namespace qvn
