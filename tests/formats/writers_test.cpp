#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "formats/format_test_support.h"

namespace qvn {

using qvntest::countOf;
using qvntest::FormatFixture;

class Writers : public FormatFixture {
protected:
  std::string slurp(const std::string &file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  // Writes `m` as `name` and returns the text.
  std::string written(const ModelImage &m, const std::string &name, const char *type = nullptr) {
    const std::string p = path(name);
    EXPECT_EQ(writeModelImage(env, m, p.c_str(), type), 0) << takeErrors();
    return slurp(p);
  }
};

namespace {

// min x1 - x2 + 1.00000000000001 x4 (x3 and x5 have no entries, x5 no cost)
//   r1: x1 + 2.5 x2 <= 4
//   r2: x1 - x2 in [-1, 4] (E row, range 5)
//   r3: empty, >= 2
//   r4: x1 + x4 range -5 on an L row: [-2, 3]
// bounds: x2 free, x3 binary with no upper bound, x4 integer in [0, inf), x5 in [0, -1]
ModelImage toy() {
  ModelImage m;
  m.probName.add("toy");
  m.objName.add("cost");
  m.numCols = 5;
  m.numRows = 4;
  m.obj = {1, -1, 0, 1.00000000000001, 0};
  m.lower = {0, -1e20, 0, 0, 0};
  m.upper = {1e20, 1e20, 1e20, 1e20, -1};
  m.ctype = {'C', 'C', 'B', 'I', 'C'};
  m.colStart = {0, 3, 5, 5, 6, 6};
  m.rowIndex = {0, 1, 3, 0, 1, 3};
  m.value = {1, 1, 1, 2.5, -1, 1};
  m.sense = {'L', 'R', 'G', 'R'};
  m.rhs = {4, -1, 2, 3};
  m.range = {0, 5, 0, -5};
  for (const char *n : {"x1", "x2", "x3", "x4", "x5"}) m.colNames.add(n);
  for (const char *n : {"r1", "r2", "r3", "r4"}) m.rowNames.add(n);
  m.hasColNames = m.hasRowNames = true;
  return m;
}

} // namespace

TEST_F(Writers, LpTextFollowsTheFormatRules) {
  const std::string t = written(toy(), "toy.lp");
  EXPECT_EQ(t.rfind("\\Problem name: toy\n\nMinimize\n cost: x1 - x2 + 0 x3 + 1.00000000000001 x4 + 0 x5\n", 0), 0u)
      << t;
  EXPECT_NE(t.find(" r1: x1 + 2.5 x2 <= 4\n"), std::string::npos) << t;
  EXPECT_NE(t.find(" r2: x1 - x2 - Rgr2  = -1\n"), std::string::npos) << t;
  EXPECT_NE(t.find(" r3: >= 2\n"), std::string::npos) << t;
  EXPECT_NE(t.find("      x2 Free\n"), std::string::npos) << t;
  EXPECT_NE(t.find(" 0 <= x3 <= Inf\n"), std::string::npos) << t;  // a bare binary would read as [0, 1]
  EXPECT_NE(t.find("      x4 >= 0\n"), std::string::npos) << t;
  EXPECT_NE(t.find(" 0 <= x5 <= -1\n"), std::string::npos) << t;
  EXPECT_NE(t.find(" 0 <= Rgr2 <= 5\n"), std::string::npos) << t;
  EXPECT_NE(t.find("-5 <= Rgr4 <= 0\n"), std::string::npos) << t;
  EXPECT_NE(t.find("Binaries\n x3 \nGenerals\n x4 \nEnd\n"), std::string::npos) << t;

  // read back: a ranged row is an equality row with one more column
  ModelImage back;
  ASSERT_EQ(readModelImage(env, path("toy.lp").c_str(), nullptr, back), 0) << takeErrors();
  bool collide = true;
  EXPECT_EQ(qvntest::compareModels(qvntest::lpView(toy(), &collide), back, {true, 1e-15}), "");
  EXPECT_FALSE(collide);

  // no rows: no constraint section
  ModelImage bare = toy();
  bare.numRows = 0;
  bare.sense.clear();
  bare.rhs.clear();
  bare.range.clear();
  bare.rowNames.clear();
  bare.rowIndex.clear();
  bare.value.clear();
  bare.colStart.assign(6, 0);
  EXPECT_EQ(written(bare, "bare.lp").find("Subject To"), std::string::npos);
}

TEST_F(Writers, LpNamesAreRepairedWrappedAndCut) {
  ModelImage m = toy();
  m.colNames.clear();
  const std::string longName(300, 'v');
  for (const char *n : {"e12", "x+y", "a:b", "ok", longName.c_str()}) m.colNames.add(n);
  std::string t = written(m, "names.lp");
  EXPECT_NE(t.find(" _e12 "), std::string::npos) << t;
  EXPECT_NE(t.find(" xpy"), std::string::npos);
  EXPECT_NE(t.find(" a.b"), std::string::npos);
  EXPECT_EQ(t.find(longName), std::string::npos);
  EXPECT_NE(t.find(std::string(255, 'v')), std::string::npos);
  EXPECT_EQ(countOf(takeWarnings(), "Output names have been modified to conform to LP format.\n"), 1);
  t = written(m, "generic.lp", "RLP");
  EXPECT_NE(t.find("Minimize\n obj: x1 - x2 + 0 x3"), std::string::npos) << t;
  EXPECT_EQ(takeWarnings(), "");  // generic names: no repair and no default-name notes

  // a long row wraps below its label, never inside a term
  ModelImage wide;
  wide.numRows = 1;
  wide.sense = {'E'};
  wide.rhs = {1};
  wide.rowNames.add("row");
  wide.hasRowNames = wide.hasColNames = true;
  for (int j = 0; j < 60; ++j) {
    wide.colNames.add(("column" + std::to_string(j)).c_str());
    wide.obj.push_back(0);
    wide.lower.push_back(0);
    wide.upper.push_back(1e20);
    wide.rowIndex.push_back(0);
    wide.value.push_back(j + 0.5);
    wide.colStart.push_back(j + 1);
    ++wide.numCols;
  }
  t = written(wide, "wide.lp");
  std::istringstream lines(t);
  std::string line;
  int continued = 0;
  while (std::getline(lines, line)) {
    EXPECT_LT(line.size(), 80u) << line;
    if (line.rfind("      + ", 0) == 0) ++continued;
  }
  EXPECT_GT(continued, 5);
  ModelImage back;
  ASSERT_EQ(readModelImage(env, path("wide.lp").c_str(), nullptr, back), 0);
  EXPECT_EQ(qvntest::compareModels(wide, back, {true, 1e-15}), "");
}

TEST_F(Writers, MpsTextAndShortNumbers) {
  std::string t = written(toy(), "toy.mps");
  EXPECT_NE(t.find(" L  r4\n"), std::string::npos) << t;  // range -5 on R: written as L
  EXPECT_NE(t.find(" G  r2\n"), std::string::npos);
  EXPECT_NE(t.find("    MARK0000  'MARKER'                 'INTORG'\n"), std::string::npos);
  EXPECT_NE(t.find("    MARK0001  'MARKER'                 'INTEND'\n"), std::string::npos);
  EXPECT_NE(t.find(" LI bnd   x4    "), std::string::npos) << t;
  EXPECT_NE(t.find(" FR bnd   x2\n"), std::string::npos) << t;
  ModelImage back;
  ASSERT_EQ(readModelImage(env, path("toy.mps").c_str(), nullptr, back), 0) << takeErrors();
  // x3 (binary without upper bound) comes back as a binary in [0, 1]: the one
  // difference the format imposes
  ModelImage expected = toy();
  expected.upper[2] = 1.0;
  EXPECT_EQ(qvntest::compareModels(expected, back, {false, 1e-15}), "");
  EXPECT_EQ(back.range[3], -5.0);

  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_MPSLONGNUM, 0), 0);
  t = written(toy(), "short.mps");
  EXPECT_NE(t.find("    x1    cost             1   r1               1\n"), std::string::npos) << t;
  EXPECT_NE(t.find("    x2    r2              -1\n"), std::string::npos) << t;  // odd count ends the line
  EXPECT_NE(t.find("    x4    cost             1   r4               1\n"), std::string::npos) << t;

  ModelImage anonymous = toy();
  anonymous.colNames.clear();
  anonymous.rowNames.clear();
  anonymous.hasColNames = anonymous.hasRowNames = false;
  t = written(anonymous, "anon.mps");
  EXPECT_NE(t.find(" G  c2\n"), std::string::npos);
  const std::string w = takeWarnings();
  EXPECT_NE(w.find("Default column names x1, x2 ... being created.\n"), std::string::npos) << w;
  EXPECT_NE(w.find("Default row    names c1, c2 ... being created.\n"), std::string::npos) << w;
}

TEST_F(Writers, ExtensionsSurviveBothFormats) {
  ModelImage m = toy();
  m.sos.count = 2;
  m.sos.type = {'1', '2'};
  m.sos.start = {0, 2, 4};
  m.sos.member = {0, 1, 1, 3};
  m.sos.weight = {1, 2, 3, 4.5};
  m.sos.names.add("s_a");
  m.sos.names.add("s_b");
  m.sos.hasNames = true;
  m.qRow = {0, 0, 1};
  m.qCol = {0, 1, 0};
  m.qValue = {2, 0.5, 0.5};
  QuadConstraint q;
  q.sense = 'L';
  q.rhs = 7;
  q.linIndex = {1};
  q.linValue = {3};
  q.quadRow = {0};
  q.quadCol = {0};
  q.quadValue = {1};
  m.qconstr.push_back(q);
  m.qconstrNames.add("qc");
  Indicator ind;
  ind.column = 2;
  ind.kind = -3;
  ind.sense = 'G';
  ind.rhs = 1;
  ind.index = {0, 1};
  ind.value = {1, 1};
  m.indicators.push_back(ind);
  m.indicatorNames.add("ind");
  m.lazyRows.count = 1;
  m.lazyRows.sense = {'L'};
  m.lazyRows.rhs = {9};
  m.lazyRows.start = {0, 1};
  m.lazyRows.index = {0};
  m.lazyRows.value = {2};
  m.lazyRows.names.add("lz");
  m.lazyRows.hasNames = true;
  m.upper[2] = 1.0;  // binary with an explicit upper bound, as the readers leave it
  for (const char *type : {"LP", "MPS"}) {
    SCOPED_TRACE(type);
    const std::string file = path(std::string("ext.") + type);
    ASSERT_EQ(writeModelImage(env, m, file.c_str(), type), 0);
    ModelImage back;
    ASSERT_EQ(readModelImage(env, file.c_str(), type, back), 0) << takeErrors();
    ASSERT_EQ(back.sos.count, 2);
    EXPECT_STREQ(back.sos.names.get(1), "s_b");
    EXPECT_EQ(back.sos.type[1], '2');
    EXPECT_EQ(back.sos.weight[3], 4.5);
    ASSERT_EQ(back.qconstr.size(), 1u);
    EXPECT_EQ(back.qconstr[0].rhs, 7.0);
    EXPECT_EQ(back.qconstr[0].quadValue.size(), 1u);
    ASSERT_EQ(back.indicators.size(), 1u);
    EXPECT_EQ(back.indicators[0].kind, -3);
    EXPECT_EQ(back.indicators[0].sense, 'G');
    EXPECT_EQ(back.indicators[0].index.size(), 2u);
    ASSERT_EQ(back.lazyRows.count, 1);
    EXPECT_EQ(back.lazyRows.rhs[0], 9.0);
    double qsum = 0;
    for (double v : back.qValue) qsum += v;
    EXPECT_DOUBLE_EQ(qsum, 3.0);
  }
  // Kind 2 is written "OI"; the reader's table spells it "0I", so it is refused.
  m.indicators[0].kind = 2;
  const std::string file = path("kind2.mps");
  ASSERT_EQ(writeModelImage(env, m, file.c_str(), nullptr), 0);
  ModelImage back;
  EXPECT_EQ(-readModelImage(env, file.c_str(), nullptr, back), 1439);
  takeErrors();
}

} // namespace qvn
