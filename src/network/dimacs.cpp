// DIMACS minimum-cost flow files: "c" comments, one "p min NODES ARCS" line,
// "n ID SUPPLY" lines for nodes with a supply (negative: a demand) and
// "a FROM TO LOW CAP COST" lines. Node numbers run from 1; node i of the
// file is node i - 1 here, named "n<i>"; arcs are named "a<k>" in file order.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "network/net_problem.h"
#include "runtime/errors.h"
#include "runtime/files.h"

namespace qvn {

namespace {

struct DimacsImage {
  long nodes = -1, arcs = -1;
  EnvVector<double> supply;
  EnvVector<int> from, to;
  EnvVector<double> lower, upper, cost;
};

bool readLong(char *&at, long &value) {
  char *end = nullptr;
  errno = 0;
  value = std::strtol(at, &end, 10);
  if (end == at || errno != 0) return false;
  at = end;
  return true;
}

bool readDouble(char *&at, double &value) {
  char *end = nullptr;
  value = std::strtod(at, &end);
  if (end == at || std::isnan(value)) return false;
  at = end;
  return true;
}

bool onlySpaceLeft(const char *at) {
  while (*at == ' ' || *at == '\t' || *at == '\r' || *at == '\n') ++at;
  return *at == '\0';
}

int parseLine(const Environment *env, char *text, long line, DimacsImage &image) {
  char *at = text;
  while (*at == ' ' || *at == '\t') ++at;
  const char kind = *at;
  if (kind == 'c' || kind == '\0' || kind == '\n' || kind == '\r') return 0;
  ++at;
  if (kind == 'p') {
    while (*at == ' ' || *at == '\t') ++at;
    if (std::strncmp(at, "min", 3) != 0 || (at[3] != ' ' && at[3] != '\t'))
      return reportErrorAtLine(env, static_cast<int>(line), QVNERR_NET_NOT_MINCOST);
    at += 3;
    if (image.nodes >= 0 || !readLong(at, image.nodes) || !readLong(at, image.arcs) || !onlySpaceLeft(at) ||
        image.nodes < 0 || image.arcs < 0 || image.nodes > 2100000000 || image.arcs > 2100000000)
      return reportErrorAtLine(env, static_cast<int>(line), QVNERR_NET_FILE_INCONSISTENT);
    image.supply.assign(static_cast<size_t>(image.nodes), 0.0);
    image.from.reserve(static_cast<size_t>(image.arcs));
    image.to.reserve(static_cast<size_t>(image.arcs));
    image.lower.reserve(static_cast<size_t>(image.arcs));
    image.upper.reserve(static_cast<size_t>(image.arcs));
    image.cost.reserve(static_cast<size_t>(image.arcs));
    return 0;
  }
  if (kind != 'n' && kind != 'a') return reportErrorAtLine(env, static_cast<int>(line), QVNERR_NET_BAD_ROW);
  if (image.nodes < 0) return reportErrorAtLine(env, static_cast<int>(line), QVNERR_NET_FILE_INCONSISTENT);
  if (kind == 'n') {
    long id = 0;
    double supply = 0;
    if (!readLong(at, id) || !readDouble(at, supply) || !onlySpaceLeft(at) || id < 1 || id > image.nodes)
      return reportErrorAtLine(env, static_cast<int>(line), QVNERR_NET_FILE_INCONSISTENT);
    image.supply[id - 1] += supply;
    return 0;
  }
  long tail = 0, head = 0;
  double low = 0, cap = 0, cost = 0;
  if (!readLong(at, tail) || !readLong(at, head) || !readDouble(at, low) || !readDouble(at, cap) ||
      !readDouble(at, cost) || !onlySpaceLeft(at) || tail < 1 || tail > image.nodes || head < 1 ||
      head > image.nodes || static_cast<long>(image.from.size()) >= image.arcs)
    return reportErrorAtLine(env, static_cast<int>(line), QVNERR_NET_FILE_INCONSISTENT);
  image.from.push_back(static_cast<int>(tail - 1));
  image.to.push_back(static_cast<int>(head - 1));
  image.lower.push_back(low);
  image.upper.push_back(cap >= kNetInfinite ? kNetInfBound : cap);
  image.cost.push_back(cost);
  return 0;
}

int readImage(Environment *env, const char *fileName, DimacsImage &image) {
  QVN_TRY(verifyCompressed(env, fileName, "r", nullptr, 1));
  int status = 0;
  QvnFile *in = openRead(env, fileName, "r", nullptr, 1, 1, &status);
  if (!in) return status != 0 ? status : -QVNERR_FAIL_OPEN_READ;
  long line = 0;
  size_t length = 0;
  while (status == 0) {
    char *text = fileReadLine(in, &length);
    if (!text) break;
    ++line;
    status = parseLine(env, text, line, image);
  }
  const bool failed = fileFailed(in);
  closeFile(&in);
  QVN_TRY(status);
  if (failed) return reportDamaged(env, fileName, line);
  if (image.nodes < 0 || static_cast<long>(image.from.size()) != image.arcs)
    return reportError(env, QVNERR_NET_FILE_END);
  return 0;
}

} // namespace

int readDimacsMin(Environment *env, NetProblem *net, const char *fileName) {
  DimacsImage image;
  QVN_TRY(readImage(env, fileName, image));
  emptyNetwork(net);
  const int nodes = static_cast<int>(image.nodes), arcs = static_cast<int>(image.arcs);
  QVN_TRY(addNetNodes(env, net, nodes, image.supply.data(), nullptr));
  return addNetArcs(env, net, arcs, image.from.data(), image.to.data(), image.lower.data(), image.upper.data(),
                    image.cost.data(), nullptr);
}

} // namespace qvn
