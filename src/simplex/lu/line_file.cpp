// Files of lines (rows or columns) that grow in place: a line that outgrows its
// capacity moves to the end of the file; when the end is reached the live lines
// are packed in file order, and the file grows by 1.3 when packing freed too little.
#include <algorithm>
#include <cstring>
#include <new>

#include "simplex/lu/lu_internal.h"

namespace qvn {

namespace {

template <class Real> void compactLines(LineFile &file, EnvVector<Real> *values, int lineCount, EnvVector<int> &sortWork) {
  int live = 0;
  for (int line = 0; line < lineCount; ++line)
    if (file.cap[line] > 0) sortWork[live++] = line;
  std::sort(sortWork.begin(), sortWork.begin() + live,
            [&file](int a, int b) { return file.start[a] < file.start[b]; });
  int64_t to = 0;
  for (int q = 0; q < live; ++q) {
    int line = sortWork[q];
    int64_t from = file.start[line];
    int count = file.count[line];
    if (from != to && count > 0) {
      std::memmove(&file.index[to], &file.index[from], sizeof(int) * count);
      if (values) std::memmove(&(*values)[to], &(*values)[from], sizeof(Real) * count);
    }
    file.start[line] = static_cast<int>(to);
    file.cap[line] = count;
    if (count == 0) file.cap[line] = 0;
    to += count;
  }
  file.end = to;
}

} // namespace

template <class Real>
void lineMakeRoom(LineFile &file, EnvVector<Real> *values, int line, int extra, int lineCount,
                  EnvVector<int> &sortWork, double *multiplier) {
  const int count = file.count[line];
  if (count + extra <= file.cap[line]) return;
  const int64_t need = int64_t(count) + extra;
  int64_t newCap = need + need / 2 + 4;
  int64_t size = static_cast<int64_t>(file.index.size());
  if (file.end + newCap > size) {
    // The line keeps its data while packing: mark it live even when empty.
    if (file.cap[line] == 0) file.cap[line] = count > 0 ? count : 0;
    compactLines(file, values, lineCount, sortWork);
    const int64_t freeRoom = size - file.end;
    if (freeRoom < newCap || freeRoom < 0.2 * size) {
      int64_t newSize = std::max<int64_t>(static_cast<int64_t>(1.3 * size), file.end + newCap + 1);
      if (file.end + newCap > kLuMaxEntries) throw std::bad_alloc();
      newSize = std::min<int64_t>(newSize, kLuMaxEntries);
      file.index.resize(newSize);
      if (values) values->resize(newSize);
      if (multiplier && size > 0) *multiplier *= double(newSize) / double(size);
    }
  }
  const int64_t from = file.start[line];
  const int64_t to = file.end;
  if (count > 0) {
    std::memmove(&file.index[to], &file.index[from], sizeof(int) * count);
    if (values) std::memmove(&(*values)[to], &(*values)[from], sizeof(Real) * count);
  }
  file.start[line] = static_cast<int>(to);
  file.cap[line] = static_cast<int>(newCap);
  file.end = to + newCap;
}

template void lineMakeRoom<double>(LineFile &, EnvVector<double> *, int, int, int, EnvVector<int> &, double *);
template void lineMakeRoom<long double>(LineFile &, EnvVector<long double> *, int, int, int, EnvVector<int> &,
                                        double *);

} // namespace qvn
