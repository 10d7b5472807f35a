// Rows that hold in one subtree only: made by a branch callback for a child
// (or by a cut callback for the node in hand), inherited by every node below,
// in the node LP while such a node is solved.
//
// The node LP keeps them after every other row, in the order of the node's
// path. Moving to another node deletes the rows past the part of the path the
// two nodes share and appends the new node's others. A deletion begins a new
// row epoch of the cut pool, so that a stored basis is carried over to the
// rows as they are now, and a basis is never taken as dual feasible across
// rows that went. While such rows are in the LP the pool's mirror of the rows
// after the model's does not hold, and the node cut rounds stand aside: a cut
// derived there would be valid in the subtree only.
#include <algorithm>
#include <cmath>

#include "mip/callbacks.h"
#include "mip/cuts/cut_pool.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

CutPool &treeCutPool(MipRun &run) {
  MipSearch &s = *run.search;
  if (!s.cuts) {
    s.cuts = newCutPool();
    // No cut row exists yet: the rows past the model's are local ones.
    s.cuts->firstCutRow = relaxNumRows(*s.nodeLp) - static_cast<int>(s.localRows.installed.size());
  }
  return *s.cuts;
}

int appendLocalRow(MipSearch &s, char sense, double rhs, int count, const int *index, const double *value) {
  LocalRowTable &t = s.localRows;
  if (t.start.empty()) t.start.push_back(0);
  t.index.insert(t.index.end(), index, index + count);
  t.value.insert(t.value.end(), value, value + count);
  t.start.push_back(static_cast<int>(t.index.size()));
  t.sense.push_back(sense);
  t.rhs.push_back(rhs);
  return static_cast<int>(t.sense.size()) - 1;
}

int installLocalRows(MipRun &run, const EnvVector<int> &wanted) {
  MipSearch &s = *run.search;
  LocalRowTable &t = s.localRows;
  EnvVector<int> &have = t.installed;
  size_t same = 0;
  while (same < have.size() && same < wanted.size() && have[same] == wanted[same]) ++same;
  if (same == have.size() && same == wanted.size()) return 0;
  LpRelaxation &lp = *s.nodeLp;
  CutPool &pool = treeCutPool(run);
  if (same < have.size()) {
    const int m = relaxNumRows(lp), first = m - static_cast<int>(have.size() - same);
    EnvVector<int> mark(static_cast<size_t>(m), 0), deleted;
    for (int i = first; i < m; ++i) {
      mark[i] = 1;
      deleted.push_back(i);
    }
    QVN_TRY(relaxDeleteRows(lp, mark.data()));
    have.resize(same);
    logDeletedRows(pool, std::move(deleted));
  }
  if (same == wanted.size()) return 0;
  EnvVector<double> lower, upper, value;
  EnvVector<int> start(1, 0), index;
  for (size_t k = same; k < wanted.size(); ++k) {
    const int r = wanted[k];
    lower.push_back(t.sense[r] == 'L' ? -HUGE_VAL : t.rhs[r]);
    upper.push_back(t.sense[r] == 'G' ? HUGE_VAL : t.rhs[r]);
    index.insert(index.end(), t.index.begin() + t.start[r], t.index.begin() + t.start[r + 1]);
    value.insert(value.end(), t.value.begin() + t.start[r], t.value.begin() + t.start[r + 1]);
    start.push_back(static_cast<int>(index.size()));
  }
  QVN_TRY(relaxAddRows(lp, static_cast<int>(lower.size()), lower.data(), upper.data(), start.data(), index.data(),
                       value.data()));
  have.insert(have.end(), wanted.begin() + static_cast<std::ptrdiff_t>(same), wanted.end());
  return 0;
}

bool localRowsHold(const MipSearch &s, const EnvVector<int> &rows, const double *x) {
  const LocalRowTable &t = s.localRows;
  for (int r : rows) {
    double activity = 0.0, scale = 1.0;
    for (int p = t.start[r]; p < t.start[r + 1]; ++p) {
      activity += t.value[p] * x[t.index[p]];
      scale = std::max(scale, std::fabs(t.value[p] * x[t.index[p]]));
    }
    const double slack = 1e-6 * scale;
    if ((t.sense[r] != 'G' && activity > t.rhs[r] + slack) || (t.sense[r] != 'L' && activity < t.rhs[r] - slack))
      return false;
  }
  return true;
}

} // namespace qvn
