// Exported functions of the integer model data: column types, priority
// order, special ordered sets and MIP starts.
#include <algorithm>

#include "model/datacheck.h"
#include "model/edit.h"
#include "model/mip_data.h"
#include "model/names.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

bool dataCheck(const Environment *env) { return env->generalParams->datacheck == 1; }
bool isMip(const Problem *lp) { return !lp->lpData->ctype.empty(); }

// Columns of a list, each at most once (1201 with the position, 1222).
int checkColumnSet(const Environment *env, const Problem *lp, int count, const int *indices) {
  const int n = lp->lpData->numCols;
  QVN_TRY(checkIndexList(env, count, indices, n, QVNERR_COL_INDEX_RANGE));
  EnvVector<char> seen(static_cast<size_t>(std::max(n, 1)), 0);
  for (int k = 0; k < count; ++k) {
    if (seen[indices[k]]) return QVNERR_DUP_ENTRY;
    seen[indices[k]] = 1;
  }
  return 0;
}

int countType(const Problem *lp, char letter) {
  const LpData &d = *lp->lpData;
  int n = 0;
  if (!d.ctype.empty())
    for (int j = 0; j < d.numCols; ++j) n += d.ctype[j] == letter;
  for (char c : d.cache.colType) n += c == letter;
  return n;
}

bool semiLetter(char c) { return c == 'S' || c == 'N'; }

// Appends `count` sets to `sos` after all checks; every allocation first.
int appendSos(Environment *env, Problem *lp, SosData &sos, int count, int nonzeros, const char *types,
              const int *starts, const int *indices, const double *weights, char **names) {
  for (int s = 0; s < count; ++s)
    if (types[s] != '1' && types[s] != '2') return reportError(env, QVNERR_BAD_SOS_TYPE, s);
  if (count > 0) QVN_TRY(checkStartMatrix(env, count, starts, nonzeros, indices, lp->lpData->numCols,
                                          QVNERR_COL_INDEX_RANGE, weights, dataCheck(env)));
  if (dataCheck(env)) QVN_TRY(checkNames(env, names, count));
  // Members sorted by weight within each set; equal neighbours mean repeated weights.
  EnvVector<std::pair<double, int>> members(static_cast<size_t>(std::max(nonzeros, 1)));
  for (int k = 0; k < nonzeros; ++k) members[k] = {weights[k], indices[k]};
  for (int s = 0; s < count; ++s) {
    const int end = s + 1 < count ? starts[s + 1] : nonzeros;
    std::sort(members.begin() + starts[s], members.begin() + end);
    for (int k = starts[s] + 1; k < end; ++k)
      if (members[k].first == members[k - 1].first) return QVNERR_UNIQUE_WEIGHTS;
  }
  const size_t total = sos.member.size() + static_cast<size_t>(nonzeros);
  sos.member.reserve(total);
  sos.weight.reserve(total);
  sos.type.reserve(static_cast<size_t>(sos.count + count));
  sos.start.reserve(static_cast<size_t>(sos.count + count + 1));
  QVN_TRY(addNames(sos.names, sos.count, names, count, 's', sos.defaultNames,
                   static_cast<size_t>(sos.count + count)));
  modelChanged(env, lp, ModelEvent::kSosChanged);
  const int base = static_cast<int>(sos.member.size());
  for (int s = 0; s < count; ++s) {
    sos.type.push_back(types[s]);
    sos.start.push_back(base + (s + 1 < count ? starts[s + 1] : nonzeros));
  }
  for (int k = 0; k < nonzeros; ++k) {
    sos.member.push_back(members[k].second);
    sos.weight.push_back(members[k].first);
  }
  sos.count += count;
  return 0;
}

int copyOrAddSos(QVNCENVptr cenv, QVNLPptr lp, int count, int nonzeros, const char *types, const int *starts,
                 const int *indices, const double *weights, char **names, bool replace) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (count < 0 || nonzeros < 0) return QVNERR_BAD_ARGUMENT;
    if ((count > 0 && (!types || !starts)) || (nonzeros > 0 && (!indices || !weights)))
      return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    if (!replace && count == 0) return 0;
    ensureMipData(p);
    // A replacement is built aside and swapped in, so a fault keeps the old sets.
    SosData *fresh = envNew<SosData>();
    SosData *target = fresh;
    if (!replace) {
      envDelete(fresh);
      target = p->mipData->sosData;
      if (!target) target = fresh = envNew<SosData>();
    }
    const int status = runCaught([&]() {
      return appendSos(env, p, *target, count, nonzeros, types, starts, indices, weights, names);
    });
    if (status != 0) {
      if (fresh) envDelete(fresh);
      return status;
    }
    if (fresh) {
      envDelete(p->mipData->sosData);
      p->mipData->sosData = fresh;
    }
    return 0;
  });
}

// MIP start entries: updates listed columns, appends the others (last wins).
int putMipStart(Environment *env, Problem *lp, int count, const int *indices, const double *values,
                bool replace) {
  if (count < 0) return QVNERR_BAD_ARGUMENT;
  if (count > 0 && (!indices || !values)) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  if (!isMip(lp)) return QVNERR_NOT_MIP;
  const int n = lp->lpData->numCols;
  QVN_TRY(checkIndexList(env, count, indices, n, QVNERR_COL_INDEX_RANGE));
  if (dataCheck(env)) QVN_TRY(checkNumbers(env, values, count));
  MipData &mip = ensureMipData(lp);
  MipStartData fresh;
  if (!replace && mip.startData) fresh = *mip.startData;
  EnvVector<int> at(static_cast<size_t>(std::max(n, 1)), -1);
  for (size_t k = 0; k < fresh.column.size(); ++k) at[fresh.column[k]] = static_cast<int>(k);
  for (int k = 0; k < count; ++k) {
    const int j = indices[k];
    if (at[j] >= 0) {
      fresh.value[at[j]] = values[k];
    } else {
      at[j] = static_cast<int>(fresh.column.size());
      fresh.column.push_back(j);
      fresh.value.push_back(values[k]);
    }
  }
  if (!mip.startData) mip.startData = envNew<MipStartData>();
  modelChanged(env, lp, ModelEvent::kMipStartChanged);
  std::swap(*mip.startData, fresh);
  return 0;
}

} // namespace

extern "C" {

QVN_API int QVNcopyctype(QVNCENVptr cenv, QVNLPptr lp, const char *ctype) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (!ctype) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    LpData &d = *p->lpData;
    QVN_TRY(checkColumnTypes(env, ctype, d.numCols));
    EnvVector<char> fresh(static_cast<size_t>(d.colSpace), 'C');
    modelChanged(env, p, ModelEvent::kCtypeCopied);
    std::copy_n(ctype, d.numCols, fresh.begin());
    d.ctype.swap(fresh);
    recomputeType(p);
    return 0;
  });
}

QVN_API int QVNchgctype(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const char *letters) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count == 0) return 0;
    if (!indices || !letters) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    LpData &d = *p->lpData;
    QVN_TRY(checkIndexList(env, count, indices, d.numCols, QVNERR_COL_INDEX_RANGE));
    QVN_TRY(checkColumnTypes(env, letters, count));
    if (d.ctype.empty()) {
      EnvVector<char> fresh(static_cast<size_t>(d.colSpace), 'C');
      d.ctype.swap(fresh);
    }
    modelChanged(env, p, ModelEvent::kCtypeChanged);
    bool boundsMoved = false;
    for (int k = 0; k < count; ++k) {
      const int j = indices[k];
      const char to = letters[k];
      // A semi-continuous column's lower bound means "0 or at least this";
      // once it is no longer semi-continuous that reading goes.
      if (semiLetter(d.ctype[j]) && !semiLetter(to) && d.lowerBound[j] != 0.0) {
        d.lowerBound[j] = 0.0;
        boundsMoved = true;
      }
      d.ctype[j] = to;
    }
    if (boundsMoved) modelChanged(env, p, ModelEvent::kBoundsChanged);
    recomputeType(p);
    return 0;
  });
}

QVN_API int QVNgetctype(QVNCENVptr cenv, QVNCLPptr lp, char *letters, int begin, int end) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!letters) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    const LpData &d = *p->lpData;
    if (d.ctype.empty()) return QVNERR_NOT_MIP;
    QVN_TRY(rangeStatus(env, "QVNgetctype", begin, end, d.numCols));
    for (int j = begin; j <= end; ++j) letters[j - begin] = d.ctype[j];
    return 0;
  });
}

QVN_API int QVNgetnumint(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return countType(p, 'I'); });
}

QVN_API int QVNgetnumbin(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return countType(p, 'B'); });
}

QVN_API int QVNgetnumsemicont(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return countType(p, 'S'); });
}

QVN_API int QVNgetnumsemiint(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return countType(p, 'N'); });
}

QVN_API int QVNcopyorder(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const int *priorities,
                         const int *directions) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (count < 0) return QVNERR_BAD_ARGUMENT;
    if (count > 0 && !indices) return QVNERR_NULL_POINTER;
    QVN_TRY(flushCache(env, p));
    if (!isMip(p)) return QVNERR_NOT_MIP;
    if (dataCheck(env))
      for (int k = 0; k < count; ++k) {
        if (priorities && priorities[k] < 0) return reportError(env, QVNERR_NEGATIVE_PRIORITY, k);
        if (directions && (directions[k] < -1 || directions[k] > 1))
          return reportError(env, QVNERR_BAD_DIRECTION, k);
      }
    QVN_TRY(checkColumnSet(env, p, count, indices));
    PriorityOrder *fresh = envNew<PriorityOrder>();
    const int status = runCaught([&]() -> int {
      fresh->column.assign(indices, indices + count);
      fresh->priority.resize(static_cast<size_t>(count));
      fresh->direction.assign(static_cast<size_t>(count), 0);
      for (int k = 0; k < count; ++k) {
        fresh->priority[k] = priorities ? priorities[k] : k + 1;
        if (directions) fresh->direction[k] = directions[k];
      }
      ensureMipData(p);
      return 0;
    });
    if (status != 0) {
      envDelete(fresh);
      return status;
    }
    modelChanged(env, p, ModelEvent::kOrderChanged);
    envDelete(p->mipData->order);
    p->mipData->order = fresh;
    return 0;
  });
}

QVN_API int QVNgetorder(QVNCENVptr cenv, QVNCLPptr lp, int *countOut, int *indices, int *priorities,
                        int *directions, int space, int *surplus) {
  return surplusFrame(cenv, lp, countOut, surplus, [&](Environment *, Problem *p) -> int {
    const PriorityOrder *order = p->mipData ? p->mipData->order : nullptr;
    if (!order) return QVNERR_NO_ORDER;
    const int needed = static_cast<int>(order->column.size());
    if (space == 0) return surplusCountOnly(needed, surplus, true);  // counting prints nothing
    if (!indices) return QVNERR_NULL_POINTER;
    for (int k = 0; k < std::min(needed, space); ++k) {
      indices[k] = order->column[k];
      if (priorities) priorities[k] = order->priority[k];
      if (directions) directions[k] = order->direction[k];
    }
    return finishSurplus(needed, space, countOut, surplus);
  });
}

QVN_API int QVNcopysos(QVNCENVptr env, QVNLPptr lp, int count, int nonzeros, const char *types,
                       const int *starts, const int *indices, const double *weights, char **names) {
  return copyOrAddSos(env, lp, count, nonzeros, types, starts, indices, weights, names, true);
}

QVN_API int QVNaddsos(QVNCENVptr env, QVNLPptr lp, int count, int nonzeros, const char *types,
                      const int *starts, const int *indices, const double *weights, char **names) {
  return copyOrAddSos(env, lp, count, nonzeros, types, starts, indices, weights, names, false);
}

QVN_API int QVNdelsetsos(QVNCENVptr cenv, QVNLPptr lp, int *deleteFlags) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) -> int {
    if (!deleteFlags) return QVNERR_NULL_POINTER;
    SosData *sos = p->mipData ? p->mipData->sosData : nullptr;
    if (!sos || sos->count == 0) return QVNERR_NO_SOS;
    EnvVector<int> map(static_cast<size_t>(sos->count));
    int kept = 0;
    for (int s = 0; s < sos->count; ++s) map[s] = deleteFlags[s] == 1 ? -1 : kept++;
    compactNames(sos->names, sos->count, map.data());
    modelChanged(env, p, ModelEvent::kSosChanged);
    int out = 0;
    for (int s = 0; s < sos->count; ++s) {
      const int begin = sos->start[s], end = sos->start[s + 1];
      if (map[s] < 0) continue;
      sos->type[map[s]] = sos->type[s];
      sos->start[map[s]] = out;
      for (int k = begin; k < end; ++k, ++out) {
        sos->member[out] = sos->member[k];
        sos->weight[out] = sos->weight[k];
      }
    }
    sos->start[kept] = out;
    sos->count = kept;
    sos->type.resize(static_cast<size_t>(kept));
    sos->start.resize(static_cast<size_t>(kept) + 1);
    sos->member.resize(static_cast<size_t>(out));
    sos->weight.resize(static_cast<size_t>(out));
    std::copy(map.begin(), map.end(), deleteFlags);
    return 0;
  });
}

QVN_API int QVNgetsos(QVNCENVptr cenv, QVNCLPptr lp, int *nonzeroCount, char *types, int *starts, int *indices,
                      double *weights, int space, int *surplus, int begin, int end) {
  return surplusFrame(cenv, lp, nonzeroCount, surplus, [&](Environment *env, Problem *p) -> int {
    const SosData *sos = heldSos(p);
    if (!sos) return QVNERR_NO_SOS;
    QVN_TRY(rangeStatus(env, "QVNgetsos", begin, end, sos->count));
    const int first = begin <= end ? sos->start[begin] : 0;
    const int needed = begin <= end ? sos->start[end + 1] - first : 0;
    if (space == 0) return surplusCountOnly(needed, surplus);
    if (!indices || !weights) return QVNERR_NULL_POINTER;
    for (int s = begin; s <= end; ++s) {
      if (types) types[s - begin] = sos->type[s];
      if (starts) starts[s - begin] = sos->start[s] - first;
    }
    for (int k = 0; k < std::min(needed, space); ++k) {
      indices[k] = sos->member[first + k];
      weights[k] = sos->weight[first + k];
    }
    return finishSurplus(needed, space, nonzeroCount, surplus);
  });
}

QVN_API int QVNgetnumsos(QVNCENVptr env, QVNCLPptr lp) {
  return problemValue(env, lp, 0, [](Problem *p) { return heldSos(p) ? heldSos(p)->count : 0; });
}

QVN_API int QVNgetsosname(QVNCENVptr cenv, QVNCLPptr lp, char **nameArray, char *store, int space, int *surplus,
                          int begin, int end) {
  if (surplus) *surplus = 0;
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    const SosData *sos = heldSos(p);
    if (!sos) return QVNERR_NO_SOS;
    return nameGetter(env, sos->names, sos->count, nameArray, store, space, surplus, begin, end, "QVNgetsosname");
  });
}

QVN_API int QVNgetsosindex(QVNCENVptr cenv, QVNCLPptr lp, const char *name, int *indexPointer) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!name || !indexPointer) return QVNERR_NULL_POINTER;
    const SosData *sos = heldSos(p);
    if (!sos) return QVNERR_NO_SOS;
    if (!sos->names.exists) return QVNERR_NO_NAMES;
    const int s = findName(sos->names, sos->count, name);
    if (s < 0) return -QVNERR_NAME_NOT_FOUND;
    *indexPointer = s;
    return 0;
  });
}

QVN_API int QVNcopymipstart(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const double *values) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return putMipStart(env, p, count, indices, values, true); });
}

QVN_API int QVNchgmipstart(QVNCENVptr cenv, QVNLPptr lp, int count, const int *indices, const double *values) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return putMipStart(env, p, count, indices, values, false); });
}

QVN_API int QVNgetmipstart(QVNCENVptr cenv, QVNCLPptr lp, int *countOut, int *indices, double *values, int space,
                           int *surplus) {
  return surplusFrame(cenv, lp, countOut, surplus, [&](Environment *, Problem *p) -> int {
    const MipStartData *start = p->mipData ? p->mipData->startData : nullptr;
    if (!start) return QVNERR_NO_MIPSTART;
    const int needed = static_cast<int>(start->column.size());
    if (space == 0) return surplusCountOnly(needed, surplus);
    if (!indices || !values) return QVNERR_NULL_POINTER;
    for (int k = 0; k < std::min(needed, space); ++k) indices[k] = start->column[k], values[k] = start->value[k];
    return finishSurplus(needed, space, countOut, surplus);
  });
}

} // extern "C"

namespace qvn {

void dropMipAttachments(Problem *lp) {
  if (!lp->mipData) return;
  envDelete(lp->mipData->order);
  envDelete(lp->mipData->sosData);
}

} // namespace qvn
