// The pricers of the network simplex. All three look at the arcs section by
// section (section j: arcs j, j + s, j + 2s, ...), so that one call prices a
// spread sample of the network rather than a clump of neighbours, and stop as
// soon as a section has produced a candidate.
#include <algorithm>

#include "network/net_simplex.h"
#include "runtime/errors.h"

namespace qvn {

namespace {

// A candidate must beat the best by this much: ties keep the first.
constexpr double kPricingTieTol = 1e-10;

int sectionCountFor(int arcs) {
  if (arcs < 1000) return 15;
  if (arcs < 10000) return 25;
  if (arcs < 100000) return 50;
  return 100;
}

void layOutSections(NetPricer *p, const NetProblem *net, double tolerance) {
  const int m = net->arcCount;
  p->tolerance = tolerance;
  p->sectionCount = sectionCountFor(m);
  p->stride = m < p->sectionCount ? 1 : m / p->sectionCount;
  p->nextSection = 0;
  p->listCount = 0;
  p->writePosition = 0;
}

bool priceable(const NetArc &a) { return a.status != kArcTree && a.status != kArcFixed; }

// Prices one section; each candidate goes to `take`; keeps the best.
template <class Take>
void scanSection(const NetProblem *net, int section, int stride, double threshold, double &best, int &bestArc,
                 Take &&take) {
  const NetArc *arcs = net->arcs;
  for (int j = section; j < net->arcCount; j += stride) {
    const NetArc &a = arcs[j];
    if (!priceable(a)) continue;
    const double d = arcReducedValue(net, a);
    if (d >= threshold) continue;
    take(j, d);
    if (d + kPricingTieTol < best) {
      best = d;
      bestArc = j;
    }
  }
}

void setTol(NetPricer *p, double tolerance) { p->tolerance = tolerance; }
void finishPricer(NetPricer *p) { p->listCount = p->writePosition = 0; }

// ---- partial ----
int startPartial(NetPricer *p, const NetProblem *net, double tolerance) {
  layOutSections(p, net, tolerance);
  return 0;
}

int nextPartial(NetPricer *p, const NetProblem *net, double *value) {
  double best = -p->tolerance;
  int bestArc = -1;
  for (int seen = 0; seen < p->stride && bestArc < 0; ++seen) {
    scanSection(net, p->nextSection, p->stride, -p->tolerance, best, bestArc, [](int, double) {});
    p->nextSection = p->nextSection + 1 == p->stride ? 0 : p->nextSection + 1;
  }
  if (value) *value = best;
  return bestArc;
}

// ---- multiple partial: a ring of recent candidates ----
int ensureList(NetPricer *p, int capacity) {
  if (p->listCapacity >= capacity) return 0;
  const size_t bytes = static_cast<size_t>(capacity) * sizeof(NetPricerEntry);
  auto *fresh = static_cast<NetPricerEntry *>(p->list ? envRealloc(p->list, bytes) : envAlloc(bytes));
  if (!fresh) return QVNERR_NO_MEMORY;
  p->list = fresh;
  p->listCapacity = capacity;
  return 0;
}

int startMultiple(NetPricer *p, const NetProblem *net, double tolerance) {
  layOutSections(p, net, tolerance);
  return ensureList(p, 2 * p->sectionCount);
}

// Prices the listed arcs again and keeps the candidates, in order.
void repriceList(NetPricer *p, const NetProblem *net, double &best, int &bestArc) {
  int kept = 0;
  const double threshold = -p->tolerance;
  for (int k = 0; k < p->listCount; ++k) {
    const int j = p->list[k].arc;
    const NetArc &a = net->arcs[j];
    if (!priceable(a)) continue;
    const double d = arcReducedValue(net, a);
    if (d >= threshold) continue;
    p->list[kept++] = NetPricerEntry{j, d};
    if (d + kPricingTieTol < best) {
      best = d;
      bestArc = j;
    }
  }
  p->listCount = kept;
}

int nextMultiple(NetPricer *p, const NetProblem *net, double *value) {
  double best = -p->tolerance;
  int bestArc = -1;
  repriceList(p, net, best, bestArc);
  p->writePosition = p->listCount == p->listCapacity ? 0 : p->listCount;
  auto take = [p](int arc, double d) {
    p->list[p->writePosition] = NetPricerEntry{arc, d};
    if (++p->writePosition == p->listCapacity) p->writePosition = 0;
    p->listCount = std::min(p->listCount + 1, p->listCapacity);
  };
  for (int seen = 0; seen < p->stride && (seen == 0 || bestArc < 0); ++seen) {
    scanSection(net, p->nextSection, p->stride, -p->tolerance, best, bestArc, take);
    p->nextSection = p->nextSection + 1 == p->stride ? 0 : p->nextSection + 1;
  }
  if (value) *value = best;
  return bestArc;
}

// ---- multiple partial with sorting: the k best survive between calls ----
int startSorted(NetPricer *p, const NetProblem *net, double tolerance) {
  layOutSections(p, net, tolerance);
  const int m = net->arcCount;
  return ensureList(p, (m / p->stride) + p->sectionCount + 2);
}

void sortByValue(NetPricerEntry *list, int lo, int hi) {
  // Quicksort on the middle element; the shorter side recurses, so the depth
  // stays logarithmic.
  while (lo < hi) {
    const double pivot = list[lo + (hi - lo) / 2].value;
    int i = lo, j = hi;
    while (i <= j) {
      while (list[i].value < pivot) ++i;
      while (list[j].value > pivot) --j;
      if (i <= j) std::swap(list[i++], list[j--]);
    }
    if (j - lo < hi - i) {
      sortByValue(list, lo, j);
      lo = i;
    } else {
      sortByValue(list, i, hi);
      hi = j;
    }
  }
}

int nextSorted(NetPricer *p, const NetProblem *net, double *value) {
  double best = -p->tolerance;
  int bestArc = -1;
  repriceList(p, net, best, bestArc);
  if (p->listCount > p->sectionCount) {
    sortByValue(p->list, 0, p->listCount - 1);
    p->listCount = p->sectionCount;
  }
  auto take = [p](int arc, double d) {
    if (p->listCount < p->listCapacity) p->list[p->listCount++] = NetPricerEntry{arc, d};
  };
  for (int seen = 0; seen < p->stride && (seen == 0 || bestArc < 0); ++seen) {
    scanSection(net, p->nextSection, p->stride, -p->tolerance, best, bestArc, take);
    p->nextSection = p->nextSection + 1 == p->stride ? 0 : p->nextSection + 1;
  }
  if (value) *value = best;
  return bestArc;
}

const NetPricerOps kPartialOps = {startPartial, nextPartial, finishPricer, setTol};
const NetPricerOps kMultipleOps = {startMultiple, nextMultiple, finishPricer, setTol};
const NetPricerOps kSortedOps = {startSorted, nextSorted, finishPricer, setTol};

} // namespace

int createNetPricer(NetPricing kind, NetPricer **out) {
  *out = nullptr;
  auto *p = static_cast<NetPricer *>(envCalloc(1, sizeof(NetPricer)));
  if (!p) return QVNERR_NO_MEMORY;
  p->kind = kind;
  p->ops = kind == NetPricing::kPartial ? &kPartialOps : kind == NetPricing::kMultiplePartial ? &kMultipleOps : &kSortedOps;
  *out = p;
  return 0;
}

void freeNetPricer(NetPricer *&pricer) {
  if (!pricer) return;
  envFree(pricer->list);
  envFree(pricer);
}

} // namespace qvn
