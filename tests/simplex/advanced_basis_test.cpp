// The advanced basis functions, checked against the basis matrix rebuilt from
// the model read back (not against the library's factor), and certificates
// checked by their own inequalities.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "simplex/basis_test_support.h"

namespace {

using qvntest::EnvFixture;
using qvntest::LpModel;

class AdvancedBasis : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  }
  QVNLPptr readNetlib(const std::string &name) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, name.c_str());
    if (QVNreadcopyprob(env, lp, (dir + "/" + name + ".mps.gz").c_str(), nullptr) != 0) QVNfreeprob(env, &lp);
    return lp;
  }
  std::string dir;
};

// B x = e_k for x = binvcol(k); y B = e_i for y = binvrow(i); binvarow(i) =
// binvrow(i) A and B binvacol(j) = a_j; ftran and btran agree with them.
TEST_F(AdvancedBasis, InverseRowsAndColumnsMatchTheBasisMatrixOnNetlib) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  dir = data + "/netlib";
  for (const char *name : {"afiro", "sc50b", "sc105", "blend", "share2b", "kb2", "recipe"}) {
    SCOPED_TRACE(name);
    QVNLPptr lp = readNetlib(name);
    ASSERT_NE(lp, nullptr);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    const LpModel model = qvntest::readModel(env, lp);
    const int m = model.numRows(), n = model.numCols();
    std::vector<int> head(static_cast<size_t>(m));
    std::vector<double> xb(static_cast<size_t>(m));
    ASSERT_EQ(QVNgetbhead(env, lp, head.data(), xb.data()), 0);
    std::vector<std::vector<double>> B;
    for (int k = 0; k < m; ++k) B.push_back(qvntest::basisColumn(model, head[k]));
    // Basic values: B xB plus the nonbasic columns' share gives the right-hand side.
    std::vector<double> x(static_cast<size_t>(n)), slack(static_cast<size_t>(m));
    ASSERT_EQ(QVNsolution(env, lp, nullptr, nullptr, x.data(), nullptr, slack.data(), nullptr), 0);
    for (int k = 0; k < m; ++k)
      EXPECT_NEAR(xb[k], head[k] >= 0 ? x[head[k]] : slack[-1 - head[k]], 1e-7 * (1 + std::fabs(xb[k])));
    double worst = 0.0;
    std::vector<double> v(static_cast<size_t>(m)), w(static_cast<size_t>(m)), z(static_cast<size_t>(n));
    for (int k = 0; k < m; ++k) {
      ASSERT_EQ(QVNbinvcol(env, lp, k, v.data()), 0);
      for (int i = 0; i < m; ++i) {  // (B v)_i
        double s = 0.0;
        for (int p = 0; p < m; ++p) s += B[p][i] * v[p];
        worst = std::max(worst, std::fabs(s - (i == k ? 1.0 : 0.0)));
      }
      ASSERT_EQ(QVNbinvrow(env, lp, k, w.data()), 0);
      for (int p = 0; p < m; ++p) worst = std::max(worst, std::fabs(qvntest::dot(w, B[p]) - (p == k ? 1.0 : 0.0)));
      ASSERT_EQ(QVNbinvarow(env, lp, k, z.data()), 0);
      for (int j = 0; j < n; ++j) worst = std::max(worst, std::fabs(z[j] - qvntest::dot(w, qvntest::basisColumn(model, j))));
      // btran of e_k is the same row.
      std::vector<double> e(static_cast<size_t>(m), 0.0);
      e[k] = 1.0;
      ASSERT_EQ(QVNbtran(env, lp, e.data()), 0);
      for (int i = 0; i < m; ++i) worst = std::max(worst, std::fabs(e[i] - w[i]));
    }
    for (int j = 0; j < n; j += std::max(1, n / 12)) {
      ASSERT_EQ(QVNbinvacol(env, lp, j, v.data()), 0);
      const std::vector<double> a = qvntest::basisColumn(model, j);
      for (int i = 0; i < m; ++i) {
        double s = 0.0;
        for (int p = 0; p < m; ++p) s += B[p][i] * v[p];
        worst = std::max(worst, std::fabs(s - a[i]));
      }
      std::vector<double> f = a;
      ASSERT_EQ(QVNftran(env, lp, f.data()), 0);
      for (int i = 0; i < m; ++i) worst = std::max(worst, std::fabs(f[i] - v[i]));
    }
    EXPECT_LE(worst, 1e-9);
    // Every basic variable's position, and a nonbasic one refused.
    for (int k = 0; k < m; ++k) {
      int row = -1;
      ASSERT_EQ(QVNgetijrow(env, lp, head[k] < 0 ? -1 - head[k] : -1, head[k] >= 0 ? head[k] : 0, &row), 0);
      EXPECT_EQ(row, k);
    }
    QVNfreeprob(env, &lp);
  }
}

// From the slack basis, the optimal basis's columns pivoted in one by one
// by hand; the solve that follows reaches the reference optimum.
TEST_F(AdvancedBasis, PivotsFromTheSlackBasisLeadToTheSameOptimum) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  dir = data + "/netlib";
  const auto reference = qvntest::netlibReference(dir);
  for (const char *name : {"afiro", "sc50b", "sc105", "share2b"}) {
    SCOPED_TRACE(name);
    QVNLPptr lp = readNetlib(name);
    ASSERT_NE(lp, nullptr);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    const int m = QVNgetnumrows(env, lp);
    std::vector<int> optimalHead(static_cast<size_t>(m));
    ASSERT_EQ(QVNgetbhead(env, lp, optimalHead.data(), nullptr), 0);
    // No entries given: every row basic, every column at a finite bound.
    ASSERT_EQ(QVNcopypartialbase(env, lp, 0, nullptr, nullptr, 0, nullptr, nullptr), 0);
    std::vector<int> head(static_cast<size_t>(m));
    ASSERT_EQ(QVNgetbhead(env, lp, head.data(), nullptr), 0);
    for (int k = 0; k < m; ++k) EXPECT_LT(head[k], 0);
    std::vector<double> w(static_cast<size_t>(m));
    ASSERT_EQ(QVNbinvrow(env, lp, 0, w.data()), 0);
    for (int i = 0; i < m; ++i) EXPECT_EQ(w[i], head[0] == -1 - i ? 1.0 : 0.0);  // unit row of the slack basis
    int pivots = 0;
    for (int j : optimalHead) {
      if (j < 0) continue;
      std::vector<double> alpha(static_cast<size_t>(m));
      ASSERT_EQ(QVNbinvacol(env, lp, j, alpha.data()), 0);
      ASSERT_EQ(QVNgetbhead(env, lp, head.data(), nullptr), 0);
      int leave = -1;
      double best = 1e-7;
      for (int k = 0; k < m; ++k)
        if (head[k] < 0 && std::fabs(alpha[k]) > best) best = std::fabs(alpha[k]), leave = head[k];
      if (leave == -1) continue;
      ASSERT_EQ(QVNpivot(env, lp, j, leave, 0), 0);
      ++pivots;
    }
    EXPECT_GT(pivots, 0);
    ASSERT_EQ(QVNprimopt(env, lp), 0);
    double obj = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &obj), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    EXPECT_NEAR(obj, reference.at(name), 1e-6 * std::max(1.0, std::fabs(reference.at(name))));
    QVNfreeprob(env, &lp);
  }
}

// The trial ratio test is the first step of the dual after forcing a basic
// column to a bound: a lower bound on the true loss, which a re-solve with
// the column fixed there measures.
TEST_F(AdvancedBasis, LeavingCostsBoundTheLossOfForcingAColumnOut) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  dir = data + "/netlib";
  int checked = 0;
  for (const char *name : {"afiro", "sc50b", "share2b"}) {
    SCOPED_TRACE(name);
    QVNLPptr lp = readNetlib(name);
    ASSERT_NE(lp, nullptr);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    const int n = QVNgetnumcols(env, lp), m = QVNgetnumrows(env, lp);
    double optimum = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &optimum), 0);
    std::vector<int> head(static_cast<size_t>(m)), cstat(static_cast<size_t>(n)), rstat(static_cast<size_t>(m));
    std::vector<double> xb(static_cast<size_t>(m)), lb(static_cast<size_t>(n)), ub(static_cast<size_t>(n));
    ASSERT_EQ(QVNgetbhead(env, lp, head.data(), xb.data()), 0);
    ASSERT_EQ(QVNgetbase(env, lp, cstat.data(), rstat.data()), 0);
    ASSERT_EQ(QVNgetlb(env, lp, lb.data(), 0, n - 1), 0);
    ASSERT_EQ(QVNgetub(env, lp, ub.data(), 0, n - 1), 0);
    std::vector<int> cols;
    for (int k = 0; k < m && cols.size() < 6; ++k)
      if (head[k] >= 0 && xb[k] > lb[head[k]] + 1e-6) cols.push_back(head[k]);
    std::vector<double> down(cols.size()), up(cols.size());
    ASSERT_EQ(QVNmdleave(env, lp, cols.data(), static_cast<int>(cols.size()), down.data(), up.data()), 0);
    for (size_t t = 0; t < cols.size(); ++t) {
      const int j = cols[t];
      EXPECT_GE(down[t], 0.0);
      EXPECT_GE(up[t], 0.0);
      const char kind = 'U';
      ASSERT_EQ(QVNchgbds(env, lp, 1, &j, &kind, &lb[j]), 0);
      ASSERT_EQ(QVNdualopt(env, lp), 0);
      if (QVNgetstat(env, lp) == QVN_STAT_OPTIMAL) {
        double forced = 0.0;
        ASSERT_EQ(QVNgetobjval(env, lp, &forced), 0);
        EXPECT_GE(forced - optimum, down[t] - 1e-6 * (1 + std::fabs(optimum)));
        ++checked;
      } else {
        EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
      }
      ASSERT_EQ(QVNchgbds(env, lp, 1, &j, &kind, &ub[j]), 0);
      ASSERT_EQ(QVNcopybase(env, lp, cstat.data(), rstat.data()), 0);
    }
    int nonbasic[1] = {0};
    while (nonbasic[0] < n - 1 && cstat[nonbasic[0]] == 1) ++nonbasic[0];
    if (cstat[nonbasic[0]] != 1) { EXPECT_EQ(QVNmdleave(env, lp, nonbasic, 1, down.data(), up.data()), QVNERR_NOT_BASIC); }
    EXPECT_EQ(QVNmdleave(env, lp, nonbasic, -1, down.data(), up.data()), QVNERR_BAD_ARGUMENT);
    QVNfreeprob(env, &lp);
  }
  EXPECT_GT(checked, 5);
  takeErrors();
}

// Largest violation of bounds and rows by x, on the model read back.
double primalViolation(const LpModel &m, const std::vector<double> &x) {
  double worst = 0.0;
  std::vector<double> activity(static_cast<size_t>(m.numRows()), 0.0);
  for (int j = 0; j < m.numCols(); ++j) {
    worst = std::max({worst, m.lower[j] - x[j], x[j] - m.upper[j]});
    for (const auto &[row, value] : m.cols[static_cast<size_t>(j)]) activity[static_cast<size_t>(row)] += value * x[j];
  }
  for (int i = 0; i < m.numRows(); ++i) {
    const double a = activity[i], b = m.rhs[i], r = m.range.empty() ? 0.0 : m.range[i];
    switch (m.sense[i]) {
    case 'L': worst = std::max(worst, a - b); break;
    case 'G': worst = std::max(worst, b - a); break;
    case 'E': worst = std::max(worst, std::fabs(a - b)); break;
    default: worst = std::max({worst, std::min(b, b + r) - a, a - std::max(b, b + r)}); break;
    }
  }
  return worst;
}

// The primal ratio test by its meaning: the pivot it names keeps the basis
// primal feasible and moves the entering column by the ratio; the dual ratio
// test's pivot keeps it dual feasible. QVNchecksoln recomputes the point that
// the model read back then checks. A basis loaded on a fresh copy checks out
// as optimal at the reference objective.
TEST_F(AdvancedBasis, RatioTestsNameFeasiblePivotsAndCheckedSolutionsHoldUp) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  dir = data + "/netlib";
  const auto reference = qvntest::netlibReference(dir);
  int primalChecked = 0, dualChecked = 0;
  for (const char *name : {"afiro", "sc50b", "share2b", "kb2", "recipe"}) {
    SCOPED_TRACE(name);
    QVNLPptr lp = readNetlib(name), fresh = readNetlib(name);
    ASSERT_NE(lp, nullptr);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    const LpModel model = qvntest::readModel(env, lp);
    const int n = model.numCols(), m = model.numRows();
    std::vector<int> cstat(static_cast<size_t>(n)), rstat(static_cast<size_t>(m)), head(static_cast<size_t>(m));
    ASSERT_EQ(QVNgetbase(env, lp, cstat.data(), rstat.data()), 0);

    int lpstatus = -1;
    ASSERT_EQ(QVNcopybase(env, fresh, cstat.data(), rstat.data()), 0);
    ASSERT_EQ(QVNchecksoln(env, fresh, &lpstatus), 0);
    EXPECT_EQ(lpstatus, 1);
    double z = 0.0;
    ASSERT_EQ(QVNgetobjval(env, fresh, &z), 0);
    EXPECT_NEAR(z, reference.at(name), 1e-6 * (1 + std::fabs(z)));
    std::vector<double> x(static_cast<size_t>(n));
    ASSERT_EQ(QVNgetx(env, fresh, x.data(), 0, n - 1), 0);
    EXPECT_LT(primalViolation(model, x), 1e-7);
    QVNfreeprob(env, &fresh);

    // Primal: nonbasic columns at their lower bound moved up.
    int tried = 0;
    for (int j = 0; j < n && tried < 5; ++j) {
      if (cstat[j] != 0 || model.lower[j] <= -1e20) continue;
      double down, up;
      int downLeave, upLeave, downLeaveStat, upLeaveStat, downStat, upStat;
      ASSERT_EQ(QVNpratio(env, lp, &j, 1, &down, &up, &downLeave, &upLeave, &downLeaveStat, &upLeaveStat,
                          &downStat, &upStat), 0);
      EXPECT_EQ(downStat, 2) << "a column at its lower bound cannot move down";
      if (upStat != 0 || up > 1e6) continue;
      ++tried;
      ASSERT_EQ(QVNpivot(env, lp, j, upLeave, upLeaveStat), 0) << j << " leave " << upLeave;
      ASSERT_EQ(QVNchecksoln(env, lp, &lpstatus), 0);
      ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, n - 1), 0);
      EXPECT_LT(primalViolation(model, x), 1e-6) << "column " << j;
      EXPECT_NEAR(x[j], model.lower[j] + up, 1e-7 * (1 + up)) << "column " << j;
      ++primalChecked;
      ASSERT_EQ(QVNcopybase(env, lp, cstat.data(), rstat.data()), 0);
    }
    // Dual: basic columns pushed to a finite bound; the entering variable keeps
    // every reduced cost of the right sign.
    ASSERT_EQ(QVNgetbhead(env, lp, head.data(), nullptr), 0);
    tried = 0;
    for (int k = 0; k < m && tried < 5; ++k) {
      const int b = head[k];
      if (b < 0 || model.lower[b] <= -1e20) continue;
      double down, up;
      int downEnter, upEnter, downStat, upStat;
      ASSERT_EQ(QVNdratio(env, lp, &b, 1, &down, &up, &downEnter, &upEnter, &downStat, &upStat), 0);
      if (downStat != 0) continue;
      ++tried;
      EXPECT_GE(down, 0.0);
      ASSERT_EQ(QVNpivot(env, lp, downEnter, b, 0), 0) << b << " enter " << downEnter;
      int infeasible = 0;
      ASSERT_EQ(QVNcheckdfeas(env, lp, &infeasible), 0);
      EXPECT_EQ(infeasible, 2100000000) << "column " << b << " left through " << downEnter;
      ++dualChecked;
      ASSERT_EQ(QVNcopybase(env, lp, cstat.data(), rstat.data()), 0);
    }
    const int basicColumn = head[0];
    double r[2];
    int l[2], ls[2], st[2];
    EXPECT_EQ(QVNpratio(env, lp, &basicColumn, 1, &r[0], &r[1], &l[0], &l[1], &ls[0], &ls[1], &st[0], &st[1]),
              QVNERR_BAD_ARGUMENT);
    QVNfreeprob(env, &lp);
  }
  EXPECT_GE(primalChecked, 8);
  EXPECT_GE(dualChecked, 8);
  takeErrors();
}

// Infeasible models: afiro and share2b with the objective held below its
// optimum, and a small hand-built one. The proof is checked on the model
// read back: the rows' weighted limits exceed the best the columns can give.
TEST_F(AdvancedBasis, FarkasCertificatesProveInfeasibility) {
  const std::string data = qvntest::sharedDataDir();
  dir = data + "/netlib";
  std::vector<std::pair<std::string, QVNLPptr>> cases;
  {
    // x + y >= 3, x - y = 0, x <= 1, y <= 1: infeasible by rows 0 and the bounds.
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "tiny");
    LpModel t;
    t.addCol(1, 0, 1);
    t.addCol(1, 0, 1);
    t.addRow('G', 3);
    t.addRow('E', 0);
    t.set(0, 0, 1), t.set(0, 1, 1), t.set(1, 0, 1), t.set(1, 1, -1);
    ASSERT_EQ(t.load(env, lp), 0);
    cases.push_back({"tiny", lp});
  }
  if (!data.empty()) {
    const auto reference = qvntest::netlibReference(dir);
    for (const char *name : {"afiro", "share2b", "sc50b"}) {
      QVNLPptr lp = readNetlib(name);
      ASSERT_NE(lp, nullptr);
      const LpModel model = qvntest::readModel(env, lp);
      std::vector<int> start = {0}, idx;
      std::vector<double> val;
      for (int j = 0; j < model.numCols(); ++j)
        if (model.obj[j] != 0.0) idx.push_back(j), val.push_back(model.obj[j]);
      double offset = 0.0;
      QVNgetobjoffset(env, lp, &offset);
      // c'x <= optimum - 1 for a minimization
      const double rhs = reference.at(name) - offset - 1.0;
      const char sense = 'L';
      ASSERT_EQ(QVNaddrows(env, lp, 0, 1, static_cast<int>(idx.size()), &rhs, &sense, start.data(), idx.data(),
                           val.data(), nullptr, nullptr), 0);
      cases.push_back({name, lp});
    }
  }
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  for (auto &[name, lp] : cases) {
    SCOPED_TRACE(name);
    for (int method : {2, 1}) {
      ASSERT_EQ(QVNcopypartialbase(env, lp, 0, nullptr, nullptr, 0, nullptr, nullptr), 0);
      ASSERT_EQ(method == 2 ? QVNdualopt(env, lp) : QVNprimopt(env, lp), 0);
      ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_INFEASIBLE);
      const LpModel model = qvntest::readModel(env, lp);
      std::vector<double> y(static_cast<size_t>(model.numRows()));
      double proof = 0.0;
      ASSERT_EQ(QVNdualfarkas(env, lp, y.data(), &proof), 0);
      // min over row activities r of y'r, against max over the column box of (y'A)x.
      double rows = 0.0, cols = 0.0;
      bool finite = true;
      for (int i = 0; i < model.numRows(); ++i) {
        const char s = model.sense[i];
        if (y[i] == 0.0) continue;
        double lo = model.rhs[i], up = model.rhs[i];
        if (s == 'L') lo = -1e30;
        if (s == 'G') up = 1e30;
        if (s == 'R') (model.range[i] >= 0 ? up : lo) = model.rhs[i] + model.range[i];
        const double limit = y[i] > 0 ? lo : up;
        if (std::fabs(limit) >= 1e20) finite = false;
        rows += y[i] * limit;
      }
      for (int j = 0; j < model.numCols(); ++j) {
        double g = 0.0;
        for (const auto &[row, value] : model.cols[j]) g += y[row] * value;
        if (std::fabs(g) < 1e-13) continue;
        const double bound = g > 0 ? model.upper[j] : model.lower[j];
        if (std::fabs(bound) >= 1e20) finite = false;
        cols += g * bound;
      }
      ASSERT_TRUE(finite);
      EXPECT_GT(rows - cols, 1e-6);
      EXPECT_NEAR(proof, rows - cols, 1e-6 * (1 + std::fabs(proof)));
    }
    double z = 0.0;
    EXPECT_EQ(QVNgetray(env, lp, &z), QVNERR_NOT_UNBOUNDED);
    QVNfreeprob(env, &lp);
  }
}

// Unbounded models: the ray keeps every bound and row and improves the objective.
TEST_F(AdvancedBasis, RaysOfUnboundedModelsAreChecked) {
  int status = 0;
  for (int variant = 0; variant < 3; ++variant) {
    SCOPED_TRACE(variant);
    QVNLPptr lp = QVNcreateprob(env, &status, "ray");
    LpModel t;
    // min -x0 - x1 + x2, x0 - x1 <= 1, -x0 + 2 x1 - x2 <= 2, x2 free in variant 1,
    // x0 <= 4 and x2 costing 0.25 in variant 2 (x1 = t, x2 = 2t carry the ray).
    t.addCol(-1, 0, variant == 2 ? 4 : 1e20);
    t.addCol(-1, 0, 1e20);
    t.addCol(variant == 2 ? 0.25 : 1, variant == 1 ? -1e20 : 0, 1e20);
    t.addRow('L', 1);
    t.addRow('L', 2);
    t.set(0, 0, 1), t.set(0, 1, -1), t.set(1, 0, -1), t.set(1, 1, 2), t.set(1, 2, -1);
    ASSERT_EQ(t.load(env, lp), 0);
    for (int method : {1, 2}) {
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
      ASSERT_EQ(QVNcopypartialbase(env, lp, 0, nullptr, nullptr, 0, nullptr, nullptr), 0);
      ASSERT_EQ(method == 1 ? QVNprimopt(env, lp) : QVNdualopt(env, lp), 0);
      ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_UNBOUNDED);
      std::vector<double> z(3);
      ASSERT_EQ(QVNgetray(env, lp, z.data()), 0);
      double cz = 0.0;
      for (int j = 0; j < 3; ++j) {
        cz += t.obj[j] * z[j];
        if (t.lower[j] > -1e20) { EXPECT_GE(z[j], -1e-9); }
        if (t.upper[j] < 1e20) { EXPECT_LE(z[j], 1e-9); }
      }
      EXPECT_LT(cz, -1e-9);
      for (int i = 0; i < 2; ++i) {
        double az = 0.0;
        for (int j = 0; j < 3; ++j)
          for (const auto &[row, value] : t.cols[j])
            if (row == i) az += value * z[j];
        EXPECT_LE(az, 1e-9);
      }
      double proof = 0.0;
      EXPECT_EQ(QVNdualfarkas(env, lp, z.data(), &proof), QVNERR_NOT_DUAL_UNBOUNDED);
    }
    QVNfreeprob(env, &lp);
  }
}

// The errors of the functions, each leaving the held basis as it was.
TEST_F(AdvancedBasis, ErrorsLeaveTheBasisAlone) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "small");
  LpModel t;
  // min x0 + x1, x0 + x1 >= 1, x0 - x1 <= 3, x0 free, x1 in [0, 5]
  t.addCol(1, -1e20, 1e20);
  t.addCol(1, 0, 5);
  t.addRow('G', 1);
  t.addRow('L', 3);
  t.set(0, 0, 1), t.set(0, 1, 1), t.set(1, 0, 1), t.set(1, 1, -1);
  ASSERT_EQ(t.load(env, lp), 0);
  double v[4] = {};
  int head[2] = {}, row = 0;
  EXPECT_EQ(QVNbinvrow(env, lp, 0, v), QVNERR_NO_BASIS);
  EXPECT_EQ(QVNgetbhead(env, lp, head, v), QVNERR_NO_BASIS);
  EXPECT_EQ(QVNobjsa(env, lp, 0, 1, v, v + 2), QVNERR_NO_SENSIT);
  const int bad[2] = {0, 7}, rows[2] = {1, 1};
  EXPECT_EQ(QVNcopybase(env, lp, bad, rows), QVNERR_BAD_STATUS);
  EXPECT_EQ(QVNgetbase(env, lp, head, head), QVNERR_NO_BASIS);
  ASSERT_EQ(QVNcopypartialbase(env, lp, 0, nullptr, nullptr, 0, nullptr, nullptr), 0);
  int cstat[2] = {}, rstat[2] = {};
  ASSERT_EQ(QVNgetbase(env, lp, cstat, rstat), 0);
  EXPECT_EQ(cstat[0], 3);  // free column: nonbasic free
  EXPECT_EQ(cstat[1], 0);
  EXPECT_EQ(rstat[0], 1);
  EXPECT_EQ(rstat[1], 1);
  EXPECT_EQ(QVNbinvrow(env, lp, 2, v), QVNERR_ROW_INDEX_RANGE);
  EXPECT_EQ(QVNbinvacol(env, lp, -1, v), QVNERR_COL_INDEX_RANGE);
  EXPECT_EQ(QVNgetijrow(env, lp, -1, 1, &row), QVNERR_NOT_BASIC);
  EXPECT_EQ(QVNpivot(env, lp, -1, -2, 0), QVNERR_BAD_PIVOT);  // entering slack is basic
  EXPECT_EQ(QVNpivot(env, lp, 1, 1, 2), 0);                   // flip of x1 to its upper bound 5
  ASSERT_EQ(QVNgetbase(env, lp, cstat, rstat), 0);
  EXPECT_EQ(cstat[1], 2);
  EXPECT_EQ(QVNpivot(env, lp, 0, 0, 0), QVNERR_BAD_PIVOT);  // x0 has no lower bound
  EXPECT_EQ(QVNpivot(env, lp, 0, 9, 0), QVNERR_COL_INDEX_RANGE);
  ASSERT_EQ(QVNgetbase(env, lp, cstat, rstat), 0);
  EXPECT_EQ(cstat[0], 3);
  EXPECT_EQ(cstat[1], 2);
  EXPECT_EQ(rstat[0], 1);
  double z[2];
  EXPECT_EQ(QVNgetray(env, lp, z), QVNERR_NOT_UNBOUNDED);
  ASSERT_EQ(QVNprimopt(env, lp), 0);
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
  EXPECT_EQ(QVNgetray(env, lp, z), QVNERR_NOT_UNBOUNDED);
  EXPECT_EQ(QVNdualfarkas(env, lp, z, v), QVNERR_NOT_DUAL_UNBOUNDED);
  EXPECT_EQ(QVNrhssa(env, lp, 1, 0, v, v + 2), QVNERR_INDEX_RANGE);
  QVNfreeprob(env, &lp);
  takeErrors();
}

} // namespace
