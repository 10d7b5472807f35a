// The per-search record of the heuristics: counters, the private random
// stream and the row-wise copy of the model with the column locks that the
// rounding step and the dives read.
#include <cmath>

#include "mip/heuristics/heuristics.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

// Seed of the private stream: fixed, so that a run repeats.
constexpr uint32_t kHeuristicSeed = 20261123u;

void prepareRows(const LpData &d, HeuristicState &h) {
  const int m = d.numRows, n = d.numCols;
  h.numRows = m;
  h.rowStart.assign(static_cast<size_t>(m) + 1, 0);
  for (int j = 0; j < n; ++j)
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) ++h.rowStart[d.rowIndex[k] + 1];
  for (int i = 0; i < m; ++i) h.rowStart[i + 1] += h.rowStart[i];
  h.rowColumn.assign(static_cast<size_t>(h.rowStart[m]), 0);
  h.rowValue.assign(static_cast<size_t>(h.rowStart[m]), 0.0);
  EnvVector<int64_t> fill(h.rowStart.begin(), h.rowStart.end() - 1);
  for (int j = 0; j < n; ++j)
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      const int64_t p = fill[d.rowIndex[k]]++;
      h.rowColumn[p] = j;
      h.rowValue[p] = d.coefValue[k];
    }
  h.rowLower.assign(static_cast<size_t>(m), -kInfinity);
  h.rowUpper.assign(static_cast<size_t>(m), kInfinity);
  for (int i = 0; i < m; ++i) {
    switch (d.sense[i]) {
    case 'L': h.rowUpper[i] = d.rhs[i]; break;
    case 'G': h.rowLower[i] = d.rhs[i]; break;
    case 'E': h.rowLower[i] = h.rowUpper[i] = d.rhs[i]; break;
    default: {
      const double r = d.rangeValue.empty() ? 0.0 : d.rangeValue[i];
      h.rowLower[i] = r >= 0 ? d.rhs[i] : d.rhs[i] + r;
      h.rowUpper[i] = r >= 0 ? d.rhs[i] + r : d.rhs[i];
    }
    }
  }
  // A column is locked up by a row it can push past its upper limit when it
  // grows (a > 0 with a finite upper limit, a < 0 with a finite lower one).
  h.upLocks.assign(static_cast<size_t>(n), 0);
  h.downLocks.assign(static_cast<size_t>(n), 0);
  for (int j = 0; j < n; ++j)
    for (int64_t k = d.colStart[j]; k < d.colStart[j] + d.colCount[j]; ++k) {
      const int i = d.rowIndex[k];
      const double a = d.coefValue[k];
      const bool hasUp = h.rowUpper[i] < kInfinity, hasLo = h.rowLower[i] > -kInfinity;
      if ((a > 0 && hasUp) || (a < 0 && hasLo)) ++h.upLocks[j];
      if ((a > 0 && hasLo) || (a < 0 && hasUp)) ++h.downLocks[j];
    }
  h.point.assign(static_cast<size_t>(n), 0.0);
  h.activity.assign(static_cast<size_t>(m), 0.0);
  h.prepared = true;
}

} // namespace

HeuristicState &heuristicState(MipRun &run) {
  MipSearch &s = *run.search;
  if (!s.heuristics) {
    s.heuristics = envNew<HeuristicState>();
    s.heuristics->random = kHeuristicSeed;
  }
  HeuristicState &h = *s.heuristics;
  if (!h.prepared) prepareRows(*run.model, h);
  return h;
}

void destroyHeuristicState(HeuristicState *&state) {
  if (!state) return;
  envDelete(state);
  state = nullptr;
}

double heuristicRandom(HeuristicState &h) {
  h.random = h.random * 1103515245u + 12345u;
  return static_cast<double>((h.random >> 16) & 0x7fff) / 32768.0;
}

bool heuristicMustStop(const MipRun &run) {
  return terminateRequested(run.env) || elapsedSeconds(run) >= run.control.timeLimit;
}

int rinsFrequency(const MipRun &run) {
  const int value = run.env->mipParams->rinsheur;
  return run.control.emphasis == 4 && value == 0 ? 100 : value;
}

int repairTries(const MipRun &run) {
  const int value = run.env->mipParams->repairtries;
  return run.control.emphasis == 4 && value == 0 ? 10 : value;
}

bool isIntegerColumn(const MipRun &run, int j) {
  const ColKind k = run.search->kind[j];
  return k == ColKind::kInteger || k == ColKind::kSemiInteger;
}

} // namespace qvn
