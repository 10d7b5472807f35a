// The places where cutting planes, heuristics and integer presolve plug into
// the branch and bound loop. Each kind is a table of functions, registered in
// one list in a fixed order so that runs repeat; the lists are empty until
// their families land.
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
int separateAtNode(MipRun &run, const double *x, int *added);
int heuristicStep(MipRun &run, unsigned when);

} // namespace qvn
