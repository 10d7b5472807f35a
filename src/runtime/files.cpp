#include "runtime/files.h"

#include <bzlib.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "quorvan.h"
#include "runtime/alloc.h"
#include "runtime/errors.h"

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

// ---- plain files ----

FILE *plainStream(QvnFile *file) { return static_cast<FILE *>(file->stream); }

long plainRead(QvnFile *file, char *dst, size_t n) {
  const size_t got = std::fread(dst, 1, n, plainStream(file));
  if (got == 0 && std::ferror(plainStream(file))) return -1;
  return static_cast<long>(got);
}

bool plainWrite(QvnFile *file, const char *src, size_t n) {
  return std::fwrite(src, 1, n, plainStream(file)) == n;
}

bool plainClose(QvnFile *file) {
  if (!file->ownsStream) return file->writing ? std::fflush(plainStream(file)) == 0 : true;
  return std::fclose(plainStream(file)) == 0;
}

constexpr FileOps kPlainOps = {plainRead, plainWrite, plainClose};

// A caller's stream may be a terminal or a pipe that is still being written: a read
// returns as soon as a line is complete instead of waiting for a full buffer.
long streamRead(QvnFile *file, char *dst, size_t n) {
  FILE *fp = plainStream(file);
  size_t got = 0;
  while (got < n) {
    const int c = getc_unlocked(fp);
    if (c == EOF) break;
    dst[got++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  if (got == 0 && std::ferror(fp)) return -1;
  return static_cast<long>(got);
}

constexpr FileOps kStreamOps = {streamRead, plainWrite, plainClose};

// ---- gzip through zlib ----

gzFile gzStream(QvnFile *file) { return static_cast<gzFile>(file->stream); }

long gzipRead(QvnFile *file, char *dst, size_t n) {
  const unsigned chunk = static_cast<unsigned>(std::min<size_t>(n, INT_MAX));
  const int got = gzread(gzStream(file), dst, chunk);
  if (got != 0) return got < 0 ? -1 : got;
  // zlib reports a stream cut short only as a state, not as a failed read.
  int err = Z_OK;
  gzerror(gzStream(file), &err);
  return err == Z_OK ? 0 : -1;
}

bool gzipWrite(QvnFile *file, const char *src, size_t n) {
  while (n > 0) {
    const unsigned chunk = static_cast<unsigned>(std::min<size_t>(n, INT_MAX));
    if (gzwrite(gzStream(file), src, chunk) != static_cast<int>(chunk)) return false;
    src += chunk;
    n -= chunk;
  }
  return true;
}

bool gzipClose(QvnFile *file) { return gzclose(gzStream(file)) == Z_OK; }

constexpr FileOps kGzipOps = {gzipRead, gzipWrite, gzipClose};

// ---- bzip2 through libbz2's stream interface ----
// The stream interface (not BZ2_bzRead) so that files of several concatenated
// streams, as parallel compressors make them, read to their end as bzip2 -d does.

constexpr size_t kBzChunk = size_t(1) << 16;

struct BzState {
  FILE *fp;
  bz_stream strm;
  bool active;      // strm holds an initialised (de)compressor
  bool inputEnded;  // reading: fread met the end of the file
  bool finished;    // reading: the last stream ended
  int streamsDone;
  char chunk[kBzChunk];
};

BzState *bzStream(QvnFile *file) { return static_cast<BzState *>(file->stream); }

bool bzRefill(BzState *st) {
  const size_t got = std::fread(st->chunk, 1, kBzChunk, st->fp);
  if (got == 0 && std::ferror(st->fp)) return false;
  if (got == 0) st->inputEnded = true;
  st->strm.next_in = st->chunk;
  st->strm.avail_in = static_cast<unsigned>(got);
  return true;
}

long bzipRead(QvnFile *file, char *dst, size_t n) {
  BzState *st = bzStream(file);
  n = std::min<size_t>(n, UINT_MAX);
  for (;;) {
    if (st->finished) return 0;
    if (st->strm.avail_in == 0 && !st->inputEnded && !bzRefill(st)) return -1;
    st->strm.next_out = dst;
    st->strm.avail_out = static_cast<unsigned>(n);
    const int r = BZ2_bzDecompress(&st->strm);
    const long produced = static_cast<long>(n - st->strm.avail_out);
    if (r == BZ_STREAM_END) {
      BZ2_bzDecompressEnd(&st->strm);
      st->active = false;
      ++st->streamsDone;
      if (st->strm.avail_in == 0 && !st->inputEnded && !bzRefill(st)) return -1;
      if (st->strm.avail_in == 0) {
        st->finished = true;
      } else {
        char *nextIn = st->strm.next_in;
        const unsigned availIn = st->strm.avail_in;
        if (BZ2_bzDecompressInit(&st->strm, 0, 0) != BZ_OK) return -1;
        st->active = true;
        st->strm.next_in = nextIn;
        st->strm.avail_in = availIn;
      }
      if (produced > 0) return produced;
      continue;
    }
    if (r != BZ_OK) {
      // Bytes after a complete stream that are no stream: ignored, as bzip2 -d does.
      if (r == BZ_DATA_ERROR_MAGIC && st->streamsDone > 0) {
        st->finished = true;
        return produced;
      }
      return -1;
    }
    if (produced > 0) return produced;
    if (st->strm.avail_in == 0 && st->inputEnded) return -1;  // truncated stream
  }
}

bool bzipWrite(QvnFile *file, const char *src, size_t n) {
  BzState *st = bzStream(file);
  while (n > 0) {
    const unsigned piece = static_cast<unsigned>(std::min<size_t>(n, UINT_MAX));
    st->strm.next_in = const_cast<char *>(src);
    st->strm.avail_in = piece;
    while (st->strm.avail_in > 0) {
      st->strm.next_out = st->chunk;
      st->strm.avail_out = kBzChunk;
      if (BZ2_bzCompress(&st->strm, BZ_RUN) != BZ_RUN_OK) return false;
      const size_t out = kBzChunk - st->strm.avail_out;
      if (out > 0 && std::fwrite(st->chunk, 1, out, st->fp) != out) return false;
    }
    src += piece;
    n -= piece;
  }
  return true;
}

bool bzipClose(QvnFile *file) {
  BzState *st = bzStream(file);
  bool ok = true;
  if (file->writing && st->active) {
    for (int r = BZ_FINISH_OK; r == BZ_FINISH_OK;) {
      st->strm.next_in = nullptr;
      st->strm.avail_in = 0;
      st->strm.next_out = st->chunk;
      st->strm.avail_out = kBzChunk;
      r = BZ2_bzCompress(&st->strm, BZ_FINISH);
      if (r != BZ_FINISH_OK && r != BZ_STREAM_END) ok = false;
      const size_t out = kBzChunk - st->strm.avail_out;
      if (out > 0 && std::fwrite(st->chunk, 1, out, st->fp) != out) ok = false;
      if (!ok) break;
    }
    BZ2_bzCompressEnd(&st->strm);
  } else if (st->active) {
    BZ2_bzDecompressEnd(&st->strm);
  }
  if (std::fclose(st->fp) != 0) ok = false;
  envFree(st);
  return ok;
}

constexpr FileOps kBzipOps = {bzipRead, bzipWrite, bzipClose};

// ---- compress(1) files, which "gzip -cd" also reads ----
// LZW with codes of 9 up to maxbits bits, least significant bit first. The
// compressor writes codes in groups of eight; when the code width changes (and on
// a clear code) the rest of the current group is padding, which must be skipped.

constexpr int kLzwClear = 256;
constexpr int kLzwMaxBits = 16;

struct LzwState {
  FILE *fp;
  int maxBits;
  bool blockMode;
  int nBits;
  long maxCode, maxMaxCode, freeEnt;
  long oldCode;
  int finChar;
  int codesInGroup;  // codes read at the current width since the last group start
  unsigned long bitBuffer;
  int bitCount;
  bool inputEnded, finished;
  size_t chunkPos, chunkEnd;
  size_t stackTop;  // decoded bytes waiting in stack[0, stackTop), last first
  unsigned short prefix[1 << kLzwMaxBits];
  unsigned char suffix[1 << kLzwMaxBits];
  unsigned char stack[1 << kLzwMaxBits];
  unsigned char chunk[kBzChunk];
};

LzwState *lzwStream(QvnFile *file) { return static_cast<LzwState *>(file->stream); }

// The next input byte, or -1 at the end; false on a read error.
bool lzwByte(LzwState *st, int *byte) {
  if (st->chunkPos == st->chunkEnd) {
    if (st->inputEnded) {
      *byte = -1;
      return true;
    }
    st->chunkEnd = std::fread(st->chunk, 1, kBzChunk, st->fp);
    st->chunkPos = 0;
    if (st->chunkEnd == 0) {
      if (std::ferror(st->fp)) return false;
      st->inputEnded = true;
      *byte = -1;
      return true;
    }
  }
  *byte = st->chunk[st->chunkPos++];
  return true;
}

// One code of the current width, or -1 at the end; -2 on a read error.
long lzwCode(LzwState *st) {
  while (st->bitCount < st->nBits) {
    int byte = 0;
    if (!lzwByte(st, &byte)) return -2;
    if (byte < 0) return -1;  // a partial code at the end is padding
    st->bitBuffer |= static_cast<unsigned long>(byte) << st->bitCount;
    st->bitCount += 8;
  }
  const long code = static_cast<long>(st->bitBuffer & ((1ul << st->nBits) - 1));
  st->bitBuffer >>= st->nBits;
  st->bitCount -= st->nBits;
  ++st->codesInGroup;
  return code;
}

bool lzwSkipGroup(LzwState *st) {
  const int rest = (8 - st->codesInGroup % 8) % 8;
  for (int i = 0; i < rest; ++i)
    if (lzwCode(st) == -2) return false;
  st->codesInGroup = 0;
  return true;
}

long lzwRead(QvnFile *file, char *dst, size_t n) {
  LzwState *st = lzwStream(file);
  size_t done = 0;
  while (done < n) {
    while (st->stackTop > 0 && done < n) dst[done++] = static_cast<char>(st->stack[--st->stackTop]);
    if (done == n || st->finished) break;
    if (st->freeEnt > st->maxCode) {
      if (!lzwSkipGroup(st)) return -1;
      ++st->nBits;
      st->maxCode = st->nBits == st->maxBits ? st->maxMaxCode : (1l << st->nBits) - 1;
    }
    long code = lzwCode(st);
    if (code == -2) return -1;
    if (code == -1) {
      st->finished = true;
      break;
    }
    if (st->oldCode == -1) {
      if (code >= 256) return -1;
      st->oldCode = code;
      st->finChar = static_cast<int>(code);
      st->stack[st->stackTop++] = static_cast<unsigned char>(code);
      continue;
    }
    if (code == kLzwClear && st->blockMode) {
      if (!lzwSkipGroup(st)) return -1;
      st->freeEnt = kLzwClear;
      st->nBits = 9;
      st->maxCode = (1l << 9) - 1;
      continue;
    }
    const long inCode = code;
    if (code >= st->freeEnt) {
      if (code > st->freeEnt) return -1;  // no such entry: damaged data
      st->stack[st->stackTop++] = static_cast<unsigned char>(st->finChar);
      code = st->oldCode;
    }
    while (code >= 256) {
      if (st->stackTop >= sizeof st->stack) return -1;
      st->stack[st->stackTop++] = st->suffix[code];
      code = st->prefix[code];
    }
    st->finChar = static_cast<int>(code);
    st->stack[st->stackTop++] = static_cast<unsigned char>(code);
    if (st->freeEnt < st->maxMaxCode) {
      st->prefix[st->freeEnt] = static_cast<unsigned short>(st->oldCode);
      st->suffix[st->freeEnt] = static_cast<unsigned char>(st->finChar);
      ++st->freeEnt;
    }
    st->oldCode = inCode;
  }
  return static_cast<long>(done);
}

bool lzwWrite(QvnFile *, const char *, size_t) { return false; }

bool lzwClose(QvnFile *file) {
  LzwState *st = lzwStream(file);
  const bool ok = std::fclose(st->fp) == 0;
  envFree(st);
  return ok;
}

constexpr FileOps kLzwOps = {lzwRead, lzwWrite, lzwClose};

// A ".Z" or ".gz" name may hold compress(1) data; true with the state made when
// the file starts with its magic bytes.
bool openLzw(const char *name, LzwState **out) {
  *out = nullptr;
  FILE *fp = std::fopen(name, "rb");
  if (!fp) return false;
  unsigned char head[3] = {0, 0, 0};
  const size_t got = std::fread(head, 1, 3, fp);
  if (got < 2 || head[0] != 0x1f || head[1] != 0x9d) {
    std::fclose(fp);
    return false;
  }
  auto *st = static_cast<LzwState *>(envCalloc(1, sizeof(LzwState)));
  if (!st) {
    std::fclose(fp);
    return true;
  }
  st->fp = fp;
  st->maxBits = std::clamp(head[2] & 0x1f, 9, kLzwMaxBits);
  st->blockMode = (head[2] & 0x80) != 0;
  st->nBits = 9;
  st->maxCode = (1l << 9) - 1;
  st->maxMaxCode = 1l << st->maxBits;
  st->freeEnt = st->blockMode ? 257 : 256;
  st->oldCode = -1;
  st->inputEnded = got < 3;
  *out = st;
  return true;
}

// ---- handles ----

QvnFile *newHandle(const FileOps *ops, void *stream, bool writing) {
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

// Opens one name by one means; *noMemory tells a memory failure from a missing file.
QvnFile *openBackend(const char *name, const char *mode, int compression, bool writing,
                     bool *noMemory) {
  *noMemory = false;
  QvnFile *file = nullptr;
  LzwState *lzw = nullptr;
  if (compression == kCompressGzip && !writing && openLzw(name, &lzw)) {
    if (lzw) file = newHandle(&kLzwOps, lzw, false);
    if (lzw && !file) {
      std::fclose(lzw->fp);
      envFree(lzw);
    }
  } else if (compression == kCompressGzip) {
    gzFile g = gzopen(name, writing ? "wb" : "rb");
    if (!g) return nullptr;
    gzbuffer(g, 1u << 17);
    file = newHandle(&kGzipOps, g, writing);
    if (!file) gzclose(g);
  } else if (compression == kCompressBzip2) {
    FILE *fp = std::fopen(name, writing ? "wb" : "rb");
    if (!fp) return nullptr;
    auto *st = static_cast<BzState *>(envCalloc(1, sizeof(BzState)));
    const int r = !st ? BZ_MEM_ERROR
                  : writing ? BZ2_bzCompressInit(&st->strm, 9, 0, 0)
                            : BZ2_bzDecompressInit(&st->strm, 0, 0);
    if (r == BZ_OK) {
      st->fp = fp;
      st->active = true;
      file = newHandle(&kBzipOps, st, writing);
    }
    if (!file) {
      if (st && st->active) writing ? BZ2_bzCompressEnd(&st->strm) : BZ2_bzDecompressEnd(&st->strm);
      envFree(st);
      std::fclose(fp);
    }
  } else {
    FILE *fp = std::fopen(name, mode && *mode ? mode : (writing ? "w" : "r"));
    if (!fp) return nullptr;
    file = newHandle(&kPlainOps, fp, writing);
    if (!file) std::fclose(fp);
  }
  if (!file) *noMemory = true;
  return file;
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

QvnFile *openWrite(const char *name, const char *mode, int allowCompressed) {
  if (!name || !*name) return nullptr;
  bool noMemory = false;
  const int compression = allowCompressed ? compressionOf(name) : kCompressNone;
  return openBackend(name, mode, compression, true, &noMemory);
}

QvnFile *fileFromStream(FILE *stream, bool writing) {
  if (!stream) return nullptr;
  QvnFile *file = newHandle(&kStreamOps, stream, writing);
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
