// Symbolic and numeric supernodal Cholesky of the normal matrix, and its solves.
#include "barrier/ordering/cholesky.h"

#include <algorithm>
#include <cmath>

namespace qvn {

namespace {

// A pivot that lost all but this share of its original diagonal belongs to a
// row that depends on the others: it is replaced by kHugePivot, which makes the
// row's component of every solve zero.
constexpr double kDependentShare = 1e-14;
constexpr double kHugePivot = 1e64;

} // namespace

int choleskyAnalyse(const NormalPattern &p, CholeskyFactor &f) {
  const int m = p.rows;
  f.n = m;
  // Row-wise copy of the kept columns.
  f.rowPtr.assign(static_cast<size_t>(m) + 1, 0);
  for (int j = 0; j < p.cols; ++j)
    if (!p.skip || !p.skip[j])
      for (int k = p.start[j]; k < p.start[j + 1]; ++k) ++f.rowPtr[p.index[k] + 1];
  for (int i = 0; i < m; ++i) f.rowPtr[i + 1] += f.rowPtr[i];
  f.rowCol.assign(static_cast<size_t>(f.rowPtr[m]), 0);
  f.rowVal.assign(static_cast<size_t>(f.rowPtr[m]), 0.0);
  {
    EnvVector<int> fill(f.rowPtr.begin(), f.rowPtr.end() - 1);
    for (int j = 0; j < p.cols; ++j)
      if (!p.skip || !p.skip[j])
        for (int k = p.start[j]; k < p.start[j + 1]; ++k) {
          const int at = fill[p.index[k]]++;
          f.rowCol[at] = j;
          f.rowVal[at] = p.value[k];
        }
  }
  // Adjacency of M's pattern, in two passes: count, then fill.
  EnvVector<int> mark(static_cast<size_t>(m), -1);
  EnvVector<int> adjStart(static_cast<size_t>(m) + 1, 0), adjIndex;
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
  minimumDegreeOrder(m, adjStart, adjIndex, f.perm);
  f.iperm.assign(static_cast<size_t>(m), 0);
  for (int c = 0; c < m; ++c) f.iperm[f.perm[c]] = c;

  // Column patterns of L (rows below the diagonal): M's own below-diagonal
  // rows joined with the patterns of the children in the elimination tree.
  f.parent.assign(static_cast<size_t>(m), -1);
  EnvVector<int> childHead(static_cast<size_t>(m), -1), childNext(static_cast<size_t>(m), -1);
  EnvVector<size_t> patStart(static_cast<size_t>(m) + 1, 0);
  EnvVector<int> pat;
  std::fill(mark.begin(), mark.end(), -1);
  for (int c = 0; c < m; ++c) {
    mark[c] = c;
    const size_t begin = pat.size();
    const int old = f.perm[c];
    for (int t = adjStart[old]; t < adjStart[old + 1]; ++t) {
      const int r = f.iperm[adjIndex[t]];
      if (r > c && mark[r] != c) {
        mark[r] = c;
        pat.push_back(r);
      }
    }
    for (int ch = childHead[c]; ch >= 0; ch = childNext[ch])
      for (size_t t = patStart[ch]; t < patStart[ch + 1]; ++t) {
        const int r = pat[t];
        if (r > c && mark[r] != c) {
          mark[r] = c;
          pat.push_back(r);
        }
      }
    std::sort(pat.begin() + static_cast<std::ptrdiff_t>(begin), pat.end());
    patStart[c + 1] = pat.size();
    if (pat.size() > begin) {
      const int par = pat[begin];
      f.parent[c] = par;
      childNext[c] = childHead[par];
      childHead[par] = c;
    }
  }
  // Supernodes: a column joins its predecessor's when it is that column's
  // parent and their patterns nest exactly.
  f.superStart.clear();
  f.colToSuper.assign(static_cast<size_t>(m), 0);
  f.nonzeros = 0.0;
  f.flops = 0.0;
  for (int c = 0; c < m; ++c) {
    const double below = static_cast<double>(patStart[c + 1] - patStart[c]);
    f.nonzeros += below + 1.0;
    f.flops += (below + 1.0) * (below + 1.0);
    const bool joins = c > 0 && f.parent[c - 1] == c && patStart[c] - patStart[c - 1] == patStart[c + 1] - patStart[c] + 1;
    if (!joins) f.superStart.push_back(c);
    f.colToSuper[c] = static_cast<int>(f.superStart.size()) - 1;
  }
  f.numSuper = static_cast<int>(f.superStart.size());
  f.superStart.push_back(m);
  f.rowStart.assign(static_cast<size_t>(f.numSuper) + 1, 0);
  f.valStart.assign(static_cast<size_t>(f.numSuper) + 1, 0);
  f.rowIndex.clear();
  for (int s = 0; s < f.numSuper; ++s) {
    const int first = f.superStart[s], width = f.superStart[s + 1] - first;
    f.rowIndex.push_back(first);
    for (size_t t = patStart[first]; t < patStart[first + 1]; ++t) f.rowIndex.push_back(pat[t]);
    f.rowStart[s + 1] = static_cast<int>(f.rowIndex.size());
    const size_t rows = static_cast<size_t>(f.rowStart[s + 1] - f.rowStart[s]);
    f.valStart[s + 1] = f.valStart[s] + rows * static_cast<size_t>(width);
  }
  f.value.assign(f.valStart[f.numSuper], 0.0);
  return 0;
}

void choleskyFactor(const NormalPattern &p, const double *d, const double *e, CholeskyFactor &f) {
  const int m = f.n;
  std::fill(f.value.begin(), f.value.end(), 0.0);
  f.perturbed = 0;
  EnvVector<int> pos(static_cast<size_t>(m), 0);
  EnvVector<double> acc(static_cast<size_t>(m), 0.0), diag0(static_cast<size_t>(m), 0.0), rowsT;
  EnvVector<int> touched;
  EnvVector<char> seen(static_cast<size_t>(m), 0);
  for (int s = 0; s < f.numSuper; ++s) {
    const int first = f.superStart[s], width = f.superStart[s + 1] - first;
    const int *rows = f.rowIndex.data() + f.rowStart[s];
    const int count = f.rowStart[s + 1] - f.rowStart[s];
    double *block = f.value.data() + f.valStart[s];
    for (int q = 0; q < count; ++q) pos[rows[q]] = q;
    // Assemble M's columns of this supernode: column c is sum_j d_j a_j a_j(c) + e(c).
    for (int c = first; c < first + width; ++c) {
      const int old = f.perm[c];
      touched.clear();
      acc[c] += e[old];
      seen[c] = 1;
      touched.push_back(c);
      for (int t = f.rowPtr[old]; t < f.rowPtr[old + 1]; ++t) {
        const int j = f.rowCol[t];
        const double a = f.rowVal[t] * d[j];
        for (int k = p.start[j]; k < p.start[j + 1]; ++k) {
          const int r = f.iperm[p.index[k]];
          if (r < c) continue;
          acc[r] += a * p.value[k];
          if (!seen[r]) {
            seen[r] = 1;
            touched.push_back(r);
          }
        }
      }
      double *col = block + static_cast<size_t>(c - first) * count;
      for (int r : touched) {
        col[pos[r]] += acc[r];
        acc[r] = 0.0;
        seen[r] = 0;
      }
      diag0[c] = col[c - first];
    }
    // Dense factor of the supernode's columns, diagonal block and rows below together.
    for (int k = 0; k < width; ++k) {
      double *colK = block + static_cast<size_t>(k) * count;
      double pivot = colK[k];
      if (!(pivot > kDependentShare * std::fabs(diag0[first + k])) || !(pivot > 1e-300)) {
        pivot = kHugePivot;
        ++f.perturbed;
        for (int i = k + 1; i < count; ++i) colK[i] = 0.0;
        colK[k] = pivot;
        continue;
      }
      pivot = std::sqrt(pivot);
      colK[k] = pivot;
      const double inv = 1.0 / pivot;
      for (int i = k + 1; i < count; ++i) colK[i] *= inv;
      for (int j = k + 1; j < width; ++j) {
        double *colJ = block + static_cast<size_t>(j) * count;
        const double l = colK[j];
        if (l == 0.0) continue;
        for (int i = j; i < count; ++i) colJ[i] -= colK[i] * l;
      }
    }
    // Update of later supernodes by the rows below: W = L21 L21^T, scattered
    // column by column into the supernode that holds each column.
    const int below = count - width;
    if (below == 0) continue;
    rowsT.resize(static_cast<size_t>(below) * width);
    for (int q = 0; q < below; ++q)
      for (int k = 0; k < width; ++k) rowsT[static_cast<size_t>(q) * width + k] = block[width + q + static_cast<size_t>(k) * count];
    const int *rb = rows + width;
    int q = 0;
    while (q < below) {
      const int t = f.colToSuper[rb[q]];
      const int tFirst = f.superStart[t];
      const int tCount = f.rowStart[t + 1] - f.rowStart[t];
      const int *tRows = f.rowIndex.data() + f.rowStart[t];
      for (int r = 0; r < tCount; ++r) pos[tRows[r]] = r;
      double *tBlock = f.value.data() + f.valStart[t];
      for (; q < below && f.colToSuper[rb[q]] == t; ++q) {
        double *dst = tBlock + static_cast<size_t>(rb[q] - tFirst) * tCount;
        const double *lq = rowsT.data() + static_cast<size_t>(q) * width;
        for (int pr = q; pr < below; ++pr) {
          const double *lp = rowsT.data() + static_cast<size_t>(pr) * width;
          double sum = 0.0;
          for (int k = 0; k < width; ++k) sum += lp[k] * lq[k];
          dst[pos[rb[pr]]] -= sum;
        }
      }
    }
  }
}

void choleskySolve(const CholeskyFactor &f, double *b, double *x) {
  const int m = f.n;
  for (int c = 0; c < m; ++c) x[c] = b[f.perm[c]];
  for (int s = 0; s < f.numSuper; ++s) {
    const int first = f.superStart[s], width = f.superStart[s + 1] - first;
    const int *rows = f.rowIndex.data() + f.rowStart[s];
    const int count = f.rowStart[s + 1] - f.rowStart[s];
    const double *block = f.value.data() + f.valStart[s];
    for (int k = 0; k < width; ++k) {
      const double *col = block + static_cast<size_t>(k) * count;
      const double v = x[first + k] / col[k];
      x[first + k] = v;
      if (v == 0.0) continue;
      for (int i = k + 1; i < count; ++i) x[rows[i]] -= col[i] * v;
    }
  }
  for (int s = f.numSuper - 1; s >= 0; --s) {
    const int first = f.superStart[s], width = f.superStart[s + 1] - first;
    const int *rows = f.rowIndex.data() + f.rowStart[s];
    const int count = f.rowStart[s + 1] - f.rowStart[s];
    const double *block = f.value.data() + f.valStart[s];
    for (int k = width - 1; k >= 0; --k) {
      const double *col = block + static_cast<size_t>(k) * count;
      double sum = x[first + k];
      for (int i = k + 1; i < count; ++i) sum -= col[i] * x[rows[i]];
      x[first + k] = sum / col[k];
    }
  }
  for (int c = 0; c < m; ++c) b[f.perm[c]] = x[c];
}

} // namespace qvn
