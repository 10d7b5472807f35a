// The clock that time limits count on. QVN_PARAM_CLOCKTYPE 1 (the default)
// counts the process's CPU time, so that a limit means the same work on a
// quiet machine and a busy one; 2 counts elapsed wall-clock time, for callers
// who must answer by a deadline. Logs that say "elapsed" keep the wall clock.
#pragma once

struct Environment;

namespace qvn {

struct LimitClock {
  bool wall = false;
  double origin = 0.0;
};

// Starts a clock of the environment's kind at zero.
LimitClock startLimitClock(const Environment *env);

// Seconds since the clock started.
double limitSeconds(const LimitClock &clock);

} // namespace qvn
