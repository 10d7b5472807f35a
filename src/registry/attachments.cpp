// The one list of the blocks that subsystems keep on a Problem. It sits above
// every subsystem, so that the model reaches them without depending on them.
#include "diagnostics/conflict.h"
#include "mip/mip_search.h"
#include "model/attachments.h"
#include "presolve/presolve_state.h"
#include "quadratic/qconstr_data.h"
#include "quadratic/qp_data.h"

namespace qvn {

namespace {

// Indexed by AttachmentKind, which is also the release order.
const AttachmentOps *const kAttachments[] = {
    &kQuadConstraintsAttachment,
    &kQuadObjectiveAttachment,
    &kPresolveAttachment,
    &kMipSearchAttachment,
    &kConflictAttachment,
};
static_assert(std::size(kAttachments) == static_cast<size_t>(AttachmentKind::kCount),
              "one record for every attachment kind");

} // namespace

const AttachmentOps &attachmentOps(AttachmentKind kind) { return *kAttachments[static_cast<int>(kind)]; }

int attachedSolutionPoint(const Problem *lp, double *objective, EnvVector<double> *x, EnvVector<double> *slack) {
  return mipSolutionPoint(lp, objective, x, slack);
}

} // namespace qvn
