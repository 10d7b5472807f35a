// Integer sorts for the modelling layer: keys alone, or keys that carry a
// permutation along. No allocation: quicksort on median of three, insertion sort
// for short runs, heapsort when the recursion grows too deep.
#include <utility>

#include "quorvan.h"

namespace {

// Keys with an optional companion array that moves with them.
struct Pairs {
  int *keys;
  int *other;  // may be null
  void swap(int i, int j) const {
    std::swap(keys[i], keys[j]);
    if (other) std::swap(other[i], other[j]);
  }
};

void insertionSort(const Pairs &a, int lo, int hi) {
  for (int i = lo + 1; i <= hi; ++i) {
    const int key = a.keys[i];
    const int carried = a.other ? a.other[i] : 0;
    int j = i - 1;
    for (; j >= lo && a.keys[j] > key; --j) {
      a.keys[j + 1] = a.keys[j];
      if (a.other) a.other[j + 1] = a.other[j];
    }
    a.keys[j + 1] = key;
    if (a.other) a.other[j + 1] = carried;
  }
}

void siftDown(const Pairs &a, int base, int root, int count) {
  for (;;) {
    int child = 2 * root + 1;
    if (child >= count) return;
    if (child + 1 < count && a.keys[base + child + 1] > a.keys[base + child]) ++child;
    if (a.keys[base + root] >= a.keys[base + child]) return;
    a.swap(base + root, base + child);
    root = child;
  }
}

void heapSort(const Pairs &a, int lo, int hi) {
  const int count = hi - lo + 1;
  for (int i = count / 2 - 1; i >= 0; --i) siftDown(a, lo, i, count);
  for (int last = count - 1; last > 0; --last) {
    a.swap(lo, lo + last);
    siftDown(a, lo, 0, last);
  }
}

void introSort(const Pairs &a, int lo, int hi, int depth) {
  while (hi - lo > 16) {
    if (depth-- == 0) {
      heapSort(a, lo, hi);
      return;
    }
    const int mid = lo + (hi - lo) / 2;
    if (a.keys[mid] < a.keys[lo]) a.swap(mid, lo);
    if (a.keys[hi] < a.keys[lo]) a.swap(hi, lo);
    if (a.keys[hi] < a.keys[mid]) a.swap(hi, mid);
    const int pivot = a.keys[mid];
    int i = lo, j = hi;
    while (i <= j) {
      while (a.keys[i] < pivot) ++i;
      while (a.keys[j] > pivot) --j;
      if (i <= j) a.swap(i++, j--);
    }
    // Recurse into the smaller side so the stack stays logarithmic.
    if (j - lo < hi - i) {
      introSort(a, lo, j, depth);
      lo = i;
    } else {
      introSort(a, i, hi, depth);
      hi = j;
    }
  }
  insertionSort(a, lo, hi);
}

void sortPairs(int count, int *keys, int *other) {
  if (count < 2 || !keys) return;
  int depth = 0;
  for (int n = count; n > 1; n >>= 1) depth += 2;
  introSort(Pairs{keys, other}, 0, count - 1, depth);
}

} // namespace

extern "C" {

QVN_API void QVNEisort(int count, int *keys, int *permutation) { sortPairs(count, keys, permutation); }

QVN_API void QVNEinsort(int count, int *keys) { sortPairs(count, keys, nullptr); }

} // extern "C"
