/* A travelling salesman problem on random cities, solved twice:
 *
 * 1. with an edge variable per pair of cities, two edges at each city, and
 *    the subtour constraints left out: a cut callback finds the components
 *    of the edges at 1 in each node's solution and adds, for every component
 *    S short of all cities, sum of x over the edges inside S <= |S| - 1;
 * 2. with a complete formulation and no callback: a single-commodity flow
 *    from city 0 that reaches every other city only along chosen edges.
 * Up to 10 cities, also with every subtour constraint given before the run as
 * a lazy constraint of the model.
 *
 * Both must give the same length, and the first tour must be one cycle.
 * Usage: tsp_lazy [cities [seed]]   (exit status 0 when all holds) */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "quorvan.h"

typedef struct {
  int n;
  int *edgeOf; /* n * n: the edge variable of a pair, -1 on the diagonal */
  int edges;
  int *from, *to;
  double *x;   /* work space for the callback */
  int *label;  /* component of each city */
  int *stack;
  int cutsAdded;
} Graph;

static unsigned long long rng;
static double uniform(void) {
  rng = rng * 6364136223846793005ULL + 1442695040888963407ULL;
  return (double)(rng >> 11) / 9007199254740992.0;
}

/* Components of the graph of edges with x > 0.5; returns their count. */
static int components(Graph *g, const double *x) {
  int count = 0;
  for (int i = 0; i < g->n; ++i) g->label[i] = -1;
  for (int s = 0; s < g->n; ++s) {
    if (g->label[s] >= 0) continue;
    int top = 0;
    g->stack[top++] = s;
    g->label[s] = count;
    while (top > 0) {
      const int v = g->stack[--top];
      for (int w = 0; w < g->n; ++w) {
        if (w == v || g->label[w] >= 0 || x[g->edgeOf[v * g->n + w]] <= 0.5) continue;
        g->label[w] = count;
        g->stack[top++] = w;
      }
    }
    ++count;
  }
  return count;
}

static int subtourCallback(QVNCENVptr env, void *cbdata, int wherefrom, void *handle, int *useraction) {
  Graph *g = (Graph *)handle;
  *useraction = QVN_CALLBACK_DEFAULT;
  if (QVNgetcallbacknodex(env, cbdata, wherefrom, g->x, 0, g->edges - 1) != 0) return 1;
  const int parts = components(g, g->x);
  if (parts == 1) return 0;
  int *index = (int *)malloc(sizeof(int) * (size_t)g->edges);
  double *value = (double *)malloc(sizeof(double) * (size_t)g->edges);
  int status = 0;
  for (int c = 0; c < parts && status == 0; ++c) {
    int size = 0, count = 0;
    double lhs = 0.0;
    for (int i = 0; i < g->n; ++i) size += g->label[i] == c;
    for (int e = 0; e < g->edges; ++e) {
      if (g->label[g->from[e]] != c || g->label[g->to[e]] != c) continue;
      index[count] = e;
      value[count++] = 1.0;
      lhs += g->x[e];
    }
    /* Only a violated constraint goes in: a satisfied one changes nothing. */
    if (lhs > size - 1 + 1e-6) {
      status = QVNcutcallbackadd(env, cbdata, wherefrom, count, size - 1.0, 'L', index, value, 0);
      ++g->cutsAdded;
    }
  }
  free(index);
  free(value);
  if (status == 0) *useraction = QVN_CALLBACK_SET;
  return status;
}

/* Edge variables and the degree rows; the flow part when `complete`. */
static int build(QVNENVptr env, QVNLPptr lp, const Graph *g, const double *length, int complete) {
  const int n = g->n, m = g->edges;
  int status = 0;
  char *btype = (char *)malloc((size_t)m);
  double *lb = (double *)calloc((size_t)m, sizeof(double));
  double *ub = (double *)malloc(sizeof(double) * (size_t)m);
  for (int e = 0; e < m; ++e) {
    btype[e] = 'B';
    ub[e] = 1.0;
  }
  status = QVNnewcols(env, lp, m, length, lb, ub, btype, NULL);
  /* Degree rows: sum of x over the edges at city i = 2. */
  for (int i = 0; i < n && status == 0; ++i) {
    int beg = 0, count = 0;
    int *ind = (int *)malloc(sizeof(int) * (size_t)n);
    double *val = (double *)malloc(sizeof(double) * (size_t)n);
    for (int j = 0; j < n; ++j)
      if (j != i) {
        ind[count] = g->edgeOf[i * n + j];
        val[count++] = 1.0;
      }
    const double two = 2.0;
    const char sense = 'E';
    status = QVNaddrows(env, lp, 0, 1, count, &two, &sense, &beg, ind, val, NULL, NULL);
    free(ind);
    free(val);
  }
  if (complete && status == 0) {
    /* Flow f(i,j) on each arc, n - 1 units leave city 0, one unit stays at
       every other city, and an arc carries flow only on a chosen edge. */
    const int arcs = 2 * m;
    double *zero = (double *)calloc((size_t)arcs, sizeof(double));
    double *cap = (double *)malloc(sizeof(double) * (size_t)arcs);
    for (int a = 0; a < arcs; ++a) cap[a] = n - 1.0;
    status = QVNnewcols(env, lp, arcs, zero, zero, cap, NULL, NULL);
    for (int i = 0; i < n && status == 0; ++i) {
      /* out - in = n - 1 at city 0, -1 elsewhere */
      int beg = 0, count = 0;
      int *ind = (int *)malloc(sizeof(int) * (size_t)(2 * n));
      double *val = (double *)malloc(sizeof(double) * (size_t)(2 * n));
      for (int j = 0; j < n; ++j) {
        if (j == i) continue;
        const int e = g->edgeOf[i * n + j];
        const int out = m + 2 * e + (g->from[e] == i ? 0 : 1), in = m + 2 * e + (g->from[e] == i ? 1 : 0);
        ind[count] = out;
        val[count++] = 1.0;
        ind[count] = in;
        val[count++] = -1.0;
      }
      const double rhs = i == 0 ? n - 1.0 : -1.0;
      const char sense = 'E';
      status = QVNaddrows(env, lp, 0, 1, count, &rhs, &sense, &beg, ind, val, NULL, NULL);
      free(ind);
      free(val);
    }
    for (int e = 0; e < m && status == 0; ++e) {
      /* f(i,j) + f(j,i) - (n - 1) x_e <= 0 */
      const int beg = 0, ind[3] = {m + 2 * e, m + 2 * e + 1, e};
      const double val[3] = {1.0, 1.0, -(n - 1.0)}, rhs = 0.0;
      const char sense = 'L';
      status = QVNaddrows(env, lp, 0, 1, 3, &rhs, &sense, &beg, ind, val, NULL, NULL);
    }
    free(zero);
    free(cap);
  }
  free(btype);
  free(lb);
  free(ub);
  return status;
}

/* Length of the tour of lp, or -1 when it is no single cycle. */
static double tourLength(QVNENVptr env, QVNLPptr lp, Graph *g, const double *length) {
  if (QVNgetx(env, lp, g->x, 0, g->edges - 1) != 0) return -1.0;
  if (components(g, g->x) != 1) return -1.0;
  double total = 0.0;
  for (int e = 0; e < g->edges; ++e)
    if (g->x[e] > 0.5) total += length[e];
  /* One component where every city has two edges: a Hamiltonian cycle. */
  for (int i = 0; i < g->n; ++i) {
    int degree = 0;
    for (int j = 0; j < g->n; ++j)
      if (j != i && g->x[g->edgeOf[i * g->n + j]] > 0.5) ++degree;
    if (degree != 2) return -1.0;
  }
  return total;
}

int main(int argc, char **argv) {
  const int n = argc > 1 ? atoi(argv[1]) : 12;
  rng = argc > 2 ? strtoull(argv[2], NULL, 10) : 7;
  if (n < 3 || n > 200) return 2;
  Graph g = {0};
  g.n = n;
  g.edges = n * (n - 1) / 2;
  g.edgeOf = (int *)malloc(sizeof(int) * (size_t)(n * n));
  g.from = (int *)malloc(sizeof(int) * (size_t)g.edges);
  g.to = (int *)malloc(sizeof(int) * (size_t)g.edges);
  g.x = (double *)malloc(sizeof(double) * (size_t)(3 * g.edges));
  g.label = (int *)malloc(sizeof(int) * (size_t)n);
  g.stack = (int *)malloc(sizeof(int) * (size_t)n);
  double *px = (double *)malloc(sizeof(double) * (size_t)n), *py = (double *)malloc(sizeof(double) * (size_t)n);
  double *length = (double *)malloc(sizeof(double) * (size_t)g.edges);
  for (int i = 0; i < n; ++i) {
    px[i] = floor(1000.0 * uniform());
    py[i] = floor(1000.0 * uniform());
  }
  int e = 0;
  for (int i = 0; i < n; ++i) {
    g.edgeOf[i * n + i] = -1;
    for (int j = i + 1; j < n; ++j, ++e) {
      g.edgeOf[i * n + j] = g.edgeOf[j * n + i] = e;
      g.from[e] = i;
      g.to[e] = j;
      /* Rounded lengths: both methods' optima are then exactly comparable. */
      length[e] = floor(sqrt((px[i] - px[j]) * (px[i] - px[j]) + (py[i] - py[j]) * (py[i] - py[j])) + 0.5);
    }
  }
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  if (!env) return 3;
  QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
  QVNsetdblparam(env, QVN_PARAM_EPGAP, 0.0);
  QVNsetdblparam(env, QVN_PARAM_EPAGAP, 0.0);
  double lazyLength = -1.0, completeLength = -2.0;
  /* 1. Subtours from the callback. */
  QVNLPptr lazy = QVNcreateprob(env, &status, "tsp_lazy");
  if (lazy && build(env, lazy, &g, length, 0) == 0) {
    QVNsetcutcallbackfunc(env, subtourCallback, &g);
    if (QVNmipopt(env, lazy) == 0 && QVNgetstat(env, lazy) == QVN_STAT_MIP_OPTIMAL)
      lazyLength = tourLength(env, lazy, &g, length);
    QVNsetcutcallbackfunc(env, NULL, NULL);
  }
  /* 1b. For a few cities, every subtour constraint as a lazy constraint of
     the model, added before the run: the same tour length. */
  double setLength = lazyLength;
  if (n <= 10) {
    QVNLPptr byset = QVNcreateprob(env, &status, "tsp_lazyset");
    setLength = -1.0;
    if (byset && build(env, byset, &g, length, 0) == 0) {
      int *index = (int *)malloc(sizeof(int) * (size_t)g.edges);
      double *ones = (double *)malloc(sizeof(double) * (size_t)g.edges);
      int added = 0;
      /* Subsets S of 2 to n/2 cities (their complements give the same rows). */
      for (unsigned mask = 1; mask < (1u << n) && status == 0; ++mask) {
        const int size = __builtin_popcount(mask);
        if (size < 2 || size > n / 2) continue;
        int count = 0;
        for (int k = 0; k < g.edges; ++k)
          if ((mask >> g.from[k] & 1u) && (mask >> g.to[k] & 1u)) {
            index[count] = k;
            ones[count++] = 1.0;
          }
        const double rhs = size - 1.0;
        const char sense = 'L';
        const int beg = 0;
        status = QVNaddlazyconstraints(env, byset, 1, count, &rhs, &sense, &beg, index, ones, NULL);
        ++added;
      }
      if (status == 0 && QVNmipopt(env, byset) == 0 && QVNgetstat(env, byset) == QVN_STAT_MIP_OPTIMAL)
        setLength = tourLength(env, byset, &g, length);
      printf("cities %d: tour %.0f from %d lazy constraints given before the run\n", n, setLength, added);
      free(index);
      free(ones);
    }
    QVNfreeprob(env, &byset);
  }
  /* 2. The complete formulation, no callback. */
  QVNLPptr complete = QVNcreateprob(env, &status, "tsp_flow");
  if (complete && build(env, complete, &g, length, 1) == 0) {
    if (QVNmipopt(env, complete) == 0 && QVNgetstat(env, complete) == QVN_STAT_MIP_OPTIMAL) {
      double z = 0.0;
      if (QVNgetobjval(env, complete, &z) == 0) completeLength = z;
    }
  }
  printf("cities %d: tour %.0f with %d subtour constraints, complete formulation %.0f\n", n, lazyLength,
         g.cutsAdded, completeLength);
  /* Lengths are integers: the solver's objective may differ from one in the
     last digits, the tour's own sum may not. */
  const int ok = lazyLength >= 0.0 && fabs(lazyLength - completeLength) < 1e-4 && setLength == lazyLength;
  QVNfreeprob(env, &lazy);
  QVNfreeprob(env, &complete);
  QVNcloseQUORVAN(&env);
  free(g.edgeOf);
  free(g.from);
  free(g.to);
  free(g.x);
  free(g.label);
  free(g.stack);
  free(px);
  free(py);
  free(length);
  return ok ? 0 : 1;
}
