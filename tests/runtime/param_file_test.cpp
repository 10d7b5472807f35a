#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "runtime/alloc.h"
#include "runtime/temp_dir.h"
#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;

void collect(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

const char *const kHeader = "QUORVAN Parameter File Version 10.2.0\n";

class ParamFileTest : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    ASSERT_TRUE(dir.ok());
    QVNCHANNELptr warning = nullptr;
    QVNgetchannels(env, nullptr, &warning, nullptr, nullptr);
    ASSERT_EQ(QVNaddfuncdest(env, warning, &warnings, collect), 0);
  }
  // Writes the text as a file and reads it as parameters.
  int readText(const std::string &text, const std::string &name = "p.prm") {
    const std::string path = dir.file(name);
    qvntest::writeText(path, text);
    return QVNreadcopyparam(env, path.c_str());
  }
  int intParam(int number) {
    int v = -12345;
    EXPECT_EQ(QVNgetintparam(env, number, &v), 0);
    return v;
  }
  double dblParam(int number) {
    double v = -12345;
    EXPECT_EQ(QVNgetdblparam(env, number, &v), 0);
    return v;
  }
  std::string strParam(int number) {
    char text[512] = "";
    EXPECT_EQ(QVNgetstrparam(env, number, text), 0);
    return text;
  }
  std::string takeWarnings() {
    std::string out;
    out.swap(warnings);
    return out;
  }
  qvntest::TempDir dir;
  std::string warnings;
};

TEST_F(ParamFileTest, SyntaxCommentsQuotesAndOverrides) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NODELIM, 77), 0);
  // A header alone resets everything to defaults.
  EXPECT_EQ(readText(std::string("\n# leading comment\n") + kHeader), 0);
  EXPECT_EQ(intParam(QVN_PARAM_NODELIM), 2100000000);

  const std::string text = std::string(kHeader) +
                           "# a comment line\n"
                           "QVN_PARAM_ITLIM        500   # trailing comment\n"
                           "\tQVN_PARAM_EPOPT 1.5e-7\n"
                           "QVN_PARAM_WORKDIR \"/tmp/a#b c\"  # the quoted '#' stays\n"
                           "1106 .mps\n"
                           "1020 600\n"           // a number for a named parameter; overrides
                           "QVN_PARAM_EPRHS 2e-7\r\n"
                           "2083 -5\n";
  EXPECT_EQ(readText(text), 0) << takeErrors();
  EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 600);
  EXPECT_EQ(dblParam(QVN_PARAM_EPOPT), 1.5e-7);
  EXPECT_EQ(dblParam(QVN_PARAM_EPRHS), 2e-7);
  EXPECT_EQ(strParam(QVN_PARAM_WORKDIR), "/tmp/a#b c");
  EXPECT_EQ(strParam(1106), ".mps");
  EXPECT_EQ(intParam(2083), -5);
  EXPECT_EQ(takeWarnings(), "");
  EXPECT_EQ(takeErrors(), "");

  // A non-integral integer keeps what "%d" read and warns with the line.
  EXPECT_EQ(readText(std::string(kHeader) + "\nQVN_PARAM_ITLIM 12.9\nQVN_PARAM_NODELIM 3e-1\n"), 0);
  EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 12);
  EXPECT_EQ(intParam(QVN_PARAM_NODELIM), 3);
  EXPECT_EQ(takeWarnings(),
            "Warning, line 3: non-integral value specified for integer parameter.\n"
            "Warning, line 4: non-integral value specified for integer parameter.\n");

  // Another version warns once and reads on.
  const std::string other = dir.file("old.prm");
  qvntest::writeText(other, "QUORVAN Parameter File Version 9.1.0\nQVN_PARAM_ITLIM 5\n");
  EXPECT_EQ(QVNreadcopyparam(env, other.c_str()), 0);
  EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 5);
  EXPECT_EQ(takeWarnings(), "Warning:  QUORVAN version found in file " + other +
                                " (9.1.0) does not match\n          this QUORVAN version (10.2.0).\n");

  // With 1053 on, every token is a name: a number is an unknown name.
  ASSERT_EQ(QVNsetintparam(env, 1053, 1), 0);
  EXPECT_EQ(readText(std::string(kHeader) + "1020 9\n"), QVNERR_BAD_PARAM_NAME);
  EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 5);
  EXPECT_EQ(readText(std::string(kHeader) + "QVN_PARAM_ITLIM 9\n1053 0\n"), QVNERR_BAD_PARAM_NAME);
  EXPECT_EQ(readText(std::string(kHeader) + "QVN_PARAM_ITLIM 9\n"), 0);
  // 1053 is not applied from a file and a reset puts it back to 0.
  EXPECT_EQ(intParam(1053), 0);
  EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 9);
  takeErrors();
}

// Every parse failure: the right number and text, and no parameter changed.
TEST_F(ParamFileTest, ParseErrorsChangeNothing) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 42), 0);
  ASSERT_EQ(QVNsetstrparam(env, QVN_PARAM_WORKDIR, "/keep"), 0);
  const std::string h = kHeader;
  struct Case {
    std::string text;
    int status;
    std::string error;
  };
  const Case cases[] = {
      {"QUORVAN Parameter File Versoin 10.2.0\n", 1661, "QUORVAN Error  1661: Line 1:  Missing or invalid header.\n"},
      {"\n# c\nQVN_PARAM_ITLIM 5\n", 1661, "QUORVAN Error  1661: Line 3:  Missing or invalid header.\n"},
      {"", 1661, "QUORVAN Error  1661: Line 1:  Missing or invalid header.\n"},
      {h + "QVN_PARAM_NODELIM 3\nQVN_PARAM_NOSUCH 1\n", 1028,
       "QUORVAN Error  1028: Bad parameter name to QUORVAN parameter routine.\n"},
      {h + "1011 1\n", 1013, "QUORVAN Error  1013: Bad parameter number to QUORVAN parameter routine.\n"},
      {h + "99999 1\n", 1013, "QUORVAN Error  1013: Bad parameter number to QUORVAN parameter routine.\n"},
      {h + "QVN_PARAM_NODELIM 3\nQVN_PARAM_ITLIM abc def\n", 1434,
       "QUORVAN Error  1434: Line 3: Couldn't convert 'abc' to a number.\n"},
      {h + "QVN_PARAM_ITLIM\n", 1434, "QUORVAN Error  1434: Line 2: Couldn't convert '' to a number.\n"},
      // The text shown for a bad double is the file's version, by long-standing habit.
      {h + "QVN_PARAM_EPOPT xyz\n", 1434, "QUORVAN Error  1434: Line 2: Couldn't convert '10.2.0' to a number.\n"},
      {h + "QVN_PARAM_WORKDIR\n", 1660, "QUORVAN Error  1660: Line 2:  Not enough entries.\n"},
      {h + "QVN_PARAM_WORKDIR \"/open/quote\n", 1660, "QUORVAN Error  1660: Line 2:  Not enough entries.\n"},
      {h + "QVN_PARAM_WORKDIR \"\"\n", 1660, "QUORVAN Error  1660: Line 2:  Not enough entries.\n"},
      {h + "   \n", 1660, "QUORVAN Error  1660: Line 2:  Not enough entries.\n"},
      {h + "QVN_PARAM_NODELIM 3\nQVN_PARAM_ADVIND 3\n", 1015, "QUORVAN Error  1015: Parameter value too big.\n"},
      {h + "QVN_PARAM_EPOPT 1e-20\n", 1014, "QUORVAN Error  1014: Parameter value too small.\n"},
      {h + "QVN_PARAM_ITLIM 99999999999\n", 1015, "QUORVAN Error  1015: Parameter value too big.\n"},
      {h + "QVN_PARAM_EPOPT 1e999\n", 1015, "QUORVAN Error  1015: Parameter value too big.\n"},
      // NaN lies in no range, not even the open one of an objective limit.
      {h + "QVN_PARAM_EPOPT nan\n", 1014, "QUORVAN Error  1014: Parameter value too small.\n"},
      {h + "QVN_PARAM_NODELIM 3\nQVN_PARAM_OBJULIM NaN\n", 1014, "QUORVAN Error  1014: Parameter value too small.\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(readText(c.text), c.status);
    EXPECT_EQ(takeErrors(), c.error);
    EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 42);
    EXPECT_EQ(intParam(QVN_PARAM_NODELIM), 2100000000);
    EXPECT_EQ(strParam(QVN_PARAM_WORKDIR), "/keep");
  }
  EXPECT_EQ(takeWarnings(), "");
}

// Random lines built from the pieces the parser reacts to: any outcome is one of
// the documented numbers, and a failure before applying changes nothing.
TEST_F(ParamFileTest, RandomFilesNeverCrash) {
  const std::string longPiece(300, 'x');
  const char *const pieces[] = {"QVN_PARAM_ITLIM", "QVN_PARAM_EPOPT", "QVN_PARAM_WORKDIR", "1020", "1053",
                                "1011", "\"", "#", " ", "\t", "-", ".", "5", "1e-7", "abc", "\r",
                                "QUORVAN Parameter File Version", "10.2.0", longPiece.c_str()};
  std::mt19937 rng(5);
  const std::set<int> allowed = {0, 1013, 1014, 1015, 1026, 1028, 1434, 1660, 1661};
  for (int round = 0; round < 200; ++round) {
    std::string text = rng() % 4 ? kHeader : "";
    const int lines = static_cast<int>(rng() % 6);
    for (int l = 0; l < lines; ++l) {
      const int parts = static_cast<int>(rng() % 6);
      for (int p = 0; p < parts; ++p) text += pieces[rng() % (sizeof pieces / sizeof pieces[0])];
      text += '\n';
    }
    ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NODELIM, 8), 0);
    const int status = readText(text);
    ASSERT_TRUE(allowed.count(status)) << status << " for:\n" << text;
    if (status == 0) {
      EXPECT_EQ(intParam(QVN_PARAM_NODELIM), 2100000000) << text;
    } else if (status != QVNERR_STR_PARAM_TOO_LONG) {
      EXPECT_EQ(intParam(QVN_PARAM_NODELIM), 8) << text;
    }
    takeErrors();
    takeWarnings();
  }
}

TEST_F(ParamFileTest, ApplyStopsAtFirstFailureAfterDefaults) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NODELIM, 11), 0);
  // A string is not tried while parsing; one too long for its slot fails on applying,
  // after the reset and the settings before it.
  const std::string text = std::string(kHeader) + "QVN_PARAM_ITLIM 7\nQVN_PARAM_WORKDIR \"" +
                           std::string(520, 'w') + "\"\nQVN_PARAM_BARITLIM 9\n";
  EXPECT_EQ(readText(text), QVNERR_STR_PARAM_TOO_LONG);
  takeErrors();
  EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 7);
  EXPECT_EQ(intParam(QVN_PARAM_NODELIM), 2100000000);
  EXPECT_EQ(intParam(QVN_PARAM_BARITLIM), 2100000000);
  EXPECT_EQ(strParam(QVN_PARAM_WORKDIR), ".");
}

// Memory failing at any allocation of a read: 1001 and nothing changed, or a
// complete read; never a leak.
TEST_F(ParamFileTest, AllocationFailureDuringRead) {
  std::string text = kHeader;
  for (int i = 0; i < 40; ++i) text += "QVN_PARAM_WORKDIR \"/dir/number/" + std::to_string(i) + "\"\n";
  text += "QVN_PARAM_ITLIM 3\n";
  const std::string path = dir.file("many.prm");
  qvntest::writeText(path, text);
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_NODELIM, 8), 0);
  bool completed = false;
  for (long n = 1; n < 200 && !completed; ++n) {
    SCOPED_TRACE(n);
    const long live = qvn::allocLive();
    qvn::allocFailAfter(n);
    const int status = QVNreadcopyparam(env, path.c_str());
    qvn::allocFailAfter(0);
    EXPECT_EQ(qvn::allocLive(), live);
    if (status == 0) {
      completed = true;
      EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 3);
      EXPECT_EQ(strParam(QVN_PARAM_WORKDIR), "/dir/number/39");
      EXPECT_EQ(intParam(QVN_PARAM_NODELIM), 2100000000);
    } else {
      EXPECT_EQ(status, QVNERR_NO_MEMORY);
      EXPECT_EQ(takeErrors(), "QUORVAN Error  1001: Out of memory.\n");
      EXPECT_EQ(intParam(QVN_PARAM_NODELIM), 8);
      EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 2100000000);
    }
  }
  EXPECT_TRUE(completed);
}

TEST_F(ParamFileTest, FileNamesExtensionAndCompression) {
  // Missing: two lines, the name and the name with ".prm"; one line when the name
  // already ends in it.
  const std::string missing = dir.file("none");
  EXPECT_EQ(QVNreadcopyparam(env, missing.c_str()), QVNERR_FAIL_OPEN_READ);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1423: Could not open file '" + missing +
                              "' for reading.\nQUORVAN Error  1423: Could not open file '" + missing +
                              ".prm' for reading.\n");
  EXPECT_EQ(QVNreadcopyparam(env, (missing + ".PRM").c_str()), QVNERR_FAIL_OPEN_READ);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1423: Could not open file '" + missing + ".PRM' for reading.\n");
  EXPECT_EQ(QVNreadcopyparam(env, nullptr), QVNERR_NO_FILENAME_GIVEN);
  EXPECT_EQ(QVNreadcopyparam(env, ""), QVNERR_NO_FILENAME_GIVEN);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1421: File name not specified.\n"
                          "QUORVAN Error  1421: File name not specified.\n");
  EXPECT_EQ(QVNwriteparam(env, ""), QVNERR_NO_FILENAME_GIVEN);
  const std::string badDir = dir.file("no/such/dir.prm");
  EXPECT_EQ(QVNwriteparam(env, badDir.c_str()), QVNERR_FAIL_OPEN_WRITE);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1421: File name not specified.\n"
                          "QUORVAN Error  1422: Could not open file '" + badDir + "' for writing.\n");

  // Found through the extension.
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_ITLIM, 31), 0);
  ASSERT_EQ(QVNwriteparam(env, dir.file("set.prm").c_str()), 0);
  ASSERT_EQ(QVNsetdefaults(env), 0);
  EXPECT_EQ(QVNreadcopyparam(env, dir.file("set").c_str()), 0);
  EXPECT_EQ(intParam(QVN_PARAM_ITLIM), 31);
  EXPECT_EQ(qvntest::readText(dir.file("set.prm")),
            std::string(kHeader) + "QVN_PARAM_ITLIM                  31\n");

  // Compressed by name, in both directions, with a setting of every kind.
  ASSERT_EQ(QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.125), 0);
  ASSERT_EQ(QVNsetstrparam(env, QVN_PARAM_WORKDIR, "/w d"), 0);
  ASSERT_EQ(QVNsetintparam(env, 1004, 17), 0);
  for (const char *name : {"c.prm.gz", "c.prm.bz2", "C.PRM.GZ"}) {
    SCOPED_TRACE(name);
    const std::string path = dir.file(name);
    ASSERT_EQ(QVNwriteparam(env, path.c_str()), 0);
    const std::string raw = qvntest::readText(path);
    EXPECT_EQ(raw.find("QUORVAN"), std::string::npos);  // really compressed
    int status = -1;
    QVNENVptr other = QVNopenQUORVAN(&status);
    ASSERT_NE(other, nullptr);
    ASSERT_EQ(QVNreadcopyparam(other, path.c_str()), 0);
    int i = 0;
    double d = 0;
    char s[512];
    QVNgetintparam(other, QVN_PARAM_ITLIM, &i);
    EXPECT_EQ(i, 31);
    QVNgetintparam(other, 1004, &i);
    EXPECT_EQ(i, 17);
    QVNgetdblparam(other, QVN_PARAM_EPGAP, &d);
    EXPECT_EQ(d, 0.125);
    QVNgetstrparam(other, QVN_PARAM_WORKDIR, s);
    EXPECT_STREQ(s, "/w d");
    QVNcloseQUORVAN(&other);
  }
  ASSERT_EQ(QVNwriteparam(env, dir.file("all.prm").c_str()), 0);
  EXPECT_EQ(qvntest::readText(dir.file("all.prm")),
            std::string(kHeader) +
                "1004                             17\n"
                "QVN_PARAM_ITLIM                  31\n"
                "QVN_PARAM_WORKDIR                \"/w d\"\n"
                "QVN_PARAM_EPGAP                  1.25000000000000e-01   \n");
  EXPECT_EQ(takeErrors(), "");
}

} // namespace
