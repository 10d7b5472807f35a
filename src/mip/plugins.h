// The places where cutting planes, heuristics and integer presolve plug into
// the branch and bound loop. Each kind is a table of functions, registered in
// one list in a fixed order so that runs repeat; a family without a generator
// has a row with no function.
#pragma once
#include "mip/mip_run.h"

namespace qvn {

struct CutFamily {
  const char *name;
  int index;  // 0..17, one numbering for names, counters, logs and masks
  int switchParam;
  int (*separate)(MipRun &run, void *data, const double *x, int *added);
};

enum HeuristicWhen : unsigned { kAtRoot = 1u, kAtNode = 2u, kAfterIncumbent = 4u };

struct Heuristic {
  const char *name;
  unsigned when;
  int (*run)(MipRun &run, void *data, int *found);
};

struct IntegerPresolvePass {
  const char *name;
  int (*apply)(MipRun &run, void *data, int *changes);
};

const CutFamily *cutFamilies(int *count);
const Heuristic *heuristics(int *count);
const IntegerPresolvePass *integerPresolvePasses(int *count);

// The stages the driver calls; each runs the registered entries in order.
int integerPresolveStage(MipRun &run);
int rootCutRounds(MipRun &run);
// One cut round at a fractional node whose LP gave `objective` and x; the
// rounds of one node go on while this adds rows. The cuts are global.
int separateAtNode(MipRun &run, const NodeRecord &node, double objective, const double *x, int *added);
int heuristicStep(MipRun &run, unsigned when);
// The "... cuts applied" lines at the end of a run.
void printCutSummary(const MipRun &run);

// The root LP relaxation and the bound after the root cut rounds, in the
// user's sense; false before a root was solved.
bool mipRootBounds(const Problem *lp, double *relaxation, double *rootBound);
struct CutPool;
// The cuts of the last run on lp (installed and pending), or null.
const CutPool *mipCutPool(const Problem *lp);
// The pool whose counters tell what the cut families did in the last run:
// the reduced problem's when presolve ran (its cuts are then on the reduced
// columns), else mipCutPool's; null without a run.
const CutPool *mipCutStatistics(const Problem *lp);

} // namespace qvn
