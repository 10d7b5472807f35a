// Column types, priority orders, special ordered sets and MIP starts.
#include <gtest/gtest.h>

#include <vector>

#include "model/problem.h"
#include "support/test_support.h"

namespace qvntest {

namespace {

class MipDataTest : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    int status = 0;
    lp = QVNcreateprob(env, &status, "mip");
    ASSERT_NE(lp, nullptr);
    const double lower[] = {0, 2, 0, 3}, upper[] = {1, 9, 4, 8};
    ASSERT_EQ(QVNnewcols(env, lp, 4, nullptr, lower, upper, nullptr, nullptr), 0);
    ASSERT_EQ(QVNnewrows(env, lp, 1, nullptr, "R", nullptr, nullptr), 0);  // a range column
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    EnvFixture::TearDown();
  }
  QVNLPptr lp = nullptr;
};

TEST_F(MipDataTest, ColumnTypesAndCounts) {
  char letters[4];
  EXPECT_EQ(QVNgetctype(env, lp, letters, 0, 3), QVNERR_NOT_MIP);
  // All continuous is still a MIP by type.
  ASSERT_EQ(QVNcopyctype(env, lp, "CCCC"), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_MILP);
  EXPECT_EQ(QVNgetnumint(env, lp), 0);
  ASSERT_EQ(QVNcopyctype(env, lp, "BISN"), 0);
  EXPECT_EQ(QVNgetnumbin(env, lp), 1);
  EXPECT_EQ(QVNgetnumint(env, lp), 1);
  EXPECT_EQ(QVNgetnumsemicont(env, lp), 1);
  EXPECT_EQ(QVNgetnumsemiint(env, lp), 1);
  // Pending columns count too.
  ASSERT_EQ(QVNEcacheNewCols(env, lp, 2, nullptr, nullptr, nullptr, "II", nullptr), 0);
  EXPECT_EQ(QVNgetnumint(env, lp), 3);
  // Leaving semi-continuity resets the lower bound to 0; the range column stays 'C'.
  const int cols[] = {2, 3};
  ASSERT_EQ(QVNchgctype(env, lp, 2, cols, "CI"), 0);
  double lower[6];
  ASSERT_EQ(QVNgetlb(env, lp, lower, 0, 5), 0);
  EXPECT_EQ(lower[1], 2.0);
  EXPECT_EQ(lower[3], 0.0);
  ASSERT_EQ(QVNgetctype(env, lp, letters, 0, 3), 0);
  EXPECT_EQ(std::string(letters, 4), "BICI");
  EXPECT_EQ(lp->lpData->ctype[lp->lpData->numCols], 'C');
  // Back to LP drops the types.
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_LP), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_LP);
  EXPECT_EQ(QVNgetnumint(env, lp), 0);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_MILP), 0);
  ASSERT_EQ(QVNgetctype(env, lp, letters, 0, 3), 0);
  EXPECT_EQ(std::string(letters, 4), "CCCC");
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMILP), QVNERR_NO_SOLN);
  takeErrors();
}

TEST_F(MipDataTest, PriorityOrder) {
  int count = -1, surplus = -1, indices[4], priorities[4], directions[4];
  const int cols[] = {3, 1, 0};
  EXPECT_EQ(QVNcopyorder(env, lp, 3, cols, nullptr, nullptr), QVNERR_NOT_MIP);
  ASSERT_EQ(QVNcopyctype(env, lp, "IIII"), 0);
  EXPECT_EQ(QVNgetorder(env, lp, &count, indices, priorities, directions, 4, &surplus), QVNERR_NO_ORDER);
  ASSERT_EQ(QVNcopyorder(env, lp, 3, cols, nullptr, nullptr), 0);
  takeErrors();
  // Counting prints nothing.
  EXPECT_EQ(QVNgetorder(env, lp, &count, nullptr, nullptr, nullptr, 0, &surplus), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_EQ(surplus, -3);
  EXPECT_EQ(takeErrors(), "");
  ASSERT_EQ(QVNgetorder(env, lp, &count, indices, priorities, directions, 4, &surplus), 0);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(surplus, 1);
  EXPECT_EQ(indices[0], 3);
  EXPECT_EQ(priorities[2], 3);  // the rank in the list
  EXPECT_EQ(directions[1], 0);
  // Deleting a column drops its entry and renumbers the others.
  ASSERT_EQ(QVNdelcols(env, lp, 1, 1), 0);
  ASSERT_EQ(QVNgetorder(env, lp, &count, indices, priorities, directions, 4, &surplus), 0);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(indices[0], 2);
  EXPECT_EQ(indices[1], 0);
  // An empty order replaces the old one.
  ASSERT_EQ(QVNcopyorder(env, lp, 0, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(QVNgetorder(env, lp, &count, indices, priorities, directions, 4, &surplus), 0);
  EXPECT_EQ(count, 0);
}

TEST_F(MipDataTest, SpecialOrderedSets) {
  int nz = 0, surplus = 0, starts[3], members[8];
  char types[3];
  double weights[8];
  EXPECT_EQ(QVNgetsos(env, lp, &nz, types, starts, members, weights, 8, &surplus, 0, 0), QVNERR_NO_SOS);
  const int setStart[] = {0, 3};
  const int setMembers[] = {2, 0, 1, 3, 1};
  const double setWeights[] = {30, 10, 20, 5, 7};
  char n0[] = "first", n1[] = "second";
  char *names[] = {n0, n1};
  ASSERT_EQ(QVNcopysos(env, lp, 2, 5, "12", setStart, setMembers, setWeights, names), 0);
  EXPECT_EQ(QVNgetnumsos(env, lp), 2);
  ASSERT_EQ(QVNgetsos(env, lp, &nz, types, starts, members, weights, 8, &surplus, 0, 1), 0);
  EXPECT_EQ(nz, 5);
  EXPECT_EQ(types[1], '2');
  // Sorted by rising weight, members keep their weight.
  EXPECT_EQ(members[0], 0);
  EXPECT_EQ(members[1], 1);
  EXPECT_EQ(members[2], 2);
  EXPECT_EQ(weights[2], 30.0);
  EXPECT_EQ(starts[1], 3);
  int index = -1;
  EXPECT_EQ(QVNgetsosindex(env, lp, "second", &index), 0);
  EXPECT_EQ(index, 1);
  // Equal weights in one set are refused; the sets stay.
  const double same[] = {1, 1};
  const int pair[] = {0, 1}, zero = 0;
  EXPECT_EQ(QVNaddsos(env, lp, 1, 2, "1", &zero, pair, same, nullptr), QVNERR_UNIQUE_WEIGHTS);
  EXPECT_EQ(QVNgetnumsos(env, lp), 2);
  // An added set without a name gets a generated one; empty sets are allowed.
  ASSERT_EQ(QVNaddsos(env, lp, 1, 0, "1", &zero, nullptr, nullptr, nullptr), 0);
  char *out[3];
  char store[32];
  ASSERT_EQ(QVNgetsosname(env, lp, out, store, sizeof store, &surplus, 0, 2), 0);
  EXPECT_STREQ(out[2], "s1");
  int flags[] = {1, 0, 0};
  ASSERT_EQ(QVNdelsetsos(env, lp, flags), 0);
  EXPECT_EQ(flags[0], -1);
  EXPECT_EQ(flags[2], 1);
  EXPECT_EQ(QVNgetsosindex(env, lp, "first", &index), QVNERR_NAME_NOT_FOUND);
  ASSERT_EQ(QVNgetsos(env, lp, &nz, types, starts, members, weights, 8, &surplus, 0, 1), 0);
  EXPECT_EQ(nz, 2);
  EXPECT_EQ(members[0], 3);
  takeErrors();
}

TEST_F(MipDataTest, MipStarts) {
  int count = 0, surplus = 0, indices[4];
  double values[4];
  const int cols[] = {2, 0};
  const double start[] = {1.5, 4};
  EXPECT_EQ(QVNcopymipstart(env, lp, 2, cols, start), QVNERR_NOT_MIP);
  ASSERT_EQ(QVNcopyctype(env, lp, "IIII"), 0);
  EXPECT_EQ(QVNgetmipstart(env, lp, &count, indices, values, 4, &surplus), QVNERR_NO_MIPSTART);
  ASSERT_EQ(QVNcopymipstart(env, lp, 2, cols, start), 0);
  const int more[] = {0, 3};
  const double moreValues[] = {7, 8};
  ASSERT_EQ(QVNchgmipstart(env, lp, 2, more, moreValues), 0);
  ASSERT_EQ(QVNgetmipstart(env, lp, &count, indices, values, 4, &surplus), 0);
  ASSERT_EQ(count, 3);
  EXPECT_EQ(indices[1], 0);
  EXPECT_EQ(values[1], 7.0);
  EXPECT_EQ(indices[2], 3);
  // Copying replaces: the other columns have no value.
  ASSERT_EQ(QVNcopymipstart(env, lp, 1, more + 1, moreValues), 0);
  ASSERT_EQ(QVNgetmipstart(env, lp, &count, indices, values, 4, &surplus), 0);
  EXPECT_EQ(count, 1);
  takeErrors();
}

} // namespace

} // namespace qvntest
