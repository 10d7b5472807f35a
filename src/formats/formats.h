// Entry points of the model file formats inside the library.
#pragma once
#include <cstring>

#include "formats/model_image.h"
#include "runtime/errors.h"
#include "runtime/files.h"

struct Environment;

namespace qvn {

// Readers fill `image` from the file; on failure the error has been printed
// and the negated number comes back, `image` then holds nothing of use.
int readMpsFile(Environment *env, const char *path, ModelImage &image);
int readLpFile(Environment *env, const char *path, ModelImage &image);
// Reserves the image's arrays by the starting sizes of the read parameters
// (QVN_PARAM_ROWREADLIM, COLREADLIM, NZREADLIM): hints, never limits.
void reserveReadHints(Environment *env, ModelImage &image);

// The format chosen by type word, name or first bytes (null type word allowed).
int readModelImage(Environment *env, const char *fileName, const char *typeWord, ModelImage &image);
int writeModelImage(Environment *env, const ModelImage &image, const char *fileName, const char *typeWord);

// Writers; `genericNames` writes generated names in place of the model's own.
// `nameLine`, when given, is written as the whole first line.
int writeMpsFile(Environment *env, const ModelImage &image, const char *path, bool genericNames,
                 const char *nameLine = nullptr);
int writeLpFile(Environment *env, const ModelImage &image, const char *path, bool genericNames);
// The conflict form: with `lastRowIsSum`, the image's last row (the sum of the
// conflict's equality rows) goes out as comment lines under a heading.
int writeLpConflictFile(Environment *env, const ModelImage &image, const char *path, bool lastRowIsSum);

// LP name repair: whether a name must be changed to stand in an LP file, and
// the repaired text (at most 256 characters with the terminating NUL).
bool lpNameNeedsRepair(const char *name);
void repairLpName(const char *name, char *out);

// Fixes the types and bounds of indicator columns (shared by LP and MPS).
void checkIndicatorColumns(Environment *env, ModelImage &image);
// Gives sets whose weights are all zero the weights 1, 2, ...
void defaultSosWeights(Environment *env, ModelImage &image);
void defaultSosWeights(Environment *env, SosSets &sos);

constexpr int kMaxEntries = 262499999;   // rows, columns or nonzeros a reader takes
constexpr size_t kFileNameMax = 255;      // longest name text in a model file
constexpr int kWarningCap = 20;           // warnings of one family printed in full
// The one threshold of infinity of the readers, the writers and the model: a
// bound at or beyond 1e20 in size is infinite and stored as exactly 1e20; a
// bound below it is finite whatever its size, so a model keeps its meaning
// through any format.
constexpr double kFileInfinity = 1e20;
inline double clampInfinite(double v) {
  return v >= kFileInfinity ? kFileInfinity : v <= -kFileInfinity ? -kFileInfinity : v;
}

// Physical lines in pieces of a bounded size, as fgets hands them out, over
// the whole lines of the file service: a line longer than the piece comes in
// several, and only the last ends in its line feed.
struct LineSource {
  QvnFile *file = nullptr;
  const char *rest = nullptr;  // unread part of the current line
  size_t left = 0;
  // Copies at most capacity - 1 bytes, NUL-terminated; the count, 0 at the end.
  size_t next(char *dst, size_t capacity) {
    if (left == 0) {
      char *line = fileReadLine(file, &left);
      if (!line) {
        left = 0;
        dst[0] = '\0';
        return 0;
      }
      rest = line;
    }
    const size_t take = left < capacity - 1 ? left : capacity - 1;
    std::memcpy(dst, rest, take);
    dst[take] = '\0';
    rest += take;
    left -= take;
    return take;
  }
};

// The frame of a reader: opens `path` (trying `extension` behind a name that
// lacks it), runs `body`, closes, and on failure leaves `image` empty. A
// compressed file is first read through once, so that damaged data give 1027
// with the file's name rather than a parse error about what the damage left.
template <class Body>
int readFrame(Environment *env, const char *path, const char *extension, ModelImage &image, LineSource &in,
              Body &&body) {
  QVN_TRY(verifyCompressed(env, path, "rb", extension, 0));
  int status = 0;
  in.file = openRead(env, path, "rb", extension, 0, 1, &status);
  if (!in.file) return status;
  try {
    status = body();
  } catch (...) {  // out of memory: the frame of the exported call answers 1001
    closeFile(&in.file);
    image = ModelImage();
    throw;
  }
  // Read errors after the check above (a file changed meanwhile, a failing disk).
  if (status == 0 && fileFailed(in.file)) status = reportDamaged(env, path, 0);
  closeFile(&in.file);
  if (status != 0) image = ModelImage();
  return status;
}

// The frame of a writer: opens `path` into `out` (compressed by its name), runs
// `body`, and closes the file on every path; a failed write or close is 1422.
template <class Body> int writeFrame(Environment *env, const char *path, QvnFile *&out, Body &&body) {
  bool noMemory = false;
  out = openWrite(path, "w", 1, &noMemory);
  if (!out) return noMemory ? QVNERR_NO_MEMORY : reportError(env, QVNERR_FAIL_OPEN_WRITE, path);
  int status;
  try {
    status = body();
  } catch (...) {
    closeFile(&out);
    throw;
  }
  if (closeFile(&out) != 0) return reportError(env, QVNERR_FAIL_OPEN_WRITE, path);
  return status;
}

} // namespace qvn
