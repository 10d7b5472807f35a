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

struct Workspace {
  EnvVector<int> pos, touched;
  EnvVector<double> acc, update;
  EnvVector<long double> column;
  EnvVector<char> seen;
  void size(int m, int maxRows) {
    pos.assign(static_cast<size_t>(m), 0);
    touched.reserve(static_cast<size_t>(m));
    acc.assign(static_cast<size_t>(m), 0.0);
    seen.assign(static_cast<size_t>(m), 0);
    update.assign(static_cast<size_t>(maxRows) * kUpdateChunk, 0.0);
    column.assign(static_cast<size_t>(maxRows), 0.0L);
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

void assemble(const Job &job, int s, double *block, int count) {
  const NormalPattern &p = *job.p;
  CholeskyFactor &f = *job.f;
  Workspace &w = *job.ws;
  const int first = f.superStart[s], width = f.superStart[s + 1] - first;
  for (int c = first; c < first + width; ++c) {
    const int old = f.perm[c];
    w.touched.clear();
    w.acc[c] += job.e[old];
    w.seen[c] = 1;
    w.touched.push_back(c);
    for (int t = f.rowPtr[old]; t < f.rowPtr[old + 1]; ++t) {
      const int j = f.rowCol[t];
      const double a = f.rowVal[t] * job.d[j];
      for (int k = p.start[j]; k < p.start[j + 1]; ++k) {
        const int r = f.iperm[p.index[k]];
        if (r < c) continue;
        w.acc[r] += a * p.value[k];
        if (!w.seen[r]) {
          w.seen[r] = 1;
          w.touched.push_back(r);
        }
      }
    }
    double *col = block + static_cast<size_t>(c - first) * count;
    for (int r : w.touched) {
      col[w.pos[r]] += w.acc[r];
      w.acc[r] = 0.0;
      w.seen[r] = 0;
    }
    f.diag0[c] = col[c - first];
  }
}

// block(t) -= L_s[from:, :] L_s[from:to, :]^T, scattered by the row map pos.
void applyUpdate(Workspace &w, const CholeskyFactor &f, int s, int from, int to, double *tBlock, int tFirst, int tCount) {
  const int sWidth = f.superStart[s + 1] - f.superStart[s];
  const int sCount = f.rowStart[s + 1] - f.rowStart[s];
  const int *sRows = f.rowIndex.data() + f.rowStart[s];
  const double *sBlock = f.value.data() + f.valStart[s];
  const int rows = sCount - from;
  for (int q0 = 0; q0 < to - from; q0 += kUpdateChunk) {
    const int q1 = std::min(to - from, q0 + kUpdateChunk);
    double *u = w.update.data();
    // u(:, q - q0) for rows r >= q of the source, as axpys over contiguous rows.
    for (int q = q0; q < q1; ++q) std::fill(u + static_cast<size_t>(q - q0) * rows + q, u + static_cast<size_t>(q - q0 + 1) * rows, 0.0);
    int k = 0;
    for (; k + 3 < sWidth; k += 4) {
      const double *c0 = sBlock + static_cast<size_t>(k) * sCount + from;
      const double *c1 = c0 + sCount, *c2 = c1 + sCount, *c3 = c2 + sCount;
      for (int q = q0; q < q1; ++q) {
        const double l0 = c0[q], l1 = c1[q], l2 = c2[q], l3 = c3[q];
        if (l0 == 0.0 && l1 == 0.0 && l2 == 0.0 && l3 == 0.0) continue;
        double *uq = u + static_cast<size_t>(q - q0) * rows;
        for (int r = q; r < rows; ++r) uq[r] += c0[r] * l0 + c1[r] * l1 + c2[r] * l2 + c3[r] * l3;
      }
    }
    for (; k < sWidth; ++k) {
      const double *c0 = sBlock + static_cast<size_t>(k) * sCount + from;
      for (int q = q0; q < q1; ++q) {
        const double l0 = c0[q];
        if (l0 == 0.0) continue;
        double *uq = u + static_cast<size_t>(q - q0) * rows;
        for (int r = q; r < rows; ++r) uq[r] += c0[r] * l0;
      }
    }
    for (int q = q0; q < q1; ++q) {
      double *dst = tBlock + static_cast<size_t>(sRows[from + q] - tFirst) * tCount;
      const double *uq = u + static_cast<size_t>(q - q0) * rows;
      for (int r = q; r < rows; ++r) dst[w.pos[sRows[from + r]]] -= uq[r];
    }
  }
}

// Dense Cholesky of the supernode's block, left-looking by columns with the
// sums of each column kept in extended precision.
void factorBlock(const Job &job, double *block, int first, int width, int count) {
  CholeskyFactor &f = *job.f;
  long double *sum = job.ws->column.data();
  for (int k = 0; k < width; ++k) {
    double *colK = block + static_cast<size_t>(k) * count;
    for (int i = k; i < count; ++i) sum[i] = colK[i];
    for (int q = 0; q < k; ++q) {
      const double *colQ = block + static_cast<size_t>(q) * count;
      const long double l = colQ[k];
      if (l == 0.0L) continue;
      for (int i = k; i < count; ++i) sum[i] -= colQ[i] * l;
    }
    double pivot = static_cast<double>(sum[k]);
    const double original = f.diag0[first + k];
    if (!(pivot > kDependentShare * std::fabs(original)) || !(pivot > 1e-300)) {
      if (job.shiftEmpty) {
        // Ms + shift e_k e_k^T is factored; the solve takes the shift back.
        f.shift[first + k] = job.shiftValue;
        sum[k] += job.shiftValue;
        pivot = static_cast<double>(sum[k]);
      } else {
        colK[k] = kHugePivot;
        for (int i = k + 1; i < count; ++i) colK[i] = 0.0;
        continue;
      }
    }
    const long double root = std::sqrt(static_cast<long double>(pivot));
    colK[k] = static_cast<double>(root);
    for (int i = k + 1; i < count; ++i) colK[i] = static_cast<double>(sum[i] / root);
  }
}

void factorSupernode(const Job &job, int s) {
  CholeskyFactor &f = *job.f;
  Workspace &w = *job.ws;
  const int first = f.superStart[s], width = f.superStart[s + 1] - first;
  const int *rows = f.rowIndex.data() + f.rowStart[s];
  const int count = f.rowStart[s + 1] - f.rowStart[s];
  double *block = f.value.data() + f.valStart[s];
  std::fill(block, block + static_cast<size_t>(count) * width, 0.0);
  for (int q = 0; q < count; ++q) w.pos[rows[q]] = q;
  assemble(job, s, block, count);
  for (int u = f.updStart[s]; u < f.updStart[s + 1]; ++u)
    applyUpdate(w, f, f.updSource[u], f.updFirst[u], f.updEnd[u], block, first, count);
  factorBlock(job, block, first, width, count);
}

void threadRoutine(void *argument) {
  const Job &job = *static_cast<const Job *>(argument);
  const CholeskyFactor &f = *job.f;
  for (int s = 0; s < f.numSuper; ++s)
    if (f.owner[s] == job.thread) factorSupernode(job, s);
}

} // namespace

void numericFactor(const NormalPattern &p, const double *d, const double *e, CholeskyFactor &f) {
  const int m = f.n;
  std::fill(f.shift.begin(), f.shift.end(), 0.0);
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
  const int threads = f.threads > 1 && f.env ? f.threads : 1;
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
    for (int s = 0; s < f.numSuper; ++s)
      if (f.owner[s] < 0) factorSupernode(jobs[0], s);
  }
  // Replaced pivots are counted after the factor, so the threads share no counter.
  f.perturbed = 0;
  for (int c = 0; c < m; ++c) {
    const int s = f.colToSuper[c];
    const double pivot = f.value[f.valStart[s] + static_cast<size_t>(c - f.superStart[s]) * (f.rowStart[s + 1] - f.rowStart[s] + 1)];
    if (pivot == kHugePivot || f.shift[c] != 0.0) ++f.perturbed;
  }
}

} // namespace qvn
