// Bad input to the editing functions: the right error number, and a model
// that reads back exactly as before. Also the edge cases of single changes.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "model/problem.h"
#include "model/read_back.h"
#include "runtime/alloc.h"
#include "support/test_support.h"

namespace qvntest {

namespace {

void collect(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

class EditTest : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    int status = 0;
    lp = QVNcreateprob(env, &status, "edit");
    ASSERT_NE(lp, nullptr);
    QVNCHANNELptr warning = nullptr;
    ASSERT_EQ(QVNgetchannels(env, nullptr, &warning, nullptr, nullptr), 0);
    ASSERT_EQ(QVNaddfuncdest(env, warning, &warnings, collect), 0);
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    EnvFixture::TearDown();
  }
  // 3 rows (L, G, R with range 2) x 4 columns, named, with types, one SOS and a Q.
  void buildRich() {
    std::vector<double> obj{1, 2, 3, 4}, rhs{4, 1, 2}, lb{0, 0, -1, 0}, ub{10, 5, 1e20, 1}, rng{0, 0, 2};
    std::vector<char> sense{'L', 'G', 'R'};
    std::vector<int> start{0, 2, 3, 5}, count{2, 1, 2, 1}, index{0, 2, 1, 0, 1, 2};
    std::vector<double> value{1, 1, 3, 2, -1, 5};
    std::vector<std::string> cn{"a", "b", "c", "d"}, rn{"r0", "r1", "r2"};
    std::vector<char *> cp, rp;
    for (auto &s : cn) cp.push_back(s.data());
    for (auto &s : rn) rp.push_back(s.data());
    ASSERT_EQ(QVNcopylpwnames(env, lp, 4, 3, QVN_MIN, obj.data(), rhs.data(), sense.data(), start.data(),
                              count.data(), index.data(), value.data(), lb.data(), ub.data(), rng.data(), cp.data(),
                              rp.data()),
              0);
    ASSERT_EQ(QVNcopyctype(env, lp, "CIBS"), 0);
    const int sosStart = 0, members[] = {0, 2};
    const double weights[] = {2, 1};
    ASSERT_EQ(QVNcopysos(env, lp, 1, 2, "1", &sosStart, members, weights, nullptr), 0);
    const int qs[] = {0, 1, 2, 3}, qc[] = {1, 0, 0, 0}, qi[] = {0};
    const double qv[] = {2};
    ASSERT_EQ(QVNcopyquad(env, lp, qs, qc, qi, qv), 0);
    takeErrors();
  }
  QVNLPptr lp = nullptr;
  std::string warnings;
};

TEST_F(EditTest, BadArgumentsGiveTheirErrorAndChangeNothing) {
  buildRich();
  const ReadBack before = readBack(env, lp);
  ASSERT_EQ(before.cols, 4);
  takeErrors();
  const int one = 1, bad = 9, negative = -1, two[] = {0, 0};
  const double v = 1.5, vs[] = {1, 2};
  struct Case {
    const char *what;
    int got, want;
  };
  const char nanSense = 'X';
  int rowStart[] = {0}, dupCols[] = {1, 1}, outCol[] = {7};
  double twoValues[] = {1, 2}, sameWeights[] = {1, 1};
  int descending[] = {1, 0}, rows[] = {0, 1};
  std::vector<Case> cases = {
      {"objective with rhs", QVNchgcoef(env, lp, -1, -1, v), QVNERR_NO_RHS_IN_OBJ},
      {"row past the end", QVNchgcoef(env, lp, 3, 0, v), QVNERR_INDEX_RANGE},
      {"column -3", QVNchgcoef(env, lp, 0, -3, v), QVNERR_INDEX_RANGE},
      {"range of an L row", QVNchgcoef(env, lp, 0, -2, v), QVNERR_NO_RNGVAL},
      {"repeated pair", QVNchgcoeflist(env, lp, 2, two, two, vs), QVNERR_DUP_ENTRY},
      {"list row out of range", QVNchgcoeflist(env, lp, 1, &bad, &one, &v), QVNERR_ROW_INDEX_RANGE},
      {"list column out of range", QVNchgcoeflist(env, lp, 1, &one, &bad, &v), QVNERR_COL_INDEX_RANGE},
      {"list null values", QVNchgcoeflist(env, lp, 1, &one, &one, nullptr), QVNERR_NULL_POINTER},
      {"bound kind X", QVNchgbds(env, lp, 1, &one, "X", &v), QVNERR_BAD_LUB},
      {"bound index", QVNchgbds(env, lp, 1, &bad, "L", &v), QVNERR_COL_INDEX_RANGE},
      {"bound kinds null", QVNchgbds(env, lp, 1, &one, nullptr, &v), QVNERR_NULL_POINTER},
      {"sense X", QVNchgsense(env, lp, 1, &one, &nanSense), QVNERR_BAD_SENSE},
      {"sense null", QVNchgsense(env, lp, 1, &one, nullptr), QVNERR_NULL_POINTER},
      {"range of a G row", QVNchgrngval(env, lp, 1, &one, &v), QVNERR_NO_RNGVAL},
      {"objective count", QVNchgobj(env, lp, -1, &one, &v), QVNERR_BAD_ARGUMENT},
      {"objective indices null", QVNchgobj(env, lp, 1, nullptr, &v), QVNERR_NULL_POINTER},
      {"rhs index", QVNchgrhs(env, lp, 1, &bad, &v), QVNERR_ROW_INDEX_RANGE},
      {"add rows negative", QVNaddrows(env, lp, 0, -1, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr), QVNERR_BAD_ARGUMENT},
      {"add rows without list", QVNaddrows(env, lp, 0, 1, 1, &v, "L", nullptr, &one, &v, nullptr, nullptr),
       QVNERR_NULL_POINTER},
      {"add rows column out of range",
       QVNaddrows(env, lp, 0, 1, 1, &v, "L", rowStart, outCol, &v, nullptr, nullptr), QVNERR_COL_INDEX_RANGE},
      {"add rows repeated column",
       QVNaddrows(env, lp, 0, 1, 2, &v, "L", rowStart, dupCols, twoValues, nullptr, nullptr), QVNERR_DUP_ENTRY},
      {"add rows sense", QVNaddrows(env, lp, 0, 1, 0, &v, "Q", nullptr, nullptr, nullptr, nullptr, nullptr),
       QVNERR_BAD_SENSE},
      {"add columns row out of range",
       QVNaddcols(env, lp, 1, 1, &v, rowStart, &bad, &v, nullptr, nullptr, nullptr), QVNERR_ROW_INDEX_RANGE},
      {"add columns descending starts",
       QVNaddcols(env, lp, 2, 2, vs, descending, rows, twoValues, nullptr, nullptr, nullptr),
       QVNERR_ARRAY_NOT_ASCENDING},
      {"new columns type", QVNnewcols(env, lp, 1, nullptr, nullptr, nullptr, "Z", nullptr), QVNERR_BAD_CTYPE},
      {"pending columns type", QVNEcacheNewCols(env, lp, 1, nullptr, nullptr, nullptr, "Z", nullptr),
       QVNERR_BAD_CTYPE},
      {"pending rows sense", QVNEcacheNewRows(env, lp, 1, nullptr, "Z", nullptr, nullptr), QVNERR_BAD_SENSE},
      {"new rows count", QVNnewrows(env, lp, -2, nullptr, nullptr, nullptr, nullptr), QVNERR_BAD_ARGUMENT},
      {"delete rows begin > end", QVNdelrows(env, lp, 2, 1), QVNERR_INDEX_RANGE},
      {"delete columns past end", QVNdelcols(env, lp, 0, 4), QVNERR_INDEX_RANGE},
      {"delete set null", QVNdelsetrows(env, lp, nullptr), QVNERR_NULL_POINTER},
      {"rename row index", QVNchgrowname(env, lp, 1, &bad, nullptr), QVNERR_NULL_POINTER},
      {"rename null text", QVNchgname(env, lp, 'c', 0, nullptr), QVNERR_NULL_POINTER},
      {"copy types letter", QVNcopyctype(env, lp, "CIQC"), QVNERR_BAD_CTYPE},
      {"change type index", QVNchgctype(env, lp, 1, &bad, "I"), QVNERR_COL_INDEX_RANGE},
      {"order count", QVNcopyorder(env, lp, -1, nullptr, nullptr, nullptr), QVNERR_BAD_ARGUMENT},
      {"order indices null", QVNcopyorder(env, lp, 1, nullptr, nullptr, nullptr), QVNERR_NULL_POINTER},
      {"order repeated column", QVNcopyorder(env, lp, 2, two, nullptr, nullptr), QVNERR_DUP_ENTRY},
      {"order column out of range", QVNcopyorder(env, lp, 1, &bad, nullptr, nullptr), QVNERR_COL_INDEX_RANGE},
      {"sos type", QVNcopysos(env, lp, 1, 1, "3", rowStart, &one, &v, nullptr), QVNERR_BAD_SOS_TYPE},
      {"sos equal weights", QVNaddsos(env, lp, 1, 2, "2", rowStart, rows, sameWeights, nullptr),
       QVNERR_UNIQUE_WEIGHTS},
      {"problem type 2", QVNchgprobtype(env, lp, 2), QVNERR_BAD_PROB_TYPE},
      {"problem type 4", QVNchgprobtype(env, lp, 4), QVNERR_BAD_PROB_TYPE},
      {"problem type 6", QVNchgprobtype(env, lp, 6), QVNERR_BAD_PROB_TYPE},
      {"problem type 9", QVNchgprobtype(env, lp, 9), QVNERR_BAD_PROB_TYPE},
      {"problem type 12", QVNchgprobtype(env, lp, 12), QVNERR_BAD_PROB_TYPE},
      {"fixed MILP of a MIQP", QVNchgprobtype(env, lp, QVN_PROB_FIXEDMILP), QVNERR_NOT_MILPCLASS},
      {"Q index", QVNchgqpcoef(env, lp, 0, 4, v), QVNERR_INDEX_RANGE},
      {"mip start index", QVNcopymipstart(env, lp, 1, &negative, &v), QVNERR_COL_INDEX_RANGE},
  };
  for (const Case &c : cases) EXPECT_EQ(c.got, c.want) << c.what;
  takeErrors();
  const ReadBack after = readBack(env, lp);
  EXPECT_EQ(firstDifference(before, after), "");
  EXPECT_TRUE(before == after);
}

TEST_F(EditTest, ErrorTextsAndQuietLookups) {
  buildRich();
  takeErrors();
  int bad = 9;
  EXPECT_EQ(QVNchgcolname(env, lp, 1, &bad, nullptr), QVNERR_NULL_POINTER);
  takeErrors();
  char name[] = "z";
  char *names[] = {name};
  // The column form reports a bad index through the row text.
  EXPECT_EQ(QVNchgcolname(env, lp, 1, &bad, names), QVNERR_ROW_INDEX_RANGE);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1203: Row index 9 out of range.\n");
  double values[4];
  EXPECT_EQ(QVNgetobj(env, lp, values, -1, 4), QVNERR_INDEX_RANGE);
  EXPECT_EQ(takeErrors(),
            "QUORVAN Error  1205: QVNgetobj: 'begin' value -1 is less than 0.\n"
            "QUORVAN Error  1206: QVNgetobj: 'end' value 4 is greater than 3.\n"
            "QUORVAN Error  1200: Index is outside range of valid values.\n");
  int index = -1;
  EXPECT_EQ(QVNgetcolindex(env, lp, "nowhere", &index), QVNERR_NAME_NOT_FOUND);
  EXPECT_EQ(QVNgetrowindex(env, lp, "nowhere", &index), QVNERR_NAME_NOT_FOUND);
  EXPECT_EQ(takeErrors(), "");
  EXPECT_EQ(QVNgetrowindex(env, lp, "r2", &index), 0);
  EXPECT_EQ(index, 2);
  EXPECT_EQ(QVNgetcolindex(env, lp, nullptr, &index), QVNERR_NULL_POINTER);

  // Numbers are checked only under the data check.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const int col = 0;
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_DATACHECK, 1), 0);
  EXPECT_EQ(QVNchgobj(env, lp, 1, &col, &nan), QVNERR_NAN);
  EXPECT_EQ(QVNchgobjsen(env, lp, 2), QVNERR_BAD_ARGUMENT);
  const int priority = -1, direction = 2;
  EXPECT_EQ(QVNcopyorder(env, lp, 1, &col, &priority, nullptr), QVNERR_NEGATIVE_PRIORITY);
  EXPECT_EQ(QVNcopyorder(env, lp, 1, &col, nullptr, &direction), QVNERR_BAD_DIRECTION);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_DATACHECK, 0), 0);
  EXPECT_EQ(QVNchgobjsen(env, lp, 2), 0);
  EXPECT_EQ(QVNgetobjsen(env, lp), QVN_MIN);
  EXPECT_EQ(QVNchgobjsen(env, lp, -5), 0);
  EXPECT_EQ(QVNgetobjsen(env, lp), QVN_MAX);
}

TEST_F(EditTest, FixedTypeHandleIsNotASingleProblem) {
  buildRich();
  QVNLPptr fixed = nullptr;
  ASSERT_EQ(qvn::createProblem(env, "fixed", &fixed), 0);
  lp->fixedProblem = fixed;
  lp->probType = QVN_PROB_FIXEDMILP;
  const int col = 0;
  const double v = 1;
  EXPECT_EQ(QVNchgobj(env, lp, 1, &col, &v), QVNERR_NOT_ONE_PROBLEM);
  EXPECT_EQ(QVNchgcoef(env, lp, 0, 0, v), QVNERR_NOT_ONE_PROBLEM);
  EXPECT_EQ(QVNnewrows(env, lp, 1, nullptr, nullptr, nullptr, nullptr), QVNERR_NOT_ONE_PROBLEM);
  EXPECT_EQ(QVNcopyquad(env, lp, &col, &col, &col, &v), QVNERR_NOT_ONE_PROBLEM);
  // Reads go to the held fixed problem, which is empty.
  EXPECT_EQ(QVNgetnumcols(env, lp), 0);
  // Leaving the fixed type frees the held problem.
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_MILP), 0);
  EXPECT_EQ(lp->fixedProblem, nullptr);
  EXPECT_EQ(QVNgetnumcols(env, lp), 4);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_MIQP);
}

TEST_F(EditTest, EdgeCasesOfSingleChanges) {
  buildRich();
  warnings.clear();
  // Bounds: an infinite lower bound is ignored with a warning; 'U' at 1e18 is infinity.
  const int col = 0;
  const double big = 1e18;
  ASSERT_EQ(QVNchgbds(env, lp, 1, &col, "L", &big), 0);
  EXPECT_EQ(warnings, "Warning:  Infinity lower bound ignored.\n");
  ASSERT_EQ(QVNchgbds(env, lp, 1, &col, "U", &big), 0);
  double lb = -1, ub = -1;
  ASSERT_EQ(QVNgetlb(env, lp, &lb, 0, 0), 0);
  ASSERT_EQ(QVNgetub(env, lp, &ub, 0, 0), 0);
  EXPECT_EQ(lb, 0.0);
  EXPECT_EQ(ub, 1e20);

  // A coefficient set to 0 that does not exist leaves the count.
  const int nz = QVNgetnumnz(env, lp);
  ASSERT_EQ(QVNchgcoef(env, lp, 1, 0, 0.0), 0);
  EXPECT_EQ(QVNgetnumnz(env, lp), nz);
  ASSERT_EQ(QVNchgcoef(env, lp, 1, 0, 7.0), 0);
  EXPECT_EQ(QVNgetnumnz(env, lp), nz + 1);
  ASSERT_EQ(QVNchgcoef(env, lp, 1, 0, 0.0), 0);
  EXPECT_EQ(QVNgetnumnz(env, lp), nz);

  // Deleting with all flags 0 keeps the model and numbers the rows.
  int flags[3] = {0, 0, 0};
  ASSERT_EQ(QVNdelsetrows(env, lp, flags), 0);
  EXPECT_EQ(flags[0], 0);
  EXPECT_EQ(flags[1], 1);
  EXPECT_EQ(flags[2], 2);

  // A new 'R' row without ranges: the range array appears with 0, an equality in effect.
  QVNLPptr plain = nullptr;
  int status = 0;
  plain = QVNcreateprob(env, &status, "plain");
  ASSERT_EQ(QVNnewcols(env, plain, 2, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QVNnewrows(env, plain, 2, nullptr, nullptr, nullptr, nullptr), 0);
  const int row = 1;
  ASSERT_EQ(QVNchgsense(env, plain, 1, &row, "R"), 0);
  const qvn::LpData &d = *plain->lpData;
  ASSERT_EQ(d.numColsWithRanges, 3);
  EXPECT_EQ(d.lowerBound[2], 0.0);
  EXPECT_EQ(d.upperBound[2], 0.0);
  double range = -1;
  ASSERT_EQ(QVNgetrngval(env, plain, &range, 1, 1), 0);
  EXPECT_EQ(range, 0.0);
  ASSERT_EQ(QVNchgcoef(env, plain, 1, -2, -4.0), 0);
  EXPECT_EQ(d.lowerBound[2], -4.0);
  EXPECT_EQ(d.upperBound[2], 0.0);
  // A range column stays continuous whatever the types of the others.
  ASSERT_EQ(QVNcopyctype(env, plain, "II"), 0);
  ASSERT_EQ(QVNchgctype(env, plain, 1, &col, "B"), 0);
  EXPECT_EQ(d.ctype[2], 'C');
  QVNfreeprob(env, &plain);
}

TEST_F(EditTest, SurplusProtocol) {
  buildRich();
  takeErrors();
  int nz = -1, surplus = -1;
  // An empty range with no room: nothing needed, no error.
  EXPECT_EQ(QVNgetcols(env, lp, &nz, nullptr, nullptr, nullptr, 0, &surplus, 2, 1), 0);
  EXPECT_EQ(surplus, 0);
  EXPECT_EQ(nz, 0);
  EXPECT_EQ(takeErrors(), "");
  // Counting: minus the need, and 1207 through the error channel.
  EXPECT_EQ(QVNgetcols(env, lp, &nz, nullptr, nullptr, nullptr, 0, &surplus, 0, 3), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_EQ(surplus, -6);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1207: Insufficient array length.\n");
  // Too little room: what fits is exact, starts run on past the room.
  int start[4], index[4];
  double value[4];
  EXPECT_EQ(QVNgetcols(env, lp, &nz, start, index, value, 4, &surplus, 0, 3), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_EQ(surplus, -2);
  EXPECT_EQ(nz, 4);
  EXPECT_EQ(start[3], 5);
  EXPECT_EQ(index[2], 1);
  EXPECT_EQ(value[2], 3.0);
  // More room than needed: a positive surplus.
  int bigIndex[10];
  double bigValue[10];
  EXPECT_EQ(QVNgetrows(env, lp, &nz, start, bigIndex, bigValue, 10, &surplus, 0, 2), 0);
  EXPECT_EQ(surplus, 4);
  EXPECT_EQ(nz, 6);
  // Row 1 by rising column: columns 1 and 2.
  EXPECT_EQ(bigIndex[start[1]], 1);
  EXPECT_EQ(bigIndex[start[1] + 1], 2);
  EXPECT_EQ(bigValue[start[1] + 1], -1.0);
  // Names: the same protocol in bytes.
  char *names[4];
  char store[8];
  EXPECT_EQ(QVNgetcolname(env, lp, names, store, 5, &surplus, 0, 3), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_EQ(surplus, -3);
  EXPECT_STREQ(names[1], "b");
  EXPECT_EQ(QVNgetcolname(env, lp, names, store, 8, &surplus, 0, 3), 0);
  EXPECT_STREQ(names[3], "d");
  EXPECT_EQ(surplus, 0);
  char buffer[3];
  EXPECT_EQ(QVNgetprobname(env, lp, buffer, 3, &surplus), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_EQ(surplus, -2);
  takeErrors();
}

// Every allocation of an edit may fail: the call then gives 1001 and the
// model reads back as before.
TEST_F(EditTest, AllocationFailuresLeaveTheModel) {
  buildRich();
  const double values[] = {1, 2, 3};
  const int rowStart[] = {0, 2}, colIndex[] = {0, 3, 1}, colStart[] = {0, 1}, rowIndex[] = {0, 2};
  char n0[] = "n0", n1[] = "n1";
  char *names[] = {n0, n1};
  const int listRows[] = {1, 2, 0}, listCols[] = {0, 3, 3};
  using Edit = int (*)(QVNENVptr, QVNLPptr, const double *, char **, const int *, const int *, const int *,
                       const int *, const int *, const int *);
  const Edit edits[] = {
      [](QVNENVptr e, QVNLPptr p, const double *v, char **nm, const int *rs, const int *ci, const int *, const int *,
         const int *, const int *) {
        return QVNaddrows(e, p, 1, 2, 3, v, "LR", rs, ci, v, nm, nm);
      },
      [](QVNENVptr e, QVNLPptr p, const double *v, char **nm, const int *, const int *, const int *cs,
         const int *ri, const int *, const int *) { return QVNaddcols(e, p, 2, 2, v, cs, ri, v, v, v, nm); },
      [](QVNENVptr e, QVNLPptr p, const double *v, char **, const int *, const int *, const int *, const int *,
         const int *lr, const int *lc) { return QVNchgcoeflist(e, p, 3, lr, lc, v); },
      [](QVNENVptr e, QVNLPptr p, const double *, char **, const int *, const int *, const int *, const int *,
         const int *, const int *) {
        int flags[] = {1, 0, 1};
        return QVNdelsetrows(e, p, flags);
      },
      [](QVNENVptr e, QVNLPptr p, const double *, char **, const int *, const int *, const int *, const int *,
         const int *, const int *) {
        int flags[] = {0, 1, 0, 1};
        return QVNdelsetcols(e, p, flags);
      },
      [](QVNENVptr e, QVNLPptr p, const double *, char **, const int *, const int *, const int *, const int *,
         const int *, const int *) {
        const int rows[] = {0, 1};
        return QVNchgsense(e, p, 2, rows, "RR");
      },
      [](QVNENVptr e, QVNLPptr p, const double *, char **nm, const int *, const int *, const int *, const int *,
         const int *, const int *) {
        const int cols[] = {0, 1};
        return QVNchgcolname(e, p, 2, cols, nm);
      },
  };
  for (size_t which = 0; which < std::size(edits); ++which) {
    QVNfreeprob(env, &lp);
    int status = 0;
    lp = QVNcreateprob(env, &status, "edit");
    buildRich();
    // Tight capacities, so that edits must grow the arrays.
    const ReadBack before = readBack(env, lp);
    takeErrors();
    bool done = false;
    int failures = 0;
    for (long n = 1; n < 200 && !done; ++n) {
      qvn::allocFailAfter(n);
      status = edits[which](env, lp, values, names, rowStart, colIndex, colStart, rowIndex, listRows, listCols);
      qvn::allocFailAfter(0);
      if (status == 0) {
        done = true;
      } else {
        ASSERT_EQ(status, QVNERR_NO_MEMORY) << which << " " << n;
        ++failures;
        ASSERT_EQ(firstDifference(readBack(env, lp), before), "") << which << " " << n;
      }
    }
    EXPECT_TRUE(done) << which;
    // Renaming into a store with room needs no memory; every other edit allocates.
    if (which != std::size(edits) - 1) {
      EXPECT_GT(failures, 0) << which;
    }
    takeErrors();
  }
}

TEST_F(EditTest, PendingNamesSurviveAllocationFailures) {
  buildRich();
  char p0[] = "p0";
  char *first[] = {nullptr, p0};
  ASSERT_EQ(QVNEcacheNewCols(env, lp, 2, nullptr, nullptr, nullptr, nullptr, first), 0);
  char q0[] = "q0", q1[] = "q1";
  char *second[] = {q0, q1};
  bool done = false;
  for (long n = 1; n < 100 && !done; ++n) {
    qvn::allocFailAfter(n);
    const int status = QVNEcacheNewCols(env, lp, 2, nullptr, nullptr, nullptr, nullptr, second);
    qvn::allocFailAfter(0);
    done = status == 0;
    if (!done) {
      ASSERT_EQ(status, QVNERR_NO_MEMORY);
      ASSERT_EQ(QVNgetnumcols(env, lp), 6);
    }
  }
  ASSERT_TRUE(done);
  const ReadBack after = readBack(env, lp);
  ASSERT_EQ(after.colNames.size(), 8u);
  EXPECT_EQ(after.colNames[4], "x1");  // the gap got a generated name at the flush
  EXPECT_EQ(after.colNames[5], "p0");
  EXPECT_EQ(after.colNames[7], "q1");
  takeErrors();
}

} // namespace

} // namespace qvntest
