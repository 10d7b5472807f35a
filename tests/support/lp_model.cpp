#include "support/lp_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace qvntest {

int LpModel::addCol(double c, double lb, double ub, std::vector<std::pair<int, double>> entries) {
  obj.push_back(c);
  lower.push_back(lb);
  upper.push_back(ub);
  cols.push_back(std::move(entries));
  return numCols() - 1;
}

int LpModel::addRow(char s, double b, double r) {
  sense.push_back(s);
  rhs.push_back(b);
  range.push_back(r);
  return numRows() - 1;
}

void LpModel::set(int row, int col, double value) { cols[col].push_back({row, value}); }

int LpModel::load(QVNENVptr env, QVNLPptr lp) const {
  std::vector<int> start, count, index;
  std::vector<double> value;
  for (const auto &c : cols) {
    start.push_back(static_cast<int>(index.size()));
    count.push_back(static_cast<int>(c.size()));
    for (auto [i, v] : c) index.push_back(i), value.push_back(v);
  }
  // Keep the pointers valid for empty models.
  start.push_back(0), count.push_back(0), index.push_back(0), value.push_back(0);
  std::vector<double> o = obj, l = lower, u = upper, b = rhs, r = range;
  std::vector<char> s = sense;
  o.push_back(0), l.push_back(0), u.push_back(0), b.push_back(0), r.push_back(0), s.push_back('E');
  return QVNcopylp(env, lp, numCols(), numRows(), objSense, o.data(), b.data(), s.data(), start.data(),
                   count.data(), index.data(), value.data(), l.data(), u.data(), r.data());
}

LpModel readModel(QVNENVptr env, QVNLPptr lp) {
  LpModel m;
  const int n = QVNgetnumcols(env, lp), rows = QVNgetnumrows(env, lp), nz = QVNgetnumnz(env, lp);
  m.objSense = QVNgetobjsen(env, lp);
  m.obj.resize(n), m.lower.resize(n), m.upper.resize(n), m.cols.resize(n);
  m.rhs.resize(rows), m.range.resize(rows), m.sense.resize(rows);
  if (n > 0) {
    QVNgetobj(env, lp, m.obj.data(), 0, n - 1);
    QVNgetlb(env, lp, m.lower.data(), 0, n - 1);
    QVNgetub(env, lp, m.upper.data(), 0, n - 1);
    std::vector<int> start(n), index(nz + 1);
    std::vector<double> value(nz + 1);
    int count = 0, surplus = 0;
    QVNgetcols(env, lp, &count, start.data(), index.data(), value.data(), nz + 1, &surplus, 0, n - 1);
    for (int j = 0; j < n; ++j)
      for (int k = start[j]; k < (j + 1 < n ? start[j + 1] : count); ++k) m.cols[j].push_back({index[k], value[k]});
  }
  if (rows > 0) {
    QVNgetrhs(env, lp, m.rhs.data(), 0, rows - 1);
    QVNgetsense(env, lp, m.sense.data(), 0, rows - 1);
    QVNgetrngval(env, lp, m.range.data(), 0, rows - 1);
  }
  return m;
}

int readSolution(QVNENVptr env, QVNLPptr lp, const LpModel &m, LpSolution &s) {
  s.x.assign(m.numCols() + 1, 0.0);
  s.dj.assign(m.numCols() + 1, 0.0);
  s.slack.assign(m.numRows() + 1, 0.0);
  s.pi.assign(m.numRows() + 1, 0.0);
  return QVNsolution(env, lp, &s.status, &s.objective, s.x.data(), s.pi.data(), s.slack.data(), s.dj.data());
}

namespace {
std::string fault(const char *format, int index, double a, double b) {
  char text[256];
  std::snprintf(text, sizeof text, format, index, a, b);
  return text;
}
} // namespace

std::string checkOptimal(const LpModel &m, const LpSolution &s, double tol) {
  const int n = m.numCols(), rows = m.numRows();
  const double sigma = m.objSense;  // duals and reduced costs as a minimization sees them
  std::vector<double> act(rows, 0.0), djCheck(m.obj);
  double scale = 1.0;
  for (int j = 0; j < n; ++j) {
    for (auto [i, v] : m.cols[j]) {
      act[i] += v * s.x[j];
      djCheck[j] -= v * s.pi[i];
    }
  }
  auto near = [&](double a, double b) { return std::fabs(a - b) <= tol * std::max({1.0, std::fabs(a), std::fabs(b)}); };
  double objective = 0.0;
  for (int j = 0; j < n; ++j) {
    objective += m.obj[j] * s.x[j];
    scale = std::max(scale, std::fabs(s.x[j]));
    if (s.x[j] < m.lower[j] - tol * scale || s.x[j] > m.upper[j] + tol * scale)
      return fault("column %d value %g outside its bounds (lower %g)", j, s.x[j], m.lower[j]);
    if (!near(s.dj[j], djCheck[j])) return fault("column %d reduced cost %g, c - A'pi gives %g", j, s.dj[j], djCheck[j]);
    const double d = sigma * s.dj[j];
    const bool atLower = std::fabs(s.x[j] - m.lower[j]) <= tol * scale;
    const bool atUpper = std::fabs(s.x[j] - m.upper[j]) <= tol * scale;
    // Minimization view: a positive reduced cost asks to decrease, a negative one to increase.
    if (!atLower && d > tol) return fault("column %d above its lower bound with reduced cost %g (x %g)", j, s.dj[j], s.x[j]);
    if (!atUpper && d < -tol) return fault("column %d below its upper bound with reduced cost %g (x %g)", j, s.dj[j], s.x[j]);
  }
  for (int i = 0; i < rows; ++i) {
    double lo = -1e20, up = 1e20;
    switch (m.sense[i]) {
    case 'L': up = m.rhs[i]; break;
    case 'G': lo = m.rhs[i]; break;
    case 'E': lo = up = m.rhs[i]; break;
    default:
      lo = m.range[i] >= 0 ? m.rhs[i] : m.rhs[i] + m.range[i];
      up = m.range[i] >= 0 ? m.rhs[i] + m.range[i] : m.rhs[i];
    }
    const double rowScale = std::max(1.0, std::fabs(act[i]));
    if (act[i] < lo - tol * rowScale || act[i] > up + tol * rowScale)
      return fault("row %d activity %g violates its limits (rhs %g)", i, act[i], m.rhs[i]);
    if (!near(s.slack[i], m.rhs[i] - act[i])) return fault("row %d slack %g, rhs - Ax gives %g", i, s.slack[i], m.rhs[i] - act[i]);
    // The row dual acts as the reduced cost of the row activity.
    const double p = sigma * s.pi[i];
    const bool atLo = std::fabs(act[i] - lo) <= tol * rowScale, atUp = std::fabs(act[i] - up) <= tol * rowScale;
    if (!atLo && p > tol) return fault("row %d above its lower limit with dual %g (activity %g)", i, s.pi[i], act[i]);
    if (!atUp && p < -tol) return fault("row %d below its upper limit with dual %g (activity %g)", i, s.pi[i], act[i]);
  }
  if (!near(objective, s.objective)) return fault("objective %d: c'x %g, reported %g", 0, objective, s.objective);
  return "";
}

} // namespace qvntest
