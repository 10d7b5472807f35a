#include "simplex/primal_pricing.h"

#include <algorithm>
#include <cmath>

#include "runtime/debug_checks.h"

namespace qvn {

namespace {

// By how much the reduced cost d of nonbasic j breaks optimality.
inline double violation(const SimplexEngine &e, int j, double d) {
  switch (e.move[j]) {
  case kAtLower: return -d;
  case kAtUpper: return d;
  default: return std::fabs(d);
  }
}

// Basic and fixed variables never enter, nor do candidates the ratio test refused.
inline bool priced(const SimplexEngine &e, int j) {
  return e.basicPos[j] < 0 && e.lower[j] != e.upper[j] && !(e.anyBanned && e.primalBanned[j]);
}

inline double freshDj(const SimplexEngine &e, int j) { return e.cost[j] - columnDot(*e.lp, j, e.dual.data()); }

// Merit of j as the entering variable: its squared reduced cost violation
// over its weight (devex or steepest edge; 1.0 for full pricing), 0 when it
// cannot enter.
inline double weightedMerit(const SimplexEngine &e, int j) {
  if (!priced(e, j)) return 0.0;
  const double v = violation(e, j, e.dj[j]);
  return v > e.dualTol ? v * v / e.primalWeights[j] : 0.0;
}

// Stale entries allowed in the heap, in variables, before a scan renews it.
constexpr size_t kStaleFactor = 2;
// Changed variables above this share of all make a scan cheaper than pushes.
constexpr size_t kScanShare = 16;

// Ties go to the lower index, as in a scan that keeps the first best.
inline bool heapBelow(const MeritEntry &a, const MeritEntry &b) {
  return a.merit < b.merit || (a.merit == b.merit && a.j > b.j);
}

// The scan of all variables: the heap holds every positive merit afresh.
void scanWeighted(const SimplexEngine &e, WeightedHeap &w) {
  const size_t nt = static_cast<size_t>(e.nt);
  if (w.stamp.size() != nt) w.stamp.assign(nt, 0), w.isChanged.assign(nt, 0);
  for (const int j : w.changed) w.isChanged[j] = 0;
  w.changed.clear();
  w.heap.clear();
  for (int j = 0; j < e.nt; ++j) {
    const double merit = weightedMerit(e, j);
    if (merit > 0.0) w.heap.push_back(MeritEntry{merit, j, w.stamp[j]});
  }
  std::make_heap(w.heap.begin(), w.heap.end(), heapBelow);
  w.tol = e.dualTol;
  w.dualsComputed = e.dualsComputed;
  w.weightResets = e.primalWeightResets;
  w.valid = true;
}

// Debug layer: no variable may beat the heap's choice.
void checkWeighted(const SimplexEngine &e, int q, double best) {
  for (int j = 0; j < e.nt; ++j) {
    const double merit = weightedMerit(e, j);
    if (merit <= best * (1.0 + 1e-12)) continue;
    reportDebugFailure(e.env, "simplex debug, primal pricing at iteration %d: variable %d has merit %g above %g of %d",
                       e.iterations, j, merit, best, q);
    return;
  }
}

// Entering variable by the largest merit; -1 when none.
int chooseWeighted(const SimplexEngine &e, PrimalPricing &p) {
  WeightedHeap &w = p.weighted;
  if (!w.valid || w.tol != e.dualTol || w.dualsComputed != e.dualsComputed ||
      w.weightResets != e.primalWeightResets || w.heap.size() > kStaleFactor * static_cast<size_t>(e.nt) + 64 ||
      kScanShare * w.changed.size() > static_cast<size_t>(e.nt)) {
    scanWeighted(e, w);
  } else {
    for (const int j : w.changed) {
      w.isChanged[j] = 0;
      const double merit = weightedMerit(e, j);
      if (merit > 0.0) {
        w.heap.push_back(MeritEntry{merit, j, ++w.stamp[j]});
        std::push_heap(w.heap.begin(), w.heap.end(), heapBelow);
      } else {
        ++w.stamp[j];
      }
    }
    w.changed.clear();
  }
  while (!w.heap.empty() && w.heap.front().stamp != w.stamp[w.heap.front().j]) {
    std::pop_heap(w.heap.begin(), w.heap.end(), heapBelow);
    w.heap.pop_back();
  }
  const int q = w.heap.empty() ? -1 : w.heap.front().j;
  if (debugLevel(e.env) > 0) checkWeighted(e, q, q < 0 ? 0.0 : w.heap.front().merit);
  return q;
}

// Scans sections from the saved one until more than candidateLimit
// candidates are listed or every section was seen; the logicals come with the
// first section of a scan. False when nothing was found anywhere.
bool fillCandidates(SimplexEngine &e, PartialPrice &p) {
  p.list.clear();
  p.next = 0;
  int passes = 0;
  int s = p.section;
  const double tol = e.dualTol;
  while (passes < p.sectionCount && static_cast<int>(p.list.size()) <= p.candidateLimit) {
    const int from = std::min(e.n, s * p.sectionSize);
    const int to = s == p.sectionCount - 1 ? e.n : std::min(e.n, from + p.sectionSize);
    for (int j = from; j < to; ++j) {
      if (!priced(e, j)) continue;
      const double d = freshDj(e, j);
      e.dj[j] = d;
      const double v = violation(e, j, d);
      if (v > tol) p.list.push_back(PartialCandidate{j, v});
    }
    if (passes == 0) {
      for (int j = e.n; j < e.nt; ++j) {
        if (!priced(e, j)) continue;
        const double d = e.cost[j] + e.dual[j - e.n];
        e.dj[j] = d;
        const double v = violation(e, j, d);
        if (v > tol) p.list.push_back(PartialCandidate{j, v});
      }
    }
    s = (s + 1) % p.sectionCount;
    ++passes;
  }
  p.section = s;
  if (passes == p.sectionCount && static_cast<int>(p.list.size()) <= p.candidateLimit && p.candidateLimit > 2)
    --p.candidateLimit;
  std::sort(p.list.begin(), p.list.end(),
            [](const PartialCandidate &a, const PartialCandidate &b) { return a.violation > b.violation; });
  return !p.list.empty();
}

int choosePartial(SimplexEngine &e, PartialPrice &p) {
  // Each fill either lists a candidate that passes at once or ends the search.
  for (int fills = 0; fills < 2; ++fills) {
    while (p.next < static_cast<int>(p.list.size())) {
      const int j = p.list[p.next++].j;
      if (!priced(e, j)) continue;
      const double d = freshDj(e, j);
      e.dj[j] = d;
      if (violation(e, j, d) > e.dualTol) return j;
    }
    if (!fillCandidates(e, p)) return -1;
  }
  return -1;
}

void logKind(const SimplexEngine &e, PrimalPricingKind kind) {
  if (e.display <= 0) return;
  const bool steep = kind >= PrimalPricingKind::kSteepest;
  if (e.iterations == 0)
    QVNmsg(e.env->resultsChannel, steep ? "Using steepest-edge.\n" : "Using devex.\n");
  else
    QVNmsg(e.env->resultsChannel, steep ? "Switched to steepest-edge.\n" : "Switched to devex.\n");
}

} // namespace

int partialSectionCount(int pricelim, int n, int m) {
  if (pricelim > 0) return std::max(1, std::min(pricelim, m));
  if (n < 20.0 * m) {
    if (n < 100) return 5;
    if (n < 500) return 10;
    if (n < 1000) return 15;
    if (n < 2000) return 20;
    if (n < 5000) return 30;
    return 60;
  }
  if (n < 1000) return 5;
  if (n < 10000) return 10;
  if (n < 20000) return 20;
  if (n < 30000) return 25;
  if (n < 40000) return 30;
  if (n < 60000) return 35;
  if (n < 80000) return 40;
  if (n < 120000) return 45;
  if (n < 160000) return 50;
  if (n < 200000) return 55;
  return 60;
}

int pricingSetup(SimplexEngine &e, PrimalPricing &p) {
  const GeneralParams &gp = *e.env->generalParams;
  using Kind = PrimalPricingKind;
  if (!validPrimalPricing(e.primalPricing)) return QVNERR_PRIIND;
  p.automatic = gp.ppriind == 0;
  if (p.automatic && e.primalPricing == Kind::kDevex) e.primalPricing = Kind::kAutomatic;
  const int count = partialSectionCount(gp.pricelim, e.n, e.m);
  p.partial.sectionCount = p.partial.candidateLimit = count;
  p.partial.sectionSize = std::max(1, e.n / count);
  p.partial.section = 0;
  p.partial.list.reserve(static_cast<size_t>(e.nt > 0 ? e.nt : 1));
  pricingRestart(p);
  p.samples = PricingSamples{};
  if (pricingKeepsDj(e) && !e.primalWeightsValid) initPrimalWeights(e);
  return 0;
}

int chooseEntering(SimplexEngine &e, PrimalPricing &p) {
  return pricingKeepsDj(e) ? chooseWeighted(e, p) : choosePartial(e, p.partial);
}

void initPrimalWeights(SimplexEngine &e) {
  const WorkLp &lp = *e.lp;
  e.primalWeights.assign(static_cast<size_t>(e.nt > 0 ? e.nt : 1), 1.0);
  e.primalWeightsValid = true;
  ++e.primalWeightResets;
  if (e.primalPricing == PrimalPricingKind::kSteepestSlackStart) {
    for (int j = 0; j < e.n; ++j) {
      double s = 1.0;
      for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) s += lp.aValue[k] * lp.aValue[k];
      e.primalWeights[j] = s;
    }
    for (int i = 0; i < e.m; ++i) e.primalWeights[e.n + i] = 2.0;
  } else if (e.primalPricing == PrimalPricingKind::kSteepest) {
    if (e.display > 0) QVNmsg(e.env->resultsChannel, "Initializing primal norms . . .\n");
    HVector &col = e.column;
    for (int j = 0; j < e.nt; ++j) {
      if (e.basicPos[j] >= 0) continue;
      hvClear(col);
      hvAddColumn(col, lp, j, 1.0);
      ftran(e.factor, col);
      e.primalWeights[j] = 1.0 + hvSquaredNorm(col);
    }
    hvClear(col);
  }
}

// Devex keeps the largest reference estimate; steepest edge applies the exact
// recursion with v = B^{-T} alpha_q.
void updatePrimalWeights(SimplexEngine &e, int q, double alphaQ) {
  using Kind = PrimalPricingKind;
  const Kind kind = e.primalPricing;
  if (kind == Kind::kFull) return;
  double *weight = e.primalWeights.data();
  double wq = weight[q];
  const HVector &row = e.rowAlpha;
  if (kind == Kind::kSteepest || kind == Kind::kSteepestSlackStart) {
    HVector &v = e.tau;
    hvClear(v);
    const HVector &col = e.column;
    // The entering column's own weight is known exactly: use it, it also
    // repairs whatever the start weights got wrong.
    wq = 1.0;
    for (int k = 0; k < col.count; ++k) {
      const double a = col.array[col.index[k]];
      wq += a * a;
      v.array[col.index[k]] = a;
      v.index[k] = col.index[k];
    }
    weight[q] = wq;
    v.count = col.count;
    btran(e.factor, v);
    for (int k = 0; k < row.count; ++k) {
      const int j = row.index[k];
      if (j == q || row.array[j] == 0.0) continue;
      const double ratio = row.array[j] / alphaQ;
      const double updated = weight[j] - 2.0 * ratio * columnDot(*e.lp, j, v.array.data()) + ratio * ratio * wq;
      weight[j] = std::max(updated, 1.0 + ratio * ratio);
    }
    hvClear(v);
    return;
  }
  double biggest = 0.0;
  for (int k = 0; k < row.count; ++k) {
    const int j = row.index[k];
    if (row.array[j] == 0.0) continue;
    const double ratio = row.array[j] / alphaQ;
    weight[j] = std::max(weight[j], ratio * ratio * wq);
    biggest = std::max(biggest, weight[j]);
  }
  // Weights that grew out of all proportion restart the reference framework.
  if (biggest > 1e6) {
    std::fill(e.primalWeights.begin(), e.primalWeights.end(), 1.0);
    ++e.primalWeightResets;
  }
}

void pricingSample(const SimplexEngine &e, PrimalPricing &p) {
  // A solve costs about the factors' size times the density of its result.
  const LuFactor &f = *e.factor.lu;
  const double perRow = static_cast<double>(f.factorNz + f.growthSinceFactor) / std::max(1, e.m);
  const double column = std::max(0, e.column.count), row = std::max(0, e.rowAlpha.count);
  PricingSamples &s = p.samples;
  ++s.count;
  s.sumA += perRow * column;
  s.sumB += perRow * std::max(0, e.rowRho.count);
  s.sumC += row;
  // Steepest edge adds a solve with the entering column as input, and a
  // product of its result with every column of the pivot row.
  s.sumD += perRow * column;
  s.sumE += row * static_cast<double>(e.lp->aStart[e.n]) / std::max(1, e.n);
}

bool pricingSwitch(SimplexEngine &e, PrimalPricing &p, int phase, bool perturbActive) {
  using Kind = PrimalPricingKind;
  if (!p.automatic || (e.primalPricing != Kind::kAutomatic && e.primalPricing != Kind::kDevex)) return false;
  const LuFactor &f = *e.factor.lu;
  // A: what the updates added to the factors; B: the basis; T: all variables.
  const double a = static_cast<double>(f.growthSinceFactor), b = f.basisNz + 1e-10, t = e.n + e.m + 1e-10;
  const double iters = e.iterations;
  const bool early = perturbActive && e.env->generalParams->perind == 0;
  Kind kind = e.primalPricing;
  if (kind == Kind::kAutomatic) {
    const bool useDevex = (early && a < 5.0 * b) || (phase == 2 && 4.0 * a < 11.0 * b) || (e.m > 999 && 3.0 * a < 2.0 * b) ||
                          a / b < 2.5 * iters / t;
    if (b < 1.5 * a || (early && b < 2.5 * a))
      kind = Kind::kSteepestSlackStart;
    else if (useDevex)
      kind = Kind::kDevex;
    const int size = t < 1000 ? 4 : t < 10000 ? 8 : t < 100000 ? 12 : 16;
    p.sampleSize = useDevex ? 4 * size : size;
  } else {
    PricingSamples &s = p.samples;
    if (s.count <= p.sampleSize) return false;
    const double c1 = 1.0 / s.count;
    const double base = 6.0 * s.sumA * c1 + 6.0 * s.sumB * c1 + 3.0 * s.sumC * c1;
    const double full = base + 6.0 * s.sumD * c1 + (a / (e.n + 1.0)) * s.sumE * c1;
    const double factor = (iters / t + 0.8) * (early ? 1.4 : 1.0);
    if (factor * base > full) kind = Kind::kSteepestSlackStart;
    const double keep = p.sampleSize * c1;
    s.sumA *= keep, s.sumB *= keep, s.sumC *= keep, s.sumD *= keep, s.sumE *= keep;
    s.count = p.sampleSize;
  }
  if (kind == e.primalPricing) return false;
  e.primalPricing = kind;
  initPrimalWeights(e);
  logKind(e, kind);
  return true;
}

} // namespace qvn
