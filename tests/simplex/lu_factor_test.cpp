// Factorization of random, structured and singular bases in both kinds, with
// FTRAN and BTRAN residuals checked against the basis matrix itself.
#include <string>

#include "model/problem.h"
#include "runtime/alloc.h"
#include "simplex/basis_factor.h"
#include "simplex/lu/lu_factor.h"
#include "support/test_support.h"
#include "simplex/lu_test_support.h"

namespace qvntest {
namespace {

using qvn::LuBasis;
using qvn::LuFactor;

void collect(void *handle, const char *text) { static_cast<std::string *>(handle)->append(text); }

class LuFactorTest : public EnvFixture {
protected:
  void SetUp() override {
    EnvFixture::SetUp();
    QVNCHANNELptr log = nullptr;
    ASSERT_EQ(QVNgetchannels(env, nullptr, nullptr, nullptr, &log), 0);
    ASSERT_EQ(QVNaddfuncdest(env, log, &logText, collect), 0);
  }
  LuFactor *create(int m, int kind) {
    int status = -1;
    LuFactor *f = qvn::luCreate(qvn::factorOptions(env), m, &status);
    EXPECT_EQ(status, 0);
    if (f && kind != f->kind) {
      EXPECT_EQ(qvn::luSetKind(*f, kind), 0);
    }
    return f;
  }
  int factor(LuFactor &f, ColumnPool &pool, double *threshold = nullptr) {
    LuBasis basis = pool.basis();
    double u = 0.01;
    const int status = qvn::factorBasis(f, basis, threshold ? threshold : &u, 1e-13, true, 0);
    return status;
  }
  std::string logText;
};

double tolerance(int kind) { return kind == 0 ? 1e-12 : 1e-15; }

// Column k: an entry on row perm[k] of magnitude 1..2 and perCol-1 others in [-1, 1].
void randomSparse(ColumnPool &pool, int perCol, std::mt19937 &rng) {
  const int m = pool.m;
  std::vector<int> perm(m);
  for (int i = 0; i < m; ++i) perm[i] = i;
  std::shuffle(perm.begin(), perm.end(), rng);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::uniform_int_distribution<int> row(0, m - 1);
  for (int k = 0; k < m; ++k) {
    std::vector<int> idx{perm[k]};
    std::vector<double> val{(u(rng) < 0 ? -1.0 : 1.0) * (1.0 + std::fabs(u(rng)))};
    for (int e = 1; e < perCol; ++e) {
      const int i = row(rng);
      if (std::find(idx.begin(), idx.end(), i) != idx.end()) continue;
      idx.push_back(i);
      val.push_back(u(rng));
    }
    pool.head[k] = pool.add(idx, val);
  }
}

void bidiagonal(ColumnPool &pool) {
  for (int k = 0; k < pool.m; ++k) {
    if (k + 1 < pool.m)
      pool.head[k] = pool.add({k, k + 1}, {2.0, -1.0});
    else
      pool.head[k] = pool.add({k}, {2.0});
  }
}

// Blocks of 4 rows; each block's columns also reach into the next block.
void staircase(ColumnPool &pool, std::mt19937 &rng) {
  std::uniform_real_distribution<double> u(0.5, 1.5);
  const int m = pool.m;
  for (int k = 0; k < m; ++k) {
    const int block = k / 4 * 4;
    std::vector<int> idx;
    std::vector<double> val;
    for (int i = block; i < std::min(block + 4, m); ++i) {
      idx.push_back(i);
      val.push_back(i == k ? 4.0 + u(rng) : u(rng));
    }
    if (block + 4 + (k % 4) < m) {
      idx.push_back(block + 4 + (k % 4));
      val.push_back(-u(rng));
    }
    pool.head[k] = pool.add(idx, val);
  }
}

// Upper triangular with random rows and columns permuted.
void permutedTriangular(ColumnPool &pool, std::mt19937 &rng) {
  const int m = pool.m;
  std::vector<int> rowPerm(m), colPerm(m);
  for (int i = 0; i < m; ++i) rowPerm[i] = colPerm[i] = i;
  std::shuffle(rowPerm.begin(), rowPerm.end(), rng);
  std::shuffle(colPerm.begin(), colPerm.end(), rng);
  std::uniform_real_distribution<double> u(-1.0, 1.0), pick(0.0, 1.0);
  std::vector<std::vector<int>> idx(m);
  std::vector<std::vector<double>> val(m);
  for (int k = 0; k < m; ++k) {
    for (int i = 0; i < k; ++i)
      if (pick(rng) < 0.02) idx[k].push_back(rowPerm[i]), val[k].push_back(u(rng));
    idx[k].push_back(rowPerm[k]);
    val[k].push_back(1.0 + pick(rng));
  }
  for (int k = 0; k < m; ++k) pool.head[colPerm[k]] = pool.add(idx[k], val[k]);
}

// A dense block of size d in the middle of unit columns, diagonally weighted.
void denseBlock(ColumnPool &pool, int d, std::mt19937 &rng) {
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const int m = pool.m, first = (m - d) / 2;
  for (int k = 0; k < m; ++k) {
    if (k < first || k >= first + d) {
      pool.head[k] = pool.add({k}, {1.0 + 0.5 * u(rng)});
      continue;
    }
    std::vector<int> idx;
    std::vector<double> val;
    for (int i = first; i < first + d; ++i) {
      idx.push_back(i);
      val.push_back(i == k ? 0.5 * d : u(rng));
    }
    pool.head[k] = pool.add(idx, val);
  }
}

TEST_F(LuFactorTest, EmptyBasisFactorsAndSolves) {
  ColumnPool pool(0);
  LuFactor *f = create(0, 0);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(factor(*f, pool), 0);
  EXPECT_TRUE(f->valid);
  qvn::LuVector v;
  qvn::luVectorInit(v, 0);
  EXPECT_EQ(f->ops->ftranSparse(*f, v), 0);
  EXPECT_EQ(f->ops->btranSparse(*f, v), 0);
  EXPECT_EQ(v.count, 0);
  qvn::luFree(f);
}

TEST_F(LuFactorTest, SlackBasisFactorsWithoutElimination) {
  for (int kind = 0; kind < 2; ++kind) {
    ColumnPool pool(50);
    for (int i = 0; i < 50; ++i) pool.head[i] = i;  // no structural columns: variable i is row i's unit column
    LuFactor *f = create(50, kind);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(factor(*f, pool), 0);
    EXPECT_EQ(f->lCount, 0);
    EXPECT_EQ(f->factorNz, 50);
    std::mt19937 rng(7);
    EXPECT_EQ(worstResidual(*f, pool, rng, 6), 0.0);
    qvn::luFree(f);
  }
}

TEST_F(LuFactorTest, RandomAndStructuredBasesSolveAccurately) {
  for (int kind = 0; kind < 2; ++kind) {
    for (int shape = 0; shape < 6; ++shape) {
      SCOPED_TRACE("kind " + std::to_string(kind) + " shape " + std::to_string(shape));
      std::mt19937 rng(100 + shape);
      const int m = shape == 1 ? 400 : 300;
      ColumnPool pool(m);
      switch (shape) {
      case 0: randomSparse(pool, 4, rng); break;
      case 1: randomSparse(pool, 8, rng); break;
      case 2: bidiagonal(pool); break;
      case 3: staircase(pool, rng); break;
      case 4: permutedTriangular(pool, rng); break;
      default: denseBlock(pool, 80, rng); break;
      }
      LuFactor *f = create(m, kind);
      ASSERT_NE(f, nullptr);
      ASSERT_EQ(factor(*f, pool), 0);
      EXPECT_TRUE(f->valid);
      EXPECT_EQ(f->rank, m);
      EXPECT_LT(worstResidual(*f, pool, rng, 12), tolerance(kind));
      // Row i of B^-1 through the unit form: B' y = e_p.
      qvn::LuVector v;
      qvn::luVectorInit(v, m);
      for (int p = 0; p < m; p += 37) {
        ASSERT_EQ(f->ops->btranUnit(*f, p, v), 0);
        std::vector<double> y(v.array.begin(), v.array.end()), e(m, 0.0);
        e[p] = 1.0;
        EXPECT_LT(btranResidual(pool, y, e), tolerance(kind));
      }
      qvn::luFree(f);
    }
  }
}

TEST_F(LuFactorTest, DenseNucleusGoesThroughTheDensePhase) {
  std::mt19937 rng(5);
  ColumnPool pool(120);
  denseBlock(pool, 120, rng);
  LuFactor *f = create(120, 0);
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(factor(*f, pool), 0);
  EXPECT_GT(f->workEstimate, 0.0);
  EXPECT_LT(worstResidual(*f, pool, rng, 6), 1e-12);
  qvn::luFree(f);
}

// Singular bases: a duplicate column, a zero column and a scaled copy.
TEST_F(LuFactorTest, SingularBasesAreRepairedBySlacks) {
  for (int kind = 0; kind < 2; ++kind) {
    for (int fault = 0; fault < 3; ++fault) {
      SCOPED_TRACE("kind " + std::to_string(kind) + " fault " + std::to_string(fault));
      std::mt19937 rng(11 + fault);
      const int m = 60;
      ColumnPool pool(m);
      randomSparse(pool, 4, rng);
      const int bad = 17;
      if (fault == 0) pool.head[bad] = pool.head[3];
      if (fault == 1) pool.head[bad] = pool.add({}, {});
      if (fault == 2) {
        std::vector<double> scaled = pool.value[pool.head[5]];
        for (double &x : scaled) x *= -3.5;
        pool.head[bad] = pool.add(pool.index[pool.head[5]], scaled);
      }
      const std::vector<int> before = pool.head;

      // Without repair: factorColumns reports the singular basis and solves refuse.
      LuFactor *f = create(m, kind);
      ASSERT_NE(f, nullptr);
      LuBasis basis = pool.basis();
      EXPECT_EQ(qvn::factorColumns(*f, basis, 0.01, 1e-13), qvn::kLuBasisChanged);
      EXPECT_FALSE(f->valid);
      EXPECT_EQ(f->rank, m - 1);
      std::vector<double> x(m, 1.0);
      EXPECT_EQ(f->ops->ftran(*f, x.data()), qvn::kLuNeedFactor);
      EXPECT_EQ(pool.head, before);
      double u = 0.01;
      EXPECT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, false, 0), QVNERR_SINGULAR);
      EXPECT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, true, qvn::kLuModeNoRepairReturn),
                qvn::kLuBasisChanged);
      EXPECT_EQ(pool.head, before);

      // With repair: one column leaves, a row's unit column enters at its place.
      logText.clear();
      u = 0.01;
      EXPECT_EQ(factor(*f, pool, &u), qvn::kLuBasisChanged);
      EXPECT_DOUBLE_EQ(u, 0.1);
      ASSERT_EQ(f->repairPosition.size(), 1u);
      const int position = f->repairPosition[0];
      EXPECT_TRUE(position == bad || pool.head[bad] == before[bad]);
      EXPECT_EQ(f->repairLeaving[0], before[position]);
      EXPECT_EQ(pool.head[position], f->repairEntering[0]);
      EXPECT_GE(pool.head[position], pool.columns());  // a logical
      EXPECT_EQ(f->singularCount, 1);
      EXPECT_NE(logText.find("Repairing basis singularity.\n"), std::string::npos);
      EXPECT_NE(logText.find("Markowitz threshold set to 0.1\n"), std::string::npos);
      EXPECT_TRUE(f->valid);
      EXPECT_LT(worstResidual(*f, pool, rng, 6), tolerance(kind));
      qvn::luFree(f);
    }
  }
}

// The working threshold rises for a wide pivot ratio, and caps at 0.99999.
TEST_F(LuFactorTest, ThresholdRisesForWidePivotRatiosAndCaps) {
  // Diagonal pivots from 1e-7 to 1e6: ratio 1e13 asks for thresholds up to 0.5.
  ColumnPool pool(8);
  for (int k = 0; k < 8; ++k) pool.head[k] = pool.add({k}, {k == 2 ? 1e-7 : k == 5 ? 1e6 : 1.0});
  LuFactor *f = create(8, 0);
  ASSERT_NE(f, nullptr);
  double u = 0.01;
  logText.clear();
  EXPECT_EQ(factor(*f, pool, &u), 0);
  EXPECT_DOUBLE_EQ(u, 0.5);
  EXPECT_NE(logText.find("Markowitz threshold set to 0.5\n"), std::string::npos);
  EXPECT_TRUE(f->valid);

  // A singular basis at 0.95 raises to the cap.
  pool.head[3] = pool.head[4];
  u = 0.95;
  EXPECT_EQ(factor(*f, pool, &u), qvn::kLuBasisChanged);
  EXPECT_DOUBLE_EQ(u, 0.99999);
  qvn::luFree(f);
}

// A basis that turns singular after updates is retried once in extended precision.
TEST_F(LuFactorTest, SingularRefactorMovesToExtendedKindOnce) {
  std::mt19937 rng(12);
  ColumnPool pool(30);
  randomSparse(pool, 3, rng);
  LuFactor *f = create(30, 0);
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(factor(*f, pool), 0);
  // One update: a unit column enters where its FTRAN has its largest entry.
  qvn::LuVector v;
  qvn::luVectorInit(v, 30);
  v.array[6] = 1.0;
  v.index[v.count++] = 6;
  ASSERT_EQ(f->ops->ftranForUpdate(*f, v), 0);
  int p = v.index[0];
  for (int q = 0; q < v.count; ++q)
    if (std::fabs(v.array[v.index[q]]) > std::fabs(v.array[p])) p = v.index[q];
  ASSERT_EQ(f->ops->update(*f, p, v.array[p]), 0);
  pool.head[p] = pool.columns() + 6;
  EXPECT_EQ(f->updateCount, 1);
  pool.head[(p + 1) % 30] = pool.head[(p + 2) % 30];
  EXPECT_EQ(factor(*f, pool), qvn::kLuBasisChanged);
  EXPECT_EQ(f->kind, 1);
  EXPECT_TRUE(f->kindSwitched);
  EXPECT_EQ(f->ops, qvn::luOpsForKind(1));
  EXPECT_LT(worstResidual(*f, pool, rng, 4), 1e-15);
  qvn::luFree(f);
}

TEST_F(LuFactorTest, SingularityLimitStopsTheRepair) {
  ASSERT_EQ(QVNsetintparam(env, QVN_PARAM_SINGLIM, 0), 0);
  std::mt19937 rng(3);
  ColumnPool pool(30);
  randomSparse(pool, 3, rng);
  pool.head[4] = pool.head[9];
  const std::vector<int> before = pool.head;
  LuFactor *f = create(30, 0);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(factor(*f, pool), QVNERR_SINGULAR);
  EXPECT_EQ(pool.head, before);
  EXPECT_FALSE(f->valid);
  qvn::luFree(f);
}

// The factor as a library: no Environment, its options in one record and its
// messages through the sink. The repair's threshold note carries 0.1, the
// value the threshold is raised to from 0.01.
TEST(LuOptionsTest, TheOptionsRecordAloneConfiguresTheFactor) {
  std::vector<std::pair<qvn::LuMessage, double>> heard;
  qvn::LuOptions options;
  options.startKind = 1;
  options.refactorEvery = 5;
  options.messages.context = &heard;
  options.messages.message = [](void *context, qvn::LuMessage what, double value) {
    static_cast<std::vector<std::pair<qvn::LuMessage, double>> *>(context)->emplace_back(what, value);
  };
  int status = -1;
  LuFactor *f = qvn::luCreate(options, 30, &status);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(f->kind, 1);
  EXPECT_EQ(f->updateLimit, 4);
  EXPECT_FALSE(f->autoLimit);
  std::mt19937 rng(5);
  ColumnPool pool(30);
  randomSparse(pool, 3, rng);
  pool.head[4] = pool.head[9];
  LuBasis basis = pool.basis();
  double u = 0.01;
  EXPECT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, true, 0), qvn::kLuBasisChanged);
  EXPECT_LT(worstResidual(*f, pool, rng, 4), 1e-15);
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(heard[0].first, qvn::LuMessage::kRepairing);
  EXPECT_EQ(heard[1].first, qvn::LuMessage::kThresholdRaised);
  EXPECT_DOUBLE_EQ(heard[1].second, 0.1);
  qvn::luFree(f);

  // A limit of 0 stops at the first singularity and leaves the header alone;
  // without a sink nothing is told.
  options.singularLimit = 0;
  options.messages = qvn::LuMessageSink{};
  f = qvn::luCreate(options, 30, &status);
  ASSERT_NE(f, nullptr);
  pool.head[4] = pool.head[9];
  const std::vector<int> before = pool.head;
  basis = pool.basis();
  EXPECT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, true, 0), QVNERR_SINGULAR);
  EXPECT_EQ(pool.head, before);
  qvn::luFree(f);
}

// Nearly dependent columns are either repaired or solved to full accuracy.
TEST_F(LuFactorTest, NearlySingularBasesNeverSolveWrongly) {
  for (double gap : {1e-15, 1e-11, 1e-7}) {
    SCOPED_TRACE(gap);
    std::mt19937 rng(21);
    const int m = 80;
    ColumnPool pool(m);
    randomSparse(pool, 4, rng);
    std::vector<double> near = pool.value[pool.head[2]];
    near[0] += gap;
    pool.head[40] = pool.add(pool.index[pool.head[2]], near);
    LuFactor *f = create(m, 0);
    ASSERT_NE(f, nullptr);
    const int status = factor(*f, pool);
    EXPECT_TRUE(status == 0 || status == qvn::kLuBasisChanged) << status;
    ASSERT_TRUE(f->valid);
    if (gap < 1e-13) {
      EXPECT_EQ(status, qvn::kLuBasisChanged);
    }
    // A residual check in the backward sense: what the solve returns satisfies the system.
    EXPECT_LT(worstResidual(*f, pool, rng, 6), 1e-9);
    double kappa = 0.0;
    EXPECT_EQ(f->ops->estimateCondition(*f, pool.basis(), &kappa), 0);
    EXPECT_GT(kappa, 1.0);
    qvn::luFree(f);
  }
}

TEST_F(LuFactorTest, ConditionEstimateOfADiagonalBasis) {
  ColumnPool pool(10);
  for (int k = 0; k < 10; ++k) pool.head[k] = pool.add({k}, {k == 4 ? 1e-6 : 2.0});
  for (int kind = 0; kind < 2; ++kind) {
    LuFactor *f = create(10, kind);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(factor(*f, pool), 0);
    double kappa = 0.0;
    ASSERT_EQ(f->ops->estimateCondition(*f, pool.basis(), &kappa), 0);
    EXPECT_NEAR(kappa, 2.0e6, 1.0);
    qvn::luFree(f);
  }
}

// Every allocation of creation and factorization may fail: the result is 1001
// or a correct factor, and a later factorization works.
TEST_F(LuFactorTest, MemoryFailuresAreReportedAndRecovered) {
  std::string results;
  QVNCHANNELptr channel = nullptr;
  ASSERT_EQ(QVNgetchannels(env, &channel, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(QVNaddfuncdest(env, channel, &results, collect), 0);
  std::mt19937 rng(9);
  ColumnPool pool(40);
  randomSparse(pool, 5, rng);
  int failures = 0;
  for (long n = 1; n < 400; ++n) {
    qvn::allocFailAfter(n);
    int status = -1;
    LuFactor *f = qvn::luCreate(qvn::factorOptions(env), 40, &status);
    int result = status;
    if (f) {
      LuBasis basis = pool.basis();
      double u = 0.01;
      result = qvn::factorBasis(*f, basis, &u, 1e-13, true, 0);
    }
    qvn::allocFailAfter(0);
    EXPECT_TRUE(result == 0 || result == QVNERR_NO_MEMORY) << "n=" << n << " result " << result;
    if (result != 0) ++failures;
    if (f) {
      LuBasis basis = pool.basis();
      double u = 0.01;
      ASSERT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, true, 0), 0);
      EXPECT_LT(worstResidual(*f, pool, rng, 2), 1e-12);
      qvn::luFree(f);
    }
  }
  EXPECT_GT(failures, 0);
  // Some failures were absorbed: by compressing the files, or by leaving the dense phase.
  EXPECT_NE(results.find("Compressing row and column files.\n"), std::string::npos);
  EXPECT_NE(results.find("Not enough memory for dense factorization.\n"), std::string::npos);
  ASSERT_EQ(QVNdelfuncdest(env, channel, &results, collect), 0);
}

// Many dependent columns and an empty row: repeated repairs end with a
// nonsingular basis of distinct variables that solves accurately.
TEST_F(LuFactorTest, RankDeficientBasesAreRepairedInFull) {
  for (int kind = 0; kind < 2; ++kind) {
    std::mt19937 rng(41 + kind);
    const int m = 200;
    ColumnPool pool(m);
    randomSparse(pool, 4, rng);
    std::uniform_int_distribution<int> pick(0, m - 1);
    // 12 columns become sums of two others; row 7 is emptied everywhere.
    for (int t = 0; t < 12; ++t) {
      const int a = pool.head[pick(rng)], b = pool.head[pick(rng)];
      std::vector<double> dense(m, 0.0);
      for (size_t q = 0; q < pool.index[a].size(); ++q) dense[pool.index[a][q]] += pool.value[a][q];
      for (size_t q = 0; q < pool.index[b].size(); ++q) dense[pool.index[b][q]] -= 0.5 * pool.value[b][q];
      std::vector<int> idx;
      std::vector<double> val;
      for (int i = 0; i < m; ++i)
        if (dense[i] != 0.0) idx.push_back(i), val.push_back(dense[i]);
      pool.head[pick(rng)] = pool.add(idx, val);
    }
    for (int k = 0; k < m; ++k) {
      std::vector<int> &idx = pool.index[pool.head[k]];
      std::vector<double> &val = pool.value[pool.head[k]];
      for (size_t q = 0; q < idx.size(); ++q)
        if (idx[q] == 7) val[q] = 0.0;
    }
    LuFactor *f = create(m, kind);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(factor(*f, pool), qvn::kLuBasisChanged);
    ASSERT_TRUE(f->valid);
    EXPECT_GE(f->repairPosition.size(), 1u);
    std::vector<int> sorted = pool.head;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end()) << "a variable is basic twice";
    // Row 7 can only be covered by its own unit column.
    EXPECT_NE(std::find(pool.head.begin(), pool.head.end(), pool.columns() + 7), pool.head.end());
    EXPECT_LT(worstResidual(*f, pool, rng, 6), tolerance(kind));
    qvn::luFree(f);
  }
}

TEST_F(LuFactorTest, KindsShareOneTableOfOperations) {
  EXPECT_EQ(qvn::luOpsForKind(0)->kind, 0);
  EXPECT_EQ(qvn::luOpsForKind(1)->kind, 1);
  EXPECT_NE(qvn::luOpsForKind(0)->ftran, reinterpret_cast<decltype(qvn::luOpsForKind(1)->ftran)>(
                                              qvn::luOpsForKind(1)->ftran));
  ASSERT_EQ(QVNsetintparam(env, 1093, 1), 0);
  LuFactor *f = create(20, 1);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->kind, 1);
  EXPECT_EQ(f->ops, qvn::luOpsForKind(1));
  EXPECT_EQ(f->singletonOrder, 1);
  std::mt19937 rng(4);
  ColumnPool pool(20);
  randomSparse(pool, 3, rng);
  ASSERT_EQ(factor(*f, pool), 0);
  EXPECT_LT(worstResidual(*f, pool, rng, 4), 1e-15);
  ASSERT_EQ(qvn::luSetKind(*f, 0), 0);
  EXPECT_FALSE(f->valid);
  ASSERT_EQ(factor(*f, pool), 0);
  EXPECT_LT(worstResidual(*f, pool, rng, 4), 1e-12);
  qvn::luFree(f);
}

// Columns of a problem's LpData in the simplex numbering: 0..n-1 structural,
// n..n+m-1 the logical of each row (its slack coefficient, +1.0 for rows
// without a slack), n+m.. the range columns in row order.
struct ProblemColumns {
  const qvn::LpData *lp = nullptr;
  std::vector<int> rowIds;
  std::vector<double> logicalCoef;

  explicit ProblemColumns(const qvn::LpData &data) : lp(&data), rowIds(data.numRows), logicalCoef(data.numRows, 1.0) {
    for (int i = 0; i < data.numRows; ++i) rowIds[i] = i;
    for (int k = 0; k < data.numColsWithSlacks - data.numColsWithRanges; ++k)
      logicalCoef[data.slackRow[k]] = data.slackCoef[k];
  }
  static qvn::LuColumn column(const void *context, int variable) {
    const auto &c = *static_cast<const ProblemColumns *>(context);
    const qvn::LpData &lp = *c.lp;
    const int n = lp.numCols, m = lp.numRows;
    if (variable >= n && variable < n + m) {
      const int i = variable - n;
      return qvn::LuColumn{1, &c.rowIds[i], &c.logicalCoef[i]};
    }
    const int j = variable < n ? variable : n + (variable - n - m);
    const int64_t start = lp.colStart[j];
    return qvn::LuColumn{lp.colCount[j], lp.rowIndex.data() + start, lp.coefValue.data() + start};
  }
  static int logicalOf(const void *context, int row) {
    return static_cast<const ProblemColumns *>(context)->lp->numCols + row;
  }
  LuBasis basis(int *head) const {
    LuBasis b;
    b.m = lp->numRows;
    b.head = head;
    b.context = this;
    b.column = column;
    b.logicalOf = logicalOf;
    return b;
  }
};

// Columns of a problem in the simplex numbering: structurals, row logicals with
// the slack's sign ('G' rows -1), range columns last.
TEST_F(LuFactorTest, BasesOfAProblemUseItsColumnsAndLogicals) {
  int status = -1;
  QVNLPptr lp = QVNcreateprob(env, &status, "lu");
  ASSERT_NE(lp, nullptr);
  // Rows: L, G, E, R (range 2). Columns x0, x1, x2 column-wise.
  const double obj[3] = {1, 1, 1}, rhs[4] = {4, 1, 2, 0}, range[4] = {0, 0, 0, 2};
  const char sense[4] = {'L', 'G', 'E', 'R'};
  const int start[3] = {0, 3, 5}, count[3] = {3, 2, 3}, index[8] = {0, 2, 3, 1, 2, 0, 1, 3};
  const double value[8] = {2.0, 1.0, -1.0, 3.0, 1.5, 1.0, -2.0, 4.0};
  const double lower[3] = {0, 0, 0}, upper[3] = {10, 10, 10};
  ASSERT_EQ(QVNcopylp(env, lp, 3, 4, 1, obj, rhs, sense, start, count, index, value, lower, upper, range), 0);
  const ProblemColumns columns(*lp->lpData);
  // Dense B for head {x0, logical of row 1, x2, range column}, written out by hand.
  int head[4] = {0, 3 + 1, 2, 7};
  const double b[4][4] = {{2.0, 0.0, 1.0, 0.0}, {0.0, -1.0, -2.0, 0.0}, {1.0, 0.0, 0.0, 0.0}, {-1.0, 0.0, 4.0, -1.0}};
  LuBasis basis = columns.basis(head);
  LuFactor *f = create(4, 0);
  ASSERT_NE(f, nullptr);
  double u = 0.01;
  ASSERT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, true, 0), 0);
  std::vector<double> x = {1.0, -2.0, 0.5, 3.0}, rhsVector = x;
  ASSERT_EQ(f->ops->ftran(*f, x.data()), 0);
  for (int i = 0; i < 4; ++i) {
    double s = 0.0;
    for (int k = 0; k < 4; ++k) s += b[i][k] * x[k];
    EXPECT_NEAR(s, rhsVector[i], 1e-14);
  }
  // x0 twice leaves row 0 or row 2 uncovered; that row's logical enters.
  head[2] = 0;
  EXPECT_EQ(qvn::factorBasis(*f, basis, &u, 1e-13, true, 0), qvn::kLuBasisChanged);
  ASSERT_EQ(f->repairEntering.size(), 1u);
  EXPECT_TRUE(f->repairEntering[0] == 3 + 0 || f->repairEntering[0] == 3 + 2) << f->repairEntering[0];
  EXPECT_TRUE(f->repairPosition[0] == 0 || f->repairPosition[0] == 2);
  qvn::luFree(f);
  EXPECT_EQ(QVNfreeprob(env, &lp), 0);
}

} // namespace
} // namespace qvntest
