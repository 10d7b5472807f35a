// Exported name functions: hooks, lookups, renaming and dropping names.
#include <cstring>

#include "model/datacheck.h"
#include "model/edit.h"
#include "model/names.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

int lookup(const Environment *cenv, const Problem *lp, const char *name, int *indexPointer, bool column) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!name || !indexPointer) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    const LpData &d = *p->lpData;
    const NameStore &store = column ? d.colNames : d.rowNames;
    if (!store.exists) return QVNERR_NO_NAMES;
    const int i = findName(store, column ? d.numCols : d.numRows, name);
    // Not finding a name is an answer, not a fault: no line on the error channel.
    if (i < 0) return -QVNERR_NAME_NOT_FOUND;
    *indexPointer = i;
    return 0;
  });
}

int rename(Environment *env, Problem *lp, int count, const int *indices, char **names, bool column) {
  if (count < 0) return QVNERR_BAD_ARGUMENT;
  if (count == 0) return 0;
  if (!indices || !names) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  LpData &d = *lp->lpData;
  const int total = column ? d.numCols : d.numRows;
  // Both kinds report a bad index with the row text.
  for (int k = 0; k < count; ++k)
    if (indices[k] < 0 || indices[k] >= total) return reportError(env, QVNERR_ROW_INDEX_RANGE, indices[k]);
  QVN_TRY(checkNames(env, names, count));
  NameStore &store = column ? d.colNames : d.rowNames;
  if (!store.exists) {
    int &counter = column ? d.colDefaultNames : d.rowDefaultNames;
    const size_t capacity = static_cast<size_t>(column ? d.colSpace : d.rowSpace);
    if (makeDefaultNames(store, total, capacity, column ? 'x' : 'c', counter) != 0) return QVNERR_NO_NAMES;
  }
  modelChanged(env, lp, ModelEvent::kNamesChanged);
  renameEntries(store, total, count, indices, names);
  return 0;
}

} // namespace

extern "C" {

QVN_API int QVNEsetnamefunctions(QVNENVptr env, void *userHandle,
                                 const char *(*colNameFunction)(void *, int, char *),
                                 const char *(*rowNameFunction)(void *, int, char *),
                                 const char *(*indicatorNameFunction)(void *, int, char *),
                                 const char *(*sosNameFunction)(void *, int, char *),
                                 const char *(*qconstrNameFunction)(void *, int, char *)) {
  return guarded(env, [&]() -> int {
    env->nameHooks = NameHooks{userHandle, colNameFunction, rowNameFunction, indicatorNameFunction,
                               sosNameFunction, qconstrNameFunction};
    return 0;
  });
}

QVN_API int QVNgetcolindex(QVNCENVptr env, QVNCLPptr lp, const char *name, int *indexPointer) {
  return lookup(env, lp, name, indexPointer, true);
}

QVN_API int QVNgetrowindex(QVNCENVptr env, QVNCLPptr lp, const char *name, int *indexPointer) {
  return lookup(env, lp, name, indexPointer, false);
}

QVN_API int QVNchgrowname(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, char **names) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return rename(env, p, count, indices, names, false); });
}

QVN_API int QVNchgcolname(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, char **names) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return rename(env, p, count, indices, names, true); });
}

QVN_API int QVNchgname(QVNCENVptr env, QVNLPptr lp, int key, int index, const char *text) {
  char *name = const_cast<char *>(text);
  if (key == 'r' && text) return QVNchgrowname(env, lp, 1, &index, &name);
  if (key == 'c' && text) return QVNchgcolname(env, lp, 1, &index, &name);
  return guardedEdit(env, lp, [&](Problem *) { return text ? QVNERR_BAD_ARGUMENT : QVNERR_NULL_POINTER; });
}

QVN_API int QVNdelnames(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    LpData &d = *p->lpData;
    modelChanged(env, p, ModelEvent::kNamesChanged);
    d.colNames.clear();
    d.rowNames.clear();
    d.colDefaultNames = d.rowDefaultNames = -1;
    return 0;
  });
}

} // extern "C"
