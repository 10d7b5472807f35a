// The primal heuristics: every point they offer passes the independent
// checker; runs with them on and off agree with each other and with
// enumeration; each heuristic alone finds a point on a model where that is
// easy; the node LP comes back from every heuristic with the bounds and
// optimum it had; a run repeats exactly; and the parameters that switch
// heuristics on and off do what they say.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "mip/heuristics/heuristics.h"
#include "mip/heuristics/submip.h"
#include "mip/mip_check.h"
#include "mip/mip_models.h"
#include "mip/mip_search.h"
#include "simplex/engine.h"
#include "support/test_support.h"

namespace qvntest {
namespace {

// Hidden parameters: solution polishing interval and the feasibility pump.
constexpr int kPolishInterval = 2090;
constexpr int kPump = 2098;

// Binaries y_i open facility i (capacity cap_i, fixed cost f_i); continuous
// x_ij >= 0 ship to customer j (demand d_j) at unit cost c_ij:
// min sum f y + sum c x, sum_i x_ij >= d_j, sum_j x_ij <= cap_i y_i.
MipModel facilityLocation(uint64_t seed, int facilities, int customers) {
  TestRandom r(seed);
  MipModel m;
  std::vector<int> demandRow(static_cast<size_t>(customers)), capacityRow(static_cast<size_t>(facilities));
  double total = 0.0;
  for (int j = 0; j < customers; ++j) {
    const int d = r.range(2, 9);
    total += d;
    demandRow[j] = m.lp.addRow('G', d);
  }
  for (int i = 0; i < facilities; ++i) capacityRow[i] = m.lp.addRow('L', 0);
  for (int i = 0; i < facilities; ++i)
    m.lp.addCol(r.range(10, 40), 0, 1, {{capacityRow[i], -std::ceil(total / 2.0) - r.range(0, 6)}});
  for (int i = 0; i < facilities; ++i)
    for (int j = 0; j < customers; ++j) m.lp.addCol(r.range(1, 9), 0, 1e20, {{demandRow[j], 1}, {capacityRow[i], 1}});
  m.ctype.assign(static_cast<size_t>(facilities), 'B');
  m.ctype.append(static_cast<size_t>(facilities * customers), 'C');
  return m;
}

class HeuristicsTest : public ExactMipFixture {
protected:
  // Every heuristic switched on, at every node where that makes sense.
  void allHeuristicsOften() {
    QVNsetintparam(env, QVN_PARAM_HEURFREQ, 1);
    QVNsetintparam(env, QVN_PARAM_RINSHEUR, 2);
    QVNsetintparam(env, QVN_PARAM_LBHEUR, 1);
    QVNsetintparam(env, kPolishInterval, 3);
    QVNsetintparam(env, kPump, 1);
  }
  void noHeuristics() {
    QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
    QVNsetintparam(env, QVN_PARAM_RINSHEUR, 0);
    QVNsetintparam(env, QVN_PARAM_LBHEUR, 0);
    QVNsetintparam(env, kPolishInterval, 0);
    QVNsetintparam(env, kPump, 0);
  }
  // Solves m afresh; the objective, or NAN without an incumbent.
  double solve(const MipModel &m, const std::string &what) {
    EXPECT_EQ(loadMipModel(env, lp, m), 0) << what;
    EXPECT_EQ(QVNmipopt(env, lp), 0) << what;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << what;
    double z = NAN;
    if (QVNgetobjval(env, lp, &z) != 0) return NAN;
    return z;
  }
  // A run context on the search that a finished run left on lp, with its
  // node LP re-solved at the root.
  qvn::MipRun contextOf() {
    qvn::MipRun run{};
    run.env = env;
    run.lp = lp;
    run.model = lp->lpData;
    run.search = lp->mipSearch;
    run.sense = lp->lpData->objSense >= 0 ? 1 : -1;
    run.control.epint = 1e-5;
    run.control.display = 0;
    run.control.start = qvn::startLimitClock(env);
    int status = 0;
    EXPECT_EQ(qvn::relaxSolve(*run.search->nodeLp, qvn::RelaxSolveLimits{}, &status), 0);
    EXPECT_EQ(status, qvn::kRunOptimal);
    return run;
  }
  // The root with no incumbent: heuristics off and no node allowed.
  void rootWithoutIncumbent(const MipModel &m) {
    noHeuristics();
    QVNsetintparam(env, QVN_PARAM_NODELIM, 0);
    ASSERT_EQ(loadMipModel(env, lp, m), 0);
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    ASSERT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_NODE_LIM_INFEAS) << "the root LP must be fractional";
  }
  // Runs `h` on the root's node LP and checks that it left the LP as it was;
  // returns whether a point was found and, when one was, checks it.
  bool runAlone(const MipModel &m, const std::function<int(qvn::MipRun &, bool *)> &h, const std::string &what) {
    qvn::MipRun run = contextOf();
    qvn::LpRelaxation &r = *run.search->nodeLp;
    const int n = qvn::relaxNumCols(r);
    std::vector<double> lo(n), up(n), lo2(n), up2(n);
    for (int j = 0; j < n; ++j) qvn::relaxGetBounds(r, j, &lo[j], &up[j]);
    const double objective = qvn::relaxObjective(r);
    const std::vector<double> x(qvn::relaxPrimal(r), qvn::relaxPrimal(r) + n);
    bool found = false;
    EXPECT_EQ(h(run, &found), 0) << what;
    for (int j = 0; j < n; ++j) qvn::relaxGetBounds(r, j, &lo2[j], &up2[j]);
    EXPECT_EQ(lo, lo2) << what << ": bounds left changed";
    EXPECT_EQ(up, up2) << what << ": bounds left changed";
    // A sub-MIP re-solves the node LP first, which may move the last digits.
    EXPECT_NEAR(qvn::relaxObjective(r), objective, 1e-9 * (1 + std::fabs(objective))) << what;
    for (int j = 0; j < n; ++j) EXPECT_NEAR(qvn::relaxPrimal(r)[j], x[j], 1e-9) << what << " column " << j;
    const qvn::IncumbentStore &inc = run.search->incumbent;
    if (found) {
      EXPECT_TRUE(inc.exists) << what;
    }
    if (inc.exists) {
      const std::vector<double> point(inc.x.begin(), inc.x.end());
      EXPECT_EQ(checkIntegerSolution(m, point, run.sense * inc.objective, 1e-9), "") << what;
    }
    return found;
  }
};

TEST_F(HeuristicsTest, OnAndOffAgreeWithEnumeration) {
  int heuristicPoints = 0;  // the runs with heuristics must have used them
  auto countPoints = [&]() {
    if (lp->mipSearch && lp->mipSearch->heuristics) heuristicPoints += lp->mipSearch->heuristics->callsFound;
  };
  for (int seed = 1; seed <= 12; ++seed) {
    const MipModel models[] = {knapsack(seed, 14), setCover(seed, 12, 9), randomIntegerModel(seed, 6, 4)};
    for (int k = 0; k < 3; ++k) {
      const std::string what = "seed " + std::to_string(seed) + " model " + std::to_string(k);
      double optimum = 0.0;
      const bool feasible = enumerateOptimum(models[k], &optimum);
      noHeuristics();
      const double off = solve(models[k], what + " off");
      allHeuristicsOften();
      const double on = solve(models[k], what + " on");
      countPoints();
      if (!feasible) {
        EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_INFEASIBLE) << what;
        continue;
      }
      EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_OPTIMAL) << what;
      EXPECT_TRUE(sameObjective(off, optimum)) << what << ": off " << off << " vs " << optimum;
      EXPECT_TRUE(sameObjective(on, optimum)) << what << ": on " << on << " vs " << optimum;
    }
  }
  // Mixed models: continuous flows beside the binaries; the two runs agree.
  for (int seed = 1; seed <= 8; ++seed) {
    const MipModel m = facilityLocation(seed, 4, 5);
    const std::string what = "facility seed " + std::to_string(seed);
    noHeuristics();
    const double off = solve(m, what + " off");
    allHeuristicsOften();
    const double on = solve(m, what + " on");
    countPoints();
    EXPECT_TRUE(sameObjective(on, off)) << what << ": " << on << " vs " << off;
  }
  EXPECT_GT(heuristicPoints, 20);
}

TEST_F(HeuristicsTest, RootHeuristicFindsAPointBeforeAnyNode) {
  const MipModel models[] = {knapsack(5, 20), setCover(6, 16, 12), facilityLocation(3, 5, 6)};
  for (int k = 0; k < 3; ++k) {
    const std::string what = "model " + std::to_string(k);
    rootWithoutIncumbent(models[k]);
    QVNsetintparam(env, QVN_PARAM_HEURFREQ, 0);
    EXPECT_FALSE(std::isnan(solve(models[k], what))) << what;
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_NODE_LIM_FEAS) << what;
  }
}

TEST_F(HeuristicsTest, EachHeuristicAloneFindsAPointWhereThatIsEasy) {
  using qvn::MipRun;
  // Rounding: covering rows round up, packing rows round down, and the
  // flows of a facility model are repaired without an LP.
  const MipModel easy[] = {setCover(2, 14, 10), knapsack(2, 16)};
  for (int k = 0; k < 2; ++k) {
    rootWithoutIncumbent(easy[k]);
    EXPECT_TRUE(runAlone(easy[k], [](MipRun &run, bool *found) {
      return qvn::roundingHeuristic(run, qvn::relaxPrimal(*run.search->nodeLp), found);
    }, "rounding " + std::to_string(k)));
  }
  // Each dive mode, on a fresh root each time.
  for (int mode = 0; mode < qvn::kDiveModeCount; ++mode)
    for (int k = 0; k < 2; ++k) {
      const MipModel m = k == 0 ? knapsack(7, 18) : setCover(7, 14, 10);
      rootWithoutIncumbent(m);
      const std::string what = "dive mode " + std::to_string(mode) + " model " + std::to_string(k);
      EXPECT_TRUE(runAlone(m, [mode](MipRun &run, bool *found) {
        double iterations = 0.0;
        return qvn::diveHeuristic(run, mode, found, &iterations);
      }, what)) << what;
    }
  // The feasibility pump.
  for (int k = 0; k < 2; ++k) {
    const MipModel m = k == 0 ? knapsack(8, 18) : setCover(8, 14, 10);
    rootWithoutIncumbent(m);
    EXPECT_TRUE(runAlone(m, [](MipRun &run, bool *found) { return qvn::feasibilityPump(run, found); },
                         "pump " + std::to_string(k)));
  }
  // The sub-MIP engine: a copy with nothing fixed is the model itself, so it
  // finds the optimum; a copy whose fixings leave nothing feasible finds none.
  {
    const MipModel m = knapsack(9, 14);
    double optimum = 0.0;
    ASSERT_TRUE(enumerateOptimum(m, &optimum));
    rootWithoutIncumbent(m);
    EXPECT_TRUE(runAlone(m, [](MipRun &run, bool *found) {
      return qvn::solveRestrictedCopy(run, qvn::SubMipFixing{}, 2100000000, found);
    }, "sub-MIP"));
    EXPECT_TRUE(sameObjective(-lp->mipSearch->incumbent.objective, optimum));
    // A better point than the optimum does not exist: the child finds nothing.
    EXPECT_FALSE(runAlone(m, [](MipRun &run, bool *found) {
      return qvn::solveRestrictedCopy(run, qvn::SubMipFixing{}, 2100000000, found);
    }, "sub-MIP past the optimum"));
  }
  // RINS, polishing and local branching improve on a poor incumbent (the
  // all-zero packing, or all columns of a cover) or leave it alone.
  const MipModel covers[] = {knapsack(10, 22), setCover(10, 18, 12)};
  for (int k = 0; k < 2; ++k) {
    const MipModel &m = covers[k];
    for (int mode : {int(qvn::kSubMipRins), int(qvn::kSubMipPolish), int(qvn::kSubMipLpIntegral), -1}) {
      const std::string what = "model " + std::to_string(k) + " sub-MIP mode " + std::to_string(mode);
      rootWithoutIncumbent(m);
      qvn::MipRun run = contextOf();
      std::vector<double> poor(m.lp.numCols(), k == 0 ? 0.0 : 1.0);
      ASSERT_TRUE(qvn::offerIncumbent(run, poor.data(), 0, true)) << what;
      const double before = run.search->incumbent.objective;
      const bool found = runAlone(m, [mode](MipRun &r, bool *hit) {
        return mode < 0 ? qvn::localBranching(r, hit) : qvn::subMipSolve(r, mode, 2100000000, hit);
      }, what);
      // RINS fixes where the LP agrees with the incumbent: with every column
      // of a cover at 1 that may be too little to start at all.
      if (mode != qvn::kSubMipRins || k == 0) {
        EXPECT_TRUE(found) << what;
      }
      EXPECT_LE(run.search->incumbent.objective, before) << what;
    }
  }
}

TEST_F(HeuristicsTest, RunsRepeat) {
  const MipModel models[] = {knapsack(21, 30), facilityLocation(5, 6, 8)};
  for (const MipModel &m : models) {
    allHeuristicsOften();
    const double first = solve(m, "first");
    const int nodes = QVNgetnodecnt(env, lp), iterations = QVNgetmipitcnt(env, lp);
    const double second = solve(m, "second");
    EXPECT_EQ(first, second);
    EXPECT_EQ(nodes, QVNgetnodecnt(env, lp));
    EXPECT_EQ(iterations, QVNgetmipitcnt(env, lp));
  }
}

TEST_F(HeuristicsTest, SwitchesDoWhatTheySay) {
  // HEURFREQ -1 leaves a RINS frequency that the caller set. Without cuts
  // the tree goes on long after its first incumbent.
  const MipModel m = knapsack(31, 40);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
  noHeuristics();
  QVNsetintparam(env, QVN_PARAM_RINSHEUR, 1);
  solve(m, "RINS only");
  ASSERT_NE(lp->mipSearch, nullptr);
  ASSERT_NE(lp->mipSearch->heuristics, nullptr);
  EXPECT_GT(lp->mipSearch->heuristics->subMipCalls, 0) << QVNgetnodecnt(env, lp) << " nodes, incumbent at " << lp->mipSearch->incumbent.node;
  // Without it nothing starts a sub-MIP.
  noHeuristics();
  solve(m, "nothing");
  EXPECT_TRUE(lp->mipSearch->heuristics == nullptr || lp->mipSearch->heuristics->subMipCalls == 0);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, 0);

  // An infeasible MIP start is kept for repair; REPAIRTRIES -1 never repairs,
  // 1 repairs at the root and says how it went.
  const MipModel cover = setCover(32, 16, 12);
  std::vector<int> index(cover.lp.numCols());
  std::vector<double> none(cover.lp.numCols(), 0.0);
  for (int j = 0; j < cover.lp.numCols(); ++j) index[j] = j;
  for (int tries : {-1, 1}) {
    noHeuristics();
    QVNsetintparam(env, QVN_PARAM_REPAIRTRIES, tries);
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 1);
    QVNsetintparam(env, QVN_PARAM_NODELIM, 0);
    ASSERT_EQ(loadMipModel(env, lp, cover), 0);
    ASSERT_EQ(QVNcopymipstart(env, lp, cover.lp.numCols(), index.data(), none.data()), 0);
    log.clear();
    ASSERT_EQ(QVNmipopt(env, lp), 0);
    EXPECT_EQ(checkIncumbentOf(env, lp, cover), "");
    const std::string &text = log;
    const bool said = text.find("Repair heuristic succeeded.\n") != std::string::npos ||
                      text.find("Repair heuristic found nothing.\n") != std::string::npos;
    EXPECT_NE(text.find("Retaining MIP start values for possible repair.\n"), std::string::npos) << text;
    EXPECT_EQ(said, tries > 0) << text;
    EXPECT_EQ(lp->mipSearch->heuristics->subMipCalls, tries > 0 ? 1 : 0);
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
    QVNsetintparam(env, QVN_PARAM_NODELIM, 2100000000);
    QVNsetintparam(env, QVN_PARAM_REPAIRTRIES, 0);
  }
}

TEST_F(HeuristicsTest, MiplibRootPointsPassTheChecker) {
  const std::string dir = sharedDataDir();
  if (dir.empty()) GTEST_SKIP() << "shared data absent";
  // Before any node, the root heuristics give a point that the checker takes
  // and that is no better than the published optimum (both minimize).
  QVNsetintparam(env, QVN_PARAM_NODELIM, 0);
  QVNsetdblparam(env, QVN_PARAM_TILIM, 60.0);  // a guard: the root takes well under a second
  for (const char *model : {"bell5"}) {
    double optimum = 0.0;
    ASSERT_TRUE(referenceOptimum(dir, model, &optimum)) << model;
    ASSERT_EQ(QVNreadcopyprob(env, lp, (dir + "/miplib3/" + model + ".mps.gz").c_str(), nullptr), 0) << model;
    const MipModel m = readMipModel(env, lp);
    ASSERT_EQ(QVNmipopt(env, lp), 0) << model;
    EXPECT_EQ(QVNgetstat(env, lp), QVN_STAT_MIP_NODE_LIM_FEAS) << model;
    double objective = 0.0;
    ASSERT_EQ(QVNgetobjval(env, lp, &objective), 0) << model;
    EXPECT_GE(objective, optimum - 1e-6 * std::max(1.0, std::fabs(optimum))) << model;
    EXPECT_EQ(checkIncumbentOf(env, lp, m), "") << model;
  }
}

} // namespace
} // namespace qvntest
