// Cliques among binary literals: sets of which at most one literal is true.
//
// A literal of column j is j+1 (x_j = 1) or -(j+1) (x_j = 0). Cliques come
// from rows: a row side read as a knapsack on binaries (complemented where
// the coefficient is negative, other columns at their least contribution)
// forbids every pair whose weights together exceed the capacity, and from
// probing. Each literal lists the cliques it is in: two literals conflict
// when some clique holds both. Large cliques (set partitioning rows) stay
// linear in size this way, where a conflict graph would be quadratic.
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
  // After indexCliques: members of each clique sorted by literal slot (2j for
  // j+1, 2j+1 for -(j+1)), and the cliques of slot s in
  // occurrence[occurrenceStart[s] .. occurrenceStart[s+1]).
  EnvVector<int> occurrenceStart, occurrence;
  bool indexed() const { return static_cast<int>(occurrenceStart.size()) == literalCount + 1 && literalCount > 0; }
};

inline int literalSlot(int literal) { return literal > 0 ? 2 * (literal - 1) : 2 * (-literal - 1) + 1; }
inline int slotLiteral(int slot) { return slot % 2 == 0 ? slot / 2 + 1 : -(slot / 2 + 1); }
inline int cliqueCount(const CliqueTable &t) { return t.start.empty() ? 0 : static_cast<int>(t.start.size()) - 1; }

enum CliqueOrigin : int { kFromRows = 0, kFromProbing = 1, kFromMerging = 2, kFromGrowth = 3, kFromOthers = 4 };

// Builds the table from the rows; binaries are integer columns with bounds 0 and 1.
void buildCliqueTable(const LpData &d, const RowModel &rows, const ColKind *kind, const double *lower,
                      const double *upper, CliqueTable &table);
// Adds a clique of `count` literals found by `origin`; the lookups see it
// after indexCliques.
void addClique(CliqueTable &t, const int *literals, int count, int origin);
void indexCliques(CliqueTable &t);
// True when some clique holds both slots.
bool inConflict(const CliqueTable &t, int slotA, int slotB);

// A binary of a row side read as a knapsack: weight > 0, complemented when
// its coefficient was negative (the item is then 1 - x).
struct KnapsackItem {
  int col;
  double weight;
  bool complemented;
};
// Row side a x <= b (side 1) or -a x <= -lo (side -1) as a knapsack on the
// binaries, every other column at its least contribution over its bounds.
// False when a needed bound is infinite or the side has no finite limit.
bool binaryKnapsack(const RowModel &rows, int i, double side, const ColKind *kind, const double *lower,
                    const double *upper, EnvVector<KnapsackItem> &items, double *capacity);

} // namespace qvn
