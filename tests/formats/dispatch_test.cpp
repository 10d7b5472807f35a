// The exported entry points: format choice by type word, name and first
// bytes, compressed files, and what a read puts into the problem.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "formats/format_test_support.h"
#include "model/problem.h"

namespace qvn {

using qvntest::FormatFixture;

class Dispatch : public FormatFixture {
protected:
  void SetUp() override {
    FormatFixture::SetUp();
    int status = 0;
    lp = QVNcreateprob(env, &status, "p");
    ASSERT_EQ(status, 0);
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    FormatFixture::TearDown();
  }
  std::string head(const std::string &file, size_t n) {
    std::ifstream in(file, std::ios::binary);
    std::string s(n, '\0');
    in.read(s.data(), static_cast<std::streamsize>(n));
    return s;
  }
  QVNLPptr lp = nullptr;
};

namespace {
const char *kLp = "\\ lp\nMaximize\n obj: 2 x + 3 y - z\nSubject To\n c1: x + y + z <= 4\n c2: x - y >= -2\n"
                  "Bounds\n z <= 7\nGenerals\n y\nEnd\n";
const char *kMps = "NAME m\nROWS\n N cost\n L c1\nCOLUMNS\n x cost 1 c1 2\nRHS\n rhs c1 3\nENDATA\n";
} // namespace

TEST_F(Dispatch, ReadChoosesTheFormat) {
  // by extension, installing names, sense, types and the problem name
  const std::string lpFile = writeFile("model.lp", kLp);
  ASSERT_EQ(QVNreadcopyprob(env, lp, lpFile.c_str(), nullptr), 0) << takeErrors();
  EXPECT_EQ(QVNgetnumrows(env, lp), 2);
  EXPECT_EQ(QVNgetnumcols(env, lp), 3);
  EXPECT_EQ(QVNgetnumnz(env, lp), 5);
  EXPECT_EQ(QVNgetobjsen(env, lp), QVN_MAX);
  EXPECT_EQ(QVNgetprobtype(env, lp), 1);
  const LpData &d = *lp->lpData;
  EXPECT_EQ(std::string(d.probName), lpFile);
  EXPECT_STREQ(d.objName, "obj");
  EXPECT_STREQ(d.colNames.name(1), "y");
  EXPECT_STREQ(d.rowNames.name(1), "c2");
  EXPECT_EQ(d.ctype[1], 'I');
  EXPECT_EQ(d.upperBound[2], 7.0);
  EXPECT_EQ(d.objCoef[2], -1.0);

  // type word in any case wins over the name
  const std::string dat = writeFile("model.dat", kMps);
  EXPECT_EQ(QVNreadcopyprob(env, lp, dat.c_str(), "mps"), 0);
  EXPECT_EQ(QVNgetnumcols(env, lp), 1);
  EXPECT_EQ(QVNgetprobtype(env, lp), 0);
  EXPECT_EQ(QVNreadcopyprob(env, lp, writeFile("upper.lp", kLp).c_str(), "lp"), 0);
  EXPECT_EQ(QVNgetnumcols(env, lp), 3);

  // the first byte decides when the name does not
  EXPECT_EQ(QVNreadcopyprob(env, lp, writeFile("star.txt", std::string("* c\n") + kMps).c_str(), nullptr), 0);
  EXPECT_EQ(QVNgetnumcols(env, lp), 1);
  EXPECT_EQ(QVNreadcopyprob(env, lp, writeFile("blank.txt", std::string(" ") + kLp).c_str(), nullptr), 0);
  EXPECT_EQ(QVNgetnumcols(env, lp), 3);
  EXPECT_EQ(QVNreadcopyprob(env, lp, writeFile("other.txt", "x").c_str(), nullptr), QVNERR_BAD_FILETYPE);
  EXPECT_EQ(QVNreadcopyprob(env, lp, writeFile("m.sav", "x").c_str(), nullptr), QVNERR_BAD_FILETYPE);
  for (const char *word : {"SAV", "net", "MIN"})
    EXPECT_EQ(QVNreadcopyprob(env, lp, lpFile.c_str(), word), QVNERR_BAD_FILETYPE) << word;
  EXPECT_EQ(QVNreadcopyprob(env, lp, path("absent.mps").c_str(), nullptr), QVNERR_FAIL_OPEN_READ);
  EXPECT_EQ(qvntest::countOf(takeErrors(), "Could not open file"), 1);
  // a name without its extension is tried with the reader's one
  writeFile("bare.mps", kMps);
  EXPECT_EQ(QVNreadcopyprob(env, lp, path("bare").c_str(), "MPS"), 0) << takeErrors();
  EXPECT_EQ(QVNgetnumcols(env, lp), 1);
  EXPECT_EQ(QVNreadcopyprob(env, lp, path("missing").c_str(), "LP"), QVNERR_FAIL_OPEN_READ);
  const std::string twice = takeErrors();
  EXPECT_EQ(qvntest::countOf(twice, "Could not open file"), 2) << twice;
  EXPECT_NE(twice.find("missing.lp'"), std::string::npos) << twice;
  EXPECT_EQ(QVNreadcopyprob(env, lp, lpFile.c_str(), nullptr), 0);
  EXPECT_EQ(QVNreadcopyprob(env, lp, nullptr, nullptr), QVNERR_NULL_POINTER);
  EXPECT_EQ(QVNreadcopyprob(nullptr, lp, lpFile.c_str(), nullptr), QVNERR_NO_ENVIRONMENT);
  EXPECT_EQ(QVNreadcopyprob(env, nullptr, lpFile.c_str(), nullptr), QVNERR_NO_PROBLEM);
  EXPECT_EQ(QVNgetnumcols(env, lp), 3);  // failed reads changed nothing
  takeErrors();
}

TEST_F(Dispatch, WriteChoosesTheWriterAndCompresses) {
  ASSERT_EQ(QVNreadcopyprob(env, lp, writeFile("model.lp", kLp).c_str(), nullptr), 0);
  ModelImage before;
  ASSERT_EQ(imageFromProblem(env, lp, before), 0);

  EXPECT_EQ(QVNwriteprob(env, lp, path("out.txt").c_str(), nullptr), QVNERR_BAD_FILETYPE);
  EXPECT_EQ(QVNwriteprob(env, lp, path("out.lp").c_str(), "LONG"), QVNERR_BAD_FILETYPE);
  EXPECT_EQ(QVNwriteprob(env, lp, path("out.lp").c_str(), "sav"), QVNERR_BAD_FILETYPE);
  EXPECT_EQ(QVNwriteprob(env, lp, "", nullptr), QVNERR_NO_FILENAME_GIVEN);
  EXPECT_EQ(QVNwriteprob(env, lp, nullptr, "LP"), QVNERR_NO_FILENAME_GIVEN);
  EXPECT_EQ(QVNwriteprob(env, lp, (dir + "/no/such/dir/x.lp").c_str(), nullptr), QVNERR_FAIL_OPEN_WRITE);
  EXPECT_NE(takeErrors().find("Could not open file"), std::string::npos);

  struct Case {
    const char *name, *type, *start;
  } cases[] = {{"a.mps", nullptr, "NAME"},      {"b.lp", nullptr, "\\Problem"}, {"c.rlp", nullptr, "\\Problem"},
               {"d.out", "RMP", "NAME"},         {"e.mps.gz", nullptr, "\x1f\x8b"},
               {"f.lp.bz2", nullptr, "BZh"},     {"g.gz", "LP", "\x1f\x8b"},
               {"it's h.mps.Z", nullptr, "\x1f\x8b"}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.name);
    const std::string file = path(c.name);
    ASSERT_EQ(QVNwriteprob(env, lp, file.c_str(), c.type), 0) << takeErrors();
    EXPECT_EQ(head(file, std::strlen(c.start)), c.start);
    QVNLPptr other = nullptr;
    int status = 0;
    other = QVNcreateprob(env, &status, "other");
    // "g.gz" is read without a type word: its uncompressed first byte decides
    const char *readType = c.type && c.type[0] == 'R' ? "MPS" : std::string(c.name) == "g.gz" ? nullptr : c.type;
    ASSERT_EQ(QVNreadcopyprob(env, other, file.c_str(), readType), 0) << takeErrors();
    ModelImage after;
    ASSERT_EQ(imageFromProblem(env, other, after), 0);
    const bool generic = std::string(c.name) == "c.rlp" || (c.type && c.type[0] == 'R');
    if (!generic) {
      EXPECT_EQ(qvntest::compareModels(before, after, {true, 1e-15}), "");
    }
    EXPECT_EQ(after.numNonzeros(), 5);
    QVNfreeprob(env, &other);
  }
  EXPECT_EQ(QVNmpswrite(env, lp, path("x.mps").c_str()), 0);
  EXPECT_EQ(QVNlpwrite(env, lp, path("x.lp").c_str()), 0);
  EXPECT_EQ(QVNlprewrite(env, lp, "") , QVNERR_NO_FILENAME_GIVEN);
  EXPECT_EQ(QVNmpsrewrite(env, nullptr, path("y.mps").c_str()), QVNERR_NO_PROBLEM);
  takeErrors();
}

} // namespace qvn

namespace qvn {

// Every allocation of a read (and of a write) fails in turn: the call answers
// 1001, the problem keeps its model and no block is left behind.
TEST_F(Dispatch, AllocationFailuresLeaveTheProblemAlone) {
  const std::string files[] = {
      writeFile("f.lp", std::string(kLp) + "\n"),
      writeFile("f.mps", "NAME f\nROWS\n N obj\n L c1\n G c2\nCOLUMNS\n M 'MARKER' 'INTORG'\n x obj 1 c1 1\n"
                         " M 'MARKER' 'INTEND'\n y c1 2 c2 1\nRHS\n rhs c1 4 c2 1\nRANGES\n r c1 2\nBOUNDS\n"
                         " UP b x 4\nQUADOBJ\n x x 2\n x y 1\nSOS\n S1 s\n x 1\n y 2\nENDATA\n")};
  for (const std::string &file : files) {
    SCOPED_TRACE(file);
    const std::string base = writeFile("base.lp", "Maximize\n obj: a + b\nst\n c: a + b <= 1\nEnd\n");
    ASSERT_EQ(QVNreadcopyprob(env, lp, base.c_str(), nullptr), 0);
    int failures = 0, status = -1;
    for (long n = 1; n < 5000; ++n) {
      const long live = allocLive();
      allocFailAfter(n);
      status = QVNreadcopyprob(env, lp, file.c_str(), nullptr);
      allocFailAfter(0);
      if (status == 0) break;
      ++failures;
      ASSERT_EQ(status, QVNERR_NO_MEMORY) << n;
      EXPECT_EQ(allocLive(), live) << n;
      EXPECT_EQ(QVNgetnumcols(env, lp), 2) << n;
      EXPECT_EQ(QVNgetnumnz(env, lp), 2) << n;
      EXPECT_EQ(QVNgetobjsen(env, lp), QVN_MAX) << n;
    }
    EXPECT_GT(failures, 10);
    EXPECT_EQ(status, 0);
    takeErrors();
    takeWarnings();
  }
  // Writers: 1001 or a complete file, and nothing left behind.
  for (const char *out : {"w.lp", "w.mps.gz"}) {
    const std::string target = path(out);
    for (long n = 1; n < 5000; ++n) {
      const long live = allocLive();
      allocFailAfter(n);
      const int status = QVNwriteprob(env, lp, target.c_str(), nullptr);
      allocFailAfter(0);
      if (status == 0) break;
      ASSERT_EQ(status, QVNERR_NO_MEMORY) << out << " " << n;
      EXPECT_EQ(allocLive(), live) << out << " " << n;
    }
    ModelImage written;
    EXPECT_EQ(readModelImage(env, target.c_str(), nullptr, written), 0) << out;
  }
  takeErrors();
}

} // namespace qvn
