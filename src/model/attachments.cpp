// The model's side of the registered blocks: it walks the records and calls
// what each provides.
#include "model/attachments.h"

namespace qvn {

namespace {

template <class Fn> void forEachAttachment(Fn &&fn) {
  for (int k = 0; k < static_cast<int>(AttachmentKind::kCount); ++k)
    fn(attachmentOps(static_cast<AttachmentKind>(k)));
}

} // namespace

void releaseAttachment(Problem *lp, AttachmentKind kind) { attachmentOps(kind).release(lp); }

void createAttachment(Problem *lp, AttachmentKind kind) { attachmentOps(kind).create(lp); }

void releaseAllAttachments(Problem *lp) {
  forEachAttachment([&](const AttachmentOps &ops) { ops.release(lp); });
}

void applyToAttachments(Problem *lp, ModelAction action) {
  forEachAttachment([&](const AttachmentOps &ops) {
    if (ops.releasedBy.has(action)) ops.release(lp);
    if (ops.invalidatedBy.has(action)) ops.invalidate(lp);
  });
}

void copyAttachments(const Problem &from, Problem &to) {
  forEachAttachment([&](const AttachmentOps &ops) {
    if (ops.copy) ops.copy(from, to);
  });
}

void reserveAttachedColumns(Problem *lp, int numCols) {
  forEachAttachment([&](const AttachmentOps &ops) {
    if (ops.reserveColumns) ops.reserveColumns(lp, numCols);
  });
}

void addAttachedColumns(Problem *lp, int numCols) {
  forEachAttachment([&](const AttachmentOps &ops) {
    if (ops.addColumns) ops.addColumns(lp, numCols);
  });
}

void truncateAttachedColumns(Problem *lp, int count) {
  forEachAttachment([&](const AttachmentOps &ops) {
    if (ops.truncateColumns) ops.truncateColumns(lp, count);
  });
}

void deleteAttachedColumns(Problem *lp, int oldCount, const int *map) {
  forEachAttachment([&](const AttachmentOps &ops) {
    if (ops.deleteColumns) ops.deleteColumns(lp, oldCount, map);
  });
}

bool attachmentHoldsResult(const Problem *lp, AttachmentKind kind) {
  const AttachmentOps &ops = attachmentOps(kind);
  return ops.holdsResult && ops.holdsResult(lp);
}

void freeScaleFactors(Problem *lp) {
  LpData &d = *lp->lpData;
  d.rowScale = d.colScale = nullptr;
  d.rowScaleSpace = EnvVector<double>();
  d.colScaleSpace = EnvVector<double>();
}

} // namespace qvn
