// QVNchgprobtype: moves a problem between the types by attaching or dropping
// integer and quadratic data; the type itself always follows recomputeType.
#include "model/attachments.h"
#include "model/edit.h"
#include "model/mip_data.h"
#include "runtime/environment.h"

using namespace qvn;

namespace {

void dropIntegerData(Problem *lp) {
  lp->lpData->ctype = EnvVector<char>();
  dropMipAttachments(lp);
}

void dropQuadObjective(Environment *env, Problem *lp) {
  if (!lp->qpData) return;
  QVNmsg(env->resultsChannel, "Freeing QP data.\n");
  releaseAttachment(lp, AttachmentKind::kQuadObjective);
}

void createIntegerData(Problem *lp) {
  LpData &d = *lp->lpData;
  if (d.ctype.empty()) d.ctype.assign(static_cast<size_t>(d.colSpace), 'C');
}

void freeFixed(Environment *env, Problem *lp) {
  // A name change frees the fixed problem and nothing that a type change keeps.
  modelChanged(env, lp, ModelEvent::kNamesChanged);
}

// A fixed problem needs the integer solution of a finished MIP search.
int makeFixedProblem(Problem *lp) { return lp->mipSearch ? QVNERR_NO_INT_X : QVNERR_NO_SOLN; }

} // namespace

extern "C" {

QVN_API int QVNchgprobtype(QVNCENVptr cenv, QVNLPptr lp, int type) {
  auto *env = const_cast<Environment *>(cenv);
  return guarded(env, [&]() -> int {
    if (!problemOfEnv(env, lp) || !checkProblemFast(lp)) return QVNERR_NO_PROBLEM;
    if (lp->probType == type) return 0;
    QVN_TRY(flushCache(env, lp));
    const int from = lp->probType;
    // Leaving a fixed type: the held fixed problem goes and the type is computed again.
    if (isFixedType(from) && !isFixedType(type)) {
      freeFixed(env, lp);
      lp->probType = kProbLP;
    }
    const bool wasQuadratic = lp->qpData != nullptr;
    switch (type) {
    case kProbLP:
      dropIntegerData(lp);
      dropQuadObjective(env, lp);
      releaseAttachment(lp, AttachmentKind::kQuadConstraints);
      modelChanged(env, lp, ModelEvent::kProbTypeChanged);
      if (wasQuadratic) modelChanged(env, lp, ModelEvent::kOrderChanged);
      break;
    case kProbMILP:
      if (from == kProbMILP || from == kProbFixedMILP) {
        freeFixed(env, lp);
        lp->probType = kProbMILP;
        break;
      }
      if (wasQuadratic) modelChanged(env, lp, ModelEvent::kOrderChanged);
      dropQuadObjective(env, lp);
      releaseAttachment(lp, AttachmentKind::kQuadConstraints);
      modelChanged(env, lp, ModelEvent::kProbTypeChanged);
      createIntegerData(lp);
      break;
    case kProbFixedMILP:
      if (from != kProbMILP && from != kProbFixedMILP) return QVNERR_NOT_MILPCLASS;
      return makeFixedProblem(lp);
    case kProbQP:
      if (from == kProbQP) {
        modelChanged(env, lp, ModelEvent::kOrderChanged);
        break;
      }
      createAttachment(lp, AttachmentKind::kQuadObjective);
      dropIntegerData(lp);
      releaseAttachment(lp, AttachmentKind::kQuadConstraints);
      modelChanged(env, lp, ModelEvent::kProbTypeChanged);
      modelChanged(env, lp, ModelEvent::kOrderChanged);
      break;
    case kProbMIQP:
      if (from == kProbMIQP || from == kProbFixedMIQP) {
        freeFixed(env, lp);
        lp->probType = kProbMIQP;
        break;
      }
      createAttachment(lp, AttachmentKind::kQuadObjective);
      createIntegerData(lp);
      if (wasQuadratic) modelChanged(env, lp, ModelEvent::kOrderChanged);
      releaseAttachment(lp, AttachmentKind::kQuadConstraints);
      modelChanged(env, lp, ModelEvent::kProbTypeChanged);
      break;
    case kProbFixedMIQP:
      if (from != kProbMIQP && from != kProbFixedMIQP) return QVNERR_NOT_MIQPCLASS;
      return makeFixedProblem(lp);
    case kProbQCP:
      dropIntegerData(lp);
      createAttachment(lp, AttachmentKind::kQuadConstraints);
      recomputeType(lp);
      modelChanged(env, lp, ModelEvent::kProbTypeChanged);
      modelChanged(env, lp, ModelEvent::kOrderChanged);
      break;
    case kProbMIQCP:
      if (from == kProbMIQCP || from == kProbFixedMIQCP) {
        freeFixed(env, lp);
        lp->probType = kProbMIQCP;
        break;
      }
      if (wasQuadratic) modelChanged(env, lp, ModelEvent::kOrderChanged);
      modelChanged(env, lp, ModelEvent::kProbTypeChanged);
      createIntegerData(lp);
      createAttachment(lp, AttachmentKind::kQuadConstraints);
      break;
    case kProbFixedMIQCP:
      if (from != kProbMIQCP && from != kProbFixedMIQCP) return QVNERR_NOT_MIQCPCLASS;
      return makeFixedProblem(lp);
    default:
      return QVNERR_BAD_PROB_TYPE;
    }
    recomputeType(lp);
    return 0;
  });
}

} // extern "C"
