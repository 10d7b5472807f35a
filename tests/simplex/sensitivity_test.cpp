// Ranges checked by their meaning: a cost or right-hand side moved to just
// inside its range leaves the optimal basis optimal (a re-solve from it takes
// no iteration); just outside, the re-solve must pivot or end in another basis.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "simplex/basis_test_support.h"

namespace {

using qvntest::EnvFixture;

constexpr double kInside = 1e-3;   // fraction of the range kept from its end
constexpr double kOutside = 1e-2;  // step beyond the end: fraction of the range, at least this much absolute

class Sensitivity : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0), 0);
  }
  // Re-solves from the basis in cstat/rstat; iterations, and whether the final basis differs.
  void resolve(QVNLPptr lp, bool dual, const std::vector<int> &cstat, const std::vector<int> &rstat, int &its,
               bool &moved) {
    ASSERT_EQ(QVNcopybase(env, lp, cstat.data(), rstat.data()), 0);
    ASSERT_EQ(dual ? QVNdualopt(env, lp) : QVNprimopt(env, lp), 0);
    its = QVNgetitcnt(env, lp);
    std::vector<int> c2(cstat.size()), r2(rstat.size());
    moved = QVNgetbase(env, lp, c2.data(), r2.data()) != 0 || c2 != cstat || r2 != rstat ||
            QVNgetstat(env, lp) != QVN_STAT_OPTIMAL;
  }
};

TEST_F(Sensitivity, ObjectiveAndRightHandSideRangesHoldOnNetlib) {
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  const std::string dir = data + "/netlib";
  int checkedInside = 0, checkedOutside = 0;
  for (const char *name : {"afiro", "sc50b", "sc105", "share2b", "blend"}) {
    SCOPED_TRACE(name);
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, name);
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/" + name + ".mps.gz").c_str(), nullptr), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
    ASSERT_EQ(QVNdualopt(env, lp), 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    const int n = QVNgetnumcols(env, lp), m = QVNgetnumrows(env, lp);
    std::vector<int> cstat(static_cast<size_t>(n)), rstat(static_cast<size_t>(m));
    ASSERT_EQ(QVNgetbase(env, lp, cstat.data(), rstat.data()), 0);
    std::vector<double> olo(static_cast<size_t>(n)), oup(static_cast<size_t>(n));
    std::vector<double> rlo(static_cast<size_t>(m)), rup(static_cast<size_t>(m));
    ASSERT_EQ(QVNobjsa(env, lp, 0, n - 1, olo.data(), oup.data()), 0);
    ASSERT_EQ(QVNrhssa(env, lp, 0, m - 1, rlo.data(), rup.data()), 0);
    // The combined call agrees with the single ones.
    std::vector<double> alo(static_cast<size_t>(m)), aup(static_cast<size_t>(n));
    ASSERT_EQ(QVNErangesa(env, lp, alo.data(), nullptr, nullptr, aup.data(), nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(alo, rlo);
    EXPECT_EQ(aup, oup);
    std::vector<double> c(static_cast<size_t>(n)), b(static_cast<size_t>(m));
    ASSERT_EQ(QVNgetobj(env, lp, c.data(), 0, n - 1), 0);
    ASSERT_EQ(QVNgetrhs(env, lp, b.data(), 0, m - 1), 0);
    // Samples of columns and rows, each end of each range.
    for (int kind = 0; kind < 2; ++kind) {
      const int count = kind == 0 ? n : m;
      for (int k = 0; k < count; k += std::max(1, count / 8)) {
        const double now = kind == 0 ? c[k] : b[k];
        const double lo = kind == 0 ? olo[k] : rlo[k], up = kind == 0 ? oup[k] : rup[k];
        ASSERT_LE(lo, now + 1e-9);
        ASSERT_GE(up, now - 1e-9);
        for (int side = -1; side <= 1; side += 2) {
          const double end = side > 0 ? up : lo;
          if (std::fabs(end) >= 1e20) continue;
          const double width = std::fabs(end - now);
          const double inside = end - side * kInside * width;
          const double outside = end + side * std::max(kOutside * width, kOutside * (1 + std::fabs(end)));
          for (int trial = 0; trial < 2; ++trial) {
            const double value = trial == 0 ? inside : outside;
            SCOPED_TRACE(std::string(kind == 0 ? "cost " : "rhs ") + std::to_string(k) + " -> " +
                         std::to_string(value));
            if (kind == 0)
              ASSERT_EQ(QVNchgobj(env, lp, 1, &k, &value), 0);
            else
              ASSERT_EQ(QVNchgrhs(env, lp, 1, &k, &value), 0);
            int its = 0;
            bool moved = false;
            // A cost change keeps the basis primal feasible, a right-hand side change dual feasible.
            resolve(lp, kind == 1, cstat, rstat, its, moved);
            if (trial == 0) {
              EXPECT_EQ(its, 0);
              ++checkedInside;
            } else {
              EXPECT_TRUE(its > 0 || moved);
              ++checkedOutside;
            }
          }
          if (kind == 0)
            ASSERT_EQ(QVNchgobj(env, lp, 1, &k, &now), 0);
          else
            ASSERT_EQ(QVNchgrhs(env, lp, 1, &k, &now), 0);
        }
      }
    }
    QVNfreeprob(env, &lp);
  }
  EXPECT_GT(checkedInside, 40);
  EXPECT_GT(checkedOutside, 20);
}

// A hand-built model with its ranges written out: min -x - 2y, x + y <= 4,
// x <= 3 (a row), 0 <= y <= 2. Optimum x = 2, y = 2 at its upper bound; x and
// the slack of row 1 basic, row 0's dual -1, y's reduced cost -1.
TEST_F(Sensitivity, SmallModelRangesAndErrors) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "small");
  qvntest::LpModel t;
  t.addCol(-1, 0, 1e20);
  t.addCol(-2, 0, 2);
  t.addRow('L', 4);
  t.addRow('L', 3);
  t.set(0, 0, 1), t.set(0, 1, 1), t.set(1, 0, 1);
  ASSERT_EQ(t.load(env, lp), 0);
  ASSERT_EQ(QVNprimopt(env, lp), 0);
  double x[2] = {};
  ASSERT_EQ(QVNsolution(env, lp, nullptr, nullptr, x, nullptr, nullptr, nullptr), 0);
  double lo[2], up[2];
  // Row 0's rhs can go from 2 (x reaches 0) to 5 (x reaches its row limit 3).
  ASSERT_EQ(QVNrhssa(env, lp, 0, 0, lo, up), 0);
  EXPECT_NEAR(lo[0], 2.0, 1e-12);
  EXPECT_NEAR(up[0], 5.0, 1e-12);
  // Row 1 is slack (activity 2): its rhs may fall to 2.
  ASSERT_EQ(QVNrhssa(env, lp, 1, 1, lo, up), 0);
  EXPECT_NEAR(lo[0], 2.0, 1e-12);
  EXPECT_EQ(up[0], 1e20);
  // x stays basic while its cost is in [-2, 0]: below -2 it displaces y,
  // above 0 it leaves. y stays at its upper bound while its cost is below -1.
  ASSERT_EQ(QVNobjsa(env, lp, 0, 1, lo, up), 0);
  EXPECT_NEAR(lo[0], -2.0, 1e-12);
  EXPECT_NEAR(up[0], 0.0, 1e-12);
  EXPECT_EQ(lo[1], -1e20);
  EXPECT_NEAR(up[1], -1.0, 1e-12);
  EXPECT_NEAR(x[0], 2.0, 1e-12);
  EXPECT_NEAR(x[1], 2.0, 1e-12);
  double lbl[2], lbu[2], ubl[2], ubu[2];
  ASSERT_EQ(QVNboundsa(env, lp, 1, 1, lbl, lbu, ubl, ubu), 0);
  EXPECT_NEAR(ubl[0], 1.0, 1e-12);  // x = 4 - ub reaches its row limit 3 at ub = 1
  EXPECT_NEAR(ubu[0], 4.0, 1e-12);  // x reaches 0 at ub = 4
  EXPECT_EQ(QVNobjsa(env, lp, 1, 0, lo, up), QVNERR_INDEX_RANGE);
  EXPECT_EQ(QVNobjsa(env, lp, 0, 2, lo, up), QVNERR_INDEX_RANGE);
  const int j = 0;
  const double c = -2.0;
  ASSERT_EQ(QVNchgobj(env, lp, 1, &j, &c), 0);
  EXPECT_EQ(QVNobjsa(env, lp, 0, 0, lo, up), QVNERR_NO_SENSIT);
  QVNfreeprob(env, &lp);
  takeErrors();
}

} // namespace
