// Formatting of the node log.
#include "mip/mip_log.h"

#include <cmath>
#include <cstdio>

#include "runtime/channels.h"
#include "runtime/environment.h"

namespace qvn {

namespace {

// Magnitude from which values switch to the exponent form, so that they fit.
constexpr double kExponentFrom = 1e7;
// Magnitude from which a bound prints as blank (no bound).
constexpr double kNoValue = 1e74;

void value14(char *out, size_t size, double v, bool fourDigits) {
  if (std::fabs(v) >= kExponentFrom)
    std::snprintf(out, size, "%14.5e", v);
  else
    std::snprintf(out, size, fourDigits ? "%14.4f" : "%14.4f", v);
}

} // namespace

void formatGap(char out[16], bool hasIncumbent, double incumbent, double bestNode, bool lpTrouble) {
  if (hasIncumbent && std::fabs(bestNode) < kNoValue) {
    const double gap = 100.0 * std::fabs(incumbent - bestNode) / (std::fabs(incumbent) + 1e-10);
    if (gap >= 999.99)
      std::snprintf(out, 16, "%9s", "--- ");
    else
      std::snprintf(out, 16, "%8.2f%%", gap);
  } else if (std::fabs(bestNode) > kNoValue && !lpTrouble) {
    std::snprintf(out, 16, "%8.2f%%", 0.0);
  } else {
    std::snprintf(out, 16, "%9s", "");
  }
}

void printMipHeader(Environment *env) {
  QVNmsg(env->resultsChannel, "\n        Nodes                                         Cuts/\n");
  QVNmsg(env->resultsChannel, "   Node  Left     Objective  IInf  Best Integer     Best Node    ItCnt     Gap");
  QVNmsg(env->logChannel, "         Variable B Parent  Depth");
  QVNmsg(env->resultsChannel, "\n\n");
}

void printNodeLine(Environment *env, const NodeLine &l) {
  char objective[64], best[32], bound[32], iterations[32], gap[16];
  switch (l.kind) {
  case NodeLine::Kind::kValue: {
    char v[32];
    value14(v, sizeof v, l.objective, true);
    std::snprintf(objective, sizeof objective, "%s%6d", v, l.iinf);
    break;
  }
  case NodeLine::Kind::kInfeasible:
    std::snprintf(objective, sizeof objective, "%-20s", "    infeasible");
    break;
  case NodeLine::Kind::kCutoff:
    std::snprintf(objective, sizeof objective, "%-20s", "        cutoff");
    break;
  case NodeLine::Kind::kIncumbent:
    std::snprintf(objective, sizeof objective, "%-14s%6d", "", 0);
    break;
  case NodeLine::Kind::kLpTrouble:
    std::snprintf(objective, sizeof objective, "%14.14s%6s", l.lpStatusText ? l.lpStatusText : "", "");
    break;
  }
  if (!l.hasIncumbent || std::fabs(l.incumbent) >= 1e75)
    std::snprintf(best, sizeof best, "%14s", "");
  else
    value14(best, sizeof best, l.incumbent, true);
  if (std::fabs(l.bestNode) >= kNoValue)
    std::snprintf(bound, sizeof bound, "%14s", "");
  else
    value14(bound, sizeof bound, l.bestNode, true);
  if (l.iterations >= 1e9)
    std::snprintf(iterations, sizeof iterations, "%9g", l.iterations);
  else
    std::snprintf(iterations, sizeof iterations, "%9.0f", l.iterations);
  formatGap(gap, l.hasIncumbent, l.incumbent, l.bestNode, l.kind == NodeLine::Kind::kLpTrouble);
  QVNmsg(env->resultsChannel, "%c%6d%c%5d%s%s%s%s%s", l.mark, l.node, l.heuristic, l.left, objective, best, bound,
         iterations, gap);
  if (l.variable)
    QVNmsg(env->logChannel, "%-16.16s %c%7d%7d", l.variable, l.direction, l.parent, l.depth);
  else if (l.node != 0)
    QVNmsg(env->logChannel, "%16s %c%7d%7d", "", l.direction == 'C' || l.direction == 'A' ? l.direction : 'X',
           l.parent, l.depth);
  QVNmsg(env->resultsChannel, "\n");
  QVNflushchannel(env, env->resultsChannel);
  QVNflushchannel(env, env->logChannel);
}

void printIncumbentShort(Environment *env, double incumbent, int node, double bestNode, int sense) {
  QVNmsg(env->resultsChannel, "Best integer = %14.6le  Node = %7d  Best node = ", incumbent, node);
  if (std::fabs(bestNode) >= kNoValue)
    QVNmsg(env->resultsChannel, sense > 0 ? "-inf\n" : "+inf\n");
  else
    QVNmsg(env->resultsChannel, "%14.6le\n", bestNode);
}

void printElapsed(Environment *env, double seconds, double treeMegabytes) {
  QVNmsg(env->resultsChannel, "Elapsed time = %6.2f sec. (tree size = %5.2f MB).\n", seconds, treeMegabytes);
}

void printNodefileSize(Environment *env, double rawMegabytes, double storedMegabytes) {
  if (rawMegabytes <= 0.0) return;
  if (storedMegabytes != rawMegabytes)
    QVNmsg(env->resultsChannel, "Nodefile size = %5.2f MB (%.2f MB after compression)\n", rawMegabytes,
           storedMegabytes);
  else
    QVNmsg(env->resultsChannel, "Nodefile size = %5.2f MB\n", rawMegabytes);
}

} // namespace qvn
