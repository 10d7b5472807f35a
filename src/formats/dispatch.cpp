// Reading and writing model files by type word, name extension or first bytes.
#include <cctype>
#include <cstring>
#include <strings.h>

#include "formats/formats.h"
#include "model/edit.h"
#include "model/problem.h"
#include "runtime/environment.h"
#include "runtime/errors.h"

namespace qvn {

namespace {

enum FileKind { kKindUnknown, kKindLp, kKindMps, kKindSav, kKindNet, kKindDamaged };

FileKind kindOfWord(const char *word) {
  if (!strcasecmp(word, "LP")) return kKindLp;
  if (!strcasecmp(word, "MPS")) return kKindMps;
  if (!strcasecmp(word, "SAV")) return kKindSav;
  if (!strcasecmp(word, "NET") || !strcasecmp(word, "MIN")) return kKindNet;
  return kKindUnknown;
}

bool stemEndsWith(const char *name, size_t length, const char *suffix) {
  const size_t m = std::strlen(suffix);
  return length >= m && strncasecmp(name + length - m, suffix, m) == 0;
}

// Length of the name without a compression ending, told in any case here.
size_t withoutCompression(const char *name) {
  const size_t n = std::strlen(name);
  if (n < 3) return n;
  if (stemEndsWith(name, n, ".bz2")) return n - 4;
  if (stemEndsWith(name, n, ".gz")) return n - 3;
  if (stemEndsWith(name, n, ".z")) return n - 2;
  return n;
}

FileKind kindOfName(const char *name) {
  const size_t n = withoutCompression(name);
  if (n < 3) return kKindUnknown;
  if (stemEndsWith(name, n, ".lp")) return kKindLp;
  if (stemEndsWith(name, n, ".mps") || stemEndsWith(name, n, ".qps")) return kKindMps;
  if (stemEndsWith(name, n, ".sav")) return kKindSav;
  if (stemEndsWith(name, n, ".net") || stemEndsWith(name, n, ".min")) return kKindNet;
  return kKindUnknown;
}

FileKind kindOfContent(const Environment *env, const char *name) {
  // Through the same opener as the readers, so a compressed file shows its
  // uncompressed first byte; a file that does not open is no known type.
  QvnFile *in = openRead(env, name, "rb", nullptr, 1, 1, nullptr);
  if (!in) return kKindUnknown;
  const int c = fileGetc(in);
  const bool damaged = fileFailed(in);
  closeFile(&in);
  if (damaged) return kKindDamaged;
  if (c == EOF) return kKindUnknown;
  // A line feed first is an LP file unless the binary SAV header follows,
  // which this library does not read in any case.
  if (c == '\n') return kKindLp;
  if (c < 32) return kKindSav;
  if (c == '*' || c == 'N' || c == 'n') return kKindMps;
  if (c == '\\' || c == 'M' || c == 'm' || c == ' ') return kKindLp;
  return kKindUnknown;
}

int readInto(Environment *env, Problem *lp, const char *fileName, const char *typeWord) {
  ModelImage image;
  QVN_TRY(readModelImage(env, fileName, typeWord, image));
  return installModel(env, lp, image, fileName);
}

int writeFrom(Environment *env, Problem *lp, const char *fileName, bool mps, bool generic) {
  if (!fileName || !*fileName) return QVNERR_NO_FILENAME_GIVEN;
  ModelImage image;
  QVN_TRY(imageFromProblem(env, lp, image));
  return mps ? writeMpsFile(env, image, fileName, generic) : writeLpFile(env, image, fileName, generic);
}

// The type word of a file name: for a compressed name the extension in front
// of the compression ending, else the text behind the first point.
bool typeOfName(const char *fileName, char *word) {
  const char *base = std::strrchr(fileName, '/');
  base = base ? base + 1 : fileName;
  const size_t full = std::strlen(base);
  const size_t n = withoutCompression(base);
  const char *begin;
  size_t length;
  if (n != full) {
    const char *dot = nullptr;
    for (size_t k = 0; k < n; ++k)
      if (base[k] == '.') dot = base + k;
    if (!dot) return false;
    begin = dot + 1;
    length = static_cast<size_t>(base + n - begin);
  } else {
    const char *dot = std::strchr(base, '.');
    if (!dot) return false;
    begin = dot + 1;
    length = std::strlen(begin);
  }
  if (length == 0 || length > 3) return false;
  std::memcpy(word, begin, length);
  word[length] = '\0';
  return true;
}

} // namespace

int readModelImage(Environment *env, const char *fileName, const char *typeWord, ModelImage &image) {
  if (!fileName) return QVNERR_NULL_POINTER;
  FileKind kind = typeWord ? kindOfWord(typeWord) : kKindUnknown;
  if (kind == kKindUnknown) kind = kindOfName(fileName);
  if (kind == kKindUnknown) kind = kindOfContent(env, fileName);
  if (kind == kKindDamaged) {
    QVN_TRY(verifyCompressed(env, fileName, "rb", nullptr, 1));
    return reportDamaged(env, fileName, 1);
  }
  if (kind != kKindLp && kind != kKindMps) return QVNERR_BAD_FILETYPE;
  return kind == kKindLp ? readLpFile(env, fileName, image) : readMpsFile(env, fileName, image);
}

int writeModelImage(Environment *env, const ModelImage &image, const char *fileName, const char *typeWord) {
  if (!fileName || !*fileName) return QVNERR_NO_FILENAME_GIVEN;
  char word[8];
  if (typeWord) {
    if (std::strlen(typeWord) >= 4) return QVNERR_BAD_FILETYPE;
    std::strcpy(word, typeWord);
  } else if (!typeOfName(fileName, word)) {
    return QVNERR_BAD_FILETYPE;
  }
  if (!strcasecmp(word, "MPS")) return writeMpsFile(env, image, fileName, false);
  if (!strcasecmp(word, "RMP") || !strcasecmp(word, "REW")) return writeMpsFile(env, image, fileName, true);
  if (!strcasecmp(word, "LP")) return writeLpFile(env, image, fileName, false);
  if (!strcasecmp(word, "RLP")) return writeLpFile(env, image, fileName, true);
  return QVNERR_BAD_FILETYPE;  // SAV has no writer in this library
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNreadcopyprob(QVNENVptr env, QVNLPptr lp, const char *fileName, const char *typeWord) {
  // The handle itself: a fixed-type handle refuses a new model (1023) rather
  // than handing the read to the problem it holds.
  return guardedEdit(env, lp, [&](Problem *p) { return readInto(env, p, fileName, typeWord); });
}

QVN_API int QVNmpswrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return writeFrom(env, p, fileName, true, false); });
}

QVN_API int QVNmpsrewrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return writeFrom(env, p, fileName, true, true); });
}

QVN_API int QVNlpwrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return writeFrom(env, p, fileName, false, false); });
}

QVN_API int QVNlprewrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return writeFrom(env, p, fileName, false, true); });
}

QVN_API int QVNwriteprob(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName, const char *typeWord) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) -> int {
    if (!fileName || !*fileName) return QVNERR_NO_FILENAME_GIVEN;
    ModelImage image;
    QVN_TRY(imageFromProblem(env, p, image));
    return writeModelImage(env, image, fileName, typeWord);
  });
}

} // extern "C"
