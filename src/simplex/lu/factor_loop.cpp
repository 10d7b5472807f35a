// The factor object's life (creation, kinds, release), the table of operations
// per kind, and the factor loop around one factorization: retries on memory,
// the dense fallback, raised thresholds and the repair of a singular basis by
// the logicals of the rows left unpivoted.
#include <algorithm>
#include <new>

#include "simplex/lu/lu_internal.h"

namespace qvn {

namespace {

template <class Real> constexpr LuOps makeOps(int kind) {
  return LuOps{kind,
               luFactorize<Real>,
               luFtran<Real>,
               luFtranSparse<Real>,
               luFtranForUpdate<Real>,
               luBtran<Real>,
               luBtranSparse<Real>,
               luBtranUnit<Real>,
               luUpdate<Real>,
               luEstimateCondition<Real>};
}

const LuOps kOpsDouble = makeOps<double>(0);
const LuOps kOpsExtended = makeOps<long double>(1);

double raisedThreshold(double u) {
  const double next = u < 0.1 ? 0.1 : u + 0.1;
  return next > 0.99999 ? 0.99999 : next;
}

void tell(const LuFactor &f, LuMessage what, double value = 0.0) {
  const LuMessageSink &sink = f.options.messages;
  if (sink.message) sink.message(sink.context, what, value);
}

} // namespace

const LuOps *luOpsForKind(int kind) { return kind == 1 ? &kOpsExtended : &kOpsDouble; }

template <class Real> void luAllocateWork(LuFactor &f) {
  LuValues<Real> &v = luValues<Real>(f);
  v.uDiagonal.assign(f.posCapacity, Real(0));
  v.workRows.assign(f.m, Real(0));
  v.workCols.assign(f.m, Real(0));
  v.spikeValue.assign(f.m, Real(0));
}

template <class Real> void luReleaseValues(LuFactor &f) { luValues<Real>(f) = LuValues<Real>(); }

LuFactor *luCreate(const LuOptions &options, int m, int *status) {
  *status = 0;
  LuFactor *f = nullptr;
  try {
    f = envNew<LuFactor>();
    f->options = options;
    f->m = m;
    f->kind = options.startKind > 0 ? 1 : 0;
    f->ops = luOpsForKind(f->kind);
    f->dropTol = f->kind == 1 ? 1e-18 : 1e-13;
    f->singletonOrder = f->kind == 1 ? 1 : 0;
    if (options.refactorEvery <= 0) {
      f->updateLimit = 10000;
      f->autoLimit = true;
    } else {
      f->updateLimit = options.refactorEvery - 1;
      f->autoLimit = false;
    }
    const int singlim = options.singularLimit;
    f->singularLimit = singlim;
    f->repairedFixed = m < 10 ? 0 : m < 100 ? 1 : m < 1000 ? 2 : m < 10000 ? 3 : 4;
    if (singlim != 0 && f->repairedFixed >= singlim) f->repairedFixed = singlim - 1;
    f->rowMultiplier = options.rowMultiplier;
    f->colMultiplier = options.colMultiplier;
    f->markowitzWork = options.markowitz;
    f->absTol = options.absTol;
    // Room for the positions that updates append; small problems refactor on
    // running out rather than hold arrays far larger than themselves.
    f->posCapacity = m + std::min(f->updateLimit, std::max(1000, m)) + 1;

    const int n = m, cap = f->posCapacity;
    for (LineFile *file : {&f->rowFile, &f->colFile}) {
      file->start.assign(n, 0);
      file->count.assign(n, 0);
      file->cap.assign(n, 0);
    }
    for (LineFile *file : {&f->uRows, &f->uCols}) {
      file->start.assign(cap, 0);
      file->count.assign(cap, 0);
      file->cap.assign(cap, 0);
    }
    f->rowBucketHead.assign(n + 2, -1);
    f->colBucketHead.assign(n + 2, -1);
    for (EnvVector<int> *a : {&f->rowNext, &f->rowPrev, &f->colNext, &f->colPrev, &f->rowBucketKey, &f->colBucketKey,
                              &f->lPivotRow, &f->lEtaOfRow, &f->rowPos, &f->colPos, &f->positionNz, &f->rowMark,
                              &f->colMark, &f->colActive, &f->lineWork, &f->rowList, &f->outList, &f->spikeIndex,
                              &f->dfsEdge, &f->dfsOrder, &f->dfsMark})
      a->assign(n, 0);
    f->rowState.assign(n, 0);
    f->colState.assign(n, 0);
    f->lStart.assign(n + 1, 0);
    f->lRowStart.assign(n + 1, 0);
    f->pivotRowOf.assign(cap, -1);
    f->pivotColOf.assign(cap, -1);
    f->etaPivotRow.assign(cap, 0);
    f->etaStart.assign(cap + 1, 0);
    f->etaMark.assign(cap, 0);
    f->etaLastOfRow.assign(n, -1);
    f->heap.assign(std::max(2 * n, cap), 0);
    f->sortWork.assign(cap, 0);
    if (f->kind == 1)
      luAllocateWork<long double>(*f);
    else
      luAllocateWork<double>(*f);
  } catch (const std::bad_alloc &) {
    envDelete(f);
    *status = QVNERR_NO_MEMORY;
    return nullptr;
  }
  return f;
}

void luFree(LuFactor *&f) { envDelete(f); }

int luSetKind(LuFactor &f, int kind) {
  kind = kind == 1 ? 1 : 0;
  if (kind == f.kind) return 0;
  try {
    if (kind == 1) {
      luReleaseValues<double>(f);
      luAllocateWork<long double>(f);
    } else {
      luReleaseValues<long double>(f);
      luAllocateWork<double>(f);
    }
  } catch (const std::bad_alloc &) {
    return QVNERR_NO_MEMORY;
  }
  // Index files are rebuilt with their values by the next factorization.
  f.rowFile.index = EnvVector<int>();
  f.uRows.index = EnvVector<int>();
  f.uCols.index = EnvVector<int>();
  f.lRowEta = EnvVector<int>();
  f.etaIndex = EnvVector<int>();
  f.etaCapacity = f.etaUsed = 0;
  f.kind = kind;
  f.ops = luOpsForKind(kind);
  f.dropTol = kind == 1 ? 1e-18 : 1e-13;
  if (kind == 1) f.singletonOrder = 1;
  f.valid = false;
  return 0;
}

namespace {

// Every unpivoted position takes the logical of an unpivoted row.
void repairBasis(LuFactor &f, LuBasis &basis) {
  const size_t count = std::min(f.unpivotedPositions.size(), f.unpivotedRows.size());
  for (size_t q = 0; q < count; ++q) {
    const int position = f.unpivotedPositions[q];
    const int row = f.unpivotedRows[q];
    const int entering = basis.logicalOf(basis.context, row);
    f.repairPosition.push_back(position);
    f.repairLeaving.push_back(basis.head[position]);
    f.repairEntering.push_back(entering);
    basis.head[position] = entering;
  }
}

} // namespace

int factorBasis(LuFactor &f, LuBasis &basis, double *markowitz, double absTol, bool allowRepair, int mode) {
  if (basis.m != f.m) return QVNERR_BAD_ARGUMENT;
  const double startThreshold = *markowitz;
  const double startRowMultiplier = f.rowMultiplier, startColMultiplier = f.colMultiplier;
  const bool hadUpdates = f.updateCount > 0;
  f.markowitzWork = startThreshold;
  f.absTol = absTol;
  f.repairPosition.clear();
  f.repairLeaving.clear();
  f.repairEntering.clear();
  bool repaired = false, raisedForSingular = false;
  int status = 0;
  try {
    f.repairPosition.reserve(basis.m);
    f.repairLeaving.reserve(basis.m);
    f.repairEntering.reserve(basis.m);
  } catch (const std::bad_alloc &) {
    return QVNERR_NO_MEMORY;
  }
  for (int attempt = 0; attempt <= 10; ++attempt) {
    status = f.ops->factorize(f, basis);
    if (status == 0) break;
    if (status == QVNERR_NO_MEMORY) {
      if (f.rowMultiplier == startRowMultiplier && f.colMultiplier == startColMultiplier && f.rowMultiplier > 1.1) {
        tell(f, LuMessage::kCompressing);
        f.rowMultiplier = f.colMultiplier = 1.1;
        f.compressMode = true;
        continue;
      }
      return QVNERR_NO_MEMORY;
    }
    if (status == kLuDenseNoMemory) {
      tell(f, LuMessage::kDenseNoMemory);
      f.denseThreshold = 10.0;
      continue;
    }
    if (status == kLuRaiseThreshold) {
      f.markowitzWork = raisedThreshold(f.markowitzWork);
      continue;
    }
    // Singular.
    if (mode & kLuModeNoRepairReturn) return kLuBasisChanged;
    if (!allowRepair) return QVNERR_SINGULAR;
    if (hadUpdates && f.kind == 0 && !f.kindSwitched && f.options.extendedRetry) {
      // A basis that went singular during updates gets one retry in extended precision.
      f.kindSwitched = true;
      QVN_TRY(luSetKind(f, 1));
      continue;
    }
    if (!raisedForSingular) {
      f.markowitzWork = raisedThreshold(f.markowitzWork);
      raisedForSingular = true;
    }
    ++f.singularCount;
    if (f.singularCount >= f.singularLimit) return QVNERR_SINGULAR;
    tell(f, LuMessage::kRepairing);
    repairBasis(f, basis);
    repaired = true;
  }
  // A factor rejected only for its pivot ratio after all retries is still usable.
  if (status == kLuRaiseThreshold) status = 0;
  if (status != 0) return status;
  *markowitz = f.markowitzWork;
  if (f.markowitzWork - startThreshold > 0.01) tell(f, LuMessage::kThresholdRaised, f.markowitzWork);
  return repaired ? kLuBasisChanged : 0;
}

int factorColumns(LuFactor &f, const LuBasis &basis, double markowitz, double absTol) {
  if (basis.m != f.m) return QVNERR_BAD_ARGUMENT;
  f.markowitzWork = markowitz;
  f.absTol = absTol;
  int status = f.ops->factorize(f, basis);
  if (status == kLuDenseNoMemory) {
    tell(f, LuMessage::kDenseNoMemory);
    f.denseThreshold = 10.0;
    status = f.ops->factorize(f, basis);
  }
  if (status == kLuRaiseThreshold) return 0;
  if (status == QVNERR_SINGULAR) return kLuBasisChanged;
  return status;
}

bool needFactor(const LuFactor &f) { return f.needFactorFlag || !f.valid; }

void luVectorInit(LuVector &v, int size) {
  v.size = size;
  v.count = 0;
  v.index.assign(size, 0);
  v.array.assign(size, 0.0);
}

void luVectorClear(LuVector &v) {
  if (v.count >= 0 && v.count < v.size / 4) {
    for (int q = 0; q < v.count; ++q) v.array[v.index[q]] = 0.0;
  } else {
    std::fill(v.array.begin(), v.array.end(), 0.0);
  }
  v.count = 0;
}

} // namespace qvn
