// QVNqpopt: the optimizer that QVN_PARAM_QPMETHOD names. 0 and 4 run the
// barrier, the one optimizer here that solves a quadratic objective; the
// simplex methods serve a model without Q, and on a quadratic one say that
// they cannot.
#include "model/edit.h"
#include "quadratic/qp_data.h"
#include "runtime/environment.h"

using namespace qvn;

extern "C" {

QVN_API int QVNqpopt(QVNCENVptr cenv, QVNLPptr lp) {
  auto *env = const_cast<Environment *>(cenv);
  int method = 0;
  const int status = guardedProblem(env, lp, [&](Problem *) -> int {
    method = env->generalParams->qpmethod;
    return 0;
  });
  if (status != 0) return status;
  switch (method) {
  case 0:
  case 4: return QVNhybbaropt(env, lp, 0);
  case 1: return QVNprimopt(env, lp);
  case 2: return QVNdualopt(env, lp);
  case 5: return QVNsiftopt(env, lp);
  default:
    // The network and concurrent optimizers do not exist for either kind.
    return guardedProblem(env, lp, [&](Problem *p) -> int {
      return hasQuadObjType(p->probType) ? QVNERR_NOT_FOR_QP : QVNERR_BAD_ARGUMENT;
    });
  }
}

} // extern "C"
