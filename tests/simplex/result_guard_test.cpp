// Models that once drew a wrong answer from the optimizers: bounds that leave
// no point, NaN and infinite numbers, presolve verdicts that could not tell
// infeasible from unbounded, and the exit guard that keeps a violated point
// from being called optimal.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include "model/problem.h"
#include "runtime/temp_dir.h"
#include "simplex/result_guard.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace {

using qvntest::LpModel;
using qvntest::LpSolution;

constexpr double kInf = 1e20;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kHuge = std::numeric_limits<double>::infinity();

using Optimizer = int (*)(QVNCENVptr, QVNLPptr);
const Optimizer kOptimizers[] = {QVNprimopt, QVNdualopt, QVNlpopt};
const char *const kOptimizerNames[] = {"primopt", "dualopt", "lpopt"};

class ResultGuard : public qvntest::ProblemFixture {
protected:
  void SetUp() override {
    ProblemFixture::SetUp();
    ASSERT_TRUE(dir.ok());
  }
  int stat() { return QVNgetstat(env, lp); }
  qvntest::TempDir dir;
};

// min x + y, x + y >= 2, x - y <= 1, 0 <= x, y <= 10: optimum 2, for instance
// at (1.5, 0.5); every point with x + y = 2 and x - y <= 1 is optimal.
LpModel twoRows() {
  LpModel m;
  m.addRow('G', 2), m.addRow('L', 1);
  m.addCol(1, 0, 10, {{0, 1}, {1, 1}});
  m.addCol(1, 0, 10, {{0, 1}, {1, -1}});
  return m;
}

// The model of the report: min x, x + y >= 0, 3 <= x <= 1. No x exists, so
// the model is infeasible whatever the rows say.
TEST_F(ResultGuard, ContradictoryBoundsAreInfeasibleByEveryEntry) {
  const std::string path = dir.file("crossed.lp");
  qvntest::writeText(path, "Minimize\n obj: x\nSubject To\n c1: x + y >= 0\nBounds\n 3 <= x <= 1\nEnd\n");
  for (int preind = 0; preind <= 1; ++preind) {
    for (int k = 0; k < 3; ++k) {
      SCOPED_TRACE(std::string(kOptimizerNames[k]) + (preind ? " presolved" : ""));
      ASSERT_EQ(QVNreadcopyprob(env, lp, path.c_str(), nullptr), 0);
      double lb = 0, ub = 0;
      ASSERT_EQ(QVNgetlb(env, lp, &lb, 0, 0), 0);
      ASSERT_EQ(QVNgetub(env, lp, &ub, 0, 0), 0);
      ASSERT_GT(lb, ub);  // the fact the verdict rests on
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, preind), 0);
      log.clear();
      EXPECT_EQ(kOptimizers[k](env, lp), 0);
      EXPECT_EQ(stat(), QVN_STAT_INFEASIBLE);
      EXPECT_NE(log.find("Warning:  Bounds on 'x' contradictory.\n"), std::string::npos) << log;
      double obj = 0;
      EXPECT_EQ(QVNgetobjval(env, lp, &obj), QVNERR_NO_SOLN);
      takeErrors();
    }
  }
  // Bounds crossed by less than the feasibility tolerance are a fixed column.
  LpModel m = twoRows();
  m.lower[0] = 0.5 + 1e-9, m.upper[0] = 0.5;
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  EXPECT_EQ(stat(), QVN_STAT_OPTIMAL);
}

// NaN or infinite numbers in the model with the data check off: every entry
// refuses to start with the number and text of the fault, the model is left
// as it was, and once the value is repaired the same problem solves.
TEST_F(ResultGuard, NanAndInfiniteDataRefusedAtTheDoor) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_DATACHECK, 0), 0);
  struct Case {
    const char *what;
    int (*spoil)(QVNENVptr, QVNLPptr, double);
    double value;
    int error;
    const char *text;
  };
  const Case cases[] = {
      {"objective", [](QVNENVptr e, QVNLPptr p, double v) { return QVNchgcoef(e, p, -1, 1, v); }, kNaN,
       QVNERR_NAN, "QUORVAN Error  1225: Numeric entry 1 is not a double precison number (NAN).\n"},
      {"rhs", [](QVNENVptr e, QVNLPptr p, double v) { return QVNchgcoef(e, p, 1, -1, v); }, kNaN, QVNERR_NAN,
       "QUORVAN Error  1225: Numeric entry 1 is not a double precison number (NAN).\n"},
      {"coefficient", [](QVNENVptr e, QVNLPptr p, double v) { return QVNchgcoef(e, p, 0, 0, v); }, kNaN,
       QVNERR_NAN, "QUORVAN Error  1225: Numeric entry 0 is not a double precison number (NAN).\n"},
      {"offset", [](QVNENVptr e, QVNLPptr p, double v) { return QVNchgobjoffset(e, p, v); }, kNaN, QVNERR_NAN,
       "QUORVAN Error  1225: Numeric entry 0 is not a double precison number (NAN).\n"},
      {"lower bound",
       [](QVNENVptr e, QVNLPptr p, double v) {
         const int j = 1;
         const char kind = 'L';
         return QVNchgbds(e, p, 1, &j, &kind, &v);
       },
       kNaN, QVNERR_NAN, "QUORVAN Error  1225: Numeric entry 1 is not a double precison number (NAN).\n"},
      {"infinite objective", [](QVNENVptr e, QVNLPptr p, double v) { return QVNchgcoef(e, p, -1, 0, v); }, kHuge,
       QVNERR_DBL_MAX, "QUORVAN Error  1233: Numeric entry 0 is larger than allowed maximum of 1.79769e+308.\n"},
      {"infinite rhs", [](QVNENVptr e, QVNLPptr p, double v) { return QVNchgcoef(e, p, 0, -1, -v); }, kHuge,
       QVNERR_DBL_MAX, "QUORVAN Error  1233: Numeric entry 0 is larger than allowed maximum of 1.79769e+308.\n"},
      {"infinite coefficient", [](QVNENVptr e, QVNLPptr p, double v) { return QVNchgcoef(e, p, 1, 1, v); },
       kHuge, QVNERR_DBL_MAX,
       "QUORVAN Error  1233: Numeric entry 3 is larger than allowed maximum of 1.79769e+308.\n"},
      {"infinite offset", [](QVNENVptr e, QVNLPptr p, double v) { return QVNchgobjoffset(e, p, v); }, kHuge,
       QVNERR_DBL_MAX, "QUORVAN Error  1233: Numeric entry 0 is larger than allowed maximum of 1.79769e+308.\n"},
  };
  const LpModel m = twoRows();
  for (const Case &c : cases) {
    for (int k = 0; k < 3; ++k) {
      SCOPED_TRACE(std::string(c.what) + " " + kOptimizerNames[k]);
      ASSERT_EQ(m.load(env, lp), 0);
      ASSERT_EQ(c.spoil(env, lp, c.value), 0);
      takeErrors();
      EXPECT_EQ(kOptimizers[k](env, lp), c.error);
      EXPECT_EQ(takeErrors(), c.text);
      EXPECT_NE(stat(), QVN_STAT_OPTIMAL);
      double obj = 0;
      EXPECT_EQ(QVNgetobjval(env, lp, &obj), QVNERR_NO_SOLN);
      takeErrors();
    }
  }
  // The refusal left the model as it was: repaired, it solves to the known
  // optimum, checked independently.
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNchgobjoffset(env, lp, kNaN), 0);
  EXPECT_EQ(QVNlpopt(env, lp), QVNERR_NAN);
  ASSERT_EQ(QVNchgobjoffset(env, lp, 0.0), 0);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  LpSolution s;
  ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
  EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
  EXPECT_NEAR(s.objective, 2.0, 1e-9);
  EXPECT_EQ(qvntest::checkOptimal(m, s), "");
  takeErrors();
}

// A NaN tolerance used to be taken and made afiro "unbounded": now it is
// refused like any value outside the range, and afiro keeps its optimum.
TEST_F(ResultGuard, NanToleranceRefusedAndAfiroKeepsItsOptimum) {
  const int numbers[] = {QVN_PARAM_EPOPT, QVN_PARAM_EPRHS, QVN_PARAM_EPMRK, QVN_PARAM_EPPER,
                         QVN_PARAM_TILIM, QVN_PARAM_OBJULIM, QVN_PARAM_OBJLLIM};
  for (int number : numbers) {
    SCOPED_TRACE(number);
    double before = 0, after = 0;
    ASSERT_EQ(QVNgetdblparam(env, number, &before), 0);
    EXPECT_EQ(QVNsetdblparam(env, number, kNaN), QVNERR_PARAM_TOO_SMALL);
    ASSERT_EQ(QVNgetdblparam(env, number, &after), 0);
    EXPECT_EQ(after, before);
  }
  std::string expected;
  for (int k = 0; k < 7; ++k) expected += "QUORVAN Error  1014: Parameter value too small.\n";
  EXPECT_EQ(takeErrors(), expected);
  const std::string data = qvntest::sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  ASSERT_EQ(QVNreadcopyprob(env, lp, (data + "/netlib/afiro.mps.gz").c_str(), nullptr), 0);
  ASSERT_EQ(QVNlpopt(env, lp), 0);
  const LpModel m = qvntest::readModel(env, lp);
  LpSolution s;
  ASSERT_EQ(qvntest::readSolution(env, lp, m, s), 0);
  EXPECT_EQ(s.status, QVN_STAT_OPTIMAL);
  EXPECT_NEAR(s.objective, -464.75314286, 1e-6);  // the published optimum
  EXPECT_EQ(qvntest::checkOptimal(m, s, 1e-6), "");
}

// Small models on which presolve sees that no optimum exists but not why.
// The answer must be the exact one, whatever reductions are allowed.
TEST_F(ResultGuard, PresolveVerdictsBecomeExactStatuses) {
  // x + y <= 1 and x + y >= 2 with x, y >= 0: the rows contradict.
  LpModel infeasible;
  infeasible.addRow('L', 1), infeasible.addRow('G', 2);
  infeasible.addCol(1, 0, kInf, {{0, 1}, {1, 1}});
  infeasible.addCol(1, 0, kInf, {{0, 1}, {1, 1}});
  // max x + y, x - y <= 1, x, y >= 0: feasible at 0, and (1, 1) is a ray
  // along which the rows hold and the objective grows.
  LpModel unbounded;
  unbounded.objSense = QVN_MAX;
  unbounded.addRow('L', 1);
  unbounded.addCol(1, 0, kInf, {{0, 1}});
  unbounded.addCol(1, 0, kInf, {{0, -1}});
  // min -x with x free of rows and no upper bound: unbounded with no row at all.
  LpModel lone;
  lone.addRow('G', -5);
  lone.addCol(-1, 0, kInf);
  lone.addCol(0, 0, kInf, {{0, 1}});
  struct Case {
    const LpModel *model;
    int status;
  };
  const Case cases[] = {{&infeasible, QVN_STAT_INFEASIBLE}, {&unbounded, QVN_STAT_UNBOUNDED},
                        {&lone, QVN_STAT_UNBOUNDED}};
  for (int reduce = 0; reduce <= 3; ++reduce) {
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_REDUCE, reduce), 0);
    for (const Case &c : cases) {
      for (int k = 0; k < 3; ++k) {
        SCOPED_TRACE(std::string(kOptimizerNames[k]) + " reduce " + std::to_string(reduce) + " expect " +
                     std::to_string(c.status));
        ASSERT_EQ(c.model->load(env, lp), 0);
        EXPECT_EQ(kOptimizers[k](env, lp), 0);
        EXPECT_EQ(stat(), c.status);
      }
    }
  }
  takeErrors();
}

// The exit guard, on a solved problem whose point is then spoiled by hand:
// within the tolerance the answer stands, beyond it "optimal" goes.
TEST_F(ResultGuard, ViolatedOptimumLosesItsStatus) {
  LpModel m = twoRows();
  m.addRow('R', 0, 5);  // 0 <= x + 2y <= 5
  m.set(2, 0, 1), m.set(2, 1, 2);
  ASSERT_EQ(m.load(env, lp), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_PREIND, 0), 0);
  ASSERT_EQ(QVNdualopt(env, lp), 0);
  ASSERT_EQ(stat(), QVN_STAT_OPTIMAL);
  const double tol = 1e-6;
  const qvn::LpData &d = *lp->lpData;
  struct Case {
    double x0, x1;
    bool violated;
    const char *warning;
  };
  const Case cases[] = {
      {1.5, 0.5, false, ""},
      {1.5 - 4e-7, 0.5, false, ""},  // row 0 short by less than the tolerance
      {1.5 - 4e-6, 0.5, true, "Warning:  Solution violates row 'c1' beyond the feasibility tolerance.\n"},
      {-5e-6, 2.0 + 5e-6, true,
       "Warning:  Solution violates the bounds of column 'x1' beyond the feasibility tolerance.\n"},
      {0.0, 2.5 + 1e-3, true, "Warning:  Solution violates row 'c3' beyond the feasibility tolerance.\n"},
      {kNaN, 0.5, true,
       "Warning:  Solution violates the bounds of column 'x1' beyond the feasibility tolerance.\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.x0) + ", " + std::to_string(c.x1));
    lp->status = QVN_STAT_OPTIMAL;
    lp->solution->x[0] = c.x0, lp->solution->x[1] = c.x1;
    int where = 99;
    const double ratio = qvn::worstViolationRatio(d, lp->solution->x.data(), tol, &where);
    EXPECT_EQ(ratio > 1.0, c.violated) << ratio;
    log.clear();
    qvn::guardOptimalResult(env, lp);
    EXPECT_EQ(stat(), c.violated ? QVN_STAT_OPTIMAL_INFEAS : QVN_STAT_OPTIMAL);
    EXPECT_EQ(log, c.warning);
  }
  // Only an optimal claim is guarded.
  lp->status = QVN_STAT_UNBOUNDED;
  qvn::guardOptimalResult(env, lp);
  EXPECT_EQ(stat(), QVN_STAT_UNBOUNDED);
}

} // namespace
