// Cuts as the families make them, the pools that hold them and the context a
// family separates in.
//
// Every cut is stored as a single inequality a x <= rhs ('L') or a x >= rhs
// ('G') on the model's structural columns; a family never sees the LP's
// logicals or the cut rows it added before. The pending block collects one
// round's cuts; installCuts moves them into the node LP, where the installed
// block mirrors the LP rows after the model's own, in the same order.
#pragma once
#include <cstdint>

#include "mip/clique_table.h"
#include "mip/mip_run.h"
#include "mip/probing.h"
#include "simplex/lp_relaxation.h"

namespace qvn {

constexpr int kCutFamilyCount = 18;
// One index for names, counters and logs.
enum CutFamilyIndex : int {
  kCutCover = 0, kCutGub = 1, kCutFlow = 2, kCutClique = 3, kCutFract = 4, kCutMir = 5, kCutFlowPath = 6,
  kCutDisj = 7, kCutImplBd = 8, kCutLocalCover = 9, kCutTighten = 10, kCutObjDisj = 11, kCutUser = 12,
  kCutTable = 13, kCutDiscard = 14, kCutLin = 15, kCutLocal = 16, kCutGcs = 17
};
// First character of a cut's row name, by family.
constexpr const char kCutLetters[] = "vgfqrmpdianoutxljt";

struct Cut {
  char sense;  // 'L' or 'G'
  int family;
  double rhs;
  int count;
  int64_t start;  // of the entries in the block's shared arrays
  int serial;
};

// Growable store of cuts with shared index and value arrays.
struct CutBlock {
  EnvVector<Cut> cuts;
  EnvVector<int> index;
  EnvVector<double> value;
};

void blockReserve(CutBlock &b, int cuts, int64_t nonzeros);
void blockClear(CutBlock &b);
void blockAppend(CutBlock &b, char sense, int family, double rhs, int count, const int *index,
                 const double *value, int serial);
// Activity minus rhs for 'L', rhs minus activity for 'G': above 0 when x violates cut k.
double cutViolation(const CutBlock &b, int k, const double *x);
// True when cut k of `b` is the same inequality as one of `pool` (same sense,
// same columns, values and rhs in one positive ratio within 1e-10).
bool isDuplicateCut(const CutBlock &b, int k, const CutBlock &pool);

// Model rows row-wise with their finite limits lo <= a x <= up.
struct RowModel {
  int numRows = 0;
  EnvVector<int> start, column;
  EnvVector<double> value, lo, up;
};
void buildRowModel(const LpData &d, RowModel &rows);

// The node rounds of the node in hand: which families still run there, and
// what the last round found, to drop a family whose cuts did not move the
// bound.
struct NodeRounds {
  int sequence = -1;  // the node's sequence number; -1 before any node
  int round = 0;
  unsigned mask = 0;
  double objective = 0.0;
  int found[kCutFamilyCount] = {};
};

struct CutPool {
  CutBlock pending, installed;
  CutBlock retired;              // purged from the LP; kept for rescans and checks
  int firstCutRow = 0;           // LP row of installed cut 0
  EnvVector<int> age;            // rounds since installed cut k was last tight
  int applied[kCutFamilyCount] = {};
  double boundMoved[kCutFamilyCount] = {};  // root bound moved in rounds where the family alone found cuts
  int serial = 0;
  int cutLimit = 0;              // LP rows at most
  RowModel rows;
  CliqueTable cliques;
  ImpliedBoundTable implied;
  ProbeResult probing;
  PropagationScratch propagation;
  bool prepared = false;
  // Working switches of the tree, by family (-1 off), set when the root
  // rounds end: a family the root found useless does not run at nodes.
  int nodeSwitch[kCutFamilyCount] = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  NodeRounds node;
  int nodeCalls = 0;  // node rounds since the last node purge
  int nodeApplied[kCutFamilyCount] = {};  // the part of `applied` that node rounds installed
  // Pending cuts from this position on came back from the retired block
  // (-1: none did); they count as returned, not as applied again.
  int rescannedFrom = -1;
  int returned = 0;
  // Every purge begins a new row epoch of the LP and logs the LP rows it
  // deleted, so that a basis stored before it can be carried over:
  // purgeLog[k] took epoch logBase + k to logBase + k + 1.
  int rowEpoch = 0, logBase = 0;
  EnvVector<EnvVector<int>> purgeLog;
  EnvVector<int> carried;  // scratch of carryBasis
};

// What a family separates against. Bounds are the working bounds of the node.
struct CutContext {
  Environment *env;
  const LpData *model;
  const RowModel *rows;
  const ColKind *kind;
  const double *lower, *upper;
  LpRelaxation *lp;
  CutPool *pool;
  int room;            // cuts this family may still add
  int fracCandidates;  // rows of B^-1 Gomory may use
  int aggregateLimit;  // model rows MIR may combine
  double deadline;     // elapsed seconds at which separation gives up
  // The family the cuts from tableau rows count under: Gomory's own, or MIR
  // where MIR runs on the tableau in Gomory's stead.
  int tableauFamily = kCutFract;
};

// True when the run's time is up; families test it between candidates.
inline bool cutTimeUp(const MipRun &run, const CutContext &c) { return elapsedSeconds(run) > c.deadline; }

// Cleans a <= cut (drops tiny coefficients against finite bounds, refuses bad
// scaling) and adds it to the pending block when x violates it enough and
// room remains. True when it was added.
bool offerCut(CutContext &c, int family, EnvVector<int> &index, EnvVector<double> &value, double rhs,
              const double *x);

// Keeps of the pending cuts the `maxCuts` most efficacious (violation at x
// over norm) among those no more parallel than kMaxParallelism to a better
// one; the rest go. *dropped gets their number. Many near-parallel cuts from
// one round grow the LP without moving the bound more than one of them does.
void selectPending(CutPool &pool, const double *x, int numCols, int maxCuts, int *dropped);

// Moves the pending cuts that are not duplicates into the LP. *installed gets their number.
int installCuts(CutPool &pool, LpRelaxation &lp, int *installed);
// Deletes the cut rows whose logical is basic and that have not been tight for
// `maxAge` rounds (0: every non-binding one).
int purgeCuts(CutPool &pool, LpRelaxation &lp, int maxAge, int *removed);

// Moves the retired cuts that x violates by more than `violation` back to
// the pending block, `room` at most; *moved gets their number.
void rescanRetired(CutPool &pool, const double *x, double violation, int room, int *moved);

// Begins a new row epoch after the LP rows `deleted` (ascending) went.
void logDeletedRows(CutPool &pool, EnvVector<int> &&deleted);

// The statuses of a basis stored at row epoch `epoch` (`size` entries: n
// columns, then its rows) carried over to the LP's m rows now: rows purged
// since are dropped, rows added since enter with their logical basic, the
// basis they would have had if they had been there. False when the purge log
// no longer reaches back to `epoch`. Without a pool the rows never changed.
bool carryBasis(CutPool *pool, int epoch, int n, const unsigned char *status, int size, int m, int *colStatus,
                int *rowStatus);

CutPool *newCutPool();
void freeCutPool(CutPool *&pool);

// The families, one file each.
int separateCovers(MipRun &run, void *data, const double *x, int *added);
int separateGubCovers(MipRun &run, void *data, const double *x, int *added);
int separateMir(MipRun &run, void *data, const double *x, int *added);
int separateFlowCuts(MipRun &run, void *data, const double *x, int *added);
int separateTightening(MipRun &run, void *data, const double *x, int *added);
// The rounding both use: MIR cuts of `family` on single rows and
// aggregations, with variable upper bounds in the substitution when asked.
int separateRounding(MipRun &run, CutContext &c, const double *x, bool variableBounds, int family, int *added);
int separateCliques(MipRun &run, void *data, const double *x, int *added);
int separateGomory(MipRun &run, void *data, const double *x, int *added);
int separateImpliedBounds(MipRun &run, void *data, const double *x, int *added);

} // namespace qvn
