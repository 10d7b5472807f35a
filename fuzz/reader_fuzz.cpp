// Fuzz target for the file readers. The build chooses the reader with
// QVN_FUZZ_FORMAT: "LP" or "MPS" (model readers), "PRM" (parameter files), or
// a model kind with a compression, "LP.GZ" or "MPS.BZ2", whose input bytes are
// the compressed file; "SIDE" reads the bytes as a priority order, SOS and
// MIP start file into a fixed model (QVN_FUZZ_MODEL). The bytes are written to a file because the readers
// take a path, as the library's callers do. It serves libFuzzer (clang, see
// build.sh) and the mutation driver of the sanitizer suite alike.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "formats/formats.h"
#include "model/problem.h"
#include "quorvan.h"

bool qvnFuzzAccepted = false;

namespace {

const std::string kFormat = QVN_FUZZ_FORMAT;
const std::string kKind = kFormat.substr(0, kFormat.find('.'));

[[noreturn]] void broken(const char *what) {
  std::fprintf(stderr, "reader_fuzz %s: %s\n", QVN_FUZZ_FORMAT, what);
  __builtin_trap();
}

// What a reader accepts must make a consistent model, and one that the
// problem takes whole.
void checkModel(QVNENVptr env, const qvn::ModelImage &image, const char *path) {
  if (static_cast<int>(image.colStart.size()) != image.numCols + 1) broken("column starts");
  for (int r : image.rowIndex)
    if (r < 0 || r >= image.numRows) broken("row index");
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "fuzz");
  if (!lp) return;
  if (qvn::installModel(env, lp, image, path) == 0) {
    if (QVNgetnumcols(env, lp) != image.numCols || QVNgetnumrows(env, lp) != image.numRows)
      broken("installed counts");
    int nz = 0, surplus = 0;
    QVNgetcols(env, lp, &nz, nullptr, nullptr, nullptr, 0, &surplus, 0, image.numCols - 1);
    if (image.numCols > 0 && -surplus != QVNgetnumnz(env, lp)) broken("installed nonzeros");
  }
  QVNfreeprob(env, &lp);
}

#ifdef QVN_FUZZ_MODEL
// Counts of what the side files set: a reader that fails must leave them.
struct SideCounts {
  int sos, order, starts;
  bool operator==(const SideCounts &) const = default;
};
SideCounts sideCounts(QVNENVptr env, QVNLPptr lp) {
  int count = 0, surplus = 0;
  SideCounts c{QVNgetnumsos(env, lp), 0, 0};
  QVNgetorder(env, lp, &count, nullptr, nullptr, nullptr, 0, &surplus);
  c.order = -surplus;
  QVNgetmipstart(env, lp, &count, nullptr, nullptr, 0, &surplus);
  c.starts = -surplus;
  return c;
}

void readSideFiles(QVNENVptr env, const char *path) {
  static QVNLPptr lp = [env] {
    int status = 0;
    QVNLPptr p = QVNcreateprob(env, &status, "side");
    if (!p || QVNreadcopyprob(env, p, QVN_FUZZ_MODEL, nullptr) != 0) broken("fixed model");
    return p;
  }();
  int (*const readers[])(QVNCENVptr, QVNLPptr, const char *) = {QVNreadcopyorder, QVNreadcopysos,
                                                                 QVNreadcopymipstart};
  for (auto *read : readers) {
    const SideCounts before = sideCounts(env, lp);
    if (read(env, lp, path) == 0) qvnFuzzAccepted = true;
    else if (!(sideCounts(env, lp) == before)) broken("a failed side file changed the problem");
  }
}
#endif

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static QVNENVptr env = [] {
    int status = 0;
    return QVNopenQUORVAN(&status);
  }();
  // A memory file system where there is one: a file is written per input.
  static const std::string path = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") +
                                  "/qvn_fuzz_" + std::to_string(getpid()) + "." + kFormat;
  qvnFuzzAccepted = false;
  FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  if (kKind == "SIDE") {
#ifdef QVN_FUZZ_MODEL
    readSideFiles(env, path.c_str());
#endif
  } else if (kKind == "PRM") {
    qvnFuzzAccepted = QVNreadcopyparam(env, path.c_str()) == 0;
    // A file may have turned the screen on or changed limits: start clean.
    QVNsetdefaults(env);
  } else {
    qvn::ModelImage image;
    qvnFuzzAccepted = qvn::readModelImage(env, path.c_str(), kKind.c_str(), image) == 0;
    if (qvnFuzzAccepted) checkModel(env, image, path.c_str());
  }
  std::remove(path.c_str());
  return 0;
}
