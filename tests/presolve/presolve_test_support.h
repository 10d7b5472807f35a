// Helpers of the presolve tests: solving a model with presolve on or off, and
// checking the replay of the log on its own, before any clean-up solve.
#pragma once
#include <string>

#include "support/lp_model.h"
#include "support/test_support.h"

namespace qvntest {

struct PresolveRun {
  int status = 0;
  LpSolution solution;
  int iterations = 0;
};

// Solves m with the optimizer and presolve on or off; the solution is read
// only for an optimal status.
PresolveRun solveModel(QVNENVptr env, const LpModel &m, int preind, int (*optimizer)(QVNCENVptr, QVNLPptr));

struct ReplayCheck {
  int presolveStatus = 0;     // QVNpresolve's answer
  int prestat = -1;           // QVNgetprestat: 0 nothing reduced, 1 reduced problem, 2 all eliminated
  int reducedRows = -1, reducedCols = -1;
  int reducedStatus = 0;      // of the reduced problem's solve (1 when all was eliminated)
  std::string uncrushFault;   // checkOptimal of the replayed solution, "" when it holds
  std::string basisFault;     // basis count or clean-up trouble, "" when fine
  int cleanupIterations = -1; // primal iterations from the replayed basis
  int dependentRows = -1;     // equality rows the dependency checker dropped
};

// QVNpresolve, dual simplex on the reduced problem, replay of solution and
// basis, the KKT test of the replayed solution on the original model, and a
// primal run from the replayed basis.
ReplayCheck checkReplay(QVNENVptr env, const LpModel &m, double tol = 1e-8);


// min x0 + x1 + x2 + x3 - x4
//  r0: x0 + x1 + x2 >= 2, r1: x1 + 2 x2 + x3 >= 3 (both stay),
//  r2: x3 = 1 (a singleton equality that fixes x3),
//  r3: x0 - x1 + x2 <= 10 (redundant with the bounds),
//  x4 in no row, cost -1 and upper bound 2: goes to 2. x in [0, 3].
// Optimum 1: x3 = 1, x2 = 1 and x0 or x1 at 1.
LpModel smallPresolveModel();

// A netlib model of the data directory read into an LpModel (empty when it
// cannot be read).
LpModel readNetlibModel(QVNENVptr env, const std::string &dataDir, const std::string &name);

// The reference objective of a netlib model (without the constant of its
// objective row) from the data directory's reference.tsv; NaN when absent.
double referenceObjective(const std::string &dataDir, const std::string &name);

} // namespace qvntest
