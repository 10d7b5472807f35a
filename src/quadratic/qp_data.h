// QpData: the matrix Q of a quadratic objective (linear part plus one half of
// x'Qx), symmetric, column-wise over the structural columns, with room.
//
// Column j's entries are qRowIndex/qValue[qColStart[j] .. +qColCount[j]-1];
// columns keep rising starts and never overlap, and gaps hold index 0 and
// value 0.0. A separable Q lives in `diagonal` alone.
#pragma once
#include "model/attachments.h"
#include "model/problem.h"

struct QpData {
  int nzSpace = 0;
  qvn::EnvVector<int> qColStart, qColCount;
  qvn::EnvVector<int> qRowIndex;
  qvn::EnvVector<double> qValue;
  qvn::EnvVector<double> diagonal;
  int quadColumnCount = 0;
  int separable = 0;
  qvn::EnvVector<int> optimizerWork1, optimizerWork2;  // owned by the quadratic optimizers
};

namespace qvn {

int qpNumColumns(const QpData &q);
// Recounts the columns with an entry (read by QVNgetnumquad).
void countQuadColumns(QpData &q);
int64_t qpNumNonzeros(const QpData &q);
// Value of Q[row][col].
double qpCoef(const QpData &q, int row, int col);
// Sets Q[row][col] and Q[col][row]; 0 deletes. Throws std::bad_alloc before
// changing anything.
void qpSetCoef(QpData &q, int row, int col, double value);
// Empty Q over `numCols` columns.
QpData *createQpData(int numCols);
void destroyQpData(QpData *&q);
QpData *copyQpData(const QpData &q);
// Room for `numCols` columns (allocates, changes no content), then the growth itself.
void qpReserveColumns(QpData *q, int numCols);
void qpAddColumns(QpData *q, int numCols);
// Forgets columns from `count` on, which were just added and are still empty.
void qpTruncateColumns(QpData *q, int count);
// Drops columns and rows whose map entry is -1 and renumbers the rest.
void qpDeleteColumns(QpData *q, int oldCount, const int *map);

// Calls visit(row, col, value) for each nonzero entry of Q, column by column.
void forEachQEntry(const QpData &q, int n, auto &&visit) {
  for (int j = 0; j < n; ++j) {
    if (q.separable) {
      if (q.diagonal[j] != 0.0) visit(j, j, q.diagonal[j]);
      continue;
    }
    for (int k = q.qColStart[j]; k < q.qColStart[j] + q.qColCount[j]; ++k)
      if (q.qValue[k] != 0.0) visit(q.qRowIndex[k], j, q.qValue[k]);
  }
}

// The reduced costs c + Qx - A'pi of d's first n columns at x, given qx = Qx and the
// row duals pi, into dj; returns the objective c'x + x'Qx/2 with d's offset.
double quadraticReducedCosts(const LpData &d, int n, const double *qx, const double *x, const double *pi, double *dj);

// The record under which a Problem keeps its QpData (qp_attachment.cpp).
extern const AttachmentOps kQuadObjectiveAttachment;

} // namespace qvn
