// What code running inside a sifting run (a progress callback during a work
// LP solve) sees of it: the point of the last finished work solve in the
// frame of the whole problem, and the column changes it asks for, which the
// driver applies when it next prepares the work LP. The run in progress on
// this thread is found through enterSiftRun/leaveSiftRun; a nested run
// hides the outer one until it ends.
#pragma once
#include "model/problem.h"
#include "runtime/environment.h"

namespace qvn {

struct SiftRun {
  Environment *env = nullptr;
  Problem *lp = nullptr;  // the problem the rounds solve (the reduced one after presolve)
  const double *cost = nullptr;  // minimization sense, per column of lp
  int n = 0, m = 0;
  int phase = 2;
  int method = 0;                // the work LP's method, 0 automatic as QVN_PARAM_SIFTALG
  int workColumnCount = 0;       // structural columns of the work LP now
  // The last finished work solve; cleared when the phase changes, so that
  // the values always belong to the phase the run is in.
  bool havePoint = false;
  double objective = 0.0;        // the user's sense in phase 2, the infeasibility in phase 1
  EnvVector<double> pi;          // minimization sense, per row
  EnvVector<int> pointColumns;   // the work columns of that solve
  EnvVector<double> pointX, pointDj;
  EnvVector<int> pointPos;       // per column of lp: its place in pointColumns, or -1
  // Requests from inside the run, by column of lp, applied at the next round.
  EnvVector<int> pendingAdd, pendingDelete;
  SiftRun *outer = nullptr;
};

void enterSiftRun(SiftRun *run);
void leaveSiftRun(SiftRun *run);

// Records the work LP's solution as the run's point. `workColumns` maps the
// structural columns, which follow `artificials` leading columns of `work`.
void takeSiftPoint(SiftRun &run, const Problem *work, int artificials, const int *workColumns, int count);
void dropSiftPoint(SiftRun &run);

} // namespace qvn
