// List changes of objective, right-hand sides, ranges, senses and bounds, and
// the scalar changes of a problem (objective sense and offset, names of the
// problem and the objective).
#include <algorithm>
#include <cmath>
#include <cstring>

#include "model/attachments.h"
#include "model/datacheck.h"
#include "model/edit.h"
#include "runtime/environment.h"

namespace qvn {
void setRangeValue(LpData &d, int row, double value);
}

using namespace qvn;

namespace {

constexpr double kBigBound = 1e17;
constexpr double kFixedGap = 1e-10;

bool dataCheck(const Environment *env) { return env->generalParams->datacheck == 1; }

// Common head of the list functions: count, pointers, indices and numbers.
int checkList(Environment *env, Problem *lp, int count, const void *indices, const void *values,
              bool rows, const double *numbers) {
  if (count < 0) return QVNERR_BAD_ARGUMENT;
  if (count == 0) return 0;
  if (!indices || !values) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  const LpData &d = *lp->lpData;
  QVN_TRY(checkIndexList(env, count, static_cast<const int *>(indices), rows ? d.numRows : d.numCols,
                         rows ? QVNERR_ROW_INDEX_RANGE : QVNERR_COL_INDEX_RANGE));
  if (numbers && dataCheck(env)) QVN_TRY(checkNumbers(env, numbers, count));
  return 0;
}

// A nonbasic column of a held basis keeps its place when its bound moves; one
// at an infinite lower bound moves to its upper bound, or becomes free.
void repairStatus(Problem *lp, int j) {
  if (!lp->basisData || lp->basisData->colStatus.empty()) return;
  const LpData &d = *lp->lpData;
  int &s = lp->basisData->colStatus[j];
  const bool lowerInf = d.lowerBound[j] <= -kInfinity, upperInf = d.upperBound[j] >= kInfinity;
  if (s == 0 && lowerInf) s = upperInf ? 3 : 2;
  else if (s == 2 && upperInf) s = lowerInf ? 3 : 0;
}

// The held primal start of a nonbasic column stays at the bound its status
// names, so that the start still describes the basis.
void followBound(Problem *lp, int j) {
  if (!heldPrimalStart(lp) || lp->basisData->colStatus.empty()) return;
  const LpData &d = *lp->lpData;
  const int s = lp->basisData->colStatus[j];
  double &x = lp->basisData->primalStart[j];
  if (s == 0 && d.lowerBound[j] > -kInfinity) x = d.lowerBound[j] / colScaleOf(d, j);
  else if (s == 2 && d.upperBound[j] < kInfinity) x = d.upperBound[j] / colScaleOf(d, j);
}

} // namespace

extern "C" {

QVN_API int QVNchgobj(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const double *values) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    QVN_TRY(checkList(env, p, count, indices, values, false, values));
    if (count == 0) return 0;
    LpData &d = *p->lpData;
    for (int k = 0; k < count; ++k) carryCostChange(p, indices[k], values[k] - d.objCoef[indices[k]] * colScaleOf(d, indices[k]));
    // A kept presolved copy follows through the presolve's own change, which
    // warns and drops it when a listed column did not survive.
    if (attachmentHoldsResult(p, AttachmentKind::kPresolve)) return QVNprechgobj(env, p, count, indices, values);
    modelChanged(env, p, ModelEvent::kObjChanged);
    for (int k = 0; k < count; ++k) d.objCoef[indices[k]] = values[k] / colScaleOf(d, indices[k]);
    return 0;
  });
}

QVN_API int QVNchgrhs(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const double *values) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    QVN_TRY(checkList(env, p, count, indices, values, true, values));
    if (count == 0) return 0;
    LpData &d = *p->lpData;
    dropPresolvedCopy(env, p, "Warning: Changing rhs of the presolved model fails.\n");
    modelChanged(env, p, ModelEvent::kRhsChanged);
    for (int k = 0; k < count; ++k) {
      carryRhsChange(p, indices[k], values[k] - d.rhs[indices[k]] * rowScaleOf(d, indices[k]));
      d.rhs[indices[k]] = values[k] / rowScaleOf(d, indices[k]);
    }
    return 0;
  });
}

QVN_API int QVNchgrngval(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const double *values) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    QVN_TRY(checkList(env, p, count, indices, values, true, values));
    if (count == 0) return 0;
    LpData &d = *p->lpData;
    for (int k = 0; k < count; ++k)
      if (d.sense[indices[k]] != 'R') return QVNERR_NO_RNGVAL;
    if (d.rangeValue.empty()) d.rangeValue.assign(static_cast<size_t>(d.rowSpace), 0.0);
    modelChanged(env, p, ModelEvent::kRangeChanged);
    for (int k = 0; k < count; ++k) {
      setRangeValue(d, indices[k], values[k]);
      repairRowStatus(p, indices[k]);
    }
    return 0;
  });
}

QVN_API int QVNchgsense(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const char *senses) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    QVN_TRY(checkList(env, p, count, indices, senses, true, nullptr));
    if (count == 0) return 0;
    QVN_TRY(checkSenses(env, senses, count));
    LpData &d = *p->lpData;
    // Range columns appear and vanish with 'R': room for the final count first.
    // The last entry for a row decides, so count on a copy of the senses.
    EnvVector<char> after(d.sense.begin(), d.sense.begin() + d.numRows);
    for (int k = 0; k < count; ++k) after[indices[k]] = senses[k];
    int ranges = 0;
    for (int i = 0; i < d.numRows; ++i) ranges += after[i] == 'R';
    QVN_TRY(ensureSpace(env, p, d.numCols + ranges, d.numRows, structuralEnd(d) + ranges, 0, 0, true));
    bool anyRange = false;
    for (int k = 0; k < count; ++k) anyRange = anyRange || senses[k] == 'R';
    if (anyRange && d.rangeValue.empty()) d.rangeValue.assign(static_cast<size_t>(d.rowSpace), 0.0);
    modelChanged(env, p, ModelEvent::kSenseChanged);
    if (p->basisData && !p->basisData->rowStatus.empty())
      for (int k = 0; k < count; ++k) {
        int &s = p->basisData->rowStatus[indices[k]];
        if (s != 1 && senses[k] != 'R') s = 0;
      }
    for (int k = 0; k < count; ++k) d.sense[indices[k]] = senses[k];
    return rebuildLogicals(p);
  });
}

QVN_API int QVNchgbds(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const char *boundKinds,
                      const double *values) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (count > 0 && !boundKinds) return QVNERR_NULL_POINTER;
    QVN_TRY(checkList(env, p, count, indices, values, false, values));
    if (count == 0) return 0;
    for (int k = 0; k < count; ++k) {
      const char b = boundKinds[k];
      if (b != 'L' && b != 'U' && b != 'B') return reportError(env, QVNERR_BAD_LUB, k);
    }
    LpData &d = *p->lpData;
    // A held row copy stays valid when only basic, unfixed columns move.
    const BasisData *basis = p->basisData;
    bool keepRowCopy = basis && p->rowCopy && p->rowCopy->upToDate && !basis->colStatus.empty();
    dropPresolvedCopy(env, p, "Warning: Changing bounds of the presolved model fails.\n");
    modelChanged(env, p, ModelEvent::kBoundsChanged);
    for (int k = 0; k < count; ++k) {
      const int j = indices[k];
      const char kind = boundKinds[k];
      const double v = values[k];
      const double scale = colScaleOf(d, j);
      if (kind == 'L' || kind == 'B') {
        if (v >= kBigBound)
          QVNmsg(env->warningChannel, "Warning:  Infinity lower bound ignored.\n");
        else
          d.lowerBound[j] = v <= -kBigBound ? -kInfinity : v * scale;
      }
      if (kind == 'U' || kind == 'B') {
        if (v <= -kBigBound)
          QVNmsg(env->warningChannel, "Warning:  -Infinity upper bound ignored.\n");
        else
          d.upperBound[j] = v >= kBigBound ? kInfinity : v * scale;
      }
      repairStatus(p, j);
      followBound(p, j);
      keepRowCopy = keepRowCopy && j < static_cast<int>(basis->colStatus.size()) && basis->colStatus[j] == 1 &&
                    std::fabs(d.upperBound[j] - d.lowerBound[j]) >= kFixedGap;
    }
    if (p->rowCopy) p->rowCopy->upToDate = keepRowCopy;
    return 0;
  });
}

QVN_API int QVNtightenbds(QVNCENVptr env, QVNLPptr lp, int count, const int *indices, const char *boundKinds,
                          const double *values) {
  return QVNchgbds(env, lp, count, indices, boundKinds, values);
}

QVN_API int QVNchgobjsen(QVNCENVptr cenv, QVNLPptr lp, int sense) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (dataCheck(env) && sense != 1 && sense != -1) return QVNERR_BAD_ARGUMENT;
    const int value = sense < 0 ? -1 : 1;
    if (value != p->lpData->objSense) {
      p->lpData->objSense = value;
      modelChanged(env, p, ModelEvent::kObjSenseChanged);
    }
    return 0;
  });
}

QVN_API int QVNchgobjoffset(QVNCENVptr cenv, QVNLPptr lp, double offset) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (dataCheck(env)) QVN_TRY(checkNumbers(env, &offset, 1));
    modelChanged(env, p, ModelEvent::kObjChanged);
    p->lpData->objOffset = offset;
    return 0;
  });
}

QVN_API int QVNgetobjoffset(QVNCENVptr env, QVNCLPptr lp, double *offsetPointer) {
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!offsetPointer) return QVNERR_NULL_POINTER;
    *offsetPointer = p->lpData->objOffset;
    return 0;
  });
}

QVN_API int QVNchgprobname(QVNCENVptr cenv, QVNLPptr lp, const char *text) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (!text) return QVNERR_NULL_POINTER;
    char *copy = envStrdup(text);
    if (!copy) return QVNERR_NO_MEMORY;
    envFree(p->lpData->probName);
    p->lpData->probName = copy;
    return 0;
  });
}

QVN_API int QVNcopyobjname(QVNCENVptr cenv, QVNLPptr lp, const char *text) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (!text) return QVNERR_NULL_POINTER;
    char *copy = envStrdup(text);
    if (!copy) return QVNERR_NO_MEMORY;
    envFree(p->lpData->objName);
    p->lpData->objName = copy;
    modelChanged(env, p, ModelEvent::kNamesChanged);
    return 0;
  });
}

} // extern "C"
