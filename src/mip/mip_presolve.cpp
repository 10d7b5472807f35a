// Integer presolve around branch and bound. The presolve core shrinks the
// model with integer-aware reductions (see src/presolve); the reduced problem
// gets the column types and the MIP start, the search runs on it, and its
// incumbents come back through the replay log to the caller's columns.
#include "mip/mip_presolve.h"

#include <algorithm>
#include <cmath>

#include "mip/mip_run.h"
#include "model/mip_data.h"
#include "presolve/presolve_state.h"
#include "runtime/environment.h"
#include "simplex/engine.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

namespace {

// Row violation an incumbent taken back may reach when its integer columns
// are rounded, as for the candidates of the search itself.
constexpr double kRoundedRowTolerance = 1e-9;
// Limits of the LP that makes such an incumbent exact: short, and a small
// part of the run's time limit, which the run has mostly used by then.
constexpr int kExactIterations = 20000;
constexpr double kExactSeconds = 1.0, kExactShare = 0.02;

// The user's start on the reduced columns: a value of a column that lives on
// keeps its place; columns merged with another (continuous pairs) have no
// single value and are left out, as are removed columns.
int crushStart(Environment *env, const Problem *lp, const PresolveState &s, Problem *red) {
  const MipData *data = lp->mipData;
  if (!data || !data->startData || data->startData->column.empty()) return 0;
  EnvVector<char> merged(static_cast<size_t>(s.numCols), 0);
  for (int r = s.head; r >= 0; r = s.records[r].next) {
    const ReductionRecord &rec = s.records[r];
    if (rec.kind == kRecMergedColumns) merged[rec.index] = merged[rec.other] = 1;
  }
  const MipStartData &start = *data->startData;
  EnvVector<int> cols;
  EnvVector<double> vals;
  for (size_t k = 0; k < start.column.size(); ++k) {
    const int j = start.column[k];
    if (j < 0 || j >= s.numCols || s.colMap[j] < 0 || merged[j]) continue;
    cols.push_back(s.colMap[j]);
    vals.push_back(start.value[k]);
  }
  if (cols.empty()) return 0;
  return QVNcopymipstart(env, red, static_cast<int>(cols.size()), cols.data(), vals.data());
}

int copyTypes(Environment *env, const Problem *lp, const PresolveState &s, Problem *red) {
  const LpData &d = *lp->lpData;
  EnvVector<char> types(s.redColOrig.size() + 1, 'C');
  for (size_t k = 0; k < s.redColOrig.size(); ++k) types[k] = d.ctype.empty() ? 'C' : d.ctype[s.redColOrig[k]];
  return QVNcopyctype(env, red, types.data());
}

// Objective of a point of lp, minimization sense, offset included.
double objectiveOf(const LpData &d, const double *x) {
  double z = d.objOffset;
  for (int j = 0; j < d.numCols; ++j) z += d.objCoef[j] * x[j];
  return (d.objSense >= 0 ? 1.0 : -1.0) * z;
}

// The sets on the reduced columns. A member that presolve fixed at 0 leaves
// an SOS1; one fixed elsewhere forces the other members of its SOS1 to 0
// (two of them contradict the set). An SOS2 whose members presolve touched
// at all would change its adjacency: presolve is then given up (*giveUp).
// Sets left with one member (SOS1) or two adjacent ones (SOS2) are redundant.
int reduceSets(Environment *env, const Problem *lp, const PresolveState &s, Problem *red, bool display,
               bool *giveUp) {
  const SosData *sos = heldSos(lp);
  *giveUp = false;
  if (!sos) return 0;
  EnvVector<char> types;
  EnvVector<int> starts, members, zeroCols;
  EnvVector<double> weights;
  int redundant = 0;
  for (int t = 0; t < sos->count; ++t) {
    const int begin = sos->start[t], end = sos->start[t + 1];
    int nonzero = 0, removed = 0;
    const int first = static_cast<int>(members.size());
    for (int k = begin; k < end; ++k) {
      const int j = sos->member[k];
      if (s.colMap[j] >= 0) {
        members.push_back(s.colMap[j]);
        weights.push_back(sos->weight[k]);
        continue;
      }
      ++removed;
      if (std::fabs(s.colLower[j]) > 1e-10) ++nonzero;
    }
    if (sos->type[t] == '2' && removed > 0) {
      *giveUp = true;
      return 0;
    }
    const int kept = static_cast<int>(members.size()) - first;
    if (nonzero > 1) {
      if (display) QVNmsg(env->resultsChannel, "Inconsistency between regular and SOS constraints.\n");
      return QVNERR_PRESLV_INF;
    }
    if (nonzero == 1) {
      // The fixed member is the one nonzero: the others go to 0.
      for (int k = first; k < first + kept; ++k) {
        const int j = s.redColOrig[members[k]];
        if (s.colLower[j] > 1e-10 || s.colUpper[j] < -1e-10) {
          if (display) QVNmsg(env->resultsChannel, "Inconsistency between regular and SOS constraints.\n");
          return QVNERR_PRESLV_INF;
        }
        zeroCols.push_back(members[k]);
      }
    }
    if (nonzero == 1 || kept <= (sos->type[t] == '2' ? 2 : 1)) {
      members.resize(static_cast<size_t>(first));
      weights.resize(static_cast<size_t>(first));
      ++redundant;
      continue;
    }
    types.push_back(sos->type[t]);
    starts.push_back(first);
  }
  if (display && redundant > 0)
    QVNmsg(env->resultsChannel, "MIP Presolve eliminated %d redundant SOS constraints.\n", redundant);
  if (!red) return 0;
  if (!types.empty())
    QVN_TRY(QVNcopysos(env, red, static_cast<int>(types.size()), static_cast<int>(members.size()), types.data(),
                       starts.data(), members.data(), weights.data(), nullptr));
  if (!zeroCols.empty()) {
    EnvVector<char> both(zeroCols.size(), 'B');
    EnvVector<double> zeros(zeroCols.size(), 0.0);
    QVN_TRY(QVNchgbds(env, red, static_cast<int>(zeroCols.size()), zeroCols.data(), both.data(), zeros.data()));
  }
  return 0;
}

} // namespace

bool mipPresolveWanted(const Environment *env, const Problem *lp) {
  if (env->generalParams->preind == 0) return false;
  // Lazy constraints, user cuts and the callbacks that see or add rows work
  // in the caller's columns; until they are carried into a reduced problem
  // the search runs on the model as it is, or it could accept a point that
  // breaks a lazy row.
  const MipData *m = lp->mipData;
  if (m && (m->lazyConstraints || m->userCuts)) return false;
  for (const auto &slot : env->mipCallbacks)
    if (slot.function) return false;
  const LpData &d = *lp->lpData;
  for (int j = 0; j < d.numCols && !d.ctype.empty(); ++j)
    if (d.ctype[j] == 'S' || d.ctype[j] == 'N') return false;
  return d.numCols > 0;
}

PresolveState *mipPresolveState(const Problem *lp) {
  PresolveState *s = lp->presolved;
  return s && s->mip && s->ran ? s : nullptr;
}

int mipPresolve(Environment *env, Problem *lp, int mode) {
  if (mode == 2) return 0;  // structure only: nothing that changes the model
  const int status = runMipPresolveCore(env, lp);
  if (status != 0) return status;
  PresolveState &s = *lp->presolved;
  if (s.nothingDone) return 0;
  Problem *red = s.reduced;
  if (red) QVN_TRY(copyTypes(env, lp, s, red));
  bool giveUp = false;
  const bool display = env->generalParams->simdisplay != 0 && env->mipParams->mipdisplay > 0;
  QVN_TRY(reduceSets(env, lp, s, red, display, &giveUp));
  if (giveUp) {
    // The search takes the model as it is.
    dropPresolveResult(lp);
    return 0;
  }
  if (red) QVN_TRY(crushStart(env, lp, s, red));
  return 0;
}

int presolveVerdictStatus(const PresolveState &s, int verdict) {
  // A contradiction among rows and bounds proves infeasibility; an argument
  // about the objective proves only that no finite optimum exists.
  if (verdict == QVNERR_PRESLV_UNBD) return 119;
  if (s.dualVerdict) return 119;
  return 103;
}

int presolvedRunStatus(const PresolveState &s, int reducedStatus) {
  // Fixings by the objective may hide the feasible points of an unbounded
  // model; a ray of the reduced problem need not be one of the original
  // when rows were tightened.
  if (reducedStatus == 103 && s.dualUsed) return 119;
  if (reducedStatus == 118 && s.primalFlag) return 119;
  return reducedStatus;
}

namespace {

// The caller's model with its integer columns fixed at the values of
// `rounded`, solved over the continuous columns by a relaxation of its own
// (the search ran on the reduced problem): a point whose integers are exact,
// in `exact`, which stays empty when the LP does not end optimal within a
// short limit. 0 or an error of memory.
int solveAroundIntegers(Environment *env, Problem *lp, const MipSearch &original, const EnvVector<double> &rounded,
                        EnvVector<double> &exact) {
  const LpData &d = *lp->lpData;
  EnvVector<int> cols;
  EnvVector<double> lower, upper;
  for (int j = 0; j < d.numCols; ++j) {
    const bool integer = original.kind[j] == ColKind::kInteger || original.kind[j] == ColKind::kSemiInteger;
    if (!integer && original.kind[j] != ColKind::kSemiContinuous) continue;
    cols.push_back(j);
    // A semi-continuous column stays on its side: off, or inside its range.
    const bool off = std::fabs(rounded[j]) <= kRoundedRowTolerance;
    lower.push_back(integer || off ? rounded[j] : original.semiLower[j]);
    upper.push_back(integer || off ? rounded[j] : d.upperBound[j]);
  }
  if (cols.empty() || static_cast<int>(cols.size()) == d.numCols) return 0;
  LpRelaxation *r = nullptr;
  const int created = relaxCreate(env, d, &r);
  if (created != 0) return created == QVNERR_NO_MEMORY ? created : 0;
  struct Release {
    LpRelaxation *&r;
    ~Release() { relaxFree(r); }
  } release{r};
  if (relaxChangeBounds(*r, static_cast<int>(cols.size()), cols.data(), lower.data(), upper.data()) != 0) return 0;
  RelaxSolveLimits limits;
  limits.iterationLimit = kExactIterations;
  const double tilim = env->generalParams->tilim;
  limits.timeLimit = std::min(kExactSeconds, kExactShare * tilim);
  int status = 0;
  const int failure = relaxSolve(*r, limits, &status);
  if (failure == QVNERR_NO_MEMORY) return failure;
  if (failure != 0 || status != kRunOptimal) return 0;
  exact.assign(relaxPrimal(*r), relaxPrimal(*r) + d.numCols);
  for (int j = 0; j < d.numCols; ++j)
    if (original.kind[j] == ColKind::kInteger || original.kind[j] == ColKind::kSemiInteger) exact[j] = rounded[j];
  return 0;
}

} // namespace

int adoptReducedResult(Environment *env, Problem *lp, MipSearch &original) {
  const PresolveState &s = *lp->presolved;
  const LpData &d = *lp->lpData;
  const MipSearch *reduced = s.reduced ? s.reduced->mipSearch : nullptr;
  if (reduced) {
    original.nodeCount = reduced->nodeCount;
    original.iterationTotal = reduced->iterationTotal;
    original.rootIterations = reduced->rootIterations;
    original.rootSolved = reduced->rootSolved;
    original.rootObjective = reduced->rootObjective;
    original.rootBound = reduced->rootBound;
    original.rootIinf = reduced->rootIinf;
    original.bestBound = reduced->bestBound;
  }
  const bool haveReduced = reduced && reduced->incumbent.exists;
  if (s.reduced && !haveReduced) return 0;
  EnvVector<double> x(static_cast<size_t>(d.numCols), 0.0);
  const double *rx = haveReduced ? reduced->incumbent.x.data() : nullptr;
  QVN_TRY(QVNuncrushx(env, lp, x.data(), rx));
  if (!original.kind.empty()) {
    // Postsolve rebuilds removed columns from their rows, rounding included:
    // integer columns go back onto their integers where the rows hold as
    // tightly as before.
    EnvVector<double> rounded(x);
    for (int j = 0; j < d.numCols; ++j)
      if (original.kind[j] == ColKind::kInteger || original.kind[j] == ColKind::kSemiInteger)
        rounded[j] = std::round(rounded[j]);
    double integrality = 0.0;
    const double before = solutionViolation(d, original.kind, original.semiLower.data(), x.data(), &integrality);
    const double tolerance = std::max(kRoundedRowTolerance, before);
    if (solutionViolation(d, original.kind, original.semiLower.data(), rounded.data(), &integrality) <= tolerance) {
      x.swap(rounded);
    } else {
      EnvVector<double> exact;
      QVN_TRY(solveAroundIntegers(env, lp, original, rounded, exact));
      if (!exact.empty() &&
          solutionViolation(d, original.kind, original.semiLower.data(), exact.data(), &integrality) <= tolerance)
        x.swap(exact);
    }
  }
  const double z = objectiveOf(d, x.data());
  if (!s.reduced) original.bestBound = z;  // presolve alone settled it
  if (original.incumbent.exists && original.incumbent.objective <= z) return 0;
  original.incumbent.exists = true;
  original.incumbent.objective = z;
  original.incumbent.node = haveReduced ? reduced->incumbent.node : 0;
  original.incumbent.found = haveReduced ? reduced->incumbent.found : 1;
  original.incumbent.x.swap(x);
  return 0;
}

const MipSearch *activeSearch(const Problem *lp) {
  const PresolveState *s = mipPresolveState(lp);
  if (s && s->reduced && s->reduced->mipSearch) return s->reduced->mipSearch;
  return lp->mipSearch;
}

} // namespace qvn
