#include "presolve/presolve_test_support.h"

#include <cmath>
#include <fstream>
#include <sstream>

#include "model/problem.h"
#include "presolve/presolve_state.h"

namespace qvntest {

PresolveRun solveModel(QVNENVptr env, const LpModel &m, int preind, int (*optimizer)(QVNCENVptr, QVNLPptr)) {
  PresolveRun run;
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "presolve");
  if (m.load(env, lp) != 0) ADD_FAILURE() << "load failed";
  QVNsetintparam(env, QVN_PARAM_PREIND, preind);
  EXPECT_EQ(optimizer(env, lp), 0);
  run.status = QVNgetstat(env, lp);
  run.iterations = QVNgetitcnt(env, lp);
  if (run.status == QVN_STAT_OPTIMAL) {
    EXPECT_EQ(readSolution(env, lp, m, run.solution), 0);
  }
  QVNsetintparam(env, QVN_PARAM_PREIND, 1);
  QVNfreeprob(env, &lp);
  return run;
}

ReplayCheck checkReplay(QVNENVptr env, const LpModel &m, double tol) {
  ReplayCheck c;
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "replay");
  if (m.load(env, lp) != 0) ADD_FAILURE() << "load failed";
  c.presolveStatus = QVNpresolve(env, lp, 2);
  if (c.presolveStatus != 0) {
    QVNfreeprob(env, &lp);
    return c;
  }
  EXPECT_EQ(QVNgetprestat(env, lp, &c.prestat, nullptr, nullptr, nullptr, nullptr), 0);
  if (c.prestat == 0) {
    QVNfreeprob(env, &lp);
    return c;
  }
  const PresolveState &s = *lp->presolved;
  c.dependentRows = s.dependentRows;
  QVNCLPptr red = nullptr;
  EXPECT_EQ(QVNgetredlp(env, lp, &red), 0);
  c.reducedRows = red ? QVNgetnumrows(env, red) : 0;
  c.reducedCols = red ? QVNgetnumcols(env, red) : 0;
  qvn::ReducedSolution in;
  c.reducedStatus = 1;
  if (red) {
    QVNsetintparam(env, QVN_PARAM_PREIND, 0);
    EXPECT_EQ(QVNdualopt(env, const_cast<QVNLPptr>(red)), 0);
    QVNsetintparam(env, QVN_PARAM_PREIND, 1);
    c.reducedStatus = QVNgetstat(env, red);
    in.x = red->solution->x.data();
    in.pi = red->solution->pi.data();
    in.dj = red->solution->dj.data();
    in.colStatus = red->basisData->colStatus.data();
    in.rowStatus = red->basisData->rowStatus.data();
  }
  if (c.reducedStatus != QVN_STAT_OPTIMAL) {
    QVNfreeprob(env, &lp);
    return c;
  }
  const int n = m.numCols(), rows = m.numRows();
  LpSolution sol;
  sol.x.assign(n + 1, 0.0), sol.dj.assign(n + 1, 0.0), sol.pi.assign(rows + 1, 0.0), sol.slack.assign(rows + 1, 0.0);
  std::vector<int> colStatus(n + 1, -1), rowStatus(rows + 1, -1);
  qvn::OriginalSolution out{sol.x.data(), sol.slack.data(), sol.pi.data(), sol.dj.data(), colStatus.data(),
                            rowStatus.data()};
  qvn::uncrush(lp, s, in, out);
  sol.objective = 0;
  for (int j = 0; j < n; ++j) sol.objective += m.obj[j] * sol.x[j];
  for (int i = 0; i < rows; ++i) sol.slack[i] = m.rhs[i] - sol.slack[i];
  c.uncrushFault = checkOptimal(m, sol, tol);
  int basics = 0;
  for (int j = 0; j < n; ++j) basics += colStatus[j] == 1;
  for (int i = 0; i < rows; ++i) basics += rowStatus[i] == 1;
  if (basics != rows) c.basisFault = "basis has " + std::to_string(basics) + " basics for " + std::to_string(rows) + " rows";
  // The replayed basis on the original, solved by the primal loop alone.
  if (!lp->basisData) lp->basisData = qvn::envNew<qvn::BasisData>();
  lp->basisData->colStatus.assign(colStatus.begin(), colStatus.begin() + n);
  lp->basisData->rowStatus.assign(rowStatus.begin(), rowStatus.begin() + rows);
  QVNsetintparam(env, QVN_PARAM_PREIND, 0);
  QVNsetintparam(env, QVN_PARAM_ADVIND, 1);
  EXPECT_EQ(QVNprimopt(env, lp), 0);
  QVNsetintparam(env, QVN_PARAM_PREIND, 1);
  if (QVNgetstat(env, lp) != QVN_STAT_OPTIMAL) c.basisFault += " clean-up not optimal";
  c.cleanupIterations = QVNgetitcnt(env, lp);
  QVNfreeprob(env, &lp);
  return c;
}

LpModel smallPresolveModel() {
  LpModel m;
  m.addRow('G', 2), m.addRow('G', 3), m.addRow('E', 1), m.addRow('L', 10);
  m.addCol(1, 0, 3, {{0, 1}, {3, 1}});
  m.addCol(1, 0, 3, {{0, 1}, {1, 1}, {3, -1}});
  m.addCol(1, 0, 3, {{0, 1}, {1, 2}, {3, 1}});
  m.addCol(1, 0, 3, {{1, 1}, {2, 1}});
  m.addCol(-1, 0, 2);
  return m;
}

LpModel readNetlibModel(QVNENVptr env, const std::string &dataDir, const std::string &name) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, name.c_str());
  LpModel m;
  if (QVNreadcopyprob(env, lp, (dataDir + "/netlib/" + name + ".mps.gz").c_str(), nullptr) == 0) m = readModel(env, lp);
  QVNfreeprob(env, &lp);
  return m;
}

double referenceObjective(const std::string &, const std::string &name) {
  const auto optima = referenceOptima("netlib");
  const auto it = optima.find(name);
  return it == optima.end() ? NAN : it->second;
}

} // namespace qvntest
