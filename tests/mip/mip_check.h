// What every MIP test checks its answers with: a checker of integer
// solutions that reads the model back through the public getters and shares
// no code with the solver, and brute-force enumeration of small models.
#pragma once
#include <string>
#include <vector>

#include "quorvan.h"
#include "support/lp_model.h"
#include "support/test_support.h"

namespace qvntest {

struct MipModel {
  LpModel lp;
  std::string ctype;  // one letter per column
  double offset = 0.0;
};

MipModel readMipModel(QVNENVptr env, QVNLPptr lp);
// Loads the model into lp (columns, rows, types).
int loadMipModel(QVNENVptr env, QVNLPptr lp, const MipModel &m);

// Empty when x is an integer solution of the model: integer columns within
// epint of an integer, semi-continuous columns off or inside their range,
// bounds and rows within 1e-6 (absolute, scaled by the size of the row's
// right-hand side above 1), and `objective` equal to the objective of x
// within 1e-6 relative. Else a description of the first fault.
std::string checkIntegerSolution(const MipModel &m, const std::vector<double> &x, double objective,
                                 double epint);

// Reads the incumbent of lp (status, objective, x) and checks it; also
// checks that QVNgetx and QVNgetslack agree with it. Empty when all holds or
// when the run has no incumbent.
std::string checkIncumbentOf(QVNENVptr env, QVNLPptr lp, const MipModel &m);

// Optimum of a pure integer model with finite bounds by enumeration of every
// point, in the model's sense; false when no point is feasible. `limit`
// bounds the number of points tried (the test fails beyond it).
// The published optimum of a MIPLIB model from DIR/miplib3/reference.tsv;
// false when it is absent or not proven.
bool referenceOptimum(const std::string &dir, const std::string &model, double *value);

bool enumerateOptimum(const MipModel &m, double *optimum, long limit = 2000000);

// True when the objective values agree within 1e-6 relative (1e-6 absolute near 0).
bool sameObjective(double a, double b);

// A problem fixture for runs whose optimum is compared exactly: no node log,
// and no gap tolerance that could end a run before the optimum is proved.
class ExactMipFixture : public ProblemFixture {
protected:
  void SetUp() override {
    ProblemFixture::SetUp();
    QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
    QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
    QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  }
};

} // namespace qvntest
