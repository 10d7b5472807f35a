// QVNlpread, QVNmpsread and their forms: the arrays they hand out hold the
// model that QVNreadcopyprob installs from the same file, as the getters
// give it back; the groups a form leaves out are dropped with their warning.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "formats/format_test_support.h"
#include "quorvan.h"

namespace {

using qvntest::FormatFixture;

// Every output of the plain forms; freed with QVNfree at the end.
struct Arrays {
  int numCols = -1, numRows = -1, objSense = 0;
  double *obj = nullptr, *rhs = nullptr, *range = nullptr, *lower = nullptr, *upper = nullptr, *value = nullptr;
  char *sense = nullptr;
  int *colStart = nullptr, *colCount = nullptr, *rowIndex = nullptr;
  char objName[256] = {}, rhsName[256] = {};
  char **colNames = nullptr, *colStore = nullptr, **rowNames = nullptr, *rowStore = nullptr;
  int colExtra = 0, rowExtra = 0, nzExtra = 0, colNameExtra = 0, rowNameExtra = 0;
  char *ctype = nullptr;
  int sosCount = -1, sosNz = -1;
  char *sosType = nullptr;
  int *sosStart = nullptr, *sosIndex = nullptr;
  double *sosWeight = nullptr;
  int *qbeg = nullptr, *qcnt = nullptr, *qind = nullptr;
  double *qval = nullptr;
  int qnz = -1;
  ~Arrays() {
    void *all[] = {obj,      rhs,      range,    lower,   upper,   value,    sense,    colStart,  colCount, rowIndex,
                   colNames, colStore, rowNames, rowStore, ctype, sosType, sosStart, sosIndex, sosWeight, qbeg,
                   qcnt,     qind,     qval};
    for (void *p : all) QVNfree(p);
  }
};

#define BASE(a)                                                                                                   \
  &a.numCols, &a.numRows, &a.objSense, &a.obj, &a.rhs, &a.sense, &a.range, &a.colStart, &a.colCount, &a.rowIndex, \
      &a.value, &a.lower, &a.upper, a.objName, a.rhsName, &a.colNames, &a.colStore, &a.rowNames, &a.rowStore,     \
      &a.colExtra, &a.rowExtra, &a.nzExtra, &a.colNameExtra, &a.rowNameExtra
#define MIP(a) &a.ctype, &a.sosCount, &a.sosNz, &a.sosType, &a.sosStart, &a.sosIndex, &a.sosWeight
#define QUAD(a) &a.qbeg, &a.qcnt, &a.qind, &a.qval, &a.qnz

class ReadArrays : public FormatFixture {
protected:
  // The arrays against what the getters give after QVNreadcopyprob.
  void expectSameAsInstalled(const std::string &file, const Arrays &a, bool withTypes) {
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "installed");
    ASSERT_EQ(QVNreadcopyprob(env, lp, file.c_str(), nullptr), 0);
    const int n = QVNgetnumcols(env, lp), m = QVNgetnumrows(env, lp);
    ASSERT_EQ(a.numCols, n);
    ASSERT_EQ(a.numRows, m);
    EXPECT_EQ(a.objSense, QVNgetobjsen(env, lp));
    std::vector<double> obj(n), lb(n), ub(n), rhs(m), rng(m);
    std::vector<char> sense(m);
    ASSERT_EQ(QVNgetobj(env, lp, obj.data(), 0, n - 1), 0);
    ASSERT_EQ(QVNgetlb(env, lp, lb.data(), 0, n - 1), 0);
    ASSERT_EQ(QVNgetub(env, lp, ub.data(), 0, n - 1), 0);
    ASSERT_EQ(QVNgetrhs(env, lp, rhs.data(), 0, m - 1), 0);
    ASSERT_EQ(QVNgetsense(env, lp, sense.data(), 0, m - 1), 0);
    ASSERT_EQ(QVNgetrngval(env, lp, rng.data(), 0, m - 1), 0);
    for (int j = 0; j < n; ++j) {
      EXPECT_EQ(a.obj[j], obj[j]) << j;
      EXPECT_EQ(a.lower[j], lb[j]) << j;
      EXPECT_EQ(a.upper[j], ub[j]) << j;
    }
    for (int i = 0; i < m; ++i) {
      EXPECT_EQ(a.rhs[i], rhs[i]) << i;
      EXPECT_EQ(a.sense[i], sense[i]) << i;
      EXPECT_EQ(a.range[i], sense[i] == 'R' ? rng[i] : 0.0) << i;
    }
    int nz = 0, surplus = 0;
    QVNgetcols(env, lp, &nz, nullptr, nullptr, nullptr, 0, &surplus, 0, n - 1);
    std::vector<int> start(n + 1), index(-surplus + 1);
    std::vector<double> value(-surplus + 1);
    ASSERT_EQ(QVNgetcols(env, lp, &nz, start.data(), index.data(), value.data(), -surplus, &surplus, 0, n - 1), 0);
    start[n] = nz;
    for (int j = 0; j < n; ++j) {
      ASSERT_EQ(a.colCount[j], start[j + 1] - start[j]) << j;
      for (int k = 0; k < a.colCount[j]; ++k) {
        EXPECT_EQ(a.rowIndex[a.colStart[j] + k], index[start[j] + k]);
        EXPECT_EQ(a.value[a.colStart[j] + k], value[start[j] + k]);
      }
    }
    std::vector<char *> names(n);
    std::vector<char> store(64 * (n + m) + 64);
    ASSERT_EQ(QVNgetcolname(env, lp, names.data(), store.data(), static_cast<int>(store.size()), &surplus, 0, n - 1), 0);
    for (int j = 0; j < n; ++j) EXPECT_STREQ(a.colNames[j], names[j]);
    names.resize(m);
    ASSERT_EQ(QVNgetrowname(env, lp, names.data(), store.data(), static_cast<int>(store.size()), &surplus, 0, m - 1), 0);
    for (int i = 0; i < m; ++i) EXPECT_STREQ(a.rowNames[i], names[i]);
    const int type = QVNgetprobtype(env, lp);
    if (withTypes && (type == QVN_PROB_MILP || type == QVN_PROB_MIQP)) {
      std::vector<char> ctype(n);
      ASSERT_EQ(QVNgetctype(env, lp, ctype.data(), 0, n - 1), 0);
      for (int j = 0; j < n; ++j) EXPECT_EQ(a.ctype[j], ctype[j]) << j;
      EXPECT_EQ(a.sosCount, QVNgetnumsos(env, lp));
    }
    QVNfreeprob(env, &lp);
  }
};

// A MIP with a set, a general integer and a quadratic objective.
const char *kMipText =
    "\\ test model\n"
    "Minimize\n obj: 2 x + 3 y - z + [ 2 x ^ 2 + 2 x * y ] / 2\n"
    "Subject To\n c1: x + y + z >= 2\n c2: x - y <= 4\n c3: y + 2 z <= 8\n"
    "Bounds\n x <= 10\n 0 <= y <= 5\n z <= 7\n"
    "General\n z\n"
    "SOS\n s1: S1 :: x : 1 y : 2\n"
    "End\n";

TEST_F(ReadArrays, EveryFormMatchesTheInstalledModel) {
  const std::string lpFile = writeFile("model.lp", kMipText);
  {
    Arrays a;
    a.colExtra = 2, a.rowExtra = 1, a.nzExtra = 3, a.colNameExtra = 10, a.rowNameExtra = 0;
    ASSERT_EQ(QVNlpread(env, lpFile.c_str(), BASE(a), MIP(a), QUAD(a)), 0);
    expectSameAsInstalled(lpFile, a, true);
    // The room asked is added to what was read.
    EXPECT_EQ(a.colExtra, 3 + 2);
    EXPECT_EQ(a.rowExtra, 3 + 1);
    EXPECT_EQ(a.nzExtra, 7 + 3);
    EXPECT_STREQ(a.objName, "obj");
    EXPECT_STREQ(a.rhsName, "rhs");
    EXPECT_EQ(a.sosCount, 1);
    EXPECT_EQ(a.sosNz, 2);
    EXPECT_EQ(a.sosType[0], '1');
    // Q in full symmetric form by columns: x: (x 2, y 1), y: (x 1).
    ASSERT_EQ(a.qnz, 3);
    EXPECT_EQ(a.qcnt[0], 2);
    EXPECT_EQ(a.qcnt[1], 1);
    EXPECT_EQ(a.qcnt[2], 0);
    EXPECT_EQ(a.qind[a.qbeg[0]], 0);
    EXPECT_EQ(a.qval[a.qbeg[0]], 2.0);
    EXPECT_EQ(a.qval[a.qbeg[0] + 1], 1.0);
    EXPECT_EQ(a.qval[a.qbeg[1]], 1.0);
    EXPECT_EQ(takeWarnings(), "");
  }
  // The same model through MPS, written by the library.
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "w");
  ASSERT_EQ(QVNreadcopyprob(env, lp, lpFile.c_str(), nullptr), 0);
  const std::string mpsFile = path("model.mps");
  ASSERT_EQ(QVNwriteprob(env, lp, mpsFile.c_str(), nullptr), 0);
  QVNfreeprob(env, &lp);
  {
    Arrays a;
    ASSERT_EQ(QVNmpsread(env, mpsFile.c_str(), BASE(a), MIP(a), QUAD(a)), 0);
    expectSameAsInstalled(mpsFile, a, true);
    EXPECT_EQ(a.qnz, 3);
  }
  // The "m" forms drop Q, the "q" forms the types and sets, with a warning.
  {
    Arrays a;
    ASSERT_EQ(QVNlpmread(env, lpFile.c_str(), BASE(a), MIP(a)), 0);
    EXPECT_EQ(takeWarnings(), "Problem " + lpFile + " contains quadratic objective coefficients, ignored.\n");
    expectSameAsInstalled(lpFile, a, true);
  }
  {
    Arrays a;
    ASSERT_EQ(QVNmpsqread(env, mpsFile.c_str(), BASE(a), QUAD(a)), 0);
    EXPECT_EQ(takeWarnings(), "Problem " + mpsFile + " contains integer variable declarations, ignored.\n");
    expectSameAsInstalled(mpsFile, a, false);
    EXPECT_EQ(a.ctype, nullptr);
  }
  {
    Arrays a, b;
    ASSERT_EQ(QVNlpqread(env, lpFile.c_str(), BASE(a), QUAD(a)), 0);
    ASSERT_EQ(QVNmpsmread(env, mpsFile.c_str(), BASE(b), MIP(b)), 0);
    expectSameAsInstalled(mpsFile, b, true);
  }
  takeWarnings();
}

TEST_F(ReadArrays, BadArgumentsChangeNothing) {
  const std::string lpFile = writeFile("m.lp", kMipText);
  Arrays a;
  EXPECT_EQ(QVNlpread(nullptr, lpFile.c_str(), BASE(a), MIP(a), QUAD(a)), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(QVNlpread(env, nullptr, BASE(a), MIP(a), QUAD(a)), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNmpsmread(env, lpFile.c_str(), &a.numCols, &a.numRows, &a.objSense, nullptr, &a.rhs, &a.sense,
                        &a.range, &a.colStart, &a.colCount, &a.rowIndex, &a.value, &a.lower, &a.upper, nullptr,
                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                        MIP(a)),
            QVNERR_NULL_POINTER);
  a.nzExtra = -1;
  EXPECT_EQ(QVNlpread(env, lpFile.c_str(), BASE(a), MIP(a), QUAD(a)), QVNERR_BAD_ARGUMENT);
  a.nzExtra = 0;
  EXPECT_EQ(QVNlpread(env, path("missing.lp").c_str(), BASE(a), MIP(a), QUAD(a)), QVNERR_FAIL_OPEN_READ);
  EXPECT_EQ(a.numCols, -1);
  EXPECT_EQ(a.obj, nullptr);
  takeErrors();
  takeWarnings();
}

// The read limits are starting sizes only: the smallest and the largest
// give the same model as the defaults, on a netlib model when present.
TEST_F(ReadArrays, ReadLimitsAreHintsOnly) {
  const std::string data = qvntest::sharedDataDir();
  const std::string file = data.empty() ? writeFile("m.lp", kMipText) : data + "/netlib/afiro.mps.gz";
  const bool mps = !data.empty();
  for (int limit : {1, 262499999}) {
    SCOPED_TRACE(limit);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ROWREADLIM, limit), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_COLREADLIM, limit), 0);
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NZREADLIM, limit), 0);
    Arrays a;
    ASSERT_EQ(mps ? QVNmpsread(env, file.c_str(), BASE(a), MIP(a), QUAD(a))
                  : QVNlpread(env, file.c_str(), BASE(a), MIP(a), QUAD(a)),
              0);
    expectSameAsInstalled(file, a, true);
    if (mps) {
      EXPECT_EQ(a.numRows, 27);
      EXPECT_EQ(a.numCols, 32);
    }
  }
  takeWarnings();
}

} // namespace
