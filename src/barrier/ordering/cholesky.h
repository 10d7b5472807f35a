// Sparse Cholesky factor of the barrier's normal matrix M = A diag(d) A^T + diag(e).
//
// P M P^T = L L^T with P from a minimum degree ordering of the pattern of M.
// L is held by supernodes: the columns [superStart[s], superStart[s+1]) share
// one row list (their own columns first, then the rows below, ascending), and
// their values form one dense column-major block of rowCount x width.
#pragma once
#include <cstddef>

#include "runtime/alloc.h"

namespace qvn {

// Columns of A (column-wise, rows numbered 0..rows-1) that take part in M.
struct NormalPattern {
  int rows = 0, cols = 0;
  const int *start = nullptr, *index = nullptr;  // column j: index[start[j] .. start[j+1])
  const double *value = nullptr;
  const char *skip = nullptr;  // nonzero: column j is left out of M (fixed or dense)
};

struct CholeskyFactor {
  int n = 0;
  EnvVector<int> perm, iperm;  // perm[new] = old row of M, iperm[old] = new
  EnvVector<int> parent;       // elimination tree by new index, -1 at a root
  int numSuper = 0;
  EnvVector<int> superStart, colToSuper;
  EnvVector<int> rowStart, rowIndex;  // row list of each supernode, by new index
  EnvVector<size_t> valStart;
  EnvVector<double> value;
  double nonzeros = 0.0, flops = 0.0;
  int perturbed = 0;  // pivots replaced by a huge value: dependent rows
  // Row-wise copy of the structural part of M's columns, for the numeric build.
  EnvVector<int> rowPtr, rowCol;
  EnvVector<double> rowVal;
};

// Minimum degree ordering of a symmetric pattern given by full adjacency lists
// (no diagonal). perm[k] = the vertex eliminated k-th.
void minimumDegreeOrder(int n, const EnvVector<int> &adjStart, const EnvVector<int> &adjIndex, EnvVector<int> &perm);

// Ordering and symbolic factor of M for the pattern p. Returns 0 or 1001.
int choleskyAnalyse(const NormalPattern &p, CholeskyFactor &f);
// Numeric factor of M = A diag(d) A^T + diag(e) (d per column of A, e per row).
void choleskyFactor(const NormalPattern &p, const double *d, const double *e, CholeskyFactor &f);
// Solves M x = b in place (b has n entries).
void choleskySolve(const CholeskyFactor &f, double *b, double *work);

} // namespace qvn
