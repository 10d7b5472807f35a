// The registries of cut families, heuristics and integer presolve passes, and
// the stages that run them: root cut rounds with their stalling test and the
// per-family summary.
#include "mip/plugins.h"

#include <algorithm>
#include <cmath>

#include "mip/callbacks.h"
#include "mip/cuts/cut_pool.h"
#include "mip/debug_solution.h"
#include "mip/heuristics/heuristics.h"
#include "mip/mip_log.h"
#include "mip/mip_presolve.h"
#include "mip/probing.h"
#include "simplex/engine.h"

namespace qvn {

namespace {

// One row per family, by index; a family without a generator yet has none.
const CutFamily kFamilies[kCutFamilyCount] = {
    {"Covers", kCutCover, 2005, separateCovers},
    {"GUBcuts", kCutGub, 2044, separateGubCovers},
    {"Flowcuts", kCutFlow, 2040, separateFlowCuts},
    {"Cliques", kCutClique, 2003, separateCliques},
    {"Fract", kCutFract, 2049, separateGomory},
    {"MIRcuts", kCutMir, 2052, separateMir},
    {"Flowpaths", kCutFlowPath, 2051, nullptr},
    {"Disjcuts", kCutDisj, 2053, nullptr},
    {"Impl Bds", kCutImplBd, 2041, separateImpliedBounds},
    {"Local Cov", kCutLocalCover, 2075, nullptr},
    {"Tighten", kCutTighten, 2080, separateTightening},
    {"ObjDisj", kCutObjDisj, 2081, nullptr},
    {"User", kCutUser, 0, nullptr},
    {"Table", kCutTable, 0, nullptr},
    {"Discard", kCutDiscard, 0, nullptr},
    {"LinCuts", kCutLin, 0, nullptr},
    {"Local Cut", kCutLocal, 0, nullptr},
    {"GCS", kCutGcs, 0, nullptr},
};

// Order of the families within one separation round.
constexpr int kSeparationOrder[] = {kCutGub, kCutCover, kCutClique, kCutImplBd, kCutMir, kCutFlowPath, kCutTighten};

// Cuts one family may add in a round (hidden parameter 2102 at its default).
constexpr int kPerFamilyRoom = 500;
// Rounds that change the objective by less than kStallFactor times 0.5e-5
// relative count as stalls once the fractional passes are spent.
constexpr double kStallFactor = 1.0;
constexpr int kStallsToStop = 2;
// Passes of MIR on tableau rows where Gomory has none.
constexpr int kTableauMirPasses = 2;
// From this round on, a round that moves the bound by less than kTailShare
// of the move of all rounds before it counts as a stall.
constexpr int kTailRounds = 4;
constexpr double kTailShare = 0.002;
// A cut whose row has been loose this many rounds leaves the LP.
constexpr int kPurgeAge = 3;
// Safety net for CUTPASS 0 (the stalling test usually ends far earlier).
constexpr int kMaxAutoRounds = 100;
// Cut rounds at one node, at most; a turn usually ends far earlier, when a
// round finds nothing or the bound stops moving.
constexpr int kMaxNodeRounds = 5;
// Nodes deeper than this run no cut rounds: below it a round costs more
// time than its cuts save nodes.
constexpr int kNodeCutDepth = 8;
// Retired cuts come back into the root LP when violated by this much.
constexpr double kRescanViolation = 0.1;
// Node rounds between purges of the cuts that have been loose for
// kNodePurgeAge of them; each purge costs the stored bases a replay.
constexpr int kNodePurgeEvery = 16;
constexpr int kNodePurgeAge = 8;

// The working switch of family k from the parameters (0 for the hidden ones).
int familySwitch(const MipParams &p, int k) {
  switch (k) {
  case kCutCover: return p.covers;
  case kCutGub: return p.gubcovers;
  case kCutFlow: return p.flowcovers;
  case kCutClique: return p.cliques;
  case kCutFract: return p.fraccuts;
  case kCutMir: return p.mircuts;
  case kCutFlowPath: return p.flowpaths;
  case kCutDisj: return p.disjcuts;
  case kCutImplBd: return p.implbd;
  case kCutLocalCover: return p.p2075;
  case kCutTighten: return p.p2080;
  case kCutObjDisj: return p.p2081;
  default: return -1;
  }
}

// Bit i asks for family i; flow covers and MIR share the MIR bit.
unsigned rootMask(const MipParams &p) {
  unsigned mask = 0;
  for (int k : {kCutGub, kCutCover, kCutClique, kCutImplBd, kCutFlowPath, kCutTighten})
    if (familySwitch(p, k) >= 0) mask |= 1u << k;
  // Flow -1 leaves MIR alone; flow on with MIR -1 is flow cuts only.
  if (p.flowcovers >= 0 || p.mircuts >= 0) mask |= 1u << kCutMir;
  return mask;
}

// The families of a node round, from the tree's working switches: GUB,
// clique, flow, MIR and path only when aggressive, cover and implied bound
// and tightening whenever on.
unsigned nodeMask(const CutPool &pool) {
  const int *w = pool.nodeSwitch;
  // Retired root cuts stay out of the node LPs: bringing them back wherever
  // violated cost more than it gave (on bell5 ten times the nodes).
  unsigned mask = 0;
  if (w[kCutGub] > 1) mask |= 1u << kCutGub;
  if (w[kCutCover] >= 0 || w[kCutLocalCover] > 1) mask |= 1u << kCutCover;
  if (w[kCutClique] > 1) mask |= 1u << kCutClique;
  if (w[kCutImplBd] >= 0) mask |= 1u << kCutImplBd;
  // Flow and MIR share a bit: flow alone when only it is aggressive, MIR
  // alone when only MIR is, both when both are.
  if (w[kCutFlow] > 1) mask |= 1u << kCutFlow;
  if (w[kCutMir] > 1) mask |= 1u << kCutMir;
  if (w[kCutFlowPath] > 1) mask |= 1u << kCutFlowPath;
  if (w[kCutTighten] >= 0) mask |= 1u << kCutTighten;
  return mask;
}

int fractionalPasses(const MipParams &p, const LpData &d, int integers) {
  switch (p.fraccuts) {
  case -1: return 0;
  case 0: return p.fracpass != 0 ? p.fracpass : (d.numCols < 10 * integers ? 2 : 0);
  case 1: return 1;
  default: return 10;
  }
}

bool fractionalPoint(const MipRun &run, const double *x) {
  const MipSearch &s = *run.search;
  for (int j = 0; j < run.model->numCols; ++j)
    if (s.kind[j] == ColKind::kInteger && std::fabs(x[j] - std::round(x[j])) > run.control.epint) return true;
  return false;
}

// Work limit of probing in row scans, by level.
double probeWorkLimit(const MipParams &p, int integers) {
  if (p.probetime < 1e75) return 1e75;  // only the time counts
  switch (p.probe) {
  case 0: return (integers + 1000.0) * 100.0;
  case 1:
  case 2: return (integers + 10000.0) * 10000.0;
  default: return (integers + 10000.0) * 100000.0;
  }
}

// Probes the binaries at the root: fixings and tightened bounds go to the
// root's bounds and the node LP, implications to the tables. *moved tells
// whether any bound changed.
int probeAtRoot(MipRun &run, CutPool &pool, bool *moved) {
  MipSearch &s = *run.search;
  const MipParams &p = *run.env->mipParams;
  *moved = false;
  const int n = run.model->numCols;
  EnvVector<double> lo(s.rootLower.begin(), s.rootLower.end()), up(s.rootUpper.begin(), s.rootUpper.end());
  pool.implied.limit = static_cast<long>(std::min(1e9, s.integerCount * p.p2072));
  const double started = elapsedSeconds(run);
  // Under a time limit probing takes a tenth of it at most.
  double deadline = std::min(run.control.timeLimit, started + p.probetime);
  if (run.control.timeLimit < 1e75) deadline = std::min(deadline, started + 0.1 * run.control.timeLimit);
  QVN_TRY(probe(run, pool.rows, s.kind.data(), lo.data(), up.data(), probeWorkLimit(p, s.integerCount), deadline,
                pool.cliques, pool.implied, &pool.probing));
  if (pool.probing.pairs > 0) indexCliques(pool.cliques);
  finishImpliedBounds(pool.implied, n);
  EnvVector<int> cols;
  EnvVector<double> lows, ups;
  for (int j = 0; j < n; ++j)
    if (lo[j] != s.rootLower[j] || up[j] != s.rootUpper[j]) {
      cols.push_back(j);
      lows.push_back(s.rootLower[j] = lo[j]);
      ups.push_back(s.rootUpper[j] = up[j]);
    }
  if (!cols.empty())
    QVN_TRY(relaxChangeBounds(*s.nodeLp, static_cast<int>(cols.size()), cols.data(), lows.data(), ups.data()));
  *moved = !cols.empty();
  if (run.control.display > 1) {
    const ProbeResult &r = pool.probing;
    if (r.fixed > 0 || r.tightened > 0)
      QVNmsg(run.env->resultsChannel, "Probing fixed %d vars, tightened %d bounds.\n", r.fixed, r.tightened);
    const double took = elapsedSeconds(run) - started;
    if (took >= 1.0) QVNmsg(run.env->resultsChannel, "Probing time = %7.2f sec.\n", took);
  }
  return 0;
}

int preparePool(MipRun &run, bool *boundsMoved) {
  MipSearch &s = *run.search;
  const MipParams &p = *run.env->mipParams;
  *boundsMoved = false;
  if (!s.cuts) s.cuts = newCutPool();
  CutPool &pool = *s.cuts;
  if (pool.prepared) return 0;
  buildRowModel(*run.model, pool.rows);
  pool.firstCutRow = relaxNumRows(*s.nodeLp);
  pool.cutLimit = static_cast<int>(std::lround(pool.firstCutRow * p.cutsfactor));
  // The clique table serves clique cuts, probing and node propagation.
  if (p.cliques >= 0 || p.probe >= 0 || p.p2038 >= 1)
    buildCliqueTable(*run.model, pool.rows, s.kind.data(), s.rootLower.data(), s.rootUpper.data(), pool.cliques);
  QVN_TRY(callPassCallback(run, QVN_CALLBACK_MIP_PROBE, 0, 1.0));
  if (p.probe >= 0) QVN_TRY(probeAtRoot(run, pool, boundsMoved));
  int members = 0;
  for (int v : pool.cliques.origin) members += v;
  if (members > 0 && run.control.display > 1)
    QVNmsg(run.env->resultsChannel, "Clique table members: %d.\n", members);
  pool.prepared = true;
  return 0;
}

CutContext contextFor(MipRun &run, int room) {
  MipSearch &s = *run.search;
  const MipParams &p = *run.env->mipParams;
  return CutContext{run.env,
                    run.model,
                    &s.cuts->rows,
                    s.kind.data(),
                    s.rootLower.data(),
                    s.rootUpper.data(),
                    s.nodeLp,
                    s.cuts,
                    room,
                    p.fraccand,
                    p.aggcutlim,
                    run.control.timeLimit};
}

// found[] recounted from the pending block after the selection.
void countSelected(const CutBlock &pending, int found[kCutFamilyCount]) {
  std::fill(found, found + kCutFamilyCount, 0);
  for (const Cut &c : pending.cuts) ++found[c.family];
}

// One separation round: each family in order, each with what room is left.
// Tableau rows are separated when tableauFamily is not -1, their cuts
// counted under it; *tableauCuts gets their number.
int separateRound(MipRun &run, const double *x, unsigned mask, int tableauFamily, int room,
                  int found[kCutFamilyCount], bool nodeRound = false, int *tableauCuts = nullptr) {
  auto runFamily = [&](int k) -> int {
    if (!kFamilies[k].separate || room <= 0 || elapsedSeconds(run) > run.control.timeLimit) return 0;
    CutContext c = contextFor(run, std::min(kPerFamilyRoom, room));
    int added = 0;
    const int counted = k == kCutFract ? tableauFamily : k;
    c.tableauFamily = counted;
    QVN_TRY(kFamilies[k].separate(run, &c, x, &added));
    QVN_TRY(callFamilyPassCallback(run, k));
    found[counted] += added;
    if (k == kCutFract && tableauCuts) *tableauCuts = added;
    room -= added;
    return 0;
  };
  const MipParams &p = *run.env->mipParams;
  for (int k : kSeparationOrder) {
    if (k == kCutMir && (mask & (1u << kCutFlow))) QVN_TRY(runFamily(kCutFlow));
    if (!(mask & (1u << k))) continue;
    if (k != kCutMir) {
      QVN_TRY(runFamily(k));
      continue;
    }
    // At the root flow cuts and MIR share their bit; each runs by its own
    // switch. A node asks for flow cuts by their own bit.
    if (!(mask & (1u << kCutFlow)) && p.flowcovers >= 0 && !nodeRound) QVN_TRY(runFamily(kCutFlow));
    if (p.mircuts >= 0 || nodeRound) QVN_TRY(runFamily(kCutMir));
  }
  if (tableauFamily >= 0) QVN_TRY(runFamily(kCutFract));
  return 0;
}

} // namespace

const CutFamily *cutFamilies(int *count) {
  *count = kCutFamilyCount;
  return kFamilies;
}

// In the order they run at a node: the node heuristic (rounding, dives and
// the pump), then the sub-MIPs of the timed heuristics, polishing, and local
// branching after a new incumbent.
const Heuristic kHeuristics[] = {
    {"node heuristic", kAtRoot | kAtNode, nodeHeuristicRow},
    {"RINS", kAtNode, runTimedHeuristics},
    {"repair", kAtRoot | kAtNode, repairRow},
    {"polishing", kAtNode, tryPolishing},
    {"local branching", kAtNode | kAfterIncumbent, localBranchingRow},
};

const Heuristic *heuristics(int *count) {
  *count = static_cast<int>(sizeof kHeuristics / sizeof kHeuristics[0]);
  return kHeuristics;
}

const IntegerPresolvePass *integerPresolvePasses(int *count) {
  *count = 0;
  return nullptr;
}

int integerPresolveStage(MipRun &run) {
  int count = 0;
  const IntegerPresolvePass *passes = integerPresolvePasses(&count);
  for (int k = 0; k < count; ++k) {
    int changes = 0;
    QVN_TRY(passes[k].apply(run, nullptr, &changes));
  }
  return 0;
}

// Root cuts are global: none may cut off the known solution.
void debugCheckPending(MipRun &run, const CutBlock &pending) {
  int familyCount = 0;
  const CutFamily *families = cutFamilies(&familyCount);
  for (const Cut &c : pending.cuts) {
    const char *name = c.family >= 0 && c.family < familyCount ? families[c.family].name : "root";
    debugCheckCut(run.env, *run.debug, c.count, pending.index.data() + c.start, pending.value.data() + c.start,
                  c.sense, c.rhs, name);
  }
}

namespace {

int runRootRounds(MipRun &run) {
  MipSearch &s = *run.search;
  const MipParams &p = *run.env->mipParams;
  NodeRecord *root = s.resume;
  if (!root || run.stopStatus != 0 || p.cutpass < 0) return 0;
  const unsigned mask = rootMask(p);
  int fracPasses = fractionalPasses(p, *run.model, s.integerCount);
  // Where the fractional passes are none by the automatic rule (many
  // continuous columns per integer), MIR runs on the rows of the tableau in
  // their stead, by the same pass count: on such models the rows of the
  // model seldom give MIR what a tableau row combines.
  int tableauFamily = kCutFract;
  if (fracPasses == 0 && p.fraccuts == 0 && p.fracpass == 0 && p.mircuts >= 0 && p.p2082 == 0) {
    fracPasses = kTableauMirPasses;
    tableauFamily = kCutMir;
  }
  if (mask == 0 && fracPasses == 0 && p.probe < 0 && p.p2038 < 1) return 0;
  bool boundsMoved = false;
  QVN_TRY(preparePool(run, &boundsMoved));
  CutPool &pool = *s.cuts;
  const int roundLimit = p.cutpass > 0 ? p.cutpass : (run.control.emphasis == 1 ? 3 : kMaxAutoRounds);
  double z = relaxObjective(*s.nodeLp);
  // Solves the root LP again; false when the rounds end (no better point
  // than the cutoff, or an LP that did not finish).
  auto resolve = [&](bool *go) -> int {
    *go = false;
    RelaxSolveLimits limits;
    limits.objectiveLimit = s.cutoff;
    limits.timeLimit = std::max(0.0, run.control.timeLimit - elapsedSeconds(run));
    int lpStatus = 0;
    QVN_TRY(relaxSolve(*s.nodeLp, limits, &lpStatus));
    s.iterationTotal += relaxIterations(*s.nodeLp);
    if (lpStatus == kRunInfeasible || lpStatus == kRunObjLimit) {
      // No integer point beats the cutoff: the node loop finds the same.
      root->bound = std::max(root->bound, std::min(s.cutoff, kTreeInfinity));
      s.rootBound = root->bound;
      return 0;
    }
    *go = lpStatus == kRunOptimal;
    return 0;
  };
  if (boundsMoved) {
    bool go = false;
    QVN_TRY(resolve(&go));
    if (!go) return 0;
    z = relaxObjective(*s.nodeLp);
    root->objective = z;
    root->bound = std::max(root->bound, z);
    s.rootBound = root->bound;
  }
  if (mask == 0 && fracPasses == 0) return 0;
  int stalls = 0;
  const double zFirst = z;
  const int fullFracPasses = fracPasses;
  bool restored = false;
  for (int round = 0; round < roundLimit; ++round) {
    if (elapsedSeconds(run) >= run.control.timeLimit) break;
    const double *x = relaxPrimal(*s.nodeLp);
    if (!fractionalPoint(run, x)) break;
    const int room = pool.cutLimit - relaxNumRows(*s.nodeLp);
    if (room <= 0) break;
    int found[kCutFamilyCount] = {};
    int tableauCuts = 0;
    QVN_TRY(separateRound(run, x, mask, fracPasses > 0 ? tableauFamily : -1, room, found, false, &tableauCuts));
    // Installing the round's cuts and solving again costs more than a round
    // on a large model; past the limit the run ends with the LP as it is.
    if (elapsedSeconds(run) >= run.control.timeLimit) {
      blockClear(pool.pending);
      break;
    }
    // Of near-parallel cuts only the most efficacious earns a row; what the
    // selection drops counts as not found.
    int dropped = 0;
    selectPending(pool, x, run.model->numCols, room, &dropped);
    if (dropped > 0) countSelected(pool.pending, found);
    int left = room;
    for (int k = 0; k < kCutFamilyCount; ++k) left -= found[k];
    rescanRetired(pool, x, kRescanViolation, left, &found[kCutDiscard]);
    if (run.debug) debugCheckPending(run, pool.pending);
    // Loose cuts go before the new ones come: the purge reads the row
    // activities of the last solve, which changing rows discards (x with them).
    int removed = 0;
    QVN_TRY(purgeCuts(pool, *s.nodeLp, kPurgeAge, &removed));
    int installed = 0;
    QVN_TRY(installCuts(pool, *s.nodeLp, &installed));
    if (installed == 0) {
      // A round that finds nothing is a stall too: the fractional passes
      // come back once, else the rounds end.
      if (restored || fullFracPasses == 0) break;
      restored = true;
      stalls = 0;
      fracPasses = fullFracPasses;
      if (removed > 0) {
        // The purge cleared the LP's point; the optimal basis gives it back.
        bool go = false;
        QVN_TRY(resolve(&go));
        if (!go) break;
      }
      continue;
    }
    bool go = false;
    QVN_TRY(resolve(&go));
    if (!go) break;
    const double zNew = relaxObjective(*s.nodeLp);
    // The move of the bound, shared among the families by the cuts they found.
    int total = 0;
    for (int k = 0; k < kCutFamilyCount; ++k) total += found[k];
    for (int k = 0; k < kCutFamilyCount && total > 0; ++k)
      pool.boundMoved[k] += std::max(0.0, zNew - z) * found[k] / total;
    // A round stalls when the bound barely moves, or when the rounds tail
    // off: past the first few, a move below a small share of all the move so far.
    const bool stalled = zNew - z <= kStallFactor * (std::fabs(zNew) + std::fabs(z) + 1.0) * 0.5e-5 ||
                         (round >= kTailRounds && zNew - z < kTailShare * (zNew - zFirst));
    // A fractional pass is spent by a round whose bound stalled or whose
    // Gomory cuts were none: while they move the bound they keep coming.
    if (fracPasses > 0 && (stalled || tableauCuts == 0)) --fracPasses;
    z = zNew;
    root->objective = z;
    root->bound = std::max(root->bound, z);
    s.rootBound = root->bound;
    if (!stalled || fracPasses > 0 || ++stalls < kStallsToStop) continue;
    // The second stall gives the fractional passes back once; the next one
    // ends the rounds.
    if (restored) break;
    restored = true;
    stalls = 0;
    fracPasses = fullFracPasses;
  }
  // The tree starts from the binding cuts only; the optimum stays as it is.
  // Deleting rows clears the LP's point, which the root heuristics read: the
  // re-solve from the optimal basis takes no iteration. Past the time limit
  // no tree follows, and the LP keeps its rows and point.
  if (elapsedSeconds(run) >= run.control.timeLimit) return 0;
  int removed = 0;
  QVN_TRY(purgeCuts(pool, *s.nodeLp, 0, &removed));
  if (removed > 0) {
    bool go = false;
    QVN_TRY(resolve(&go));
  }
  return 0;
}

} // namespace

int rootCutRounds(MipRun &run) {
  const int failure = runRootRounds(run);
  MipSearch &s = *run.search;
  if (!s.cuts || !s.cuts->prepared) return failure;
  // The tree keeps a family on only where the root found it worth its time:
  // at level 1 never, at the automatic level when it found cuts.
  CutPool &pool = *s.cuts;
  const MipParams &p = *run.env->mipParams;
  for (int k = 0; k <= kCutObjDisj; ++k) {
    const int level = familySwitch(p, k);
    pool.nodeSwitch[k] = level == 1 || (level == 0 && pool.applied[k] == 0) ? -1 : level;
  }
  return failure;
}

int separateAtNode(MipRun &run, const NodeRecord &node, double objective, const double *x, int *added) {
  *added = 0;
  MipSearch &s = *run.search;
  if (!s.cuts || !s.cuts->prepared || run.stopStatus != 0 || node.depth > kNodeCutDepth ||
      elapsedSeconds(run) >= run.control.timeLimit)
    return 0;
  CutPool &pool = *s.cuts;
  LpRelaxation &lp = *s.nodeLp;
  // The pool mirrors the LP rows after the model's; rows it does not know
  // (none so far) would break that.
  if (relaxNumRows(lp) != pool.firstCutRow + static_cast<int>(pool.installed.cuts.size())) return 0;
  NodeRounds &turn = pool.node;
  if (turn.sequence != node.sequence) {
    turn = NodeRounds{};
    turn.sequence = node.sequence;
    turn.mask = nodeMask(pool);
  } else {
    if (turn.round >= kMaxNodeRounds) return 0;
    // Families whose cuts did not move the node's bound sit out the rest of its turn.
    if (objective - turn.objective < (std::fabs(objective) + std::fabs(turn.objective)) * 1e-5)
      for (int k = 0; k < kCutFamilyCount; ++k)
        if (turn.found[k] > 0) turn.mask &= ~(1u << k);
  }
  if (turn.mask == 0) return 0;
  const int room = pool.cutLimit - relaxNumRows(lp);
  if (room <= 0) return 0;
  int found[kCutFamilyCount] = {};
  QVN_TRY(separateRound(run, x, turn.mask, -1, room, found, true));
  if (run.debug) debugCheckPending(run, pool.pending);
  // Loose cuts leave now and then, before the new rows come, while the LP's
  // row activities are still those of its solve.
  if (++pool.nodeCalls >= kNodePurgeEvery) {
    pool.nodeCalls = 0;
    int removed = 0;
    QVN_TRY(purgeCuts(pool, lp, kNodePurgeAge, &removed));
  }
  int before[kCutFamilyCount];
  std::copy(pool.applied, pool.applied + kCutFamilyCount, before);
  int installed = 0;
  QVN_TRY(installCuts(pool, lp, &installed));
  for (int k = 0; k < kCutFamilyCount; ++k) pool.nodeApplied[k] += pool.applied[k] - before[k];
  ++turn.round;
  turn.objective = objective;
  for (int k = 0; k < kCutFamilyCount; ++k) turn.found[k] = found[k];
  *added = installed;
  return 0;
}

void printCutSummary(const MipRun &run) {
  const MipSearch &s = *run.search;
  if (run.control.display <= 0) return;
  const MipParams &p = *run.env->mipParams;
  static const struct {
    int family;
    const char *line;
  } kLines[] = {
      {kCutGub, "GUB cover cuts applied:  %d\n"},
      {kCutClique, "Clique cuts applied:  %d\n"},
      {kCutCover, "Cover cuts applied:  %d\n"},
      {kCutLocalCover, "Local cover cuts applied:  %d\n"},
      {kCutImplBd, "Implied bound cuts applied:  %d\n"},
      {kCutFlow, "Flow cuts applied:  %d\n"},
      {kCutMir, "Mixed integer rounding cuts applied:  %d\n"},
      {kCutFlowPath, "Flow path cuts applied:  %d\n"},
      {kCutFract, "Gomory fractional cuts applied:  %d\n"},
      {kCutDisj, "Disjunctive cuts applied:  %d\n"},
      {kCutTighten, "Tightening cuts applied:  %d\n"},
      {kCutObjDisj, "Objective disjunction cuts applied:  %d\n"},
      {kCutUser, "User cuts applied:  %d\n"},
      {kCutTable, "Lazy constraints applied:  %d\n"},
  };
  bool first = true;
  for (const auto &l : kLines) {
    const int count = s.cuts ? s.cuts->applied[l.family] : 0;
    const bool bySwitch = l.family <= kCutObjDisj && familySwitch(p, l.family) > 0;
    if (count == 0 && !bySwitch) continue;
    if (first) QVNmsg(run.env->resultsChannel, "\n");
    first = false;
    QVNmsg(run.env->resultsChannel, l.line, count);
  }
}

bool mipRootBounds(const Problem *lp, double *relaxation, double *rootBound) {
  const MipSearch *s = lp->mipSearch;
  if (!s || !s->rootSolved || s->rootObjective >= kTreeInfinity) return false;
  const double sense = lp->lpData && lp->lpData->objSense < 0 ? -1.0 : 1.0;
  *relaxation = sense * s->rootObjective;
  *rootBound = sense * s->rootBound;
  return true;
}

const CutPool *mipCutPool(const Problem *lp) { return lp->mipSearch ? lp->mipSearch->cuts : nullptr; }

const CutPool *mipCutStatistics(const Problem *lp) {
  const MipSearch *s = activeSearch(lp);
  return s ? s->cuts : nullptr;
}

int heuristicStep(MipRun &run, unsigned when) {
  int count = 0;
  const Heuristic *list = heuristics(&count);
  for (int k = 0; k < count; ++k) {
    if (!(list[k].when & when)) continue;
    if (run.stopStatus != 0 || heuristicMustStop(run)) break;
    int found = 0;
    // Each row learns where it is called from through its data word.
    QVN_TRY(list[k].run(run, &when, &found));
    if (found) ++heuristicState(run).callsFound;
    if (found && (when & kAtRoot))
      logIncumbent(run, storeCount(run.search->store) + (run.search->resume ? 1 : 0), nullptr, true);
  }
  return 0;
}

} // namespace qvn
