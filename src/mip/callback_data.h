// The block a MIP callback receives as its callback data, shared by the
// calls (callbacks.cpp), the getters (callback_getters.cpp) and the branch
// actions (callback_branch.cpp). It lives on the caller's stack for the
// length of one callback call.
#pragma once
#include "mip/callbacks.h"

namespace qvn {

// Marks a live data block: a callback that keeps the pointer past its call,
// or passes something else, gets error 1006 rather than a crash.
constexpr unsigned kCallbackMagic = 0x5156cb01u;

struct CallbackCut {
  char sense;
  double rhs;
  int start, count;
  bool local;  // for the node's subtree only
};

// A child asked for by a branch callback: its bound changes are entries
// [boundStart, boundStart + boundCount) of the block's child arrays, its rows
// entries [rowStart, rowStart + rowCount) of the block's cut rows.
struct CallbackChild {
  int boundStart, boundCount;
  int rowStart, rowCount;
  double estimate;  // user sense
  void *handle;
  int sequence;
};

struct MipCallbackData {
  unsigned magic = kCallbackMagic;
  MipRun *run = nullptr;
  int wherefrom = 0;
  const NodeRecord *node = nullptr;  // the node in hand, or null
  // The node LP holds the node in hand's LP (bounds, and its solution when
  // `x` is set): node bounds, node LP and status may be read.
  bool inHand = false;
  const double *x = nullptr;  // the point the callback is called for, or null
  bool hasObjective = false;
  double objective = 0.0;     // of x, minimization sense
  int nodeStatus = 0;         // the node LP's status as QVNgetstat tells it, 0 for none
  // A root pass's call (107-110): the probing phase and the share done.
  int passPhase = 1;
  double passDone = 1.0;
  // Cuts added by a cut callback, collected until it returns; the rows of a
  // branch callback's children.
  EnvVector<CallbackCut> cuts;
  EnvVector<int> index;
  EnvVector<double> value;
  // Children made by a branch callback, and the sequence numbers they take.
  EnvVector<CallbackChild> children;
  EnvVector<int> childCol;
  EnvVector<char> childLu;
  EnvVector<double> childBound;
  // The built-in branch shown to a branch callback: its children's row counts
  // (always 0: the built-in rules branch on bounds).
  int builtInChildren = 0;
  // The node LP as a Problem, made when first asked for.
  Problem *nodeLpCopy = nullptr;
  ~MipCallbackData();
};

// The block behind `cbdata` when it is a live one of the call `wherefrom`
// names; else null and *status the error (1003 for a wherefrom that is not
// this call's, 1006 for data that is not a live block).
MipCallbackData *callbackDataOf(void *cbdata, int wherefrom, int *status);

// User-sense value of a minimization-sense bound, infinite ones kept at 1e75.
double userBound(const MipRun &run, double v);

// The node LP copied into a fresh Problem of the run's Environment.
int copyNodeLp(MipRun &run, Problem **out);

} // namespace qvn
