#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "formats/format_test_support.h"

namespace qvn {

using qvntest::countOf;
using qvntest::FormatFixture;

class LpReader : public FormatFixture {};

namespace {
int col(const ModelImage &m, const char *name) { return qvntest::columnNamed(m, name); }
// Coefficient of column `name` in row i, NAN when absent.
double coef(const ModelImage &m, const char *name, int i) {
  const int j = col(m, name);
  if (j < 0) return NAN;
  for (int k = m.colStart[j]; k < m.colStart[j + 1]; ++k)
    if (m.rowIndex[k] == i) return m.value[k];
  return NAN;
}
} // namespace

TEST_F(LpReader, AllSections) {
  const char *text =
      "\\ a comment\n"
      "Maximize\n"
      " profit: 3 x + 2 y - z + [ x ^ 2 + 2 x * y ] / 2\n"
      "Subject To\n"
      " c1: x + y + z + g + i1 + s <= 10\n"
      " c2: 2 x\n"
      "   - y >= -5 \\ continued over lines\n"
      " c3: x + y = 4\n"
      " -x1 + -x2 >= -8\n"
      " c5: x - x + w >= 1\n"
      " ind1: b = 1 -> x + y <= 3\n"
      " qc1: x + [ x ^ 2 + y ^ 2 ] <= 9\n"
      "Lazy Constraints\n"
      " lz: x + z <= 7\n"
      "User Cuts\n"
      " uc: y + z >= 1\n"
      "Bounds\n"
      " x <= 5\n"
      " -inf <= y <= 8\n"
      " z free\n"
      " 0 <= b <= 1\n"
      " 2 <= g\n"
      " s <= 10\n"
      " w = 3\n"
      "Generals\n"
      " g\n"
      "Binaries\n"
      " b\n"
      "Integer\n"
      " i1\n"
      "Semi-Continuous\n"
      " s\n"
      "SOS\n"
      " set1: S1 :: x : 1 y : 2\n"
      " S2 :: y:1 z:2\n"
      "End\n";
  ModelImage m;
  ASSERT_EQ(readText("all.lp", text, m), 0) << takeErrors();
  EXPECT_EQ(takeWarnings(), "");
  EXPECT_EQ(m.objSense, -1);
  EXPECT_STREQ(m.objName.get(0), "profit");
  EXPECT_EQ(m.obj[col(m, "x")], 3.0);
  EXPECT_EQ(m.obj[col(m, "z")], -1.0);
  ASSERT_EQ(m.qValue.size(), 3u);  // x*x, and x*y split over both triangles
  ASSERT_EQ(m.numRows, 5);
  EXPECT_STREQ(m.rowNames.get(3), "c4");
  EXPECT_EQ(std::string(m.sense.begin(), m.sense.end()), "LGEGG");
  EXPECT_EQ(coef(m, "y", 1), -1.0);
  EXPECT_EQ(m.rhs[1], -5.0);
  EXPECT_EQ(coef(m, "x2", 3), -1.0);
  EXPECT_EQ(coef(m, "x", 4), 0.0);  // x - x: summed, the zero stays
  ASSERT_EQ(m.indicators.size(), 1u);
  EXPECT_STREQ(m.indicatorNames.get(0), "ind1");
  EXPECT_EQ(m.indicators[0].column, col(m, "b"));
  EXPECT_EQ(m.indicators[0].kind, 1);
  EXPECT_EQ(m.indicators[0].sense, 'L');
  EXPECT_EQ(m.indicators[0].rhs, 3.0);
  ASSERT_EQ(m.qconstr.size(), 1u);
  EXPECT_EQ(m.qconstr[0].quadValue.size(), 2u);
  EXPECT_EQ(m.lazyRows.count, 1);
  EXPECT_EQ(m.userCuts.count, 1);
  EXPECT_EQ(m.userCuts.sense[0], 'G');
  const int x = col(m, "x"), y = col(m, "y"), z = col(m, "z"), b = col(m, "b"), g = col(m, "g"),
            i1 = col(m, "i1"), s = col(m, "s"), w = col(m, "w");
  EXPECT_EQ(m.upper[x], 5.0);
  EXPECT_EQ(m.lower[y], -1e20);
  EXPECT_EQ(m.upper[y], 8.0);
  EXPECT_EQ(m.lower[z], -1e20);
  EXPECT_EQ(m.upper[z], 1e20);
  EXPECT_EQ(m.lower[w], 3.0);
  EXPECT_EQ(m.upper[w], 3.0);
  ASSERT_FALSE(m.ctype.empty());
  EXPECT_EQ(m.ctype[b], 'B');
  EXPECT_EQ(m.ctype[g], 'I');
  EXPECT_EQ(m.lower[g], 2.0);
  EXPECT_EQ(m.upper[g], 1e20);  // GENERAL keeps an infinite upper bound
  EXPECT_EQ(m.ctype[i1], 'B');  // INTEGER without bounds: binary
  EXPECT_EQ(m.upper[i1], 1.0);
  EXPECT_EQ(m.ctype[s], 'S');
  ASSERT_EQ(m.sos.count, 2);
  EXPECT_STREQ(m.sos.names.get(0), "set1");
  EXPECT_STREQ(m.sos.names.get(1), "s2");
  EXPECT_EQ(m.sos.type[1], '2');
  EXPECT_EQ(m.sos.weight[3], 2.0);
}

TEST_F(LpReader, KeywordsLinesAndTerms) {
  ModelImage a, b;
  ASSERT_EQ(readText("a.lp", "Maximize\n obj: x\nSubject To\n c: x <= 1\nEnd\n", a), 0);
  ASSERT_EQ(readText("b.lp", "maximize obj: x\nst c: x <= 1\nend", b), 0);  // End without line feed
  EXPECT_EQ(qvntest::compareModels(a, b, {}), "");
  EXPECT_EQ(takeWarnings(), "");

  ModelImage m;
  EXPECT_EQ(readText("min.lp", "Min\n x\nEnd\n", m), 0);
  EXPECT_EQ(readText("minimum.lp", "Minimum\n x\nEnd\n", m), 1436);
  EXPECT_EQ(readText("colon.lp", "min: x\nEnd\n", m), 1436);
  EXPECT_EQ(readText("subjectto.lp", "Min\n x\nSUBJECTTO\n x >= 1\nEnd\n", m), 1607);
  takeErrors();

  // a column called end; a line holding only end closes the file
  ASSERT_EQ(readText("end.lp", "Min\n obj: x + end\nSubject To\n end + x >= 2\nEnd\n junk that is never read !!\n", m), 0);
  EXPECT_EQ(m.numCols, 2);
  EXPECT_EQ(m.numNonzeros(), 2);

  // blanks vanish inside a line: 2 e + 3 y is the number 2e+3 times y; 3ex is 3 times ex
  ASSERT_EQ(readText("e.lp", "Min\n 2 e + 3 y + 3ex\nEnd\n", m), 0);
  EXPECT_EQ(m.obj[col(m, "y")], 2000.0);
  EXPECT_EQ(m.obj[col(m, "ex")], 3.0);

  // a sign at one line's end and another at the next line's start
  EXPECT_EQ(readText("signs.lp", "Min\n obj: x +\n + y\nEnd\n", m), 1602);
  EXPECT_NE(takeErrors().find("Lines 2,3: Adjacent signs"), std::string::npos);

  // the rhs is one number; what stands behind it is dropped with a warning
  ASSERT_EQ(readText("rhs.lp", "Min\n x + y\nst\n r: 3 x >= 2 y\nEnd\n", m), 0);
  EXPECT_EQ(m.rhs[0], 2.0);
  EXPECT_EQ(m.numNonzeros(), 1);
  EXPECT_NE(takeWarnings().find("Warning, line 4: Characters after RHS value are ignored.\n"), std::string::npos);

  // an unfinished row before a keyword is dropped
  ASSERT_EQ(readText("unfinished.lp", "Min\n x + y\nst\n r1: x >= 1\n r2: x + y >=\nBounds\n x <= 4\nEnd\n", m), 0);
  EXPECT_EQ(m.numRows, 1);
  EXPECT_NE(takeWarnings().find("Unfinished constraint is discarded"), std::string::npos);

  // an overlong line is fine when it has a sign in reach, fatal without
  std::string longRow = "Min\n obj:";
  for (int k = 0; k < 400; ++k) longRow += " + 2 x" + std::to_string(k);
  ASSERT_EQ(readText("longrow.lp", longRow + "\nEnd\n", m), 0) << takeErrors();
  EXPECT_EQ(m.numCols, 400);
  EXPECT_EQ(readText("noend.lp", "Minimize\n obj: x1\nSubject To\n c: x1 >= 2", m), 1464);
  EXPECT_NE(takeErrors().find("Line 4: Identifier/name too long to process"), std::string::npos);
  EXPECT_EQ(readText("noend2.lp", "Minimize\n obj: x1\nSubject To\n c: x1 >= 2\n", m), 0);
  EXPECT_NE(takeWarnings().find("Warning: 'End' missing.\n"), std::string::npos);

  // repeated row names are warnings only
  ASSERT_EQ(readText("dup.lp", "Min\n x\nst\n c1: x >= 1\n c1: x <= 4\nEnd\n", m), 0);
  EXPECT_NE(takeWarnings().find("Row 'c1' repeats.\n"), std::string::npos);
}

TEST_F(LpReader, BoundsTypesAndQuadraticRules) {
  const std::string head = "Min\n x1 + x + xx + b1 + b2\nSubject To\n c: x1 + x >= 0\nBounds\n";
  ModelImage m;
  ASSERT_EQ(readText("bnd.lp", head + " x1 <= -5\n x free\n xxfree\n 0 <= b1 <= 1\n b2 <= 2\n nope <= 3\n"
                                      "Binaries\n b1 b2\nEnd\n", m), 0)
      << takeErrors();
  EXPECT_EQ(m.lower[col(m, "x1")], 0.0);  // a negative upper bound leaves the lower one alone
  EXPECT_EQ(m.upper[col(m, "x1")], -5.0);
  EXPECT_EQ(m.lower[col(m, "x")], -1e20);
  EXPECT_EQ(m.lower[col(m, "xx")], -1e20);
  EXPECT_EQ(m.upper[col(m, "b2")], 2.0);
  std::string w = takeWarnings();
  EXPECT_EQ(countOf(w, "Binary variables declared with bounds other than 0 and 1"), 1) << w;
  EXPECT_NE(w.find("Warning, line 11: Name 'nope' does not exist.\n"), std::string::npos) << w;

  EXPECT_EQ(readText("b1.lp", head + " x1 5\nEnd\n", m), 1621);
  EXPECT_EQ(readText("b2.lp", head + " x1 <=\nEnd\n", m), 1623);
  EXPECT_EQ(readText("b3.lp", head + " x1 <= 1e99\nEnd\n", m), 1435);
  EXPECT_EQ(readText("b4.lp", head + " x1 <= 1.2.3\nEnd\n", m), 1434);
  takeErrors();

  ASSERT_EQ(readText("dep.lp", "Min\n obj: [ x ^ 2 ]\nst\n c: x >= 1\nEnd\n", m), 0);
  EXPECT_NE(takeWarnings().find("Deprecated format, expecting '] / 2'"), std::string::npos);
  EXPECT_EQ(readText("div.lp", "Min\n obj: [ x ^ 2 ] / 3\nEnd\n", m), 1619);
  EXPECT_EQ(readText("exp.lp", "Min\n obj: [ x ^ 3 ] / 2\nEnd\n", m), 1613);
  EXPECT_EQ(readText("qeq.lp", "Min\n obj: x\nst\n q: [ x ^ 2 ] = 1\nEnd\n", m), 1437);
  EXPECT_EQ(readText("qcut.lp", "Min\n obj: x\nUser Cuts\n q: [ x ^ 2 ] <= 1\nEnd\n", m), 1605);
  EXPECT_EQ(readText("ind.lp", "Min\n obj: x + b\nst\n i: b = 2 -> x <= 1\nEnd\n", m), 1439);
  EXPECT_EQ(readText("sense.lp", "Min\n obj: x >= 2\nEnd\n", m), 1603);
  EXPECT_EQ(readText("ident.lp", "Min\n obj: x + 3 *\nEnd\n", m), 1616);
  takeErrors();
}

} // namespace qvn
