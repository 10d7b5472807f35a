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
  // Quadratic constraints: the types follow what is attached.
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_MIQCP), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_MIQCP);
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMIQCP), QVNERR_NO_SOLN);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_QCP), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_QCP);
  EXPECT_EQ(QVNgetctype(env, lp, letters, 0, 2), QVNERR_NOT_MIP);
  EXPECT_EQ(QVNchgprobtype(env, lp, QVN_PROB_FIXEDMIQCP), QVNERR_NOT_MIQCPCLASS);
  ASSERT_EQ(QVNchgprobtype(env, lp, QVN_PROB_QP), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_QP);
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
  // A new model replaces Q and types with the rest of the data.
  const double obj[] = {1}, bound[] = {0}, upper[] = {1}, rhs[] = {0};
  const int zero[] = {0};
  ASSERT_EQ(QVNcopylp(env, lp, 1, 1, QVN_MIN, obj, rhs, "E", zero, zero, zero, obj, bound, upper, nullptr), 0);
  EXPECT_EQ(QVNgetprobtype(env, lp), QVN_PROB_LP);
  EXPECT_EQ(QVNgetqpcoef(env, lp, 0, 0, &v), QVNERR_NOT_QP);
  takeErrors();
}

// x'Qx computed from the read-back entries.
double quadraticForm(QVNENVptr env, QVNLPptr lp, const std::vector<double> &x) {
  const int n = static_cast<int>(x.size());
  double sum = 0;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double v = 0;
      EXPECT_EQ(QVNgetqpcoef(env, lp, i, j, &v), 0);
      sum += x[i] * v * x[j];
    }
  return sum;
}

TEST_F(QpDataTest, IndefiniteCertificate) {
  std::vector<double> x(3, 0.0);
  EXPECT_EQ(QVNqpindefcertificate(env, lp, x.data()), QVNERR_NOT_QP);
  // Positive semi-definite: [[2, 1, 0], [1, 1, 0], [0, 0, 0]] has no certificate.
  const int start[] = {0, 2, 4}, count[] = {2, 2, 0}, index[] = {0, 1, 0, 1};
  const double psd[] = {2, 1, 1, 1};
  ASSERT_EQ(QVNcopyquad(env, lp, start, count, index, psd), 0);
  EXPECT_EQ(QVNqpindefcertificate(env, lp, x.data()), QVNERR_Q_NOT_INDEF);
  // [[1, 2], [2, 1]] in the first two columns: eigenvalue -1 after one elimination.
  const double indefinite[] = {1, 2, 2, 1};
  ASSERT_EQ(QVNcopyquad(env, lp, start, count, index, indefinite), 0);
  ASSERT_EQ(QVNqpindefcertificate(env, lp, x.data()), 0);
  EXPECT_LT(quadraticForm(env, lp, x), -1e-9);
  // A zero diagonal with an off-diagonal entry: [[0, 0, 3], [0, 1, 0], [3, 0, 0]].
  const int start2[] = {0, 1, 2}, count2[] = {1, 1, 1}, index2[] = {2, 1, 0};
  const double zeroPivot[] = {3, 1, 3};
  ASSERT_EQ(QVNcopyquad(env, lp, start2, count2, index2, zeroPivot), 0);
  ASSERT_EQ(QVNqpindefcertificate(env, lp, x.data()), 0);
  EXPECT_LT(quadraticForm(env, lp, x), -1e-9);
  // A negative diagonal entry of a separable Q.
  const double diagonal[] = {1, -2, 0};
  ASSERT_EQ(QVNcopyqpsep(env, lp, diagonal), 0);
  ASSERT_EQ(QVNqpindefcertificate(env, lp, x.data()), 0);
  EXPECT_LT(quadraticForm(env, lp, x), -1e-9);
  takeErrors();
}

TEST_F(QpDataTest, RandomMatricesAgreeWithTheirCertificates) {
  // Q = B'B - c I for random B: semi-definite exactly when c <= the least
  // eigenvalue of B'B; a certificate must always have x'Qx < 0.
  unsigned seed = 12345;
  auto next = [&]() { return (seed = seed * 1103515245u + 12345u) >> 16 & 0x7fff; };
  for (int trial = 0; trial < 40; ++trial) {
    const int n = 3;
    double b[3][3], qm[3][3];
    for (auto &row : b)
      for (double &v : row) v = static_cast<double>(next() % 7) - 3.0;
    const double shift = trial % 2 ? 0.0 : 1.0 + next() % 5;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        qm[i][j] = -(i == j ? shift : 0.0);
        for (int k = 0; k < n; ++k) qm[i][j] += b[k][i] * b[k][j];
      }
    std::vector<int> start, count, index;
    std::vector<double> value;
    for (int j = 0; j < n; ++j) {
      start.push_back(static_cast<int>(index.size()));
      for (int i = 0; i < n; ++i)
        if (qm[i][j] != 0.0) index.push_back(i), value.push_back(qm[i][j]);
      count.push_back(static_cast<int>(index.size()) - start.back());
    }
    index.push_back(0), value.push_back(0.0);
    ASSERT_EQ(QVNcopyquad(env, lp, start.data(), count.data(), index.data(), value.data()), 0);
    std::vector<double> x(3, 0.0);
    const int status = QVNqpindefcertificate(env, lp, x.data());
    if (shift == 0.0) {
      EXPECT_EQ(status, QVNERR_Q_NOT_INDEF) << trial;  // B'B is semi-definite
    } else if (status == 0) {
      EXPECT_LT(quadraticForm(env, lp, x), 0.0) << trial;
    } else {
      EXPECT_EQ(status, QVNERR_Q_NOT_INDEF);
      // No certificate: then no coordinate direction may be negative either.
      for (int i = 0; i < n; ++i) EXPECT_GE(qm[i][i], 0.0) << trial;
    }
  }
  takeErrors();
}

} // namespace

} // namespace qvntest
