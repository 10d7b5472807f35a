// The file service: which means a name asks for, opening with the extension retry,
// and buffered reading and writing over any backend.
#include "runtime/files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "quorvan.h"
#include "runtime/alloc.h"
#include "runtime/errors.h"
#include "runtime/file_backends.h"

namespace qvn {

namespace {

char lowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char upperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// Case-insensitive test of the end of a name, independent of the locale.
bool endsWithNoCase(const char *name, size_t length, const char *suffix) {
  const size_t n = std::strlen(suffix);
  if (n > length) return false;
  for (size_t i = 0; i < n; ++i)
    if (lowerAscii(name[length - n + i]) != lowerAscii(suffix[i])) return false;
  return true;
}

// Reads into [end, capacity) of the buffer; false at the end or on error.
bool readMore(QvnFile *file) {
  if (file->atEnd || file->writing) return false;
  const long got = file->ops->read(file, file->buffer + file->end, file->capacity - file->end);
  if (got <= 0) {
    if (got < 0) file->failed = true;
    file->atEnd = true;
    return false;
  }
  file->end += static_cast<size_t>(got);
  return true;
}

void releaseHeld(QvnFile *file) {
  if (file->holding) {
    file->buffer[file->heldPos] = file->heldByte;
    file->holding = false;
  }
}

} // namespace

QvnFile *newFileHandle(const FileOps *ops, void *stream, bool writing) {
  auto *file = static_cast<QvnFile *>(envCalloc(1, sizeof(QvnFile)));
  if (!file) return nullptr;
  file->buffer = static_cast<char *>(envAlloc(kFileBufferSize + 1));
  if (!file->buffer) {
    envFree(file);
    return nullptr;
  }
  file->ops = ops;
  file->stream = stream;
  file->writing = writing;
  file->ownsStream = true;
  file->capacity = kFileBufferSize;
  return file;
}

int compressionOf(const char *name) {
  if (!name) return kCompressNone;
  const size_t n = std::strlen(name);
  if (n < 3) return kCompressNone;
  if (n > 3 && endsWithNoCase(name, n, ".bz2")) return kCompressBzip2;
  if (endsWithNoCase(name, n, ".gz")) return kCompressGzip;
  if (name[n - 2] == '.' && name[n - 1] == 'Z') return kCompressGzip;
  return kCompressNone;
}

QvnFile *openRead(const Environment *env, const char *name, const char *mode,
                  const char *extension, int noRetry, int allowCompressed, int *status) {
  if (!name || !*name) {
    if (status) *status = QVNERR_NO_FILENAME_GIVEN;
    return nullptr;
  }
  bool noMemory = false;
  const int compression = allowCompressed ? compressionOf(name) : kCompressNone;
  if (QvnFile *file = openBackend(name, mode, compression, false, &noMemory)) return file;
  if (noMemory) {
    if (status) *status = QVNERR_NO_MEMORY;
    return nullptr;
  }
  const size_t nameLength = std::strlen(name);
  const bool retry = !noRetry && compression == kCompressNone && extension && *extension &&
                     !endsWithNoCase(name, nameLength, extension);
  if (!retry) {
    if (status) *status = reportError(env, QVNERR_FAIL_OPEN_READ, name);
    return nullptr;
  }
  // The extension follows the case of the name: upper case for a name written in
  // capitals, lower case otherwise; the other case is tried after it.
  bool anyLower = false, anyUpper = false;
  for (const char *p = name; *p; ++p) {
    anyLower |= *p >= 'a' && *p <= 'z';
    anyUpper |= *p >= 'A' && *p <= 'Z';
  }
  const bool upperFirst = anyUpper && !anyLower;
  constexpr size_t kMaxName = 511;
  const size_t extLength = std::min(std::strlen(extension), kMaxName);
  const size_t keep = std::min(nameLength, kMaxName - extLength);
  char tried[2][kMaxName + 1];
  for (int pass = 0; pass < 2; ++pass) {
    const bool upper = (pass == 0) == upperFirst;
    std::memcpy(tried[pass], name, keep);
    for (size_t i = 0; i < extLength; ++i)
      tried[pass][keep + i] = upper ? upperAscii(extension[i]) : lowerAscii(extension[i]);
    tried[pass][keep + extLength] = '\0';
    if (pass == 1 && std::strcmp(tried[0], tried[1]) == 0) break;
    const int c = allowCompressed ? compressionOf(tried[pass]) : kCompressNone;
    if (QvnFile *file = openBackend(tried[pass], mode, c, false, &noMemory)) return file;
    if (noMemory) {
      if (status) *status = QVNERR_NO_MEMORY;
      return nullptr;
    }
  }
  if (status) {
    reportError(env, QVNERR_FAIL_OPEN_READ, name);
    *status = reportError(env, QVNERR_FAIL_OPEN_READ, tried[0]);
  }
  return nullptr;
}

int reportDamaged(const Environment *env, const char *name, long line) {
  char place[320];  // a name of at most 255 characters and the words around it
  if (line > 0)
    std::snprintf(place, sizeof place, "File '%.255s', line %ld: ", name, line);
  else
    std::snprintf(place, sizeof place, "File '%.255s': ", name);
  return reportErrorAt(env, place, QVNERR_DECOMPRESSION);
}

int verifyCompressed(const Environment *env, const char *name, const char *mode, const char *extension,
                     int noRetry) {
  if (!name || compressionOf(name) == kCompressNone) return 0;
  QvnFile *file = openRead(env, name, mode, extension, noRetry, 1, nullptr);
  if (!file) return 0;
  long lines = 0;
  size_t length = 0;
  while (fileReadLine(file, &length)) ++lines;
  const bool damaged = fileFailed(file);
  closeFile(&file);
  return damaged ? reportDamaged(env, name, lines + 1) : 0;
}

QvnFile *openWrite(const char *name, const char *mode, int allowCompressed, bool *noMemory) {
  bool memory = false;
  QvnFile *file = nullptr;
  if (name && *name)
    file = openBackend(name, mode, allowCompressed ? compressionOf(name) : kCompressNone, true, &memory);
  if (noMemory) *noMemory = memory;
  return file;
}

QvnFile *fileFromStream(FILE *stream, bool writing) {
  if (!stream) return nullptr;
  QvnFile *file = wrapStream(stream, writing);
  if (file) file->ownsStream = false;
  return file;
}

int closeFile(QvnFile **filePointer) {
  if (!filePointer || !*filePointer) return 0;
  QvnFile *file = *filePointer;
  bool ok = true;
  if (file->writing) ok = fileFlush(file);
  if (!file->ops->close(file)) ok = false;
  if (file->failed) ok = false;
  envFree(file->buffer);
  envFree(file);
  *filePointer = nullptr;
  return ok ? 0 : -1;
}

int fileFill(QvnFile *file) {
  releaseHeld(file);
  if (file->pos < file->end) return static_cast<unsigned char>(file->buffer[file->pos++]);
  file->pos = file->end = 0;
  if (!readMore(file)) return EOF;
  return static_cast<unsigned char>(file->buffer[file->pos++]);
}

size_t fileRead(QvnFile *file, void *dst, size_t n) {
  releaseHeld(file);
  auto *out = static_cast<char *>(dst);
  size_t done = 0;
  while (done < n) {
    if (file->pos < file->end) {
      const size_t take = std::min(n - done, file->end - file->pos);
      std::memcpy(out + done, file->buffer + file->pos, take);
      file->pos += take;
      done += take;
      continue;
    }
    file->pos = file->end = 0;
    if (file->atEnd || file->writing) break;
    if (n - done >= file->capacity) {
      // A large request bypasses the buffer.
      const long got = file->ops->read(file, out + done, n - done);
      if (got <= 0) {
        if (got < 0) file->failed = true;
        file->atEnd = true;
        break;
      }
      done += static_cast<size_t>(got);
      continue;
    }
    if (!readMore(file)) break;
  }
  return done;
}

char *fileGets(QvnFile *file, char *dst, int size) {
  releaseHeld(file);
  if (size <= 0) return nullptr;
  size_t done = 0;
  const size_t limit = static_cast<size_t>(size) - 1;
  while (done < limit) {
    if (file->pos == file->end) {
      file->pos = file->end = 0;
      if (!readMore(file)) break;
    }
    const char *start = file->buffer + file->pos;
    const size_t avail = std::min(limit - done, file->end - file->pos);
    const char *nl = static_cast<const char *>(std::memchr(start, '\n', avail));
    const size_t take = nl ? static_cast<size_t>(nl - start) + 1 : avail;
    std::memcpy(dst + done, start, take);
    file->pos += take;
    done += take;
    if (nl) break;
  }
  if (done == 0 && limit > 0) return nullptr;
  dst[done] = '\0';
  return dst;
}

char *fileReadLine(QvnFile *file, size_t *length) {
  releaseHeld(file);
  size_t scanned = 0;  // bytes of the pending line already searched for a line feed
  for (;;) {
    char *start = file->buffer + file->pos;
    const size_t avail = file->end - file->pos;
    auto *nl = static_cast<char *>(std::memchr(start + scanned, '\n', avail - scanned));
    if (nl) {
      const size_t lineLength = static_cast<size_t>(nl - start) + 1;
      file->pos += lineLength;
      file->heldPos = file->pos;
      file->heldByte = file->buffer[file->pos];
      file->buffer[file->pos] = '\0';
      file->holding = true;
      if (length) *length = lineLength;
      return start;
    }
    scanned = avail;
    if (file->atEnd || file->writing) {
      if (avail == 0) return nullptr;
      file->buffer[file->end] = '\0';
      file->pos = file->end;
      if (length) *length = avail;
      return start;
    }
    if (file->pos > 0) {
      std::memmove(file->buffer, start, avail);
      file->pos = 0;
      file->end = avail;
    }
    if (file->end == file->capacity) {
      // A line longer than the buffer: the buffer grows to hold it whole.
      const size_t grown = file->capacity * 2;
      auto *bigger = static_cast<char *>(envRealloc(file->buffer, grown + 1));
      if (!bigger) {
        file->failed = true;
        return nullptr;
      }
      file->buffer = bigger;
      file->capacity = grown;
    }
    readMore(file);
  }
}

bool fileAtEnd(const QvnFile *file) { return file->pos == file->end && file->atEnd; }

bool fileFlush(QvnFile *file) {
  if (!file->writing) return !file->failed;
  if (file->end > 0 && !file->failed && !file->ops->write(file, file->buffer, file->end))
    file->failed = true;
  file->end = 0;
  return !file->failed;
}

bool fileWrite(QvnFile *file, const void *src, size_t n) {
  if (file->failed || !file->writing) return false;
  if (n > file->capacity - file->end && !fileFlush(file)) return false;
  if (n >= file->capacity) {
    if (!file->ops->write(file, static_cast<const char *>(src), n)) file->failed = true;
    return !file->failed;
  }
  std::memcpy(file->buffer + file->end, src, n);
  file->end += n;
  return true;
}

bool filePuts(QvnFile *file, const char *text) { return fileWrite(file, text, std::strlen(text)); }

bool filePrintf(QvnFile *file, const char *format, ...) {
  if (file->failed || !file->writing) return false;
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  // The buffer has one byte beyond capacity, so a text that fills it exactly still
  // gets its terminating NUL.
  const size_t room = file->capacity - file->end;
  const int n = std::vsnprintf(file->buffer + file->end, room + 1, format, args);
  va_end(args);
  bool ok = n >= 0;
  if (ok && static_cast<size_t>(n) <= room) {
    file->end += static_cast<size_t>(n);
  } else if (ok && static_cast<size_t>(n) <= file->capacity) {
    ok = fileFlush(file);
    if (ok) {
      std::vsnprintf(file->buffer, file->capacity + 1, format, again);
      file->end = static_cast<size_t>(n);
    }
  } else if (ok) {
    auto *text = static_cast<char *>(envAlloc(static_cast<size_t>(n) + 1));
    ok = text != nullptr;
    if (ok) {
      std::vsnprintf(text, static_cast<size_t>(n) + 1, format, again);
      ok = fileWrite(file, text, static_cast<size_t>(n));
      envFree(text);
    }
  }
  va_end(again);
  if (!ok) file->failed = true;
  return ok;
}

bool fileFailed(const QvnFile *file) { return file->failed; }

int makeTempDirectory(const Environment *env, const char *parent, const char *prefix,
                      char *buffer, size_t bufferSize) {
  const int n = std::snprintf(buffer, bufferSize, "%s/%sXXXXXX", parent ? parent : ".",
                              prefix ? prefix : "");
  if (n < 0 || static_cast<size_t>(n) >= bufferSize)
    return reportError(env, QVNERR_FAIL_OPEN_WRITE, buffer);
  // The mask is cleared so that the directory's mode does not depend on the
  // caller's umask; mkdtemp itself keeps it private to the user.
  const mode_t oldMask = umask(0);
  const char *made = mkdtemp(buffer);
  umask(oldMask);
  if (!made) return reportError(env, QVNERR_FAIL_OPEN_WRITE, buffer);
  return 0;
}

} // namespace qvn

extern "C" {

QVN_API FILE *QVNfopen(const char *name, const char *mode) {
  if (!name || !mode) return nullptr;
  return std::fopen(name, mode);
}

QVN_API int QVNfclose(FILE *file) { return file ? std::fclose(file) : EOF; }

QVN_API int QVNfputs(const char *text, FILE *file) {
  if (!text || !file) return EOF;
  return std::fputs(text, file);
}

QVN_API void *QVNmemcpy(void *target, const void *source, size_t count) {
  if (count == 0) return target;
  return std::memcpy(target, source, count);
}

QVN_API char *QVNstrcpy(char *target, const char *source) { return std::strcpy(target, source); }

QVN_API size_t QVNstrlen(const char *text) { return text ? std::strlen(text) : 0; }

} // extern "C"
