// A plain LP held by a test, with the independent optimality check that every
// solver test applies to what the library returns.
#pragma once
#include <string>
#include <vector>

#include "quorvan.h"

namespace qvntest {

struct LpModel {
  int objSense = QVN_MIN;
  std::vector<double> obj, lower, upper;  // per column
  std::vector<double> rhs, range;         // per row
  std::vector<char> sense;
  std::vector<std::vector<std::pair<int, double>>> cols;  // (row, value) per column

  int numCols() const { return static_cast<int>(obj.size()); }
  int numRows() const { return static_cast<int>(rhs.size()); }
  int addCol(double c, double lb, double ub, std::vector<std::pair<int, double>> entries = {});
  int addRow(char s, double b, double r = 0.0);
  void set(int row, int col, double value);
  // Copies the model into lp with QVNcopylp.
  int load(QVNENVptr env, QVNLPptr lp) const;
};

// Reads the whole model of lp back through the public getters.
LpModel readModel(QVNENVptr env, QVNLPptr lp);

struct LpSolution {
  int status = 0;
  double objective = 0.0;
  std::vector<double> x, slack, pi, dj;
};

// Reads status, objective and all vectors; the call's error number is returned.
int readSolution(QVNENVptr env, QVNLPptr lp, const LpModel &m, LpSolution &s);

// Checks an optimal solution against the model: bounds and rows within tol,
// slacks and reduced costs consistent with pi, reduced costs and duals of the
// right sign, complementary slackness, and the objective value. Returns an
// empty string when everything holds, else a description of the first fault.
std::string checkOptimal(const LpModel &m, const LpSolution &s, double tol = 1e-9);

} // namespace qvntest
