// FTRAN and BTRAN. Each stage (L, row etas, U) works on the listed nonzeros:
// while the pending positions are few against the range still to sweep, a heap
// hands them out in order, so a sparse right-hand side costs in proportion to
// the entries it touches; once the vector fills up, a plain sweep finishes.
#include <algorithm>

#include "simplex/lu/lu_internal.h"

namespace qvn {

namespace {

constexpr int kHeapRatio = 50;

template <class Real> struct Solve {
  LuFactor &f;
  LuValues<Real> &v;
  const Real tiny;
  int *list;  // rows holding nonzeros in workRows
  int listCount = 0;
  int mark = 0;

  explicit Solve(LuFactor &factor)
      : f(factor), v(luValues<Real>(factor)), tiny(Real(factor.dropTol)), list(factor.rowList.data()) {}

  void touchRow(int i) {
    if (f.rowMark[i] != mark) {
      f.rowMark[i] = mark;
      list[listCount++] = i;
    }
  }

  // Right-hand side by rows into workRows; the caller's entries are cleared.
  void loadRows(double *array, const int *index, int count) {
    mark = nextStamp(f);
    listCount = 0;
    if (count >= 0) {
      for (int q = 0; q < count; ++q) {
        const int i = index[q];
        const double x = array[i];
        array[i] = 0.0;
        if (x == 0.0 || f.rowMark[i] == mark) continue;
        v.workRows[i] = x;
        touchRow(i);
      }
    } else {
      for (int i = 0; i < f.m; ++i) {
        const double x = array[i];
        if (x == 0.0) continue;
        array[i] = 0.0;
        v.workRows[i] = x;
        touchRow(i);
      }
    }
  }

  // workRows[index[q]] -= value[q] * t over a packed stretch, listing new rows.
  template <class Index> void scatter(const int *index, const Real *value, Index from, Index to, Real t) {
    for (Index q = from; q < to; ++q) {
      touchRow(index[q]);
      v.workRows[index[q]] -= value[q] * t;
    }
  }
  template <class Index> Real dot(const int *index, const Real *value, Index from, Index to) const {
    Real s = 0;
    for (Index q = from; q < to; ++q) s += value[q] * v.workRows[index[q]];
    return s;
  }
  void subtractAt(int r, Real s) {
    if (s == 0) return;
    touchRow(r);
    v.workRows[r] -= s;
  }

  // L etas in order: eta e scatters its pivot row's value down its column.
  void forwardL() {
    const int nL = f.lCount;
    if (nL == 0 || listCount == 0) return;
    int *heap = f.heap.data();
    int size = 0;
    int plainFrom = nL;
    for (int q = 0; q < listCount; ++q) {
      const int e = f.lEtaOfRow[list[q]];
      if (e >= 0) heapPush(heap, size, nL - 1 - e);
    }
    while (size > 0) {
      const int e = nL - 1 - heap[0];
      if (nL - e <= kHeapRatio * size) {
        plainFrom = e;
        break;
      }
      heapPop(heap, size);
      const int row = f.lPivotRow[e];
      const Real t = v.workRows[row];
      if (luAbs(t) <= tiny) {
        v.workRows[row] = 0;
        continue;
      }
      for (int q = f.lStart[e]; q < f.lStart[e + 1]; ++q) {
        const int i = f.lIndex[q];
        if (f.rowMark[i] != mark) {
          const int e2 = f.lEtaOfRow[i];
          if (e2 >= 0) heapPush(heap, size, nL - 1 - e2);
        }
        touchRow(i);
        v.workRows[i] -= v.lValue[q] * t;
      }
    }
    for (int e = plainFrom; e < nL; ++e) {
      const Real t = v.workRows[f.lPivotRow[e]];
      if (t != 0) scatter(f.lIndex.data(), v.lValue.data(), f.lStart[e], f.lStart[e + 1], t);
    }
  }

  void forwardEtas() {
    for (int e = 0; e < f.etaCount; ++e)
      subtractAt(f.etaPivotRow[e], dot(f.etaIndex.data(), v.etaValue.data(), f.etaStart[e], f.etaStart[e + 1]));
  }

  void saveSpike() {
    int count = 0;
    Real largest = 0;
    for (int q = 0; q < listCount; ++q) {
      const int i = list[q];
      const Real x = v.workRows[i];
      if (x == 0) continue;
      largest = std::max(largest, luAbs(x));
      f.spikeIndex[count] = i;
      v.spikeValue[count] = x;
      ++count;
    }
    f.spikeCount = count;
    f.spikeMax = double(largest);
    f.spikeReady = true;
  }

  // Back substitution over U, newest positions first; the solution goes by basis
  // position into out, its pattern into outIndex. Returns the count.
  int backwardU(double *out, int *outIndex) {
    int *heap = f.heap.data();
    int size = 0;
    int outCount = 0;
    const int heapMark = nextStamp(f);
    for (int q = 0; q < listCount; ++q) {
      const int i = list[q];
      if (v.workRows[i] == 0) continue;
      f.rowMark[i] = heapMark;
      heapPush(heap, size, f.rowPos[i]);
    }
    // Solves position k; while heaped, rows met for the first time are pushed.
    auto solveAt = [&](int k, bool heaped) {
      const int i = f.pivotRowOf[k];
      const Real t = v.workRows[i];
      v.workRows[i] = 0;
      if (luAbs(t) <= tiny) return;
      const Real x = t / v.uDiagonal[k];
      const int c = f.pivotColOf[k];
      out[c] = double(x);
      outIndex[outCount++] = c;
      const int start = f.uCols.start[k], end = start + f.uCols.count[k];
      for (int q = start; q < end; ++q) {
        const int j = f.uCols.index[q];
        if (heaped && f.rowMark[j] != heapMark) {
          f.rowMark[j] = heapMark;
          heapPush(heap, size, f.rowPos[j]);
        }
        v.workRows[j] -= v.uColValue[q] * x;
      }
    };
    int plainFrom = -1;
    while (size > 0) {
      const int k = heap[0];
      if (k <= kHeapRatio * size) {
        plainFrom = k;
        break;
      }
      heapPop(heap, size);
      solveAt(k, true);
    }
    for (int k = plainFrom; k >= 0; --k) {
      const int i = f.pivotRowOf[k];
      if (i >= 0 && v.workRows[i] != 0) solveAt(k, false);
    }
    return outCount;
  }

  int ftran(double *array, const int *index, int count, int *outIndex, bool keepSpike) {
    loadRows(array, index, count);
    if (keepSpike) {
      f.spikeInputNz = listCount;
      double largest = 0.0;
      for (int q = 0; q < listCount; ++q) largest = std::max(largest, double(luAbs(v.workRows[list[q]])));
      f.spikeInputMax = largest;
    }
    forwardL();
    forwardEtas();
    if (keepSpike) saveSpike();
    return backwardU(array, outIndex);
  }

  // Forward substitution over U transposed, oldest positions first: input by
  // basis position in workCols (listed in cols), result by rows in workRows.
  void forwardUT(const int *cols, int colCount) {
    int *heap = f.heap.data();
    int size = 0;
    const int end = f.posEnd;
    const int colMark = nextStamp(f);
    for (int q = 0; q < colCount; ++q) {
      const int c = cols[q];
      f.colMark[c] = colMark;
      heapPush(heap, size, end - 1 - f.colPos[c]);
    }
    auto solveAt = [&](int k, bool heaped) {
      const int c = f.pivotColOf[k];
      const Real t = v.workCols[c];
      v.workCols[c] = 0;
      if (luAbs(t) <= tiny) return;
      const Real y = t / v.uDiagonal[k];
      const int r = f.pivotRowOf[k];
      v.workRows[r] = y;
      touchRow(r);
      const int start = f.uRows.start[k], stop = start + f.uRows.count[k];
      for (int q = start; q < stop; ++q) {
        const int c2 = f.uRows.index[q];
        if (heaped && f.colMark[c2] != colMark) {
          f.colMark[c2] = colMark;
          heapPush(heap, size, end - 1 - f.colPos[c2]);
        }
        v.workCols[c2] -= v.uRowValue[q] * y;
      }
    };
    int plainFrom = end;
    while (size > 0) {
      const int k = end - 1 - heap[0];
      if (end - k <= kHeapRatio * size) {
        plainFrom = k;
        break;
      }
      heapPop(heap, size);
      solveAt(k, true);
    }
    for (int k = plainFrom; k < end; ++k) {
      const int c = f.pivotColOf[k];
      if (c >= 0 && v.workCols[c] != 0) solveAt(k, false);
    }
  }

  void backwardEtas() {
    for (int e = f.etaCount - 1; e >= 0; --e) {
      const Real t = v.workRows[f.etaPivotRow[e]];
      if (t != 0) scatter(f.etaIndex.data(), v.etaValue.data(), f.etaStart[e], f.etaStart[e + 1], t);
    }
  }

  // L transposed, newest eta first: y[lPivotRow[e]] -= sum l_i y[i].
  void backwardL() {
    const int nL = f.lCount;
    if (nL == 0 || listCount == 0) return;
    if (f.lIsColumnOnly) {
      for (int e = nL - 1; e >= 0; --e)
        subtractAt(f.lPivotRow[e], dot(f.lIndex.data(), v.lValue.data(), f.lStart[e], f.lStart[e + 1]));
      return;
    }
    // Row-wise: a row's value is final once every eta after its own is done.
    int *heap = f.heap.data();
    int size = 0;
    const int initial = listCount;
    for (int q = 0; q < initial; ++q) {
      const int i = list[q];
      const int e = f.lEtaOfRow[i];
      if (e >= 0) {
        heapPush(heap, size, e);
        continue;
      }
      scatterLRow(i, heap, size, true);
    }
    int plainFrom = -1;
    while (size > 0) {
      const int e = heap[0];
      if (e <= kHeapRatio * size) {
        plainFrom = e;
        break;
      }
      heapPop(heap, size);
      scatterLRow(f.lPivotRow[e], heap, size, true);
    }
    for (int e = plainFrom; e >= 0; --e) scatterLRow(f.lPivotRow[e], heap, size, false);
  }

  void scatterLRow(int i, int *heap, int &size, bool push) {
    const Real t = v.workRows[i];
    if (t == 0) return;
    for (int q = f.lRowStart[i]; q < f.lRowStart[i + 1]; ++q) {
      const int e = f.lRowEta[q];
      const int r = f.lPivotRow[e];
      if (f.rowMark[r] != mark) {
        f.rowMark[r] = mark;
        list[listCount++] = r;
        if (push) heapPush(heap, size, e);
      }
      v.workRows[r] -= v.lRowValue[q] * t;
    }
  }

  // Input by basis position; the caller's entries are cleared and the result
  // by rows is written back with its pattern.
  int btran(double *array, const int *index, int count, int *outIndex) {
    mark = nextStamp(f);
    listCount = 0;
    int *cols = f.outList.data();
    int colCount = 0;
    if (count >= 0) {
      for (int q = 0; q < count; ++q) {
        const int c = index[q];
        const double x = array[c];
        array[c] = 0.0;
        if (x == 0.0) continue;
        v.workCols[c] = x;
        cols[colCount++] = c;
      }
    } else {
      for (int c = 0; c < f.m; ++c) {
        const double x = array[c];
        if (x == 0.0) continue;
        array[c] = 0.0;
        v.workCols[c] = x;
        cols[colCount++] = c;
      }
    }
    forwardUT(cols, colCount);
    backwardEtas();
    backwardL();
    int outCount = 0;
    for (int q = 0; q < listCount; ++q) {
      const int i = list[q];
      const Real y = v.workRows[i];
      v.workRows[i] = 0;
      if (luAbs(y) <= tiny) continue;
      array[i] = double(y);
      outIndex[outCount++] = i;
    }
    return outCount;
  }
};

} // namespace

template <class Real> int luFtran(LuFactor &f, double *x) {
  if (!f.valid) return kLuNeedFactor;
  Solve<Real> s(f);
  s.ftran(x, nullptr, -1, f.outList.data(), false);
  return 0;
}

template <class Real> int luFtranSparse(LuFactor &f, LuVector &vec) {
  if (!f.valid) return kLuNeedFactor;
  Solve<Real> s(f);
  vec.count = s.ftran(vec.array.data(), vec.index.data(), vec.count, vec.index.data(), false);
  return 0;
}

template <class Real> int luFtranForUpdate(LuFactor &f, LuVector &vec) {
  if (!f.valid) return kLuNeedFactor;
  Solve<Real> s(f);
  vec.count = s.ftran(vec.array.data(), vec.index.data(), vec.count, vec.index.data(), true);
  return 0;
}

template <class Real> int luBtran(LuFactor &f, double *y) {
  if (!f.valid) return kLuNeedFactor;
  Solve<Real> s(f);
  s.btran(y, nullptr, -1, f.sortWork.data());
  return 0;
}

template <class Real> int luBtranSparse(LuFactor &f, LuVector &vec) {
  if (!f.valid) return kLuNeedFactor;
  Solve<Real> s(f);
  vec.count = s.btran(vec.array.data(), vec.index.data(), vec.count, vec.index.data());
  return 0;
}

template <class Real> int luBtranUnit(LuFactor &f, int position, LuVector &vec) {
  if (!f.valid) return kLuNeedFactor;
  luVectorClear(vec);
  vec.array[position] = 1.0;
  vec.index[0] = position;
  vec.count = 1;
  return luBtranSparse<Real>(f, vec);
}

// Hager's estimate of the 1-norm of B^-1 times the largest column sum of B.
template <class Real> int luEstimateCondition(LuFactor &f, const LuBasis &basis, double *kappa) {
  if (!f.valid) return kLuNeedFactor;
  const int m = f.m;
  double normB = 0.0;
  for (int k = 0; k < m; ++k) {
    const LuColumn col = basis.column(basis.context, basis.head[k]);
    double sum = 0.0;
    for (int q = 0; q < col.count; ++q) sum += col.value[q] < 0 ? -col.value[q] : col.value[q];
    normB = std::max(normB, sum);
  }
  EnvVector<double> x(m, 1.0 / m), y(m);
  double estimate = 0.0;
  for (int iteration = 0; iteration < 5; ++iteration) {
    for (int i = 0; i < m; ++i) y[i] = x[i];
    luFtran<Real>(f, y.data());
    double norm = 0.0;
    for (int i = 0; i < m; ++i) norm += y[i] < 0 ? -y[i] : y[i];
    if (iteration > 0 && norm <= estimate) break;
    estimate = norm;
    for (int i = 0; i < m; ++i) y[i] = y[i] < 0 ? -1.0 : 1.0;
    luBtran<Real>(f, y.data());
    int best = 0;
    double dot = 0.0;
    for (int i = 0; i < m; ++i) {
      dot += y[i] * x[i];
      if ((y[i] < 0 ? -y[i] : y[i]) > (y[best] < 0 ? -y[best] : y[best])) best = i;
    }
    if ((y[best] < 0 ? -y[best] : y[best]) <= dot) break;
    std::fill(x.begin(), x.end(), 0.0);
    x[best] = 1.0;
  }
  *kappa = estimate * normB;
  return 0;
}

#define QVN_LU_SOLVE_INSTANCES(Real)                                          \
  template int luFtran<Real>(LuFactor &, double *);                           \
  template int luFtranSparse<Real>(LuFactor &, LuVector &);                   \
  template int luFtranForUpdate<Real>(LuFactor &, LuVector &);                \
  template int luBtran<Real>(LuFactor &, double *);                           \
  template int luBtranSparse<Real>(LuFactor &, LuVector &);                   \
  template int luBtranUnit<Real>(LuFactor &, int, LuVector &);                \
  template int luEstimateCondition<Real>(LuFactor &, const LuBasis &, double *);
QVN_LU_SOLVE_INSTANCES(double)
QVN_LU_SOLVE_INSTANCES(long double)
#undef QVN_LU_SOLVE_INSTANCES

} // namespace qvn
