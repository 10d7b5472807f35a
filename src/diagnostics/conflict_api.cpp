// The conflict refiner at the boundary: argument checks, the record kept on
// the problem, and the getters.
#include <algorithm>
#include <cmath>

#include "diagnostics/conflict.h"
#include "runtime/environment.h"
#include "runtime/errors.h"

namespace qvn {

namespace {

void releaseConflict(Problem *lp) { envDelete(lp->conflict); }

// Statuses of a held solution that prove the problem has a point.
bool statusSaysFeasible(int status) {
  switch (status) {
  case 1: case 5: case 6: case 101: case 102: case 104: case 105: case 107: case 109: case 111: case 113:
  case 115:
    return true;
  default:
    return false;
  }
}

int countIn(const EnvVector<int> &status) {
  return static_cast<int>(std::count_if(status.begin(), status.end(), [](int s) { return s >= 0; }));
}

// Runs a refinement over `groups` and, unless an error stops it, keeps the
// result on the problem with its status.
int refineAndKeep(Environment *env, Problem *p, ConflictResult *groups, const EnvVector<int> &order,
                  int *confRowsOut, int *confColsOut) {
  int rc = 0;
  if (statusSaysFeasible(p->status)) groups->status = QVN_STAT_CONFLICT_FEASIBLE;
  else rc = refineConflict(env, p, *groups, order);
  if (rc != 0 && rc != QVNERR_CONFLICT_UNREPRODUCED) {
    envDelete(groups);
    return rc;
  }
  releaseAttachment(p, AttachmentKind::kConflict);
  p->conflict = groups;
  p->status = groups->status;
  EnvVector<int> rows, cols;
  conflictRowStatus(*groups, rows);
  conflictColStatus(*groups, cols);
  if (confRowsOut) *confRowsOut = countIn(rows);
  if (confColsOut) *confColsOut = countIn(cols);
  return rc;
}

int checkGroups(const Problem *p, int groupCount, int memberCount, const double *pref, const int *begin,
                const int *index, const int *kind) {
  if (groupCount < 0 || memberCount < 0) return QVNERR_BAD_ARGUMENT;
  if (groupCount > 0 && (!pref || !begin)) return QVNERR_NULL_POINTER;
  if (memberCount > 0 && (!index || !kind)) return QVNERR_NULL_POINTER;
  const int m = p->lpData->numRows, n = p->lpData->numCols;
  for (int g = 0; g < groupCount; ++g) {
    if (std::isnan(pref[g])) return QVNERR_BAD_ARGUMENT;
    const int end = g + 1 < groupCount ? begin[g + 1] : memberCount;
    if (begin[g] < 0 || begin[g] > end || end > memberCount) return QVNERR_BAD_ARGUMENT;
  }
  for (int k = 0; k < memberCount; ++k) {
    const int limit = kind[k] == QVN_CON_LINEAR ? m : n;
    if (kind[k] != QVN_CON_LINEAR && kind[k] != QVN_CON_LOWER_BOUND && kind[k] != QVN_CON_UPPER_BOUND)
      return QVNERR_BAD_ARGUMENT;
    if (index[k] < 0 || index[k] >= limit) return QVNERR_INDEX_RANGE;
  }
  return 0;
}

// The entries of `status` in the conflict, in rising index order.
void copyMembers(const EnvVector<int> &status, int *indices, int *statusOut, int *countOut) {
  int k = 0;
  for (int i = 0; i < static_cast<int>(status.size()); ++i)
    if (status[i] >= 0) {
      if (indices) indices[k] = i;
      if (statusOut) statusOut[k] = status[i];
      ++k;
    }
  if (countOut) *countOut = k;
}

} // namespace

const AttachmentOps kConflictAttachment = {
    .name = "conflict",
    .releasedBy = {ModelAction::kClearStatus},
    .release = releaseConflict,
};

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNrefineconflict(QVNCENVptr cenv, QVNLPptr lp, int *confRowsOut, int *confColsOut) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    auto *groups = envNew<ConflictResult>();
    int rc = runCaught([&]() -> int {
      allMemberGroups(p->lpData->numRows, p->lpData->numCols, *groups);
      EnvVector<int> order(static_cast<size_t>(groups->numGroups()));
      for (int g = 0; g < groups->numGroups(); ++g) order[g] = g;
      return refineAndKeep(env, p, groups, order, confRowsOut, confColsOut);
    });
    if (rc != 0 && p->conflict != groups) envDelete(groups);
    return rc;
  });
}

QVN_API int QVNrefineconflictext(QVNCENVptr cenv, QVNLPptr lp, int groupCount, int memberCount,
                                 const double *groupPreference, const int *groupBegin, const int *memberIndex,
                                 const int *memberKind) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    QVN_TRY(flushCache(env, p));
    QVN_TRY(checkGroups(p, groupCount, memberCount, groupPreference, groupBegin, memberIndex, memberKind));
    auto *groups = envNew<ConflictResult>();
    int rc = runCaught([&]() -> int {
      ConflictResult &g = *groups;
      g.numRows = p->lpData->numRows, g.numCols = p->lpData->numCols;
      g.groupStart.assign(groupBegin, groupBegin + groupCount);
      g.groupStart.push_back(memberCount);
      // Members before the first group's start belong to no group.
      g.memberIndex.assign(memberIndex, memberIndex + memberCount);
      g.memberKind.resize(static_cast<size_t>(memberCount));
      for (int k = 0; k < memberCount; ++k) g.memberKind[k] = static_cast<MemberKind>(memberKind[k]);
      g.state.assign(static_cast<size_t>(groupCount), GroupState::kExcluded);
      EnvVector<int> order(static_cast<size_t>(groupCount));
      for (int k = 0; k < groupCount; ++k) order[k] = k;
      std::stable_sort(order.begin(), order.end(),
                       [&](int a, int b) { return groupPreference[a] < groupPreference[b]; });
      return refineAndKeep(env, p, groups, order, nullptr, nullptr);
    });
    if (rc != 0 && p->conflict != groups) envDelete(groups);
    return rc;
  });
}

QVN_API int QVNgetconflict(QVNCENVptr cenv, QVNCLPptr lp, int *statusOut, int *rowIndices, int *rowStatus,
                           int *rowCountOut, int *colIndices, int *colStatus, int *colCountOut) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!p->conflict) return QVNERR_CONFLICT_UNAVAILABLE;
    EnvVector<int> rows, cols;
    conflictRowStatus(*p->conflict, rows);
    conflictColStatus(*p->conflict, cols);
    if (statusOut) *statusOut = p->conflict->status;
    copyMembers(rows, rowIndices, rowStatus, rowCountOut);
    copyMembers(cols, colIndices, colStatus, colCountOut);
    return 0;
  });
}

QVN_API int QVNgetconflictext(QVNCENVptr cenv, QVNCLPptr lp, int *groupStatus, int begin, int end) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!p->conflict) return QVNERR_CONFLICT_UNAVAILABLE;
    if (!groupStatus) return QVNERR_NULL_POINTER;
    const ConflictResult &c = *p->conflict;
    if (begin < 0) return QVNERR_INDEX_RANGE_LOW;
    if (end >= c.numGroups()) return QVNERR_INDEX_RANGE_HIGH;
    for (int g = begin; g <= end; ++g)
      groupStatus[g - begin] = c.state[g] == GroupState::kProven     ? QVN_CONFLICT_MEMBER
                               : c.state[g] == GroupState::kPossible ? QVN_CONFLICT_POSSIBLE_MEMBER
                                                                     : QVN_CONFLICT_EXCLUDED;
    return 0;
  });
}

} // extern "C"
