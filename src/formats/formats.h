// Entry points of the model file formats inside the library.
#pragma once
#include "formats/model_image.h"
#include "formats/text_input.h"
#include "runtime/errors.h"

struct Environment;

namespace qvn {

// Readers fill `image` from the file; on failure the error has been printed
// and the negated number comes back, `image` then holds nothing of use.
int readMpsFile(Environment *env, const char *path, ModelImage &image);
int readLpFile(Environment *env, const char *path, ModelImage &image);

// The format chosen by type word, name or first bytes (null type word allowed).
int readModelImage(Environment *env, const char *fileName, const char *typeWord, ModelImage &image);
int writeModelImage(Environment *env, const ModelImage &image, const char *fileName, const char *typeWord);

// Writers; `genericNames` writes generated names in place of the model's own.
int writeMpsFile(Environment *env, const ModelImage &image, const char *path, bool genericNames);
int writeLpFile(Environment *env, const ModelImage &image, const char *path, bool genericNames);

// LP name repair: whether a name must be changed to stand in an LP file, and
// the repaired text (at most 256 characters with the terminating NUL).
bool lpNameNeedsRepair(const char *name);
void repairLpName(const char *name, char *out);

// Fixes the types and bounds of indicator columns (shared by LP and MPS).
void checkIndicatorColumns(Environment *env, ModelImage &image);
// Gives sets whose weights are all zero the weights 1, 2, ...
void defaultSosWeights(Environment *env, ModelImage &image);

constexpr int kMaxEntries = 262499999;   // rows, columns or nonzeros a reader takes
constexpr size_t kFileNameMax = 255;      // longest name text in a model file
constexpr int kWarningCap = 20;           // warnings of one family printed in full
constexpr double kFileInfinity = 1e20;

// The frame of a reader: opens `path` into `in`, runs `body`, closes, and on
// failure leaves `image` empty.
template <class Body>
int readFrame(Environment *env, const char *path, ModelImage &image, TextInput *&in, Body &&body) {
  int status = openTextInput(path, &in);
  if (status == QVNERR_FAIL_OPEN_READ) return reportError(env, status, path);
  if (status != 0) return status;
  try {
    status = body();
  } catch (...) {  // out of memory: the frame of the exported call answers 1001
    closeTextInput(in);
    image = ModelImage();
    throw;
  }
  if (status == 0 && inputFailed(in)) status = QVNERR_DECOMPRESSION;
  closeTextInput(in);
  if (status != 0) image = ModelImage();
  return status;
}

// The frame of a writer: opens `path` into `out`, runs `body`, and closes the
// file on every path; a failed write or close is 1422.
template <class Body> int writeFrame(Environment *env, const char *path, TextOutput *&out, Body &&body) {
  int status = openTextOutput(path, &out);
  if (status == QVNERR_FAIL_OPEN_WRITE) return reportError(env, status, path);
  if (status != 0) return status;
  try {
    status = body();
  } catch (...) {
    closeTextOutput(out);
    throw;
  }
  const int closed = closeTextOutput(out);
  if (closed != 0) return reportError(env, closed, path);
  return status;
}

} // namespace qvn
