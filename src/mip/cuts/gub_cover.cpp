// GUB cover cuts: knapsack covers over groups of pairwise conflicting
// literals.
//
// A row side read as a knapsack on binary literals (sum w_j l_j <= b, every
// other column at its least contribution) has its literals split into groups
// in which at most one literal is true (cliques of the clique table). Pick a
// representative r(g) in each group g of a set C whose weights sum above b.
// At most one literal of a group is true, and if every group of C had a true
// literal of weight at least w_r(g) the row would be broken, so
//   sum_{g in C} sum_{j in g, w_j >= w_r(g)} l_j <= |C| - 1.
// With groups of one literal this is the plain cover inequality; the cut is
// only offered when some group brings two or more literals.
#include <algorithm>
#include <cmath>

#include "mip/clique_table.h"
#include "mip/cuts/cut_pool.h"

namespace qvn {

namespace {

// Literals of a row grouped at most; longer rows are left to the plain covers.
constexpr int kMaxItems = 400;
// Conflict lookups allowed per row side while grouping.
constexpr int kMaxConflictTests = 20000;

struct Literal {
  int col;
  double weight;
  bool complemented;
  double z;   // LP value of the literal
  int slot;   // clique table slot
  int group;
};

struct Group {
  double weight;  // of the representative
  double value;   // LP value of its literals at or above that weight
  int heavy;      // how many literals that is
};

} // namespace

int separateGubCovers(MipRun &run, void *data, const double *x, int *added) {
  CutContext &c = *static_cast<CutContext *>(data);
  *added = 0;
  const CliqueTable &t = c.pool->cliques;
  if (!t.indexed()) return 0;
  EnvVector<KnapsackItem> knapsack;
  EnvVector<Literal> lits;
  EnvVector<Group> groups;
  EnvVector<int> head, next, order, index;
  EnvVector<double> value, lightPositive;
  EnvVector<char> inCover;
  for (int i = 0; i < c.rows->numRows && c.room > 0; ++i) {
    if ((i & 255) == 255 && cutTimeUp(run, c)) break;
    for (double side : {1.0, -1.0}) {
      double b = 0.0;
      if (!binaryKnapsack(*c.rows, i, side, c.kind, c.lower, c.upper, knapsack, &b)) continue;
      const int count = static_cast<int>(knapsack.size());
      if (count < 3 || count > kMaxItems || b < 0.0) continue;
      lits.clear();
      double total = 0.0;
      for (const KnapsackItem &k : knapsack) {
        const double z = k.complemented ? 1.0 - x[k.col] : x[k.col];
        lits.push_back(Literal{k.col, k.weight, k.complemented, z, literalSlot(k.complemented ? -(k.col + 1) : k.col + 1), -1});
        total += k.weight;
      }
      const double tol = 1e-9 * (1.0 + std::fabs(b));
      if (total <= b + tol) continue;
      // Groups, largest LP values first: a literal joins the first group all
      // of whose members it conflicts with.
      std::sort(lits.begin(), lits.end(), [](const Literal &p, const Literal &q) {
        return p.z != q.z ? p.z > q.z : p.col < q.col;
      });
      // Members of group g: head[g], then next[] of each, newest first.
      int tests = 0, groupCount = 0;
      head.clear();
      next.assign(static_cast<size_t>(count), -1);
      bool grouped = false;
      for (int a = 0; a < count; ++a) {
        Literal &l = lits[a];
        for (int g = 0; g < groupCount && l.group < 0 && tests < kMaxConflictTests; ++g) {
          bool fits = true;
          for (int p = head[g]; p >= 0 && fits; p = next[p]) {
            ++tests;
            fits = inConflict(t, lits[p].slot, l.slot);
          }
          if (fits) {
            l.group = g;
            next[a] = head[g];
            head[g] = a;
            grouped = true;
          }
        }
        if (l.group < 0) {
          l.group = groupCount++;
          head.push_back(a);
        }
      }
      if (!grouped) continue;
      // Each group's representative: its lightest literal with a positive
      // value (so that all of those count), else its heaviest.
      groups.assign(static_cast<size_t>(groupCount), Group{-1.0, 0.0, 0});
      lightPositive.assign(static_cast<size_t>(groupCount), HUGE_VAL);
      for (const Literal &l : lits) {
        if (l.z > 1e-6) lightPositive[l.group] = std::min(lightPositive[l.group], l.weight);
        groups[l.group].weight = std::max(groups[l.group].weight, l.weight);
      }
      for (int g = 0; g < groupCount; ++g)
        if (lightPositive[g] < HUGE_VAL) groups[g].weight = lightPositive[g];
      for (const Literal &l : lits)
        if (l.weight >= groups[l.group].weight) {
          groups[l.group].value += l.z;
          ++groups[l.group].heavy;
        }
      // The cover: cheapest groups to "pay" for first, as for plain covers.
      order.clear();
      for (int g = 0; g < groupCount; ++g) order.push_back(g);
      std::sort(order.begin(), order.end(), [&](int p, int q) {
        const double kp = (1.0 - groups[p].value) / groups[p].weight, kq = (1.0 - groups[q].value) / groups[q].weight;
        return kp != kq ? kp < kq : p < q;
      });
      size_t size = 0;
      double weight = 0.0;
      while (size < order.size() && weight <= b + tol) weight += groups[order[size++]].weight;
      if (weight <= b + tol) continue;
      // Minimal: the groups of least value go while the rest still cover.
      order.resize(size);
      std::sort(order.begin(), order.end(), [&](int p, int q) {
        return groups[p].value != groups[q].value ? groups[p].value < groups[q].value : p < q;
      });
      size_t first = 0;
      while (first < order.size() && weight - groups[order[first]].weight > b + tol)
        weight -= groups[order[first++]].weight;
      const int coverSize = static_cast<int>(order.size() - first);
      double lhs = 0.0;
      bool wide = false;
      inCover.assign(static_cast<size_t>(groupCount), 0);
      for (size_t k = first; k < order.size(); ++k) {
        inCover[order[k]] = 1;
        lhs += groups[order[k]].value;
        wide = wide || groups[order[k]].heavy > 1;
      }
      if (!wide || coverSize < 2 || lhs <= coverSize - 1 + 1e-6) continue;
      index.clear();
      value.clear();
      double rhs = coverSize - 1;
      for (const Literal &l : lits) {
        if (!inCover[l.group] || l.weight < groups[l.group].weight) continue;
        index.push_back(l.col);
        value.push_back(l.complemented ? -1.0 : 1.0);
        if (l.complemented) rhs -= 1.0;
      }
      if (offerCut(c, kCutGub, index, value, rhs, x)) ++*added;
    }
  }
  return 0;
}

} // namespace qvn
