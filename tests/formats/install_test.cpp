// What a read puts into a Problem and what a write takes out of it: column
// types, special ordered sets, the quadratic objective and the names, through
// the model's own functions, and round trips of whole problems between the
// two formats.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "formats/format_test_support.h"
#include "model/problem.h"

namespace qvn {

using qvntest::countOf;
using qvntest::FormatFixture;

class Install : public FormatFixture {
protected:
  void SetUp() override {
    FormatFixture::SetUp();
    int status = 0;
    for (QVNLPptr &p : lp) {
      p = QVNcreateprob(env, &status, "p");
      ASSERT_EQ(status, 0);
    }
  }
  void TearDown() override {
    for (QVNLPptr &p : lp) QVNfreeprob(env, &p);
    FormatFixture::TearDown();
  }
  ModelImage imageOf(QVNLPptr p) {
    ModelImage m;
    EXPECT_EQ(imageFromProblem(env, p, m), 0);
    return m;
  }
  QVNLPptr lp[4] = {};
};

namespace {

// min x + 2y + 3z + 1/2 (2x^2 + 2xy + 4y^2), y general integer in [0, 5],
// w semi-continuous (0 or in [1, 8]), two sets over x, y, z.
const char *kLpModel =
    "Minimize\n cost: x + 2 y + 3 z + [ 2 x ^ 2 + 2 x * y + 4 y ^ 2 ] / 2\n"
    "Subject To\n c1: x + y + z >= 1\n c2: x - w <= 4\n"
    "Bounds\n y <= 5\n z <= 10\n 1 <= w <= 8\n"
    "Generals\n y\nSemi-continuous\n w\n"
    "SOS\n s1: S1 :: x:1 y:2 z:3\n s2: S2 :: y:5 z:7\nEnd\n";

// The same model in MPS, with the integer column between markers and Q given
// as one triangle.
const char *kMpsModel =
    "NAME          q\nROWS\n N  cost\n G  c1\n L  c2\nCOLUMNS\n"
    "    x  cost  1  c1  1\n    x  c2  1\n"
    "    M1  'MARKER'  'INTORG'\n    y  cost  2  c1  1\n    M2  'MARKER'  'INTEND'\n"
    "    z  cost  3  c1  1\n    w  c2  -1\n"
    "RHS\n    rhs  c1  1  c2  4\n"
    "BOUNDS\n UP bnd  y  5\n UP bnd  z  10\n LO bnd  w  1\n SC bnd  w  8\n"
    "QUADOBJ\n    x  x  2\n    x  y  1\n    y  y  4\n"
    "SOS\n S1 s1\n    x  1\n    y  2\n    z  3\n S2 s2\n    y  5\n    z  7\nENDATA\n";

} // namespace

TEST_F(Install, ReadPutsTypesSetsAndQuadraticObjectiveIntoTheProblem) {
  for (const char *file : {"model.lp", "model.mps"}) {
    SCOPED_TRACE(file);
    const std::string name = writeFile(file, std::string(file).find(".lp") != std::string::npos ? kLpModel : kMpsModel);
    ASSERT_EQ(QVNreadcopyprob(env, lp[0], name.c_str(), nullptr), 0) << takeErrors();
    EXPECT_EQ(QVNgetprobtype(env, lp[0]), 7);  // MIQP
    char types[4] = {};
    ASSERT_EQ(QVNgetctype(env, lp[0], types, 0, 3), 0);
    EXPECT_EQ(std::string(types, 4), "CICS");
    double lb[4], ub[4];
    ASSERT_EQ(QVNgetlb(env, lp[0], lb, 0, 3), 0);
    ASSERT_EQ(QVNgetub(env, lp[0], ub, 0, 3), 0);
    EXPECT_EQ(ub[1], 5.0);
    EXPECT_EQ(lb[3], 1.0);
    EXPECT_EQ(ub[3], 8.0);

    ASSERT_EQ(QVNgetnumsos(env, lp[0]), 2);
    int nz = 0, surplus = 0, starts[2];
    int members[5];
    double weights[5];
    char setTypes[2];
    ASSERT_EQ(QVNgetsos(env, lp[0], &nz, setTypes, starts, members, weights, 5, &surplus, 0, 1), 0);
    EXPECT_EQ(nz, 5);
    EXPECT_EQ(setTypes[0], '1');
    EXPECT_EQ(setTypes[1], '2');
    EXPECT_EQ(starts[1], 3);
    EXPECT_EQ(members[3], 1);
    EXPECT_EQ(weights[4], 7.0);
    int index = -1;
    ASSERT_EQ(QVNgetsosindex(env, lp[0], "s2", &index), 0);
    EXPECT_EQ(index, 1);

    // 1/2 x'Qx with Q = [2 1; 1 4] over x and y
    double q = 0;
    ASSERT_EQ(QVNgetqpcoef(env, lp[0], 0, 0, &q), 0);
    EXPECT_EQ(q, 2.0);
    ASSERT_EQ(QVNgetqpcoef(env, lp[0], 1, 0, &q), 0);
    EXPECT_EQ(q, 1.0);
    ASSERT_EQ(QVNgetqpcoef(env, lp[0], 0, 1, &q), 0);
    EXPECT_EQ(q, 1.0);
    ASSERT_EQ(QVNgetqpcoef(env, lp[0], 1, 1, &q), 0);
    EXPECT_EQ(q, 4.0);
    EXPECT_EQ(QVNgetnumqpnz(env, lp[0]), 4);

    char objName[16];
    ASSERT_EQ(QVNgetobjname(env, lp[0], objName, sizeof objName, &surplus), 0);
    EXPECT_STREQ(objName, "cost");
    char probName[512];
    ASSERT_EQ(QVNgetprobname(env, lp[0], probName, sizeof probName, &surplus), 0);
    EXPECT_EQ(std::string(probName), name);
    takeWarnings();
    takeResults();
  }
  // A following LP model without integers, sets or Q leaves none of them behind.
  const std::string plain = writeFile("plain.lp", "Maximize\n obj: a\nst\n c: a <= 1\nEnd\n");
  ASSERT_EQ(QVNreadcopyprob(env, lp[0], plain.c_str(), nullptr), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp[0]), 0);
  EXPECT_EQ(QVNgetnumsos(env, lp[0]), 0);
  EXPECT_EQ(QVNgetnumqpnz(env, lp[0]), 0);
}

// Neither format has an objective constant, but a model image does: it goes
// through the problem and comes back.
TEST_F(Install, ObjectiveOffsetAndNamesPassThroughTheProblem) {
  ModelImage m;
  ASSERT_EQ(readModelImage(env, writeFile("m.lp", kLpModel).c_str(), nullptr, m), 0);
  m.objConstant = -2.5;
  m.objName.clear();
  m.objName.add("profit");
  ASSERT_EQ(installModel(env, lp[0], m, "given"), 0);
  double offset = 0;
  ASSERT_EQ(QVNgetobjoffset(env, lp[0], &offset), 0);
  EXPECT_EQ(offset, -2.5);
  const ModelImage back = imageOf(lp[0]);
  EXPECT_EQ(back.objConstant, -2.5);
  EXPECT_STREQ(back.objName.get(0), "profit");
  EXPECT_STREQ(back.probName.get(0), "given");
  EXPECT_STREQ(back.sos.names.get(1), "s2");
  EXPECT_EQ(qvntest::compareModels(m, back, {false, 0.0}), "");
}

// Both directions over problems: every number, type, set, Q entry and name of
// the first problem survives LP -> MPS -> LP and MPS -> LP -> MPS.
TEST_F(Install, ProblemsRoundTripThroughBothFormats) {
  struct Route {
    const char *source, *text, *second, *third;
  } routes[] = {{"start.lp", kLpModel, "second.mps", "third.lp"},
                {"start.mps", kMpsModel, "second.lp.gz", "third.mps.bz2"}};
  for (const Route &r : routes) {
    SCOPED_TRACE(r.source);
    ASSERT_EQ(QVNreadcopyprob(env, lp[0], writeFile(r.source, r.text).c_str(), nullptr), 0) << takeErrors();
    ASSERT_EQ(QVNwriteprob(env, lp[0], path(r.second).c_str(), nullptr), 0);
    ASSERT_EQ(QVNreadcopyprob(env, lp[1], path(r.second).c_str(), nullptr), 0) << takeErrors();
    ASSERT_EQ(QVNwriteprob(env, lp[1], path(r.third).c_str(), nullptr), 0);
    ASSERT_EQ(QVNreadcopyprob(env, lp[2], path(r.third).c_str(), nullptr), 0) << takeErrors();
    const ModelImage first = imageOf(lp[0]);
    ASSERT_EQ(first.sos.count, 2);
    ASSERT_EQ(first.qValue.size(), 4u);
    EXPECT_EQ(qvntest::compareModels(first, imageOf(lp[1]), {false, 1e-15}), "");
    EXPECT_EQ(qvntest::compareModels(first, imageOf(lp[2]), {false, 1e-15}), "");
    for (int k = 1; k < 3; ++k) EXPECT_EQ(QVNgetprobtype(env, lp[k]), 7) << k;
    takeWarnings();
    takeResults();
  }
  // Generic names keep the structure: sets, types and Q by position.
  ASSERT_EQ(QVNwriteprob(env, lp[0], path("generic.rmp").c_str(), "RMP"), 0);
  ASSERT_EQ(QVNreadcopyprob(env, lp[3], path("generic.rmp").c_str(), "MPS"), 0) << takeErrors();
  ModelImage a = imageOf(lp[0]), b = imageOf(lp[3]);
  a.sos.hasNames = b.sos.hasNames = false;
  b.colNames = a.colNames;
  b.rowNames = a.rowNames;
  EXPECT_EQ(qvntest::compareModels(a, b, {false, 1e-15}), "");
  takeWarnings();
}

// A read that fails after the matrix was accepted (repeated set weights, a
// repeated or one-sided Q entry) leaves the problem as it was.
TEST_F(Install, LateFailuresLeaveTheProblemUnchanged) {
  const std::string base = writeFile("base.lp", kLpModel);
  ASSERT_EQ(QVNreadcopyprob(env, lp[0], base.c_str(), nullptr), 0);
  const ModelImage before = imageOf(lp[0]);
  const std::string mpsHead =
      "NAME bad\nROWS\n N obj\n L c\nCOLUMNS\n a obj 1 c 1\n b obj 1 c 1\nRHS\n rhs c 1\n";
  struct Case {
    const char *name, *text;
    int error;
  } cases[] = {
      {"weights.lp", "Minimize\n obj: a + b\nst\n c: a + b <= 1\nSOS\n s: S1 :: a:1 b:1\nEnd\n", 3010},
      {"twice.mps", "QMATRIX\n a b 1\n a b 1\n b a 1\nENDATA\n", 5011},
      {"oneside.mps", "QMATRIX\n a b 1\nENDATA\n", 5012},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const std::string text = std::string(c.name).find(".mps") != std::string::npos ? mpsHead + c.text : c.text;
    EXPECT_EQ(QVNreadcopyprob(env, lp[0], writeFile(c.name, text).c_str(), nullptr), c.error);
    EXPECT_EQ(countOf(takeErrors(), "Error  " + std::to_string(c.error)), 1);
    EXPECT_EQ(qvntest::compareModels(before, imageOf(lp[0]), {false, 0.0}), "");
    EXPECT_EQ(QVNgetprobtype(env, lp[0]), 7);
    EXPECT_EQ(std::string(lp[0]->lpData->probName), base);
  }
}

// Rows the problem cannot hold yet are named in a warning and left out.
TEST_F(Install, RowsWithoutAHomeAreDroppedWithAWarning) {
  const std::string file = writeFile(
      "rows.lp", "Minimize\n obj: a + b\nSubject To\n c: a + b >= 1\n q: a + [ a ^ 2 ] <= 4\n i: b = 1 -> a <= 2\nEnd\n");
  ASSERT_EQ(QVNreadcopyprob(env, lp[0], file.c_str(), nullptr), 0) << takeErrors();
  EXPECT_EQ(QVNgetnumrows(env, lp[0]), 1);
  const std::string w = takeWarnings();
  for (const char *what : {"quadratic constraints", "indicator constraints"})
    EXPECT_EQ(countOf(w, "Problem " + file + " contains " + what + ", ignored.\n"), 1) << what << "\n" << w;
}

namespace {

// A kept row set as text: name, sense, rhs and the terms by column name, so
// that two problems compare whatever order their columns came in.
std::string rowSetText(const RowBlock &b, const ModelImage &m) {
  std::string out;
  for (int r = 0; r < b.count; ++r) {
    out += std::string(b.hasNames ? b.names.get(r) : "?") + " " + b.sense[r] + " " + std::to_string(b.rhs[r]) + ":";
    std::map<std::string, double> terms;
    for (int k = b.start[r]; k < b.start[r + 1]; ++k) terms[m.colNames.get(b.index[k])] += b.value[k];
    for (const auto &[name, value] : terms) out += " " + std::to_string(value) + " " + name;
    out += "\n";
  }
  return out;
}

std::string namesOf(QVNENVptr env, QVNLPptr lp, bool lazy, int count) {
  char *names[4] = {};
  char store[64];
  int surplus = 0;
  const int status = lazy ? QVNEgetlazyconstraintname(env, lp, names, store, sizeof store, &surplus, 0, count - 1)
                          : QVNEgetusercutname(env, lp, names, store, sizeof store, &surplus, 0, count - 1);
  if (status != 0) return "error " + std::to_string(status);
  std::string out;
  for (int r = 0; r < count; ++r) out += std::string(names[r]) + " ";
  return out;
}

} // namespace

// User cuts and lazy constraints read from a file stay on the problem, come
// back out of both writers exactly, and take part in a run: the lazy row cuts
// off the optimum of the model without it.
TEST_F(Install, UserCutsAndLazyConstraintsSurviveReadWriteAndSolve) {
  const std::string file = writeFile(
      "kept.lp",
      "Maximize\n obj: a + b\nSubject To\n c: a + b <= 8\nUser Cuts\n u1: a + b <= 8.5\n -b + 0.5 a >= -7\n"
      "Lazy Constraints\n cap: a + 2 b <= 9\nBounds\n a <= 5\n b <= 5\nGenerals\n a b\nEnd\n");
  ASSERT_EQ(QVNreadcopyprob(env, lp[0], file.c_str(), nullptr), 0) << takeErrors();
  EXPECT_EQ(countOf(takeWarnings(), "ignored"), 0);
  EXPECT_EQ(namesOf(env, lp[0], false, 2), "u1 u2 ");
  EXPECT_EQ(namesOf(env, lp[0], true, 1), "cap ");
  const ModelImage original = imageOf(lp[0]);
  ASSERT_EQ(original.userCuts.count, 2);
  ASSERT_EQ(original.lazyRows.count, 1);
  const std::string cuts = rowSetText(original.userCuts, original), lazy = rowSetText(original.lazyRows, original);
  EXPECT_EQ(lazy, "cap L 9.000000: 1.000000 a 2.000000 b\n");

  int k = 1;
  for (const char *name : {"kept_out.lp", "kept_out.mps"}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(QVNwriteprob(env, lp[0], path(name).c_str(), nullptr), 0) << takeErrors();
    ASSERT_EQ(QVNreadcopyprob(env, lp[k], path(name).c_str(), nullptr), 0) << takeErrors();
    const ModelImage back = imageOf(lp[k]);
    EXPECT_EQ(rowSetText(back.userCuts, back), cuts);
    EXPECT_EQ(rowSetText(back.lazyRows, back), lazy);
    ++k;
  }

  // Enumeration over the integer box gives the optimum with the lazy row.
  double best = -1;
  for (int a = 0; a <= 5; ++a)
    for (int b = 0; b <= 5; ++b)
      if (a + b <= 8 && a + 2 * b <= 9) best = std::max(best, double(a + b));
  ASSERT_EQ(QVNmipopt(env, lp[1]), 0) << takeErrors();
  double objective = 0, x[2] = {};
  ASSERT_EQ(QVNgetobjval(env, lp[1], &objective), 0);
  ASSERT_EQ(QVNgetx(env, lp[1], x, 0, 1), 0);
  EXPECT_NEAR(objective, best, 1e-6);
  EXPECT_NEAR(x[0] + x[1], best, 1e-6);
  EXPECT_LE(x[0] + 2 * x[1], 9 + 1e-6);

  // A column deletion frees both sets, with a warning each.
  takeWarnings();
  ASSERT_EQ(QVNdelcols(env, lp[0], 1, 1), 0);
  const std::string w = takeWarnings();
  EXPECT_EQ(countOf(w, "Warning:  User cuts freed during column deletion.\n"), 1) << w;
  EXPECT_EQ(countOf(w, "Warning:  Lazy constraints freed during column deletion.\n"), 1) << w;
  const ModelImage after = imageOf(lp[0]);
  EXPECT_EQ(after.userCuts.count + after.lazyRows.count, 0);
}

} // namespace qvn
