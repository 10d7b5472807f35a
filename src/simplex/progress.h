// Progress watch of a simplex loop. Both loops ask it once per iteration
// whether the objective of their phase still moves: a long run without
// progress starts a perturbation, and a perturbed loop that still does not
// move is a stall, which the loop answers with fresh values and tolerances.
//
// The merit is what the loop improves: the primal lowers it (the sum of
// infeasibilities in phase 1, the objective in phase 2), the dual raises it.
// It is computed only when a decision needs it, through the caller's
// function, so the check costs a few comparisons per iteration.
#pragma once

namespace qvn {

enum class ProgressAction { kNone, kPerturb, kStall };

struct ProgressState {
  double merit = 0.0;  // the merit at the last computation
  int lastCheckIteration = 0;
  int referenceIteration = 0;
  int phaseAtReference = 0;
  int trigger = 0;     // iterations without progress before acting
  int interval = 0;    // of the rate measurement
  double rate = 1e-6;  // mean merit change per iteration over the last interval
  // The merit at the reference and at the last rate measurement, the trigger
  // of a fresh start, and +1 when the merit rises with progress, -1 when it falls.
  double referenceMerit = 0.0, checkMerit = 0.0;
  int startTrigger = 0;
  double improving = -1.0;
};

// Iterations without progress before perturbing: PERLIM when above 0, else by
// the row count m for the primal and by the column count n for the dual.
int progressTrigger(int perlim, int m, int n, bool dualLoop);
// Iterations between rate measurements, by the row count.
int progressInterval(int m);

// A new watch at `iteration`, with the reference at the given phase and merit.
void progressStart(ProgressState &s, int perlim, int m, int n, bool dualLoop, int iteration, int phase, double merit);
// Takes the current point as the reference (after a perturbation, a stall
// recovery or a recomputation that moved the merit).
void progressReference(ProgressState &s, int iteration, int phase, double merit);
// A perturbation was applied: a repeated one of at most 1e-06 doubles the
// trigger, so that the loop leaves the smaller moves more time to work.
void progressPerturbed(ProgressState &s, int count, double size, int iteration, int phase, double merit);
// Perturbation and shifts were removed: the trigger starts over.
void progressRemoved(ProgressState &s, int iteration, int phase, double merit);
// The decision once the merit is known; progressCheck calls it when due.
ProgressAction progressDecide(ProgressState &s, int iteration, int phase, bool perturbed, double merit);

// The check of one iteration; `merit` is called only when a decision is due.
template <class MeritFn>
ProgressAction progressCheck(ProgressState &s, int iteration, int phase, bool perturbed, MeritFn &&merit) {
  const int age = iteration - s.referenceIteration;
  const bool rateDue = iteration - s.lastCheckIteration >= s.interval;
  const bool aged = age > s.trigger && (!perturbed || age > s.interval);
  if (!rateDue && !aged && phase == s.phaseAtReference) return ProgressAction::kNone;
  return progressDecide(s, iteration, phase, perturbed, merit());
}

// Size of the n-th perturbation (n from 1): the magnitude itself the first
// time, then a tenth of it, never above 1e-06; `magnitude` keeps the last.
double perturbationSize(double &magnitude, int count);

} // namespace qvn
