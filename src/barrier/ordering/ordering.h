// Fill-reducing orderings of a symmetric pattern and the symbolic analysis that
// judges them.
//
// A pattern is given by full adjacency lists (both triangles, no diagonal).
// Every ordering returns perm with perm[k] = the vertex eliminated k-th. The
// orderings are rows of one table, numbered as the BARORDER parameter numbers
// them; they are compared by the floating point operations their factor needs,
// counted from column counts without forming the factor.
#pragma once
#include "runtime/alloc.h"

namespace qvn {

struct SymGraph {
  int n = 0;
  const int *start = nullptr, *index = nullptr;  // neighbours of v: index[start[v] .. start[v+1])
};

// Priority of a supervariable in the quotient graph elimination: the smaller is
// eliminated first. degree is its approximate external degree, newElement the
// size of the newest element it touches without itself, weight its own size.
using EliminationScore = double (*)(double degree, double newElement, double weight);

// Minimum-priority elimination on the quotient graph: elements absorb the
// elements they cover, degrees are approximate (upper bounds), indistinguishable
// variables are merged into supervariables and eliminated together (mass
// elimination), and an element whose variables all lie in the newest element is
// absorbed at once (aggressive absorption).
void quotientGraphOrder(const SymGraph &g, EliminationScore score, EnvVector<int> &perm);

struct OrderingMethod {
  int number;        // value of the BARORDER parameter
  const char *text;  // as the log names it
  void (*order)(const SymGraph &g, EnvVector<int> &perm);
};

void approximateMinimumDegree(const SymGraph &g, EnvVector<int> &perm);
void approximateMinimumFill(const SymGraph &g, EnvVector<int> &perm);
void nestedDissection(const SymGraph &g, EnvVector<int> &perm);

// The orderings by number 1 to 3; null for any other number.
const OrderingMethod *orderingMethod(int number);

// Elimination tree of the pattern under perm (by position: parent[k] is a later
// position, -1 at a root), and the nonzeros of each column of the factor,
// diagonal included, counted on the tree without forming the factor.
void eliminationTree(const SymGraph &g, const EnvVector<int> &perm, const EnvVector<int> &iperm, EnvVector<int> &parent);
void columnCounts(const SymGraph &g, const EnvVector<int> &perm, const EnvVector<int> &iperm,
                  const EnvVector<int> &parent, EnvVector<int> &count);
// Postorder of a forest given by parent (children before parents, each
// subtree contiguous): post[k] = the position visited k-th.
void postorderForest(const EnvVector<int> &parent, EnvVector<int> &post);

// Factor nonzeros and operations (sum of squared column counts) of an ordering.
struct OrderingCost {
  double nonzeros = 0.0, flops = 0.0;
};
OrderingCost orderingCost(const SymGraph &g, const EnvVector<int> &perm);

} // namespace qvn
