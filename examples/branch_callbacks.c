/* A knapsack with two capacity rows solved with the callbacks that steer the
 * search:
 *
 * - a branch callback that makes the children itself, from the branching the
 *   library proposes, each child with a handle of its own;
 * - a node callback that always takes the deepest open node;
 * - a heuristic callback that offers the empty knapsack (feasible) once;
 * - a delete-node callback that counts the children left unprocessed.
 *
 * The optimum must equal the one found by trying every subset, and every
 * child must be processed or deleted exactly once.
 * Usage: branch_callbacks [items [seed]]   (exit status 0 when all holds) */
#include <stdio.h>
#include <stdlib.h>

#include "quorvan.h"

#define MAX_ITEMS 20

typedef struct {
  int items;
  int made, seen, deleted, twice;
  unsigned char state[1 << 16]; /* per child: 0 made, 1 processed, 2 deleted */
  int offered;
} Watch;

static unsigned long long rng;
static int draw(int lo, int hi) {
  rng = rng * 6364136223846793005ULL + 1442695040888963407ULL;
  return lo + (int)((rng >> 33) % (unsigned long long)(hi - lo + 1));
}

static int branch(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle, int brtype, int sos, int nodecnt,
                  int bdcnt, const int *nodebeg, const int *indices, const char *lu, const double *bd,
                  const double *nodeest, int *useraction_p) {
  Watch *w = (Watch *)cbhandle;
  (void)brtype, (void)sos;
  *useraction_p = QVN_CALLBACK_DEFAULT;
  for (int k = 0; k < nodecnt; ++k) {
    const int begin = nodebeg[k], count = (k + 1 < nodecnt ? nodebeg[k + 1] : bdcnt) - begin;
    if (w->made + 1 >= (int)sizeof w->state) return 1;
    /* The handle is the child's number plus one, so that none is null. */
    void *handle = (void *)(size_t)(w->made + 1);
    w->state[w->made++] = 0;
    if (QVNbranchcallbackbranchbds(env, cbdata, wherefrom, count, indices + begin, lu + begin, bd + begin,
                                   nodeest[k], handle, NULL) != 0)
      return 1;
  }
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

static int deepest(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle, int *nodeindex_p,
                   int *useraction_p) {
  int left = 0, best = -1, bestDepth = -1;
  (void)cbhandle;
  if (QVNgetcallbackinfo(env, cbdata, wherefrom, QVN_CALLBACK_INFO_NODES_LEFT, &left) != 0) return 1;
  for (int k = 0; k < left; ++k) {
    int depth = 0;
    if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, k, QVN_CALLBACK_INFO_NODE_DEPTH, &depth) != 0) return 1;
    if (depth > bestDepth) best = k, bestDepth = depth;
  }
  *useraction_p = best >= 0 ? QVN_CALLBACK_SET : QVN_CALLBACK_DEFAULT;
  *nodeindex_p = best;
  return 0;
}

static int emptyKnapsack(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle, double *objval_p, double *x,
                         int *useraction_p) {
  Watch *w = (Watch *)cbhandle;
  (void)env, (void)cbdata, (void)wherefrom, (void)objval_p;
  *useraction_p = QVN_CALLBACK_DEFAULT;
  if (w->offered++ > 0) return 0;
  for (int j = 0; j < w->items; ++j) x[j] = 0.0;
  *useraction_p = QVN_CALLBACK_SET;
  return 0;
}

/* Every node in hand reaches the solve callback first: it is processed. */
static int processed(QVNCENVptr env, void *cbdata, int wherefrom, void *cbhandle, int *useraction_p) {
  Watch *w = (Watch *)cbhandle;
  void *handle = NULL;
  *useraction_p = QVN_CALLBACK_DEFAULT;
  if (QVNgetcallbacknodeinfo(env, cbdata, wherefrom, 0, QVN_CALLBACK_INFO_NODE_USERHANDLE, &handle) != 0) return 1;
  if (handle) {
    const size_t k = (size_t)handle - 1;
    if (w->state[k] == 0) ++w->seen;
    w->state[k] = 1;
  }
  return 0;
}

static void deleted(QVNCENVptr env, int wherefrom, void *cbhandle, int seqnum, void *handle) {
  Watch *w = (Watch *)cbhandle;
  (void)env, (void)wherefrom, (void)seqnum;
  if (!handle) return;
  const size_t k = (size_t)handle - 1;
  if (w->state[k] != 0) ++w->twice;
  w->state[k] = 2;
  ++w->deleted;
}

int main(int argc, char **argv) {
  const int items = argc > 1 ? atoi(argv[1]) : 16;
  rng = argc > 2 ? (unsigned long long)atoi(argv[2]) : 1;
  if (items < 1 || items > MAX_ITEMS) return 2;
  double value[MAX_ITEMS], weight[2][MAX_ITEMS], capacity[2] = {0.0, 0.0};
  for (int j = 0; j < items; ++j) {
    value[j] = draw(4, 50);
    for (int r = 0; r < 2; ++r) {
      weight[r][j] = draw(5, 40);
      capacity[r] += weight[r][j];
    }
  }
  capacity[0] = (int)(capacity[0] / 2.3);
  capacity[1] = (int)(capacity[1] / 1.9);

  /* The optimum by trying every subset. */
  double best = 0.0;
  for (long mask = 0; mask < (1L << items); ++mask) {
    double v = 0.0, a = 0.0, b = 0.0;
    for (int j = 0; j < items; ++j)
      if (mask >> j & 1) v += value[j], a += weight[0][j], b += weight[1][j];
    if (a <= capacity[0] && b <= capacity[1] && v > best) best = v;
  }

  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  if (!env) return 1;
  QVNLPptr lp = QVNcreateprob(env, &status, "knapsack");
  static Watch w;
  w.items = items;
  int failed = lp == NULL;
  if (!failed) {
    char sense[2] = {'L', 'L'};
    int beg[MAX_ITEMS], cnt[MAX_ITEMS], ind[2 * MAX_ITEMS];
    double val[2 * MAX_ITEMS], lb[MAX_ITEMS], ub[MAX_ITEMS];
    char ctype[MAX_ITEMS];
    for (int j = 0; j < items; ++j) {
      beg[j] = 2 * j, cnt[j] = 2;
      ind[2 * j] = 0, ind[2 * j + 1] = 1;
      val[2 * j] = weight[0][j], val[2 * j + 1] = weight[1][j];
      lb[j] = 0.0, ub[j] = 1.0, ctype[j] = 'B';
    }
    failed = QVNcopylp(env, lp, items, 2, QVN_MAX, value, capacity, sense, beg, cnt, ind, val, lb, ub, NULL) != 0 ||
             QVNcopyctype(env, lp, ctype) != 0;
  }
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
  QVNsetintparam(env, QVN_PARAM_CUTPASS, -1);
  QVNsetintparam(env, QVN_PARAM_HEURFREQ, -1);
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetbranchcallbackfunc(env, branch, &w);
  QVNsetnodecallbackfunc(env, deepest, &w);
  QVNsetheuristiccallbackfunc(env, emptyKnapsack, &w);
  QVNsetsolvecallbackfunc(env, processed, &w);
  QVNsetdeletenodecallbackfunc(env, deleted, &w);
  double z = -1.0;
  if (!failed) failed = QVNmipopt(env, lp) != 0 || QVNgetstat(env, lp) != QVN_STAT_MIP_OPTIMAL ||
                        QVNgetobjval(env, lp, &z) != 0;
  printf("optimum %.0f (by enumeration %.0f); children %d: %d processed, %d deleted\n", z, best, w.made, w.seen,
         w.deleted);
  const int ok = !failed && z > best - 1e-6 && z < best + 1e-6 && w.seen + w.deleted == w.made && w.twice == 0 &&
                 w.offered > 0;
  QVNfreeprob(env, &lp);
  QVNcloseQUORVAN(&env);
  return ok ? 0 : 1;
}
