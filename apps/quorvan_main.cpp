// quorvan: converts model files between formats and prints their statistics.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "cli_options.h"
#include "conflict_command.h"
#include "formats/formats.h"
#include "quorvan.h"
#include "solve_command.h"

namespace {

void toStream(void *handle, const char *text) { std::fputs(text, static_cast<FILE *>(handle)); }

struct Range {
  double low = INFINITY, high = 0.0;
  void add(double v) {
    v = std::fabs(v);
    if (v == 0.0 || v >= 1e20) return;
    if (v < low) low = v;
    if (v > high) high = v;
  }
  void print(const char *label) const {
    if (high == 0.0) std::printf("  %-18s none\n", label);
    else std::printf("  %-18s [%.0e, %.0e]\n", label, low, high);
  }
};

void printStats(const qvn::ModelImage &m, const char *file) {
  int integers = 0, binaries = 0;
  for (char t : m.ctype) {
    integers += t == 'B' || t == 'I' || t == 'N';
    binaries += t == 'B';
  }
  Range matrix, objective, bounds, rhs;
  for (double v : m.value) matrix.add(v);
  for (double v : m.obj) objective.add(v);
  for (int j = 0; j < m.numCols; ++j) {
    bounds.add(m.lower[j]);
    bounds.add(m.upper[j]);
  }
  for (double v : m.rhs) rhs.add(v);
  std::printf("%s\n", file);
  std::printf("  %-18s %s\n", "objective", m.objSense == -1 ? "maximize" : "minimize");
  std::printf("  %-18s %d\n", "rows", m.numRows);
  std::printf("  %-18s %d\n", "columns", m.numCols);
  long long nonzeros = 0;
  for (double v : m.value) nonzeros += v != 0.0;
  std::printf("  %-18s %lld\n", "nonzeros", nonzeros);
  std::printf("  %-18s %d (%d binary)\n", "integers", integers, binaries);
  if (m.sos.count) std::printf("  %-18s %d\n", "sos sets", m.sos.count);
  if (!m.qValue.empty()) std::printf("  %-18s %zu\n", "quadratic terms", m.qValue.size());
  std::printf("coefficient ranges (absolute values, zeros and infinities left out)\n");
  matrix.print("matrix");
  objective.print("objective");
  bounds.print("bounds");
  rhs.print("right-hand sides");
}

} // namespace

int main(int argc, char **argv) {
  // The solve verb has options of its own.
  if (argc >= 2 && std::strcmp(argv[1], "solve") == 0) return qvncli::runSolve(argc - 1, argv + 1);
  if (argc >= 2 && std::strcmp(argv[1], "conflict") == 0) return qvncli::runConflict(argc - 1, argv + 1);
  const qvncli::CliOptions o = qvncli::parseOptions(argc, argv);
  if (o.verb == "help") {
    std::fputs(qvncli::usageText(), stdout);
    std::fputs(qvncli::solveUsageText(), stdout);
    std::fputs(qvncli::conflictUsageText(), stdout);
    return 0;
  }
  if (!o.error.empty()) {
    std::fprintf(stderr, "quorvan: %s\n%s", o.error.c_str(), qvncli::usageText());
    return 2;
  }
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  if (!env) {
    std::fprintf(stderr, "quorvan: could not open the library (error %d)\n", status);
    return 1;
  }
  QVNCHANNELptr results, warning, error, log;
  QVNgetchannels(env, &results, &warning, &error, &log);
  QVNaddfuncdest(env, error, stderr, toStream);
  QVNaddfuncdest(env, warning, stderr, toStream);
  if (o.verbose) QVNaddfuncdest(env, results, stdout, toStream);

  qvn::ModelImage image;
  const char *in = o.operands[0].c_str();
  status = qvn::readModelImage(env, in, o.inputType.empty() ? nullptr : o.inputType.c_str(), image);
  if (status == 0 && o.verb == "convert") {
    status = qvn::writeModelImage(env, image, o.operands[1].c_str(),
                                  o.outputType.empty() ? nullptr : o.outputType.c_str());
  } else if (status == 0) {
    printStats(image, in);
  }
  if (status != 0) {
    char text[1024];
    const int number = status < 0 ? -status : status;
    // Detailed errors were printed where they happened; plain ones are told here.
    if (status > 0 && QVNgeterrorstring(env, number, text)) std::fputs(text, stderr);
    std::fprintf(stderr, "quorvan: %s failed with error %d\n", o.verb.c_str(), number);
  }
  QVNcloseQUORVAN(&env);
  return status == 0 ? 0 : 1;
}
