// The pricers of the network simplex. All three look at the arcs block by
// block and stop as soon as a block has produced a candidate; they differ in
// what they remember between calls:
// - partial pricing remembers only where to go on;
// - multiple partial pricing keeps a ring of recent candidates and prices
//   them again first;
// - multiple partial pricing with sorting keeps the k best candidates.
#include <algorithm>
#include <cmath>

#include "network/net_simplex.h"
#include "runtime/errors.h"

namespace qvn {

namespace {

// A candidate must beat the best by this much: ties keep the first.
constexpr double kPricingTieTol = 1e-10;
// Block length per square root of the arc count.
constexpr double kBlockPerRoot = 1.0;

int listLengthFor(int arcs) {
  if (arcs < 1000) return 15;
  if (arcs < 10000) return 25;
  if (arcs < 100000) return 50;
  return 100;
}

void layOutBlocks(NetPricer *p, const NetProblem *net, double tolerance) {
  const int m = net->arcCount;
  p->tolerance = tolerance;
  p->listLength = listLengthFor(m);
  p->blockLength = std::max(p->listLength, static_cast<int>(std::ceil(kBlockPerRoot * std::sqrt(double(m)))));
  p->blockCount = m == 0 ? 1 : (m + p->blockLength - 1) / p->blockLength;
  p->nextBlock = 0;
  p->listCount = 0;
  p->writePosition = 0;
}

bool priceable(int status) { return status != kArcTree && status != kArcFixed; }

NetPricerEntry entryOf(const NetProblem *net, int j, double d) {
  const NetArc &a = net->arcs[j];
  return NetPricerEntry{d, a.cost, j, a.fromNode, a.toNode, a.status};
}

// The arc handed out enters the tree or moves to its other bound: either way
// its copy in the list is stale, and it is no candidate right after.
void dropFromList(NetPricer *p, int arc) {
  if (arc < 0) return;
  for (int k = 0; k < p->listCount; ++k)
    if (p->list[k].arc == arc) p->list[k].status = kArcTree;
}

// Prices one block; each candidate goes to `take`; keeps the best.
template <class Take>
void scanBlock(const NetProblem *net, const NetPricer *p, int block, double &best, int &bestArc, Take &&take) {
  const NetArc *arcs = net->arcs;
  const double threshold = -p->tolerance;
  const int end = std::min(net->arcCount, (block + 1) * p->blockLength);
  for (int j = block * p->blockLength; j < end; ++j) {
    const NetArc &a = arcs[j];
    if (!priceable(a.status)) continue;
    const double d = arcReducedValue(net, a);
    if (d >= threshold) continue;
    take(j, d);
    if (d + kPricingTieTol < best) {
      best = d;
      bestArc = j;
    }
  }
}

// Scans blocks from the remembered one: at least `minimum`, then on until a
// candidate stands or every block has been seen.
template <class Take>
void scanBlocks(const NetProblem *net, NetPricer *p, int minimum, double &best, int &bestArc, Take &&take) {
  for (int seen = 0; seen < p->blockCount && (seen < minimum || bestArc < 0); ++seen) {
    scanBlock(net, p, p->nextBlock, best, bestArc, take);
    p->nextBlock = p->nextBlock + 1 == p->blockCount ? 0 : p->nextBlock + 1;
  }
}

void setTol(NetPricer *p, double tolerance) { p->tolerance = tolerance; }
void finishPricer(NetPricer *p) { p->listCount = p->writePosition = 0; }

// ---- partial ----
int startPartial(NetPricer *p, const NetProblem *net, double tolerance) {
  layOutBlocks(p, net, tolerance);
  return 0;
}

int nextPartial(NetPricer *p, const NetProblem *net, double *value) {
  double best = -p->tolerance;
  int bestArc = -1;
  scanBlocks(net, p, 0, best, bestArc, [](int, double) {});
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
  layOutBlocks(p, net, tolerance);
  return ensureList(p, 2 * p->listLength);
}

// Prices the listed arcs again and keeps the candidates, in order.
void repriceList(NetPricer *p, const NetProblem *net, double &best, int &bestArc) {
  int kept = 0;
  const double threshold = -p->tolerance;
  const double *potential = net->potential;
  for (int k = 0; k < p->listCount; ++k) {
    NetPricerEntry e = p->list[k];
    if (!priceable(e.status)) continue;
    const double forward = e.cost - potential[e.toNode] + potential[e.fromNode];
    const double d = e.status == kArcLower   ? forward
                     : e.status == kArcUpper ? -forward
                     : forward < -kFreeArcDirectionTol ? forward : -forward;
    if (d >= threshold) continue;
    e.value = d;
    p->list[kept++] = e;
    const int j = e.arc;
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
  auto take = [p, net](int arc, double d) {
    p->list[p->writePosition] = entryOf(net, arc, d);
    if (++p->writePosition == p->listCapacity) p->writePosition = 0;
    p->listCount = std::min(p->listCount + 1, p->listCapacity);
  };
  scanBlocks(net, p, 1, best, bestArc, take);
  dropFromList(p, bestArc);
  if (value) *value = best;
  return bestArc;
}

// ---- multiple partial with sorting: the k best survive between calls ----
int startSorted(NetPricer *p, const NetProblem *net, double tolerance) {
  layOutBlocks(p, net, tolerance);
  return ensureList(p, p->blockLength + p->listLength + 1);
}

// Moves the `keep` smallest values of list[0 .. count) to its front (in no
// particular order): a quickselect on the middle element.
void keepBest(NetPricerEntry *list, int count, int keep) {
  int lo = 0, hi = count - 1;
  while (lo < hi) {
    const double pivot = list[lo + (hi - lo) / 2].value;
    int i = lo, j = hi;
    while (i <= j) {
      while (list[i].value < pivot) ++i;
      while (list[j].value > pivot) --j;
      if (i <= j) std::swap(list[i++], list[j--]);
    }
    // Now list[lo .. j] <= pivot <= list[i .. hi], and anything between equals it.
    if (keep - 1 <= j) hi = j;
    else if (keep - 1 >= i) lo = i;
    else return;
  }
}

int nextSorted(NetPricer *p, const NetProblem *net, double *value) {
  double best = -p->tolerance;
  int bestArc = -1;
  repriceList(p, net, best, bestArc);
  if (p->listCount > p->listLength) {
    keepBest(p->list, p->listCount, p->listLength);
    p->listCount = p->listLength;
  }
  auto take = [p, net](int arc, double d) {
    if (p->listCount < p->listCapacity) p->list[p->listCount++] = entryOf(net, arc, d);
  };
  scanBlocks(net, p, 1, best, bestArc, take);
  dropFromList(p, bestArc);
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
