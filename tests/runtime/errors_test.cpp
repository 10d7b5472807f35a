#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "runtime/environment.h"
#include "runtime/errors.h"
#include "support/test_support.h"

namespace qvn {

using qvntest::EnvFixture;
using ErrorText = EnvFixture;

TEST_F(ErrorText, FormatsKnownAndRejectsOutOfRangeNumbers) {
  char buffer[1024];
  ASSERT_NE(QVNgeterrorstring(env, 1001, buffer), nullptr);
  EXPECT_STREQ(buffer, "QUORVAN Error  1001: Out of memory.\n");
  ASSERT_NE(QVNgeterrorstring(nullptr, 1423, buffer), nullptr);
  EXPECT_STREQ(buffer, "QUORVAN Error  1423: Could not open file '%s' for reading.\n");
  EXPECT_EQ(QVNgeterrorstring(env, 1005, buffer), nullptr);
  EXPECT_STREQ(buffer, "QUORVAN Error  1005: Unknown error code.\n");

  std::strcpy(buffer, "untouched");
  for (int bad : {0, -5, 100000}) {
    EXPECT_EQ(QVNgeterrorstring(env, bad, buffer), nullptr);
    EXPECT_STREQ(buffer, "untouched");
  }
}

TEST_F(ErrorText, IndexAndLinearSearchAgreeOnEveryNumber) {
  // Every number either side gives the same text: the hashed index loses no row.
  char viaEnv[1024], viaScan[1024];
  int found = 0;
  for (int n = 1; n <= 7000; ++n) {
    const char *a = QVNgeterrorstring(env, n, viaEnv);
    const char *b = QVNgeterrorstring(nullptr, n, viaScan);
    ASSERT_EQ(a == nullptr, b == nullptr) << n;
    if (a) {
      ++found;
      ASSERT_STREQ(viaEnv, viaScan) << n;
    }
  }
  EXPECT_EQ(found, 232);
}

TEST_F(ErrorText, StatusTexts) {
  char buffer[1024];
  ASSERT_NE(QVNgetstatstring(env, 1, buffer), nullptr);
  EXPECT_STREQ(buffer, "optimal");
  ASSERT_NE(QVNgetstatstring(nullptr, 119, buffer), nullptr);
  EXPECT_STREQ(buffer, "integer infeasible or unbounded");
  EXPECT_EQ(QVNgetstatstring(env, 0, buffer), nullptr);
  EXPECT_STREQ(buffer, "Unknown status value");
  EXPECT_EQ(QVNgetstatstring(env, 7, buffer), nullptr);
}

TEST_F(ErrorText, RecordErrorPrintsPlainOnesOnlyAndKeepsPositiveNumber) {
  int status = -1423;
  recordError(env, &status);
  EXPECT_EQ(status, 1423);
  EXPECT_EQ(takeErrors(), "");

  status = 1009;
  recordError(env, &status);
  EXPECT_EQ(status, 1009);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1009: No problem exists.\n");

  status = 1401;  // internal number without a row: two blanks, kept on purpose
  recordError(env, &status);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1401:  Unknown error code.\n");

  ASSERT_EQ(QVNsetintparam(env, 1043, 0), 0);
  for (int n : {1101, 1117, 1118}) {
    status = n;
    recordError(env, &status);
    EXPECT_EQ(status, n);
  }
  EXPECT_EQ(takeErrors(), "");
}

TEST_F(ErrorText, DetailedErrorExpandsArgumentsOnce) {
  const int status = reportError(env, QVNERR_FAIL_OPEN_READ, "model.lp");
  EXPECT_EQ(status, -QVNERR_FAIL_OPEN_READ);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1423: Could not open file 'model.lp' for reading.\n");
  int recorded = status;
  recordError(env, &recorded);
  EXPECT_EQ(recorded, 1423);
  EXPECT_EQ(takeErrors(), "");
}

} // namespace qvn
