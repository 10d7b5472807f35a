// Node propagation: a binary fixed on the node's path makes the literals in
// conflict with it false and applies the bounds its value implies; binaries
// fixed that way propagate in turn. The changes join the node's path.
#include <algorithm>
#include <cmath>

#include "mip/cuts/cut_pool.h"
#include "mip/probing.h"

namespace qvn {

namespace {

// Binaries fixed by one propagation at most, so that a dense conflict graph
// cannot make a node expensive.
constexpr int kMaxSteps = 100000;

} // namespace

int propagateNode(MipRun &run, NodeRecord &node, int *changed, bool *infeasible) {
  *changed = 0;
  *infeasible = false;
  MipSearch &s = *run.search;
  if (run.env->mipParams->p2038 < 1 || !s.cuts || !s.cuts->prepared || node.changes.empty()) return 0;
  const CliqueTable &cliques = s.cuts->cliques;
  const ImpliedBoundTable &implied = s.cuts->implied;
  const bool haveCliques = cliques.indexed();
  const bool haveImplied = !implied.bySlot.empty() && !implied.entries.empty();
  if (!haveCliques && !haveImplied) return 0;
  double *lower = run.nodeLower.data(), *upper = run.nodeUpper.data();
  auto isBinary = [&](int j) {
    return s.kind[j] == ColKind::kInteger && s.rootLower[j] == 0.0 && s.rootUpper[j] == 1.0;
  };
  PropagationScratch &w = s.cuts->propagation;
  // True literals to spread, as slots.
  EnvVector<int> &queue = w.queue;
  queue.clear();
  for (const BoundChange &c : node.changes) {
    const int j = c.col;
    if (!isBinary(j) || lower[j] != upper[j]) continue;
    queue.push_back(2 * j + (lower[j] > 0.5 ? 0 : 1));
  }
  if (queue.empty()) return 0;
  EnvVector<BoundChange> &found = w.found;
  found.clear();
  auto setBound = [&](int j, double lo, double up) {
    lower[j] = lo;
    upper[j] = up;
    found.push_back(BoundChange{j, lo, up});
  };
  for (size_t head = 0; head < queue.size() && head < static_cast<size_t>(kMaxSteps) && !*infeasible; ++head) {
    const int slot = queue[head];
    if (haveCliques)
      for (int q = cliques.occurrenceStart[slot]; q < cliques.occurrenceStart[slot + 1] && !*infeasible; ++q)
        for (int p = cliques.start[cliques.occurrence[q]]; p < cliques.start[cliques.occurrence[q] + 1]; ++p) {
          // Literal t must be false: x_k = 0 for slot 2k, x_k = 1 for slot 2k
          // + 1.
          const int t = literalSlot(cliques.members[p]);
          if (t == slot) continue;
          const int k = t / 2;
          const double value = t % 2 == 0 ? 0.0 : 1.0;
          if (lower[k] == value && upper[k] == value) continue;
          if (lower[k] > value || upper[k] < value) {
            *infeasible = true;
            break;
          }
          setBound(k, value, value);
          queue.push_back(t ^ 1);
        }
    if (!haveImplied || *infeasible) continue;
    for (int e = implied.bySlot[slot]; e < implied.bySlot[slot + 1]; ++e) {
      const ImpliedBound &b = implied.entries[e];
      const int k = b.col;
      const double tol = 1e-9 * (1.0 + std::fabs(b.bound));
      if ((b.type == 'U' && b.bound < lower[k] - tol) || (b.type == 'L' && b.bound > upper[k] + tol)) {
        *infeasible = true;
        break;
      }
      // Within round-off of the other bound the column is fixed at it.
      if (b.type == 'U' && b.bound < upper[k])
        setBound(k, lower[k], std::max(lower[k], b.bound));
      else if (b.type == 'L' && b.bound > lower[k])
        setBound(k, std::min(upper[k], b.bound), upper[k]);
      else
        continue;
      if (isBinary(k) && lower[k] == upper[k]) queue.push_back(2 * k + (lower[k] > 0.5 ? 0 : 1));
    }
  }
  if (*infeasible) {
    // The node holds no point; its LP will say so. Leave its bounds alone.
    for (auto it = found.rbegin(); it != found.rend(); ++it) {
      lower[it->col] = s.rootLower[it->col];
      upper[it->col] = s.rootUpper[it->col];
    }
    for (const BoundChange &c : node.changes) {
      lower[c.col] = c.lower;
      upper[c.col] = c.upper;
    }
    return 0;
  }
  if (found.empty()) return 0;
  // One change per column, with its final bounds, on the path and in the LP.
  EnvVector<int> &cols = w.cols;
  EnvVector<double> &lo = w.lo, &up = w.up;
  cols.clear();
  lo.clear();
  up.clear();
  for (const BoundChange &c : found) cols.push_back(c.col);
  std::sort(cols.begin(), cols.end());
  cols.erase(std::unique(cols.begin(), cols.end()), cols.end());
  for (int j : cols) {
    lo.push_back(lower[j]);
    up.push_back(upper[j]);
    const BoundChange now{j, lower[j], upper[j]};
    node.changes.push_back(now);
    s.applied.push_back(now);
  }
  *changed = static_cast<int>(cols.size());
  w.boundsMoved += *changed;
  return relaxChangeBounds(*s.nodeLp, static_cast<int>(cols.size()), cols.data(), lo.data(), up.data());
}

} // namespace qvn
