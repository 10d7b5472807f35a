#include <gtest/gtest.h>

#include <string>

#include "formats/format_test_support.h"

namespace qvn {

using qvntest::countOf;
using qvntest::FormatFixture;

class MpsReader : public FormatFixture {};

namespace {
int col(const ModelImage &m, const char *name) { return qvntest::columnNamed(m, name); }
double coef(const ModelImage &m, int j, int i) {
  for (int k = m.colStart[j]; k < m.colStart[j + 1]; ++k)
    if (m.rowIndex[k] == i) return m.value[k];
  return 0.0;
}
} // namespace

TEST_F(MpsReader, CoreSectionsRangesAndBounds) {
  const char *text =
      "* a comment line\n"
      "NAME          TESTMPS\n"
      "OBJSENSE\n"
      "    MAX\n"
      "ROWS\n"
      " N  COST\n"
      " L  LIM1\n"
      " G  LIM2\n"
      " E  MYEQN\n"
      " N  FREE2\n"
      " E  EQR\n"
      "COLUMNS\n"
      "    MARKER                 'MARKER'                 'INTORG'\n"
      "    X1        COST         1.0   LIM1         1.0\n"
      "    X1        LIM2         1.0\n"
      "    MARKER                 'MARKER'                 'INTEND'\n"
      "    X2        COST         2.0   LIM1         1.0\n"
      "    X2        MYEQN       -1.0   FREE2        3.0\n"
      "    X3        COST        -1.0   MYEQN        1.0\n"
      "    X3        EQR          1d0\n"
      "    X4        LIM2         2.5\n"
      "    X5        COST         0\n"
      "RHS\n"
      "    RHS       COST         7.0\n"
      "    RHS       LIM1         4.0   LIM2         1.0\n"
      "    RHS       MYEQN        7.0   EQR          2\n"
      "RANGES\n"
      "    RNG       LIM1         2.5   LIM2        -3.0\n"
      "    RNG       MYEQN       -4.0   EQR          5\n"
      "BOUNDS\n"
      " UP BND       X1           4.0\n"
      " MI BND       X2\n"
      " UP BND       X2           1.0\n"
      " LO BND       X3          -2\n"
      " UP BND       X3           1e30\n"
      " FX BND       X4           3.5\n"
      " FR BND       X5\n"
      "ENDATA\n";
  ModelImage m;
  ASSERT_EQ(readText("core.mps", text, m), 0) << takeErrors();
  EXPECT_EQ(m.objSense, -1);
  EXPECT_STREQ(m.probName.get(0), "TESTMPS");
  EXPECT_STREQ(m.objName.get(0), "COST");
  ASSERT_EQ(m.numRows, 4);
  ASSERT_EQ(m.numCols, 5);
  EXPECT_EQ(m.numNonzeros(), 7);
  EXPECT_STREQ(m.rowNames.get(3), "EQR");
  // ranges by the row's sense: L keeps its rhs as the top, G as the bottom
  EXPECT_EQ(std::string(m.sense.begin(), m.sense.end()), "RRRR");
  EXPECT_EQ(m.rhs[0], 4.0);
  EXPECT_EQ(m.range[0], -2.5);
  EXPECT_EQ(m.range[1], 3.0);
  EXPECT_EQ(m.range[2], -4.0);
  EXPECT_EQ(m.range[3], 5.0);
  EXPECT_EQ(m.obj[0], 1.0);
  EXPECT_EQ(m.obj[1], 2.0);
  EXPECT_EQ(m.obj[2], -1.0);
  EXPECT_EQ(coef(m, 2, 3), 1.0);
  EXPECT_EQ(coef(m, 3, 1), 2.5);
  EXPECT_EQ(m.colStart[5] - m.colStart[4], 0);
  ASSERT_EQ(m.ctype.size(), 5u);
  EXPECT_EQ(m.ctype[0], 'I');  // between the markers with an upper bound of 4
  EXPECT_EQ(m.upper[0], 4.0);
  EXPECT_EQ(m.lower[1], -1e20);
  EXPECT_EQ(m.upper[1], 1.0);
  EXPECT_EQ(m.lower[2], -2.0);
  EXPECT_EQ(m.upper[2], 1e20);
  EXPECT_EQ(m.lower[3], 3.5);
  EXPECT_EQ(m.upper[3], 3.5);
  EXPECT_EQ(m.lower[4], -1e20);
  const std::string w = takeWarnings();
  EXPECT_EQ(countOf(w, "OBJ coefficient in RHS section ignored"), 1) << w;
  const std::string r = takeResults();
  EXPECT_NE(r.find("Selected objective  name:  COST  [1 free row deleted]\n"), std::string::npos) << r;
  EXPECT_NE(r.find("Specified objective sense: MAXIMIZE\n"), std::string::npos);
  EXPECT_NE(r.find("Selected RHS        name:  RHS\n"), std::string::npos) << r;
}

TEST_F(MpsReader, BoundRulesForIntegersAndNegativeUppers) {
  const std::string head =
      "NAME\nROWS\n N obj\n L c1\nCOLUMNS\n MARKER 'MARKER' 'INTORG'\n b1 c1 1\n b2 c1 1\n b3 c1 1\n"
      " MARKER 'MARKER' 'INTEND'\n y1 c1 1\n y2 c1 1\n y3 c1 1\nRHS\n rhs c1 1\nBOUNDS\n";
  ModelImage m;
  ASSERT_EQ(readText("b.mps",
                     head + " UP bnd b1 1\n UP bnd b2 5\n UP bnd y1 -1\n UP bnd y2 0\n MI bnd y3\n"
                            " UP other y1 7\n LO other y2 3\nENDATA\n",
                     m),
            0)
      << takeErrors();
  EXPECT_EQ(std::string(m.ctype.begin(), m.ctype.end()), "BIBCCC");
  EXPECT_EQ(m.upper[0], 1.0);
  EXPECT_EQ(m.upper[1], 5.0);
  EXPECT_EQ(m.upper[2], 1.0);  // no bound line: binary
  EXPECT_EQ(m.lower[3], -1e20);
  EXPECT_EQ(m.upper[3], -1.0);
  EXPECT_EQ(m.lower[4], 0.0);
  EXPECT_EQ(m.upper[4], 0.0);
  EXPECT_EQ(m.lower[5], -1e20);
  EXPECT_EQ(m.upper[5], 1e20);
  const std::string w = takeWarnings();
  EXPECT_NE(w.find("Lower bound on column 'y1' in bound 'bnd'\n          changed to minus infinity.\n"),
            std::string::npos) << w;
  EXPECT_NE(w.find("Column 'y2' in bound 'bnd' is Fixed."), std::string::npos);
  EXPECT_NE(w.find("Column 'y3' in bound 'bnd' is Free."), std::string::npos);
  EXPECT_EQ(countOf(w, "More than one bound set specified. Only the first set is used."), 1);

  // prior bounds forbid BV, FX and FR; a bound twice is refused
  const struct {
    const char *lines;
    int error;
    const char *where;
  } faults[] = {{" UP bnd y1 1\n BV bnd y1\n", 1456, "Line 18:"}, {" LO bnd y1 1\n FX bnd y1 2\n", 1454, "Line 18:"},
                {" UP bnd y1 1\n FR bnd y1\n", 1455, "Line 18:"}, {" UP bnd y1 1\n UP bnd y1 2\n", 1458, "Line 18:"},
                {" LO bnd y1 1\n MI bnd y1\n", 1459, "Line 18:"}, {" XX bnd y1 1\n", 1457, "Line 17:"},
                {" UP bnd nope 1\n", 1449, "Line 17:"}};
  for (const auto &f : faults) {
    ModelImage bad;
    EXPECT_EQ(readText("bad.mps", head + f.lines + "ENDATA\n", bad), f.error) << f.lines;
    EXPECT_EQ(bad.numCols, 0);
    const std::string e = takeErrors();
    EXPECT_NE(e.find(f.where), std::string::npos) << e;
  }
}

TEST_F(MpsReader, ExtensionSections) {
  const char *text =
      "NAME ext\nROWS\n N obj\n L c1\n G c2\n L qc\n E ind\nLAZYCONS\n L lz\nUSERCUTS\n G uc\n"
      "COLUMNS\n x c1 1 c2 1\n x qc 1 lz 1\n x uc 4\n y c1 1 ind 1\n z obj 1 ind 1\n z qc 2\n"
      "RHS\n rhs c1 10 qc 5\n rhs ind 1 lz 3\n rhs uc -2\n"
      "BOUNDS\n SC bnd y 8\n UP bnd z 1\n"
      "QUADOBJ\n x x 2\n x y 1\n"
      "QCMATRIX qc\n x x 1\n y y 1\n"
      "SOS\n S1 set1\n x 1\n y 2\n S2\n y 1\n z 0\n"
      "INDICATORS\n IF ind z 1\n"
      "ENDATA\n";
  ModelImage m;
  ASSERT_EQ(readText("ext.mps", text, m), 0) << takeErrors();
  ASSERT_EQ(m.numRows, 2);
  EXPECT_STREQ(m.rowNames.get(1), "c2");
  EXPECT_EQ(m.numNonzeros(), 3);
  ASSERT_EQ(m.qconstr.size(), 1u);
  const QuadConstraint &q = m.qconstr[0];
  EXPECT_STREQ(m.qconstrNames.get(0), "qc");
  EXPECT_EQ(q.sense, 'L');
  EXPECT_EQ(q.rhs, 5.0);
  ASSERT_EQ(q.linIndex.size(), 2u);
  EXPECT_EQ(q.linValue[1], 2.0);
  EXPECT_EQ(q.quadValue.size(), 2u);
  ASSERT_EQ(m.indicators.size(), 1u);
  EXPECT_EQ(m.indicators[0].column, 2);
  EXPECT_EQ(m.indicators[0].kind, 1);
  EXPECT_EQ(m.indicators[0].rhs, 1.0);
  EXPECT_EQ(m.indicators[0].index.size(), 2u);
  ASSERT_EQ(m.lazyRows.count, 1);
  EXPECT_EQ(m.lazyRows.rhs[0], 3.0);
  ASSERT_EQ(m.userCuts.count, 1);
  EXPECT_EQ(m.userCuts.rhs[0], -2.0);
  EXPECT_EQ(m.userCuts.value[0], 4.0);
  // QUADOBJ gives one triangle: the mirror of (x, y) is added
  EXPECT_EQ(m.qValue.size(), 3u);
  ASSERT_EQ(m.sos.count, 2);
  EXPECT_EQ(m.sos.type[0], '1');
  EXPECT_EQ(m.sos.type[1], '2');
  EXPECT_STREQ(m.sos.names.get(0), "set1");
  EXPECT_STREQ(m.sos.names.get(1), "s2");
  EXPECT_EQ(m.sos.weight[1], 2.0);
  EXPECT_EQ(m.ctype[1], 'S');
  EXPECT_EQ(m.lower[1], 1.0);  // semi-continuous without a lower bound
  EXPECT_EQ(m.ctype[2], 'B');  // an indicator column becomes binary
  EXPECT_NE(takeWarnings().find("Lower bound of 1.0 assumed for semi-continuous column"), std::string::npos);
}

TEST_F(MpsReader, LongNamesFixedLayoutAndFreeFields) {
  std::string rows, cols;
  for (int i = 0; i < 25; ++i) {
    const std::string name = std::string(290, 'r') + std::to_string(i);
    rows += " L " + std::string(200, 'a') + std::to_string(i) + std::string(100, 'b') + "\n";
    (void)name;
  }
  ModelImage m;
  EXPECT_EQ(readText("long.mps", "NAME\nROWS\n N obj\n" + rows + "COLUMNS\n x obj 1\nENDATA\n", m), 0)
      << takeErrors();
  EXPECT_EQ(m.numRows, 25);
  EXPECT_EQ(std::string(m.rowNames.get(0)).size(), 255u);
  const std::string w = takeWarnings();
  EXPECT_EQ(countOf(w, "' truncated.\n"), 20);
  EXPECT_NE(w.find("5 truncation warning messages not printed.\n"), std::string::npos);
  EXPECT_NE(w.find("Warning, line 4:  '"), std::string::npos);

  // Fixed columns with blanks inside names, as older files have them.
  auto at = [](std::initializer_list<std::pair<int, const char *>> fields) {
    std::string line;
    for (const auto &[column, text] : fields) {
      line.resize(static_cast<size_t>(column - 1), ' ');
      line += text;
    }
    return line + "\n";
  };
  const std::string fixed =
      "NAME          FIXED\nROWS\n N  COST\n E  ROW 1R\n L  ROW 2R\nCOLUMNS\n" +
      at({{5, "COL 1"}, {15, "COST"}, {25, "1.0"}, {40, "ROW 1R"}, {50, "2.0"}}) +
      at({{5, "COL 1"}, {15, "ROW 2R"}, {25, "3.0"}}) + "RHS\n" + at({{15, "ROW 1R"}, {25, "4.0"}}) +
      "BOUNDS\n" + at({{2, "UP"}, {15, "COL 1"}, {25, "9.0"}}) + "ENDATA\n";
  ModelImage f;
  ASSERT_EQ(readText("fixed.mps", fixed, f), 0) << takeErrors();
  ASSERT_EQ(f.numRows, 2);
  EXPECT_STREQ(f.rowNames.get(1), "ROW 2R");
  EXPECT_STREQ(f.colNames.get(0), "COL 1");
  EXPECT_EQ(f.rhs[0], 4.0);
  EXPECT_EQ(f.upper[0], 9.0);
  EXPECT_EQ(coef(f, col(f, "COL 1"), 1), 3.0);
  takeWarnings();

  // Free fields: tabs, no RHS set name, a '$' comment field, empty number.
  ModelImage g;
  ASSERT_EQ(readText("free.mps", "NAME\nROWS\n\tN\tobj\n E c1\nCOLUMNS\n x\tobj\t-1 $ comment\n x c1\nRHS\n c1 2\nENDATA", g),
            0)
      << takeErrors();
  EXPECT_EQ(g.obj[0], -1.0);
  EXPECT_EQ(g.rhs[0], 2.0);
  const std::string w2 = takeWarnings();
  EXPECT_NE(w2.find("Empty numeric fields read as zeros."), std::string::npos);
  EXPECT_EQ(w2.find("'ENDATA' missing"), std::string::npos);  // the last line needs no line feed
  EXPECT_NE(w2.find("Blank RHS name changed to 'rhs'"), std::string::npos);
}

} // namespace qvn
