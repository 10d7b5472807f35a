// Replacing a problem's data whole (QVNcopylp, QVNcopylpwnames) and cloning it.
#include <algorithm>
#include <cstring>

#include "model/attachments.h"
#include "model/copy.h"
#include "model/datacheck.h"
#include "model/edit.h"
#include "model/names.h"
#include "model/problem.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

struct CopyArgs {
  int numCols, numRows, objSense;
  const double *objCoef, *rhs;
  const char *sense;
  const int *colStart, *colCount, *rowIndex;
  const double *coefValue, *lowerBound, *upperBound, *rangeValue;
  char *const *colNames, *const *rowNames;
};

int64_t spaceFor(int64_t need, int64_t have, int extraParam, int step) {
  if (need <= have) return have;
  return std::max<int64_t>(1, extraParam >= 0 ? need + extraParam : need + step);
}

int checkArgs(const Environment *env, const CopyArgs &a) {
  if (a.numCols < 0 || a.numRows < 0) return QVNERR_BAD_ARGUMENT;
  if (!a.objCoef || !a.rhs || !a.sense || !a.colStart || !a.colCount || !a.rowIndex ||
      !a.coefValue || !a.lowerBound || !a.upperBound)
    return QVNERR_NULL_POINTER;
  const bool thorough = env->generalParams->datacheck == 1;
  if (thorough) {
    if (a.objSense != 1 && a.objSense != -1) return QVNERR_BAD_ARGUMENT;
    QVN_TRY(checkNumbers(env, a.objCoef, a.numCols));
    QVN_TRY(checkNumbers(env, a.rhs, a.numRows));
  }
  // Senses, missing ranges and the matrix structure decide where data go in
  // memory, so they are checked whatever the data-check parameter says.
  QVN_TRY(checkSenses(env, a.sense, a.numRows));
  QVN_TRY(checkRangesGiven(env, a.sense, a.rangeValue, a.numRows));
  QVN_TRY(checkColumnMatrix(env, a.numCols, a.numRows, a.colStart, a.colCount, a.rowIndex,
                            a.coefValue, thorough));
  if (thorough) {
    QVN_TRY(checkNumbers(env, a.lowerBound, a.numCols));
    QVN_TRY(checkNumbers(env, a.upperBound, a.numCols));
    QVN_TRY(checkNumbers(env, a.rangeValue, a.numRows));
    QVN_TRY(checkNames(env, a.colNames, a.numCols));
    QVN_TRY(checkNames(env, a.rowNames, a.numRows));
  }
  return 0;
}

// Builds the whole new content aside, then swaps it in: an allocation failure
// leaves the problem exactly as it was.
int copyLp(Environment *env, Problem *lp, const CopyArgs &a) {
  if (isFixedType(lp->probType)) return QVNERR_NOT_ONE_PROBLEM;
  QVN_TRY(checkArgs(env, a));
  LpData &old = *lp->lpData;
  const GeneralParams &gp = *env->generalParams;

  int ranges = 0;
  for (int i = 0; i < a.numRows; ++i) ranges += a.sense[i] == 'R';
  int64_t nzEnd = 0;
  for (int j = 0; j < a.numCols; ++j)
    nzEnd = std::max<int64_t>(nzEnd, static_cast<int64_t>(a.colStart[j]) + a.colCount[j]);

  const int64_t colSpace = spaceFor(a.numCols + ranges, old.colSpace, gp.extraColSpace, 100);
  const int64_t rowSpace = spaceFor(a.numRows, old.rowSpace, gp.extraRowSpace, 100);
  const int64_t nzSpace = spaceFor(nzEnd + ranges, old.nzSpace, gp.extraNzSpace, 500);
  const size_t c = static_cast<size_t>(colSpace), r = static_cast<size_t>(rowSpace);

  LpData fresh;
  fresh.objCoef.assign(c, 0.0);
  fresh.lowerBound.assign(c, 0.0);
  fresh.upperBound.assign(c, 0.0);
  fresh.colStart.assign(c, 0);
  fresh.colCount.assign(c, 0);
  fresh.colEnd.assign(c, 0);
  fresh.rhs.assign(r, 0.0);
  fresh.sense.assign(r, 'E');
  fresh.slackRow.assign(r, 0);
  fresh.slackCoef.assign(r, 0.0);
  if (a.rangeValue) fresh.rangeValue.assign(r, 0.0);
  fresh.rowIndex.assign(static_cast<size_t>(nzSpace), 0);
  fresh.coefValue.assign(static_cast<size_t>(nzSpace), 0.0);
  // Without the data check a null entry is not refused: it gets a generated
  // name, as the functions that add rows and columns give it.
  int colCounter = -1, rowCounter = -1;
  if (a.colNames)
    QVN_TRY(buildNameStoreFilled(fresh.colNames, a.colNames, a.numCols, c, gp.extraColSpace, 'x', colCounter));
  if (a.rowNames)
    QVN_TRY(buildNameStoreFilled(fresh.rowNames, a.rowNames, a.numRows, r, gp.extraRowSpace, 'c', rowCounter));

  std::copy_n(a.objCoef, a.numCols, fresh.objCoef.begin());
  std::copy_n(a.lowerBound, a.numCols, fresh.lowerBound.begin());
  std::copy_n(a.upperBound, a.numCols, fresh.upperBound.begin());
  std::copy_n(a.rhs, a.numRows, fresh.rhs.begin());
  std::copy_n(a.sense, a.numRows, fresh.sense.begin());
  if (a.rangeValue) std::copy_n(a.rangeValue, a.numRows, fresh.rangeValue.begin());
  for (int j = 0; j < a.numCols; ++j) {
    // Exact zeros are not stored; the column keeps its start, so a gap stays behind it.
    int64_t out = a.colStart[j];
    fresh.colStart[j] = out;
    for (int k = a.colStart[j]; k < a.colStart[j] + a.colCount[j]; ++k) {
      if (a.coefValue[k] == 0.0) continue;
      fresh.rowIndex[out] = a.rowIndex[k];
      fresh.coefValue[out] = a.coefValue[k];
      ++out;
    }
    fresh.colCount[j] = static_cast<int>(out - a.colStart[j]);
  }

  // Nothing below allocates: the new content replaces the old.
  // The problem becomes an LP first: types, order, sets and Q of the old
  // model do not fit the new one.
  if (!isNodeType(lp->probType)) {
    lp->probType = kProbLP;
    dropMipAttachments(lp);
    releaseAttachment(lp, AttachmentKind::kQuadObjective);
    releaseAttachment(lp, AttachmentKind::kQuadConstraints);
  }
  modelChanged(env, lp, ModelEvent::kLpCopied);
  old.objCoef.swap(fresh.objCoef);
  old.lowerBound.swap(fresh.lowerBound);
  old.upperBound.swap(fresh.upperBound);
  old.colStart.swap(fresh.colStart);
  old.colCount.swap(fresh.colCount);
  old.colEnd.swap(fresh.colEnd);
  old.rhs.swap(fresh.rhs);
  old.sense.swap(fresh.sense);
  old.slackRow.swap(fresh.slackRow);
  old.slackCoef.swap(fresh.slackCoef);
  old.rangeValue.swap(fresh.rangeValue);
  old.rowIndex.swap(fresh.rowIndex);
  old.coefValue.swap(fresh.coefValue);
  std::swap(old.colNames, fresh.colNames);
  std::swap(old.rowNames, fresh.rowNames);
  old.ctype.swap(fresh.ctype);
  old.colSpace = static_cast<int>(colSpace);
  old.rowSpace = static_cast<int>(rowSpace);
  old.nzSpace = nzSpace;
  old.objSense = a.objSense;
  old.numCols = a.numCols;
  old.numRows = a.numRows;
  old.numColsWithRanges = old.numColsWithSlacks = a.numCols;
  old.matrixStamp = 0;
  old.colDefaultNames = colCounter;
  old.rowDefaultNames = rowCounter;
  old.objOffset = 0.0;
  old.cache = PendingData();
  rebuildLogicals(lp);
  recomputeType(lp);
  return 0;
}

} // namespace

int copyLpWithNames(Environment *env, Problem *lp, int numCols, int numRows, int objSense,
                    const double *objCoef, const double *rhs, const char *sense,
                    const int *colStart, const int *colCount, const int *rowIndex,
                    const double *coefValue, const double *lowerBound,
                    const double *upperBound, const double *rangeValue,
                    char *const *colNames, char *const *rowNames) {
  CopyArgs a{numCols,  numRows,  objSense,  objCoef,    rhs,        sense,
             colStart, colCount, rowIndex,  coefValue,  lowerBound, upperBound,
             rangeValue, colNames, rowNames};
  return copyLp(env, lp, a);
}

void adoptModel(Environment *env, Problem *lp, Problem *from) {
  // Results, bases and presolve of the old model go before its data do.
  modelChanged(env, lp, ModelEvent::kLpCopied);
  std::swap(lp->lpData, from->lpData);
  // Settings that belong to the problem rather than to its model stay.
  LpData &d = *lp->lpData;
  const LpData &was = *from->lpData;
  d.rowFileMultiplier = was.rowFileMultiplier;
  d.colFileMultiplier = was.colFileMultiplier;
  d.lastRunTolPrimal = was.lastRunTolPrimal;
  d.lastRunTolDual = was.lastRunTolDual;
  std::swap(lp->mipData, from->mipData);
  std::swap(lp->qpData, from->qpData);
  std::swap(lp->qconstrData, from->qconstrData);
  recomputeType(lp);
  recomputeType(from);
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNcopylpwnames(QVNCENVptr cenv, QVNLPptr lp, int numCols, int numRows,
                            int objSense, const double *objCoef, const double *rhs,
                            const char *sense, const int *colStart, const int *colCount,
                            const int *rowIndex, const double *coefValue,
                            const double *lowerBound, const double *upperBound,
                            const double *rangeValue, char **colNames, char **rowNames) {
  auto *env = const_cast<Environment *>(cenv);
  return guarded(env, [&]() -> int {
    if (!problemOfEnv(env, lp) || !checkProblemFast(lp)) return QVNERR_NO_PROBLEM;
    return copyLpWithNames(env, lp, numCols, numRows, objSense, objCoef, rhs, sense, colStart,
                           colCount, rowIndex, coefValue, lowerBound, upperBound, rangeValue,
                           colNames, rowNames);
  });
}

QVN_API int QVNcopylp(QVNCENVptr env, QVNLPptr lp, int numCols, int numRows, int objSense,
                      const double *objCoef, const double *rhs, const char *sense,
                      const int *colStart, const int *colCount, const int *rowIndex,
                      const double *coefValue, const double *lowerBound,
                      const double *upperBound, const double *rangeValue) {
  return QVNcopylpwnames(env, lp, numCols, numRows, objSense, objCoef, rhs, sense, colStart,
                         colCount, rowIndex, coefValue, lowerBound, upperBound, rangeValue,
                         nullptr, nullptr);
}

} // extern "C"
