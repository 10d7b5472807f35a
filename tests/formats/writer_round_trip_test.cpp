// A writer either writes a file that its reader takes back as the same model
// (names aside, which a writer may repair or replace by generated ones) or
// refuses with 1650 before it creates the file.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "formats/format_test_support.h"

namespace qvn {

using qvntest::compareRoundTrip;
using qvntest::FormatFixture;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kHuge = std::numeric_limits<double>::infinity();

// One row "r: sum of the columns >= 1" over columns with the given names,
// each with objective 1 and bounds [0, 10].
ModelImage columnsNamed(const std::vector<std::string> &names) {
  ModelImage m;
  m.numRows = 1;
  m.sense = {'G'};
  m.rhs = {1};
  m.rowNames.add("r");
  m.hasRowNames = m.hasColNames = true;
  for (const std::string &n : names) {
    m.colNames.add(n.c_str());
    m.obj.push_back(1.0 + m.numCols);
    m.lower.push_back(0);
    m.upper.push_back(10 + m.numCols);
    m.rowIndex.push_back(0);
    m.value.push_back(2.0 + m.numCols);
    m.colStart.push_back(++m.numCols);
  }
  return m;
}

} // namespace

class WriterRoundTrip : public FormatFixture {
protected:
  // Reads `file` into a fresh problem and solves it: its status must be
  // optimal; the objective value.
  double optimumOf(const std::string &file) {
    SCOPED_TRACE(file);
    int status = 0;
    QVNLPptr lp = QVNcreateprob(env, &status, "optimum");
    double z = NAN;
    EXPECT_EQ(QVNreadcopyprob(env, lp, file.c_str(), nullptr), 0);
    EXPECT_EQ(QVNlpopt(env, lp), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_OPTIMAL);
    EXPECT_EQ(QVNgetobjval(env, lp, &z), 0);
    EXPECT_EQ(QVNfreeprob(env, &lp), 0);
    return z;
  }
  // Writes `m` in `type`, reads it back and compares; the status of the write.
  int roundTrip(const ModelImage &m, const char *type, ModelImage *back = nullptr, double tolerance = 1e-14) {
    const std::string file = path(std::string("model.") + type);
    std::filesystem::remove(file);
    const int status = writeModelImage(env, m, file.c_str(), type);
    if (status != 0) {
      EXPECT_FALSE(std::filesystem::exists(file)) << "a refused model leaves no file";
      return status < 0 ? -status : status;
    }
    ModelImage local;
    ModelImage &read = back ? *back : local;
    EXPECT_EQ(readModelImage(env, file.c_str(), type, read), 0) << takeErrors();
    EXPECT_EQ(compareRoundTrip(m, read, std::string(type) == "LP", tolerance), "");
    return 0;
  }
};

TEST_F(WriterRoundTrip, NumbersTheReadersCannotTakeBackAreRefused) {
  // A NaN objective coefficient was written as an implicit 1, and the write succeeded.
  ModelImage m = columnsNamed({"a", "b"});
  m.obj[1] = kNan;
  for (const char *type : {"LP", "MPS"}) EXPECT_EQ(roundTrip(m, type), 1650) << type;
  EXPECT_NE(takeErrors().find("Number not representable"), std::string::npos);
  EXPECT_NE(takeWarnings().find("Warning:  Objective coefficient of column 'b' (nan) cannot be written in LP format.\n"),
            std::string::npos);

  // 1e300 and infinity as coefficients have no text the readers take (their
  // exponent limit is 37); 1e-38 would come back as 0.
  for (double bad : {1e300, -kHuge, 1e38, 1e-38, 5e-324}) {
    m = columnsNamed({"a", "b"});
    m.value[0] = bad;
    for (const char *type : {"LP", "MPS"}) EXPECT_EQ(roundTrip(m, type), 1650) << type << " " << bad;
    m = columnsNamed({"a", "b"});
    m.rhs[0] = bad;
    for (const char *type : {"LP", "MPS"}) EXPECT_EQ(roundTrip(m, type), 1650) << type << " " << bad;
  }
  // As bounds, 1e300 and infinity are infinite: written as such, read back as 1e20.
  m = columnsNamed({"a", "b"});
  m.upper[0] = 1e300;
  m.lower[1] = -kHuge;
  m.upper[1] = kHuge;
  for (const char *type : {"LP", "MPS"}) {
    ModelImage back;
    EXPECT_EQ(roundTrip(m, type, &back), 0) << type;
    EXPECT_EQ(back.upper[0], 1e20) << type;
    EXPECT_EQ(back.lower[1], -1e20) << type;
  }
  // A finite bound that prints as 1e+20 would come back infinite; a NaN bound has no text.
  for (double bad : {99999999999999990000.0, kNan}) {
    m = columnsNamed({"a"});
    m.upper[0] = bad;
    for (const char *type : {"LP", "MPS"}) EXPECT_EQ(roundTrip(m, type), 1650) << type;
  }
  // The largest exponent the readers take, and the smallest.
  m = columnsNamed({"a", "b"});
  m.value = {1e37, 1e-37};
  m.obj = {-2.5e36, 3e-37};
  for (const char *type : {"LP", "MPS"}) EXPECT_EQ(roundTrip(m, type), 0) << type;
  takeErrors();
  takeWarnings();
}

TEST_F(WriterRoundTrip, AnObjectiveOffsetIsRefusedByBothWriters) {
  // Neither format has a place for a constant: the LP writer dropped it.
  QVNLPptr lp = nullptr;
  int status = 0;
  lp = QVNcreateprob(env, &status, "offset");
  ASSERT_NE(lp, nullptr);
  const double obj = 1, lower = 0, upper = 4;
  ASSERT_EQ(QVNnewcols(env, lp, 1, &obj, &lower, &upper, nullptr, nullptr), 0);
  ASSERT_EQ(QVNchgobjoffset(env, lp, 5.0), 0);
  EXPECT_EQ(QVNlpwrite(env, lp, path("offset.lp").c_str()), 1650);
  EXPECT_EQ(QVNmpswrite(env, lp, path("offset.mps").c_str()), 1650);
  EXPECT_FALSE(std::filesystem::exists(path("offset.lp")));
  EXPECT_NE(takeWarnings().find("Warning:  Objective offset (5) cannot be written in LP format.\n"), std::string::npos);
  // Without the offset the same problem is written.
  ASSERT_EQ(QVNchgobjoffset(env, lp, 0.0), 0);
  EXPECT_EQ(QVNlpwrite(env, lp, path("offset.lp").c_str()), 0);
  EXPECT_EQ(QVNfreeprob(env, &lp), 0);
  takeErrors();
}

TEST_F(WriterRoundTrip, LpNamesThatWouldMergeBecomeGeneratedNames) {
  const std::string longA = std::string(255, 'n') + "a", longB = std::string(255, 'n') + "b";
  const std::vector<std::vector<std::string>> cases = {
      {"x 1", "x_1"},       // equal once repaired
      {"dup", "dup"},       // equal as given
      {longA, longB},       // equal in the 255 characters the reader keeps
      {"e1", "_e1"},        // the repair puts '_' in front of "e1"
      {"inf", "x"},         // "inf >= 3" reads as a value in a bound line
      {"a\x7f", "a"},       // the reader drops code 127
  };
  for (const auto &names : cases) {
    SCOPED_TRACE(names[0]);
    ModelImage m = columnsNamed(names);
    m.lower[0] = 3;  // a bound line for the first column
    ModelImage back;
    EXPECT_EQ(roundTrip(m, "LP", &back), 0);
    EXPECT_EQ(back.numCols, 2);
    EXPECT_NE(takeWarnings().find("Default variable names x1, x2 ... being created.\n"), std::string::npos);
  }
  // An integer column called "end" alone in its type section would end the file.
  ModelImage m = columnsNamed({"end"});
  m.ctype = {'I'};
  EXPECT_EQ(roundTrip(m, "LP"), 0);
  // Two ranged rows of one name have range columns of one name.
  m = columnsNamed({"a"});
  m.numRows = 2;
  m.sense = {'R', 'R'};
  m.rhs = {1, 2};
  m.range = {3, -4};
  m.rowNames.add("r");
  m.rowIndex = {0, 1};
  m.value = {1, 1};
  m.colStart = {0, 2};
  ModelImage back;
  EXPECT_EQ(roundTrip(m, "LP", &back), 0);
  EXPECT_EQ(back.numCols, 3);
  // Names that merely need the repair keep it, as before.
  m = columnsNamed({"x+y", "a:b"});
  ASSERT_EQ(roundTrip(m, "LP", &back), 0);
  EXPECT_GE(qvntest::columnNamed(back, "xpy"), 0);
  takeWarnings();
}

TEST_F(WriterRoundTrip, MpsNamesItsReaderRefusesBecomeGeneratedNames) {
  const std::vector<std::vector<std::string>> cases = {
      {"has space", "b"}, {"", "b"}, {"dup", "dup"}, {"$comment", "b"}, {"tab\there", "b"},
      {std::string(255, 'n') + "a", std::string(255, 'n') + "b"}};
  for (const auto &names : cases) {
    SCOPED_TRACE(names[0]);
    ModelImage m = columnsNamed(names);
    ModelImage back;
    EXPECT_EQ(roundTrip(m, "MPS", &back), 0);
    ASSERT_EQ(back.numCols, 2);
    EXPECT_STREQ(back.colNames.get(0), "x1");
    EXPECT_NE(takeWarnings().find("Default column names x1, x2 ... being created.\n"), std::string::npos);
  }
  // Rows: a blank, a repeat, a row named like the marker word, a row named
  // like the objective.
  for (const char *row : {"r 2", "r", "'MARKER'"}) {
    SCOPED_TRACE(row);
    ModelImage m = columnsNamed({"a", "b"});
    m.numRows = 2;
    m.sense = {'G', 'L'};
    m.rhs = {1, 5};
    m.rowNames.add(row);
    m.rowIndex = {0, 1, 1};
    m.value = {1, 1, 1};
    m.colStart = {0, 2, 3};
    ModelImage back;
    EXPECT_EQ(roundTrip(m, "MPS", &back), 0);
    ASSERT_EQ(back.numRows, 2);
    EXPECT_STREQ(back.rowNames.get(1), "c2");
  }
  ModelImage m = columnsNamed({"a"});
  m.rowNames.clear();
  m.rowNames.add("obj");
  ModelImage back;
  EXPECT_EQ(roundTrip(m, "MPS", &back), 0);
  ASSERT_EQ(back.numRows, 1);
  EXPECT_STREQ(back.rowNames.get(0), "obj");  // the objective row took another name
  // Short numbers, two entries a line, would make lines of long names longer
  // than the reader takes.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_MPSLONGNUM, 0), 0);
  m = columnsNamed({std::string(200, 'c')});
  m.rowNames.clear();
  m.rowNames.add(std::string(200, 'r').c_str());
  EXPECT_EQ(roundTrip(m, "MPS"), 0);
  takeWarnings();
}

TEST_F(WriterRoundTrip, AColumnSeenOnlyInZeroQEntriesKeepsItsPlace) {
  // "b" has no objective coefficient and no matrix entry, and its Q entries are 0.
  ModelImage m = columnsNamed({"a", "b"});
  m.obj[1] = 0;
  m.value.pop_back();
  m.colStart = {0, 1, 1};
  m.upper[1] = 7;
  m.qRow = {1, 0, 1};
  m.qCol = {1, 1, 0};
  m.qValue = {0, 0, 0};
  ModelImage back;
  EXPECT_EQ(roundTrip(m, "LP", &back), 0);
  EXPECT_EQ(back.numCols, 2);
  m.qValue = {0, 1.5, 1.5};
  EXPECT_EQ(roundTrip(m, "LP", &back), 0);
}

TEST_F(WriterRoundTrip, ABoundOf1e19SurvivesConversionWithItsOptimum) {
  // min -x + y, x - y >= 0, x <= 1e19: the optimum is -1e19 at x = 1e19, y = 0.
  const std::string lpFile = writeFile("big.lp",
                                       "Minimize\n obj: - x + y\nSubject To\n c1: x - y >= 0\n"
                                       "Bounds\n x <= 1e19\nEnd\n");
  ModelImage fromLp, fromMps;
  ASSERT_EQ(readModelImage(env, lpFile.c_str(), nullptr, fromLp), 0);
  ASSERT_EQ(writeModelImage(env, fromLp, path("big.mps").c_str(), nullptr), 0);
  ASSERT_EQ(readModelImage(env, path("big.mps").c_str(), nullptr, fromMps), 0);
  ASSERT_EQ(fromMps.numCols, 2);
  EXPECT_EQ(fromMps.upper[0], 1e19);
  for (const std::string &file : {lpFile, path("big.mps")}) EXPECT_EQ(optimumOf(file), -1e19) << file;
  // At 1e20 and beyond a bound is infinite in every reader.
  ModelImage m;
  ASSERT_EQ(readText("inf.mps",
                     "NAME\nROWS\n N obj\nCOLUMNS\n x obj 1\n y obj 1\nBOUNDS\n UP bnd x 1e20\n"
                     " MI bnd y\n UP bnd y 5e19\nENDATA\n",
                     m),
            0);
  EXPECT_EQ(m.upper[0], 1e20);
  EXPECT_EQ(m.lower[1], -1e20);
  EXPECT_EQ(m.upper[1], 5e19);
  takeWarnings();
  takeResults();
}

TEST_F(WriterRoundTrip, ForplanKeepsItsColumnsAndOptimumThroughLp) {
  const std::string dir = qvntest::sharedDataDir();
  const std::string file = dir + "/netlib/forplan.mps.gz";
  if (dir.empty() || !std::filesystem::exists(file)) GTEST_SKIP() << "shared data absent";
  ModelImage original, back;
  ASSERT_EQ(readModelImage(env, file.c_str(), nullptr, original), 0);
  ASSERT_EQ(writeModelImage(env, original, path("forplan.lp").c_str(), nullptr), 0);
  ASSERT_EQ(readModelImage(env, path("forplan.lp").c_str(), nullptr, back), 0);
  int ranged = 0;
  for (char s : original.sense) ranged += s == 'R';
  EXPECT_EQ(back.numCols, 421 + ranged);
  EXPECT_EQ(compareRoundTrip(original, back, true), "");
  // The optimum of the reference list, from the original and from the LP file.
  const double reference = qvntest::referenceOptima("netlib").at("forplan");
  for (const std::string &model : {file, path("forplan.lp")})
    EXPECT_NEAR(optimumOf(model), reference, 1e-6 * std::fabs(reference)) << model;
  takeWarnings();
  takeResults();
}

namespace {

// Values with what each writer can do with them: as a coefficient, a
// right-hand side or an MPS range (`asValue`), and as a bound or an LP range
// (`asBound`).
struct Sample {
  double value;
  bool asValue, asBound;
};

const Sample kSamples[] = {
    {0, true, true},          {1, true, true},          {-1, true, true},
    {1.00000000000001, true, true}, {0.1, true, true},  {-1.0 / 3, true, true},
    {1e-7, true, true},       {1e-30, true, true},      {2.5e36, true, true},
    {1e37, true, true},       {1e19, true, true},       {-1e18, true, true},
    {1e17, true, true},       {123456.789, true, true}, {1e20, true, true},
    {-1e20, true, true},      {1e300, false, true},     {-kHuge, false, true},
    {kHuge, false, true},     {1e38, false, true},      {kNan, false, false},
    {1e-38, false, false},    {5e-324, false, false},   {99999999999999990000.0, true, false},
};
constexpr int kSampleCount = static_cast<int>(sizeof kSamples / sizeof kSamples[0]);
constexpr int kFirstAwkward = 16;  // samples from here on are refused somewhere

const char *const kNames[] = {"x",  "x1", "x 1", "x_1", "",     " ",       "e1",    "_e1", "inf", "INF",
                              "end", "bin", "$a", "'MARKER'", "S1", "a:b", "[x]",   "x+y", "obj", "Rgr1",
                              "r1", "c1", "a\tb", "a\x7f", "\xc3\xa9t\xc3\xa9", "-x", "3x", "a|b", "\xff"};
constexpr int kNameCount = static_cast<int>(sizeof kNames / sizeof kNames[0]);

struct Random {
  uint32_t s;
  int below(int n) {
    s = s * 1103515245u + 12345u;
    return static_cast<int>((s >> 16) % static_cast<uint32_t>(n));
  }
};

// The sample a value was drawn from.
const Sample &sampleOf(double v) {
  for (const Sample &s : kSamples)
    if (s.value == v || (std::isnan(s.value) && std::isnan(v))) return s;
  static const Sample plain{0, true, true};
  return plain;
}

struct Drawn {
  ModelImage model;
  bool lpRefuses = false, mpsRefuses = false;
};

Drawn draw(Random &r) {
  Drawn d;
  ModelImage &m = d.model;
  // mostly plain numbers, now and then an awkward one
  auto value = [&] { return kSamples[r.below(8) == 0 ? r.below(kSampleCount) : r.below(kFirstAwkward)].value; };
  auto name = [&](char prefix, int i) {
    if (r.below(3) != 0) return std::string(1, prefix) + std::to_string(i + 1);
    if (r.below(10) == 0) return std::string(250 + r.below(10), 'n') + std::to_string(r.below(3));
    return std::string(kNames[r.below(kNameCount)]);
  };
  m.objSense = r.below(2) ? 1 : -1;
  m.numCols = 1 + r.below(7);
  m.numRows = r.below(6);
  m.hasColNames = r.below(5) != 0;
  m.hasRowNames = r.below(5) != 0;
  if (r.below(6) == 0) m.objName.add(name('o', 0).c_str());
  const bool mip = r.below(3) == 0;
  for (int i = 0; i < m.numRows; ++i) {
    const char senses[] = {'L', 'G', 'E', 'R'};
    m.sense.push_back(senses[r.below(4)]);
    m.rhs.push_back(value());
    if (m.hasRowNames) m.rowNames.add(name('r', i).c_str());
  }
  if (std::find(m.sense.begin(), m.sense.end(), 'R') != m.sense.end())
    for (int i = 0; i < m.numRows; ++i) m.range.push_back(m.sense[i] == 'R' ? value() : 0.0);
  for (int j = 0; j < m.numCols; ++j) {
    if (m.hasColNames) m.colNames.add(name('y', j).c_str());
    m.obj.push_back(r.below(3) ? value() : 0.0);
    const bool integer = mip && r.below(2);
    if (mip) m.ctype.push_back(integer ? 'I' : 'C');
    double bound[2];
    for (double &b : bound) {
      // integer columns keep integral bounds: the MPS reader makes [0, 1] binary
      static const double kIntegral[] = {0, -5, 3, 1e19, -1e20, 1e20, 0};
      b = integer ? kIntegral[r.below(7)] : value();
    }
    if (r.below(4) != 0) {  // mostly the default bounds or ordered ones
      bound[0] = r.below(2) ? 0.0 : std::min(bound[0], bound[1]);
      bound[1] = r.below(2) ? 1e20 : std::max(bound[0], bound[1]);
    }
    m.lower.push_back(bound[0]);
    m.upper.push_back(bound[1]);
    for (int i = 0; i < m.numRows; ++i)
      if (r.below(2)) {
        m.rowIndex.push_back(i);
        m.value.push_back(value());
      }
    m.colStart.push_back(static_cast<int>(m.rowIndex.size()));
  }
  if (r.below(4) == 0) {  // a quadratic objective over distinct pairs, both triangles
    for (int k = 0, pairs = 1 + r.below(3); k < pairs; ++k) {
      const int a = r.below(m.numCols), b = r.below(m.numCols);
      bool seen = false;
      for (size_t t = 0; t < m.qRow.size(); ++t) seen |= m.qRow[t] == a && m.qCol[t] == b;
      if (seen) continue;
      const double v = value();
      m.qRow.push_back(a);
      m.qCol.push_back(b);
      m.qValue.push_back(v);
      if (a == b) continue;
      m.qRow.push_back(b);
      m.qCol.push_back(a);
      m.qValue.push_back(v);
    }
  }
  if (r.below(5) == 0) {  // sets of distinct members with distinct weights
    for (int set = 0, sets = 1 + r.below(2); set < sets; ++set) {
      const int first = r.below(m.numCols), size = 1 + r.below(m.numCols - first);
      const double scale[] = {1, 0.1, 123456.789};
      const double step = scale[r.below(3)];
      const std::string setName = "s" + std::to_string(set + 1);
      m.sos.open(r.below(2) ? '1' : '2', setName.c_str(), setName.size());
      for (int k = 0; k < size; ++k) m.sos.addMember(first + k, (k + 1) * step);
    }
  }
  if (r.below(20) == 0) m.objConstant = 2.5;

  // What must be refused, by the labels of the samples placed.
  auto asValue = [&](double v) {
    d.lpRefuses |= !sampleOf(v).asValue;
    d.mpsRefuses |= !sampleOf(v).asValue;
  };
  auto asBound = [&](double v) {
    d.lpRefuses |= !sampleOf(v).asBound;
    d.mpsRefuses |= !sampleOf(v).asBound;
  };
  for (double v : m.obj) asValue(v);
  for (double v : m.value) asValue(v);
  for (double v : m.rhs) asValue(v);
  for (double v : m.qValue) asValue(v);  // LP doubles the off-diagonal ones: 2e37 still reads
  for (double v : m.lower) asBound(v);
  for (double v : m.upper) asBound(v);
  for (int i = 0; i < static_cast<int>(m.range.size()); ++i) {
    // LP writes a range as the bound of its range column, MPS as a number
    d.lpRefuses |= !sampleOf(m.range[i]).asBound;
    d.mpsRefuses |= !sampleOf(m.range[i]).asValue;
  }
  if (m.objConstant != 0.0) d.lpRefuses = d.mpsRefuses = true;
  return d;
}

} // namespace

TEST_F(WriterRoundTrip, RandomAwkwardModelsComeBackOrAreRefused) {
  Random r{20261123u};
  int written = 0, refused = 0;
  for (int round = 0; round < 300; ++round) {
    const Drawn d = draw(r);
    // MPS in both number forms: the short one keeps 10 or 11 digits
    for (int form = 0; form < 3; ++form) {
      const char *type = form == 0 ? "LP" : "MPS";
      SCOPED_TRACE(std::string(type) + (form == 2 ? " short" : "") + " model " + std::to_string(round));
      ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_MPSLONGNUM, form == 2 ? 0 : 1), 0);
      const bool refuses = form == 0 ? d.lpRefuses : d.mpsRefuses;
      const int status = roundTrip(d.model, type, nullptr, form == 2 ? 1e-9 : 1e-14);
      EXPECT_EQ(status, refuses ? 1650 : 0);
      (status == 0 ? written : refused) += 1;
      if (HasFailure()) return;
    }
    takeErrors();
    takeWarnings();
    takeResults();
  }
  // both outcomes occur often enough to mean something
  EXPECT_GT(written, 300);
  EXPECT_GT(refused, 100);
}

} // namespace qvn
