// Solution polishing at the nodes: a copy of the model with a random part of
// the incumbent's integers fixed (each kept with the mutation rate) is
// searched for a better solution. Success loosens the fixings less often;
// failure fixes fewer of them next time.
#include <algorithm>
#include <cmath>

#include "mip/heuristics/heuristics.h"
#include "mip/plugins.h"

namespace qvn {

namespace {

constexpr int kPolishNodeLimit = 2100000000;
constexpr double kMinRate = 0.2, kMaxRate = 0.99;

bool polishingDue(const MipRun &run, long nodes) {
  const MipParams &p = *run.env->mipParams;
  if (p.p2090 > 0) return nodes % p.p2090 == 0;
  if (p.p2090 < 0 || p.heurfreq == -1 || run.control.emphasis == 2 || p.polishtime != 0.0) return false;
  const double tl = run.control.timeLimit;
  return tl < 1e75 && elapsedSeconds(run) > 0.9 * tl && nodes % 100 == 0;
}

} // namespace

int tryPolishing(MipRun &run, void *data, int *found) {
  *found = 0;
  const unsigned when = data ? *static_cast<const unsigned *>(data) : kAtNode;
  const MipSearch &s = *run.search;
  const long nodes = static_cast<long>(s.nodeCount);
  if ((when & kAtRoot) || nodes <= 0 || !s.incumbent.exists || !polishingDue(run, nodes)) return 0;
  HeuristicState &h = heuristicState(run);
  const double before = s.incumbent.objective;
  bool hit = false;
  QVN_TRY(subMipSolve(run, kSubMipPolish, kPolishNodeLimit, &hit));
  const double after = s.incumbent.objective;
  if (before - after < (std::fabs(before) + 1.0) * 1e-10)
    h.mutationRate = std::max(kMinRate, h.mutationRate - h.mutationStep);
  else
    h.mutationRate = std::min(kMaxRate, h.mutationRate + h.mutationStep);
  *found = hit ? 1 : 0;
  return 0;
}

} // namespace qvn
