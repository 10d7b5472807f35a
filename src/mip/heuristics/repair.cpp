// The repair heuristic: a MIP start that gave no solution is kept, and a
// copy of the model with the start's integer values fixed wherever the LP
// agrees with them is searched for a solution nearby.
#include <cmath>

#include "mip/heuristics/heuristics.h"
#include "mip/plugins.h"
#include "model/mip_data.h"

namespace qvn {

namespace {

// Node limit of a repair run: none of its own (SUBMIPNODELIM still applies).
constexpr int kRepairNodeLimit = 2100000000;
// Start values of this magnitude or more stand for "no value".
constexpr double kNotGiven = 1e19;

// Keeps the MIP start for repair the first time it is asked, when the start
// left the run without an incumbent.
void retainStart(MipRun &run, HeuristicState &h) {
  if (h.repairChecked) return;
  h.repairChecked = true;
  const MipData *data = run.lp->mipData;
  if (!data || !data->startData || run.search->incumbent.exists) return;
  const MipStartData &start = *data->startData;
  for (size_t k = 0; k < start.column.size(); ++k) {
    const int j = start.column[k];
    if (j < 0 || j >= run.model->numCols || std::fabs(start.value[k]) >= kNotGiven) continue;
    h.repairColumn.push_back(j);
    h.repairValue.push_back(start.value[k]);
  }
  if (!h.repairColumn.empty() && run.control.display > 0)
    QVNmsg(run.env->resultsChannel, "Retaining MIP start values for possible repair.\n");
}

} // namespace

int repairRow(MipRun &run, void *data, int *found) {
  *found = 0;
  const unsigned when = data ? *static_cast<const unsigned *>(data) : kAtNode;
  const int tries = repairTries(run);
  HeuristicState &h = heuristicState(run);
  retainStart(run, h);
  if (h.repairColumn.empty() || tries == 0 || tries < 0) return 0;
  if (!(when & kAtRoot)) {
    const long nodes = static_cast<long>(run.search->nodeCount);
    if (nodes <= 0 || nodes % 100 != 0 || nodes > 100L * tries) return 0;
  }
  bool hit = false;
  QVN_TRY(subMipSolve(run, kSubMipRepair, kRepairNodeLimit, &hit));
  if (run.control.display > 0)
    QVNmsg(run.env->resultsChannel, hit ? "Repair heuristic succeeded.\n" : "Repair heuristic found nothing.\n");
  *found = hit ? 1 : 0;
  return 0;
}

} // namespace qvn
