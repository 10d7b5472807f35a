// Cliques among binary literals: sets of which at most one literal is true.
//
// A literal of column j is j+1 (x_j = 1) or -(j+1) (x_j = 0). Cliques come
// from rows: a row side read as a knapsack on binaries (complemented where
// the coefficient is negative, other columns at their least contribution)
// forbids every pair whose weights together exceed the capacity. The table
// keeps the cliques and the conflict graph they induce, for clique cuts.
#pragma once
#include "mip/mip_run.h"

namespace qvn {

struct RowModel;

struct CliqueTable {
  int literalCount = 0;  // 2 * columns
  EnvVector<int> start;  // clique k holds members[start[k] .. start[k+1])
  EnvVector<int> members;
  // Members found by origin: rows, probing, merging, growth, others.
  int origin[5] = {};
  // Conflict graph on literal slots (2j for j+1, 2j+1 for -(j+1)), each list sorted.
  EnvVector<EnvVector<int>> adjacent;
};

inline int literalSlot(int literal) { return literal > 0 ? 2 * (literal - 1) : 2 * (-literal - 1) + 1; }
inline int slotLiteral(int slot) { return slot % 2 == 0 ? slot / 2 + 1 : -(slot / 2 + 1); }
inline int cliqueCount(const CliqueTable &t) { return t.start.empty() ? 0 : static_cast<int>(t.start.size()) - 1; }

// Builds the table from the rows; binaries are integer columns with bounds 0 and 1.
void buildCliqueTable(const LpData &d, const RowModel &rows, const ColKind *kind, const double *lower,
                      const double *upper, CliqueTable &table);
bool inConflict(const CliqueTable &t, int slotA, int slotB);

} // namespace qvn
