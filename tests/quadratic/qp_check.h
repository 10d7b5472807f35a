// A QP held by a test and the check of its optimality conditions that
// every QP test applies to what the library returns; it shares nothing with
// the solver but the model.
#pragma once
#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "support/lp_model.h"

namespace qvntest {

struct QpModel {
  LpModel lp;
  std::vector<std::tuple<int, int, double>> q;  // both triangles, (row, col, value)
};

inline int loadQp(QVNENVptr env, QVNLPptr lp, const QpModel &m) {
  int status = m.lp.load(env, lp);
  if (status != 0) return status;
  const int n = m.lp.numCols();
  std::vector<int> start(n, 0), count(n, 0), index;
  std::vector<double> value;
  for (int j = 0; j < n; ++j) {
    start[j] = static_cast<int>(index.size());
    for (const auto &[r, c, v] : m.q)
      if (c == j) index.push_back(r), value.push_back(v), ++count[j];
  }
  index.push_back(0), value.push_back(0.0);  // never read: keeps data() valid for an empty Q
  return QVNcopyquad(env, lp, start.data(), count.data(), index.data(), value.data());
}

// The optimality conditions of the QP at (x, pi), computed from the model
// alone; "" when they hold within tol: feasibility absolutely, the products
// of complementarity relative to 1 + |objective| (the barrier closes the
// gap relative to the objective).
inline std::string kktFault(const QpModel &qm, const std::vector<double> &x, const std::vector<double> &pi, double tol) {
  const LpModel &m = qm.lp;
  double objective = 0.0;
  for (int j = 0; j < m.numCols(); ++j) objective += m.obj[j] * x[j];
  for (const auto &[r, c, v] : qm.q) objective += 0.5 * x[r] * v * x[c];
  const double compTol = tol * (1.0 + std::fabs(objective));
  const int n = m.numCols(), rows = m.numRows();
  const double sense = m.objSense == QVN_MAX ? -1.0 : 1.0;
  std::vector<double> activity(rows, 0.0), z(n, 0.0);
  for (int j = 0; j < n; ++j) {
    if (x[j] < m.lower[j] - tol || x[j] > m.upper[j] + tol) return "bound of column " + std::to_string(j);
    z[j] = m.obj[j];
    for (const auto &[r, v] : m.cols[j]) activity[r] += v * x[j], z[j] -= v * pi[r];
  }
  for (const auto &[r, c, v] : qm.q) z[r] += v * x[c];
  for (int i = 0; i < rows; ++i) {
    const double slack = activity[i] - m.rhs[i];
    const double y = sense * pi[i];  // minimization sense: >= rows take y >= 0
    switch (m.sense[i]) {
    case 'L':
      if (slack > tol) return "row " + std::to_string(i) + " violated";
      if (y > tol || std::fabs(y * slack) > compTol) return "dual of row " + std::to_string(i);
      break;
    case 'G':
      if (slack < -tol) return "row " + std::to_string(i) + " violated";
      if (y < -tol || std::fabs(y * slack) > compTol) return "dual of row " + std::to_string(i);
      break;
    default:
      if (std::fabs(slack) > tol) return "row " + std::to_string(i) + " violated";
    }
  }
  for (int j = 0; j < n; ++j) {
    const double dj = sense * z[j];  // minimization sense
    const double below = x[j] - m.lower[j], above = m.upper[j] - x[j];
    if (dj > tol && std::min(below, 1.0) * dj > compTol)
      return "stationarity of column " + std::to_string(j) + " (up)";
    if (dj < -tol && std::min(above, 1.0) * -dj > compTol)
      return "stationarity of column " + std::to_string(j) + " (down)";
  }
  return "";
}

// "" when the reported reduced costs are c + Qx - A'pi within tol.
inline std::string reducedCostFault(const QpModel &qm, const std::vector<double> &x, const std::vector<double> &pi,
                                    const std::vector<double> &dj, double tol) {
  const LpModel &m = qm.lp;
  std::vector<double> z(m.obj);
  for (int j = 0; j < m.numCols(); ++j)
    for (const auto &[r, v] : m.cols[j]) z[j] -= v * pi[r];
  for (const auto &[r, c, v] : qm.q) z[r] += v * x[c];
  for (int j = 0; j < m.numCols(); ++j)
    if (std::fabs(z[j] - dj[j]) > tol * (1.0 + std::fabs(z[j]))) return "reduced cost of column " + std::to_string(j);
  return "";
}


// How far the objective at x can be from the optimum at most, proved by the
// Lagrangian bound of (x, pi): for a convex Q and any duals y of the right
// signs, min f >= -1/2 x'Qx + min over the box of (c + Qx - A'y)'x + min
// over the row limits of y's. A wrong-signed dual is taken as 0, which keeps
// the bound valid. Infinite when an infinite bound leaves a reduced cost
// beyond rounding unbounded.
inline double certifiedGap(const QpModel &qm, const std::vector<double> &x, const std::vector<double> &pi) {
  const LpModel &m = qm.lp;
  const int n = m.numCols(), rows = m.numRows();
  const double sense = m.objSense == QVN_MAX ? -1.0 : 1.0;
  std::vector<double> qx(n, 0.0);
  for (const auto &[r, c, v] : qm.q) qx[r] += sense * v * x[c];
  double objective = 0.0, xqx = 0.0;
  for (int j = 0; j < n; ++j) objective += sense * m.obj[j] * x[j] + 0.5 * qx[j] * x[j], xqx += qx[j] * x[j];
  double bound = -0.5 * xqx;
  std::vector<double> y(rows, 0.0);
  for (int i = 0; i < rows; ++i) {
    double lo = m.rhs[i], up = m.rhs[i];
    if (m.sense[i] == 'L') lo = -QVN_INFBOUND;
    if (m.sense[i] == 'G') up = QVN_INFBOUND;
    if (m.sense[i] == 'R') (m.range[i] >= 0 ? up : lo) += m.range[i];
    y[i] = sense * pi[i];
    if ((y[i] > 0 && lo <= -QVN_INFBOUND) || (y[i] < 0 && up >= QVN_INFBOUND)) y[i] = 0.0;
    bound += y[i] > 0 ? y[i] * lo : y[i] * up;
  }
  for (int j = 0; j < n; ++j) {
    double z = sense * m.obj[j] + qx[j];
    for (const auto &[r, v] : m.cols[j]) z -= v * y[r];
    if (z == 0.0) continue;
    const double at = z > 0 ? m.lower[j] : m.upper[j];
    // Past an infinite bound a reduced cost of rounding size is taken as 0
    // at x; a larger one leaves no bound.
    if (std::fabs(at) >= QVN_INFBOUND) {
      if (std::fabs(z) > 1e-9) return INFINITY;
      bound += z * x[j];
      continue;
    }
    bound += z * at;
  }
  return objective - bound;
}

} // namespace qvntest
