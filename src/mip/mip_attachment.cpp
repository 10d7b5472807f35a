// How a Problem keeps its branch and bound search: the tree, incumbent and
// node LP describe the model as it was, so any change that frees the search
// (new data, a new run without advanced start) releases all of it.
#include "mip/mip_search.h"
#include "model/attachments.h"

namespace qvn {

namespace {

void releaseMipSearch(Problem *lp) { destroyMipSearch(lp->mipSearch); }

} // namespace

const AttachmentOps kMipSearchAttachment = {
    .name = "MIP search",
    .releasedBy = {ModelAction::kFreeMipSearch},
    .release = releaseMipSearch,
};

} // namespace qvn
