#include "runtime/limit_clock.h"

#include <ctime>

#include "runtime/environment.h"
#include "runtime/params.h"

namespace qvn {
namespace {

double readClock(bool wall) {
  timespec t{};
  clock_gettime(wall ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

} // namespace

LimitClock startLimitClock(const Environment *env) {
  LimitClock c;
  c.wall = env && env->generalParams && env->generalParams->clocktype == 2;
  c.origin = readClock(c.wall);
  return c;
}

double limitSeconds(const LimitClock &clock) { return readClock(clock.wall) - clock.origin; }

} // namespace qvn
