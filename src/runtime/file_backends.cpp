// The means by which a QvnFile moves bytes: plain files, caller streams, gzip
// through zlib, bzip2 through libbz2, and reading compress(1) data.
#include "runtime/file_backends.h"

#include <bzlib.h>
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "runtime/alloc.h"

namespace qvn {

namespace {

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

} // namespace

QvnFile *openBackend(const char *name, const char *mode, int compression, bool writing,
                     bool *noMemory) {
  *noMemory = false;
  QvnFile *file = nullptr;
  LzwState *lzw = nullptr;
  if (compression == kCompressGzip && !writing && openLzw(name, &lzw)) {
    if (lzw) file = newFileHandle(&kLzwOps, lzw, false);
    if (lzw && !file) {
      std::fclose(lzw->fp);
      envFree(lzw);
    }
  } else if (compression == kCompressGzip) {
    gzFile g = gzopen(name, writing ? "wb" : "rb");
    if (!g) return nullptr;
    gzbuffer(g, 1u << 17);
    file = newFileHandle(&kGzipOps, g, writing);
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
      file = newFileHandle(&kBzipOps, st, writing);
    }
    if (!file) {
      if (st && st->active) writing ? BZ2_bzCompressEnd(&st->strm) : BZ2_bzDecompressEnd(&st->strm);
      envFree(st);
      std::fclose(fp);
    }
  } else {
    FILE *fp = std::fopen(name, mode && *mode ? mode : (writing ? "w" : "r"));
    if (!fp) return nullptr;
    file = newFileHandle(&kPlainOps, fp, writing);
    if (!file) std::fclose(fp);
  }
  if (!file) *noMemory = true;
  return file;
}


QvnFile *wrapStream(FILE *stream, bool writing) { return newFileHandle(&kStreamOps, stream, writing); }

} // namespace qvn
