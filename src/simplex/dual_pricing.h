// Weights of the dual simplex's choice of the leaving row: their start for
// each pricing kind, their update after a pivot, and the automatic choice
// between the exact steepest-edge recursion and the simple one.
#pragma once
#include "simplex/engine.h"

namespace qvn {

// Weights of the current basis for the kind in force; `startGiven` runs take
// unit weights where the kind allows. Also decides the recursion of kind 0.
void initDualPricing(SimplexEngine &e);
// Updates the weights after the pivot on position r (alpha its pivot, the
// pivot column in e.column and rho_r in e.rowRho).
void updateDualWeights(SimplexEngine &e, int r, double alphaR);
// Called at each factorization: the sampled work may switch the recursion,
// and the internal kind moves on after its plain iterations.
void dualPricingAtFactor(SimplexEngine &e);

} // namespace qvn
