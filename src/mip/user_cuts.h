// User cuts and lazy constraints of the model in a run (user_cuts.cpp).
#pragma once
#include "mip/mip_run.h"

namespace qvn {

// A user cut joins the LP only when a fractional point violates it by this.
constexpr double kUserCutViolation = 0.1;

// "Model contains ..." at the start of a tree.
void announceModelRows(const MipRun &run);
// True when x violates a lazy constraint of the model.
bool violatesLazyConstraints(const MipRun &run, const double *x);
// The lazy constraints, or the user cuts, that x violates go into the node LP.
int addViolatedLazyConstraints(MipRun &run, const double *x, int *added);
int addViolatedUserCuts(MipRun &run, const double *x, int *added);

} // namespace qvn
