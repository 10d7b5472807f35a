#include "simplex/basis_factor.h"

#include "runtime/environment.h"

namespace qvn {

namespace {

LuColumn workColumn(const void *context, int j) {
  const auto &f = *static_cast<const BasisFactor *>(context);
  const WorkLp &lp = *f.lp;
  if (j < lp.numCol) {
    const int begin = lp.aStart[j];
    return LuColumn{lp.aStart[j + 1] - begin, lp.aIndex.data() + begin, lp.aValue.data() + begin};
  }
  const int i = j - lp.numCol;
  return LuColumn{1, f.logicalIndex.data() + i, f.logicalValue.data() + i};
}

int logicalOfRow(const void *context, int row) {
  return static_cast<const BasisFactor *>(context)->lp->numCol + row;
}

void toChannels(void *context, LuMessage what, double value) {
  auto *env = static_cast<Environment *>(context);
  const bool log = env->generalParams->simdisplay > 0;
  switch (what) {
  case LuMessage::kCompressing: QVNmsg(env->resultsChannel, "Compressing row and column files.\n"); break;
  case LuMessage::kDenseNoMemory: QVNmsg(env->resultsChannel, "Not enough memory for dense factorization.\n"); break;
  case LuMessage::kRepairing:
    if (log) QVNmsg(env->logChannel, "Repairing basis singularity.\n");
    break;
  case LuMessage::kThresholdRaised:
    if (log) QVNmsg(env->logChannel, "Markowitz threshold set to %g\n", value);
    break;
  }
}

} // namespace

double markowitzWork(const GeneralParams &p) {
  // Numerical emphasis trades fill for stability, unless the caller chose a
  // threshold of his own.
  constexpr double kDefaultThreshold = 0.01, kEmphasisThreshold = 0.9;
  return p.numericalemphasis != 0 && p.epmrk == kDefaultThreshold ? kEmphasisThreshold : p.epmrk;
}

LuOptions factorOptions(Environment *env) {
  const GeneralParams &p = *env->generalParams;
  LuOptions o;
  // Parameter 1093: above 0 start extended; 0 start in double and retry a
  // singular refactorization once in extended; below 0 stay in double.
  o.startKind = p.factorExtendedPrecision > 0 ? 1 : 0;
  o.extendedRetry = p.factorExtendedPrecision == 0;
  o.refactorEvery = p.reinv;
  o.singularLimit = p.singlim;
  o.rowMultiplier = p.rfilemul;
  o.colMultiplier = p.cfilemul;
  o.markowitz = markowitzWork(p);
  o.absTol = p.singtol;
  o.messages.context = env;
  o.messages.message = toChannels;
  return o;
}

int factorSetup(BasisFactor &f, Environment *env, const WorkLp &lp, int *head) {
  f.env = env;
  f.lp = &lp;
  const int m = lp.numRow;
  f.logicalIndex.resize(static_cast<size_t>(m > 0 ? m : 1));
  for (int i = 0; i < m; ++i) f.logicalIndex[i] = i;
  f.logicalValue.assign(static_cast<size_t>(m > 0 ? m : 1), -1.0);
  int status = 0;
  luFree(f.lu);
  f.lu = luCreate(factorOptions(env), m, &status);
  if (!f.lu) return status ? status : QVNERR_NO_MEMORY;
  f.basis.m = m;
  f.basis.head = head;
  f.basis.context = &f;
  f.basis.column = workColumn;
  f.basis.logicalOf = logicalOfRow;
  f.markowitz = markowitzWork(*env->generalParams);
  // Both simplex loops compare each pivot as the row and the column see it
  // and refactor when the two drift apart, so the factors may run longer
  // cycles than a user without that check could afford.
  f.lu->pivotsChecked = true;
  return 0;
}

int factorHead(BasisFactor &f) {
  f.mustRefactor = false;
  return factorBasis(*f.lu, f.basis, &f.markowitz, 1e-13, true, 0);
}

} // namespace qvn
