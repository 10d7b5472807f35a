#include "simplex/implied_boxes.h"

#include <algorithm>
#include <cmath>

namespace qvn {

namespace {

// Implied bounds beyond this magnitude are not used: flips over such boxes
// would move the basic values by amounts that swamp their accuracy.
constexpr double kBoxLimit = 1e7;
// Relative loosening of an implied bound. It must exceed what tolerances let
// a feasible point violate, so that no optimal basis rests on such a bound.
constexpr double kBoxMargin = 1e-3;
// Propagation passes over the rows.
constexpr int kPasses = 5;

struct RowActivity {
  double lo = 0.0, up = 0.0;  // finite parts of the activity limits
  int loInf = 0, upInf = 0;   // contributions that are infinite
};

void activityPass(const SimplexEngine &e, EnvVector<RowActivity> &act) {
  const WorkLp &lp = *e.lp;
  std::fill(act.begin(), act.end(), RowActivity{});
  for (int j = 0; j < e.n; ++j) {
    const double l = e.lower[j], u = e.upper[j];
    for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) {
      RowActivity &r = act[lp.aIndex[k]];
      const double a = lp.aValue[k];
      const double forLo = a > 0 ? l : u, forUp = a > 0 ? u : l;
      if (std::fabs(forLo) >= kInfinity) ++r.loInf; else r.lo += a * forLo;
      if (std::fabs(forUp) >= kInfinity) ++r.upInf; else r.up += a * forUp;
    }
  }
}

double loosened(double bound, double direction) {
  return bound + direction * kBoxMargin * std::max(1.0, std::fabs(bound));
}

} // namespace

int boxByImpliedBounds(SimplexEngine &e, ImpliedBoxes &b) {
  const WorkLp &lp = *e.lp;
  const int n = e.n, m = e.m;
  b.changed.clear();
  b.savedLower.clear();
  b.savedUpper.clear();
  bool any = false;
  for (int j = 0; j < e.nt && !any; ++j) any = !isBoxed(e, j) && e.basicPos[j] < 0;
  if (!any) return 0;

  EnvVector<RowActivity> act(static_cast<size_t>(m > 0 ? m : 1));
  EnvVector<char> saved(static_cast<size_t>(e.nt), 0);
  int records = 0;
  auto record = [&](int j, double lo, double up) {
    ++records;
    if (!saved[j]) {
      saved[j] = 1;
      b.changed.push_back(j);
      b.savedLower.push_back(e.lower[j]);
      b.savedUpper.push_back(e.upper[j]);
    }
    if (lo > -kInfinity) e.lower[j] = lo;
    if (up < kInfinity) e.upper[j] = up;
  };
  // A bound found in one pass can make a row bound another variable in the
  // next, as along a chain of inventory rows.
  for (int pass = 0; pass < kPasses; ++pass) {
    const int before = records;
    activityPass(e, act);
    for (int j = 0; j < n; ++j) {
      const double l = e.lower[j], u = e.upper[j];
      if (isBoxed(e, j)) continue;
      double lo = -kInfinity, up = kInfinity;
      for (int k = lp.aStart[j]; k < lp.aStart[j + 1]; ++k) {
        const int i = lp.aIndex[k];
        const double a = lp.aValue[k];
        const RowActivity &r = act[i];
        const double rowLo = e.lower[n + i], rowUp = e.upper[n + i];
        // The activity limits of the rest of the row, without this entry.
        const double ownLo = a > 0 ? l : u, ownUp = a > 0 ? u : l;
        const bool ownLoInf = std::fabs(ownLo) >= kInfinity, ownUpInf = std::fabs(ownUp) >= kInfinity;
        const int restLoInf = r.loInf - (ownLoInf ? 1 : 0), restUpInf = r.upInf - (ownUpInf ? 1 : 0);
        const double restLo = r.lo - (ownLoInf ? 0.0 : a * ownLo);
        const double restUp = r.up - (ownUpInf ? 0.0 : a * ownUp);
        // a x_j <= rowUp - restLo and a x_j >= rowLo - restUp.
        if (rowUp < kInfinity && restLoInf == 0) {
          const double v = (rowUp - restLo) / a;
          if (a > 0) up = std::min(up, v); else lo = std::max(lo, v);
        }
        if (rowLo > -kInfinity && restUpInf == 0) {
          const double v = (rowLo - restUp) / a;
          if (a > 0) lo = std::max(lo, v); else up = std::min(up, v);
        }
      }
      const bool newLo = l <= -kInfinity && lo > -kBoxLimit && lo < kBoxLimit;
      const bool newUp = u >= kInfinity && up > -kBoxLimit && up < kBoxLimit;
      if (!newLo && !newUp) continue;
      double boxLo = newLo ? loosened(lo, -1.0) : l, boxUp = newUp ? loosened(up, 1.0) : u;
      if (boxLo > boxUp) continue;  // rows that contradict each other: the loops will tell
      record(j, newLo ? boxLo : -kInfinity, newUp ? boxUp : kInfinity);
    }
    for (int i = 0; i < m; ++i) {
      const int j = n + i;
      if (isBoxed(e, j)) continue;
      const RowActivity &r = act[i];
      const bool newLo = e.lower[j] <= -kInfinity && r.loInf == 0 && std::fabs(r.lo) < kBoxLimit;
      const bool newUp = e.upper[j] >= kInfinity && r.upInf == 0 && std::fabs(r.up) < kBoxLimit;
      if (!newLo && !newUp) continue;
      record(j, newLo ? loosened(r.lo, -1.0) : -kInfinity, newUp ? loosened(r.up, 1.0) : kInfinity);
    }
    if (records == before) break;
  }
  return static_cast<int>(b.changed.size());
}

bool restoreImpliedBoxes(SimplexEngine &e, ImpliedBoxes &b) {
  bool moved = false;
  for (size_t k = 0; k < b.changed.size(); ++k) {
    const int j = b.changed[k];
    e.lower[j] = b.savedLower[k];
    e.upper[j] = b.savedUpper[k];
    if (e.basicPos[j] >= 0) continue;
    const signed char mv = e.move[j];
    const bool lost = (mv == kAtLower && e.lower[j] <= -kInfinity) || (mv == kAtUpper && e.upper[j] >= kInfinity);
    if (!lost) continue;
    if (e.lower[j] > -kInfinity)
      e.move[j] = kAtLower;
    else if (e.upper[j] < kInfinity)
      e.move[j] = kAtUpper;
    else
      e.move[j] = kAtZero, e.x[j] = 0.0;
    placeNonbasic(e, j);
    moved = true;
  }
  b.changed.clear();
  return moved;
}

} // namespace qvn
