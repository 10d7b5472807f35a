#include "mip/debug_solution.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/channels.h"

namespace qvn {

namespace {

constexpr double kTolerance = 1e-6;

int columnByName(const MipRun &run, const char *name) {
  int j = -1;
  return QVNgetcolindex(run.env, run.lp, name, &j) == 0 ? j : -1;
}

void breach(Environment *env, DebugSolution &d, const char *format, ...) {
  if (++d.breaches > 20) return;
  char text[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  QVNmsg(env->errorChannel, "Debug solution %s\n", text);
}

} // namespace

DebugSolution *debugSolutionLoad(const MipRun &run) {
  const char *path = std::getenv("QUORVAN_DEBUG_SOLUTION");
  if (!path || !*path) return nullptr;
  const LpData &d = *run.model;
  FILE *in = std::fopen(path, "r");
  if (!in) {
    QVNmsg(run.env->warningChannel, "Warning: debug solution '%.255s' not read.\n", path);
    return nullptr;
  }
  DebugSolution *s = envNew<DebugSolution>();
  s->x.assign(static_cast<size_t>(d.numCols) + 1, 0.0);
  char line[1024], first[512], name[512];
  double value = 0.0;
  int matched = 0;
  while (std::fgets(line, sizeof line, in)) {
    if (std::sscanf(line, "%511s %511s %lf", first, name, &value) != 3) continue;
    const int j = columnByName(run, name);
    if (j < 0) continue;
    s->x[static_cast<size_t>(j)] = value;
    ++matched;
  }
  std::fclose(in);
  double z = d.objOffset;
  for (int j = 0; j < d.numCols; ++j) z += d.objCoef[j] * s->x[static_cast<size_t>(j)];
  s->objective = run.sense * z;
  QVNmsg(run.env->warningChannel, "Debug solution: %d values, objective %.10g.\n", matched, z);
  return s;
}

void debugSolutionFree(DebugSolution *&d) {
  envDelete(d);
  d = nullptr;
}

bool debugSolutionInside(const DebugSolution &d, const double *lower, const double *upper) {
  const size_t n = d.x.size() - 1;
  for (size_t j = 0; j < n; ++j)
    if (d.x[j] < lower[j] - kTolerance || d.x[j] > upper[j] + kTolerance) return false;
  return true;
}

void debugCheckBound(Environment *env, DebugSolution &d, double bound, const char *what) {
  if (bound > d.objective + kTolerance * (1.0 + std::fabs(d.objective)))
    breach(env, d, "cut off by %s: bound %.10g above its objective %.10g", what, bound, d.objective);
}

void debugCheckCut(Environment *env, DebugSolution &d, int count, const int *index, const double *value,
                   char sense, double rhs, const char *what) {
  double activity = 0.0, scale = std::fabs(rhs);
  for (int k = 0; k < count; ++k) {
    activity += value[k] * d.x[static_cast<size_t>(index[k])];
    scale = std::max(scale, std::fabs(value[k] * d.x[static_cast<size_t>(index[k])]));
  }
  const double violation = sense == 'L' ? activity - rhs : sense == 'G' ? rhs - activity : std::fabs(activity - rhs);
  if (violation > kTolerance * (1.0 + scale))
    breach(env, d, "cut off by a %s cut: violation %.3g", what, violation);
}

void debugCheckBoundChange(Environment *env, DebugSolution &d, int col, double lower, double upper,
                           const char *what) {
  const double v = d.x[static_cast<size_t>(col)];
  if (v < lower - kTolerance || v > upper + kTolerance)
    breach(env, d, "cut off by %s: column %d in [%.10g, %.10g], its value %.10g", what, col, lower, upper, v);
}

} // namespace qvn
