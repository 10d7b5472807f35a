// The independent checks of the MIP tests.
#include "mip/mip_check.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace qvntest {

MipModel readMipModel(QVNENVptr env, QVNLPptr lp) {
  MipModel m;
  m.lp = readModel(env, lp);
  const int n = m.lp.numCols();
  m.ctype.assign(static_cast<size_t>(n), 'C');
  if (n > 0 && QVNgetctype(env, lp, m.ctype.data(), 0, n - 1) != 0) m.ctype.assign(static_cast<size_t>(n), 'C');
  QVNgetobjoffset(env, lp, &m.offset);
  return m;
}

int loadMipModel(QVNENVptr env, QVNLPptr lp, const MipModel &m) {
  int status = m.lp.load(env, lp);
  if (status == 0) status = QVNcopyctype(env, lp, m.ctype.data());
  return status;
}

namespace {

std::string fault(const char *format, int index, double a, double b = 0.0) {
  char text[256];
  std::snprintf(text, sizeof text, format, index, a, b);
  return text;
}

} // namespace

std::string checkIntegerSolution(const MipModel &m, const std::vector<double> &x, double objective,
                                 double epint) {
  const LpModel &lp = m.lp;
  const int n = lp.numCols(), rows = lp.numRows();
  if (static_cast<int>(x.size()) < n) return "solution too short";
  std::vector<double> activity(static_cast<size_t>(rows), 0.0);
  double z = m.offset;
  for (int j = 0; j < n; ++j) {
    const double v = x[j];
    if (!std::isfinite(v)) return fault("x[%d] = %g is not finite", j, v);
    z += lp.obj[j] * v;
    for (const auto &e : lp.cols[j]) activity[e.first] += e.second * v;
    const char t = m.ctype[j];
    double lo = lp.lower[j];
    if (t == 'S' || t == 'N') {
      if (std::fabs(v) <= 1e-6) continue;
      lo = lp.lower[j];
    } else if (t == 'B') {
      lo = std::max(lo, 0.0);
      if (v > std::min(lp.upper[j], 1.0) + 1e-6) return fault("binary x[%d] = %g above %g", j, v, 1.0);
    }
    if (t == 'B' || t == 'I' || t == 'N') {
      if (std::fabs(v - std::round(v)) > epint) return fault("x[%d] = %.12g is fractional (epint %g)", j, v, epint);
    }
    if (lo > -1e20 && v < lo - 1e-6) return fault("x[%d] = %.12g below its lower bound %.12g", j, v, lo);
    if (lp.upper[j] < 1e20 && v > lp.upper[j] + 1e-6)
      return fault("x[%d] = %.12g above its upper bound %.12g", j, v, lp.upper[j]);
  }
  for (int i = 0; i < rows; ++i) {
    const double b = lp.rhs[i], a = activity[i], tol = 1e-6 * std::max(1.0, std::fabs(b));
    double lo = -1e300, up = 1e300;
    switch (lp.sense[i]) {
    case 'L': up = b; break;
    case 'G': lo = b; break;
    case 'E': lo = up = b; break;
    default:
      lo = std::min(b, b + lp.range[i]);
      up = std::max(b, b + lp.range[i]);
    }
    if (a < lo - tol || a > up + tol) return fault("row %d activity %.12g outside its limit %.12g", i, a, a < lo ? lo : up);
  }
  if (!sameObjective(z, objective)) return fault("objective %.12g, but x gives %.12g (%d)", 0, objective, z);
  return "";
}

std::string checkIncumbentOf(QVNENVptr env, QVNLPptr lp, const MipModel &m) {
  const int n = m.lp.numCols(), rows = m.lp.numRows();
  std::vector<double> x(static_cast<size_t>(n) + 1), slack(static_cast<size_t>(rows) + 1);
  int status = 0;
  double objective = 0.0;
  const int rc = QVNsolution(env, lp, &status, &objective, x.data(), nullptr, slack.data(), nullptr);
  if (rc == QVNERR_NO_INT_X) return "";
  if (rc != 0) return "QVNsolution failed with " + std::to_string(rc);
  double epint = 0.0;
  QVNgetdblparam(env, QVN_PARAM_EPINT, &epint);
  std::string fault = checkIntegerSolution(m, x, objective, std::max(epint, 1e-9));
  if (!fault.empty()) return fault;
  std::vector<double> x2(static_cast<size_t>(n) + 1), s2(static_cast<size_t>(rows) + 1);
  if (n > 0 && (QVNgetx(env, lp, x2.data(), 0, n - 1) != 0 || x2 != x)) return "QVNgetx differs from QVNsolution";
  if (rows > 0 && (QVNgetslack(env, lp, s2.data(), 0, rows - 1) != 0 || s2 != slack))
    return "QVNgetslack differs from QVNsolution";
  double value = 0.0;
  if (QVNgetobjval(env, lp, &value) != 0 || value != objective) return "QVNgetobjval differs from QVNsolution";
  return "";
}

bool sameObjective(double a, double b) { return std::fabs(a - b) <= 1e-6 * std::max(1.0, std::fabs(b)); }

bool enumerateOptimum(const MipModel &m, double *optimum, long limit) {
  const LpModel &lp = m.lp;
  const int n = lp.numCols();
  std::vector<long> lo(static_cast<size_t>(n)), up(static_cast<size_t>(n)), v(static_cast<size_t>(n));
  for (int j = 0; j < n; ++j) {
    lo[j] = static_cast<long>(std::ceil(lp.lower[j] - 1e-9));
    up[j] = static_cast<long>(std::floor(lp.upper[j] + 1e-9));
    if (m.ctype[j] == 'B') lo[j] = std::max(lo[j], 0L), up[j] = std::min(up[j], 1L);
    if (lo[j] > up[j]) return false;
    v[j] = lo[j];
  }
  bool found = false;
  double best = 0.0;
  std::vector<double> x(static_cast<size_t>(n));
  for (long tried = 0; tried < limit; ++tried) {
    for (int j = 0; j < n; ++j) x[j] = static_cast<double>(v[j]);
    double z = m.offset;
    for (int j = 0; j < n; ++j) z += lp.obj[j] * x[j];
    if (checkIntegerSolution(m, x, z, 1e-9).empty()) {
      if (!found || (lp.objSense == QVN_MIN ? z < best : z > best)) best = z;
      found = true;
    }
    int j = 0;
    while (j < n && v[j] == up[j]) v[j] = lo[j], ++j;
    if (j == n) {
      *optimum = best;
      return found;
    }
    ++v[j];
  }
  ADD_FAILURE() << "enumeration limit reached";
  return false;
}

bool referenceOptimum(const std::string &, const std::string &model, double *value) {
  const auto optima = referenceOptima("miplib3");
  const auto it = optima.find(model);
  if (it == optima.end()) return false;
  *value = it->second;
  return true;
}

} // namespace qvntest
