// modelChanged: the one gate through which every change of model data passes.
// The table below says, by name, what each event makes wrong; the actions
// always run in the order of ModelAction.
#include "model/attachments.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

using E = ModelEvent;
using enum ModelAction;

// Everything a solve or a presolve left behind; the basis itself stays.
constexpr ActionSet kAll = {kFreeFixedProblem, kFreeNodeProblem, kClearStatus,  kFreePrimalState,
                            kFreeDualState,    kFreeSimplexWork, kFreeFactor,   kFreeSolution,
                            kFreeRowCopy,      kFreeStartVectors, kFreePresolve, kFreeBarrierSolution,
                            kFreeMipSearch,    kFreeMipStart,    kFreeQuadCopy, kResetSift};
// What any change of the model's numbers makes wrong: the problems derived
// from it, its status, starts, presolve, barrier and MIP results.
constexpr ActionSet kDataChanged = {kFreeFixedProblem, kFreeNodeProblem, kClearStatus,  kFreeStartVectors,
                                    kFreePresolve,     kFreeBarrierSolution, kFreeMipSearch, kFreeMipStart,
                                    kFreeQuadCopy,     kResetSift,       kMatrixStampReset};
// What read the matrix row-wise.
constexpr ActionSet kMatrixRead = {kRowCopyStale, kPricingStale};
// Per-run states of the simplex loops, sized by the columns.
constexpr ActionSet kLoopStates = {kFreePrimalState, kFreeDualState, kFreeSimplexWork};
// Values that follow from the basis but not its factorization.
constexpr ActionSet kBasisValues = {kClearPrimalValues, kDualNormsStale, kSimplexWorkStale};
// A driver starts afresh from the held basis.
constexpr ActionSet kDriverBegins = {kClearStatus,  kFreePrimalState, kFreeDualState,       kFreeSimplexWork, kFreeFactor,
                                     kFreeSolution, kFreeRowCopy,     kFreeBarrierSolution, kResetSift};
// A start replaces the basis: what the old one gave is out of date.
constexpr ActionSet kStartInstall = {kClearStatus,     kRowCopyStale,        kClearPrimalValues, kDualNormsStale,
                                     kFactorStale,     kClearDualValues,     kFreeBarrierSolution, kFreeQuadCopy,
                                     kResetSift};
// Columns appear or vanish: factor and solution no longer match them.
constexpr ActionSet kColumnsReshaped = kDataChanged | kMatrixRead | kLoopStates | ActionSet{kFreeFactor, kFreeSolution};

struct EventRow {
  ModelEvent event;
  ActionSet actions;
};

constexpr EventRow kEventTable[] = {
    {E::kNonzeroSpaceGrown, {kFreeFixedProblem, kFreePresolve, kFreeBarrierSolution, kFreeMipSearch, kFreeMipStart,
                             kMatrixStampReset}},
    // New columns keep the factor and the solution: their statuses stay meaningful for the old columns.
    {E::kColumnSpaceGrown, {kFreeFixedProblem, kFreeFactor, kFreeSolution, kFreePresolve, kFreeBarrierSolution,
                            kFreeMipSearch, kFreeMipStart, kMatrixStampReset}},
    {E::kRowwiseCoefChanged, kDataChanged | kMatrixRead | kBasisValues},
    {E::kRangeChanged, kDataChanged | kMatrixRead | kBasisValues},
    {E::kBoundsChanged,
     kDataChanged.without({kFreeQuadCopy, kResetSift, kMatrixStampReset}) | kBasisValues |
         ActionSet{kRowCopyStale, kQuadCopyStale}},
    {E::kMipBoundsChanged,
     kDataChanged.without({kFreeFixedProblem, kResetSift, kMatrixStampReset}) | kBasisValues |
         ActionSet{kRowCopyStale}},
    {E::kRowCoefChanged, kDataChanged | kMatrixRead},
    {E::kCtypeChanged, kAll | ActionSet{kMatrixStampReset}},
    {E::kCtypeCopied, kAll | ActionSet{kMatrixStampReset}},
    {E::kSosChanged, kAll | ActionSet{kMatrixStampReset}},
    {E::kProbTypeChanged, kAll | ActionSet{kMatrixStampReset}},
    {E::kRhsChanged, kDataChanged},
    {E::kRhsEntryChanged, kDataChanged},
    {E::kObjSenseChanged, {kFreeFixedProblem, kFreeNodeProblem, kClearStatus, kClearPrimalValues, kDualNormsStale,
                           kFreePresolve, kFreeBarrierSolution, kFreeMipSearch, kFreeQuadCopy, kResetQuadStart}},
    {E::kObjEntryChanged, {kFreeFixedProblem, kFreeNodeProblem, kClearStatus, kClearPrimalValues, kDualNormsStale,
                           kFreePresolve, kFreeBarrierSolution, kFreeMipSearch, kFreeMipStart, kFreeQuadCopy}},
    {E::kObjChanged, {kFreeFixedProblem, kFreeNodeProblem, kClearStatus, kClearPrimalValues, kDualNormsStale,
                      kFreePresolve, kFreeBarrierSolution, kFreeMipSearch, kFreeMipStart, kFreeQuadCopy}},
    {E::kLpCopied, kAll | ActionSet{kFreeBasis, kFreeRefiner, kFreeScaling, kMatrixStampReset}},
    {E::kRowsAdded, kAll | ActionSet{kMatrixStampReset}},
    {E::kRowsCreated, kAll | ActionSet{kMatrixStampReset}},
    {E::kRowsDeleted, kAll | ActionSet{kMatrixStampReset}},
    {E::kRowSetDeleted, kAll | ActionSet{kMatrixStampReset}},
    {E::kNamesChanged, {kFreeFixedProblem, kFreeNodeProblem}},
    {E::kQuadCopied, kAll | ActionSet{kFreeBasis, kResetQuadStart, kMatrixStampReset}},
    {E::kQuadCoefChanged, kAll | ActionSet{kFreeBasis, kResetQuadStart, kMatrixStampReset}},
    {E::kOrderChanged, kAll | ActionSet{kFreeBasis, kMatrixStampReset}},
    {E::kQuadConstrChanged, kAll | ActionSet{kFreeBasis, kMatrixStampReset}},
    {E::kColsAdded, kDataChanged | kMatrixRead | kLoopStates},
    {E::kCachedColsAdded, kColumnsReshaped},
    {E::kColsDeleted, kColumnsReshaped},
    {E::kColSetDeleted, kColumnsReshaped},
    {E::kSenseChanged, kColumnsReshaped},
    {E::kMatrixCoefChanged, kColumnsReshaped.without({kResetSift})},
    {E::kPrimalLoopBegins, {kClearStatus, kClearPrimalValues, kFreeDualState, kFreeBarrierSolution, kResetSift}},
    {E::kPivotLoopBegins, {kClearStatus, kFreePrimalState, kFreeBarrierSolution, kResetSift}},
    {E::kDualLoopBegins, {kClearStatus, kFreePrimalState, kFreeBarrierSolution, kResetSift}},
    {E::kSiftOrBarrierBegins, kDriverBegins.without({kFreeBarrierSolution})},
    {E::kNetworkDriverBegins, kDriverBegins},
    {E::kPrimalDriverBegins, kDriverBegins},
    {E::kDualDriverBegins, kDriverBegins},
    {E::kBarrierDriverBegins, kDriverBegins},
    {E::kNetworkOptimizerBegins, kDriverBegins},
    {E::kMipRootChangedModel, kStartInstall | ActionSet{kFreeNodeProblem, kFreePresolve, kFreeMipSearch}},
    {E::kStartInstalled, kStartInstall | ActionSet{kFreeNodeProblem, kFreePresolve, kFreeMipSearch}},
    {E::kStartInstalledKeepingPresolve, kStartInstall},
    {E::kDualNormsReplaced, {kDualNormsStale}},
    {E::kLoopEndedWithBasis, {kClearStatus, kDualNormsStale, kFreePrimalState, kFreeFactor, kFreeSolution, kFreeRowCopy,
                              kFreeBarrierSolution}},
    {E::kScalingChanged, kBasisValues | ActionSet{kRowCopyStale, kFactorStale, kClearDualValues, kResetSift}},
    {E::kMipDriverBegins, {kFreeNodeProblem, kClearStatus, kFreePresolve, kFreeMipSearch, kFreeMipStart, kResetSift}},
    {E::kPerturbationRemoved, {kRowCopyStale, kClearPrimalValues, kDualNormsStale, kResetSift}},
    {E::kShiftingApplied, {kClearPrimalValues, kDualNormsStale, kResetSift}},
    {E::kBasisRepaired, {kClearPrimalValues, kDualNormsStale, kResetSift}},
    {E::kReducedProblemAbandoned, kAll | ActionSet{kFreeBasis}},
    {E::kReducedProblemFinished, {kFreePrimalState, kFreeDualState, kFreeSimplexWork, kFreeFactor, kFreeRowCopy}},
    {E::kQuadStatusReset, {kClearStatus, kResetSift}},
    {E::kMipStartChanged, {kClearStatus}},
};

constexpr int kEventCount = 64;

struct EventActions {
  ActionSet byNumber[kEventCount] = {};
};

constexpr EventActions makeLookup() {
  EventActions t;
  for (const EventRow &row : kEventTable) t.byNumber[static_cast<int>(row.event)] = row.actions;
  return t;
}

constexpr EventActions kLookup = makeLookup();

void freeFixedProblem(Environment *env, Problem *lp) {
  Problem *fixed = lp->fixedProblem;
  if (!fixed) return;
  // The fixed LP's basis is the parent's best start when it has none of its own.
  if (!lp->basisData && !lp->mipSearch && fixed->basisData) {
    lp->basisData = fixed->basisData;
    fixed->basisData = nullptr;
  }
  lp->fixedProblem = nullptr;
  freeProblem(env, fixed);
  // A handle of a fixed type without its fixed problem reads its own model again.
  if (isFixedType(lp->probType)) {
    lp->probType = kProbLP;
    recomputeType(lp);
  }
}

// What the model does itself for an action; the blocks of later subsystems
// answer through their registered records.
void applyOwnAction(Environment *env, Problem *lp, ModelAction action) {
  switch (action) {
  case kFreeFixedProblem: freeFixedProblem(env, lp); break;
  case kFreeNodeProblem:
    if (Problem *node = lp->nodeProblem) {
      lp->nodeProblem = nullptr;
      freeProblem(env, node);
    }
    break;
  case kClearStatus: lp->status = 0; break;
  case kRowCopyStale:
    if (lp->rowCopy) lp->rowCopy->upToDate = false;
    break;
  case kClearPrimalValues:
    if (lp->solution) lp->solution->primalComputed = false;
    break;
  case kFreeSolution: envDelete(lp->solution); break;
  case kFreeRowCopy: envDelete(lp->rowCopy); break;
  case kClearDualValues:
    if (lp->solution) lp->solution->dualComputed = false;
    break;
  case kMatrixStampReset: lp->lpData->matrixStamp = -1; break;
  case kFreeBasis: envDelete(lp->basisData); break;
  case kFreeScaling: freeScaleFactors(lp); break;
  default: break;
  }
}

} // namespace

ActionSet eventActions(ModelEvent event) {
  const int number = static_cast<int>(event);
  return number > 0 && number < kEventCount ? kLookup.byNumber[number] : ActionSet{};
}

void modelChanged(Environment *env, Problem *lp, ModelEvent event) {
  const ActionSet m = eventActions(event);
  if (m.empty()) return;
  for (int k = 0; k < static_cast<int>(ModelAction::kCount); ++k) {
    const auto action = static_cast<ModelAction>(k);
    if (!m.has(action)) continue;
    applyOwnAction(env, lp, action);
    applyToAttachments(lp, action);
  }
}

} // namespace qvn
