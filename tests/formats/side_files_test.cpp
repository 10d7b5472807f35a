// Priority order, SOS and MIP start files: what a writer puts out reads back
// as the same data, and every malformed file gives its error with the line,
// or its warning, and leaves the problem's data as they were.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "formats/format_test_support.h"
#include "mip/mip_check.h"

namespace qvntest {
namespace {

class SideFiles : public FormatFixture {
protected:
  // max 3a + 2b + 4c + d  s.t.  a + b + c + d <= 3, all binary but d in [0, 5] integer.
  QVNLPptr makeMip(bool named) {
    int status = 0;
    QVNLPptr p = QVNcreateprob(env, &status, "sidemip");
    EXPECT_EQ(status, 0);
    double obj[] = {3, 2, 4, 1}, lo[] = {0, 0, 0, 0}, up[] = {1, 1, 1, 5};
    char ctype[] = {'B', 'B', 'B', 'I'};
    char a[] = "a", b[] = "b", c[] = "c", d[] = "d";
    char *names[] = {a, b, c, d};
    EXPECT_EQ(QVNnewcols(env, p, 4, obj, lo, up, ctype, named ? names : nullptr), 0);
    double rhs[] = {3}, val[] = {1, 1, 1, 1};
    int start[] = {0}, idx[] = {0, 1, 2, 3};
    char sense[] = {'L'};
    EXPECT_EQ(QVNaddrows(env, p, 0, 1, 4, rhs, sense, start, idx, val, nullptr, nullptr), 0);
    EXPECT_EQ(QVNchgobjsen(env, p, QVN_MAX), 0);
    problems.push_back(p);
    return p;
  }
  void TearDown() override {
    for (QVNLPptr &p : problems) QVNfreeprob(env, &p);
    FormatFixture::TearDown();
  }
  std::string fileText(const std::string &name) {
    std::ifstream in(path(name));
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  struct Order {
    std::vector<int> index, priority, direction;
  };
  Order order(QVNLPptr p) {
    Order o;
    int count = 0, surplus = 0;
    QVNgetorder(env, p, &count, nullptr, nullptr, nullptr, 0, &surplus);
    const int n = -surplus;
    o.index.resize(n);
    o.priority.resize(n);
    o.direction.resize(n);
    if (n > 0) { EXPECT_EQ(QVNgetorder(env, p, &count, o.index.data(), o.priority.data(), o.direction.data(), n, &surplus), 0); }
    return o;
  }
  // Solves the netlib model `name`, writes what it found with `write`, reads
  // that into a fresh copy with `read` and solves the copy: it must reach the
  // same optimum. Returns the iterations of the cold solve and of the
  // restart, or -1 when the model is missing or a call failed.
  std::pair<int, int> restart(const std::string &dir, const char *name,
                              int (*write)(QVNCENVptr, QVNCLPptr, const char *),
                              int (*read)(QVNCENVptr, QVNLPptr, const char *), const char *file) {
    const std::string model = dir + "/netlib/" + name + ".mps.gz";
    int status = 0;
    QVNLPptr p = QVNcreateprob(env, &status, name), q = QVNcreateprob(env, &status, name);
    problems.push_back(p);
    problems.push_back(q);
    QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
    double optimum = 0, again = 0;
    if (QVNreadcopyprob(env, p, model.c_str(), nullptr) != 0 || QVNlpopt(env, p) != 0 ||
        QVNgetobjval(env, p, &optimum) != 0 || write(env, p, path(file).c_str()) != 0 ||
        QVNreadcopyprob(env, q, model.c_str(), nullptr) != 0 || read(env, q, path(file).c_str()) != 0 ||
        QVNlpopt(env, q) != 0) {
      ADD_FAILURE() << name << ": a call failed";
      return {-1, -1};
    }
    EXPECT_EQ(QVNgetstat(env, q), QVN_STAT_OPTIMAL) << name;
    QVNgetobjval(env, q, &again);
    EXPECT_NEAR(again, optimum, 1e-9 * std::max(1.0, std::fabs(optimum))) << name;
    return {QVNgetitcnt(env, p), QVNgetitcnt(env, q)};
  }
  // min x + 3y  s.t.  r1: x + y >= 2,  r2: x - y <= 1,  x, y in [0, 10]:
  // the optimum x = 1.5, y = 0.5 has both rows at their bounds.
  QVNLPptr smallLp() {
    int status = 0;
    QVNLPptr p = QVNcreateprob(env, &status, "small");
    problems.push_back(p);
    const std::string lp = writeFile("small.lp", "Minimize\n obj: x + 3 y\nSubject To\n r1: x + y >= 2\n"
                                                 " r2: x - y <= 1\nBounds\n x <= 10\n y <= 10\nEnd\n");
    EXPECT_EQ(QVNreadcopyprob(env, p, lp.c_str(), nullptr), 0);
    return p;
  }
  std::vector<QVNLPptr> problems;
};

TEST_F(SideFiles, OrderFilesRoundTripAndWarnOnLinesTheySkip) {
  QVNLPptr p = makeMip(true);
  int idx[] = {2, 0, 3}, prio[] = {7, 5, 0}, dir[] = {1, -1, 0};
  ASSERT_EQ(QVNcopyorder(env, p, 3, idx, prio, dir), 0);
  ASSERT_EQ(QVNordwrite(env, p, path("p.ord").c_str()), 0);
  const std::string written = fileText("p.ord");
  EXPECT_NE(written.find("NAME          sidemip   Priority Order\n"), std::string::npos);
  EXPECT_NE(written.find(" UP c            7\n"), std::string::npos);
  EXPECT_EQ(written.find(" d "), std::string::npos) << "priority 0 is not written";

  QVNLPptr q = makeMip(true);
  ASSERT_EQ(QVNreadcopyorder(env, q, path("p.ord").c_str()), 0);
  Order back = order(q);
  ASSERT_EQ(back.index.size(), 2u);
  EXPECT_EQ(back.index, (std::vector<int>{2, 0}));
  EXPECT_EQ(back.priority, (std::vector<int>{7, 5}));
  EXPECT_EQ(back.direction, (std::vector<int>{1, -1}));

  // Keys in any case, a line without key, an unknown name, a repeated one.
  writeFile("w.ord", "NAME x\n up a 1\n    b 2\n dN zz 3\n DN a 4\nENDATA\n");
  takeWarnings();
  ASSERT_EQ(QVNreadcopyorder(env, q, path("w.ord").c_str()), 0);
  std::string w = takeWarnings();
  EXPECT_NE(w.find("Warning, line 4: 'zz' is not a variable.\n"), std::string::npos) << w;
  EXPECT_NE(w.find("Warning, line 5: repeated entry for 'a'.\n"), std::string::npos) << w;
  back = order(q);
  EXPECT_EQ(back.index, (std::vector<int>{0, 1}));
  EXPECT_EQ(back.priority, (std::vector<int>{4, 2}));
  EXPECT_EQ(back.direction, (std::vector<int>{-1, 0}));

  // Nothing accepted: a warning, no change; a missing last line: a warning.
  writeFile("none.ord", "NAME\n    zz 1\n");
  takeWarnings();
  EXPECT_EQ(QVNreadcopyorder(env, q, path("none.ord").c_str()), 0);
  w = takeWarnings();
  EXPECT_NE(w.find("Warning: 'ENDATA' missing.\n"), std::string::npos) << w;
  EXPECT_NE(w.find("Warning:  No priority order values read or loaded.\n"), std::string::npos) << w;
  EXPECT_EQ(order(q).priority, (std::vector<int>{4, 2}));

  EXPECT_EQ(QVNordwrite(env, makeMip(true), path("empty.ord").c_str()), QVNERR_NO_ORDER);
  EXPECT_EQ(QVNreadcopyorder(env, q, nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNreadcopyorder(env, nullptr, path("p.ord").c_str()), QVNERR_NO_PROBLEM);
}

TEST_F(SideFiles, WarningsShareOneCounterAndGeneratedNamesMatch) {
  QVNLPptr p = makeMip(false);
  std::string text = "NAME\n";
  for (int k = 0; k < 25; ++k) text += "    nosuch" + std::to_string(k) + " 1\n";
  text += "    x3 9\nENDATA\n";
  writeFile("many.ord", text);
  takeWarnings();
  ASSERT_EQ(QVNreadcopyorder(env, p, path("many.ord").c_str()), 0);
  const std::string w = takeWarnings();
  EXPECT_EQ(countOf(w, "is not a variable"), 20);
  EXPECT_NE(w.find("5 warnings not printed.\n"), std::string::npos) << w;
  Order o = order(p);
  ASSERT_EQ(o.index, (std::vector<int>{2}));
  EXPECT_EQ(o.priority[0], 9);

  ASSERT_EQ(QVNordwrite(env, p, path("gen.ord").c_str()), 0);
  EXPECT_NE(takeWarnings().find("Default variable names x1, x2 ... to be created.\n"), std::string::npos);
  EXPECT_NE(fileText("gen.ord").find("    x3            9\n"), std::string::npos) << fileText("gen.ord");
}

TEST_F(SideFiles, SosFilesRoundTripWithDefaultWeightsAndErrors) {
  QVNLPptr p = makeMip(true);
  char types[] = {'1', '2'};
  int starts[] = {0, 2}, members[] = {0, 1, 1, 2, 3};
  double weights[] = {1, 2, 1.5, 2.5, 3.5};
  char s1[] = "first", s2[] = "second";
  char *names[] = {s1, s2};
  ASSERT_EQ(QVNcopysos(env, p, 2, 5, types, starts, members, weights, names), 0);
  ASSERT_EQ(QVNsoswrite(env, p, path("p.sos").c_str()), 0);

  QVNLPptr q = makeMip(true);
  ASSERT_EQ(QVNreadcopysos(env, q, path("p.sos").c_str()), 0);
  auto sets = [&](QVNLPptr lp, std::vector<int> &st, std::vector<int> &mem, std::vector<double> &wt,
                  std::string &ty) {
    int nz = 0, surplus = 0;
    const int count = QVNgetnumsos(env, lp);
    QVNgetsos(env, lp, &nz, nullptr, nullptr, nullptr, nullptr, 0, &surplus, 0, count - 1);
    const int n = -surplus;
    st.assign(count, 0);
    mem.assign(n, 0);
    wt.assign(n, 0);
    ty.assign(count, ' ');
    ASSERT_EQ(QVNgetsos(env, lp, &nz, ty.data(), st.data(), mem.data(), wt.data(), n, &surplus, 0, count - 1), 0);
  };
  std::vector<int> st, mem;
  std::vector<double> wt;
  std::string ty;
  sets(q, st, mem, wt, ty);
  EXPECT_EQ(ty, "12");
  EXPECT_EQ(st, (std::vector<int>{0, 2}));
  EXPECT_EQ(mem, (std::vector<int>{0, 1, 1, 2, 3}));
  EXPECT_EQ(wt, (std::vector<double>{1, 2, 1.5, 2.5, 3.5}));
  int at = -1;
  EXPECT_EQ(QVNgetsosindex(env, q, "second", &at), 0);
  EXPECT_EQ(at, 1);

  // Weights left out become 1, 2, ...; unknown members are warned of.
  writeFile("w.sos", "NAME\n s1 only\n    c\n    zz 4\n    a\nENDATA\n");
  takeWarnings();
  ASSERT_EQ(QVNreadcopysos(env, q, path("w.sos").c_str()), 0);
  const std::string w = takeWarnings();
  EXPECT_NE(w.find("Warning, line 4: 'zz' is not a variable.\n"), std::string::npos) << w;
  EXPECT_NE(w.find("Default weights 1, 2,... generated for set number 1.\n"), std::string::npos) << w;
  sets(q, st, mem, wt, ty);
  EXPECT_EQ(ty, "1");
  EXPECT_EQ(mem, (std::vector<int>{2, 0}));
  EXPECT_EQ(wt, (std::vector<double>{1, 2}));

  EXPECT_EQ(QVNsoswrite(env, makeMip(true), path("none.sos").c_str()), QVNERR_NO_SOS);
}

TEST_F(SideFiles, MipStartsInTextAndXmlAndTheIncumbentWrittenBack) {
  QVNLPptr p = makeMip(true);
  auto start = [&](QVNLPptr lp) {
    std::vector<std::pair<int, double>> s;
    int count = 0, surplus = 0;
    QVNgetmipstart(env, lp, &count, nullptr, nullptr, 0, &surplus);
    const int n = -surplus;
    std::vector<int> idx(n);
    std::vector<double> val(n);
    if (n > 0) { EXPECT_EQ(QVNgetmipstart(env, lp, &count, idx.data(), val.data(), n, &surplus), 0); }
    for (int k = 0; k < n; ++k) s.emplace_back(idx[k], val[k]);
    return s;
  };
  writeFile("t.mst", "NAME s\n    c 1\n    zz 1\n    d 2\n    c 0\nENDATA\n");
  takeWarnings();
  ASSERT_EQ(QVNreadcopymipstart(env, p, path("t.mst").c_str()), 0);
  std::string w = takeWarnings();
  EXPECT_NE(w.find("Warning, line 3: 'zz' is not a variable.\n"), std::string::npos) << w;
  EXPECT_NE(w.find("Warning, line 5: repeated entry for 'c'.\n"), std::string::npos) << w;
  EXPECT_EQ(start(p), (std::vector<std::pair<int, double>>{{2, 0.0}, {3, 2.0}}));

  writeFile("x.mst",
            "<?xml version = \"1.0\" standalone=\"yes\"?>\n<QUORVANSolution version=\"1.0\">\n"
            " <variables>\n  <variable name=\"a\" index=\"0\" value=\"1\"/>\n"
            "  <variable name=\"nosuch\" value=\"1\"/>\n  <variable index=\"3\" value=\"4\"/>\n"
            "  <variable index=\"9\" value=\"4\"/>\n </variables>\n</QUORVANSolution>\n");
  takeWarnings();
  ASSERT_EQ(QVNreadcopymipstart(env, p, path("x.mst").c_str()), 0);
  w = takeWarnings();
  EXPECT_NE(w.find("Warning, line 5: 'nosuch' is not a variable.\n"), std::string::npos) << w;
  EXPECT_NE(w.find("Warning, line 7: Variable index '9' out of range.\n"), std::string::npos) << w;
  EXPECT_EQ(start(p), (std::vector<std::pair<int, double>>{{0, 1.0}, {3, 4.0}}));

  writeFile("bad.mst", "<QUORVANSolution>\n <variables>\n</QUORVANSolution>\n");
  takeErrors();
  EXPECT_EQ(QVNreadcopymipstart(env, p, path("bad.mst").c_str()), QVNERR_XML_PARSE);
  EXPECT_NE(takeErrors().find("XML parsing error at line 3"), std::string::npos);
  writeFile("bad2.mst", "NAME\n    a\n");
  EXPECT_EQ(QVNreadcopymipstart(env, p, path("bad2.mst").c_str()), QVNERR_WRONG_ENTRY_COUNT);
  EXPECT_EQ(start(p), (std::vector<std::pair<int, double>>{{0, 1.0}, {3, 4.0}}));
  writeFile("empty.mst", "NAME\nENDATA\n");
  takeWarnings();
  EXPECT_EQ(QVNreadcopymipstart(env, p, path("empty.mst").c_str()), 0);
  EXPECT_NE(takeWarnings().find("Warning: no MIP start values read, no MIP start loaded.\n"), std::string::npos);

  // Without an incumbent there is nothing to write; after a run, the written
  // start is the incumbent's integer part and reads back as the same values.
  EXPECT_NE(QVNmstwrite(env, p, path("none.mst").c_str()), 0);
  ASSERT_EQ(QVNmipopt(env, p), 0);
  std::vector<double> x(4);
  ASSERT_EQ(QVNgetx(env, p, x.data(), 0, 3), 0);
  ASSERT_EQ(QVNmstwrite(env, p, path("inc.mst").c_str()), 0);
  QVNLPptr q = makeMip(true);
  ASSERT_EQ(QVNreadcopymipstart(env, q, path("inc.mst").c_str()), 0);
  const auto back = start(q);
  ASSERT_EQ(back.size(), 4u);
  for (int j = 0; j < 4; ++j) {
    EXPECT_EQ(back[j].first, j);
    EXPECT_DOUBLE_EQ(back[j].second, x[j]);
  }
}

// The value of attribute `name` in the element that starts at `from`.
double attribute(const std::string &doc, size_t from, const std::string &name) {
  const size_t end = doc.find("/>", from);
  const size_t at = doc.find(" " + name + "=\"", from);
  if (at == std::string::npos || at > end) return std::nan("");
  return std::atof(doc.c_str() + at + name.size() + 3);
}

TEST_F(SideFiles, SolutionDocumentsCarryTheSolutionAndReadBackAsStarts) {
  // An LP: min x + 2y s.t. x + y >= 2, x - y <= 1, x in [0, 10], y in [0, 10];
  // the optimum x = 1.5, y = 0.5 with duals 1.5 and -0.5, objective 2.5.
  int status = 0;
  QVNLPptr p = QVNcreateprob(env, &status, "a<b");
  problems.push_back(p);
  double obj[] = {1, 2}, lo[] = {0, 0}, up[] = {10, 10}, rhs[] = {2, 1}, val[] = {1, 1, 1, -1};
  int start[] = {0, 2}, idx[] = {0, 1, 0, 1};
  char sense[] = {'G', 'L'};
  char x[] = "x<1>", y[] = "y&\"'", r1[] = "r1", r2[] = "r2";
  char *cols[] = {x, y}, *rows[] = {r1, r2};
  ASSERT_EQ(QVNnewcols(env, p, 2, obj, lo, up, nullptr, cols), 0);
  ASSERT_EQ(QVNaddrows(env, p, 0, 2, 4, rhs, sense, start, idx, val, nullptr, rows), 0);
  EXPECT_EQ(QVNsolwrite(env, p, path("none.sol").c_str()), QVNERR_NO_SOLN);
  ASSERT_EQ(QVNdualopt(env, p), 0);
  ASSERT_EQ(QVNsolwrite(env, p, path("lp.sol").c_str()), 0);
  const std::string doc = fileText("lp.sol");
  EXPECT_EQ(doc.rfind("<?xml version = \"1.0\" standalone=\"yes\"?>\n<QUORVANSolution version=\"1.0\">\n", 0), 0u);
  EXPECT_NE(doc.find("\n   problemName=\"a&lt;b\""), std::string::npos) << doc;
  EXPECT_NE(doc.find("solutionStatusString=\"optimal\""), std::string::npos) << doc;
  EXPECT_NE(doc.find("solutionTypeString=\"basic\""), std::string::npos) << doc;
  EXPECT_NEAR(attribute(doc, doc.find("<header"), "objectiveValue"), 2.5, 1e-12);
  const size_t vx = doc.find("<variable name=\"x&lt;1&gt;\" index=\"0\"");
  const size_t vy = doc.find("<variable name=\"y&amp;&quot;&apos;\" index=\"1\"");
  ASSERT_NE(vx, std::string::npos) << doc;
  ASSERT_NE(vy, std::string::npos) << doc;
  EXPECT_NEAR(attribute(doc, vx, "value"), 1.5, 1e-12);
  EXPECT_NEAR(attribute(doc, vy, "value"), 0.5, 1e-12);
  const size_t c1 = doc.find("<constraint name=\"r1\" index=\"0\"");
  ASSERT_NE(c1, std::string::npos) << doc;
  EXPECT_NEAR(attribute(doc, c1, "dual"), 1.5, 1e-12);
  EXPECT_NEAR(attribute(doc, doc.find("<constraint name=\"r2\""), "dual"), -0.5, 1e-12);
  EXPECT_NEAR(attribute(doc, doc.find("<quality"), "maxPrimalInfeas"), 0.0, 1e-9);

  // A MIP's incumbent, written and read back as the start of a fresh copy:
  // the names with XML's special characters come back unchanged.
  QVNLPptr m = makeMip(true);
  char odd[] = "b<&>";
  char *oddNames[] = {odd};
  int one = 1;
  ASSERT_EQ(QVNchgcolname(env, m, 1, &one, oddNames), 0);
  ASSERT_EQ(QVNmipopt(env, m), 0);
  std::vector<double> xm(4);
  ASSERT_EQ(QVNgetx(env, m, xm.data(), 0, 3), 0);
  ASSERT_EQ(QVNsolwrite(env, m, path("mip.sol").c_str()), 0);
  const std::string mdoc = fileText("mip.sol");
  EXPECT_NE(mdoc.find("MIPNodes=\""), std::string::npos) << mdoc;
  EXPECT_NEAR(attribute(mdoc, mdoc.find("<quality"), "maxIntInfeas"), 0.0, 1e-9);
  QVNLPptr q = makeMip(true);
  ASSERT_EQ(QVNchgcolname(env, q, 1, &one, oddNames), 0);
  ASSERT_EQ(QVNreadcopymipstart(env, q, path("mip.sol").c_str()), 0);
  int count = 0, surplus = 0;
  std::vector<int> si(4);
  std::vector<double> sv(4);
  ASSERT_EQ(QVNgetmipstart(env, q, &count, si.data(), sv.data(), 4, &surplus), 0);
  ASSERT_EQ(count, 4);
  for (int k = 0; k < 4; ++k) EXPECT_DOUBLE_EQ(sv[k], xm[si[k]]);
}

TEST_F(SideFiles, BasisFilesRestartWithoutIterations) {
  const std::string dir = sharedDataDir();
  if (!dir.empty()) {
    // Names with blanks inside (forplan) and ranged rows (boeing1) included.
    for (const char *name : {"afiro", "boeing1", "forplan", "scfxm2", "degen2"})
      EXPECT_EQ(restart(dir, name, QVNmbasewrite, QVNreadcopybase, "opt.bas").second, 0) << name;
    int status = 0;
    QVNLPptr none = QVNcreateprob(env, &status, "none");
    problems.push_back(none);
    ASSERT_EQ(QVNreadcopyprob(env, none, (dir + "/netlib/afiro.mps.gz").c_str(), nullptr), 0);
    EXPECT_EQ(QVNmbasewrite(env, none, path("none.bas").c_str()), QVNERR_NO_BASIS);
  }
  QVNLPptr p = smallLp();
  // Keys in lower case, values and a placeholder behind the names, the row
  // side a >= row has not (its logical's view): still the optimal start.
  writeFile("clp.bas", "NAME          small       VALUES\n xu x  r1  1.5\n XL y  r2  0.5\n UL zz  _dummy_  0.0\nENDATA\n");
  takeWarnings();
  ASSERT_EQ(QVNreadcopybase(env, p, path("clp.bas").c_str()), 0);
  EXPECT_NE(takeWarnings().find("Warning, line 4: 'zz' is not a variable.\n"), std::string::npos);
  ASSERT_EQ(QVNlpopt(env, p), 0);
  EXPECT_EQ(QVNgetitcnt(env, p), 0);
  double z = 0;
  QVNgetobjval(env, p, &z);
  EXPECT_NEAR(z, 1.5 + 3 * 0.5, 1e-12);
  ASSERT_EQ(QVNmbasewrite(env, p, path("small.bas").c_str()), 0);
  const std::string text = fileText("small.bas");
  EXPECT_EQ(text.rfind("NAME          ", 0), 0u);
  EXPECT_NE(text.find(" XU x  r1\n"), std::string::npos) << text;
  EXPECT_NE(text.find(" XL y  r2\n"), std::string::npos) << text;
}

TEST_F(SideFiles, VectorFilesWarmStartTheNextSolve) {
  const std::string dir = sharedDataDir();
  if (!dir.empty()) {
    for (const char *name : {"afiro", "boeing1", "scfxm2", "degen2", "pilot4"}) {
      // The basis built from an optimal vertex needs a fraction of a cold run.
      const auto [cold, warm] = restart(dir, name, QVNvecwrite, QVNreadcopyvec, "opt.vec");
      EXPECT_LE(warm, std::max(3, cold / 3)) << name << " cold " << cold;
    }
    int status = 0;
    QVNLPptr none = QVNcreateprob(env, &status, "none");
    problems.push_back(none);
    ASSERT_EQ(QVNreadcopyprob(env, none, (dir + "/netlib/afiro.mps.gz").c_str(), nullptr), 0);
    EXPECT_EQ(QVNvecwrite(env, none, path("none.vec").c_str()), QVNERR_NO_VECTOR);
  }
  QVNLPptr p = smallLp();
  // Upper-case keys, a line without its dual number, an unknown key and an
  // unknown name: the values still make the optimal start.
  writeFile("hand.vec", "NAME  small\n C  x  1.5  0\n c  y  0.5\n r  r1  0  2\n q  r2  0  0\n c  zz  4  0\n"
                        " r  r2  0  -1\nENDATA\n");
  takeWarnings();
  ASSERT_EQ(QVNreadcopyvec(env, p, path("hand.vec").c_str()), 0);
  const std::string said = takeWarnings();
  EXPECT_EQ(countOf(said, "Warning: No dual values.\n"), 1) << said;
  EXPECT_NE(said.find("Warning, line 5: Unrecognized key 'q'.\n"), std::string::npos) << said;
  EXPECT_NE(said.find("Warning, line 6: 'zz' is not a variable.\n"), std::string::npos) << said;
  ASSERT_EQ(QVNlpopt(env, p), 0);
  EXPECT_LE(QVNgetitcnt(env, p), 1);
  double z = 0;
  QVNgetobjval(env, p, &z);
  EXPECT_NEAR(z, 3.0, 1e-12);
  ASSERT_EQ(QVNvecwrite(env, p, path("small.vec").c_str()), 0);
  const std::string text = fileText("small.vec");
  EXPECT_NE(text.find(" c  x    1.500000000000000e+00"), std::string::npos) << text;
  EXPECT_NE(text.find(" r  r1  "), std::string::npos) << text;
  EXPECT_NE(text.find("ENDATA\n"), std::string::npos) << text;
}

// The read-only forms hand back what the loading forms would load, and leave
// the problem without it.
TEST_F(SideFiles, ReadOnlyFormsReturnTheFileWithoutLoadingIt) {
  QVNLPptr p = makeMip(true);
  int idx[] = {2, 0}, prio[] = {7, 5}, dir[] = {1, -1};
  ASSERT_EQ(QVNcopyorder(env, p, 2, idx, prio, dir), 0);
  ASSERT_EQ(QVNordwrite(env, p, path("p.ord").c_str()), 0);
  char types[] = {'1', '2'};
  int starts[] = {0, 2}, members[] = {0, 1, 1, 2, 3};
  double weights[] = {1, 2, 1.5, 2.5, 3.5};
  ASSERT_EQ(QVNcopysos(env, p, 2, 5, types, starts, members, weights, nullptr), 0);
  ASSERT_EQ(QVNsoswrite(env, p, path("p.sos").c_str()), 0);

  QVNLPptr q = makeMip(true);
  int cnt = 0;
  std::vector<int> oi(4), op(4), od(4);
  ASSERT_EQ(QVNordread(env, q, path("p.ord").c_str(), &cnt, oi.data(), op.data(), od.data()), 0);
  ASSERT_EQ(cnt, 2);
  EXPECT_EQ(oi[0], 2);
  EXPECT_EQ(op[0], 7);
  EXPECT_EQ(od[0], 1);
  EXPECT_EQ(oi[1], 0);
  EXPECT_EQ(od[1], -1);
  EXPECT_TRUE(order(q).index.empty()) << "the order was loaded";

  int numsos = 0, numnz = 0, surplus = 0;
  EXPECT_EQ(QVNsosread(env, q, path("p.sos").c_str(), &numsos, &numnz, nullptr, nullptr, nullptr, nullptr, 0, 0,
                       &surplus), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_EQ(numsos, 2);
  EXPECT_EQ(surplus, -7);
  std::string ty(2, ' ');
  std::vector<int> beg(2), ind(5);
  std::vector<double> wt(5);
  ASSERT_EQ(QVNsosread(env, q, path("p.sos").c_str(), &numsos, &numnz, ty.data(), beg.data(), ind.data(), wt.data(),
                       2, 5, &surplus), 0);
  EXPECT_EQ(surplus, 0);
  EXPECT_EQ(ty, "12");
  EXPECT_EQ(beg, (std::vector<int>{0, 2}));
  EXPECT_EQ(ind, (std::vector<int>{0, 1, 1, 2, 3}));
  EXPECT_EQ(wt, (std::vector<double>{1, 2, 1.5, 2.5, 3.5}));
  EXPECT_EQ(QVNgetnumsos(env, q), 0) << "the sets were loaded";

  // A basis file read into arrays gives the statuses QVNgetbase reports once
  // it is loaded, a ranged row at its far end included.
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "small");
  problems.push_back(lp);
  // r2: -4 <= x - y <= 1, a ranged row.
  const std::string model = writeFile("r.mps", "NAME small\nROWS\n N obj\n G r1\n L r2\nCOLUMNS\n x obj 1 r1 1\n"
                                               " x r2 1\n y obj 3 r1 1\n y r2 -1\nRHS\n rhs r1 2 r2 1\nRANGES\n"
                                               " rng r2 5\nBOUNDS\n UP bnd x 10\n UP bnd y 10\nENDATA\n");
  ASSERT_EQ(QVNreadcopyprob(env, lp, model.c_str(), nullptr), 0);
  writeFile("r.bas", "NAME\n XU x r1\n XU y r2\nENDATA\n");
  int cs[2] = {-1, -1}, rs[2] = {-1, -1};
  ASSERT_EQ(QVNmbaseread(env, lp, path("r.bas").c_str(), cs, rs), 0);
  int gc[2], gr[2];
  EXPECT_EQ(QVNgetbase(env, lp, gc, gr), QVNERR_NO_BASIS) << "the basis was loaded";
  ASSERT_EQ(QVNreadcopybase(env, lp, path("r.bas").c_str()), 0);
  ASSERT_EQ(QVNgetbase(env, lp, gc, gr), 0);
  EXPECT_EQ(std::vector<int>(cs, cs + 2), std::vector<int>(gc, gc + 2));
  EXPECT_EQ(std::vector<int>(rs, rs + 2), std::vector<int>(gr, gr + 2));
  takeErrors();
}

// An LP solution document read back starts the next solve at its basis; a
// MIP's becomes the MIP start.
TEST_F(SideFiles, SolutionDocumentsReadBackAsTheStartOfTheNextSolve) {
  const std::string dir = sharedDataDir();
  if (!dir.empty()) {
    for (const char *name : {"afiro", "boeing1", "scfxm2"})
      EXPECT_EQ(restart(dir, name, QVNsolwrite, QVNreadcopysol, "opt.sol").second, 0) << name;
  }
  QVNLPptr m = makeMip(true);
  ASSERT_EQ(QVNmipopt(env, m), 0);
  std::vector<double> xm(4);
  ASSERT_EQ(QVNgetx(env, m, xm.data(), 0, 3), 0);
  ASSERT_EQ(QVNsolwrite(env, m, path("mip.sol").c_str()), 0);
  QVNLPptr q = makeMip(true);
  ASSERT_EQ(QVNreadcopysol(env, q, path("mip.sol").c_str()), 0);
  int count = 0, surplus = 0;
  std::vector<int> si(4);
  std::vector<double> sv(4);
  ASSERT_EQ(QVNgetmipstart(env, q, &count, si.data(), sv.data(), 4, &surplus), 0);
  ASSERT_EQ(count, 4);
  for (int k = 0; k < 4; ++k) EXPECT_DOUBLE_EQ(sv[k], xm[si[k]]);
  // Malformed XML: the parser's error with its line, and the start unchanged.
  writeFile("bad.sol", "<?xml version=\"1.0\"?>\n<QUORVANSolution>\n<variables>\n<variable name=\"a\" value=\"1\"\n");
  takeErrors();
  EXPECT_EQ(QVNreadcopysol(env, q, path("bad.sol").c_str()), QVNERR_XML_PARSE);
  EXPECT_NE(takeErrors().find("XML parsing error at line"), std::string::npos);
  ASSERT_EQ(QVNgetmipstart(env, q, &count, si.data(), sv.data(), 4, &surplus), 0);
  EXPECT_EQ(count, 4);
}

// What a side-file read may change, taken before and compared after a read
// that failed: the held order, sets, MIP start and basis.
struct HeldState {
  int orderCount = 0, sosCount = 0, startCount = 0, basisStatus = 0;
  std::vector<int> cstat, rstat;
  bool operator==(const HeldState &o) const {
    return orderCount == o.orderCount && sosCount == o.sosCount && startCount == o.startCount &&
           basisStatus == o.basisStatus && cstat == o.cstat && rstat == o.rstat;
  }
};

// Malformed files of every side-file kind, each with its error number and
// text with the line: the read fails, says so, and the problem keeps what it
// held.
TEST_F(SideFiles, MalformedCorpusFailsWithItsErrorAndChangesNothing) {
  QVNLPptr p = makeMip(true);
  int idx[] = {2}, prio[] = {7}, dir[] = {1};
  ASSERT_EQ(QVNcopyorder(env, p, 1, idx, prio, dir), 0);
  char types[] = {'1'};
  int starts[] = {0}, members[] = {0, 1};
  double weights[] = {1, 2};
  ASSERT_EQ(QVNcopysos(env, p, 1, 2, types, starts, members, weights, nullptr), 0);
  int startIdx[] = {0, 3};
  double startVal[] = {1, 2};
  ASSERT_EQ(QVNcopymipstart(env, p, 2, startIdx, startVal), 0);
  auto held = [&]() {
    HeldState h;
    int surplus = 0, nz = 0;
    QVNgetorder(env, p, &h.orderCount, nullptr, nullptr, nullptr, 0, &surplus);
    h.sosCount = QVNgetnumsos(env, p);
    QVNgetsos(env, p, &nz, nullptr, nullptr, nullptr, nullptr, 0, &surplus, 0, h.sosCount - 1);
    h.sosCount = h.sosCount * 100 + nz;
    QVNgetmipstart(env, p, &h.startCount, nullptr, nullptr, 0, &surplus);
    h.cstat.assign(4, -1);
    h.rstat.assign(1, -1);
    h.basisStatus = QVNgetbase(env, p, h.cstat.data(), h.rstat.data());
    return h;
  };
  const HeldState before = held();
  using Reader = int (*)(QVNCENVptr, QVNLPptr, const char *);
  const std::string longLine = " " + std::string(600, 'a') + " 1\n";
  struct Bad {
    Reader read;
    const char *file;
    std::string text;
    int error;
    const char *message;
  } bad[] = {
      // Basis files.
      {QVNreadcopybase, "c.bas", "XU a c1\n", 1441, "Line 1: No NAME section"},
      {QVNreadcopybase, "c.bas", "NAME\n QQ a c1\nENDATA\n", 1551, "Line 2: Unrecognized basis indicator 'QQ'"},
      {QVNreadcopybase, "c.bas", "NAME\n XL a\nENDATA\n", 1553, "Line 2: Wrong number of entries"},
      {QVNreadcopybase, "c.bas", "NAME\n BR c1\nENDATA\n", 1553, "Line 2: Missing basic value"},
      {QVNreadcopybase, "c.bas", "NAME\n BR c1 1.5.5\nENDATA\n", 1434, "Line 2:"},
      {QVNreadcopybase, "c.bas", "NAME\n SC a 0.5\nENDATA\n", 1554, "Superbases are not allowed"},
      {QVNreadcopybase, "c.bas", "NAME\n SR c1 0.5\nENDATA\n", 1554, "Superbases are not allowed"},
      {QVNreadcopybase, "c.bas", "NAME\n" + longLine, 1465, "Line 2:"},
      // Vector files.
      {QVNreadcopyvec, "c.vec", " c a 1 0\n", 1441, "Line 1: No NAME section"},
      {QVNreadcopyvec, "c.vec", "NAME\n c a\nENDATA\n", 1553, "Line 2: Wrong number of entries"},
      {QVNreadcopyvec, "c.vec", "NAME\n r c1 x 0\nENDATA\n", 1434, "Line 2:"},
      {QVNreadcopyvec, "c.vec", "NAME\n c a 1 1e+999\nENDATA\n", 1435, "Line 2:"},
      {QVNreadcopyvec, "c.vec", "NAME\n" + longLine, 1465, "Line 2:"},
      // Priority order files.
      {QVNreadcopyorder, "c.ord", " UP a 5\n", 1441, "Line 1: No NAME section"},
      {QVNreadcopyorder, "c.ord", "NAME\n XX a 5\nENDATA\n", 3012, "Line 2: Unrecognized direction 'XX'"},
      {QVNreadcopyorder, "c.ord", "NAME\n UP a\nENDATA\n", 1553, "Line 2: Wrong number of entries"},
      {QVNreadcopyorder, "c.ord", "NAME\n    a 3000000000\nENDATA\n", 1463,
       "Line 2: Magnitude exceeds integer limit 2100000000"},
      {QVNreadcopyorder, "c.ord", "NAME\n DN b 1e\nENDATA\n", 1434, "Line 2:"},
      {QVNreadcopyorder, "c.ord", "NAME\n" + longLine, 1465, "Line 2:"},
      // SOS files.
      {QVNreadcopysos, "c.sos", " S1 s\n", 1441, "Line 1: No NAME section"},
      {QVNreadcopysos, "c.sos", "NAME\n S3 s\n    a 1\nENDATA\n", 1442, "Line 2: Unrecognized SOS type: S3"},
      {QVNreadcopysos, "c.sos", "NAME\n S\nENDATA\n", 3301, "Line 2: Missing SOS type"},
      {QVNreadcopysos, "c.sos", "NAME\n    a 1\nENDATA\n", 3301, "Line 2: Missing SOS type"},
      {QVNreadcopysos, "c.sos", "NAME\n S1 s\n    a one\nENDATA\n", 1434, "Line 3:"},
      {QVNreadcopysos, "c.sos", "NAME\n S1 x\n    a 1\n    b 1\nENDATA\n", QVNERR_UNIQUE_WEIGHTS,
       "Set does not have unique weights"},
      {QVNreadcopysos, "c.sos", "NAME\n" + longLine, 1465, "Line 2:"},
      // MIP start files, text and XML.
      {QVNreadcopymipstart, "c.mst", " a 1\n", 1441, "Line 1: No NAME section"},
      {QVNreadcopymipstart, "c.mst", "NAME\n a\nENDATA\n", 1553, "Line 2: Wrong number of entries"},
      {QVNreadcopymipstart, "c.mst", "NAME\n a 1..0\nENDATA\n", 1434, "Line 2:"},
      {QVNreadcopymipstart, "c.mst", "NAME\n" + longLine, 1465, "Line 2:"},
      {QVNreadcopymipstart, "c.mst", "<QUORVANSolution>\n<variables>\n<variable name=\"a\" value=\"1\">\n", 1425,
       "XML parsing error at line"},
      {QVNreadcopymipstart, "c.mst", "<QUORVANSolution>\n<variable name=\"a\" value=\"z\"/>\n</QUORVANSolution>\n",
       1434, "Line 2:"},
      {QVNreadcopysol, "c.sol", "<QUORVANSolution>\n<variables>\n</QUORVANSolution>\n", 1425,
       "XML parsing error at line 3"},
  };
  int cases = 0;
  for (const Bad &b : bad) {
    writeFile(b.file, b.text);
    takeErrors();
    EXPECT_EQ(b.read(env, p, path(b.file).c_str()), b.error) << b.text;
    EXPECT_NE(takeErrors().find(b.message), std::string::npos) << b.text;
    EXPECT_TRUE(held() == before) << "a failed read changed the problem: " << b.text;
    ++cases;
  }
  // A file that is not there: the open failure, and nothing changed.
  for (Reader read : {QVNreadcopybase, QVNreadcopyvec, QVNreadcopyorder, QVNreadcopysos, QVNreadcopymipstart,
                      QVNreadcopysol}) {
    takeErrors();
    EXPECT_EQ(read(env, p, path("absent.file").c_str()), QVNERR_FAIL_OPEN_READ);
    EXPECT_TRUE(held() == before);
    ++cases;
  }
  EXPECT_GE(cases, 30);
  takeWarnings();
}

// The incumbent of p0033 written as an XML MIP start (the name asks for the
// form) and as text; the XML one, read into a fresh copy, is that run's first
// incumbent with the start's message, at the published optimum, and the
// independent checker accepts it. A name with `<` and `&` comes back whole.
TEST_F(SideFiles, XmlMipStartOfTheWriterIsTheFirstIncumbentOfTheNextRun) {
  const std::string data = sharedDataDir();
  if (data.empty()) GTEST_SKIP() << "shared test models not present";
  double optimum = 0;
  ASSERT_TRUE(referenceOptimum(data, "p0033", &optimum));
  const std::string model = data + "/miplib3/p0033.mps.gz";
  int status = 0;
  QVNLPptr p = QVNcreateprob(env, &status, "p0033"), q = QVNcreateprob(env, &status, "p0033");
  problems.push_back(p);
  problems.push_back(q);
  ASSERT_EQ(QVNreadcopyprob(env, p, model.c_str(), nullptr), 0);
  ASSERT_EQ(QVNchgname(env, p, 'c', 0, "a<&b"), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1), 0);
  ASSERT_EQ(QVNmipopt(env, p), 0);
  const MipModel m = readMipModel(env, p);
  ASSERT_EQ(checkIncumbentOf(env, p, m), "");
  double first = 0;
  ASSERT_EQ(QVNgetobjval(env, p, &first), 0);
  ASSERT_TRUE(sameObjective(first, optimum)) << first;

  ASSERT_EQ(QVNmstwrite(env, p, path("p0033.xml.mst").c_str()), 0);
  ASSERT_EQ(QVNmstwrite(env, p, path("p0033.mst").c_str()), 0);
  ASSERT_EQ(QVNmstwrite(env, p, path("p0033.xml").c_str()), 0);
  const std::string xml = fileText("p0033.xml.mst");
  EXPECT_EQ(xml.rfind("<?xml", 0), 0u);
  EXPECT_EQ(countOf(xml, "<variable "), QVNgetnumcols(env, p));  // every column is binary
  EXPECT_NE(xml.find("name=\"a&lt;&amp;b\""), std::string::npos);
  EXPECT_EQ(fileText("p0033.mst").rfind("NAME", 0), 0u);
  EXPECT_EQ(fileText("p0033.xml"), xml);

  ASSERT_EQ(QVNreadcopyprob(env, q, model.c_str(), nullptr), 0);
  ASSERT_EQ(QVNchgname(env, q, 'c', 0, "a<&b"), 0);
  ASSERT_EQ(QVNreadcopymipstart(env, q, path("p0033.xml.mst").c_str()), 0);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NODELIM, 0), 0);
  takeResults();
  ASSERT_EQ(QVNmipopt(env, q), 0);
  char text[128];
  std::snprintf(text, sizeof text, "MIP start values provide initial solution with objective %.4f.\n", optimum);
  EXPECT_NE(takeResults().find(text), std::string::npos);
  EXPECT_EQ(checkIncumbentOf(env, q, readMipModel(env, q)), "");
  double again = 0;
  ASSERT_EQ(QVNgetobjval(env, q, &again), 0);
  EXPECT_TRUE(sameObjective(again, optimum)) << again;
}

} // namespace
} // namespace qvntest
