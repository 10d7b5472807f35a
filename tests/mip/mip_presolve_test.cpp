// Branch and bound on the presolved problem: runs with presolve on and off
// agree (and with enumeration on pure integer models), every incumbent taken
// back passes the checker on the original model, a known optimal point
// crushed onto the reduced problem stays feasible there (no primal
// reduction cuts it off), and a MIP start in the caller's columns works.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "mip/mip_check.h"
#include "runtime/alloc.h"
#include "mip/mip_models.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

// A model made to meet the reductions: singleton rows with fractional
// right-hand sides on integer columns, doubleton equations between integer
// columns and between an integer and a continuous column, big-M rows that
// coefficient tightening shortens, a row repeated at twice its scale, a
// fixed column, continuous column singletons and a parallel continuous pair,
// over random dense rows. With `continuous` false every column is integer
// with a small range, for enumeration.
MipModel presolveModel(uint64_t seed, bool continuous) {
  TestRandom r(seed);
  MipModel m;
  LpModel &d = m.lp;
  d.objSense = r.range(0, 1) ? QVN_MIN : QVN_MAX;
  const int n = 7;
  for (int j = 0; j < n; ++j) {
    const bool binary = j % 3 == 0;
    d.addCol(r.range(-6, 6), binary ? 0 : r.range(-2, 0), binary ? 1 : r.range(1, 3), {});
    m.ctype.push_back(binary ? 'B' : 'I');
  }
  auto row = [&](char sense, double rhs, std::vector<std::pair<int, double>> entries, double range = 0.0) {
    const int i = d.addRow(sense, rhs, range);
    for (auto [j, v] : entries) d.cols[j].push_back({i, v});
    return i;
  };
  // Dense rows.
  const int dense = 2 + r.range(0, 2);
  for (int k = 0; k < dense; ++k) {
    std::vector<std::pair<int, double>> e;
    for (int j = 0; j < n; ++j)
      if (r.range(0, 2) != 0) e.push_back({j, static_cast<double>(r.range(-4, 5))});
    double lo = 0.0;
    for (auto [j, v] : e) lo += v < 0 ? v * d.upper[j] : v * d.lower[j];
    const char sense = "LGLR"[r.range(0, 3)];
    row(sense, sense == 'L' ? lo + r.range(6, 14) : lo + r.range(0, 3), e, sense == 'R' ? r.range(2, 6) : 0.0);
  }
  // 2 x1 <= 2k + 1 and 3 x2 >= fractional: rounding of singleton rows.
  row('L', 2 * r.range(0, 2) + 1, {{1, 2.0}});
  row('G', -2.5, {{2, 3.0}});
  // x4 - 2 x5 = rhs: an integer doubleton the aggregator may take.
  row('E', r.range(-2, 1), {{4, 1.0}, {5, -2.0}});
  // A row and its double.
  row('L', 4, {{0, 1.0}, {3, 2.0}, {6, 1.0}});
  row('L', 8, {{0, 2.0}, {3, 4.0}, {6, 2.0}});
  // x3 fixed.
  d.lower[3] = d.upper[3] = 0;
  // 2 x9 + 3 x10 = rhs: neither column may be rebuilt from the other, the
  // quotient need not be integral.
  const int x9 = d.addCol(r.range(-4, 4), 0, 3, {}), x10 = d.addCol(r.range(-4, 4), 0, 1, {});
  m.ctype += "II";
  row('E', r.range(2, 5), {{x9, 2.0}, {x10, 3.0}});
  // x8's column is half of x7's, its cost too: merged, x7 + x8 / 2 would
  // take half-integer values.
  const int k = r.range(1, 3) * (r.range(0, 1) ? 1 : -1);
  const int x7 = d.addCol(2 * k, 0, 2, {}), x8 = d.addCol(k, 0, 2, {});
  m.ctype += "II";
  row('L', r.range(3, 6), {{x7, 2.0}, {x8, 1.0}, {0, 2.0}});
  row('G', -1, {{x7, 4.0}, {x8, 2.0}, {1, -1.0}});
  if (continuous) {
    // y0 <= 6 b0, y0 in [0, 4]: the big-M shrinks to 4.
    const int y0 = d.addCol(r.range(-3, 3), 0, 4, {});
    m.ctype.push_back('C');
    row('L', 0, {{y0, 1.0}, {0, -6.0}});
    // y1 - 3 x1 = 0.5: a continuous column rebuilt from an integer one.
    const int y1 = d.addCol(r.range(-2, 2) + 0.5, -20, 20, {});
    m.ctype.push_back('C');
    row('E', 0.5, {{y1, 1.0}, {1, -3.0}});
    // A continuous singleton in an inequality, free enough to be implied free.
    const int y2 = d.addCol(r.range(-3, 3), -100, 100, {});
    m.ctype.push_back('C');
    row('L', 3, {{y2, 1.0}, {4, 1.0}, {6, -1.0}});
    // A continuous column parallel to the integer x7 (half its column and
    // cost): merged, the sum would be typed integer.
    const int y3 = d.addCol(k, 0, 1.5, {{d.numRows() - 2, 1.0}, {d.numRows() - 1, 2.0}});
    m.ctype.push_back('C');
    (void)y3;
    // Two integer columns with the same column and cost merge into their
    // sum, which must split back into integers.
    const int c2 = r.range(-3, 3);
    const int w0 = d.addCol(c2, 0, 2, {}), w1 = d.addCol(c2, -1, 1, {});
    m.ctype += "II";
    row('L', r.range(1, 3) + 0.5, {{w0, 1.0}, {w1, 1.0}, {y0, 0.5}});
    row('G', -1.5, {{w0, 2.0}, {w1, 2.0}, {5, -1.0}});
    // A parallel continuous pair with parallel costs.
    const double c = r.range(1, 3);
    const int z0 = d.addCol(c, 0, 2, {}), z1 = d.addCol(2 * c, 0, 1, {});
    m.ctype += "CC";
    row('G', 1.5, {{z0, 1.0}, {z1, 2.0}, {2, 1.0}});
    row('L', 5, {{z0, 1.0}, {z1, 2.0}, {5, 1.0}});
  } else {
    // An integer big-M row: x2 <= 5 b6 with x2 at most 3.
    row('L', 0, {{2, 1.0}, {6, -5.0}});
  }
  return m;
}

class MipPresolveTest : public ExactMipFixture {
protected:
  struct Outcome {
    int status = 0;
    double objective = 0.0;
    std::vector<double> x;
  };

  Outcome solve(const MipModel &m, int preind, const std::string &what) {
    QVNsetintparam(env, QVN_PARAM_PREIND, preind);
    Outcome out;
    EXPECT_EQ(loadMipModel(env, lp, m), 0) << what;
    EXPECT_EQ(QVNmipopt(env, lp), 0) << what;
    out.status = QVNgetstat(env, lp);
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what << " presolve " << preind;
    if (out.status == QVN_STAT_MIP_OPTIMAL) {
      out.x.assign(static_cast<size_t>(m.lp.numCols()), 0.0);
      EXPECT_EQ(QVNgetobjval(env, lp, &out.objective), 0) << what;
      EXPECT_EQ(QVNgetx(env, lp, out.x.data(), 0, m.lp.numCols() - 1), 0) << what;
      double bound = 0.0;
      EXPECT_EQ(QVNgetbestobjval(env, lp, &bound), 0) << what;
      EXPECT_TRUE(sameObjective(bound, out.objective)) << what << ": bound " << bound;
    }
    return out;
  }

  // With primal reductions only, presolve on must keep the known point x:
  // crushed onto the reduced problem, it satisfies that problem's rows,
  // bounds and integrality at the same objective. Returns false when no
  // reduced problem exists (presolve removed all or nothing).
  bool knownPointSurvives(const MipModel &m, const std::vector<double> &x, double objective,
                          const std::string &what) {
    QVNsetintparam(env, QVN_PARAM_PREIND, 1);
    QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
    EXPECT_EQ(loadMipModel(env, lp, m), 0) << what;
    EXPECT_EQ(QVNmipopt(env, lp), 0) << what;
    QVNsetintparam(env, QVN_PARAM_REDUCE, 3);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
    QVNCLPptr red = nullptr;
    EXPECT_EQ(QVNgetredlp(env, lp, &red), 0) << what;
    if (!red) return false;
    const MipModel reduced = readMipModel(env, const_cast<QVNLPptr>(red));
    std::vector<double> rx(static_cast<size_t>(reduced.lp.numCols()) + 1, 0.0);
    EXPECT_EQ(QVNcrushx(env, lp, x.data(), rx.data()), 0) << what;
    rx.resize(static_cast<size_t>(reduced.lp.numCols()));
    EXPECT_EQ(checkIntegerSolution(reduced, rx, objective, 1e-5), "") << what << ": the known optimum is cut off";
    // And the way back: the reduced point uncrushed is the original's equal.
    std::vector<double> back(x.size(), 0.0);
    EXPECT_EQ(QVNuncrushx(env, lp, back.data(), rx.data()), 0) << what;
    EXPECT_EQ(checkIntegerSolution(m, back, objective, 1e-5), "") << what;
    return true;
  }
};

TEST_F(MipPresolveTest, PresolveOnAndOffAgreeAndKeepTheKnownOptimum) {
  int reduced = 0, infeasible = 0, enumerated = 0, modified = 0, aggregated = 0;
  std::string log;
  ASSERT_EQ(captureMessages(env, &log, true, false), 0);
  for (int seed = 1; seed <= 60; ++seed) {
    const bool continuous = seed % 2 == 0;
    const MipModel m = presolveModel(static_cast<uint64_t>(seed), continuous);
    const std::string what = "seed " + std::to_string(seed);
    log.clear();
    const Outcome off = solve(m, 0, what);
    EXPECT_EQ(log, "") << what << ": a run at display 0 is silent";
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
    // Every setting of the reductions in turn; both kinds on most often.
    const int reduce[] = {3, 2, 3, 1, 3, 0};
    QVNsetintparam(env, QVN_PARAM_REDUCE, reduce[seed % 6]);
    const Outcome on = solve(m, 1, what + " reduce " + std::to_string(reduce[seed % 6]));
    QVNsetintparam(env, QVN_PARAM_REDUCE, 3);
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
    modified += log.find("MIP Presolve modified ") != std::string::npos;
    aggregated += log.find("Aggregator did ") != std::string::npos;
    if (!continuous) {
      double optimum = 0.0;
      const bool feasible = enumerateOptimum(m, &optimum);
      EXPECT_EQ(off.status, feasible ? QVN_STAT_MIP_OPTIMAL : QVN_STAT_MIP_INFEASIBLE) << what;
      if (feasible) {
        EXPECT_TRUE(sameObjective(off.objective, optimum)) << what;
      }
      ++enumerated;
    }
    if (off.status == QVN_STAT_MIP_INFEASIBLE) {
      // Infeasibility, or with fixings by the objective "infeasible or unbounded".
      EXPECT_TRUE(on.status == QVN_STAT_MIP_INFEASIBLE || on.status == QVN_STAT_MIP_INForUNBD) << what << " " << on.status;
      ++infeasible;
      continue;
    }
    ASSERT_EQ(off.status, QVN_STAT_MIP_OPTIMAL) << what;
    ASSERT_EQ(on.status, QVN_STAT_MIP_OPTIMAL) << what;
    EXPECT_TRUE(sameObjective(on.objective, off.objective)) << what << ": " << on.objective << " vs " << off.objective;
    // Integral within the default EPINT, as the solver promises.
    ASSERT_EQ(checkIntegerSolution(m, off.x, off.objective, 1e-5), "") << what;
    log.clear();
    if (knownPointSurvives(m, off.x, off.objective, what)) ++reduced;
    EXPECT_EQ(log, "") << what << ": presolve at display 0 is silent";
  }
  // The generator must reach both outcomes and leave work for the search.
  EXPECT_GT(infeasible, 0);
  EXPECT_GT(reduced, 15);
  EXPECT_EQ(enumerated, 30);
  EXPECT_GT(modified, 5);
  EXPECT_GT(aggregated, 5);
}

TEST_F(MipPresolveTest, VerdictsMessagesAndTheStartInTheCallersColumns) {
  std::string log;
  ASSERT_EQ(captureMessages(env, &log, true, false), 0);
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
  // 2 x = 3 over an integer: no integer point, found by presolve.
  MipModel odd;
  const int a = odd.lp.addRow('E', 3);
  odd.lp.addCol(1, 0, 5, {{a, 2}});
  odd.lp.addCol(1, 0, 5, {});
  odd.ctype = "II";
  ASSERT_EQ(loadMipModel(env, lp, odd), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  double none = 0.0;
  ASSERT_FALSE(enumerateOptimum(odd, &none));
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_INFEASIBLE);
  EXPECT_NE(log.find("Integer infeasible equality row"), std::string::npos) << log;
  // 3 x = 10000001 has no integer root (the rhs is 2 mod 3): no rounding
  // margin may admit a neighbour of 3333333.67.
  ASSERT_NE(10000001 % 3, 0);
  MipModel large;
  const int e = large.lp.addRow('E', 10000001);
  large.lp.addCol(1, 0, 1e8, {{e, 3}});
  large.lp.addCol(1, 0, 5, {});
  large.ctype = "II";
  ASSERT_EQ(loadMipModel(env, lp, large), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_INFEASIBLE);
  EXPECT_EQ(checkIncumbentOf(env, lp, large), "");
  // A row that forces a binary below 0: b - x <= -5 with x at most 4.
  log.clear();
  MipModel negative;
  const int b = negative.lp.addRow('L', -5);
  const int c = negative.lp.addRow('L', 10);
  negative.lp.addCol(-1, 0, 1, {{b, 1}, {c, 1}});
  negative.lp.addCol(1, 0, 4, {{b, -1}, {c, 1}});
  negative.ctype = "BI";
  ASSERT_EQ(loadMipModel(env, lp, negative), 0);
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  ASSERT_FALSE(enumerateOptimum(negative, &none));
  EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_INFEASIBLE);
  EXPECT_NE(log.find("implies binary variable 'C1' is negative.\n"), std::string::npos) << log;
  // A model presolve shrinks but does not solve: the log tells what went,
  // and a start given on the caller's columns is taken on the reduced ones.
  int found = 0;
  for (int seed = 2; seed <= 40 && found < 3; seed += 2) {
    const MipModel m = presolveModel(static_cast<uint64_t>(seed), true);
    const std::string what = "seed " + std::to_string(seed);
    QVNsetintparam(env, QVN_PARAM_PREIND, 0);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    if (QVNgetstat(env, lp) != QVN_STAT_MIP_OPTIMAL) continue;
    std::vector<double> x(static_cast<size_t>(m.lp.numCols()));
    double z = 0.0;
    ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, m.lp.numCols() - 1), 0);
    ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
    ASSERT_EQ(checkIntegerSolution(m, x, z, 1e-6), "") << what;
    QVNsetintparam(env, QVN_PARAM_PREIND, 1);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    // The start as a user gives it: the integer columns, at integers; the
    // continuous ones follow from the LP.
    std::vector<int> index;
    std::vector<double> value;
    for (size_t j = 0; j < x.size(); ++j)
      if (m.ctype[j] != 'C') {
        index.push_back(static_cast<int>(j));
        value.push_back(std::round(x[j]));
      }
    ASSERT_EQ(QVNcopymipstart(env, lp, static_cast<int>(index.size()), index.data(), value.data()), 0);
    log.clear();
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    if (log.find("All rows and columns eliminated.") != std::string::npos) continue;
    ++found;
    EXPECT_NE(log.find("MIP Presolve eliminated "), std::string::npos) << what << log;
    EXPECT_NE(log.find("MIP start values provide initial solution with objective"), std::string::npos) << what << log;
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
    double again = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &again), 0);
    EXPECT_TRUE(sameObjective(again, z)) << what;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
    // Solved, the call returns the stored status at once.
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
  }
  EXPECT_EQ(found, 3);
}

// A run through presolve stopped by the node limit keeps its tree on the
// reduced problem: the counters read through, and a second call goes on
// from there to the enumerated optimum.
TEST_F(MipPresolveTest, NodeLimitStopResumesOnTheReducedTree) {
  int resumed = 0;
  for (int seed = 1; seed <= 6 && resumed < 2; ++seed) {
    const MipModel m = knapsack(static_cast<uint64_t>(seed), 16);
    const std::string what = "seed " + std::to_string(seed);
    double optimum = 0.0;
    ASSERT_TRUE(enumerateOptimum(m, &optimum)) << what;
    QVNsetintparam(env, QVN_PARAM_NODELIM, 2);
    QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0) << what;
    const int stopped = QVNgetstat(env, lp);
    QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
    if (stopped != QVN_STAT_MIP_NODE_LIM_FEAS && stopped != QVN_STAT_MIP_NODE_LIM_INFEAS) continue;
    ++resumed;
    const int nodes = QVNgetnodecnt(env, lp);
    EXPECT_GE(nodes, 2) << what;
    EXPECT_GT(QVNgetnodeleftcnt(env, lp), 0) << what;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
    ASSERT_EQ(QVNmipopt(env, lp), 0) << what;
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
    EXPECT_GE(QVNgetnodecnt(env, lp), nodes) << what;
    double objective = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0);
    EXPECT_TRUE(sameObjective(objective, optimum)) << what << ": " << objective << " vs " << optimum;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
  }
  QVNsetintparam(env, QVN_PARAM_CUTPASS, 0);
  EXPECT_EQ(resumed, 2);
}

// Allocation failures anywhere in presolve, the reduced run or the way back:
// the call answers 0 or 1001, and an incumbent it reports holds on the
// original model. (Blocks are counted only around a clean run: the tree's own
// failure paths are not yet free of leaks.)
TEST_F(MipPresolveTest, AllocationFailuresLeaveAConsistentRun) {
  const qvntest::LeakCheckPause pause;
  // The first of the mixed models that has an optimum and a reduced problem.
  MipModel m;
  for (int seed = 2; seed <= 40; seed += 2) {
    m = presolveModel(static_cast<uint64_t>(seed), true);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    QVNCLPptr red = nullptr;
    ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
    if (red && QVNgetstat(env, lp) == QVN_STAT_MIP_OPTIMAL) break;
  }
  ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL);
  double optimum = 0.0;
  ASSERT_EQ(QVNgetobjval(env, lp, &optimum), 0);
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  const long live = qvn::allocLive();
  // The allocations of a whole run, each one or a sample of them made to fail.
  const long before = qvn::allocCount();
  ASSERT_EQ(QVNmipopt(env, lp), 0);
  const long total = qvn::allocCount() - before;
  ASSERT_EQ(loadMipModel(env, lp, m), 0);
  EXPECT_EQ(qvn::allocLive(), live);
  int failures = 0;
  bool done = false;
  for (long n = 1; n <= total; n += 1 + total / 400) {
    qvn::allocFailAfter(n);
    const int status = QVNmipopt(env, lp);
    qvn::allocFailAfter(0);
    ASSERT_TRUE(status == 0 || status == QVNERR_NO_MEMORY) << n << " " << status;
    failures += status != 0;
    if (status == 0) {
      EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << n;
      done = QVNgetstat(env, lp) == QVN_STAT_MIP_OPTIMAL;
      double z = 0.0;
      if (done) {
        ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
        EXPECT_TRUE(sameObjective(z, optimum)) << n;
      }
    }
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
  }
  EXPECT_TRUE(done);
  EXPECT_GT(failures, 0);
  takeErrors();
}

// Members of a set beyond the first nonzero one (two adjacent for SOS2).
int setFaults(const std::vector<double> &x, const std::vector<int> &members, char type) {
  int first = -1, faults = 0;
  for (size_t k = 0; k < members.size(); ++k) {
    if (std::fabs(x[members[k]]) <= 1e-6) continue;
    if (first < 0) first = static_cast<int>(k);
    else if (static_cast<int>(k) >= first + (type == '2' ? 2 : 1)) ++faults;
  }
  return faults;
}

// Sets through presolve: a member that a singleton row fixes at a nonzero
// value silences the rest of its SOS1, one fixed at 0 leaves it, an SOS2
// with a fixed member keeps the model unpresolved; on and off agree, and
// every incumbent holds its sets and the checker.
TEST_F(MipPresolveTest, SetsKeepTheirMeaningThroughPresolve) {
  int infeasible = 0, optimal = 0;
  for (int seed = 1; seed <= 24; ++seed) {
    TestRandom r(static_cast<uint64_t>(seed));
    MipModel m;
    m.lp.objSense = QVN_MAX;
    const char type = seed % 3 == 0 ? '2' : '1';
    const int cap = m.lp.addRow('L', r.range(8, 20));
    const int n = 5;
    std::vector<int> members;
    for (int j = 0; j < n; ++j)
      members.push_back(m.lp.addCol(r.range(1, 9), 0, r.range(1, 4), {{cap, static_cast<double>(r.range(1, 4))}}));
    m.ctype = std::string(static_cast<size_t>(n), 'C');
    // A member in no row at all, cheap: its cost alone would send it to its
    // upper bound, where the set silences the better members.
    members.push_back(m.lp.addCol(1, 0, 2, {}));
    m.ctype += "C";
    // In an SOS2, the middle member fixed at 0 and its neighbours the best:
    // they must not become adjacent.
    if (type == '2') {
      m.lp.obj[members[1]] = m.lp.obj[members[3]] = 20;
    }
    // An integer column beside them, tied to the first member.
    const int z = m.lp.addCol(r.range(1, 3), 0, 3, {});
    m.ctype += "I";
    const int link = m.lp.addRow('L', 4);
    m.lp.cols[z].push_back({link, 1.0});
    m.lp.cols[members[0]].push_back({link, 1.0});
    // A singleton row fixes one member: at 0, or at a value.
    const int fixed = type == '2' ? 2 : r.range(0, n - 1);
    const int value = type == '2' || seed % 4 == 0 ? 0 : r.range(0, 1);
    const int fix = m.lp.addRow('E', value);
    m.lp.cols[members[fixed]].push_back({fix, 1.0});
    if (seed % 5 == 0) {
      // A second member forced nonzero: the set cannot hold.
      const int other = m.lp.addRow('G', 1);
      m.lp.cols[members[(fixed + 2) % n]].push_back({other, 1.0});
    }
    std::vector<double> weights(members.size());
    for (size_t k = 0; k < members.size(); ++k) weights[k] = static_cast<double>(k + 1);
    const std::string what = "seed " + std::to_string(seed);
    double objective[2] = {0.0, 0.0};
    int status[2] = {0, 0};
    for (int preind = 0; preind <= 1; ++preind) {
      QVNsetintparam(env, QVN_PARAM_PREIND, preind);
      ASSERT_EQ(loadMipModel(env, lp, m), 0);
      const int start = 0;
      ASSERT_EQ(QVNaddsos(env, lp, 1, static_cast<int>(members.size()), &type, &start, members.data(),
                          weights.data(), nullptr),
                0);
      ASSERT_EQ(QVNmipopt(env, lp), 0) << what;
      status[preind] = QVNgetstat(env, lp);
      if (status[preind] != QVN_STAT_MIP_OPTIMAL) continue;
      ASSERT_EQ(QVNgetobjval(env, lp, &objective[preind]), 0);
      EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
      std::vector<double> x(static_cast<size_t>(m.lp.numCols()));
      ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, m.lp.numCols() - 1), 0);
      EXPECT_EQ(setFaults(x, members, type), 0) << what << " presolve " << preind;
    }
    EXPECT_EQ(status[0], status[1]) << what;
    if (status[0] == QVN_STAT_MIP_OPTIMAL) {
      ++optimal;
      EXPECT_TRUE(sameObjective(objective[0], objective[1])) << what << ": " << objective[0] << " vs " << objective[1];
    } else {
      ++infeasible;
    }
  }
  EXPECT_GT(optimal, 10);
  EXPECT_GT(infeasible, 0);
}

// MIPLIB models: the optimum of a run without presolve, checked by the
// checker and against the published value, survives the primal reductions;
// with every reduction on the run reaches the same optimum.
TEST_F(MipPresolveTest, MiplibOptimaSurvivePresolve) {
  constexpr double kEpint = 1e-5;
  std::string dir = sharedDataDir();
  if (dir.empty() && std::getenv("QUORVAN_SHARED_DATA")) dir = std::getenv("QUORVAN_SHARED_DATA");
  if (dir.empty() || !std::filesystem::exists(dir + "/miplib3/p0033.mps.gz")) GTEST_SKIP() << "shared data absent";
  QVNsetdblparam(env, QVN_PARAM_TILIM, 60.0);
  for (const char *name : {"p0033", "lseu", "egout", "gt2", "flugpl", "dsbmip"}) {
    const std::string file = dir + "/miplib3/" + name + ".mps.gz";
    double reference = 0.0;
    ASSERT_TRUE(referenceOptimum(dir, name, &reference)) << name;
    QVNsetintparam(env, QVN_PARAM_PREIND, 0);
    ASSERT_EQ(QVNreadcopyprob(env, lp, file.c_str(), nullptr), 0) << name;
    const MipModel m = readMipModel(env, lp);
    ASSERT_EQ(QVNmipopt(env, lp), 0) << name;
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << name;
    std::vector<double> x(static_cast<size_t>(m.lp.numCols()));
    double z = 0.0;
    ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, m.lp.numCols() - 1), 0);
    ASSERT_EQ(QVNgetobjval(env, lp, &z), 0);
    // Integrality is promised within EPINT (1e-5 by default): dsbmip's
    // incumbent may carry a binary at 0.999999 when its continuous columns
    // cannot be solved again around the exact value.
    ASSERT_EQ(checkIntegerSolution(m, x, z, kEpint), "") << name;
    ASSERT_LE(std::fabs(z - reference), 1e-6 * std::max(1.0, std::fabs(reference))) << name;
    // Primal reductions keep every feasible point, so this one.
    QVNsetintparam(env, QVN_PARAM_PREIND, 1);
    QVNsetintparam(env, QVN_PARAM_REDUCE, 1);
    ASSERT_EQ(QVNreadcopyprob(env, lp, file.c_str(), nullptr), 0) << name;
    ASSERT_EQ(QVNmipopt(env, lp), 0) << name;
    QVNsetintparam(env, QVN_PARAM_REDUCE, 3);
    QVNCLPptr red = nullptr;
    ASSERT_EQ(QVNgetredlp(env, lp, &red), 0);
    if (red) {
      const MipModel reduced = readMipModel(env, const_cast<QVNLPptr>(red));
      std::vector<double> rx(static_cast<size_t>(reduced.lp.numCols()) + 1, 0.0);
      ASSERT_EQ(QVNcrushx(env, lp, x.data(), rx.data()), 0) << name;
      rx.resize(static_cast<size_t>(reduced.lp.numCols()));
      EXPECT_EQ(checkIntegerSolution(reduced, rx, z, kEpint), "") << name << ": the known optimum is cut off";
    }
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << name;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << name;
    // Every reduction.
    ASSERT_EQ(QVNreadcopyprob(env, lp, file.c_str(), nullptr), 0) << name;
    ASSERT_EQ(QVNmipopt(env, lp), 0) << name;
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << name;
    double again = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &again), 0);
    EXPECT_LE(std::fabs(again - reference), 1e-6 * std::max(1.0, std::fabs(reference))) << name;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << name;
    // Taken back through the replay, the integer columns sit exactly on integers.
    ASSERT_EQ(QVNgetx(env, lp, x.data(), 0, m.lp.numCols() - 1), 0);
    EXPECT_EQ(checkIntegerSolution(m, x, again, 0.0), "") << name;
  }
  // harp2's root incumbent, found in the reduced problem, came back with a
  // binary at -25 when presolve substituted it on an implied bound whose row
  // had been dropped as redundant under that binary's own bound.
  const std::string harp2 = dir + "/miplib3/harp2.mps.gz";
  if (std::filesystem::exists(harp2)) {
    ASSERT_EQ(QVNreadcopyprob(env, lp, harp2.c_str(), nullptr), 0);
    const MipModel m = readMipModel(env, lp);
    QVNsetintparam(env, QVN_PARAM_NODELIM, 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_NODE_LIM_FEAS);
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "");
  }
}

} // namespace
} // namespace qvntest
