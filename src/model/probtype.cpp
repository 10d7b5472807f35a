// QVNchgprobtype: moves a problem between the types by attaching or dropping
// integer and quadratic data; the type itself always follows recomputeType.
#include <algorithm>
#include <cmath>

#include "model/attachments.h"
#include "model/copy.h"
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

constexpr double kFixedGap = 1e-10;  // bounds this close make a binary fixed

// Integer bounds rounded inward by the integrality tolerance; true when a
// bound moved by more than it.
bool roundIntegerBounds(LpData &d, int j, double tol) {
  bool moved = false;
  double &lo = d.lowerBound[j], &up = d.upperBound[j];
  if (d.ctype[j] == 'B' && !(lo > -kInfinity && up < kInfinity && up - lo <= kFixedGap)) {
    moved = lo != 0.0 || up != 1.0;
    lo = 0.0, up = 1.0;
  }
  if (lo > -kInfinity) {
    const double r = std::ceil(lo - tol);
    moved = moved || std::fabs(r - lo) > tol;
    lo = r;
  }
  if (up < kInfinity) {
    const double r = std::floor(up + tol);
    moved = moved || std::fabs(r - up) > tol;
    up = r;
  }
  return moved;
}

// The continuous problem left when every integer column is fixed at the
// incumbent: a copy of the model whose integer columns ('B', 'I', 'N', and
// the semi-continuous 'S', whose on/off choice is discrete too) take both
// bounds from the MIP solution. 1217 without a MIP result, 3023 without an
// integer solution.
int makeFixedProblem(Environment *env, Problem *lp, int type) {
  EnvVector<double> x;
  QVN_TRY(attachedSolutionPoint(lp, nullptr, &x, nullptr));
  freeFixed(env, lp);
  freeScaleFactors(lp);
  Problem *fixed = nullptr;
  QVN_TRY(createProblem(env, lp->lpData->probName, &fixed));
  int status = runCaught([&]() { return cloneInto(env, lp, fixed); });
  if (status != 0) {
    freeProblem(env, fixed);
    return status;
  }
  LpData &f = *fixed->lpData;
  const double tol = std::max(env->mipParams->epint, 1e-9);
  int rounded = 0;
  for (int j = 0; j < f.numCols && !f.ctype.empty(); ++j) {
    if (f.ctype[j] == 'C') continue;
    if (f.ctype[j] != 'S' && roundIntegerBounds(f, j, tol)) ++rounded;
    f.lowerBound[j] = f.upperBound[j] = x[j];
  }
  if (rounded > 0) QVNmsg(env->warningChannel, "Warning:  Non-integral bounds for integer variables rounded.\n");
  f.ctype = EnvVector<char>();
  if (fixed->mipData) destroyMipData(fixed->mipData);
  recomputeType(fixed);
  if (lp->basisData) {
    status = runCaught([&]() {
      fixed->basisData = envNew<BasisData>(*lp->basisData);
      return 0;
    });
  }
  if (status != 0) {
    freeProblem(env, fixed);
    return status;
  }
  lp->fixedProblem = fixed;
  lp->probType = type;
  return 0;
}

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
      return makeFixedProblem(env, lp, type);
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
      return makeFixedProblem(env, lp, type);
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
      return makeFixedProblem(env, lp, type);
    default:
      return QVNERR_BAD_PROB_TYPE;
    }
    recomputeType(lp);
    return 0;
  });
}

} // extern "C"
