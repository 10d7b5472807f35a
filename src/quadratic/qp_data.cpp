#include "quadratic/qp_data.h"

#include <algorithm>

namespace qvn {

namespace {

} // namespace

void countQuadColumns(QpData &q) {
  const int n = qpNumColumns(q);
  int count = 0;
  for (int j = 0; j < n; ++j) count += q.separable ? q.diagonal[j] != 0.0 : q.qColCount[j] > 0;
  q.quadColumnCount = count;
}

namespace {

int64_t find(const QpData &q, int row, int col) {
  for (int64_t k = q.qColStart[col]; k < q.qColStart[col] + q.qColCount[col]; ++k)
    if (q.qRowIndex[k] == row) return k;
  return -1;
}

// A separable Q becomes a general one with its diagonal as entries.
void makeGeneral(QpData &q) {
  const int n = qpNumColumns(q);
  EnvVector<int> start(static_cast<size_t>(n)), count(static_cast<size_t>(n));
  EnvVector<int> index;
  EnvVector<double> value;
  for (int j = 0; j < n; ++j) {
    start[j] = static_cast<int>(index.size());
    count[j] = q.diagonal[j] != 0.0;
    if (count[j]) index.push_back(j), value.push_back(q.diagonal[j]);
  }
  EnvVector<double> zeros(static_cast<size_t>(n), 0.0);
  q.qColStart.swap(start);
  q.qColCount.swap(count);
  q.qRowIndex.swap(index);
  q.qValue.swap(value);
  q.diagonal.swap(zeros);
  q.nzSpace = static_cast<int>(q.qRowIndex.size());
  q.separable = 0;
}

bool hasRoom(const QpData &q, int col, int need) {
  const int n = qpNumColumns(q);
  const int64_t limit = col + 1 < n ? q.qColStart[col + 1] : q.nzSpace;
  return q.qColStart[col] + q.qColCount[col] + need <= limit;
}

// Lays the columns out afresh with two spare slots behind each, built aside
// and swapped in, so that a failure changes nothing.
void relayout(QpData &q) {
  const int n = qpNumColumns(q);
  const int64_t total = qpNumNonzeros(q) + 2LL * n + 2;
  EnvVector<int> index(static_cast<size_t>(total), 0);
  EnvVector<double> values(static_cast<size_t>(total), 0.0);
  EnvVector<int> start(static_cast<size_t>(n));
  int64_t out = 0;
  for (int j = 0; j < n; ++j) {
    start[j] = static_cast<int>(out);
    std::copy_n(q.qRowIndex.begin() + q.qColStart[j], q.qColCount[j], index.begin() + out);
    std::copy_n(q.qValue.begin() + q.qColStart[j], q.qColCount[j], values.begin() + out);
    out += q.qColCount[j] + 2;
  }
  q.qColStart.swap(start);
  q.qRowIndex.swap(index);
  q.qValue.swap(values);
  q.nzSpace = static_cast<int>(total);
}

void setOne(QpData &q, int row, int col, double value) {
  const int64_t at = find(q, row, col);
  if (at >= 0) {
    if (value != 0.0) {
      q.qValue[at] = value;
      return;
    }
    const int64_t last = q.qColStart[col] + q.qColCount[col] - 1;
    q.qRowIndex[at] = q.qRowIndex[last];
    q.qValue[at] = q.qValue[last];
    q.qRowIndex[last] = 0;
    q.qValue[last] = 0.0;
    --q.qColCount[col];
  } else if (value != 0.0) {
    const int64_t at = q.qColStart[col] + q.qColCount[col];  // room was made by the caller
    q.qRowIndex[at] = row;
    q.qValue[at] = value;
    ++q.qColCount[col];
  }
}

} // namespace

double quadraticReducedCosts(const LpData &d, int n, const double *qx, const double *x, const double *pi, double *dj) {
  double obj = d.objOffset;
  for (int j = 0; j < n; ++j) {
    double r = d.objCoef[j] + qx[j];
    for (int k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) r -= d.coefValue[k] * pi[d.rowIndex[k]];
    dj[j] = r;
    obj += (d.objCoef[j] + 0.5 * qx[j]) * x[j];
  }
  return obj;
}

int qpNumColumns(const QpData &q) { return static_cast<int>(q.diagonal.size()); }

int64_t qpNumNonzeros(const QpData &q) {
  int64_t n = 0;
  const int cols = qpNumColumns(q);
  for (int j = 0; j < cols; ++j) n += q.separable ? q.diagonal[j] != 0.0 : q.qColCount[j];
  return n;
}

double qpCoef(const QpData &q, int row, int col) {
  if (q.separable) return row == col ? q.diagonal[col] : 0.0;
  const int64_t at = find(q, row, col);
  return at >= 0 ? q.qValue[at] : 0.0;
}

void qpSetCoef(QpData &q, int row, int col, double value) {
  if (q.separable) {
    if (row == col) {
      q.diagonal[col] = value;
      countQuadColumns(q);
      return;
    }
    if (value == 0.0) return;
    makeGeneral(q);
  }
  // Room for both halves before either is written.
  if (value != 0.0 && ((find(q, row, col) < 0 && !hasRoom(q, col, 1)) ||
                       (row != col && find(q, col, row) < 0 && !hasRoom(q, row, 1))))
    relayout(q);
  setOne(q, row, col, value);
  if (row != col) setOne(q, col, row, value);
  countQuadColumns(q);
}

QpData *createQpData(int numCols) {
  QpData *q = envNew<QpData>();
  try {
    qpAddColumns(q, numCols);
  } catch (...) {
    envDelete(q);
    throw;
  }
  return q;
}

void destroyQpData(QpData *&q) { envDelete(q); }

QpData *copyQpData(const QpData &q) { return envNew<QpData>(q); }

void qpReserveColumns(QpData *q, int numCols) {
  const size_t n = static_cast<size_t>(numCols);
  q->diagonal.reserve(n);
  if (!q->separable) {
    q->qColStart.reserve(n);
    q->qColCount.reserve(n);
  }
}

void qpAddColumns(QpData *q, int numCols) {
  const int old = qpNumColumns(*q);
  if (numCols <= old) return;
  const size_t n = static_cast<size_t>(numCols);
  q->diagonal.resize(n, 0.0);
  if (q->separable) return;
  // New columns are empty and start behind the last entry.
  int end = 0;
  for (int j = 0; j < old; ++j) end = std::max(end, q->qColStart[j] + q->qColCount[j]);
  q->qColStart.resize(n, end);
  q->qColCount.resize(n, 0);
}

void qpTruncateColumns(QpData *q, int count) {
  q->diagonal.resize(static_cast<size_t>(count));
  if (!q->separable) {
    q->qColStart.resize(static_cast<size_t>(count));
    q->qColCount.resize(static_cast<size_t>(count));
  }
}

void qpDeleteColumns(QpData *q, int oldCount, const int *map) {
  int kept = 0;
  for (int j = 0; j < oldCount; ++j) {
    const int to = map[j];
    if (to < 0) {
      if (!q->separable) {
        const int begin = q->qColStart[j], end = begin + q->qColCount[j];
        std::fill(q->qRowIndex.begin() + begin, q->qRowIndex.begin() + end, 0);
        std::fill(q->qValue.begin() + begin, q->qValue.begin() + end, 0.0);
      }
      continue;
    }
    ++kept;
    q->diagonal[to] = q->diagonal[j];
    if (q->separable) continue;
    // Entries move left within their column; the freed slots are cleared.
    const int begin = q->qColStart[j], end = begin + q->qColCount[j];
    int out = begin;
    for (int k = begin; k < end; ++k) {
      const int r = map[q->qRowIndex[k]];
      if (r < 0) continue;
      q->qRowIndex[out] = r;
      q->qValue[out] = q->qValue[k];
      ++out;
    }
    std::fill(q->qRowIndex.begin() + out, q->qRowIndex.begin() + end, 0);
    std::fill(q->qValue.begin() + out, q->qValue.begin() + end, 0.0);
    q->qColStart[to] = begin;
    q->qColCount[to] = out - begin;
  }
  q->diagonal.resize(static_cast<size_t>(kept));
  if (!q->separable) {
    q->qColStart.resize(static_cast<size_t>(kept));
    q->qColCount.resize(static_cast<size_t>(kept));
  }
  countQuadColumns(*q);
}

} // namespace qvn
