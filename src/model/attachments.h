// Blocks that later subsystems keep on a Problem.
//
// The model neither includes nor knows their layouts: each subsystem hands it
// one AttachmentOps record saying when the block goes or goes stale (by the
// actions of model_events.h) and how to release, copy and reshape it. The
// records are listed once, in src/registry/, above every subsystem, so that
// the model depends on none of them.
#pragma once
#include "model/problem.h"

namespace qvn {

// The registered blocks, in the order QVNfreeprob releases them.
enum class AttachmentKind : uint8_t {
  kQuadConstraints,  // qconstrData
  kQuadObjective,    // qpData
  kPresolve,         // presolved
  kMipSearch,        // mipSearch
  kConflict,         // conflict
  kCount
};

struct AttachmentOps {
  const char *name;
  ActionSet releasedBy = {};     // model actions after which the block goes
  ActionSet invalidatedBy = {};  // model actions after which it stays, marked out of date
  // Frees the block and clears its pointer; nothing when none is held.
  void (*release)(Problem *lp);
  // Null when invalidatedBy is empty.
  void (*invalidate)(Problem *lp) = nullptr;

  // The rest are null for a block that does not need them.
  // Attaches an empty block when none is held. Throws std::bad_alloc.
  void (*create)(Problem *lp) = nullptr;
  // Gives a clone its own copy of the block, when the source holds one.
  // Throws std::bad_alloc.
  void (*copy)(const Problem &from, Problem &to) = nullptr;
  // A block that follows the structural columns: room for numCols (allocates,
  // changes nothing; throws std::bad_alloc), growth to numCols new columns,
  // taking back columns from `count` on that were just added, and deletion of
  // the columns whose map entry is -1 with the others renumbered.
  void (*reserveColumns)(Problem *lp, int numCols) = nullptr;
  void (*addColumns)(Problem *lp, int numCols) = nullptr;
  void (*truncateColumns)(Problem *lp, int count) = nullptr;
  void (*deleteColumns)(Problem *lp, int oldCount, const int *map) = nullptr;
  // True while the block holds a result that an edit would have to follow
  // (a kept reduced problem), so that dropping it deserves a warning.
  bool (*holdsResult)(const Problem *lp) = nullptr;
};

// The record of one kind; defined by the registry.
const AttachmentOps &attachmentOps(AttachmentKind kind);

void releaseAttachment(Problem *lp, AttachmentKind kind);
void createAttachment(Problem *lp, AttachmentKind kind);
// Every block, in release order.
void releaseAllAttachments(Problem *lp);
// The release and invalidate operations that one action calls for.
void applyToAttachments(Problem *lp, ModelAction action);
// Clone and column hooks, over every block that has them.
void copyAttachments(const Problem &from, Problem &to);
void reserveAttachedColumns(Problem *lp, int numCols);
void addAttachedColumns(Problem *lp, int numCols);
void truncateAttachedColumns(Problem *lp, int count);
void deleteAttachedColumns(Problem *lp, int oldCount, const int *map);

// The solution a search attached to the Problem holds (a MIP's incumbent), in
// the user's terms: objective, column values and row slacks (rhs minus
// activity); any output may be null. 0, 1217 without a search, 3023 when the
// search has no solution. Defined by the registry, so that the readers of
// results need not know which subsystem keeps it.
int attachedSolutionPoint(const Problem *lp, double *objective, EnvVector<double> *x, EnvVector<double> *slack);

// Whether the block of `kind` holds a result an edit must follow or drop.
bool attachmentHoldsResult(const Problem *lp, AttachmentKind kind);

// The model's own: the scale factors of LpData.
void freeScaleFactors(Problem *lp);

} // namespace qvn
