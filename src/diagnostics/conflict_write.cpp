// QVNclpwrite: the conflict as a model of its own, in LP format. It holds the
// rows and bounds of the conflict (proven or possible), what no group held
// (always part of every test), and the columns these touch; every other
// bound is open. With two or more equality rows their sum is added as a
// comment row: a reader sees at once which combination cannot hold.
#include <cstdio>

#include "diagnostics/conflict.h"
#include "formats/formats.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

int conflictImage(Environment *env, Problem *p, ModelImage &out, bool *hasSum) {
  const ConflictResult &c = *p->conflict;
  ModelImage full;
  QVN_TRY(imageFromProblem(env, p, full));
  const int n = full.numCols, m = full.numRows;
  // 1 in the model written, by row and by column bound; a member in no
  // group is always in.
  EnvVector<uint8_t> rowIn(static_cast<size_t>(m), 1), lowerIn(static_cast<size_t>(n), 1),
      upperIn(static_cast<size_t>(n), 1);
  for (int g = 0; g < c.numGroups(); ++g)
    for (int k = c.groupStart[g]; k < c.groupStart[g + 1]; ++k) {
      const int at = c.memberIndex[k];
      if (c.memberKind[k] == MemberKind::kRow || !boundsAreIntrinsic(full.ctype, at))
        (c.memberKind[k] == MemberKind::kRow ? rowIn : c.memberKind[k] == MemberKind::kLowerBound ? lowerIn : upperIn)[at] = 0;
    }
  for (int g = 0; g < c.numGroups(); ++g) {
    if (c.state[g] == GroupState::kExcluded) continue;
    for (int k = c.groupStart[g]; k < c.groupStart[g + 1]; ++k) {
      const int at = c.memberIndex[k];
      (c.memberKind[k] == MemberKind::kRow ? rowIn : c.memberKind[k] == MemberKind::kLowerBound ? lowerIn : upperIn)[at] = 1;
    }
  }
  EnvVector<int> newRow(static_cast<size_t>(m), -1), newCol(static_cast<size_t>(n), -1);
  int rows = 0, equalities = 0;
  for (int i = 0; i < m; ++i)
    if (rowIn[i]) {
      newRow[i] = rows++;
      equalities += full.sense[i] == 'E';
    }
  *hasSum = equalities >= 2;
  for (int j = 0; j < n; ++j) {
    bool used = (lowerIn[j] && full.lower[j] > -kInfinity) || (upperIn[j] && full.upper[j] < kInfinity);
    for (int k = full.colStart[j]; k < full.colStart[j + 1] && !used; ++k) used = rowIn[full.rowIndex[k]] != 0;
    if (used) newCol[j] = out.numCols++;
  }
  char name[300];
  std::snprintf(name, sizeof name, "%s_conflict", full.probName.size() ? full.probName.get(0) : "");
  out.probName.add(name);
  out.objSense = full.objSense;
  out.numRows = rows + (*hasSum ? 1 : 0);
  out.hasRowNames = full.hasRowNames;
  out.hasColNames = full.hasColNames;
  bool ranged = false;
  for (int i = 0; i < m; ++i) {
    if (newRow[i] < 0) continue;
    out.sense.push_back(full.sense[i]);
    out.rhs.push_back(full.rhs[i]);
    ranged |= full.sense[i] == 'R';
    if (full.hasRowNames) out.rowNames.add(full.rowNames.get(i));
  }
  if (ranged) {
    for (int i = 0; i < m; ++i)
      if (newRow[i] >= 0) out.range.push_back(full.range[i]);
  }
  EnvVector<double> sum(static_cast<size_t>(n), 0.0);
  double sumRhs = 0.0;
  for (int i = 0; i < m; ++i)
    if (newRow[i] >= 0 && full.sense[i] == 'E') sumRhs += full.rhs[i];
  out.colStart.assign(1, 0);
  for (int j = 0; j < n; ++j) {
    if (newCol[j] < 0) continue;
    // The conflict is about feasibility: no objective.
    out.obj.push_back(0.0);
    out.lower.push_back(lowerIn[j] ? full.lower[j] : -kInfinity);
    out.upper.push_back(upperIn[j] ? full.upper[j] : kInfinity);
    if (full.isMip()) out.ctype.push_back(full.ctype[j]);
    if (full.hasColNames) out.colNames.add(full.colNames.get(j));
    for (int k = full.colStart[j]; k < full.colStart[j + 1]; ++k) {
      const int i = full.rowIndex[k];
      if (newRow[i] < 0) continue;
      out.rowIndex.push_back(newRow[i]);
      out.value.push_back(full.value[k]);
      if (full.sense[i] == 'E') sum[j] += full.value[k];
    }
    if (*hasSum && sum[j] != 0.0) {
      out.rowIndex.push_back(rows);
      out.value.push_back(sum[j]);
    }
    out.colStart.push_back(static_cast<int>(out.rowIndex.size()));
  }
  if (*hasSum) {
    out.sense.push_back('E');
    out.rhs.push_back(sumRhs);
    if (ranged) out.range.push_back(0.0);
    if (full.hasRowNames) out.rowNames.add("eqsum");
  }
  return 0;
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNclpwrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!fileName || !*fileName) return QVNERR_NO_FILENAME_GIVEN;
    if (!p->conflict) return QVNERR_CONFLICT_UNAVAILABLE;
    ModelImage image;
    bool hasSum = false;
    QVN_TRY(conflictImage(env, p, image, &hasSum));
    return writeLpConflictFile(env, image, fileName, hasSum);
  });
}

} // extern "C"
