// QVNdualwrite: the dual of a linear problem, written as an MPS file.
//
// The primal is taken in minimization form, min s c'x (s = -1 for a maximum),
// with each ranged row a x in [b, b + r] turned into an equality a x - t = b
// and a ranging column t in [min(0, r), max(0, r)]. Fixed columns leave the
// model: their terms move to the right-hand sides and to the objective shift.
// With z the row duals taken with the opposite sign, and one column per
// finite non-zero lower bound (w <= 0) and per finite upper bound (v >= 0),
// the dual is
//   min b'z + sum L_j w_j + sum U_j v_j
//   s.t. a_j'z + w_j + v_j = -s c_j  (">=" when L_j = 0: w_j is then a slack)
//        z_i <= 0 for a ">=" row, >= 0 for a "<=" row, free for "=".
// Its optimum D gives the primal optimum as shift - s D, which the header
// states through the shift.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "formats/formats.h"
#include "model/edit.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

constexpr double kInf = kFileInfinity;

// The primal in the columns the dual reads: structural columns, then one
// ranging column per ranged row.
struct PrimalColumns {
  EnvVector<double> cost, lower, upper;
  EnvVector<int> start{0}, row;
  EnvVector<double> value;
  EnvVector<char> names;  // names of the ranging columns, NUL-separated
};

void addBoundColumn(ModelImage &dual, int dualRow, double bound, bool lowerSide, const char *colName) {
  char name[300];
  std::snprintf(name, sizeof name, "%.255s.%s", colName, lowerSide ? "lo" : "up");
  dual.colNames.add(name);
  dual.obj.push_back(bound);
  dual.lower.push_back(lowerSide ? -kInf : 0.0);
  dual.upper.push_back(lowerSide ? 0.0 : kInf);
  dual.rowIndex.push_back(dualRow);
  dual.value.push_back(1.0);
  dual.colStart.push_back(static_cast<int>(dual.rowIndex.size()));
  ++dual.numCols;
}

// Builds the dual of `p` into `dual`; `shift` gets the objective of the fixed columns.
void buildDual(const ModelImage &p, ModelImage &dual, double *shift) {
  const int n = p.numCols, m = p.numRows;
  const double s = p.objSense;
  EnvVector<double> rhs(p.rhs.begin(), p.rhs.end());
  // Column j of the extended primal: structural for j < n, ranging for the rest.
  EnvVector<int> rangeRow;
  for (int i = 0; i < m; ++i)
    if (p.sense[i] == 'R') rangeRow.push_back(i);
  const int total = n + static_cast<int>(rangeRow.size());
  auto lowerOf = [&](int j) {
    if (j < n) return p.lower[j];
    const double r = p.range[rangeRow[j - n]];
    return std::min(0.0, r);
  };
  auto upperOf = [&](int j) {
    if (j < n) return p.upper[j];
    const double r = p.range[rangeRow[j - n]];
    return std::max(0.0, r);
  };
  char rangeName[300];
  auto nameOf = [&](int j) -> const char * {
    if (j < n) return p.colNames.get(j);
    std::snprintf(rangeName, sizeof rangeName, "Rg%.250s", p.rowNames.get(rangeRow[j - n]));
    return rangeName;
  };
  *shift = 0.0;
  // Fixed columns move out.
  for (int j = 0; j < n; ++j) {
    const double l = p.lower[j];
    if (l != p.upper[j] || std::fabs(l) >= kInf) continue;
    for (int k = p.colStart[j]; k < p.colStart[j + 1]; ++k) rhs[p.rowIndex[k]] -= p.value[k] * l;
    *shift += p.obj[j] * l;
  }
  // Dual columns: the rows first.
  dual.objSense = 1;
  dual.numCols = m;
  dual.hasColNames = dual.hasRowNames = true;
  for (int i = 0; i < m; ++i) {
    dual.colNames.add(p.rowNames.get(i));
    dual.obj.push_back(rhs[i]);
    const char sense = p.sense[i];
    dual.lower.push_back(sense == 'L' ? 0.0 : -kInf);
    dual.upper.push_back(sense == 'G' ? 0.0 : kInf);
  }
  // The transpose: dual column i holds row i's entries of the non-fixed columns.
  EnvVector<int> dualRowOf(static_cast<size_t>(total), -1);
  int rows = 0;
  for (int j = 0; j < total; ++j) {
    const double l = lowerOf(j), u = upperOf(j);
    if (j < n && l == u && std::fabs(l) < kInf) continue;
    dualRowOf[j] = rows++;
    dual.rowNames.add(nameOf(j));
    dual.rhs.push_back(j < n ? -s * p.obj[j] : 0.0);
    dual.sense.push_back(l == 0.0 ? 'G' : 'E');
  }
  dual.numRows = rows;
  EnvVector<int> count(static_cast<size_t>(m) + 1, 0);
  for (int j = 0; j < n; ++j)
    if (dualRowOf[j] >= 0)
      for (int k = p.colStart[j]; k < p.colStart[j + 1]; ++k) ++count[p.rowIndex[k]];
  for (int i : rangeRow) ++count[i];
  dual.colStart.assign(static_cast<size_t>(m) + 1, 0);
  for (int i = 0; i < m; ++i) dual.colStart[i + 1] = dual.colStart[i] + count[i];
  dual.rowIndex.assign(static_cast<size_t>(dual.colStart[m]), 0);
  dual.value.assign(static_cast<size_t>(dual.colStart[m]), 0.0);
  EnvVector<int> fill(dual.colStart.begin(), dual.colStart.end() - 1);
  for (int j = 0; j < n; ++j) {
    if (dualRowOf[j] < 0) continue;
    for (int k = p.colStart[j]; k < p.colStart[j + 1]; ++k) {
      const int at = fill[p.rowIndex[k]]++;
      dual.rowIndex[at] = dualRowOf[j];
      dual.value[at] = p.value[k];
    }
  }
  for (size_t r = 0; r < rangeRow.size(); ++r) {
    const int at = fill[rangeRow[r]]++;
    dual.rowIndex[at] = dualRowOf[n + static_cast<int>(r)];
    dual.value[at] = -1.0;
  }
  // The bound columns carry the finite bounds into the dual objective.
  for (int j = 0; j < total; ++j) {
    if (dualRowOf[j] < 0) continue;
    const double l = lowerOf(j), u = upperOf(j);
    const char *name = nameOf(j);
    if (l != 0.0 && std::fabs(l) < kInf) addBoundColumn(dual, dualRowOf[j], l, true, name);
    if (std::fabs(u) < kInf) addBoundColumn(dual, dualRowOf[j], u, false, name);
  }
  dual.objName.add(p.objName.size() ? p.objName.get(0) : "obj");
}

int writeDual(Environment *env, Problem *lp, const char *fileName, double *shiftOut) {
  if (!fileName || !*fileName) return QVNERR_NO_FILENAME_GIVEN;
  const LpData &d = *lp->lpData;
  if (!d.ctype.empty()) return QVNERR_NOT_FOR_MIP;
  if (hasQuadObjType(lp->probType)) return QVNERR_NOT_FOR_QP;
  if (hasQuadConstrType(lp->probType)) return QVNERR_NOT_FOR_QCP;
  ModelImage primal;
  QVN_TRY(imageFromProblem(env, lp, primal));
  // Rows and columns trade places, and so do the announcements of default names.
  if (!primal.hasColNames && primal.numCols > 0)
    QVNmsg(env->warningChannel, "Default row names x1, x2 ... being created.\n");
  if (!primal.hasRowNames && primal.numRows > 0)
    QVNmsg(env->warningChannel, "Default variable names c1, c2 ... being created.\n");
  char generated[32];
  if (!primal.hasColNames) {
    primal.colNames.clear();
    for (int j = 0; j < primal.numCols; ++j) {
      std::snprintf(generated, sizeof generated, "x%d", j + 1);
      primal.colNames.add(generated);
    }
  }
  if (!primal.hasRowNames) {
    primal.rowNames.clear();
    for (int i = 0; i < primal.numRows; ++i) {
      std::snprintf(generated, sizeof generated, "c%d", i + 1);
      primal.rowNames.add(generated);
    }
  }
  if (primal.range.size() < static_cast<size_t>(primal.numRows))
    primal.range.resize(static_cast<size_t>(primal.numRows), 0.0);
  ModelImage dual;
  double shift = 0.0;
  buildDual(primal, dual, &shift);
  if (dual.numCols >= kMaxEntries || dual.numRows >= kMaxEntries) return QVNERR_LIMITS_TOO_BIG;
  if (shiftOut) *shiftOut = shift;
  const char *name = primal.probName.size() ? primal.probName.get(0) : "";
  char line[400];
  if (shift == 0.0) std::snprintf(line, sizeof line, "NAME          %.255s.dual\n", name);
  else std::snprintf(line, sizeof line, "NAME          %.255s.dual (objshift = %18.10e)\n", name, shift);
  return writeMpsFile(env, dual, fileName, false, line);
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNdualwrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName, double *objShift) {
  auto *env = const_cast<Environment *>(cenv);
  if (objShift) *objShift = 0.0;
  return guardedProblem(env, lp, [&](Problem *p) { return writeDual(env, p, fileName, objShift); });
}

} // extern "C"
