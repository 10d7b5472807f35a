#include "simplex/progress.h"

#include <algorithm>
#include <cmath>

namespace qvn {

int progressTrigger(int perlim, int m, int n, bool dualLoop) {
  if (perlim > 0) return perlim;
  if (dualLoop) return n < 1000 ? 50 : 100;
  if (m < 1000) return 400;
  if (m < 5000) return 500;
  if (m < 7500) return 600;
  if (m < 10000) return 700;
  if (m < 15000) return 900;
  if (m < 20000) return 1100;
  if (m < 30000) return 1600;
  if (m < 40000) return 2100;
  return 2600;
}

int progressInterval(int m) {
  if (m < 5000) return 501;
  if (m < 10000) return 1000;
  if (m < 50000) return 2000;
  if (m < 100000) return 10000;
  return 20000;
}

void progressReference(ProgressState &s, int iteration, int phase, double merit) {
  s.referenceIteration = iteration;
  s.phaseAtReference = phase;
  s.referenceMerit = merit;
  s.merit = merit;
}

void progressStart(ProgressState &s, int perlim, int m, int n, bool dualLoop, int iteration, int phase, double merit) {
  s.trigger = s.startTrigger = progressTrigger(perlim, m, n, dualLoop);
  s.interval = progressInterval(m);
  s.rate = 1e-6;
  s.improving = dualLoop ? 1.0 : -1.0;
  s.lastCheckIteration = iteration;
  s.checkMerit = merit;
  progressReference(s, iteration, phase, merit);
}

void progressPerturbed(ProgressState &s, int count, double size, int iteration, int phase, double merit) {
  // Doubling saturates well below the int range; a trigger that large never fires anyway.
  if (count > 1 && size <= 1e-6) s.trigger = std::min(s.trigger, 1 << 29) * 2;
  progressReference(s, iteration, phase, merit);
}

void progressRemoved(ProgressState &s, int iteration, int phase, double merit) {
  s.trigger = s.startTrigger;
  progressReference(s, iteration, phase, merit);
}

namespace {
// Gain of `merit` over `from` in the direction of progress.
double gain(const ProgressState &s, double merit, double from) { return s.improving * (merit - from); }
} // namespace

ProgressAction progressDecide(ProgressState &s, int iteration, int phase, bool perturbed, double merit) {
  s.merit = merit;
  if (iteration - s.lastCheckIteration >= s.interval) {
    s.rate = std::fabs(merit - s.checkMerit) / std::max(1, iteration - s.lastCheckIteration);
    s.checkMerit = merit;
    s.lastCheckIteration = iteration;
    // Rounding alone must not count as progress.
    if (gain(s, merit, s.referenceMerit) > 1e-12 * (1.0 + std::fabs(s.referenceMerit)))
      progressReference(s, iteration, phase, merit);
  }
  if (phase != s.phaseAtReference) {
    progressReference(s, iteration, phase, merit);
    return ProgressAction::kNone;
  }
  const int age = iteration - s.referenceIteration;
  if (age <= s.trigger || (perturbed && age <= s.interval)) return ProgressAction::kNone;
  // Progress counts only when it is well ahead of the recent mean pace.
  const bool moved = gain(s, merit, s.referenceMerit) > 10.0 * s.rate * age;
  progressReference(s, iteration, phase, merit);
  if (moved) return ProgressAction::kNone;
  return perturbed ? ProgressAction::kStall : ProgressAction::kPerturb;
}

double perturbationSize(double &magnitude, int count) {
  if (count <= 1) return magnitude;
  double size = 0.1 * magnitude;
  if (size > 1e-6) size = 1e-6;
  magnitude = size;
  return size;
}

} // namespace qvn
