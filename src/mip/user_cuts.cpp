// User cuts and lazy constraints kept on a problem: the calls that add and
// free them, and their use in a run. Lazy constraints are checked on every
// integer point a node LP gives (violated ones join the LP and the node is
// solved again) and on every other candidate, which they may refuse; user
// cuts join the LP at fractional nodes when clearly violated.
#include "mip/user_cuts.h"

#include <cmath>

#include "mip/callbacks.h"
#include "mip/cuts/cut_pool.h"
#include "model/attachments.h"
#include "model/edit.h"
#include "model/mip_data.h"
#include "model/names.h"

namespace qvn {

namespace {

// A lazy row counts as violated beyond this, relative to 1 + |rhs|: the
// tolerance an LP point is feasible within.
constexpr double kLazyTolerance = 1e-6;

double rowExcess(const ModelRowSet &rows, int r, const double *x) {
  double a = 0.0;
  for (int k = rows.start[r]; k < rows.start[r + 1]; ++k) a += rows.value[k] * x[rows.index[k]];
  const double rhs = rows.rhs[r];
  switch (rows.sense[r]) {
  case 'L': return a - rhs;
  case 'G': return rhs - a;
  default: return std::fabs(a - rhs);
  }
}

const ModelRowSet *heldRows(const MipRun &run, bool lazy) {
  const MipData *d = run.lp->mipData;
  const ModelRowSet *rows = d ? (lazy ? d->lazyConstraints : d->userCuts) : nullptr;
  return rows && rows->count > 0 ? rows : nullptr;
}

int addRows(Environment *env, Problem *p, bool lazy, int rowCount, int nonzeros, const double *rhs,
            const char *sense, const int *rowStart, const int *colIndex, const double *coefValue,
            char *const *rowNames) {
  if (rowCount < 0 || nonzeros < 0) return QVNERR_COUNT_RANGE;
  if (rowCount == 0) return 0;
  if (!rhs || !rowStart || (nonzeros > 0 && (!colIndex || !coefValue))) return QVNERR_NULL_POINTER;
  const int n = p->lpData->numCols;
  for (int r = 0; r < rowCount; ++r) {
    const int end = r + 1 < rowCount ? rowStart[r + 1] : nonzeros;
    if (rowStart[r] < 0 || rowStart[r] > end || end > nonzeros) return QVNERR_INDEX_RANGE;
    const char s = sense ? sense[r] : 'L';
    if (s != 'L' && s != 'G' && s != 'E') return QVNERR_BAD_SENSE;
    if (!std::isfinite(rhs[r])) return QVNERR_NAN;
  }
  for (int k = 0; k < nonzeros; ++k) {
    if (colIndex[k] < 0 || colIndex[k] >= n) return QVNERR_COL_INDEX_RANGE;
    if (!std::isfinite(coefValue[k])) return QVNERR_NAN;
  }
  QVN_TRY(flushCache(env, p));
  MipData &data = ensureMipData(p);
  ModelRowSet *&rows = lazy ? data.lazyConstraints : data.userCuts;
  if (!rows) rows = envNew<ModelRowSet>();
  // Names first: they are the only step that can fail, so a refusal adds no row.
  QVN_TRY(addNames(rows->names, rows->count, rowNames, rowCount, lazy ? 'l' : 'u', rows->defaultNames,
                   static_cast<size_t>(rows->count + rowCount)));
  for (int r = 0; r < rowCount; ++r) {
    const int end = r + 1 < rowCount ? rowStart[r + 1] : nonzeros;
    rows->index.insert(rows->index.end(), colIndex + rowStart[r], colIndex + end);
    rows->value.insert(rows->value.end(), coefValue + rowStart[r], coefValue + end);
    rows->start.push_back(static_cast<int>(rows->index.size()));
    rows->rhs.push_back(rhs[r]);
    rows->sense.push_back(sense ? sense[r] : 'L');
    ++rows->count;
  }
  // A tree grown without these rows proves nothing about the model with them.
  releaseAttachment(p, AttachmentKind::kMipSearch);
  return 0;
}

int freeRows(Problem *p, bool lazy) {
  if (!p->mipData) return 0;
  ModelRowSet *&rows = lazy ? p->mipData->lazyConstraints : p->mipData->userCuts;
  if (!rows) return 0;
  envDelete(rows);
  rows = nullptr;
  releaseAttachment(p, AttachmentKind::kMipSearch);
  return 0;
}

// The rows of `rows` that x violates by more than `tolerance` (relative to
// 1 + |rhs|) go into the node LP under `family`.
int addViolated(MipRun &run, const ModelRowSet &rows, int family, const double *x, double tolerance, int *added) {
  EnvVector<char> sense;
  EnvVector<double> rhs, value;
  EnvVector<int> start(1, 0), index;
  for (int r = 0; r < rows.count; ++r) {
    if (rowExcess(rows, r, x) <= tolerance * (1.0 + std::fabs(rows.rhs[r]))) continue;
    sense.push_back(rows.sense[r]);
    rhs.push_back(rows.rhs[r]);
    index.insert(index.end(), rows.index.begin() + rows.start[r], rows.index.begin() + rows.start[r + 1]);
    value.insert(value.end(), rows.value.begin() + rows.start[r], rows.value.begin() + rows.start[r + 1]);
    start.push_back(static_cast<int>(index.size()));
  }
  return addTreeRows(run, family, static_cast<int>(sense.size()), sense.data(), rhs.data(), start.data(),
                     index.data(), value.data(), added);
}

} // namespace

void announceModelRows(const MipRun &run) {
  if (run.control.display <= 0) return;
  if (const ModelRowSet *cuts = heldRows(run, false))
    QVNmsg(run.env->resultsChannel, "Model contains %d user cuts\n", cuts->count);
  if (const ModelRowSet *lazy = heldRows(run, true))
    QVNmsg(run.env->resultsChannel, "Model contains %d lazy constraints\n", lazy->count);
}

bool violatesLazyConstraints(const MipRun &run, const double *x) {
  const ModelRowSet *lazy = heldRows(run, true);
  if (!lazy) return false;
  for (int r = 0; r < lazy->count; ++r)
    if (rowExcess(*lazy, r, x) > kLazyTolerance * (1.0 + std::fabs(lazy->rhs[r]))) return true;
  return false;
}

int addViolatedLazyConstraints(MipRun &run, const double *x, int *added) {
  *added = 0;
  const ModelRowSet *lazy = heldRows(run, true);
  return lazy ? addViolated(run, *lazy, kCutTable, x, kLazyTolerance, added) : 0;
}

int addViolatedUserCuts(MipRun &run, const double *x, int *added) {
  *added = 0;
  const ModelRowSet *cuts = heldRows(run, false);
  return cuts ? addViolated(run, *cuts, kCutUser, x, kUserCutViolation, added) : 0;
}

} // namespace qvn

using namespace qvn;

namespace {

int rowSetNames(QVNCENVptr cenv, QVNCLPptr lp, bool lazy, char **nameArray, char *store, int space, int *surplus,
                int begin, int end, const char *function) {
  if (surplus) *surplus = 0;
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    static const ModelRowSet kNone;
    const ModelRowSet *rows = p->mipData ? (lazy ? p->mipData->lazyConstraints : p->mipData->userCuts) : nullptr;
    if (!rows) rows = &kNone;
    return nameGetter(env, rows->names, rows->count, nameArray, store, space, surplus, begin, end, function);
  });
}

} // namespace

extern "C" {

QVN_API int QVNaddusercuts(QVNCENVptr cenv, QVNLPptr lp, int rowCount, int nonzeros, const double *rhs,
                           const char *sense, const int *rowStart, const int *colIndex, const double *coefValue,
                           char **rowNames) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) {
    return addRows(env, p, false, rowCount, nonzeros, rhs, sense, rowStart, colIndex, coefValue, rowNames);
  });
}

QVN_API int QVNaddlazyconstraints(QVNCENVptr cenv, QVNLPptr lp, int rowCount, int nonzeros, const double *rhs,
                                  const char *sense, const int *rowStart, const int *colIndex,
                                  const double *coefValue, char **rowNames) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) {
    return addRows(env, p, true, rowCount, nonzeros, rhs, sense, rowStart, colIndex, coefValue, rowNames);
  });
}

QVN_API int QVNfreeusercuts(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return freeRows(p, false); });
}

QVN_API int QVNfreelazyconstraints(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return freeRows(p, true); });
}

QVN_API int QVNEgetusercutname(QVNCENVptr cenv, QVNCLPptr lp, char **nameArray, char *store, int space,
                               int *surplus, int begin, int end) {
  return rowSetNames(cenv, lp, false, nameArray, store, space, surplus, begin, end, "QVNEgetusercutname");
}

QVN_API int QVNEgetlazyconstraintname(QVNCENVptr cenv, QVNCLPptr lp, char **nameArray, char *store, int space,
                                      int *surplus, int begin, int end) {
  return rowSetNames(cenv, lp, true, nameArray, store, space, surplus, begin, end, "QVNEgetlazyconstraintname");
}

} // extern "C"
