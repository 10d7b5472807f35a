// libFuzzer target for the model file readers. The format comes from the
// build: QVN_FUZZ_FORMAT is "LP" or "MPS". Input bytes are written to a file
// because the readers take a path, as the library's callers do.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "formats/formats.h"
#include "quorvan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static QVNENVptr env = [] {
    int status = 0;
    return QVNopenQUORVAN(&status);
  }();
  static const std::string path = "/tmp/qvn_fuzz_" + std::to_string(getpid()) + "." QVN_FUZZ_FORMAT;
  FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  qvn::ModelImage image;
  const int status = qvn::readModelImage(env, path.c_str(), QVN_FUZZ_FORMAT, image);
  if (status == 0) {
    // What a reader accepts must make a consistent model.
    if (static_cast<int>(image.colStart.size()) != image.numCols + 1) __builtin_trap();
    for (int r : image.rowIndex)
      if (r < 0 || r >= image.numRows) __builtin_trap();
  }
  return 0;
}
