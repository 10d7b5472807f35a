// QVNhybnetopt: the network part of an LP, solved by the network simplex,
// gives the simplex its start basis; the simplex then solves the whole LP.
// On an LP that is a network the simplex only confirms the tree (no
// iterations); on a partial network it starts from a basis whose network
// part is already optimal for the network alone.
#include <algorithm>

#include "model/edit.h"
#include "network/net_problem.h"
#include "runtime/environment.h"
#include "runtime/params.h"

namespace qvn {

namespace {

enum class CleanUp { kPrimal, kDual, kInvalid };

CleanUp cleanUpOf(int method) {
  switch (method) {
  case 'd': case 'D': case 't': case 'T': case 2: return CleanUp::kDual;
  case 'p': case 'P': case 'o': case 'O': case 1: return CleanUp::kPrimal;
  default: return CleanUp::kInvalid;
  }
}

// An exported function called from inside a frame has printed its error
// already: negated, the outer frame does not print it again.
int inner(int status) { return status > 0 ? -status : status; }

// Statuses of the LP's columns and rows from the network basis: arcs take the
// status of their arc; columns left out of the network sit at a finite bound
// (or at zero when free); nodes whose artificial is basic, and rows that are
// not nodes, have their slack basic. Returns false when the count of basic
// positions is not the row count, so that no basis of the wrong size is
// handed on.
bool lpBasisOf(Environment *env, QVNNETptr net, Problem *lp, const EnvVector<int> &arcOf,
               const EnvVector<int> &nodeOf, EnvVector<int> &colStatus, EnvVector<int> &rowStatus) {
  const int arcs = QVNNETgetnumarcs(env, net), nodes = QVNNETgetnumnodes(env, net);
  EnvVector<int> arcStatus(static_cast<size_t>(std::max(arcs, 1))), nodeStatus(static_cast<size_t>(std::max(nodes, 1)));
  if (QVNNETgetbase(env, net, arcStatus.data(), nodeStatus.data()) != 0) return false;
  const LpData &d = *lp->lpData;
  const int n = d.numCols, m = d.numRows;
  int basic = 0;
  for (int j = 0; j < n; ++j) {
    if (arcOf[j] >= 0) {
      colStatus[j] = arcStatus[arcOf[j]];
    } else {
      colStatus[j] = d.lowerBound[j] > -kInfinity ? 0 : d.upperBound[j] < kInfinity ? 2 : 3;
    }
    basic += colStatus[j] == 1;
  }
  for (int i = 0; i < m; ++i) {
    rowStatus[i] = nodeOf[i] < 0 || nodeStatus[nodeOf[i]] == 1 ? 1 : 0;
    basic += rowStatus[i] == 1;
  }
  // With the extra node in the network its tree arcs alone span the rows'
  // nodes, and B without the extra node's row is that tree's incidence
  // matrix less one row: nonsingular. A root on a row's node then leaves one
  // basic too many, whose row goes back to nonbasic.
  int rowNodes = 0;
  for (int i = 0; i < m; ++i) rowNodes += nodeOf[i] >= 0;
  if (basic == m + 1 && nodes == rowNodes + 1) {
    for (int i = 0; i < m; ++i)
      if (nodeOf[i] >= 0 && rowStatus[i] == 1) {
        rowStatus[i] = 0;
        --basic;
        break;
      }
  }
  return basic == m;
}

// Runs the network stage; a network that cannot be solved to optimality
// leaves the problem without a start, and the simplex starts as it would.
// `installed` tells whether a start basis went onto the problem.
int networkStart(Environment *env, Problem *lp, bool *installed) {
  const LpData &d = *lp->lpData;
  const int n = d.numCols, m = d.numRows;
  if (n == 0 || m == 0) return 0;
  int status = 0;
  QVNNETptr net = QVNNETcreateprob(env, &status, "hybnet");
  if (!net) return inner(status);
  struct Free {
    Environment *env;
    QVNNETptr &net;
    ~Free() { QVNNETfreeprob(env, &net); }
  } release{env, net};
  EnvVector<int> arcOf(static_cast<size_t>(n)), nodeOf(static_cast<size_t>(m));
  QVN_TRY(inner(QVNNETextract(env, net, lp, arcOf.data(), nodeOf.data())));
  if (QVNNETgetnumarcs(env, net) == 0) return 0;
  GeneralParams &gp = *env->generalParams;
  const int savedDisplay = env->netParams->netdisplay;
  if (gp.simdisplay == 0) env->netParams->netdisplay = 0;
  status = QVNNETprimopt(env, net);
  env->netParams->netdisplay = savedDisplay;
  QVN_TRY(inner(status));
  if (QVNNETgetstat(env, net) != QVN_STAT_OPTIMAL) return 0;
  EnvVector<int> colStatus(static_cast<size_t>(n)), rowStatus(static_cast<size_t>(m));
  if (!lpBasisOf(env, net, lp, arcOf, nodeOf, colStatus, rowStatus)) return 0;
  QVN_TRY(inner(QVNcopybase(env, lp, colStatus.data(), rowStatus.data())));
  *installed = true;
  return 0;
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNhybnetopt(QVNCENVptr cenv, QVNLPptr lp, int method) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    const CleanUp cleanUp = cleanUpOf(method);
    if (cleanUp == CleanUp::kInvalid) return QVNERR_BAD_METHOD;
    // Only a plain LP has a network stage; the optimizer below gives every
    // other kind of problem its own answer or error.
    bool installed = false;
    if (p->probType == kProbLP) {
      QVN_TRY(flushCache(env, p));
      QVN_TRY(networkStart(env, p, &installed));
    }
    // The network's basis is used even when the caller keeps no advanced start.
    GeneralParams &gp = *env->generalParams;
    const int savedAdvind = gp.advind;
    if (installed && gp.advind == 0) gp.advind = 1;
    const int status = cleanUp == CleanUp::kPrimal ? QVNprimopt(env, p) : QVNdualopt(env, p);
    gp.advind = savedAdvind;
    return inner(status);
  });
}

} // extern "C"
