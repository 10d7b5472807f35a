// Sparse Cholesky factor of the barrier's normal matrix M = A diag(d) A^T + diag(e).
//
// Dense columns of A are kept out of the factored matrix: with Ms the normal
// matrix of the other columns, P Ms P^T + diag(shift) = L L^T, where P comes
// from a fill-reducing ordering of Ms's pattern and shift is nonzero only on
// pivots that Ms alone leaves empty. The solve adds the dense columns and
// removes the shifts through a small dense system (see dense_columns.cpp).
// Without dense columns a pivot that lost all but a tiny share of its
// diagonal belongs to a dependent row and is replaced by a huge value, which
// makes that row's component of every solve zero.
//
// L is held by supernodes: the columns [superStart[s], superStart[s+1]) share
// one row list (their own columns first, then the rows below, ascending), and
// their values form one dense column-major block of rowCount x width.
#pragma once
#include <cstddef>

#include "runtime/alloc.h"

struct Environment;

namespace qvn {

// Columns of A (column-wise, rows numbered 0..rows-1) that take part in M.
struct NormalPattern {
  int rows = 0, cols = 0;
  const int *start = nullptr, *index = nullptr;  // column j: index[start[j] .. start[j+1])
  const double *value = nullptr;
  const char *skip = nullptr;  // nonzero: column j is left out of M (fixed)
};

// The columns of A treated apart from the normal matrix, and the correction
// that brings them back in each solve.
struct DenseColumnSet {
  EnvVector<int> columns;       // dense columns of A, ascending
  EnvVector<char> isDense;      // per column of A
  int limit = 0;                // columns of at least this many nonzeros were candidates
  // After a numeric factor: k = columns.size() + shifted pivots correction
  // vectors V (sign +1 for a column, -1 for a shift), W = L^-1 P V (rows x k,
  // column-major), and the LU factors of S = sign + W^T W with row pivots.
  int k = 0;
  EnvVector<double> w, s;
  EnvVector<int> pivot;
  EnvVector<char> singular;     // S pivot too small: that component is dropped
  mutable EnvVector<double> work;
};

// Blocks of the factor kept in files when the factor outgrows the working
// memory: consecutive supernodes form a chunk, one file per chunk, and chunks
// come into memory when a step needs them, the least recently used one
// leaving first. The files and their directory go with the store.
struct OutOfCoreStore {
  bool active = false;
  char directory[1100] = {0};
  EnvVector<int> chunkOf;        // per supernode
  EnvVector<size_t> chunkStart;  // offset of each chunk in the factor's values; chunks + 1
  EnvVector<EnvVector<double>> data;  // resident chunks, empty when out
  EnvVector<char> onDisk, pinned, keep;  // keep: its file failed, it stays in memory
  EnvVector<long> lastUse;
  long clock = 0;
  size_t budget = 0, resident = 0;  // in values
  int chunks = 0;
  OutOfCoreStore() = default;
  OutOfCoreStore(const OutOfCoreStore &) = delete;
  OutOfCoreStore &operator=(const OutOfCoreStore &) = delete;
  ~OutOfCoreStore();
};

struct CholeskyOptions {
  int ordering = 0;      // 0 automatic, 1 AMD, 2 AMF, 3 nested dissection
  int threads = 1;       // threads of the ordering race and the numeric factor
  int denseLimit = 0;    // 0 automatic, else columns of this many nonzeros or more are dense
  int display = 0;       // 0 silent, 1 summary, 2 details
  double workMemory = 1e75;      // megabytes before the factor goes to files
  const char *workDirectory = ".";
  Environment *env = nullptr;  // channels and thread runner; null: silent, one thread
};

struct CholeskyFactor {
  int n = 0;
  EnvVector<int> perm, iperm;  // perm[new] = old row of M, iperm[old] = new
  EnvVector<int> parent;       // elimination tree by new index, -1 at a root
  int numSuper = 0;
  EnvVector<int> superStart, colToSuper, superParent;
  EnvVector<int> rowStart, rowIndex;  // row list of each supernode, by new index
  EnvVector<size_t> valStart;
  EnvVector<double> value;
  double nonzeros = 0.0, flops = 0.0;
  int perturbed = 0;  // pivots replaced: dependent rows
  int orderingUsed = 0;
  double orderingSeconds = 0.0;
  // Row-wise copy of the structural part of M's columns, for the numeric build.
  EnvVector<int> rowPtr, rowCol;
  EnvVector<double> rowVal;
  // The kept columns of A with their entries sorted by new row index, at the
  // positions of A's own column starts, and for each entry t of the row-wise
  // copy the place of that same entry in its sorted column: the entries of
  // column rowCol[t] from entryPos[t] on are the rows at or below it.
  EnvVector<int> sortedRow, entryPos;
  EnvVector<double> sortedVal;
  // Updates of the left-looking factor: target supernode t takes, from each
  // source s in updSource[updStart[t] .. updStart[t+1]) (ascending), the rows
  // updFirst .. of s's row list; those up to updEnd are t's own columns.
  EnvVector<int> updStart, updSource, updFirst, updEnd;
  int maxRows = 0;
  // Parallel factor: owner thread of each supernode, -1 for those done after
  // the join (ancestors of the subtrees given out).
  int threads = 1;
  EnvVector<int> owner;
  EnvVector<char> done;  // supernodes finished in the current numeric factor
  Environment *env = nullptr;
  EnvVector<double> diag0, shift;
  DenseColumnSet dense;
  mutable OutOfCoreStore store;
  mutable EnvVector<double> solveWork;  // the rows below a supernode in the solves
};

// Minimum degree ordering of a symmetric pattern given by full adjacency lists
// (no diagonal), by exact degrees on the explicit elimination graph.
// perm[k] = the vertex eliminated k-th.
void minimumDegreeOrder(int n, const EnvVector<int> &adjStart, const EnvVector<int> &adjIndex, EnvVector<int> &perm);

// Dense columns, ordering and symbolic factor of M for the pattern p. Returns 0 or 1001.
int choleskyAnalyse(const NormalPattern &p, const CholeskyOptions &o, CholeskyFactor &f);
// The same, with the options from env's parameters (BARORDER, BARTHREADS,
// BARCOLNZ, BARDISPLAY) and the log lines on env's results channel.
int choleskyAnalyse(Environment *env, const NormalPattern &p, CholeskyFactor &f);
// The same with default options and no log.
int choleskyAnalyse(const NormalPattern &p, CholeskyFactor &f);
// Numeric factor of M = A diag(d) A^T + diag(e) (d per column of A, e per row).
void choleskyFactor(const NormalPattern &p, const double *d, const double *e, CholeskyFactor &f);
// Solves M x = b in place (b has n entries, work at least n).
void choleskySolve(const CholeskyFactor &f, double *b, double *work);

// Parts shared by the files of the factor.
void findDenseColumns(const NormalPattern &p, int fixedLimit, DenseColumnSet &dense);
void denseCorrectionBuild(const NormalPattern &p, const double *d, CholeskyFactor &f);
void denseCorrectionApply(const CholeskyFactor &f, double *x);
void factorForward(const CholeskyFactor &f, double *x);
void factorBackward(const CholeskyFactor &f, double *x);
void numericFactor(const NormalPattern &p, const double *d, const double *e, CholeskyFactor &f);
size_t factorScratchValues(const CholeskyFactor &f);
// Out of core: decides and prepares it after the symbolic factor (0 or an
// error, negated when printed); the block of supernode s, brought in if
// needed; pins keep a block in memory; a finished chunk goes to its file.
int outOfCorePlan(const CholeskyOptions &o, CholeskyFactor &f);
void outOfCoreRelease(OutOfCoreStore &store);
double *outOfCoreBlock(const CholeskyFactor &f, int s);
void outOfCorePin(const CholeskyFactor &f, int s, bool pin);
void outOfCoreFinished(const CholeskyFactor &f, int s);
inline double *superBlock(const CholeskyFactor &f, int s) {
  return f.store.active ? outOfCoreBlock(f, s) : const_cast<double *>(f.value.data()) + f.valStart[s];
}

} // namespace qvn
