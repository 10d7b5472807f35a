// The restart file (".xxx"): the basis recovery file that a simplex run
// writes every so many iterations (parameter 1004), and that a later
// optimization of the same problem loads as its start (parameter 1041).
#pragma once
#include "model/problem.h"
#include "runtime/environment.h"
#include "simplex/engine.h"

namespace qvn {

// Held for the length of one optimization of `lp`: on entry it loads the
// restart file when parameter 1041 asks for it and no start is held (or
// QVN_PARAM_ADVIND is 0), and turns QVN_PARAM_ADVIND to 1 when that worked;
// while it lives, the loops that solve lp itself write recovery files for it.
// Scopes nest (an optimization inside another), one chain per thread.
struct RestartScope {
  Environment *env;
  const Problem *lp;
  int lastWritten = -1;  // iteration count of the last recovery file
  RestartScope *outer;
  RestartScope(Environment *e, Problem *p);
  ~RestartScope();
  RestartScope(const RestartScope &) = delete;
  RestartScope &operator=(const RestartScope &) = delete;
};

void writeRecoveryFile(const SimplexEngine &e);

// At the head of every iteration of the simplex loops: a recovery file when
// the iteration count is a nonzero multiple of parameter 1004 (at least 1).
inline void recoveryPoint(const SimplexEngine &e) {
  if (e.iterations > 0 && e.iterations % e.env->generalParams->p1004 == 0) writeRecoveryFile(e);
}

// The restart file of a problem: its name, a compression extension and then
// a last extension dropped, with ".xxx" behind. False when the problem has
// no name or the result does not fit `size`.
bool restartFileName(const LpData &d, char *out, size_t size);

} // namespace qvn
