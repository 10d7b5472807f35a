// QVNcloneprob: an independent copy of the model, without solutions, bases or
// presolve state.
#include "model/copy.h"
#include "model/mip_data.h"
#include "model/names.h"
#include "model/problem.h"
#include "model/attachments.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

EnvVector<char *> namePointers(const NameStore &store, int count) {
  EnvVector<char *> out;
  if (!store.exists) return out;
  out.resize(static_cast<size_t>(count > 0 ? count : 1));
  for (int i = 0; i < count; ++i) out[i] = const_cast<char *>(store.name(i));
  return out;
}

} // namespace

int cloneInto(Environment *env, Problem *src, Problem *dst) {
  QVN_TRY(flushCache(env, src));
  const LpData &d = *src->lpData;
  GeneralParams &gp = *env->generalParams;
  // The copy gets no spare space: it is usually solved, not edited.
  const int saved[3] = {gp.extraRowSpace, gp.extraColSpace, gp.extraNzSpace};
  gp.extraRowSpace = gp.extraColSpace = gp.extraNzSpace = 0;
  EnvVector<int> starts(static_cast<size_t>(d.numCols > 0 ? d.numCols : 1));
  for (int j = 0; j < d.numCols; ++j) starts[j] = static_cast<int>(d.colStart[j]);
  EnvVector<char *> colNames, rowNames;
  int status = runCaught([&]() -> int {
    colNames = namePointers(d.colNames, d.numCols);
    rowNames = namePointers(d.rowNames, d.numRows);
    return 0;
  });
  if (status == 0)
    status = copyLpWithNames(env, dst, d.numCols, d.numRows, d.objSense, d.objCoef.data(), d.rhs.data(),
                             d.sense.data(), starts.data(), d.colCount.data(), d.rowIndex.data(),
                             d.coefValue.data(), d.lowerBound.data(), d.upperBound.data(),
                             d.rangeValue.empty() ? nullptr : d.rangeValue.data(),
                             colNames.empty() ? nullptr : colNames.data(),
                             rowNames.empty() ? nullptr : rowNames.data());
  gp.extraRowSpace = saved[0], gp.extraColSpace = saved[1], gp.extraNzSpace = saved[2];
  QVN_TRY(status);
  LpData &c = *dst->lpData;
  c.objOffset = d.objOffset;
  c.colDefaultNames = d.colDefaultNames;
  c.rowDefaultNames = d.rowDefaultNames;
  if (d.objName) {
    c.objName = envStrdup(d.objName);
    if (!c.objName) return QVNERR_NO_MEMORY;
  }
  if (!d.ctype.empty()) {
    c.ctype.assign(d.ctype.begin(), d.ctype.begin() + d.numColsWithRanges);
    c.ctype.resize(static_cast<size_t>(c.colSpace), 'C');
  }
  if (src->mipData) dst->mipData = copyMipData(*src->mipData);
  copyAttachments(*src, *dst);
  recomputeType(dst);
  return 0;
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API QVNLPptr QVNcloneprob(QVNCENVptr cenv, QVNCLPptr lp, int *status) {
  auto *env = const_cast<Environment *>(cenv);
  Problem *clone = nullptr;
  int s = guarded(env, [&]() -> int {
    if (!problemOfEnv(env, lp) || !checkProblemFast(lp)) return QVNERR_NO_PROBLEM;
    auto *src = const_cast<Problem *>(lp);
    QVN_TRY(createProblem(env, src->lpData->probName, &clone));
    int r = runCaught([&]() { return cloneInto(env, src, clone); });
    if (r != 0) freeProblem(env, clone);
    return r;
  });
  if (status) *status = s;
  return s ? nullptr : clone;
}

} // extern "C"
