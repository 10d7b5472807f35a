// Change events of a Problem and the actions they take.
//
// Every change of model data raises one event through modelChanged(); the
// table in changes.cpp says, by name, which actions each event takes. An
// action discards or marks out of date one kind of held result. Actions run
// in the order of ModelAction, whatever order a table row lists them in.
//
// The numbers are those of the event table that callback code and saved logs
// know; numbers that nothing raises (15, 21, 22, 26, 32, 35, 48, 59) have no
// name.
#pragma once
#include <cstdint>
#include <initializer_list>

namespace qvn {

enum class ModelEvent : uint8_t {
  kNonzeroSpaceGrown = 1,
  kColumnSpaceGrown = 2,
  kRowwiseCoefChanged = 3,   // an existing coefficient of one row-wise kind
  kBoundsChanged = 4,        // QVNchgbds, bounds moved by a type change
  kMipBoundsChanged = 5,     // internal bound changes of branch and cut
  kRowCoefChanged = 6,       // an entry of a nonbasic column; row-wise cached entries
  kCtypeChanged = 7,         // QVNchgctype
  kRhsChanged = 8,           // QVNchgrhs
  kCtypeCopied = 9,          // QVNcopyctype
  kRhsEntryChanged = 10,     // the right-hand-side entry through QVNchgcoef
  kSosChanged = 11,          // SOS added or deleted
  kObjSenseChanged = 12,
  kObjEntryChanged = 13,     // the objective entry through QVNchgcoef
  kObjChanged = 14,          // QVNchgobj
  kLpCopied = 16,            // QVNcopylp: a new model replaces the old one
  kRowsAdded = 17,           // QVNaddrows, cached rows
  kRowsCreated = 18,         // QVNnewrows
  kRowsDeleted = 19,         // QVNdelrows
  kRowSetDeleted = 20,       // QVNdelsetrows
  kNamesChanged = 23,
  kQuadCopied = 24,          // QVNcopyquad
  kQuadCoefChanged = 25,     // QVNchgqpcoef
  kOrderChanged = 27,        // also a quadratic objective coming or going with the type
  kColsAdded = 28,           // QVNaddcols, QVNnewcols
  kCachedColsAdded = 29,
  kColsDeleted = 30,         // QVNdelcols
  kColSetDeleted = 31,       // QVNdelsetcols
  kSenseChanged = 33,        // QVNchgsense
  kMatrixCoefChanged = 34,   // QVNchgcoef, QVNchgcoeflist on matrix entries
  kPrimalLoopBegins = 36,
  kPivotLoopBegins = 37,
  kDualLoopBegins = 38,
  kSiftOrBarrierBegins = 39,
  kNetworkDriverBegins = 40,
  kMipRootChangedModel = 41,
  kStartInstalled = 42,
  kStartInstalledKeepingPresolve = 43,  // presolve and MIP state stay
  kDualNormsReplaced = 44,
  kLoopEndedWithBasis = 45,  // a new basis that is not yet a solution
  kPrimalDriverBegins = 46,
  kDualDriverBegins = 47,
  kBarrierDriverBegins = 49,
  kNetworkOptimizerBegins = 50,
  kScalingChanged = 51,      // scale factors applied or removed
  kMipDriverBegins = 52,
  kPerturbationRemoved = 53, // perturbation or shifting taken out
  kShiftingApplied = 54,
  kBasisRepaired = 55,
  kReducedProblemAbandoned = 56,  // a driver gives up on its reduced problem
  kReducedProblemFinished = 57,
  kRangeChanged = 58,        // QVNchgrngval
  kProbTypeChanged = 60,
  kQuadStatusReset = 61,
  kQuadConstrChanged = 62,
  kMipStartChanged = 63,
};

// What an event does, in the order the actions run.
enum class ModelAction : uint8_t {
  kFreeFixedProblem,     // with the basis copied up to a parent that has none
  kFreeNodeProblem,
  kClearStatus,          // the problem's status becomes 0
  kRowCopyStale,
  kPricingStale,         // pricing data that read the matrix
  kClearPrimalValues,    // the solution's primal-values flag
  kFreePrimalState,
  kFreeDualState,
  kDualNormsStale,
  kFreeSimplexWork,
  kSimplexWorkStale,
  kFreeFactor,
  kFactorStale,
  kFreeSolution,
  kFreeRowCopy,
  kClearDualValues,      // the solution's dual-values flag
  kFreeStartVectors,
  kFreePresolve,
  kFreeBarrierSolution,
  kFreeMipSearch,        // the search state and its tree
  kFreeMipStart,         // heuristic start data of the MIP
  kFreeQuadCopy,         // the held continuous copy of a quadratic problem
  kQuadCopyStale,
  kResetSift,
  kMatrixStampReset,
  kFreeBasis,            // the held basis and start vectors
  kFreeRefiner,
  kFreeScaling,
  kResetQuadStart,
  kCount
};

// A set of actions.
struct ActionSet {
  uint32_t bits = 0;
  constexpr ActionSet() = default;
  constexpr ActionSet(std::initializer_list<ModelAction> actions) {
    for (ModelAction a : actions) bits |= bit(a);
  }
  constexpr bool has(ModelAction a) const { return (bits & bit(a)) != 0; }
  constexpr ActionSet operator|(ActionSet other) const {
    ActionSet s;
    s.bits = bits | other.bits;
    return s;
  }
  constexpr ActionSet without(ActionSet other) const {
    ActionSet s;
    s.bits = bits & ~other.bits;
    return s;
  }
  constexpr bool empty() const { return bits == 0; }

private:
  static constexpr uint32_t bit(ModelAction a) { return uint32_t{1} << static_cast<unsigned>(a); }
};
static_assert(static_cast<unsigned>(ModelAction::kCount) <= 32, "ActionSet holds the actions in one word");

// The actions of an event (empty for a number without a row).
ActionSet eventActions(ModelEvent event);

} // namespace qvn
