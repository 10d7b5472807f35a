// Numeric supernodal factor, left-looking: each supernode assembles its columns
// of M, subtracts the updates of the supernodes below it in the order of its
// update list, and factors its dense block. A supernode reads only supernodes
// of its own subtree, so whole subtrees go to threads; the supernodes above
// them follow in the caller's thread after the join. Every supernode is
// computed by the same operations in the same order whatever the thread
// count, so the factor does not depend on it.
#include <algorithm>
#include <cmath>

#include "barrier/ordering/cholesky.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

// A pivot that lost all but this share of its original diagonal belongs to a
// row that depends on the others.
constexpr double kDependentShare = 1e-14;
constexpr double kHugePivot = 1e64;
// Columns of the update block computed at a time: bounds the scratch space.
constexpr int kUpdateChunk = 64;
// Columns whose products are summed in doubles before joining an extended sum.
constexpr int kExtendedGroup = 64;
// Columns of a supernode factored together against the columns left of them.
constexpr int kPanel = 16;

struct Workspace {
  EnvVector<int> pos, rel;
  EnvVector<double> update, partial;
  EnvVector<long double> column;
  void size(int m, int maxRows) {
    pos.assign(static_cast<size_t>(m), 0);
    rel.assign(static_cast<size_t>(maxRows), 0);
    update.assign(static_cast<size_t>(maxRows) * kUpdateChunk, 0.0);
    column.assign(static_cast<size_t>(maxRows) * kPanel, 0.0L);
    partial.assign(static_cast<size_t>(maxRows), 0.0);
  }
};

struct Job {
  const NormalPattern *p;
  const double *d, *e;
  CholeskyFactor *f;
  Workspace *ws;
  int thread;
  bool shiftEmpty;  // dense columns are out: dependent pivots get a shift
  double shiftValue;
};

// Columns of M = A diag(d) A' + diag(e) into the block, the lower part only:
// row t of A's row-wise copy holds a_old,j, and column j's sorted entries
// from entryPos[t] on are the rows at or below column c. Every such row is
// in the supernode's row list, so the sums go straight to their places.
void assemble(const Job &job, int s, double *block, int count) {
  const CholeskyFactor &f = *job.f;
  const int *__restrict pos = job.ws->pos.data();
  const int *__restrict sortedRow = f.sortedRow.data();
  const double *__restrict sortedVal = f.sortedVal.data();
  const int *__restrict colStart = job.p->start;
  const int *__restrict rowCol = f.rowCol.data();
  const double *__restrict rowVal = f.rowVal.data();
  const double *__restrict d = job.d;
  const int first = f.superStart[s], width = f.superStart[s + 1] - first;
  for (int c = first; c < first + width; ++c) {
    const int old = f.perm[c];
    double *__restrict col = block + static_cast<size_t>(c - first) * count;
    col[c - first] += job.e[old];
    for (int t = f.rowPtr[old]; t < f.rowPtr[old + 1]; ++t) {
      const int j = rowCol[t];
      const double a = rowVal[t] * d[j];
      const int end = colStart[j + 1];
      for (int k = f.entryPos[t]; k < end; ++k) col[pos[sortedRow[k]]] += a * sortedVal[k];
    }
    job.f->diag0[c] = col[c - first];
  }
}

// c(i, j) += sum over k of a(i, k) b(j, k) for i < rows, j < cols; all three
// column-major with the given leading dimensions. Tiles of 8 x 4 stay in
// registers over the whole sum. The kernel is built twice, plainly and for
// processors with FMA and 256-bit vectors, and the second is chosen at run
// time by the features the processor reports (a choice by processor model
// would never pick it on processors of another maker).
template <int Build>
inline __attribute__((always_inline)) void tileKernel(int rows, int cols, int width, const double *a, int lda,
                                                      const double *b, int ldb, double *c, int ldc) {
  int j = 0;
  for (; j + 4 <= cols; j += 4) {
    int i = 0;
    for (; i + 8 <= rows; i += 8) {
      double acc[4][8] = {};
      for (int k = 0; k < width; ++k) {
        const double *ak = a + static_cast<size_t>(k) * lda + i;
        const double *bk = b + static_cast<size_t>(k) * ldb + j;
        for (int jj = 0; jj < 4; ++jj) {
          const double bv = bk[jj];
          for (int ii = 0; ii < 8; ++ii) acc[jj][ii] += ak[ii] * bv;
        }
      }
      for (int jj = 0; jj < 4; ++jj)
        for (int ii = 0; ii < 8; ++ii) c[static_cast<size_t>(j + jj) * ldc + i + ii] += acc[jj][ii];
    }
    for (; i < rows; ++i) {
      double acc[4] = {};
      for (int k = 0; k < width; ++k) {
        const double av = a[static_cast<size_t>(k) * lda + i];
        const double *bk = b + static_cast<size_t>(k) * ldb + j;
        for (int jj = 0; jj < 4; ++jj) acc[jj] += av * bk[jj];
      }
      for (int jj = 0; jj < 4; ++jj) c[static_cast<size_t>(j + jj) * ldc + i] += acc[jj];
    }
  }
  for (; j < cols; ++j) {
    double *cj = c + static_cast<size_t>(j) * ldc;
    for (int k = 0; k < width; ++k) {
      const double bv = b[static_cast<size_t>(k) * ldb + j];
      if (bv == 0.0) continue;
      const double *ak = a + static_cast<size_t>(k) * lda;
      for (int i = 0; i < rows; ++i) cj[i] += ak[i] * bv;
    }
  }
}

__attribute__((target("avx2,fma"))) void tileProductWide(int rows, int cols, int width, const double *a, int lda,
                                                         const double *b, int ldb, double *c, int ldc) {
  tileKernel<1>(rows, cols, width, a, lda, b, ldb, c, ldc);
}

void tileProductPlain(int rows, int cols, int width, const double *a, int lda, const double *b, int ldb, double *c,
                      int ldc) {
  tileKernel<0>(rows, cols, width, a, lda, b, ldb, c, ldc);
}

using TileProduct = void (*)(int, int, int, const double *, int, const double *, int, double *, int);

TileProduct chooseTileProduct() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? tileProductWide : tileProductPlain;
}

const TileProduct tileProduct = chooseTileProduct();

// block(t) -= L_s[from:, :] L_s[from:to, :]^T, scattered by the row map pos.
void applyUpdate(Workspace &w, const CholeskyFactor &f, int s, int from, int to, double *tBlock, int tFirst, int tCount) {
  const int sWidth = f.superStart[s + 1] - f.superStart[s];
  const int sCount = f.rowStart[s + 1] - f.rowStart[s];
  const int *sRows = f.rowIndex.data() + f.rowStart[s];
  const double *sBlock = superBlock(f, s) + from;
  const int rows = sCount - from;
  // Place of each source row in the target's block, found once per update.
  int *__restrict rel = w.rel.data();
  for (int r = 0; r < rows; ++r) rel[r] = w.pos[sRows[from + r]];
  for (int q0 = 0; q0 < to - from; q0 += kUpdateChunk) {
    const int q1 = std::min(to - from, q0 + kUpdateChunk);
    double *u = w.update.data();
    // u(r, q - q0) for r >= q0: the lower part of this slice of columns.
    const int height = rows - q0;
    std::fill(u, u + static_cast<size_t>(height) * (q1 - q0), 0.0);
    tileProduct(height, q1 - q0, sWidth, sBlock + q0, sCount, sBlock + q0, sCount, u, height);
    for (int q = q0; q < q1; ++q) {
      double *__restrict dst = tBlock + static_cast<size_t>(sRows[from + q] - tFirst) * tCount;
      const double *__restrict uq = u + static_cast<size_t>(q - q0) * height - q0;
      if (rel[rows - 1] - rel[q] == rows - 1 - q) {
        // The rows land on consecutive rows of the target.
        double *to0 = dst + rel[q] - q;
        for (int r = q; r < rows; ++r) to0[r] -= uq[r];
      } else {
        for (int r = q; r < rows; ++r) dst[rel[r]] -= uq[r];
      }
    }
  }
}

// Dense Cholesky of the supernode's block by panels of kPanel columns. The
// sums of a panel are kept in extended precision: the products of the
// columns left of the panel join them in groups of kExtendedGroup columns
// summed in doubles by the tile product, those of the panel's own earlier
// columns as one more group.
void factorBlock(const Job &job, double *block, int first, int width, int count) {
  CholeskyFactor &f = *job.f;
  long double *sum = job.ws->column.data();
  double *u = job.ws->update.data();
  double *__restrict partial = job.ws->partial.data();
  for (int p0 = 0; p0 < width; p0 += kPanel) {
    const int p1 = std::min(width, p0 + kPanel), panel = p1 - p0, height = count - p0;
    for (int k = 0; k < panel; ++k)
      for (int i = 0; i < height; ++i) sum[static_cast<size_t>(k) * height + i] = block[static_cast<size_t>(p0 + k) * count + p0 + i];
    for (int q0 = 0; q0 < p0; q0 += kExtendedGroup) {
      const int q1 = std::min(p0, q0 + kExtendedGroup);
      std::fill(u, u + static_cast<size_t>(height) * panel, 0.0);
      const double *a = block + static_cast<size_t>(q0) * count + p0;
      tileProduct(height, panel, q1 - q0, a, count, a, count, u, height);
      for (size_t t = 0; t < static_cast<size_t>(height) * panel; ++t) sum[t] -= u[t];
    }
    for (int k = 0; k < panel; ++k) {
      long double *sk = sum + static_cast<size_t>(k) * height;
      double *colK = block + static_cast<size_t>(p0 + k) * count;
      if (k > 0) {
        std::fill(partial + k, partial + height, 0.0);
        for (int q = 0; q < k; ++q) {
          const double *__restrict colQ = block + static_cast<size_t>(p0 + q) * count + p0;
          const double l = colQ[k];
          if (l == 0.0) continue;
          for (int i = k; i < height; ++i) partial[i] += colQ[i] * l;
        }
        for (int i = k; i < height; ++i) sk[i] -= partial[i];
      }
      double pivot = static_cast<double>(sk[k]);
      const double original = f.diag0[first + p0 + k];
      if (!(pivot > kDependentShare * std::fabs(original)) || !(pivot > 1e-300)) {
        if (job.shiftEmpty) {
          // Ms + shift e_k e_k^T is factored; the solve takes the shift back.
          f.shift[first + p0 + k] = job.shiftValue;
          sk[k] += job.shiftValue;
          pivot = static_cast<double>(sk[k]);
        } else {
          colK[p0 + k] = kHugePivot;
          for (int i = k + 1; i < height; ++i) colK[p0 + i] = 0.0;
          continue;
        }
      }
      const long double root = std::sqrt(static_cast<long double>(pivot));
      colK[p0 + k] = static_cast<double>(root);
      for (int i = k + 1; i < height; ++i) colK[p0 + i] = static_cast<double>(sk[i] / root);
    }
  }
}

void factorSupernode(const Job &job, int s) {
  CholeskyFactor &f = *job.f;
  Workspace &w = *job.ws;
  const int first = f.superStart[s], width = f.superStart[s + 1] - first;
  const int *rows = f.rowIndex.data() + f.rowStart[s];
  const int count = f.rowStart[s + 1] - f.rowStart[s];
  double *block = superBlock(f, s);
  outOfCorePin(f, s, true);
  std::fill(block, block + static_cast<size_t>(count) * width, 0.0);
  for (int q = 0; q < count; ++q) w.pos[rows[q]] = q;
  assemble(job, s, block, count);
  for (int u = f.updStart[s]; u < f.updStart[s + 1]; ++u)
    applyUpdate(w, f, f.updSource[u], f.updFirst[u], f.updEnd[u], block, first, count);
  factorBlock(job, block, first, width, count);
  outOfCorePin(f, s, false);
  outOfCoreFinished(f, s);
  f.done[s] = 1;
}

void threadRoutine(void *argument) {
  const Job &job = *static_cast<const Job *>(argument);
  const CholeskyFactor &f = *job.f;
  for (int s = 0; s < f.numSuper; ++s)
    if (f.owner[s] == job.thread) factorSupernode(job, s);
}

} // namespace

size_t factorScratchValues(const CholeskyFactor &f) {
  return static_cast<size_t>(f.maxRows) * (kUpdateChunk + 2 * kPanel) + 3 * static_cast<size_t>(f.n);
}

void numericFactor(const NormalPattern &p, const double *d, const double *e, CholeskyFactor &f) {
  const int m = f.n;
  std::fill(f.shift.begin(), f.shift.end(), 0.0);
  f.done.assign(static_cast<size_t>(f.numSuper), 0);
  const bool shiftEmpty = !f.dense.columns.empty();
  double shiftValue = 0.0;
  if (shiftEmpty) {
    // The shift is the largest diagonal of Ms: large enough to keep the
    // shifted pivots away from cancellation, of the scale of the others.
    for (int i = 0; i < m; ++i) {
      double diag = e[i];
      for (int t = f.rowPtr[i]; t < f.rowPtr[i + 1]; ++t) diag += d[f.rowCol[t]] * f.rowVal[t] * f.rowVal[t];
      shiftValue = std::max(shiftValue, diag);
    }
    if (!(shiftValue > 0.0) || !std::isfinite(shiftValue)) shiftValue = 1.0;
  }
  // Out of core the chunks are read and written in the order of one thread.
  const int threads = f.threads > 1 && f.env && !f.store.active ? f.threads : 1;
  EnvVector<Workspace> spaces(static_cast<size_t>(threads));
  EnvVector<Job> jobs(static_cast<size_t>(threads));
  EnvVector<void *> arguments(static_cast<size_t>(threads));
  for (int t = 0; t < threads; ++t) {
    spaces[t].size(m, f.maxRows);
    jobs[t] = Job{&p, d, e, &f, &spaces[t], t, shiftEmpty, shiftValue};
    arguments[t] = &jobs[t];
  }
  if (threads == 1) {
    for (int s = 0; s < f.numSuper; ++s) factorSupernode(jobs[0], s);
  } else {
    runThreads(f.env, threadRoutine, threads, arguments.data());
    // The supernodes above the subtrees, and those of any thread that could
    // not be started, in ascending order: each one's sources are done first.
    for (int s = 0; s < f.numSuper; ++s)
      if (!f.done[s]) factorSupernode(jobs[0], s);
  }
  // Replaced pivots are counted after the factor, so the threads share no counter.
  f.perturbed = 0;
  for (int c = 0; c < m; ++c) {
    const int s = f.colToSuper[c];
    const double pivot = superBlock(f, s)[static_cast<size_t>(c - f.superStart[s]) * (f.rowStart[s + 1] - f.rowStart[s] + 1)];
    if (pivot == kHugePivot || f.shift[c] != 0.0) ++f.perturbed;
  }
}

} // namespace qvn
