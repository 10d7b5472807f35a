// The matrix Q of a quadratic objective: install, read, change, and its
// life through column edits and type changes.
#include <gtest/gtest.h>

#include <vector>

#include "support/test_support.h"

namespace qvntest {

namespace {

class QpDataTest : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    int status = 0;
    lp = QVNcreateprob(env, &status, "qp");
    ASSERT_NE(lp, nullptr);
    ASSERT_EQ(QVNnewcols(env, lp, 3, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  }
  void TearDown() override {
    QVNfreeprob(env, &lp);
    EnvFixture::TearDown();
  }
  double q(int i, int j) {
    double v = -99;
    EXPECT_EQ(QVNgetqpcoef(env, lp, i, j, &v), 0);
    return v;
  }
  QVNLPptr lp = nullptr;
};

TEST_F(QpDataTest, CopyReadAndChange) {
  double v = 0;
  EXPECT_EQ(QVNgetqpcoef(env, lp, 0, 0, &v), QVNERR_NOT_QP);
  EXPECT_EQ(QVNchgqpcoef(env, lp, 0, 0, 1.0), QVNERR_NOT_QP);
  EXPECT_EQ(QVNgetnumqpnz(env, lp), 0);
  // Q = [[2, 1, 0], [1, 0, 0], [0, 0, 4]] with a gap and an explicit zero.
  const int start[] = {0, 4, 6}, count[] = {3, 1, 2};
  const int index[] = {0, 1, 2, 9, 0, 7, 2, 1};
  const double value[] = {2, 1, 0.0, 5, 1, 5, 4, 0.0};
  ASSERT_EQ(QVNcopyquad(env, lp, start, count, index, value), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_QP);
  EXPECT_EQ(QVNgetnumqpnz(env, lp), 4);
  EXPECT_EQ(QVNgetnumquad(env, lp), 3);
  EXPECT_EQ(q(0, 1), 1.0);
  EXPECT_EQ(q(2, 2), 4.0);
  EXPECT_EQ(q(2, 0), 0.0);
  EXPECT_EQ(QVNgetqpcoef(env, lp, 3, 0, &v), QVNERR_INDEX_RANGE);
  // One change sets both halves.
  ASSERT_EQ(QVNchgqpcoef(env, lp, 2, 0, -3.0), 0);
  EXPECT_EQ(q(0, 2), -3.0);
  EXPECT_EQ(QVNgetnumqpnz(env, lp), 6);
  ASSERT_EQ(QVNchgqpcoef(env, lp, 1, 0, 0.0), 0);
  EXPECT_EQ(QVNgetnumqpnz(env, lp), 4);
  // Read back by columns, with the surplus protocol.
  int nz = 0, surplus = 0, outStart[3], outIndex[8];
  double outValue[8];
  EXPECT_EQ(QVNgetquad(env, lp, &nz, nullptr, nullptr, nullptr, 0, &surplus, 0, 2), QVNERR_NEGATIVE_SURPLUS);
  EXPECT_EQ(surplus, -4);
  ASSERT_EQ(QVNgetquad(env, lp, &nz, outStart, outIndex, outValue, 8, &surplus, 0, 2), 0);
  EXPECT_EQ(nz, 4);
  EXPECT_EQ(outStart[1], 2);
  EXPECT_EQ(outStart[2], 2);
  // Columns added and deleted: Q follows.
  ASSERT_EQ(QVNnewcols(env, lp, 1, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QVNchgqpcoef(env, lp, 3, 3, 6.0), 0);
  ASSERT_EQ(QVNdelcols(env, lp, 0, 0), 0);
  EXPECT_EQ(QVNgetnumqpnz(env, lp), 2);
  EXPECT_EQ(q(1, 1), 4.0);
  EXPECT_EQ(q(2, 2), 6.0);
  EXPECT_EQ(q(0, 1), 0.0);
  takeErrors();
}

TEST_F(QpDataTest, AsymmetricQIsRefusedAndTheOldOneIsGone) {
  const double diagonal[] = {1, 0, 2};
  ASSERT_EQ(QVNcopyqpsep(env, lp, diagonal), 0);
  EXPECT_EQ(QVNgetnumqpnz(env, lp), 2);
  EXPECT_EQ(QVNgetnumquad(env, lp), 2);
  takeErrors();
  const int start[] = {0, 1, 1}, count[] = {1, 0, 0}, index[] = {1};
  const double value[] = {1};
  EXPECT_EQ(QVNcopyquad(env, lp, start, count, index, value), QVNERR_Q_NOT_SYMMETRIC);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  5012: Q in objective is not symmetric.\n");
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_LP);
  double v = 0;
  EXPECT_EQ(QVNgetqpcoef(env, lp, 0, 0, &v), QVNERR_NOT_QP);
  // A separable Q takes an off-diagonal entry by becoming general.
  ASSERT_EQ(QVNcopyqpsep(env, lp, diagonal), 0);
  ASSERT_EQ(QVNchgqpcoef(env, lp, 0, 2, 5.0), 0);
  EXPECT_EQ(QVNgetnumqpnz(env, lp), 4);
  ASSERT_EQ(QVNgetqpcoef(env, lp, 2, 0, &v), 0);
  EXPECT_EQ(v, 5.0);
  takeErrors();
}

TEST_F(QpDataTest, AllZeroQStaysQuadraticAndTypesFollow) {
  const int start[] = {0, 0, 0}, count[] = {0, 0, 0}, index[] = {0};
  const double value[] = {0};
  ASSERT_EQ(QVNcopyquad(env, lp, start, count, index, value), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_QP);
  EXPECT_EQ(QVNgetnumqpnz(env, lp), 0);
  EXPECT_EQ(QVNgetnumquad(env, lp), 0);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_MIQP), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_MIQP);
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMIQP), QVNERR_NO_SOLN);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_MILP), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_MILP);
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMIQP), QVNERR_NOT_MIQPCLASS);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_QP), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_QP);
  char letters[3];
  EXPECT_EQ(QVNgetctype(env, lp, letters, 0, 2), QVNERR_NOT_MIP);
  // A clone carries Q along.
  int status = 0;
  ASSERT_EQ(QVNchgqpcoef(env, lp, 1, 1, 3.0), 0);
  QVNLPptr clone = QVNcloneprob(env, lp, &status);
  ASSERT_NE(clone, nullptr);
  double v = 0;
  ASSERT_EQ(QVNgetqpcoef(env, clone, 1, 1, &v), 0);
  EXPECT_EQ(v, 3.0);
  EXPECT_EQ(QVNgetprobtype(env, clone), QVN_PROB_QP);
  QVNfreeprob(env, &clone);
  takeErrors();
}

} // namespace

} // namespace qvntest
