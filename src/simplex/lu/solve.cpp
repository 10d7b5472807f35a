// FTRAN and BTRAN. Each stage (L, row etas, U) works on the listed nonzeros.
// While results are predicted sparse, a depth-first search through the stage's
// graph first finds every position the right-hand side reaches, in an order
// where each comes after those it depends on, and the numeric pass visits only
// those: the cost follows the entries touched, not the size of the basis. When
// results are dense the symbolic pass would cost more than it saves, and plain
// sweeps over the stage do the work. The prediction is a running average of
// the result densities of each direction, since consecutive solves of one
// kind (the entering column, the pivot row) look alike.
#include <algorithm>

#include "simplex/lu/lu_internal.h"

namespace qvn {

namespace {

// Above this predicted result density the plain sweeps are cheaper.
constexpr double kHyperDensity = 0.10;
// Weight of the newest solve in the running density average.
constexpr double kDensityWeight = 0.05;

// Depth-first search from the roots through the edges of each node, given by
// `range(node, from, to)` as the stretch target(from..to); each node once
// (marks equal to `stamp`), without recursion: the stack lives in `stack`
// (two ints a level: the node and the end of its edges, so that coming back
// to a node costs no second look-up of its line; the depth is at most the
// node count, and the factor's heap holds twice that) and `edge`. Writes the
// nodes to `order` in postorder, so the reverse of `order` puts every node
// before the nodes its edges lead to. Returns their count.
template <class Target, class Range>
int depthFirst(const int *roots, int rootCount, Target target, Range range, int *mark, int stamp, int *stack,
               int *edge, int *order) {
  int count = 0;
  for (int q = 0; q < rootCount; ++q) {
    const int root = roots[q];
    if (mark[root] == stamp) continue;
    mark[root] = stamp;
    int top = 0, from = 0, to = 0;
    range(root, from, to);
    stack[0] = root;
    stack[1] = to;
    edge[0] = from;
    for (;;) {
      const int end = stack[2 * top + 1];
      int p = edge[top];
      while (p < end && mark[target(p)] == stamp) ++p;
      if (p < end) {
        const int next = target(p);
        edge[top] = p + 1;
        mark[next] = stamp;
        range(next, from, to);
        ++top;
        stack[2 * top] = next;
        stack[2 * top + 1] = to;
        edge[top] = from;
      } else {
        order[count++] = stack[2 * top];
        if (top-- == 0) break;
      }
    }
  }
  return count;
}

template <class Real> struct Solve {
  LuFactor &f;
  LuValues<Real> &v;
  const Real tiny;
  int *list;  // rows holding nonzeros in workRows
  int listCount = 0;
  int mark = 0;
  bool sparse = false;  // this solve takes the symbolic paths
  // Only solves from a sparse input feed the prediction: a dense one (the
  // duals from all costs after a factorization) takes the sweeps anyway, and
  // would otherwise hold the next many sparse solves on them too.
  bool inputSparse = false;

  // The sparse paths while the predicted density and the input's are low.
  bool chooseSparse(double predicted, int inputCount) const {
    if (f.options.hyperSparse != 0) return f.options.hyperSparse > 0;
    return predicted < kHyperDensity && inputCount < kHyperDensity * f.m;
  }
  static void record(double &average, int count, int m) {
    average = (1.0 - kDensityWeight) * average + kDensityWeight * double(count) / double(m > 0 ? m : 1);
  }

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
    if (!sparse) {
      for (int e = 0; e < nL; ++e) {
        const Real t = v.workRows[f.lPivotRow[e]];
        if (t != 0) scatter(f.lIndex.data(), v.lValue.data(), f.lStart[e], f.lStart[e + 1], t);
      }
      return;
    }
    // Row i leads to the rows of its own eta, if it pivots one.
    const int *etaOf = f.lEtaOfRow.data();
    const int *start = f.lStart.data();
    auto range = [etaOf, start](int i, int &from, int &to) {
      const int e = etaOf[i];
      from = e >= 0 ? start[e] : 0;
      to = e >= 0 ? start[e + 1] : 0;
    };
    int *order = f.dfsOrder.data();
    const int *lIndex = f.lIndex.data();
    auto target = [lIndex](int q) { return lIndex[q]; };
    const int reached = depthFirst(list, listCount, target, range, f.dfsMark.data(), nextStamp(f), f.heap.data(),
                                   f.dfsEdge.data(), order);
    for (int t = reached - 1; t >= 0; --t) {
      const int row = order[t];
      const int e = etaOf[row];
      if (e < 0) continue;
      const Real x = v.workRows[row];
      if (luAbs(x) <= tiny) {
        v.workRows[row] = 0;
        continue;
      }
      scatter(f.lIndex.data(), v.lValue.data(), start[e], start[e + 1], x);
    }
  }

  void forwardEtas() {
    if (f.etaCount == 0) return;
    if (!sparse) {
      for (int e = 0; e < f.etaCount; ++e)
        subtractAt(f.etaPivotRow[e], dot(f.etaIndex.data(), v.etaValue.data(), f.etaStart[e], f.etaStart[e + 1]));
      return;
    }
    // Only etas that read a nonzero row can change anything: those of the rows
    // nonzero now, and of a pivot row that turns nonzero, the later etas on it.
    if (++f.etaStamp >= 2000000000) {
      std::fill(f.etaMark.begin(), f.etaMark.end(), 0);
      f.etaStamp = 1;
    }
    const int stamp = f.etaStamp;
    const int last = f.etaCount - 1;
    int *heap = f.heap.data();
    int size = 0;
    auto pushFrom = [&](int row, int after) {
      for (int q = f.etaLastOfRow[row]; q >= 0; q = f.etaLink[q]) {
        const int e = f.etaOfEntry[q];
        if (e <= after) break;
        if (f.etaMark[e] != stamp) {
          f.etaMark[e] = stamp;
          heapPush(heap, size, last - e);
        }
      }
    };
    for (int q = 0; q < listCount; ++q)
      if (v.workRows[list[q]] != 0) pushFrom(list[q], -1);
    while (size > 0) {
      const int e = last - heapPop(heap, size);
      const Real s = dot(f.etaIndex.data(), v.etaValue.data(), f.etaStart[e], f.etaStart[e + 1]);
      if (s == 0) continue;
      const int r = f.etaPivotRow[e];
      const bool wasZero = f.rowMark[r] != mark || v.workRows[r] == 0;
      subtractAt(r, s);
      if (wasZero) pushFrom(r, e);
    }
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

  // Everything the roots reach through one copy of U, whose line pos[x] holds
  // the edges of node x; in f.dfsOrder, to be taken from the end.
  int reachU(const LineFile &file, const int *pos, const int *roots, int rootCount, int *marks) {
    const int *start = file.start.data();
    const int *count = file.count.data();
    auto range = [pos, start, count](int x, int &from, int &to) {
      from = start[pos[x]];
      to = from + count[pos[x]];
    };
    const int *index = file.index.data();
    auto target = [index](int q) { return index[q]; };
    return depthFirst(roots, rootCount, target, range, marks, nextStamp(f), f.heap.data(), f.dfsEdge.data(),
                      f.dfsOrder.data());
  }

  // Back substitution over U, newest positions first; the solution goes by basis
  // position into out, its pattern into outIndex. Returns the count.
  int backwardU(double *out, int *outIndex) {
    int outCount = 0;
    auto solveAt = [&](int k) {
      const int i = f.pivotRowOf[k];
      const Real t = v.workRows[i];
      v.workRows[i] = 0;
      if (luAbs(t) <= tiny) return;
      const Real x = t / v.uDiagonal[k];
      const int c = f.pivotColOf[k];
      out[c] = double(x);
      outIndex[outCount++] = c;
      const int start = f.uCols.start[k], end = start + f.uCols.count[k];
      for (int q = start; q < end; ++q) v.workRows[f.uCols.index[q]] -= v.uColValue[q] * x;
    };
    if (sparse) {
      // Row i leads to the rows above its pivot in U.
      const int reached = reachU(f.uCols, f.rowPos.data(), list, listCount, f.rowMark.data());
      const int *order = f.dfsOrder.data();
      for (int t = reached - 1; t >= 0; --t) solveAt(f.rowPos[order[t]]);
      return outCount;
    }
    for (int k = f.posEnd - 1; k >= 0; --k) {
      const int i = f.pivotRowOf[k];
      if (i >= 0 && v.workRows[i] != 0) solveAt(k);
    }
    return outCount;
  }

  int ftran(double *array, const int *index, int count, int *outIndex, bool keepSpike) {
    loadRows(array, index, count);
    inputSparse = listCount < kHyperDensity * f.m;
    double &density = keepSpike ? f.ftranDensity : f.ftranOtherDensity;
    sparse = chooseSparse(density, listCount);
    if (keepSpike) {
      f.spikeInputNz = listCount;
      double largest = 0.0;
      for (int q = 0; q < listCount; ++q) largest = std::max(largest, double(luAbs(v.workRows[list[q]])));
      f.spikeInputMax = largest;
    }
    forwardL();
    forwardEtas();
    if (keepSpike) saveSpike();
    const int outCount = backwardU(array, outIndex);
    if (inputSparse) record(density, outCount, f.m);
    return outCount;
  }

  // Forward substitution over U transposed, oldest positions first: input by
  // basis position in workCols (listed in cols), result by rows in workRows.
  void forwardUT(const int *cols, int colCount) {
    auto solveAt = [&](int k) {
      const int c = f.pivotColOf[k];
      const Real t = v.workCols[c];
      v.workCols[c] = 0;
      if (luAbs(t) <= tiny) return;
      const Real y = t / v.uDiagonal[k];
      const int r = f.pivotRowOf[k];
      v.workRows[r] = y;
      touchRow(r);
      const int start = f.uRows.start[k], stop = start + f.uRows.count[k];
      for (int q = start; q < stop; ++q) v.workCols[f.uRows.index[q]] -= v.uRowValue[q] * y;
    };
    if (sparse) {
      // Basis position c leads to the positions right of its pivot in U.
      const int reached = reachU(f.uRows, f.colPos.data(), cols, colCount, f.colMark.data());
      for (int t = reached - 1; t >= 0; --t) solveAt(f.colPos[f.dfsOrder[t]]);
      return;
    }
    for (int k = 0; k < f.posEnd; ++k) {
      const int c = f.pivotColOf[k];
      if (c >= 0 && v.workCols[c] != 0) solveAt(k);
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
    if (!sparse) {
      // Rows without an eta of their own are final from the start.
      const int initial = listCount;
      for (int q = 0; q < initial; ++q)
        if (f.lEtaOfRow[list[q]] < 0) scatterLRow(list[q]);
      for (int e = nL - 1; e >= 0; --e) scatterLRow(f.lPivotRow[e]);
      return;
    }
    // Row i leads to the pivot rows of the etas with an entry in row i: a
    // row's value is final once every row that leads to it is done, which
    // the reverse postorder of the search guarantees.
    const int *rowStart = f.lRowStart.data();
    const int *rowEta = f.lRowEta.data();
    const int *pivotRow = f.lPivotRow.data();
    auto target = [rowEta, pivotRow](int q) { return pivotRow[rowEta[q]]; };
    auto range = [rowStart](int i, int &from, int &to) {
      from = rowStart[i];
      to = rowStart[i + 1];
    };
    int *order = f.dfsOrder.data();
    const int reached = depthFirst(list, listCount, target, range, f.dfsMark.data(), nextStamp(f), f.heap.data(),
                                   f.dfsEdge.data(), order);
    for (int t = reached - 1; t >= 0; --t) scatterLRow(order[t]);
  }

  void scatterLRow(int i) {
    const Real t = v.workRows[i];
    if (t == 0) return;
    for (int q = f.lRowStart[i]; q < f.lRowStart[i + 1]; ++q) {
      const int e = f.lRowEta[q];
      const int r = f.lPivotRow[e];
      if (f.rowMark[r] != mark) {
        f.rowMark[r] = mark;
        list[listCount++] = r;
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
    inputSparse = colCount < kHyperDensity * f.m;
    sparse = chooseSparse(f.btranDensity, colCount);
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
    if (inputSparse) record(f.btranDensity, outCount, f.m);
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
