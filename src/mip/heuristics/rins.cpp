// RINS and the other node sub-MIPs of the timed heuristics: at the node
// counts their parameters name, a copy of the model with the integers fixed
// where the node LP agrees with the incumbent (or, without one, where the LP
// is integral) is searched under a small node limit.
#include <algorithm>

#include "mip/heuristics/heuristics.h"
#include "mip/plugins.h"

namespace qvn {

namespace {

// The RINS node limit at this node, 0 for none.
int rinsLimit(const MipRun &run, long nodes) {
  const MipParams &p = *run.env->mipParams;
  const int columns = run.model->numCols;
  const int every = rinsFrequency(run);
  if (every > 0) return nodes % every == 0 ? columns : 0;
  if (every < 0 || p.heurfreq == -1) return 0;
  if (nodes % 1000 == 0) return columns / 5;
  if (nodes % 200 == 0) return columns / 50;
  const double tl = run.control.timeLimit;
  if (tl < 1e75 && run.control.emphasis != 2 && nodes % 100 == 0 && elapsedSeconds(run) > 0.9 * tl)
    return columns / 3;
  return 0;
}

} // namespace

int runTimedHeuristics(MipRun &run, void *data, int *found) {
  *found = 0;
  const unsigned when = data ? *static_cast<const unsigned *>(data) : kAtNode;
  if (when & kAtRoot) return 0;
  const MipParams &p = *run.env->mipParams;
  const MipSearch &s = *run.search;
  const long nodes = static_cast<long>(s.nodeCount);
  if (nodes <= 0) return 0;
  bool any = false, hit = false;
  if (p.p2074 > 0 && nodes % p.p2074 == 0 && s.incumbent.exists) {
    QVN_TRY(subMipSolve(run, kSubMipRinsNode, run.model->numCols, &hit));
    any = any || hit;
  }
  if (p.p2078 > 0 && nodes % p.p2078 == 0 && !s.incumbent.exists) {
    QVN_TRY(subMipSolve(run, kSubMipLpIntegral, run.model->numCols, &hit));
    any = any || hit;
  }
  if (s.incumbent.exists) {
    const int limit = rinsLimit(run, nodes);
    if (limit > 0) {
      QVN_TRY(subMipSolve(run, kSubMipRins, limit, &hit));
      any = any || hit;
    }
  }
  *found = any ? 1 : 0;
  return 0;
}

} // namespace qvn
