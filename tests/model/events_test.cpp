// Each edit raises exactly its change event: what a held solution keeps
// tells which event ran.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "model/problem.h"
#include "support/test_support.h"

namespace qvn {

using qvntest::EnvFixture;

namespace {

struct Expect {
  const char *what;
  std::function<int(QVNENVptr, QVNLPptr)> edit;
  bool statusKept, solutionKept, primalFlagKept;
};

// 2 rows x 3 columns, column 1 basic in the held solution.
QVNLPptr buildWithSolution(QVNENVptr env) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "events");
  const double obj[] = {1, 2, 3}, lb[] = {0, 0, 0}, ub[] = {5, 5, 5}, rhs[] = {1, 2}, range[] = {0, 1};
  const int start[] = {0, 2, 4}, count[] = {2, 2, 1}, index[] = {0, 1, 0, 1, 0};
  const double value[] = {1, 2, 3, 4, 5};
  EXPECT_EQ(QVNcopylp(env, lp, 3, 2, QVN_MIN, obj, rhs, "LR", start, count, index, value, lb, ub, range), 0);
  EXPECT_EQ(QVNcopyctype(env, lp, "CCI"), 0);
  const double q[] = {1};
  const int qs[] = {0, 1, 1}, qc[] = {1, 0, 0}, qi[] = {0};
  EXPECT_EQ(QVNcopyquad(env, lp, qs, qc, qi, q), 0);
  lp->status = 1;
  lp->solution = envNew<SolutionBlock>();
  lp->solution->primalComputed = lp->solution->dualComputed = true;
  lp->basisData = envNew<BasisData>();
  lp->basisData->colStatus.assign(6, 0);
  lp->basisData->colStatus[1] = 1;
  return lp;
}

} // namespace

using EventsTest = EnvFixture;

TEST_F(EventsTest, EachEditDiscardsWhatItsEventSays) {
  const int zero = 0, one = 1;
  const double v = 0.5;
  char name[] = "n";
  char *names[] = {name};
  const std::vector<Expect> cases = {
      // A stored entry of a nonbasic column: event 6 keeps solution and factorization.
      {"coefficient, nonbasic column", [](QVNENVptr e, QVNLPptr p) { return QVNchgcoef(e, p, 0, 0, 9.0); }, false,
       true, true},
      {"coefficient, basic column", [](QVNENVptr e, QVNLPptr p) { return QVNchgcoef(e, p, 0, 1, 9.0); }, false,
       false, false},
      {"coefficient list", [](QVNENVptr e, QVNLPptr p) {
         const int r = 1, c = 2;
         const double x = 4;
         return QVNchgcoeflist(e, p, 1, &r, &c, &x);
       }, false, false, false},
      {"bounds", [&](QVNENVptr e, QVNLPptr p) { return QVNchgbds(e, p, 1, &zero, "U", &v); }, false, true, false},
      {"rhs", [&](QVNENVptr e, QVNLPptr p) { return QVNchgrhs(e, p, 1, &zero, &v); }, false, true, true},
      {"rhs through a coefficient", [](QVNENVptr e, QVNLPptr p) { return QVNchgcoef(e, p, 0, -1, 3.0); }, false,
       true, true},
      {"objective", [&](QVNENVptr e, QVNLPptr p) { return QVNchgobj(e, p, 1, &zero, &v); }, false, true, false},
      {"objective sense", [](QVNENVptr e, QVNLPptr p) { return QVNchgobjsen(e, p, QVN_MAX); }, false, true, false},
      {"same objective sense", [](QVNENVptr e, QVNLPptr p) { return QVNchgobjsen(e, p, QVN_MIN); }, true, true,
       true},
      {"range", [&](QVNENVptr e, QVNLPptr p) { return QVNchgrngval(e, p, 1, &one, &v); }, false, true, false},
      {"name", [&](QVNENVptr e, QVNLPptr p) { return QVNchgcolname(e, p, 1, &zero, names); }, true, true, true},
      {"problem name", [](QVNENVptr e, QVNLPptr p) { return QVNchgprobname(e, p, "other"); }, true, true, true},
      {"new columns", [](QVNENVptr e, QVNLPptr p) {
         return QVNnewcols(e, p, 1, nullptr, nullptr, nullptr, nullptr, nullptr);
       }, false, true, true},
      {"new rows", [](QVNENVptr e, QVNLPptr p) {
         return QVNnewrows(e, p, 1, nullptr, nullptr, nullptr, nullptr);
       }, false, false, false},
      {"delete columns", [](QVNENVptr e, QVNLPptr p) { return QVNdelcols(e, p, 2, 2); }, false, false, false},
      {"sense", [&](QVNENVptr e, QVNLPptr p) { return QVNchgsense(e, p, 1, &zero, "G"); }, false, false, false},
      {"types", [&](QVNENVptr e, QVNLPptr p) { return QVNchgctype(e, p, 1, &zero, "B"); }, false, false, false},
      {"MIP start", [&](QVNENVptr e, QVNLPptr p) { return QVNcopymipstart(e, p, 1, &zero, &v); }, false, true,
       true},
      {"order", [&](QVNENVptr e, QVNLPptr p) { return QVNcopyorder(e, p, 1, &zero, nullptr, nullptr); }, false,
       false, false},
      {"Q entry", [](QVNENVptr e, QVNLPptr p) { return QVNchgqpcoef(e, p, 0, 1, 2.0); }, false, false, false},
      {"absent zero coefficient", [](QVNENVptr e, QVNLPptr p) { return QVNchgcoef(e, p, 1, 2, 0.0); }, true, true,
       true},
  };
  for (const Expect &c : cases) {
    QVNLPptr lp = buildWithSolution(env);
    ASSERT_EQ(c.edit(env, lp), 0) << c.what;
    EXPECT_EQ(lp->status == 1, c.statusKept) << c.what;
    EXPECT_EQ(lp->solution != nullptr, c.solutionKept) << c.what;
    if (lp->solution) {
      EXPECT_EQ(lp->solution->primalComputed, c.primalFlagKept) << c.what;
    }
    QVNfreeprob(env, &lp);
  }
  takeErrors();
}

} // namespace qvn
