// The dual of the reduced problem: the decision to form it, its construction,
// and the way back from its solution and basis to those of the reduced
// problem.
//
// The reduced problem is read in minimization form, min c'x with rows
// lo_i <= a_i x <= up_i and bounds l_j <= x_j <= u_j. With the row duals y
// and reduced costs d = c - A'y, every column is shifted to a base value
// b_j (l_j, else u_j, else 0) and its bounds become a sign condition on d_j:
//
//   lower bound only:  d_j >= 0, the dual row  A_j'y <= c_j
//   upper bound only:  d_j <= 0, the dual row  A_j'y >= c_j
//   free:              d_j = 0,  the dual row  A_j'y  = c_j
//   both bounds:       d_j + v_j >= 0 with v_j >= 0 at the price (u_j - l_j):
//                      the dual row  A_j'y - v_j <= c_j
//   fixed:             no row; only the constant c_j l_j.
//
// A row gives y_i >= 0 (lower limit), y_i <= 0 (upper limit), a free y_i
// (equality), or for a range two columns y_i >= 0 and w_i >= 0 with
// y_i - w_i the row's dual. The dual maximizes
//
//   sum_i (limit_i - a_i b) y_i  [- (up_i - a_i b) w_i]  - sum_j (u_j - l_j) v_j
//   + sum_j c_j b_j.
//
// Its row multipliers are the primal shifts: x_j = b_j + lambda_j, the row
// duals are y (y - w), and the basis maps by complementarity: a column is
// basic when its dual row is tight and its v_j nonbasic; a row is nonbasic
// exactly when its y_i (or w_i) is basic. The counts agree because a basis
// of the dual cannot hold both the slack of row j and v_j, nor both y_i and
// w_i (their columns are opposite).
#include <algorithm>
#include <cmath>

#include "model/copy.h"
#include "presolve/presolve_state.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

bool finite(double v) { return v > -kPreInf && v < kPreInf; }

enum ColumnClass { kLowerOnly, kUpperOnly, kFree, kBoxed, kFixedCol };

ColumnClass classOf(double l, double u) {
  if (finite(l) && finite(u)) return l == u ? kFixedCol : kBoxed;
  if (finite(l)) return kLowerOnly;
  if (finite(u)) return kUpperOnly;
  return kFree;
}

double baseOf(double l, double u) { return finite(l) ? l : finite(u) ? u : 0.0; }

// Entries of the normal matrix M M' of a column-wise matrix, counted
// symbolically: its pattern is the union of the cliques of the columns.
int64_t normalEntries(int rows, const EnvVector<EnvVector<int>> &lines) {
  EnvVector<EnvVector<int>> byRow(static_cast<size_t>(rows));
  for (size_t k = 0; k < lines.size(); ++k)
    for (int i : lines[k]) byRow[i].push_back(static_cast<int>(k));
  EnvVector<int> mark(static_cast<size_t>(rows), -1);
  int64_t total = 0;
  for (int i = 0; i < rows; ++i) {
    for (int k : byRow[i])
      for (int r : lines[k])
        if (mark[r] != i) mark[r] = i, ++total;
    if (total > (int64_t{1} << 40)) break;
  }
  return total;
}

} // namespace

bool chooseDual(const Problem *lp, const PresolveState &s) {
  if (s.predual < 0) return false;
  if (isMipType(lp->probType) || hasQuadObjType(lp->probType) || hasQuadConstrType(lp->probType)) return false;
  int rows = 0, cols = 0;
  for (int i = 0; i < s.numRows; ++i) rows += s.rowLive[i] >= 0;
  for (int j = 0; j < s.numCols; ++j) cols += s.colLive[j] >= 0;
  if (rows == 0 || cols == 0) return false;
  if (s.predual == 1) return true;
  const bool simplex = s.method == methodNumber(LpMethod::kAuto) || s.method == methodNumber(LpMethod::kPrimal) ||
                       s.method == methodNumber(LpMethod::kDual);
  if (simplex) return rows >= 4 * cols && rows >= 5000;
  if (cols > 5 * rows) return false;
  // The barrier factors the normal matrix of the side it solves: A A' for
  // the primal, A'A for the dual. The dual must save a fifth of the entries.
  EnvVector<int> rowIndex(static_cast<size_t>(s.numRows), -1), colIndex(static_cast<size_t>(s.numCols), -1);
  int r = 0, c = 0;
  for (int i = 0; i < s.numRows; ++i)
    if (s.rowLive[i] >= 0) rowIndex[i] = r++;
  for (int j = 0; j < s.numCols; ++j)
    if (s.colLive[j] >= 0) colIndex[j] = c++;
  EnvVector<EnvVector<int>> byCol(static_cast<size_t>(c)), byRow(static_cast<size_t>(r));
  for (const PresolveEntry &en : s.entries) {
    if (!en.alive || rowIndex[en.row] < 0 || colIndex[en.col] < 0) continue;
    byCol[colIndex[en.col]].push_back(rowIndex[en.row]);
    byRow[rowIndex[en.row]].push_back(colIndex[en.col]);
  }
  const int64_t primalFill = normalEntries(r, byCol), dualFill = normalEntries(c, byRow);
  return 1.2 * static_cast<double>(dualFill) < static_cast<double>(primalFill);
}

int buildDual(Environment *env, PresolveState &s) {
  const LpData &p = *s.reduced->lpData;
  const int n = p.numCols, m = p.numRows;
  const double sense = p.objSense;
  DualMap &map = s.dualMap;
  map.rowOfCol.assign(static_cast<size_t>(n), -1);
  map.vOfCol.assign(static_cast<size_t>(n), -1);
  map.yOfRow.assign(static_cast<size_t>(m), -1);
  map.wOfRow.assign(static_cast<size_t>(m), -1);
  map.base.assign(static_cast<size_t>(n), 0.0);
  // The primal row-wise: the dual's columns.
  EnvVector<int64_t> rowStart(static_cast<size_t>(m) + 1, 0);
  for (int j = 0; j < n; ++j)
    for (int64_t k = p.colStart[j]; k < p.colStart[j] + p.colCount[j]; ++k) ++rowStart[p.rowIndex[k] + 1];
  for (int i = 0; i < m; ++i) rowStart[i + 1] += rowStart[i];
  EnvVector<int> rowCol(static_cast<size_t>(rowStart[m]) + 1);
  EnvVector<double> rowVal(static_cast<size_t>(rowStart[m]) + 1);
  {
    EnvVector<int64_t> fill(rowStart.begin(), rowStart.end() - 1);
    for (int j = 0; j < n; ++j)
      for (int64_t k = p.colStart[j]; k < p.colStart[j] + p.colCount[j]; ++k) {
        const int64_t at = fill[p.rowIndex[k]]++;
        rowCol[at] = j;
        rowVal[at] = p.coefValue[k];
      }
  }
  // Dual rows: one per column that is not fixed.
  int dRows = 0;
  EnvVector<double> dRhs;
  EnvVector<char> dSense;
  double constant = sense * p.objOffset;
  for (int j = 0; j < n; ++j) {
    const double l = p.lowerBound[j], u = p.upperBound[j], c = sense * p.objCoef[j];
    const ColumnClass cls = classOf(l, u);
    map.base[j] = baseOf(l, u);
    constant += c * map.base[j];
    if (cls == kFixedCol) continue;
    map.rowOfCol[j] = dRows++;
    dRhs.push_back(c);
    dSense.push_back(cls == kUpperOnly ? 'G' : cls == kFree ? 'E' : 'L');
  }
  // Dual columns: y per row (w beside it for a range), then v per boxed column.
  EnvVector<double> dObj, dLower, dUpper, dValue;
  EnvVector<int> dStart, dCount, dIndex;
  auto addColumn = [&](double obj, double lower, double upper) {
    dObj.push_back(obj);
    dLower.push_back(lower);
    dUpper.push_back(upper);
    dStart.push_back(static_cast<int>(dIndex.size()));
    dCount.push_back(0);
    return static_cast<int>(dObj.size()) - 1;
  };
  for (int i = 0; i < m; ++i) {
    double lo, up;
    rowActivityLimits(p, i, lo, up);
    lo = lo <= -kPreInf ? -kPreInf : lo;
    up = up >= kPreInf ? kPreInf : up;
    if (!finite(lo) && !finite(up)) continue;  // a free row has dual 0
    double shift = 0.0;
    for (int64_t k = rowStart[i]; k < rowStart[i + 1]; ++k) shift += rowVal[k] * map.base[rowCol[k]];
    const bool ranged = finite(lo) && finite(up) && lo < up;
    double yLower = -kPreInf, yUpper = kPreInf;
    if (finite(lo) && !finite(up)) yLower = 0.0;
    if (!finite(lo) && finite(up)) yUpper = 0.0;
    if (ranged) yLower = 0.0;
    const double limit = finite(lo) ? lo : up;
    const int y = addColumn(limit - shift, yLower, yUpper);
    map.yOfRow[i] = y;
    for (int64_t k = rowStart[i]; k < rowStart[i + 1]; ++k) {
      const int r = map.rowOfCol[rowCol[k]];
      if (r < 0) continue;
      dIndex.push_back(r);
      dValue.push_back(rowVal[k]);
      ++dCount[y];
    }
    if (!ranged) continue;
    const int w = addColumn(-(up - shift), 0.0, kPreInf);
    map.wOfRow[i] = w;
    for (int64_t k = rowStart[i]; k < rowStart[i + 1]; ++k) {
      const int r = map.rowOfCol[rowCol[k]];
      if (r < 0) continue;
      dIndex.push_back(r);
      dValue.push_back(-rowVal[k]);
      ++dCount[w];
    }
  }
  for (int j = 0; j < n; ++j) {
    if (classOf(p.lowerBound[j], p.upperBound[j]) != kBoxed) continue;
    const int v = addColumn(-(p.upperBound[j] - p.lowerBound[j]), 0.0, kPreInf);
    map.vOfCol[j] = v;
    dIndex.push_back(map.rowOfCol[j]);
    dValue.push_back(-1.0);
    dCount[v] = 1;
  }
  const int dCols = static_cast<int>(dObj.size());
  dObj.push_back(0.0), dLower.push_back(0.0), dUpper.push_back(0.0), dStart.push_back(0), dCount.push_back(0);
  dIndex.push_back(0), dValue.push_back(0.0), dRhs.push_back(0.0), dSense.push_back('E');
  Problem *dual = nullptr;
  QVN_TRY(createProblem(env, "dual", &dual));
  const int status = runCaught([&]() {
    return copyLpWithNames(env, dual, dCols, dRows, -1, dObj.data(), dRhs.data(), dSense.data(), dStart.data(),
                           dCount.data(), dIndex.data(), dValue.data(), dLower.data(), dUpper.data(), nullptr,
                           nullptr, nullptr);
  });
  if (status != 0) {
    freeProblem(env, dual);
    return status > 0 ? status : -status;
  }
  dual->lpData->objOffset = constant;
  s.dualProblem = dual;
  s.dualized = true;
  return 0;
}

void primalFromDual(const PresolveState &s, const Problem *dual, PrimalOfDual &out) {
  const LpData &p = *s.reduced->lpData;
  const int n = p.numCols, m = p.numRows;
  const double sense = p.objSense;
  const DualMap &map = s.dualMap;
  const SolutionBlock &ds = *dual->solution;
  const BasisData *db = dual->basisData;
  out.x.assign(static_cast<size_t>(n) + 1, 0.0);
  out.dj.assign(static_cast<size_t>(n) + 1, 0.0);
  out.pi.assign(static_cast<size_t>(m) + 1, 0.0);
  out.colStatus.assign(static_cast<size_t>(n) + 1, 0);
  out.rowStatus.assign(static_cast<size_t>(m) + 1, 1);
  auto basic = [&](int col) { return col >= 0 && db && db->colStatus[col] == 1; };
  // Row duals in minimization sense, then the reduced problem's own.
  for (int i = 0; i < m; ++i) {
    const int y = map.yOfRow[i], w = map.wOfRow[i];
    double yi = y >= 0 ? ds.x[y] : 0.0;
    if (w >= 0) yi -= ds.x[w];
    out.pi[i] = sense * yi;
    double lo, up;
    rowActivityLimits(p, i, lo, up);
    if (basic(y)) out.rowStatus[i] = finite(lo) ? 0 : 2;
    else if (basic(w)) out.rowStatus[i] = 2;
  }
  for (int j = 0; j < n; ++j) {
    const int r = map.rowOfCol[j];
    const double l = p.lowerBound[j], u = p.upperBound[j];
    double dj = sense * p.objCoef[j];
    for (int64_t k = p.colStart[j]; k < p.colStart[j] + p.colCount[j]; ++k)
      dj -= p.coefValue[k] * sense * out.pi[p.rowIndex[k]];
    out.dj[j] = sense * dj;
    if (r < 0) {
      out.x[j] = l;
      out.colStatus[j] = 0;
      continue;
    }
    double x = map.base[j] + ds.pi[r];
    x = std::min(std::max(x, l), u);  // rounding may leave it a hair outside
    out.x[j] = x;
    const bool rowBasic = db && db->rowStatus[r] == 1;
    const ColumnClass cls = classOf(l, u);
    if (basic(map.vOfCol[j])) out.colStatus[j] = 2;
    else if (!rowBasic) out.colStatus[j] = 1;
    else out.colStatus[j] = cls == kUpperOnly ? 2 : cls == kFree ? 3 : 0;
  }
}

} // namespace qvn
