// Loading a start: a full or partial basis and start vectors, given in the
// caller's statuses and stored in the activity form of BasisData.
#include "runtime/errors.h"
#include "simplex/advanced_basis.h"

using namespace qvn;

namespace {

bool validStatus(int s) { return s >= 0 && s <= 3; }

// The default of a column left out of a partial basis: nonbasic at a finite bound, else free.
int defaultColumnStatus(const LpData &d, int j) {
  if (d.lowerBound[j] > -1e17) return 0;
  if (d.upperBound[j] < 1e17) return 2;
  return 3;
}

// Replaces the held basis by the statuses given (activity form for rows);
// the start vectors stay.
void installStatuses(Environment *env, Problem *lp, EnvVector<int> &cols, EnvVector<int> &rows) {
  modelChanged(env, lp, ModelEvent::kStartInstalled);
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  BasisData &b = *lp->basisData;
  b.colStatus.swap(cols);
  b.rowStatus.swap(rows);
  b.norms.clear();
  b.normHead.clear();
  b.primalNorms.clear();
}

int copyBase(Environment *env, Problem *p, const int *cstat, const int *rstat) {
  QVN_TRY(flushCache(env, p));
  const LpData &d = *p->lpData;
  if ((!cstat && d.numCols > 0) || (!rstat && d.numRows > 0)) return QVNERR_NULL_POINTER;
  for (int j = 0; j < d.numCols; ++j)
    if (!validStatus(cstat[j])) return reportError(env, QVNERR_BAD_STATUS, cstat[j]);
  for (int i = 0; i < d.numRows; ++i)
    if (!validStatus(rstat[i])) return reportError(env, QVNERR_BAD_STATUS, rstat[i]);
  EnvVector<int> cols(static_cast<size_t>(d.numCols > 0 ? d.numCols : 1), 0);
  EnvVector<int> rows(static_cast<size_t>(d.numRows > 0 ? d.numRows : 1), 1);
  for (int j = 0; j < d.numCols; ++j) cols[j] = cstat[j];
  for (int i = 0; i < d.numRows; ++i) rows[i] = rowStatusFromUser(d, i, rstat[i]);
  installStatuses(env, p, cols, rows);
  return 0;
}

} // namespace

extern "C" {

QVN_API int QVNcopybase(QVNCENVptr cenv, QVNLPptr lp, const int *cstat, const int *rstat) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return copyBase(env, p, cstat, rstat); });
}

QVN_API int QVNcopypartialbase(QVNCENVptr cenv, QVNLPptr lp, int ccnt, const int *cindices, const int *cstat,
                               int rcnt, const int *rindices, const int *rstat) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    const LpData &d = *p->lpData;
    if (ccnt < 0 || rcnt < 0 || ccnt > d.numCols || rcnt > d.numRows) return QVNERR_BAD_ARGUMENT;
    if ((ccnt > 0 && (!cindices || !cstat)) || (rcnt > 0 && (!rindices || !rstat))) return QVNERR_NULL_POINTER;
    for (int k = 0; k < ccnt; ++k) {
      if (cindices[k] < 0 || cindices[k] >= d.numCols) return QVNERR_COL_INDEX_RANGE;
      if (!validStatus(cstat[k])) return reportError(env, QVNERR_BAD_STATUS, cstat[k]);
    }
    for (int k = 0; k < rcnt; ++k) {
      if (rindices[k] < 0 || rindices[k] >= d.numRows) return QVNERR_ROW_INDEX_RANGE;
      if (!validStatus(rstat[k])) return reportError(env, QVNERR_BAD_STATUS, rstat[k]);
    }
    EnvVector<int> cols(static_cast<size_t>(d.numCols > 0 ? d.numCols : 1), 0);
    EnvVector<int> rows(static_cast<size_t>(d.numRows > 0 ? d.numRows : 1), 1);
    for (int j = 0; j < d.numCols; ++j) cols[j] = defaultColumnStatus(d, j);
    for (int k = 0; k < ccnt; ++k) cols[cindices[k]] = cstat[k];
    for (int k = 0; k < rcnt; ++k) rows[rindices[k]] = rowStatusFromUser(d, rindices[k], rstat[k]);
    installStatuses(env, p, cols, rows);
    return 0;
  });
}

QVN_API int QVNcopystart(QVNCENVptr cenv, QVNLPptr lp, const int *cstat, const int *rstat, const double *cprim,
                         const double *rprim, const double *cdual, const double *rdual) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    const LpData &d = *p->lpData;
    // Each part comes whole or not at all, and something must come.
    if (!cstat != !rstat || !cprim != !rprim || !cdual != !rdual) return QVNERR_NULL_POINTER;
    if (!cstat && !cprim && !cdual) return QVNERR_NULL_POINTER;
    if (cstat) QVN_TRY(copyBase(env, p, cstat, rstat));
    if (!p->basisData) p->basisData = envNew<BasisData>();
    BasisData &b = *p->basisData;
    if (cprim) {
      b.primalStart.assign(cprim, cprim + d.numCols);
      b.primalStart.insert(b.primalStart.end(), rprim, rprim + d.numRows);
    }
    if (cdual) {
      b.dualStart.assign(rdual, rdual + d.numRows);
      b.dualStart.insert(b.dualStart.end(), cdual, cdual + d.numCols);
    }
    return 0;
  });
}

} // extern "C"
