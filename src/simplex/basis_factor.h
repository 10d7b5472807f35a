// The factorized basis as the simplex loops see it: the sparse LU of the
// basis columns of [A, -I] with its table of operations, and the description
// of those columns that the factor reads.
#pragma once
#include "runtime/alloc.h"
#include "simplex/hvector.h"
#include "simplex/lu/lu_factor.h"
#include "simplex/work_lp.h"

namespace qvn {

struct GeneralParams;

struct BasisFactor {
  Environment *env = nullptr;
  const WorkLp *lp = nullptr;
  LuFactor *lu = nullptr;
  LuBasis basis;
  double markowitz = 0.01;
  EnvVector<int> logicalIndex;     // row i of the logical column of row i
  EnvVector<double> logicalValue;  // its value, -1
  bool mustRefactor = false;
  ~BasisFactor() { luFree(lu); }
};

// The factor's options from the Environment's parameters at this moment, with
// its messages going to the Environment's channels: the memory notes to the
// results channel, the repair and threshold notes to the log when the
// simplex display is on.
LuOptions factorOptions(Environment *env);
// The Markowitz threshold a run starts from: QVN_PARAM_EPMRK, or 0.9 under
// QVN_PARAM_NUMERICALEMPHASIS while EPMRK has its default 0.01.
double markowitzWork(const GeneralParams &p);

// Sizes the factor for lp; head is the caller's basis header.
int factorSetup(BasisFactor &f, Environment *env, const WorkLp &lp, int *head);
// Factors the basis in head. 0, kLuBasisChanged when dependent columns were
// replaced by logicals (listed in the factor's repair arrays), or an error.
int factorHead(BasisFactor &f);
// x := B^{-1} x (by rows in, by basis position out).
inline void ftran(BasisFactor &f, HVector &x) { f.lu->ops->ftranSparse(*f.lu, x); }
// As ftran, keeping the result for the column replacement that follows.
inline void ftranForUpdate(BasisFactor &f, HVector &x) { f.lu->ops->ftranForUpdate(*f.lu, x); }
// y := B^{-T} y (by basis position in, by rows out).
inline void btran(BasisFactor &f, HVector &y) { f.lu->ops->btranSparse(*f.lu, y); }
// Replaces the column at `pos` by the one last given to ftranForUpdate.
inline void updateFactor(BasisFactor &f, int pos, double alpha) {
  if (f.lu->ops->update(*f.lu, pos, alpha) != 0) f.mustRefactor = true;
}
inline bool refactorDue(const BasisFactor &f) { return f.mustRefactor || needFactor(*f.lu); }

} // namespace qvn
