// The serial node loop: limits, loading a node on the node LP, solving it,
// reading the result, branching, and the choice between diving into a child
// and going back to the store.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>

#include "mip/callbacks.h"
#include "mip/cuts/cut_pool.h"
#include "mip/mip_log.h"
#include "mip/mip_run.h"
#include "mip/plugins.h"
#include "mip/debug_solution.h"
#include "mip/probing.h"
#include "mip/user_cuts.h"
#include "simplex/engine.h"

namespace qvn {

namespace {

// Re-solves of one node after bound changes that its branching proved.
constexpr int kProvedRounds = 4;
// Re-solves of one node after a cut callback added rows. An integer point
// still getting cuts after these is not trusted: the node stays unsolved.
constexpr int kCallbackRounds = 200;
// Bytes of stored node bases beyond which new nodes keep none and start from
// whatever basis the node LP holds (still dual feasible after bound changes).
constexpr double kBasisBudget = 256.0 * 1048576.0;
// Dive steps after which the store is consulted again, whatever the bounds say.
constexpr int kDiveAllowance = 2000;
// A set member at or below this magnitude counts as zero, as for an incumbent.
constexpr double kSosZero = 1e-6;
// Branch values beyond this magnitude are refused: the children's bounds
// would no longer be exact integers in the LP's arithmetic.
constexpr double kIntegerLimit = 2100000000.0;
// The failure a node LP reports under the test hook that makes it give up
// (the factor's "singular basis", not fatal to the run).
constexpr int kFailedOnPurpose = 1256;

struct NodeResult {
  NodeOutcome outcome = NodeOutcome::kLpTrouble;
  double objective = 0.0;
  int iinf = 0;
  double sumInf = 0.0;
};

int limitsReached(MipRun &run, const NodeRecord *current) {
  const MipSearch &s = *run.search;
  const MipControl &c = run.control;
  const int none = s.incumbent.exists ? 0 : 1;
  if (run.callbackStop != 0) return run.callbackStop >= 1000 ? run.callbackStop : 113 + none;
  if (terminateRequested(run.env)) return 113 + none;
  if (s.incumbent.exists) {
    const double z = s.incumbent.objective, b = currentBestBound(run, current);
    const double gap = std::fabs(b - z);
    if (gap < (std::fabs(b) + 1e-10) * c.epgap || gap < 1.0000000000001 * c.epagap) return b == z ? 101 : 102;
  }
  if (s.incumbent.found >= c.solutionLimit) return 104;
  if (elapsedSeconds(run) > c.timeLimit) return 107 + none;
  if (s.nodeCount - run.nodesAtStart >= c.nodeLimit) return 105 + none;
  if (s.store.inMemoryBytes > s.store.treeLimit) return 111 + none;
  return 0;
}

// Puts the node's bounds on the node LP: the previous node's changes go back
// to the root's bounds, then this node's path applies, later entries last.
int loadBounds(MipRun &run, const NodeRecord &node) {
  MipSearch &s = *run.search;
  // The columns to send, each once, in run-owned arrays that keep their room.
  EnvVector<int> &cols = run.touched;
  cols.clear();
  auto touch = [&](int j) {
    if (run.touchMark[j] == 0) {
      run.touchMark[j] = 1;
      cols.push_back(j);
    }
  };
  for (const BoundChange &c : s.applied) {
    run.nodeLower[c.col] = s.rootLower[c.col];
    run.nodeUpper[c.col] = s.rootUpper[c.col];
    touch(c.col);
  }
  for (const BoundChange &c : node.changes) {
    run.nodeLower[c.col] = c.lower;
    run.nodeUpper[c.col] = c.upper;
    touch(c.col);
  }
  s.applied.assign(node.changes.begin(), node.changes.end());
  if (cols.empty()) return 0;
  EnvVector<double> &lo = run.touchedLower, &up = run.touchedUpper;
  lo.resize(cols.size());
  up.resize(cols.size());
  for (size_t k = 0; k < cols.size(); ++k) {
    run.touchMark[cols[k]] = 0;
    lo[k] = run.nodeLower[cols[k]];
    up[k] = run.nodeUpper[cols[k]];
  }
  return relaxChangeBounds(*s.nodeLp, static_cast<int>(cols.size()), cols.data(), lo.data(), up.data());
}

// Status arrays with room for the node LP's rows as they are now.
void statusRoom(MipRun &run, int n, int m) {
  if (run.colStatus.size() < static_cast<size_t>(n + 1)) run.colStatus.resize(static_cast<size_t>(n + 1));
  if (run.rowStatus.size() < static_cast<size_t>(m + 1)) run.rowStatus.resize(static_cast<size_t>(m + 1));
}

int rowEpoch(const MipRun &run) { return run.search->cuts ? run.search->cuts->rowEpoch : 0; }

int installBasis(MipRun &run, const SharedBasis &b) {
  LpRelaxation &r = *run.search->nodeLp;
  const int n = relaxNumCols(r), m = relaxNumRows(r);
  statusRoom(run, n, m);
  // A node popped right after its parent (its sibling pruned, or both pushed)
  // finds the parent's basis still held: setting it again would throw away a
  // valid factor and the pricing weights for nothing.
  if (static_cast<int>(b.status.size()) == n + m && b.rowEpoch == rowEpoch(run)) {
    relaxGetBasis(r, run.colStatus.data(), run.rowStatus.data());
    bool same = true;
    for (int j = 0; j < n && same; ++j) same = run.colStatus[j] == b.status[j];
    for (int i = 0; i < m && same; ++i) same = run.rowStatus[i] == b.status[n + i];
    if (same) return 0;
  }
  // Cut rows may have come and gone since the basis was stored; when it can
  // no longer be carried over, the node starts from the basis the LP holds.
  if (!carryBasis(run.search->cuts, b.rowEpoch, n, b.status.data(), static_cast<int>(b.status.size()), m,
                  run.colStatus.data(), run.rowStatus.data()))
    return 0;
  // Dual feasibility survives rows that enter basic, not rows taken out.
  return relaxSetBasis(r, run.colStatus.data(), run.rowStatus.data(),
                       b.dualFeasible && b.rowEpoch == rowEpoch(run));
}

// Sets whose nonzero members at x are more than the set allows, each with the
// member at which it splits: at the weighted mean of the members' weights,
// moved inward so that both children cut the point off.
void findSosCandidates(MipRun &run, const double *x, NodeResult &res) {
  const SosData &sos = *run.sos;
  run.sosCandidates.clear();
  for (int t = 0; t < sos.count; ++t) {
    const int begin = sos.start[t], end = sos.start[t + 1];
    int first = -1, last = -1, nonzeros = 0;
    double mass = 0.0, weighted = 0.0, weightSum = 0.0;
    for (int k = begin; k < end; ++k) {
      const double v = std::fabs(x[sos.member[k]]);
      if (v <= kSosZero) continue;
      if (first < 0) first = k;
      last = k;
      ++nonzeros;
      mass += v;
      weighted += v * sos.weight[k];
      weightSum += sos.weight[k];
    }
    const bool two = sos.type[t] == '2';
    if (nonzeros < 2 || (two && last - first < 2)) continue;
    const double mean = weighted / mass;
    int split = first;
    for (int k = first; k <= last; ++k)
      if (sos.weight[k] <= mean) split = k;
    split = std::clamp(split, two ? first + 1 : first, last - 1);
    double below = 0.0;
    for (int k = first; k <= split; ++k) below += std::fabs(x[sos.member[k]]);
    run.sosCandidates.push_back(SosCandidate{t, split, weightSum, below / mass});
    ++res.iinf;
    res.sumInf += std::min(below, mass - below) / mass;
  }
}

// Fractional integer columns and semi-continuous columns strictly inside
// their gap, at the node LP's point.
void findCandidates(MipRun &run, const double *x, NodeResult &res) {
  const MipSearch &s = *run.search;
  const double tol = run.control.epint;
  run.candidates.clear();
  run.semiCandidates.clear();
  res.iinf = 0;
  res.sumInf = 0.0;
  for (int j = 0; j < run.model->numCols; ++j) {
    const ColKind k = s.kind[j];
    if (k == ColKind::kContinuous) continue;
    const double v = x[j];
    if (k == ColKind::kSemiContinuous || k == ColKind::kSemiInteger) {
      if (v > tol && v < s.semiLower[j] - tol && run.nodeUpper[j] > 0.0 && run.nodeLower[j] < s.semiLower[j]) {
        run.semiCandidates.push_back(j);
        ++res.iinf;
        res.sumInf += std::min(v, s.semiLower[j] - v) / std::max(1.0, s.semiLower[j]);
        continue;
      }
      if (k == ColKind::kSemiContinuous || v <= tol) continue;
    }
    const double f = v - std::floor(v), dist = std::min(f, 1.0 - f);
    if (dist > tol) {
      run.candidates.push_back(BranchCandidate{j, v, f});
      ++res.iinf;
      res.sumInf += dist;
    }
  }
  if (run.sos) findSosCandidates(run, x, res);
}

// The branch of a node whose LP failed and left no fractional candidate:
// the integer column of the widest range still open at the node, split next
// to its LP value when the LP left one, else in the middle. False when every
// integer column is fixed.
bool splitUnfixed(const MipRun &run, const NodeResult &res, BranchRecord rec[2]) {
  const MipSearch &s = *run.search;
  int best = -1;
  double widest = 0.0;
  for (int j = 0; j < run.model->numCols; ++j) {
    if (s.kind[j] != ColKind::kInteger) continue;
    const double range = run.nodeUpper[j] - run.nodeLower[j];
    if (range >= 0.5 && range > widest) best = j, widest = range;
  }
  if (best < 0) return false;
  const double lo = run.nodeLower[best], up = run.nodeUpper[best];
  double v = res.iinf >= 0 ? relaxPrimal(*s.nodeLp)[best] : 0.5 * (lo + up);
  if (!std::isfinite(v) || std::fabs(v) >= kInfinity) v = lo > -kInfinity ? lo : up < kInfinity ? up - 1.0 : 0.0;
  // Children x <= b and x >= b + 1, both inside the node's range.
  const double b = std::clamp(std::floor(v), lo, up - 1.0);
  rec[0] = BranchRecord{'D', best, b + 0.5, 0.0};
  rec[1] = BranchRecord{'U', best, b + 0.5, 0.0};
  return true;
}

// Failures of a node LP that end the run: memory and the problem's own faults.
bool fatalLpFailure(int failure) {
  return failure < 0 || failure == QVNERR_NO_MEMORY || failure == 1018 || failure == 5002;
}

// Every row's logical basic, every column at a finite bound (or free at 0).
int installSlackBasis(MipRun &run) {
  LpRelaxation &r = *run.search->nodeLp;
  const int n = relaxNumCols(r), m = relaxNumRows(r);
  statusRoom(run, n, m);
  for (int j = 0; j < n; ++j) {
    double lo = 0.0, up = 0.0;
    relaxGetBounds(r, j, &lo, &up);
    run.colStatus[j] = lo > -1e20 ? 0 : up < 1e20 ? 2 : 3;
  }
  for (int i = 0; i < m; ++i) run.rowStatus[i] = 1;
  return relaxSetBasis(r, run.colStatus.data(), run.rowStatus.data());
}

int solveNode(MipRun &run, NodeResult &res) {
  MipSearch &s = *run.search;
  RelaxSolveLimits limits;
  limits.objectiveLimit = s.cutoff;
  limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
  limits.display = run.control.display == 5 ? run.env->generalParams->simdisplay : 0;
  int status = 0;
  int failure = relaxSolve(*s.nodeLp, limits, &status);
  DebugRecord &hook = run.env->debug;
  const bool failOnPurpose = hook.failNodeLps > 0 && s.nodeCount > 0;
  if (failOnPurpose) {
    --hook.failNodeLps;
    failure = kFailedOnPurpose;
  }
  if (failure != 0 && !fatalLpFailure(failure)) {
    // A failed node LP (a singular basis, say) is not the run's end: once
    // more from the slack basis, and if that fails too the node stays
    // unsolved and proves nothing.
    QVN_TRY(installSlackBasis(run));
    failure = relaxSolve(*s.nodeLp, limits, &status);
    if (failOnPurpose) failure = kFailedOnPurpose;
    if (failure != 0 && !fatalLpFailure(failure)) {
      ++run.lpFailures;
      run.candidates.clear();
      run.semiCandidates.clear();
      run.sosCandidates.clear();
      res.outcome = NodeOutcome::kLpTrouble;
      res.iinf = -1;
      return 0;
    }
  }
  QVN_TRY(failure);
  s.iterationTotal += relaxIterations(*s.nodeLp);
  if (status != kRunOptimal && status != kRunInfeasible && status != kRunObjLimit && status != kRunTimeLimit &&
      status != kRunAborted) {
    // One more try by the other method before the node counts as troubled.
    limits.method = RelaxMethod::kPrimal;
    QVN_TRY(relaxSolve(*s.nodeLp, limits, &status));
    s.iterationTotal += relaxIterations(*s.nodeLp);
  }
  switch (status) {
  case kRunOptimal: {
    res.objective = relaxObjective(*s.nodeLp);
    if (res.objective >= s.cutoff) {
      res.outcome = NodeOutcome::kCutoff;
      break;
    }
    findCandidates(run, relaxPrimal(*s.nodeLp), res);
    res.outcome = res.iinf == 0 ? NodeOutcome::kIntegral : NodeOutcome::kFractional;
    break;
  }
  case kRunInfeasible: res.outcome = NodeOutcome::kInfeasible; break;
  case kRunObjLimit: res.outcome = NodeOutcome::kCutoff; break;
  case kRunTimeLimit:
  case kRunAborted: res.outcome = NodeOutcome::kStop; break;
  default:
    ++run.lpFailures;
    res.outcome = NodeOutcome::kLpTrouble;
    findCandidates(run, relaxPrimal(*s.nodeLp), res);
    break;
  }
  return 0;
}

void updatePseudoCost(MipRun &run, const NodeRecord &node, const NodeResult &res) {
  MipSearch &s = *run.search;
  if (node.direction != 'U' && node.direction != 'D') return;
  const bool setBranch = node.branchVar < 0 && node.branchSet >= 0 && node.sosWeight >= 0.0;
  if (!setBranch && (node.branchVar < 0 || s.kind[node.branchVar] != ColKind::kInteger)) return;
  double now;
  if (res.outcome == NodeOutcome::kFractional || res.outcome == NodeOutcome::kIntegral)
    now = res.objective;
  else if ((res.outcome == NodeOutcome::kInfeasible || res.outcome == NodeOutcome::kCutoff) && s.cutoff < 1e74)
    now = std::max(s.cutoff, s.cutoff + std::fabs(s.cutoff) * 1e-10 + 1e-10);
  else
    return;
  if (setBranch) {
    observeSetPseudoCost(s.pseudo, node.branchSet, node.direction == 'U', std::fabs(now - node.objective),
                         node.sosWeight, node.branchValue);
    return;
  }
  const double f = node.branchValue - std::floor(node.branchValue);
  observePseudoCost(s.pseudo, node.branchVar, node.direction == 'U', std::fabs(now - node.objective), f);
}

const char *columnName(const LpData &d, int j, char *buffer) {
  if (d.colNames.exists) return d.colNames.name(j);
  std::snprintf(buffer, 32, "C%d", j + 1);
  return buffer;
}

void logNode(MipRun &run, const NodeRecord &node, const NodeResult &res, int left, NodeRecord *next) {
  const MipControl &c = run.control;
  MipSearch &s = *run.search;
  const int count = static_cast<int>(s.nodeCount);
  if (c.display < 2 || count % c.interval != 0) return;
  if (!s.headerPrinted) {
    printMipHeader(run.env);
    s.headerPrinted = true;
  }
  NodeLine line;
  line.node = count;
  line.left = left;
  switch (res.outcome) {
  case NodeOutcome::kInfeasible: line.kind = NodeLine::Kind::kInfeasible; break;
  case NodeOutcome::kCutoff: line.kind = NodeLine::Kind::kCutoff; break;
  case NodeOutcome::kLpTrouble:
    line.kind = NodeLine::Kind::kLpTrouble;
    line.lpStatusText = "unsolved";
    break;
  default:
    line.objective = userValue(run, res.objective);
    line.iinf = res.iinf;
    break;
  }
  line.hasIncumbent = s.incumbent.exists;
  line.incumbent = userValue(run, s.incumbent.objective);
  const double best = currentBestBound(run, next);
  line.bestNode = std::fabs(best) >= 1e74 ? best : userValue(run, best);
  line.iterations = s.iterationTotal;
  char name[32];
  line.variable = node.branchVar >= 0 ? columnName(*run.model, node.branchVar, name) : nullptr;
  line.direction = node.branchSet >= 0 ? 'C' : node.direction;
  line.parent = node.parentSequence;
  line.depth = node.depth;
  printNodeLine(run.env, line);
  const int every = std::max(20, 10 * c.interval);
  if (count % every == 0 && (count != 0 || elapsedSeconds(run) > 10.0)) {
    printElapsed(run.env, elapsedSeconds(run), s.store.inMemoryBytes / 1048576.0);
    printNodefileSize(run.env, s.store.fileBytes / 1048576.0, s.store.fileStoredBytes / 1048576.0);
  }
}

} // namespace

SharedBasis *snapshotBasis(MipRun &run) {
  LpRelaxation &r = *run.search->nodeLp;
  const int n = relaxNumCols(r), m = relaxNumRows(r);
  statusRoom(run, n, m);
  relaxGetBasis(r, run.colStatus.data(), run.rowStatus.data());
  SharedBasis *b = envNew<SharedBasis>();
  try {
    b->status.resize(static_cast<size_t>(n + m));
  } catch (...) {
    envDelete(b);
    throw;
  }
  b->rowEpoch = rowEpoch(run);
  for (int j = 0; j < n; ++j) b->status[j] = static_cast<unsigned char>(run.colStatus[j]);
  for (int i = 0; i < m; ++i) b->status[n + i] = static_cast<unsigned char>(run.rowStatus[i]);
  return b;
}

void logIncumbent(MipRun &run, int left, const NodeRecord *current, bool fromHeuristic) {
  MipSearch &s = *run.search;
  if (run.control.display < 2) return;
  if (!s.headerPrinted) {
    printMipHeader(run.env);
    s.headerPrinted = true;
  }
  NodeLine line;
  line.mark = '*';
  line.heuristic = fromHeuristic ? '+' : ' ';
  line.node = static_cast<int>(s.nodeCount);
  line.left = left;
  line.kind = NodeLine::Kind::kIncumbent;
  line.hasIncumbent = true;
  line.incumbent = userValue(run, s.incumbent.objective);
  const double best = currentBestBound(run, current);
  line.bestNode = std::fabs(best) >= 1e74 ? best : userValue(run, best);
  line.iterations = s.iterationTotal;
  line.direction = !current ? 'N' : current->branchSet >= 0 ? 'C' : current->direction;
  line.parent = current ? current->parentSequence : -1;
  line.depth = current ? current->depth : 0;
  printNodeLine(run.env, line);
}

namespace {

NodeRecord *makeChild(MipRun &run, const NodeRecord &parent, const NodeResult &res, int col, char direction,
                      double value, const BoundChange *change, int changeCount, double estimate,
                      bool boundFromTrial) {
  MipSearch &s = *run.search;
  NodeRecord *child = newNode();
  try {
    child->changes.reserve(parent.changes.size() + static_cast<size_t>(changeCount));
  } catch (...) {
    freeNode(child);
    throw;
  }
  child->changes.assign(parent.changes.begin(), parent.changes.end());
  child->changes.insert(child->changes.end(), change, change + changeCount);
  if (!parent.localRows.empty()) child->localRows.assign(parent.localRows.begin(), parent.localRows.end());
  child->objective = res.objective;
  child->bound = std::max(res.objective, boundFromTrial ? res.objective + estimate : res.objective);
  child->estimate = estimate;
  child->sumInf = res.sumInf;
  child->iinf = res.iinf;
  child->branchVar = col;
  child->branchValue = value;
  child->direction = direction;
  child->depth = parent.depth + 1;
  child->parentSequence = parent.sequence;
  child->sequence = s.nodesMade++;
  return child;
}

// True when the next node should come from the store rather than from the
// children of the node just branched.
bool backtrackForced(const MipRun &run) {
  const MipSearch &s = *run.search;
  const double bttol = run.control.bttol;
  const long nodes = static_cast<long>(s.nodeCount);
  if (bttol <= 0.0) return true;
  if (nodes < 2) return true;
  if (s.rootIinf > 0 && nodes % (5L * s.rootIinf) == 0) return true;
  if (s.cutoff >= 1e74 && nodes % 2 == 0) return true;
  if (bttol < 0.99) return false;
  if (nodes <= 99) return nodes % 5 == 0 || nodes % 4 == 0;
  return nodes % 4 == 0;
}

// The child, holding the parent's final basis, unless its bound reaches the
// cutoff (then it is freed and null comes back).
NodeRecord *keepChild(MipRun &run, NodeRecord *child, SharedBasis *&basis) {
  MipSearch &s = *run.search;
  if (child->bound >= s.cutoff) {
    freeNode(child);
    return nullptr;
  }
  if (!basis && s.store.inMemoryBytes < kBasisBudget) {
    try {
      basis = snapshotBasis(run);
    } catch (...) {
      freeNode(child);
      throw;
    }
  }
  child->basis = basis;
  holdBasis(basis);
  return child;
}

// Stays in the dive with a child near the best bound, or goes back to the
// store; the children not taken go there.
NodeRecord *chooseNext(MipRun &run, NodeRecord *children[2]) {
  MipSearch &s = *run.search;
  const double bestNode = currentBestBound(run, nullptr);
  const double bestWithChildren = std::min({bestNode, children[0] ? children[0]->bound : 1e75,
                                            children[1] ? children[1]->bound : 1e75});
  const double gap = s.cutoff < 1e74 ? s.cutoff - bestWithChildren : 1e75;
  const double limitObj = bestWithChildren + gap * run.control.bttol;
  NodeRecord *next = nullptr;
  if (!backtrackForced(run) && run.diveSteps < kDiveAllowance) {
    for (int k = 0; k < 2 && !next; ++k)
      if (children[k] && children[k]->bound <= limitObj) {
        next = children[k];
        children[k] = nullptr;
      }
  }
  for (int k = 0; k < 2; ++k) {
    if (!children[k]) continue;
    try {
      storePush(s.store, children[k]);
    } catch (...) {
      // A full store: what it did not take goes, so nothing is lost unfreed.
      for (int r = k; r < 2; ++r) freeNode(children[r]);
      freeNode(next);
      throw;
    }
  }
  if (next) {
    ++run.diveSteps;
    next->state = 'W';  // warm: the node LP holds its parent's optimal basis
  } else {
    run.diveSteps = 0;
  }
  return next;
}

// Branches the node: children built and either one kept to dive into or
// both pushed. Returns the next node to process (may be null).
NodeRecord *branch(MipRun &run, NodeRecord *node, const NodeResult &res, const BranchRecord rec[2],
                   bool boundsFromTrials) {
  MipSearch &s = *run.search;
  NodeRecord *children[2] = {nullptr, nullptr};
  SharedBasis *basis = nullptr;
  for (int k = 0; k < 2; ++k) {
    const BranchRecord &r = rec[k];
    const int j = r.variable;
    double lo = run.nodeLower[j], up = run.nodeUpper[j];
    const double down = std::floor(r.branchValue + 1e-10);
    // A semi-continuous or semi-integer column inside its gap branches on
    // being off; a semi-integer one beyond it branches like an integer.
    const bool semiBranch = s.kind[j] != ColKind::kInteger && r.branchValue < s.semiLower[j] - run.control.epint;
    if (!semiBranch) {
      if (r.direction == 'U')
        lo = down + 1.0;
      else
        up = down;
    } else {
      // A semi-continuous column: off, or at least its semi-continuous bound.
      if (r.direction == 'U')
        lo = s.semiLower[j];
      else
        up = 0.0;
    }
    if (lo > up) continue;
    const BoundChange change{j, lo, up};
    try {
      children[k] = keepChild(run, makeChild(run, *node, res, j, r.direction, r.branchValue, &change, 1,
                                             r.estimate, boundsFromTrials),
                              basis);
    } catch (...) {
      freeNode(children[0]);  // the first child, when the second could not be made
      throw;
    }
  }
  if (basis) basis->dualFeasible = res.outcome == NodeOutcome::kFractional;
  return chooseNext(run, children);
}

// Branches the node on a set: the down child takes the members after the
// split point to zero, the up child those before it (and the split member
// itself for an SOS1).
NodeRecord *branchSos(MipRun &run, NodeRecord *node, const NodeResult &res, const SosCandidate &c) {
  const SosData &sos = *run.sos;
  const int begin = sos.start[c.set], end = sos.start[c.set + 1];
  NodeRecord *children[2] = {nullptr, nullptr};
  SharedBasis *basis = nullptr;
  EnvVector<BoundChange> changes;
  for (int k = 0; k < 2; ++k) {
    const bool down = k == 0;
    const int from = down ? c.split + 1 : begin;
    const int to = down ? end : (sos.type[c.set] == '2' ? c.split : c.split + 1);
    changes.clear();
    bool possible = true;
    for (int p = from; p < to; ++p) {
      const int j = sos.member[p];
      if (run.nodeLower[j] > 0.0 || run.nodeUpper[j] < 0.0) possible = false;
      if (run.nodeUpper[j] != 0.0 || run.nodeLower[j] != 0.0) changes.push_back(BoundChange{j, 0.0, 0.0});
    }
    if (!possible) continue;
    NodeRecord *child = makeChild(run, *node, res, -1, down ? 'D' : 'U', c.share, changes.data(),
                                  static_cast<int>(changes.size()), 0.0, false);
    child->branchSet = c.set;
    child->sosWeight = c.weight;
    children[k] = keepChild(run, child, basis);
  }
  if (basis) basis->dualFeasible = res.outcome == NodeOutcome::kFractional;
  // The cheaper side first, by the sets' pseudo costs once any were seen.
  double downEstimate = 0.0, upEstimate = 0.0;
  setPseudoEstimates(run.search->pseudo, c.set, c.weight, c.share, &downEstimate, &upEstimate);
  if (upEstimate < downEstimate) std::swap(children[0], children[1]);
  return chooseNext(run, children);
}

// The set to branch on among those violated: by pseudo costs under the
// pseudo-cost rules, else the one whose mass is split most evenly.
const SosCandidate &chooseSet(const MipRun &run) {
  size_t best = 0;
  double bestScore = -1.0;
  const bool byCosts = run.control.varSelect == 2 || run.control.varSelect == 4;
  for (size_t k = 0; k < run.sosCandidates.size(); ++k) {
    const SosCandidate &c = run.sosCandidates[k];
    double score = std::min(c.share, 1.0 - c.share);
    if (byCosts) {
      double down = 0.0, up = 0.0;
      setPseudoEstimates(run.search->pseudo, c.set, c.weight, c.share, &down, &up);
      score = scoreProduct(down, up);
    }
    if (score > bestScore) best = k, bestScore = score;
  }
  return run.sosCandidates[best];
}

// Priority of a set: the largest of its members' (-1 when none has one).
int setPriority(const MipRun &run, int set) {
  int top = -1;
  for (int k = run.sos->start[set]; k < run.sos->start[set + 1]; ++k)
    top = std::max(top, run.priority[run.sos->member[k]]);
  return top;
}

// Keeps the candidates of the largest priority, in their order: columns and
// sets alike, so that sets of a higher priority than every fractional column
// are branched on first.
void filterByPriority(MipRun &run) {
  if (run.priority.empty()) return;
  int top = -1;
  for (const BranchCandidate &c : run.candidates) top = std::max(top, run.priority[c.col]);
  for (int j : run.semiCandidates) top = std::max(top, run.priority[j]);
  for (const SosCandidate &c : run.sosCandidates) top = std::max(top, setPriority(run, c.set));
  size_t kept = 0;
  for (size_t k = 0; k < run.candidates.size(); ++k)
    if (run.priority[run.candidates[k].col] == top) run.candidates[kept++] = run.candidates[k];
  run.candidates.resize(kept);
  kept = 0;
  for (size_t k = 0; k < run.semiCandidates.size(); ++k)
    if (run.priority[run.semiCandidates[k]] == top) run.semiCandidates[kept++] = run.semiCandidates[k];
  run.semiCandidates.resize(kept);
  kept = 0;
  for (size_t k = 0; k < run.sosCandidates.size(); ++k)
    if (setPriority(run, run.sosCandidates[k].set) == top) run.sosCandidates[kept++] = run.sosCandidates[k];
  run.sosCandidates.resize(kept);
}

// The order's direction of a column, then BRDIR, override the rule's choice
// of the child to explore first.
void applyDirection(const MipRun &run, BranchRecord rec[2]) {
  const int j = rec[0].variable;
  int wanted = run.orderDirection.empty() ? 0 : run.orderDirection[j];
  if (wanted == 0) wanted = run.control.brdir;
  if (wanted == 0) return;
  const char first = wanted > 0 ? 'U' : 'D';
  if (rec[0].direction != first) std::swap(rec[0], rec[1]);
}

// The node in hand when an allocation fails: it goes where the driver frees
// what is left of the tree, instead of being lost with the loop's frame.
struct CurrentNodeGuard {
  MipSearch &search;
  NodeRecord *&current;
  ~CurrentNodeGuard() {
    if (!current || std::uncaught_exceptions() == 0) return;
    if (!search.resume)
      search.resume = current;
    else
      freeNode(current);
  }
};

} // namespace

// A node that holds the known solution may end neither infeasible nor with
// an LP bound above it; a cutoff is wrong only while the cutoff lies above it.
void debugCheckNodeResult(MipRun &run, const NodeResult &res) {
  DebugSolution &d = *run.debug;
  switch (res.outcome) {
  case NodeOutcome::kInfeasible: debugCheckBound(run.env, d, kTreeInfinity, "an infeasible node LP"); break;
  case NodeOutcome::kCutoff: debugCheckBound(run.env, d, run.search->cutoff, "a node LP cutoff"); break;
  case NodeOutcome::kFractional:
  case NodeOutcome::kIntegral: debugCheckBound(run.env, d, res.objective, "a node LP bound"); break;
  default: break;
  }
}

int runNodeLoop(MipRun &run) {
  MipSearch &s = *run.search;
  const int n = run.model->numCols;
  run.nodeLower.assign(s.rootLower.begin(), s.rootLower.end());
  run.nodeUpper.assign(s.rootUpper.begin(), s.rootUpper.end());
  run.touchMark.assign(static_cast<size_t>(n), 0);
  // The node LP still carries the last node of an earlier call: back to the root.
  {
    NodeRecord empty;
    QVN_TRY(loadBounds(run, empty));
    QVN_TRY(installLocalRows(run, empty.localRows));
    run.nodeLower.assign(s.rootLower.begin(), s.rootLower.end());
    run.nodeUpper.assign(s.rootUpper.begin(), s.rootUpper.end());
  }
  run.colStatus.assign(static_cast<size_t>(n + 1), 0);
  run.rowStatus.assign(static_cast<size_t>(relaxNumRows(*s.nodeLp) + 1), 0);
  if (run.debug && !debugSolutionInside(*run.debug, s.rootLower.data(), s.rootUpper.data()))
    debugCheckBound(run.env, *run.debug, kTreeInfinity, "the root's bounds (fixings or probing)");
  NodeRecord *current = s.resume;
  s.resume = nullptr;
  CurrentNodeGuard guard{s, current};
  if (s.nodeCount == 0) announceModelRows(run);
  EnvVector<BoundChange> proved;
  for (;;) {
    if (current && current->bound >= s.cutoff) {
      reportDroppedNode(run, *current);
      freeNode(current);
      current = nullptr;
    }
    if (run.callbackStop == 0) run.callbackStop = callInfoCallback(run, current);
    const int stop = limitsReached(run, current);
    if (stop != 0) {
      run.stopStatus = stop;
      s.resume = current;
      return 0;
    }
    if (!current) {
      QVN_TRY(popWithNodeCallback(run, &current));
      if (!current) return installLocalRows(run, EnvVector<int>());
      continue;  // the limits see the popped node's bound first
    }
    QVN_TRY(loadBounds(run, *current));
    QVN_TRY(installLocalRows(run, current->localRows));
    const bool debugHeld = run.debug && debugSolutionInside(*run.debug, run.nodeLower.data(), run.nodeUpper.data()) &&
                           localRowsHold(s, current->localRows, run.debug->x.data());
    int propagated = 0;
    bool contradiction = false;  // left to the node LP and branching
    QVN_TRY(propagateNode(run, *current, &propagated, &contradiction));
    if (debugHeld && (contradiction || !debugSolutionInside(*run.debug, run.nodeLower.data(), run.nodeUpper.data())))
      debugCheckBound(run.env, *run.debug, kTreeInfinity, "node propagation");
    if (current->state != 'W' && current->basis) QVN_TRY(installBasis(run, *current->basis));
    current->state = 'F';
    NodeResult res;
    int rounds = 0;
    BranchRecord rec[2];
    bool branched = false, trialBounds = false, sosBranch = false;
    int callbackRounds = 0, cutRounds = 0;
    for (;;) {
      QVN_TRY(callSolveCallback(run, current));
      QVN_TRY(solveNode(run, res));
      if (debugHeld) debugCheckNodeResult(run, res);
      if (rounds == 0 && callbackRounds == 0 && cutRounds == 0) updatePseudoCost(run, *current, res);
      if ((res.outcome == NodeOutcome::kFractional || res.outcome == NodeOutcome::kIntegral) &&
          hasMipCallback(run, kCutCallback)) {
        if (callbackRounds >= kCallbackRounds) {
          if (res.outcome == NodeOutcome::kIntegral) {
            res.outcome = NodeOutcome::kLpTrouble;
            res.iinf = -1;
            run.candidates.clear();
            break;
          }
        } else {
          int added = 0;
          run.callbackStop = callCutCallback(run, current, relaxPrimal(*s.nodeLp), &added);
          if (run.callbackStop != 0) break;
          if (added > 0) {
            ++callbackRounds;
            continue;
          }
        }
      }
      if (res.outcome == NodeOutcome::kIntegral || res.outcome == NodeOutcome::kFractional) {
        // Lazy constraints at an integer point, user cuts at a fractional one.
        int added = 0;
        if (res.outcome == NodeOutcome::kIntegral)
          QVN_TRY(addViolatedLazyConstraints(run, relaxPrimal(*s.nodeLp), &added));
        else if (callbackRounds < kCallbackRounds)
          QVN_TRY(addViolatedUserCuts(run, relaxPrimal(*s.nodeLp), &added));
        if (added > 0) {
          if (++callbackRounds > kCallbackRounds && res.outcome == NodeOutcome::kIntegral) {
            res.outcome = NodeOutcome::kLpTrouble;
            res.iinf = -1;
            run.candidates.clear();
            break;
          }
          continue;
        }
      }
      if (res.outcome == NodeOutcome::kLpTrouble && !run.candidates.empty()) {
        // No proved bound: the children keep the node's, and the subtree stays open.
        res.objective = current->bound;
        MipContext plain{};
        plain.candidates = run.candidates.data();
        plain.candidateCount = static_cast<int>(run.candidates.size());
        QVN_TRY(selectMaxInfeasibility(plain, nullptr, rec));
        branched = true;
        break;
      }
      if (res.outcome == NodeOutcome::kLpTrouble && splitUnfixed(run, res, rec)) {
        // Nothing fractional to go by (or no point at all): the subtree is
        // still split, so that smaller LPs get their chance to solve.
        res.objective = current->bound;
        branched = true;
        break;
      }
      if (res.outcome != NodeOutcome::kFractional) break;
      if (res.objective > current->bound) current->bound = res.objective;
      filterByPriority(run);
      if (run.semiCandidates.empty() == false && run.candidates.empty()) {
        const int j = run.semiCandidates[0];
        const double v = relaxPrimal(*s.nodeLp)[j];
        rec[0] = BranchRecord{'D', j, v, 0.0};
        rec[1] = BranchRecord{'U', j, v, 0.0};
        branched = true;
        break;
      }
      if (run.candidates.empty() && run.semiCandidates.empty() && !run.sosCandidates.empty()) {
        sosBranch = true;
        break;
      }
      int added = 0;
      QVN_TRY(separateAtNode(run, *current, res.objective, relaxPrimal(*s.nodeLp), &added));
      if (added > 0) {
        ++cutRounds;
        continue;
      }
      MipContext ctx{};
      ctx.env = run.env;
      ctx.nodeLp = s.nodeLp;
      ctx.model = run.model;
      ctx.control = &run.control;
      ctx.pseudo = &s.pseudo;
      ctx.x = relaxPrimal(*s.nodeLp);
      ctx.lower = run.nodeLower.data();
      ctx.upper = run.nodeUpper.data();
      ctx.candidates = run.candidates.data();
      ctx.candidateCount = static_cast<int>(run.candidates.size());
      ctx.objective = res.objective;
      ctx.cutoff = s.cutoff;
      ctx.timeLeft = run.control.timeLimit - elapsedSeconds(run);
      ctx.objSense = run.sense;
      proved.clear();
      ctx.proved = &proved;
      ctx.objectiveRaise = res.objective;
      SavedRelaxState trialBase;
      ctx.trialBase = &trialBase;
      const bool allowTrials = rounds < kProvedRounds;
      const BranchRule *rule = allowTrials ? run.rule : findBranchRule(1);
      const int failure = rule->select(ctx, nullptr, rec);
      s.iterationTotal += ctx.strongIterations;
      s.trialIterations += ctx.strongIterations;
      if (failure != 0) {
        if (fatalLpFailure(failure)) return failure;
        // Trial LPs that failed leave no estimates: the node still branches,
        // on its most fractional candidate.
        ++run.lpFailures;
        proved.clear();
        ctx.nodeInfeasible = false;
        QVN_TRY(selectMaxInfeasibility(ctx, nullptr, rec));
      }
      if (ctx.nodeInfeasible) {
        // Trials may have proved bounds before the one that closed the node;
        // the LP holds them, so the next load must take them back.
        for (const BoundChange &c : proved) s.applied.push_back(c);
        res.outcome = NodeOutcome::kInfeasible;
        break;
      }
      if (!proved.empty()) {
        // The node itself changed: record the changes on its path and solve again.
        for (const BoundChange &c : proved) {
          if (debugHeld) debugCheckBoundChange(run.env, *run.debug, c.col, c.lower, c.upper, "a branching trial");
          current->changes.push_back(c);
          s.applied.push_back(c);
          run.nodeLower[c.col] = c.lower;
          run.nodeUpper[c.col] = c.upper;
        }
        ++rounds;
        continue;
      }
      trialBounds = run.control.varSelect == 3;
      applyDirection(run, rec);
      branched = true;
      break;
    }
    if (run.callbackStop != 0) {
      // Nothing of this node is used: the point may be one the callback refused.
      run.stopStatus = limitsReached(run, current);
      s.resume = current;
      return 0;
    }
    if (res.outcome == NodeOutcome::kStop) {
      const int base = terminateRequested(run.env) ? 113 : 107;
      run.stopStatus = s.incumbent.exists ? base : base + 1;
      s.resume = current;
      return 0;
    }
    bool newIncumbent = false, heuristicIncumbent = false;
    if (res.outcome == NodeOutcome::kIntegral || res.outcome == NodeOutcome::kLpTrouble) {
      // A troubled LP still offers its point; the checker on the model decides.
      if (res.outcome == NodeOutcome::kIntegral || res.iinf == 0)
        newIncumbent = offerIncumbent(run, relaxPrimal(*s.nodeLp), static_cast<int>(s.nodeCount), false);
      // An unsolved LP with nothing left to split bounds nothing: the subtree
      // is dropped, and its bound stays with the run's best bound.
      if (res.outcome == NodeOutcome::kLpTrouble && !branched && current->bound < s.cutoff) {
        ++run.unprovedDrops;
        s.unprovedBound = std::min(s.unprovedBound, current->bound);
      }
    }
    if (newIncumbent) {
      pruneStore(run);
      QVN_TRY(heuristicStep(run, kAfterIncumbent));
    }
    if (branched && std::fabs(rec[0].branchValue) > kIntegerLimit) {
      char name[32];
      s.resume = current;  // the tree stays as it was for the caller
      // Printed here; as a positive failure it becomes the run's status 109 or 110.
      return -reportError(run.env, 3018, columnName(*run.model, rec[0].variable, name), rec[0].branchValue,
                         static_cast<int>(kIntegerLimit));
    }
    // The heuristic callback sees the node before its children are made.
    const int foundBefore = s.incumbent.found;
    if (res.outcome == NodeOutcome::kFractional) QVN_TRY(callHeuristicCallback(run, current, res.objective));
    NodeRecord *next = nullptr;
    CurrentNodeGuard nextGuard{s, next};
    if (branched || sosBranch) {
      const BuiltInBranch choice{branched ? rec : nullptr, sosBranch ? &chooseSet(run) : nullptr, res.objective,
                                 res.sumInf, res.iinf, res.outcome == NodeOutcome::kLpTrouble};
      QVN_TRY(callBranchCallback(run, *current, choice, &next, &branched, &sosBranch));
    }
    if (branched) next = branch(run, current, res, rec, trialBounds);
    if (sosBranch) next = branchSos(run, current, res, chooseSet(run));
    if (res.outcome == NodeOutcome::kFractional) {
      // The node LP still holds this node's optimum; the heuristics restore it.
      QVN_TRY(heuristicStep(run, kAtNode));
      if (s.incumbent.found != foundBefore) {
        pruneStore(run);
        newIncumbent = heuristicIncumbent = true;
      }
    }
    if (!s.store.directoryAnnounced && !s.store.directory.empty()) {
      s.store.directoryAnnounced = true;
      if (run.control.display > 0)
        QVNmsg(run.env->resultsChannel, "Began writing nodes to disk (directory %s created)\n",
               s.store.directory.data());
    }
    const int left = storeCount(s.store) + (next ? 1 : 0);
    if (newIncumbent) logIncumbent(run, left, next, heuristicIncumbent);
    logNode(run, *current, res, left, next);
    s.nodeCount += 1;
    freeNode(current);
    current = next;
  }
  return 0;
}

} // namespace qvn
