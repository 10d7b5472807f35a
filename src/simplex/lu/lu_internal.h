// Shared pieces of the factor's implementation: value arrays by kind, the
// binary heap of the hypersparse solves, and the per-kind entry points that
// the table of operations is filled with.
#pragma once
#include <algorithm>
#include <cmath>

#include "runtime/errors.h"  // QVN_TRY only
#include "simplex/lu/lu_factor.h"

namespace qvn {

template <class Real> inline LuValues<Real> &luValues(LuFactor &f);
template <> inline LuValues<double> &luValues<double>(LuFactor &f) { return f.valuesDouble; }
template <> inline LuValues<long double> &luValues<long double>(LuFactor &f) { return f.valuesExtended; }

template <class Real> inline Real luAbs(Real x) { return x < 0 ? -x : x; }

// Max-heap of ints in heap[0..size).
inline void heapPush(int *heap, int &size, int key) {
  int i = size++;
  while (i > 0) {
    int parent = (i - 1) >> 1;
    if (heap[parent] >= key) break;
    heap[i] = heap[parent];
    i = parent;
  }
  heap[i] = key;
}

inline int heapPop(int *heap, int &size) {
  int top = heap[0];
  int last = heap[--size];
  int i = 0;
  for (;;) {
    int child = 2 * i + 1;
    if (child >= size) break;
    if (child + 1 < size && heap[child + 1] > heap[child]) ++child;
    if (heap[child] <= last) break;
    heap[i] = heap[child];
    i = child;
  }
  if (size > 0) heap[i] = last;
  return top;
}

// A fresh mark value for rowMark/colMark; wraps by clearing the marks.
inline int nextStamp(LuFactor &f) {
  if (f.stamp >= 2000000000) {
    std::fill(f.rowMark.begin(), f.rowMark.end(), 0);
    std::fill(f.colMark.begin(), f.colMark.end(), 0);
    std::fill(f.lineWork.begin(), f.lineWork.end(), 0);
    std::fill(f.dfsMark.begin(), f.dfsMark.end(), 0);
    f.stamp = 0;
  }
  return ++f.stamp;
}

// Sizes every work array of the kind in use (called at creation and on a change of kind).
template <class Real> void luAllocateWork(LuFactor &f);
template <class Real> void luReleaseValues(LuFactor &f);

template <class Real> int luFactorize(LuFactor &f, const LuBasis &basis);
template <class Real> int luFtran(LuFactor &f, double *x);
template <class Real> int luFtranSparse(LuFactor &f, LuVector &v);
template <class Real> int luFtranForUpdate(LuFactor &f, LuVector &v);
template <class Real> int luBtran(LuFactor &f, double *y);
template <class Real> int luBtranSparse(LuFactor &f, LuVector &v);
template <class Real> int luBtranUnit(LuFactor &f, int position, LuVector &v);
template <class Real> int luUpdate(LuFactor &f, int position, double alpha);
template <class Real> int luEstimateCondition(LuFactor &f, const LuBasis &basis, double *kappa);

// Line file helpers (line_file.cpp). Moves line `line` to the end of the file with
// room for `extra` more entries, compacting and growing the file as needed.
// `live` tells which lines own data. Throws std::bad_alloc when the file cannot grow.
template <class Real>
void lineMakeRoom(LineFile &file, EnvVector<Real> *values, int line, int extra, int lineCount,
                  EnvVector<int> &sortWork, double *multiplier);

} // namespace qvn
