// How a Problem keeps its quadratic objective and quadratic constraints:
// both are model data, so no change event frees them; Q follows the columns.
#include "model/attachments.h"
#include "quadratic/qconstr_data.h"
#include "quadratic/qp_data.h"

namespace qvn {

namespace {

void releaseQuadObjective(Problem *lp) { destroyQpData(lp->qpData); }

void createQuadObjective(Problem *lp) {
  if (!lp->qpData) lp->qpData = createQpData(lp->lpData->numCols);
}

void copyQuadObjective(const Problem &from, Problem &to) {
  if (from.qpData) to.qpData = copyQpData(*from.qpData);
}

void reserveQuadColumns(Problem *lp, int numCols) {
  if (lp->qpData) qpReserveColumns(lp->qpData, numCols);
}

void addQuadColumns(Problem *lp, int numCols) {
  if (lp->qpData) qpAddColumns(lp->qpData, numCols);
}

void truncateQuadColumns(Problem *lp, int count) {
  if (lp->qpData) qpTruncateColumns(lp->qpData, count);
}

void deleteQuadColumns(Problem *lp, int oldCount, const int *map) {
  if (lp->qpData) qpDeleteColumns(lp->qpData, oldCount, map);
}

void releaseQuadConstraints(Problem *lp) { destroyQconstrData(lp->qconstrData); }

void createQuadConstraints(Problem *lp) {
  if (!lp->qconstrData) lp->qconstrData = createQconstrData();
}

void copyQuadConstraints(const Problem &from, Problem &to) {
  if (from.qconstrData) to.qconstrData = envNew<QconstrData>(*from.qconstrData);
}

} // namespace

const AttachmentOps kQuadObjectiveAttachment = {
    .name = "quadratic objective",
    .release = releaseQuadObjective,
    .create = createQuadObjective,
    .copy = copyQuadObjective,
    .reserveColumns = reserveQuadColumns,
    .addColumns = addQuadColumns,
    .truncateColumns = truncateQuadColumns,
    .deleteColumns = deleteQuadColumns,
};

const AttachmentOps kQuadConstraintsAttachment = {
    .name = "quadratic constraints",
    .release = releaseQuadConstraints,
    .create = createQuadConstraints,
    .copy = copyQuadConstraints,
};

} // namespace qvn
