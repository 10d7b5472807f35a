// Choice of the entering variable in the primal loop. The kind in force is
// SimplexEngine::primalPricing:
//   -1 reduced cost pricing over sections (PartialPrice): reduced costs are
//      computed from the duals only for the sections scanned, so an iteration
//      needs no pivot row;
//    0 automatic: sections first, then devex or steepest edge when the work
//      measures of the factors say that they pay;
//    1 devex, 2 steepest edge from exact weights, 3 steepest edge from the
//      weights of a slack basis, 4 all reduced costs without weights. These
//      keep every reduced cost current through the pivot row.
#pragma once
#include "simplex/engine.h"

namespace qvn {

struct PartialCandidate {
  int j;
  double violation;  // by how much dj breaks optimality when it was scanned
};

struct PartialPrice {
  int sectionCount = 1, sectionSize = 1, section = 0;
  int candidateLimit = 1;
  EnvVector<PartialCandidate> list;  // best first
  int next = 0;                      // first entry of list not yet tried
};

// Work samples of the devex iterations, for the move to steepest edge:
// A the column solves, B the row solves, C the reduced cost updates, D the
// extra solve and E the extra row pass that steepest edge would add.
struct PricingSamples {
  int count = 0;
  double sumA = 0.0, sumB = 0.0, sumC = 0.0, sumD = 0.0, sumE = 0.0;
};

// The weighted kinds' choice without a pass over all variables: a max-heap
// of (merit, variable) in which an entry counts only while its variable has
// not changed since it was pushed (its stamp equals the variable's). The
// iterations list the variables whose reduced cost, weight or position they
// change; the choice pushes their new merits and drops stale entries from
// the top. A full scan rebuilds the heap when duals are recomputed, weights
// reset, the tolerance changes or stale entries pile up.
struct MeritEntry {
  double merit;
  int j;
  int stamp;
};
struct WeightedHeap {
  EnvVector<MeritEntry> heap;
  EnvVector<int> stamp;       // by variable: changes seen
  EnvVector<int> changed;     // variables changed since the last choice
  EnvVector<char> isChanged;  // by variable: listed in `changed`
  double tol = 0.0;           // the optimality tolerance of the scan
  int dualsComputed = -1, weightResets = -1;
  bool valid = false;
};

struct PrimalPricing {
  PartialPrice partial;
  WeightedHeap weighted;
  PricingSamples samples;
  bool automatic = false;  // QVN_PARAM_PPRIIND 0: the kind may still move on
  int sampleSize = 4;      // devex iterations sampled before the steepest edge test
};

// Number of sections (and the candidate limit) for n structurals and m rows.
int partialSectionCount(int pricelim, int n, int m);

// Sets up the pricing for a run: the kind from the parameter, the sections,
// and the weights of a weighted kind. An entry with kind 1 under the
// automatic setting starts over with sections. 0 or QVNERR_PRIIND.
int pricingSetup(SimplexEngine &e, PrimalPricing &p);
// Empties the candidate list, so that the next choice scans afresh.
inline void pricingRestart(PrimalPricing &p) { p.partial.list.clear(), p.partial.next = 0; }
// True when the kind in force keeps all reduced costs current.
inline bool pricingKeepsDj(const SimplexEngine &e) { return e.primalPricing >= PrimalPricingKind::kDevex; }

// The entering variable, or -1 when no reduced cost breaks optimality by
// more than e.dualTol. With sections, the reduced costs of the variables
// scanned are refreshed from the duals on the way.
int chooseEntering(SimplexEngine &e, PrimalPricing &p);

// The reduced cost, weight or position of variable j changed outside a full
// recomputation: the weighted choice must look at it again.
inline void pricingNoteChanged(PrimalPricing &p, int j) {
  WeightedHeap &w = p.weighted;
  if (w.valid && !w.isChanged[j]) w.isChanged[j] = 1, w.changed.push_back(j);
}

// Start weights of a weighted kind: 1.0 for devex and full pricing, for
// steepest edge the exact ||B^{-1} a_j||^2 + 1 (kind 2) or those of a slack
// basis, ||a_j||^2 + 1 (kind 3).
void initPrimalWeights(SimplexEngine &e);
// Weights after q entered with pivot row entry alphaQ (e.rowAlpha holds the
// pivot row, e.column the FTRAN'd column of q); afterwards the weight of q
// is the one its leaving successor inherits, divided by alphaQ squared.
void updatePrimalWeights(SimplexEngine &e, int q, double alphaQ);
// Records the work of one weighted iteration for the automatic switch.
void pricingSample(const SimplexEngine &e, PrimalPricing &p);

// The automatic move of kind 0 to devex or steepest edge, and of devex to
// steepest edge, by the work measures of the factors. True when the kind
// changed: the caller must then bring all reduced costs up to date.
bool pricingSwitch(SimplexEngine &e, PrimalPricing &p, int phase, bool perturbActive);

} // namespace qvn
