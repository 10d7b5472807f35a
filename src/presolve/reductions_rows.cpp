// Row reductions: empty rows, singleton rows to bounds, the bounds rows imply
// on their columns, redundant and forcing rows from the activity bounds, and
// parallel rows.
#include <algorithm>
#include <cmath>

#include "presolve/parallel_lines.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

char senseLetter(const PresolveState &s, int i) {
  const bool lo = s.rowLower[i] > -kPreInf, up = s.rowUpper[i] < kPreInf;
  if (lo && up) return s.rowLower[i] == s.rowUpper[i] ? '=' : ' ';
  return up ? '<' : lo ? '>' : ' ';
}

bool logOn(const Environment *env) { return env->generalParams->simdisplay != 0; }

// The row may be off by this much before presolve calls it infeasible; a
// smaller violation is left to the forcing logic and the optimizer.
double infeasMargin(const PresolveState &s, double b) { return 10.0 * s.feasTol * std::max(1.0, std::fabs(b)); }

int singletonRow(Environment *env, const Problem *lp, PresolveState &s, int i) {
  int e = -1;
  for (int k : s.rowEntries[i])
    if (s.entries[k].alive) e = k;
  const int j = s.entries[e].col;
  const double a = s.entries[e].value, rl = s.rowLower[i], ru = s.rowUpper[i];
  double lo = -kPreInf, up = kPreInf;
  if (a > 0) {
    if (rl > -kPreInf) lo = rl / a;
    if (ru < kPreInf) up = ru / a;
  } else {
    if (ru < kPreInf) lo = ru / a;
    if (rl > -kPreInf) up = rl / a;
  }
  const double l = s.colLower[j], u = s.colUpper[j];
  if (isIntegerCol(s, j)) {
    lo = roundUpBound(lo, std::fabs(a));
    up = roundDownBound(up, std::fabs(a));
    if (lo > up) {
      char buf[32];
      if (logOn(env)) {
        if (rl == ru) QVNmsg(env->resultsChannel, "Integer infeasible equality row '%.255s'.\n", rowNameOf(lp, i, buf));
        else QVNmsg(env->resultsChannel, "Bound infeasibility column '%.255s'.\n", colNameOf(lp, j, buf));
      }
      return QVNERR_PRESLV_INForUNBD;
    }
  }
  const bool raiseLower = lo > l, lowerUpper = up < u;
  if (raiseLower || lowerUpper) {
    double nl = raiseLower ? lo : l, nu = lowerUpper ? up : u;
    if (nl > nu) {
      if (nl - nu > s.feasTol * std::max(1.0, std::fabs(nl))) {
        char buf[32];
        if (logOn(env)) QVNmsg(env->resultsChannel, "Bound infeasibility column '%.255s'.\n", colNameOf(lp, j, buf));
        return QVNERR_PRESLV_INForUNBD;
      }
      // Within the tolerance: the row decides the value.
      nl = nu = raiseLower ? lo : up;
      if (isIntegerCol(s, j)) {
        char buf[32];
        if (logOn(env)) QVNmsg(env->resultsChannel, "Bound infeasibility column '%.255s'.\n", colNameOf(lp, j, buf));
        return QVNERR_PRESLV_INForUNBD;
      }
    }
    const int kind = rl == ru ? kRecRowEqual : raiseLower ? kRecRowLower : kRecRowUpper;
    const int rec = pushRecord(s, kind, i);
    ReductionRecord &r = record(s, rec);
    r.lower = l;
    r.upper = u;
    recordPair(s, rec, j, a);
    s.colLower[j] = nl;
    s.colUpper[j] = nu;
    ++s.boundsImproved;
    // The column's other rows may now be redundant or forcing.
    for (int k : s.colEntries[j])
      if (s.entries[k].alive) markRow(s, s.entries[k].row);
  }
  removeRow(s, i);
  markCol(s, j);
  return 0;
}

// Every column of row i goes to the bound that gives the row's extreme
// activity; `atUpper` says the extreme is the minimum, pinned at the upper limit.
void forcingRow(PresolveState &s, int i, bool atUpper) {
  const int rec = pushRecord(s, atUpper ? kRecForceUpper : kRecForceLower, i);
  EnvVector<int> cols;
  EnvVector<double> vals;
  for (int e : s.rowEntries[i]) {
    const PresolveEntry &en = s.entries[e];
    if (!en.alive) continue;
    recordPair(s, rec, en.col, en.value);
    cols.push_back(en.col);
    vals.push_back(en.value);
  }
  for (size_t k = 0; k < cols.size(); ++k) {
    const int j = cols[k];
    // Minimum activity: positive coefficients at lower bounds.
    const bool toLower = (vals[k] > 0) == atUpper;
    fixColumn(s, j, toLower ? s.colLower[j] : s.colUpper[j], toLower ? kRecAtLower : kRecAtUpper);
  }
  removeRow(s, i);
}

} // namespace

int emptyAndSingletonRows(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &rows) {
  for (int i : rows) {
    if (s.rowLive[i] < 0) continue;
    if (s.rowLive[i] == 0) {
      const double rl = s.rowLower[i], ru = s.rowUpper[i];
      if (rl > infeasMargin(s, rl) || ru < -infeasMargin(s, ru)) {
        char buf[32];
        if (logOn(env))
          QVNmsg(env->resultsChannel, "Infeasibility row '%.255s':  0 %c= %g.\n", rowNameOf(lp, i, buf),
                 senseLetter(s, i), rl > -kPreInf ? rl : ru);
        return QVNERR_PRESLV_INForUNBD;
      }
      removeRow(s, i);
    } else if (s.rowLive[i] == 1 && s.primalFlag) {
      QVN_TRY(singletonRow(env, lp, s, i));
    }
  }
  return 0;
}

int rowActivityPass(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &rows) {
  for (int i : rows) {
    if (s.rowLive[i] <= 0) continue;
    const double rl = s.rowLower[i], ru = s.rowUpper[i];
    if (rl <= -kPreInf && ru >= kPreInf) {
      removeRow(s, i);  // a free row
      continue;
    }
    const Activity a = rowActivity(s, i);
    char buf[32];
    if ((a.minInf == 0 && ru < kPreInf && a.min > ru + infeasMargin(s, ru)) ||
        (a.maxInf == 0 && rl > -kPreInf && a.max < rl - infeasMargin(s, rl))) {
      if (logOn(env))
        QVNmsg(env->resultsChannel, "Row '%.255s' infeasible, all entries at implied bounds.\n", rowNameOf(lp, i, buf));
      return QVNERR_PRESLV_INForUNBD;
    }
    const bool lowerIdle = rl <= -kPreInf || (a.minInf == 0 && a.min >= rl - 1e-10 * std::max(1.0, std::fabs(rl)));
    const bool upperIdle = ru >= kPreInf || (a.maxInf == 0 && a.max <= ru + 1e-10 * std::max(1.0, std::fabs(ru)));
    if (lowerIdle && upperIdle) {
      removeRow(s, i);
      continue;
    }
    if (a.minInf == 0 && ru < kPreInf && a.min >= ru - 1e-10 * std::max(1.0, std::fabs(ru))) {
      forcingRow(s, i, true);
    } else if (a.maxInf == 0 && rl > -kPreInf && a.max <= rl + 1e-10 * std::max(1.0, std::fabs(rl))) {
      forcingRow(s, i, false);
    }
  }
  return 0;
}

int boundStrengthening(Environment *env, const Problem *lp, PresolveState &s, const EnvVector<int> &rows) {
  for (int i : rows) {
    if (s.rowLive[i] < 2) continue;
    const double rl = s.rowLower[i], ru = s.rowUpper[i];
    const Activity act = rowActivity(s, i);
    // With two infinite contributions on a side no column gets a bound from it.
    if (act.minInf > 1 && act.maxInf > 1) continue;
    for (int e : s.rowEntries[i]) {
      const PresolveEntry &en = s.entries[e];
      if (!en.alive || std::fabs(en.value) < 1e-10) continue;
      const int j = en.col;
      const double a = en.value, l = s.colLower[j], u = s.colUpper[j];
      // The activity of the others: this column's part taken out, or, when it
      // is the one infinite contribution, the rest as it stands.
      const double own = a > 0 ? l : u, ownHi = a > 0 ? u : l;
      const bool ownMinInf = own <= -kPreInf || own >= kPreInf, ownMaxInf = ownHi <= -kPreInf || ownHi >= kPreInf;
      const int restMinInf = act.minInf - (ownMinInf ? 1 : 0), restMaxInf = act.maxInf - (ownMaxInf ? 1 : 0);
      const double restMin = act.min - (ownMinInf ? 0.0 : a * own), restMax = act.max - (ownMaxInf ? 0.0 : a * ownHi);
      // a x in [rl - restMax, ru - restMin]
      const double axLo = rl > -kPreInf && restMaxInf == 0 ? rl - restMax : -kPreInf;
      const double axUp = ru < kPreInf && restMinInf == 0 ? ru - restMin : kPreInf;
      double lo = -kPreInf, up = kPreInf;
      if (a > 0) {
        if (axLo > -kPreInf) lo = axLo / a;
        if (axUp < kPreInf) up = axUp / a;
      } else {
        if (axUp < kPreInf) lo = axUp / a;
        if (axLo > -kPreInf) up = axLo / a;
      }
      if (lo <= -kPreInf && up >= kPreInf) continue;
      if (s.impliedStamp[j] != s.impliedEpoch) {
        s.impliedStamp[j] = s.impliedEpoch;
        s.impliedLower[j] = -kPreInf, s.impliedUpper[j] = kPreInf;
        s.impliedLowerRow[j] = s.impliedUpperRow[j] = -1;
      }
      // A row at odds with the column's own bounds is the activity pass's to
      // name; one at odds with what another row implies is caught only here.
      const double il = s.impliedLower[j], iu = s.impliedUpper[j];
      const double size = std::max(lo > -kPreInf ? std::fabs(lo) : 0.0, up < kPreInf ? std::fabs(up) : 0.0);
      const double margin = 10.0 * s.feasTol * std::max(1.0, size);
      if ((iu < kPreInf && lo > iu + margin) || (il > -kPreInf && up < il - margin)) {
        char buf[32];
        if (logOn(env)) QVNmsg(env->resultsChannel, "Implied bounds make row '%.255s' infeasible.\n", rowNameOf(lp, i, buf));
        return QVNERR_PRESLV_INForUNBD;
      }
      if (lo > s.impliedLower[j]) s.impliedLower[j] = lo, s.impliedLowerRow[j] = i;
      if (up < s.impliedUpper[j]) s.impliedUpper[j] = up, s.impliedUpperRow[j] = i;
    }
  }
  return 0;
}

int duplicateRows(Environment *env, const Problem *lp, PresolveState &s) {
  auto entries = [&](int i, LineEntries &out) {
    out.clear();
    if (s.rowLive[i] < 2) return;
    for (int e : s.rowEntries[i])
      if (s.entries[e].alive) out.push_back({s.entries[e].col, s.entries[e].value});
    std::sort(out.begin(), out.end());
  };
  return forParallelPairs(s.numRows, entries, [&](int r1, int r2, double ratio) -> int {
    // Row 2 in the units of row 1.
    double lo2 = ratio > 0 ? s.rowLower[r2] : s.rowUpper[r2], up2 = ratio > 0 ? s.rowUpper[r2] : s.rowLower[r2];
    lo2 = std::fabs(lo2) >= kPreInf ? -kPreInf : lo2 / ratio;
    up2 = std::fabs(up2) >= kPreInf ? kPreInf : up2 / ratio;
    const double lo1 = s.rowLower[r1], up1 = s.rowUpper[r1];
    const double eps = 1e-8;
    if (lo1 == up1 && lo2 == up2 && std::fabs(lo1 - lo2) > eps * std::max(1.0, std::fabs(lo1))) {
      char n1[32], n2[32];
      if (logOn(env)) {
        QVNmsg(env->resultsChannel, "Constraints '%.255s' and ", rowNameOf(lp, r1, n1));
        QVNmsg(env->resultsChannel, "'%.255s' are inconsistent.\n", rowNameOf(lp, r2, n2));
      }
      return QVNERR_PRESLV_INForUNBD;
    }
    const bool oneInside = lo1 >= lo2 - eps * std::max(1.0, std::fabs(lo2)) && up1 <= up2 + eps * std::max(1.0, std::fabs(up2));
    const bool twoInside = lo2 >= lo1 - eps * std::max(1.0, std::fabs(lo1)) && up2 <= up1 + eps * std::max(1.0, std::fabs(up1));
    if (oneInside) {
      removeRow(s, r2);  // the first row is at least as tight: keep it
    } else if (twoInside) {
      removeRow(s, r1);
      return -1;
    }
    return 0;
  });
}

} // namespace qvn
