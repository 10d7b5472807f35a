// Damaged model files: each gives its error with the right line number (or
// the expected warning), never a crash, and leaves the target problem as it
// was.
#include <bzlib.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>

#include "formats/format_test_support.h"

namespace qvn {

using qvntest::FormatFixture;

class Malformed : public FormatFixture {
protected:
  void SetUp() override {
    FormatFixture::SetUp();
    int status = 0;
    lp = QVNcreateprob(env, &status, "kept");
    ASSERT_EQ(status, 0);
    reset();
  }
  // max x + y  s.t.  x + 2 y <= 4 ; x in [0, 3]
  void reset() {
    const double obj[2] = {1, 1}, rhs[1] = {4}, lb[2] = {0, 0}, ub[2] = {3, 1e20}, val[2] = {1, 2};
    const int beg[2] = {0, 1}, cnt[2] = {1, 1}, ind[2] = {0, 0};
    ASSERT_EQ(QVNcopylp(env, lp, 2, 1, QVN_MAX, obj, rhs, "L", beg, cnt, ind, val, lb, ub, nullptr), 0);
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    FormatFixture::TearDown();
  }
  // Reads `content` into the problem; expects `error` (0: a clean read with the
  // warning `expect`) and, for a failure, `expect` in the error text and an
  // unchanged problem.
  void check(const std::string &name, const std::string &content, int error, const std::string &expect) {
    SCOPED_TRACE(name);
    const std::string p = writeFile(name, content);
    EXPECT_EQ(QVNreadcopyprob(env, lp, p.c_str(), nullptr), error);
    const std::string errorText = takeErrors(), warningText = takeWarnings();
    takeResults();
    if (error != 0) {
      EXPECT_NE(errorText.find(expect), std::string::npos) << errorText;
      EXPECT_EQ(QVNgetnumrows(env, lp), 1);
      EXPECT_EQ(QVNgetnumcols(env, lp), 2);
      EXPECT_EQ(QVNgetnumnz(env, lp), 2);
      EXPECT_EQ(QVNgetobjsen(env, lp), QVN_MAX);
    } else {
      EXPECT_NE(warningText.find(expect), std::string::npos) << warningText;
      reset();
    }
  }
  QVNLPptr lp = nullptr;
};

TEST_F(Malformed, MpsFiles) {
  const std::string rows = "NAME t\nROWS\n N obj\n L c1\n";
  const std::string cols = "COLUMNS\n x obj 1 c1 1\n y c1 2\n";
  check("noname.mps", "ROWS\n N obj\n", 1441, "Line 1: No NAME section");
  check("norows.mps", "NAME\nCOLUMNS\n x obj 1\n", 1471, "Line 2: No ROWS section");
  check("nocols.mps", rows + "RHS\n rhs c1 1\n", 1472, "Line 5: No COLUMNS section");
  check("badsec.mps", rows + cols + "RHS\n rhs c1 1\nFOO\n", 1473, "Line 10: Unrecognized section indicator");
  check("unknown.mps", "NAME\nFOO bar\n data\n" + rows.substr(5) + cols + "ENDATA\n", 0,
        "Warning, line 2:  FOO section illegal or out of order.");
  check("sense.mps", "NAME\nROWS\n X obj\n", 1453, "Line 3: No row sense");
  check("rowname.mps", "NAME\nROWS\n N\n", 1486, "Line 3: No row name");
  check("number.mps", rows + "COLUMNS\n x obj 1.2.3\n", 1434, "Line 6: Couldn't convert '1.2.3' to a number");
  check("exponent.mps", rows + "COLUMNS\n x obj 1e99\n", 1435, "Line 6: Exponent '1e99' out of range");
  check("duprow.mps", rows + " G c1\n" + cols, 1445, "Line 5: Row 'c1' repeats");
  check("dupcol.mps", rows + cols + " x c1 3\n", 1446, "Line 8: Column 'x' repeats");
  check("duprowincol.mps", rows + "COLUMNS\n x c1 1 c1 2\n", 1443, "Line 6: Column 'x' has repeated row 'c1'");
  check("notrow.mps", rows + "COLUMNS\n x nope 1\n", 1448, "Line 6: 'nope' is not a row name");
  check("intorg.mps", rows + "COLUMNS\n M 'MARKER' 'INTORG'\n M 'MARKER' 'INTORG'\n", 1480, "Line 7:");
  check("intend.mps", rows + "COLUMNS\n M 'MARKER' 'INTEND'\n", 1481, "Line 6:");
  check("objsense.mps", "NAME\nOBJSENSE\n SIDEWAYS\n", 1487, "Line 3: Unrecognized objective sense 'SIDEWAYS'");
  check("range.mps", rows + cols + "RHS\nRANGES\n r c1 1\n r c1 2\n", 1444, "Line 11: RANGES 'r' has repeated row 'c1'");
  check("rimset.mps", rows + cols + "RHS\n a c1 1\n b c1 2\n a c1 3\n", 1447, "Line 11: RHS 'a' repeats");
  // a file cut in the middle of a line: the value is missing, the read stands
  check("truncated.mps", rows + "COLUMNS\n x obj 1 c1", 0, "'ENDATA' missing");
  const char junk[] = "\x01\x02\xff\xfe\x7f garbage\x00\x00 more";
  check("junk.mps", std::string(junk, sizeof junk - 1), 1441, "No NAME section");
  std::string huge = rows + cols + "RHS\n rhs c1 " + std::string(10 * 1024 * 1024, '7') + "\nENDATA\n";
  check("huge.mps", huge, 1465, "Line 9: Line longer than limit of 559 characters");
}

TEST_F(Malformed, LpFiles) {
  check("nomax.lp", "\\ no sense\n\nSubject To\n c: x >= 1\nEnd\n", 1436, "Line 3: Max or Min missing");
  check("number.lp", "Min\n obj: 1.2.3 x\nEnd\n", 1434, "Line 2: Couldn't convert '1.2.3' to a number");
  check("exponent.lp", "Min\n obj: 1e99 x\nEnd\n", 1435, "Line 2: Exponent '1e99' out of range");
  check("started.lp", "Min\n obj: x\nst\n c: x >= e5\nEnd\n", 1618, "Line 4: Exponent 'e5' not started with number");
  check("ident.lp", "Min\n obj: x + e1y\nEnd\n", 1617, "Line 2: 'e1y' not valid identifier");
  check("signsense.lp", "Min\n obj: x\nst\n c: x +\n >= 2\nEnd\n", 1604, "Lines 4,5: Adjacent sign and sense");
  check("norhs.lp", "Min\n obj: x\nst\n c: x >=\n y\nEnd\n", 1610, "Line 5: Expected RHS coefficient");
  check("noident.lp", "Min\n obj: x\nst\n c: x + 2\n >= 1\nEnd\n", 1609, "Line 5: Expected identifier first");
  check("between.lp", "Min\n obj: x\nst\n c: x | y >= 1\nEnd\n", 1608, "Line 4: Expected '+','-' or sense, found '|'");
  check("objend.lp", "Min\n obj: x +\nst\n c: x >= 1\nEnd\n", 0, "Warning, line 3: Objective ended unexpectedly.");
  check("truncated.lp", "Min\n obj: x + y\nst\n c: x + y >= 1\n d: x + \n", 0, "Unfinished constraint is discarded");
  check("chars.lp", "Min\n obj: x \x01+ y\nEnd\n", 0, "Warning, line 2: Unexpected character code 1 skipped.");
  check("bound.lp", "Min\n obj: x\nBounds\n x 5\nEnd\n", 1621, "Line 4: No bound sense");
  const char junk[] = "\xff\xfe\x01 \x02\x7f\n\x00\x00\n";
  check("junk.lp", std::string(junk, sizeof junk - 1), 1436, "Max or Min missing");
  check("huge.lp", "Min\n obj: " + std::string(10 * 1024 * 1024, 'x') + "\nEnd\n", 1464,
        "Line 2: Identifier/name too long to process");
  // a 10 MB line with signs in reach is legal
  std::string longSum = "Min\n obj:";
  longSum.reserve(10 * 1024 * 1024 + 64);
  while (longSum.size() < 10 * 1024 * 1024) longSum += " + 2 x - y";
  check("longsum.lp", longSum + "\nEnd\n", 0, "");
  EXPECT_EQ(QVNgetnumcols(env, lp), 2);
}

// Compressed files whose data are damaged: the read fails with 1027 naming
// the file, never with a parse error about what the damage left over, and the
// problem keeps its model.
TEST_F(Malformed, DamagedCompressedFilesReportDecompression) {
  const std::string model = "NAME z\nROWS\n N obj\n L c1\nCOLUMNS\n x obj 1 c1 1\nRHS\n r c1 2\nENDATA\n";
  std::string gz(compressBound(static_cast<uLong>(model.size())) + 64, '\0');
  z_stream z{};
  ASSERT_EQ(deflateInit2(&z, 9, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY), Z_OK);
  z.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(model.data()));
  z.avail_in = static_cast<uInt>(model.size());
  z.next_out = reinterpret_cast<Bytef *>(gz.data());
  z.avail_out = static_cast<uInt>(gz.size());
  ASSERT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
  gz.resize(z.total_out);
  deflateEnd(&z);
  // The intact file reads: the damage below is all that the failures see.
  const std::string whole = writeFile("whole.mps.gz", gz);
  ASSERT_EQ(QVNreadcopyprob(env, lp, whole.c_str(), nullptr), 0);
  EXPECT_EQ(QVNgetnumcols(env, lp), 1);
  reset();
  std::string badCrc = gz;
  std::fill(badCrc.end() - 8, badCrc.end(), '\0');  // CRC-32 and length trailer
  check("crc.mps.gz", badCrc, 1027, "File '");
  check("crc.mps.gz", badCrc, 1027, "crc.mps.gz', line ");
  check("crc.mps.gz", badCrc, 1027, "Decompression of unpresolved model failed");
  check("crc.gz", badCrc, 1027, "Decompression of unpresolved model failed");  // type told by content
  check("cut.mps.gz", gz.substr(0, gz.size() / 2), 1027, "Decompression of unpresolved model failed");

  std::string bz(model.size() + 700, '\0');
  unsigned size = static_cast<unsigned>(bz.size());
  ASSERT_EQ(BZ2_bzBuffToBuffCompress(bz.data(), &size, const_cast<char *>(model.data()),
                                     static_cast<unsigned>(model.size()), 9, 0, 0), BZ_OK);
  bz.resize(size);
  std::string flipped = bz;
  for (size_t k = bz.size() / 2; k < bz.size() / 2 + 4; ++k) flipped[k] = static_cast<char>(~flipped[k]);
  check("flip.mps.bz2", flipped, 1027, "flip.mps.bz2', line ");
  // One message, the decompression's: nothing of the parse of the remains.
  const std::string p = writeFile("again.mps.bz2", flipped);
  EXPECT_EQ(QVNreadcopyprob(env, lp, p.c_str(), nullptr), 1027);
  const std::string errors = takeErrors();
  EXPECT_EQ(errors.find("NAME section"), std::string::npos) << errors;
  EXPECT_EQ(errors.find("QUORVAN Error"), errors.rfind("QUORVAN Error")) << errors;
}

TEST_F(Malformed, RandomDamageNeverCrashes) {
  const std::string mps =
      "NAME d\nROWS\n N obj\n L c1\n G c2\nCOLUMNS\n M 'MARKER' 'INTORG'\n x obj 1 c1 1\n x c2 3\n"
      " M 'MARKER' 'INTEND'\n y c1 2.5e1 c2 -1\nRHS\n rhs c1 4 c2 1\nRANGES\n r c1 2\nBOUNDS\n UP b x 4\n"
      " MI b y\nSOS\n S1 s\n x 1\n y 2\nENDATA\n";
  const std::string lp =
      "Maximize\n obj: x + 2 y + [ x ^ 2 ] / 2\nSubject To\n c1: x + y <= 4\n c2: x - y >= -1\n"
      " i: b = 1 -> x + y <= 2\nBounds\n -2 <= y <= 5\nGenerals\n x\nBinaries\n b\nSOS\n s1: S1 :: x:1 y:2\nEnd\n";
  std::mt19937 random(11);
  for (const std::string *base : {&mps, &lp}) {
    const char *name = base == &mps ? "damaged.mps" : "damaged.lp";
    for (int round = 0; round < 300; ++round) {
      std::string text = *base;
      const int edits = 1 + static_cast<int>(random() % 4);
      for (int e = 0; e < edits; ++e) {
        const size_t at = random() % text.size();
        switch (random() % 4) {
        case 0: text[at] = static_cast<char>(random() % 256); break;
        case 1: text.erase(at, 1 + random() % 6); break;
        case 2: text.insert(at, 1, " +-:[]^*/<=>\n\\eE0."[random() % 19]); break;
        default: text.resize(at); break;
        }
        if (text.empty()) text = "x";
      }
      ModelImage m;
      const std::string p = writeFile(name, text);
      const int status = readModelImage(env, p.c_str(), nullptr, m);
      if (status != 0) {
        EXPECT_EQ(m.numCols, 0);
        EXPECT_EQ(m.numRows, 0);
      } else {
        EXPECT_EQ(static_cast<int>(m.colStart.size()), m.numCols + 1);
        for (int r : m.rowIndex) ASSERT_TRUE(r >= 0 && r < m.numRows);
      }
      takeErrors();
      takeWarnings();
      takeResults();
    }
  }
}

} // namespace qvn
