// Analysis of the normal matrix (dense columns, ordering, symbolic factor with
// supernodes), the entry points of the numeric factor and the solve.
#include "barrier/ordering/cholesky.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>

#include "barrier/ordering/ordering.h"
#include "runtime/environment.h"
#include "runtime/errors.h"
#include "runtime/params.h"

namespace qvn {

namespace {

// The automatic rule tries the other orderings only when the first one leaves
// this many operations per row: below it the factor is cheap anyway.
constexpr double kRaceFlopsPerRow = 500.0;
// The subtrees given out to the threads: the work is split until no subtree
// holds more than this share of one thread's part.
constexpr double kSubtreeShare = 0.5;
// Relaxed supernodes: a supernode of up to kRelaxSmall columns may hold
// kRelaxSmallShare explicit zeros, a wider one kRelaxShare.
constexpr int kRelaxSmall = 16;
constexpr double kRelaxSmallShare = 0.3;
constexpr double kRelaxShare = 0.05;

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Row-wise copy of the kept columns and the adjacency of M's pattern.
void buildPattern(const NormalPattern &p, const DenseColumnSet &dense, CholeskyFactor &f, EnvVector<int> &adjStart,
                  EnvVector<int> &adjIndex) {
  const int m = p.rows;
  auto kept = [&](int j) { return (!p.skip || !p.skip[j]) && !dense.isDense[j]; };
  f.rowPtr.assign(static_cast<size_t>(m) + 1, 0);
  for (int j = 0; j < p.cols; ++j)
    if (kept(j))
      for (int k = p.start[j]; k < p.start[j + 1]; ++k) ++f.rowPtr[p.index[k] + 1];
  for (int i = 0; i < m; ++i) f.rowPtr[i + 1] += f.rowPtr[i];
  f.rowCol.assign(static_cast<size_t>(f.rowPtr[m]), 0);
  f.rowVal.assign(static_cast<size_t>(f.rowPtr[m]), 0.0);
  {
    EnvVector<int> fill(f.rowPtr.begin(), f.rowPtr.end() - 1);
    for (int j = 0; j < p.cols; ++j)
      if (kept(j))
        for (int k = p.start[j]; k < p.start[j + 1]; ++k) {
          const int at = fill[p.index[k]]++;
          f.rowCol[at] = j;
          f.rowVal[at] = p.value[k];
        }
  }
  EnvVector<int> mark(static_cast<size_t>(m), -1);
  adjStart.assign(static_cast<size_t>(m) + 1, 0);
  adjIndex.clear();
  for (int pass = 0; pass < 2; ++pass) {
    std::fill(mark.begin(), mark.end(), -1);
    for (int i = 0; i < m; ++i) {
      mark[i] = i;
      int at = pass == 0 ? 0 : adjStart[i];
      for (int t = f.rowPtr[i]; t < f.rowPtr[i + 1]; ++t) {
        const int j = f.rowCol[t];
        for (int k = p.start[j]; k < p.start[j + 1]; ++k) {
          const int r = p.index[k];
          if (mark[r] == i) continue;
          mark[r] = i;
          if (pass == 1) adjIndex[at] = r;
          ++at;
        }
      }
      if (pass == 0) adjStart[i + 1] = adjStart[i] + at;
    }
    if (pass == 0) adjIndex.assign(static_cast<size_t>(adjStart[m]), 0);
  }
}

// The sorted copy of A's kept columns and the entry positions (see
// CholeskyFactor::entryPos). The row-wise copy lists each row's columns in
// ascending order, one entry per column, so visiting the columns in
// ascending order meets each row's entries in the order of that copy.
void buildSortedColumns(const NormalPattern &p, CholeskyFactor &f) {
  const int m = p.rows;
  const size_t nz = p.cols > 0 ? static_cast<size_t>(p.start[p.cols]) : 0;
  f.sortedRow.assign(nz, 0);
  f.sortedVal.assign(nz, 0.0);
  f.entryPos.assign(static_cast<size_t>(f.rowPtr[m]), 0);
  EnvVector<int> cursor(f.rowPtr.begin(), f.rowPtr.end() - 1);
  EnvVector<std::pair<int, int>> order;  // (new row, entry of A)
  for (int j = 0; j < p.cols; ++j) {
    if ((p.skip && p.skip[j]) || f.dense.isDense[j]) continue;
    order.clear();
    for (int k = p.start[j]; k < p.start[j + 1]; ++k) order.push_back({f.iperm[p.index[k]], k});
    std::sort(order.begin(), order.end());
    for (size_t q = 0; q < order.size(); ++q) {
      const int at = p.start[j] + static_cast<int>(q), k = order[q].second;
      f.sortedRow[at] = order[q].first;
      f.sortedVal[at] = p.value[k];
      f.entryPos[cursor[p.index[k]]++] = at;
    }
  }
}

struct RaceEntry {
  const OrderingMethod *method = nullptr;
  EnvVector<int> start, index, perm;  // own copy of the pattern
  OrderingCost cost;
  bool done = false;  // stays false when the thread did not run or ran out of memory
};

void raceRoutine(void *argument) {
  auto *entry = static_cast<RaceEntry *>(argument);
  try {
    SymGraph g;
    g.n = static_cast<int>(entry->start.size()) - 1;
    g.start = entry->start.data();
    g.index = entry->index.data();
    entry->method->order(g, entry->perm);
    entry->cost = orderingCost(g, entry->perm);
    entry->done = true;
  } catch (...) {
    entry->done = false;
  }
}

// The ordering by o.ordering; the automatic rule starts with AMD and, when its
// factor is expensive, races AMF and nested dissection on their own copies of
// the pattern, keeping the one of fewest predicted operations.
void chooseOrdering(const CholeskyOptions &o, const SymGraph &g, EnvVector<int> &perm, int &used) {
  const int n = g.n;
  const OrderingMethod *fixed = orderingMethod(o.ordering);
  if (fixed) {
    fixed->order(g, perm);
    used = fixed->number;
    return;
  }
  approximateMinimumDegree(g, perm);
  used = 1;
  if (n == 0) return;
  const OrderingCost first = orderingCost(g, perm);
  if (first.flops / n <= kRaceFlopsPerRow) return;
  RaceEntry entries[2];
  void *arguments[2] = {&entries[0], &entries[1]};
  for (int r = 0; r < 2; ++r) {
    entries[r].method = orderingMethod(r + 2);
    entries[r].start.assign(g.start, g.start + n + 1);
    entries[r].index.assign(g.index, g.index + g.start[n]);
    entries[r].perm.assign(static_cast<size_t>(n), 0);
  }
  if (o.threads >= 2 && o.env) {
    runThreads(o.env, raceRoutine, 2, arguments);
  } else {
    raceRoutine(arguments[0]);
    raceRoutine(arguments[1]);
  }
  double best = first.flops;
  for (auto &e : entries)
    if (e.done && e.cost.flops < best) {
      best = e.cost.flops;
      perm.swap(e.perm);
      used = e.method->number;
    }
}

// Supernodes of consecutive columns with nested patterns, their row lists, and
// the update lists of the left-looking factor.
void buildSupernodes(const SymGraph &g, const EnvVector<int> &count, CholeskyFactor &f) {
  const int m = f.n;
  f.superStart.clear();
  f.colToSuper.assign(static_cast<size_t>(m), 0);
  f.nonzeros = 0.0;
  f.flops = 0.0;
  // Fundamental supernodes first, then relaxed: a supernode takes in the
  // supernode just before it when that one is its child, as long as the
  // explicit zeros this stores stay a small share of the block. Wider blocks
  // make fewer and larger dense updates.
  double actual = 0.0;  // nonzeros of the supernode being built
  for (int c = 0; c < m; ++c) {
    f.nonzeros += count[c];
    f.flops += static_cast<double>(count[c]) * count[c];
    const bool fundamental = c > 0 && f.parent[c - 1] == c && count[c - 1] == count[c] + 1;
    bool joins = fundamental;
    if (!joins && c > 0 && f.parent[c - 1] == c) {
      // Columns first .. c-1 would share column c's rows below c.
      const int first = f.superStart.back(), width = c - first + 1;
      const double newBelow = count[c] - 1;
      double merged = 0.0;
      for (int k = 0; k < width; ++k) merged += width - k + newBelow;
      const double zeros = merged - (actual + count[c]);
      joins = (width <= kRelaxSmall && zeros <= kRelaxSmallShare * merged) || zeros <= kRelaxShare * merged;
    }
    if (!joins) {
      f.superStart.push_back(c);
      actual = 0.0;
    }
    actual += count[c];
    f.colToSuper[c] = static_cast<int>(f.superStart.size()) - 1;
  }
  f.numSuper = static_cast<int>(f.superStart.size());
  f.superStart.push_back(m);
  const int ns = f.numSuper;
  f.superParent.assign(static_cast<size_t>(ns), -1);
  EnvVector<int> childHead(static_cast<size_t>(ns), -1), childNext(static_cast<size_t>(ns), -1);
  for (int s = ns - 1; s >= 0; --s) {
    const int last = f.superStart[s + 1] - 1;
    if (f.parent[last] >= 0) {
      const int t = f.colToSuper[f.parent[last]];
      f.superParent[s] = t;
      childNext[s] = childHead[t];
      childHead[t] = s;
    }
  }
  // Row list of s: its columns, then the rows below from M's pattern of its
  // columns and from the row lists of its children.
  f.rowStart.assign(static_cast<size_t>(ns) + 1, 0);
  f.valStart.assign(static_cast<size_t>(ns) + 1, 0);
  f.rowIndex.clear();
  f.rowIndex.reserve(static_cast<size_t>(f.nonzeros / 2) + static_cast<size_t>(m));
  EnvVector<int> mark(static_cast<size_t>(m), -1);
  f.maxRows = 0;
  for (int s = 0; s < ns; ++s) {
    const int first = f.superStart[s], end = f.superStart[s + 1], width = end - first;
    const size_t begin = f.rowIndex.size();
    for (int c = first; c < end; ++c) f.rowIndex.push_back(c);
    for (int c = first; c < end; ++c) {
      const int old = f.perm[c];
      for (int t = g.start[old]; t < g.start[old + 1]; ++t) {
        const int r = f.iperm[g.index[t]];
        if (r >= end && mark[r] != s) {
          mark[r] = s;
          f.rowIndex.push_back(r);
        }
      }
    }
    for (int ch = childHead[s]; ch >= 0; ch = childNext[ch])
      for (int t = f.rowStart[ch]; t < f.rowStart[ch + 1]; ++t) {
        const int r = f.rowIndex[t];
        if (r >= end && mark[r] != s) {
          mark[r] = s;
          f.rowIndex.push_back(r);
        }
      }
    std::sort(f.rowIndex.begin() + static_cast<std::ptrdiff_t>(begin) + width, f.rowIndex.end());
    f.rowStart[s + 1] = static_cast<int>(f.rowIndex.size());
    const int rows = f.rowStart[s + 1] - f.rowStart[s];
    f.maxRows = std::max(f.maxRows, rows);
    f.valStart[s + 1] = f.valStart[s] + static_cast<size_t>(rows) * static_cast<size_t>(width);
  }
  // Update lists, by target, sources ascending.
  f.updStart.assign(static_cast<size_t>(ns) + 2, 0);
  for (int pass = 0; pass < 2; ++pass) {
    for (int s = 0; s < ns; ++s) {
      const int width = f.superStart[s + 1] - f.superStart[s];
      const int *rows = f.rowIndex.data() + f.rowStart[s];
      const int count = f.rowStart[s + 1] - f.rowStart[s];
      for (int q = width; q < count;) {
        const int t = f.colToSuper[rows[q]];
        int e = q;
        while (e < count && rows[e] < f.superStart[t + 1]) ++e;
        if (pass == 0) {
          ++f.updStart[t + 2];
        } else {
          const int at = f.updStart[t + 1]++;
          f.updSource[at] = s;
          f.updFirst[at] = q;
          f.updEnd[at] = e;
        }
        q = e;
      }
    }
    if (pass == 0) {
      for (int t = 0; t < ns; ++t) f.updStart[t + 2] += f.updStart[t + 1];
      const size_t total = static_cast<size_t>(f.updStart[ns + 1]);
      f.updSource.assign(total, 0);
      f.updFirst.assign(total, 0);
      f.updEnd.assign(total, 0);
    }
  }
  f.updStart.pop_back();
}

// Gives whole subtrees of the supernodal tree to the threads, balanced by
// their work; what lies above them stays with the caller's thread.
void partitionSubtrees(CholeskyFactor &f) {
  const int ns = f.numSuper;
  f.owner.assign(static_cast<size_t>(ns), 0);
  if (f.threads <= 1 || ns == 0) return;
  EnvVector<double> work(static_cast<size_t>(ns), 0.0);
  for (int s = 0; s < ns; ++s) {
    for (int c = f.superStart[s]; c < f.superStart[s + 1]; ++c) {
      const double below = f.rowStart[s + 1] - f.rowStart[s] - (c - f.superStart[s]);
      work[s] += below * below;
    }
  }
  EnvVector<double> subtree(work);
  for (int s = 0; s < ns; ++s)
    if (f.superParent[s] >= 0) subtree[f.superParent[s]] += subtree[s];
  double total = 0.0;
  EnvVector<int> pieces;
  for (int s = 0; s < ns; ++s)
    if (f.superParent[s] < 0) {
      total += subtree[s];
      pieces.push_back(s);
    }
  EnvVector<int> childHead(static_cast<size_t>(ns), -1), childNext(static_cast<size_t>(ns), -1);
  for (int s = ns - 1; s >= 0; --s)
    if (f.superParent[s] >= 0) {
      childNext[s] = childHead[f.superParent[s]];
      childHead[f.superParent[s]] = s;
    }
  std::fill(f.owner.begin(), f.owner.end(), -1);
  const double cap = kSubtreeShare * total / f.threads;
  for (int round = 0; round < 4 * ns; ++round) {
    size_t largest = 0;
    for (size_t i = 1; i < pieces.size(); ++i)
      if (subtree[pieces[i]] > subtree[pieces[largest]]) largest = i;
    if (pieces.empty() || subtree[pieces[largest]] <= cap) break;
    const int s = pieces[largest];
    pieces[largest] = pieces.back();
    pieces.pop_back();
    for (int ch = childHead[s]; ch >= 0; ch = childNext[ch]) pieces.push_back(ch);
  }
  // Largest first, each to the least loaded thread; a piece's subtree is
  // contiguous below its root in a postorder, so its members are the indices
  // root - size + 1 .. root.
  std::sort(pieces.begin(), pieces.end(), [&](int a, int b) { return subtree[a] > subtree[b] || (subtree[a] == subtree[b] && a < b); });
  EnvVector<double> load(static_cast<size_t>(f.threads), 0.0);
  EnvVector<int> size(static_cast<size_t>(ns), 1);
  for (int s = 0; s < ns; ++s)
    if (f.superParent[s] >= 0) size[f.superParent[s]] += size[s];
  for (int root : pieces) {
    const int t = static_cast<int>(std::min_element(load.begin(), load.end()) - load.begin());
    load[t] += subtree[root];
    for (int s = root - size[root] + 1; s <= root; ++s) f.owner[s] = t;
  }
}

void printSummary(const CholeskyOptions &o, const CholeskyFactor &f) {
  Environment *env = o.env;
  if (!env || o.display < 1) return;
  if (o.display >= 2) {
    QVNmsg(env->resultsChannel, "L has %d super-nodes.\n", f.numSuper);
    // Widths 1..9 one by one, then the wider ones together.
    int histogram[10] = {0};
    for (int s = 0; s < f.numSuper; ++s) {
      const int width = f.superStart[s + 1] - f.superStart[s];
      ++histogram[std::min(width, 10) - 1];
    }
    QVNmsg(env->resultsChannel, "Histogram of super-node widths:\n");
    QVNmsg(env->resultsChannel, "SupWidth:");
    for (int w = 1; w <= 9; ++w) QVNmsg(env->resultsChannel, " %6d", w);
    QVNmsg(env->resultsChannel, " %5d+\n", 10);
    QVNmsg(env->resultsChannel, "Number:  ");
    for (int h : histogram) QVNmsg(env->resultsChannel, " %6d", h);
    QVNmsg(env->resultsChannel, "\n");
  }
  QVNmsg(env->resultsChannel, "Summary statistics for Cholesky factor:\n");
  QVNmsg(env->resultsChannel, "  Threads                   = %d\n", f.threads);
  QVNmsg(env->resultsChannel, "  Rows in Factor            = %d\n", f.n);
  QVNmsg(env->resultsChannel, "  Integer space required    = %.0f\n",
         static_cast<double>(f.rowIndex.size() + f.superStart.size() + f.rowStart.size()));
  QVNmsg(env->resultsChannel, "  Total non-zeros in factor = %.0f\n", f.nonzeros);
  QVNmsg(env->resultsChannel, "  Total FP ops to factor    = %.0f\n", f.flops);
}

int analyse(const NormalPattern &p, const CholeskyOptions &o, CholeskyFactor &f) {
  const int m = p.rows;
  Environment *env = o.env;
  f.n = m;
  f.env = env;
  f.threads = std::max(1, o.threads);
  findDenseColumns(p, o.denseLimit, f.dense);
  if (env && o.display >= 2)
    QVNmsg(env->resultsChannel, "Looking for dense columns with more than %d nonzeros.\n", f.dense.limit - 1);
  if (env && o.display >= 1 && !f.dense.columns.empty())
    QVNmsg(env->resultsChannel, "***NOTE: Found %d dense columns.\n", static_cast<int>(f.dense.columns.size()));
  EnvVector<int> adjStart, adjIndex;
  buildPattern(p, f.dense, f, adjStart, adjIndex);
  if (env && o.display >= 1)
    QVNmsg(env->resultsChannel, "Number of nonzeros in lower triangle of A*A' = %.0f\n",
           static_cast<double>(adjStart[m]) / 2.0 + m);
  SymGraph g;
  g.n = m;
  g.start = adjStart.data();
  g.index = adjIndex.data();
  const auto clock = std::chrono::steady_clock::now();
  EnvVector<int> perm;
  chooseOrdering(o, g, perm, f.orderingUsed);
  f.orderingSeconds = secondsSince(clock);
  if (env && o.display >= 1) {
    if (o.ordering == 0)
      QVNmsg(env->resultsChannel, "%s", f.orderingUsed == 3   ? "Using Nested Dissection ordering\n"
                                        : f.orderingUsed == 2 ? "Using Approximate Minimum Fill ordering\n"
                                                              : "Using Approximate Minimum Degree ordering\n");
    const OrderingMethod *shown = orderingMethod(o.ordering);
    QVNmsg(env->resultsChannel, "Total time for %s ordering = %.2f sec.\n", shown ? shown->text : "automatic",
           f.orderingSeconds);
  }
  // Renumber by a postorder of the elimination tree: the tree and the counts
  // stay, and every subtree becomes a contiguous range of columns.
  EnvVector<int> iperm(static_cast<size_t>(m)), parent, post, count;
  for (int k = 0; k < m; ++k) iperm[perm[k]] = k;
  eliminationTree(g, perm, iperm, parent);
  postorderForest(parent, post);
  f.perm.assign(static_cast<size_t>(m), 0);
  for (int k = 0; k < m; ++k) f.perm[k] = perm[post[k]];
  f.iperm.assign(static_cast<size_t>(m), 0);
  for (int k = 0; k < m; ++k) f.iperm[f.perm[k]] = k;
  buildSortedColumns(p, f);
  eliminationTree(g, f.perm, f.iperm, f.parent);
  columnCounts(g, f.perm, f.iperm, f.parent, count);
  buildSupernodes(g, count, f);
  partitionSubtrees(f);
  QVN_TRY(outOfCorePlan(o, f));
  if (!f.store.active) f.value.assign(f.valStart[f.numSuper], 0.0);
  f.diag0.assign(static_cast<size_t>(m), 0.0);
  f.shift.assign(static_cast<size_t>(m), 0.0);
  printSummary(o, f);
  return 0;
}

} // namespace

int choleskyAnalyse(const NormalPattern &p, const CholeskyOptions &o, CholeskyFactor &f) {
  try {
    return analyse(p, o, f);
  } catch (const std::bad_alloc &) {
    return QVNERR_NO_MEMORY;
  }
}

int choleskyAnalyse(Environment *env, const NormalPattern &p, CholeskyFactor &f) {
  CholeskyOptions o;
  o.env = env;
  o.ordering = env->barrierParams->barorder;
  o.threads = threadsAllowed(env, ThreadKind::kBarrier);
  o.denseLimit = env->barrierParams->barcolnz;
  o.display = env->barrierParams->bardisplay;
  o.workMemory = env->generalParams->workmem;
  o.workDirectory = env->generalParams->workdir;
  return choleskyAnalyse(p, o, f);
}

int choleskyAnalyse(const NormalPattern &p, CholeskyFactor &f) { return choleskyAnalyse(p, CholeskyOptions(), f); }

void choleskyFactor(const NormalPattern &p, const double *d, const double *e, CholeskyFactor &f) {
  numericFactor(p, d, e, f);
  denseCorrectionBuild(p, d, f);
}

// The solves work on each supernode's dense block: the triangle of its own
// columns in place, and the rows below it through a dense buffer of the
// block's height, so that the scattered entries of x are read or written
// once per supernode instead of once per column. Narrow supernodes, where
// the buffer saves nothing, go column by column.
namespace {

constexpr int kSolveBlockWidth = 3;

double *solveBuffer(const CholeskyFactor &f) {
  if (f.solveWork.size() < static_cast<size_t>(f.maxRows)) f.solveWork.assign(static_cast<size_t>(f.maxRows), 0.0);
  return f.solveWork.data();
}

} // namespace

void factorForward(const CholeskyFactor &f, double *x) {
  double *__restrict below = solveBuffer(f);
  for (int s = 0; s < f.numSuper; ++s) {
    const int first = f.superStart[s], width = f.superStart[s + 1] - first;
    const int *rows = f.rowIndex.data() + f.rowStart[s];
    const int count = f.rowStart[s + 1] - f.rowStart[s];
    const double *block = superBlock(f, s);
    double *__restrict own = x + first;
    if (width < kSolveBlockWidth) {
      for (int k = 0; k < width; ++k) {
        const double *col = block + static_cast<size_t>(k) * count;
        const double v = own[k] / col[k];
        own[k] = v;
        if (v == 0.0) continue;
        for (int i = k + 1; i < width; ++i) own[i] -= col[i] * v;
        for (int i = width; i < count; ++i) x[rows[i]] -= col[i] * v;
      }
      continue;
    }
    for (int k = 0; k < width; ++k) {
      const double *col = block + static_cast<size_t>(k) * count;
      const double v = own[k] / col[k];
      own[k] = v;
      if (v != 0.0)
        for (int i = k + 1; i < width; ++i) own[i] -= col[i] * v;
    }
    const int height = count - width;
    if (height == 0) continue;
    std::fill(below, below + height, 0.0);
    // below += L21 own, two columns at a time.
    int k = 0;
    for (; k + 2 <= width; k += 2) {
      const double *__restrict c0 = block + static_cast<size_t>(k) * count + width;
      const double *__restrict c1 = c0 + count;
      const double v0 = own[k], v1 = own[k + 1];
      for (int i = 0; i < height; ++i) below[i] += c0[i] * v0 + c1[i] * v1;
    }
    if (k < width) {
      const double *__restrict c0 = block + static_cast<size_t>(k) * count + width;
      const double v0 = own[k];
      for (int i = 0; i < height; ++i) below[i] += c0[i] * v0;
    }
    for (int i = 0; i < height; ++i) x[rows[width + i]] -= below[i];
  }
}

void factorBackward(const CholeskyFactor &f, double *x) {
  double *__restrict below = solveBuffer(f);
  for (int s = f.numSuper - 1; s >= 0; --s) {
    const int first = f.superStart[s], width = f.superStart[s + 1] - first;
    const int *rows = f.rowIndex.data() + f.rowStart[s];
    const int count = f.rowStart[s + 1] - f.rowStart[s];
    const double *block = superBlock(f, s);
    double *__restrict own = x + first;
    if (width < kSolveBlockWidth) {
      for (int k = width - 1; k >= 0; --k) {
        const double *col = block + static_cast<size_t>(k) * count;
        double sum = own[k];
        for (int i = k + 1; i < width; ++i) sum -= col[i] * own[i];
        for (int i = width; i < count; ++i) sum -= col[i] * x[rows[i]];
        own[k] = sum / col[k];
      }
      continue;
    }
    const int height = count - width;
    for (int i = 0; i < height; ++i) below[i] = x[rows[width + i]];
    // own -= L21' below, by dot products in four running sums each.
    for (int k = 0; k < width; ++k) {
      const double *__restrict c = block + static_cast<size_t>(k) * count + width;
      double s0 = 0.0, s1 = 0.0, s2 = 0.0, s3 = 0.0;
      int i = 0;
      for (; i + 4 <= height; i += 4) {
        s0 += c[i] * below[i];
        s1 += c[i + 1] * below[i + 1];
        s2 += c[i + 2] * below[i + 2];
        s3 += c[i + 3] * below[i + 3];
      }
      for (; i < height; ++i) s0 += c[i] * below[i];
      own[k] -= (s0 + s1) + (s2 + s3);
    }
    for (int k = width - 1; k >= 0; --k) {
      const double *col = block + static_cast<size_t>(k) * count;
      double sum = own[k];
      for (int i = k + 1; i < width; ++i) sum -= col[i] * own[i];
      own[k] = sum / col[k];
    }
  }
}

void choleskySolve(const CholeskyFactor &f, double *b, double *x) {
  const int m = f.n;
  for (int c = 0; c < m; ++c) x[c] = b[f.perm[c]];
  factorForward(f, x);
  denseCorrectionApply(f, x);
  factorBackward(f, x);
  for (int c = 0; c < m; ++c) b[f.perm[c]] = x[c];
}

} // namespace qvn
