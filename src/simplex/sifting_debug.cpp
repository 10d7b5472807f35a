// The debug check of sifting: the work LP holds, after the artificials, the
// columns the driver's list names, each one the original column with its
// entries and bounds. Deletions renumber the work LP's columns, so a slip in
// that bookkeeping shows here at once rather than as a wrong start basis.
#include <cmath>

#include "runtime/debug_checks.h"
#include "simplex/sifting.h"

namespace qvn {

void checkSiftWorkColumns(Environment *env, const Problem *whole, Problem *work, int m, const int *columns,
                          int count, const char *inWork) {
  if (debugLevel(env) < 1 || flushCache(env, work) != 0) return;
  const LpData &d = *whole->lpData, &w = *work->lpData;
  if (w.numCols != 2 * m + count) {
    reportDebugFailure(env, "sifting debug: the work LP has %d columns, the list names %d", w.numCols - 2 * m, count);
    return;
  }
  int marked = 0;
  for (int j = 0; j < d.numCols; ++j) marked += inWork[j] != 0;
  if (marked != count) reportDebugFailure(env, "sifting debug: %d columns marked in, %d listed", marked, count);
  for (int k = 0; k < count; ++k) {
    const int j = columns[k], c = 2 * m + k;
    if (!inWork[j] || w.colCount[c] != d.colCount[j] || w.upperBound[c] != d.upperBound[j]) {
      reportDebugFailure(env, "sifting debug: work column %d is not column %d", c, j);
      return;
    }
    for (int64_t t = 0; t < d.colCount[j]; ++t)
      if (w.rowIndex[w.colStart[c] + t] != d.rowIndex[d.colStart[j] + t] ||
          w.coefValue[w.colStart[c] + t] != d.coefValue[d.colStart[j] + t]) {
        reportDebugFailure(env, "sifting debug: work column %d differs from column %d", c, j);
        return;
      }
  }
}

} // namespace qvn
