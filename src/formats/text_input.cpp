#include "formats/text_input.h"

#include <bzlib.h>
#include <zlib.h>

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "quorvan.h"
#include "runtime/alloc.h"

namespace qvn {

namespace {
constexpr size_t kBlock = size_t(1) << 18;
}

struct TextInput {
  gzFile gz = nullptr;
  FILE *file = nullptr;  // under the bzip2 stream
  BZFILE *bz = nullptr;
  FILE *pipe = nullptr;  // ".Z" files come through the gzip command
  char *buffer = nullptr;
  size_t pos = 0, end = 0;
  bool atEnd = false, failed = false;
};

struct TextOutput {
  gzFile gz = nullptr;
  FILE *file = nullptr;
  BZFILE *bz = nullptr;
  FILE *pipe = nullptr;
  char *buffer = nullptr;
  size_t used = 0;
  bool failed = false;
};

bool endsWithNoCase(const char *name, const char *suffix) {
  const size_t n = std::strlen(name), m = std::strlen(suffix);
  if (n < m) return false;
  for (size_t k = 0; k < m; ++k)
    if (std::tolower(static_cast<unsigned char>(name[n - m + k])) !=
        std::tolower(static_cast<unsigned char>(suffix[k])))
      return false;
  return true;
}

namespace {

// "<command> '<path>'" with the path quoted for the shell; false when too long.
bool shellCommand(char *out, size_t size, const char *format, const char *path) {
  char quoted[4096];
  size_t n = 0;
  quoted[n++] = '\'';
  for (const char *p = path; *p; ++p) {
    if (n + 6 >= sizeof quoted) return false;
    if (*p == '\'') {
      std::memcpy(quoted + n, "'\\''", 4);
      n += 4;
    } else {
      quoted[n++] = *p;
    }
  }
  quoted[n++] = '\'';
  quoted[n] = '\0';
  const int written = std::snprintf(out, size, format, quoted);
  return written > 0 && static_cast<size_t>(written) < size;
}

} // namespace

int openTextInput(const char *path, TextInput **out) {
  *out = nullptr;
  TextInput *in = envNew<TextInput>();
  in->buffer = static_cast<char *>(envAlloc(kBlock));
  if (!in->buffer) {
    envDelete(in);
    return QVNERR_NO_MEMORY;
  }
  if (endsWithNoCase(path, ".Z") && !endsWithNoCase(path, ".gz")) {
    // zlib does not decode the old LZW format; the gzip command does.
    char command[4200];
    FILE *probe = std::fopen(path, "rb");
    if (probe) std::fclose(probe);
    if (probe && shellCommand(command, sizeof command, "gzip -cd %s 2>/dev/null", path))
      in->pipe = popen(command, "r");
    if (!in->pipe) {
      closeTextInput(in);
      return QVNERR_FAIL_OPEN_READ;
    }
  } else if (endsWithNoCase(path, ".bz2")) {
    in->file = std::fopen(path, "rb");
    int bzStatus = BZ_OK;
    if (in->file) in->bz = BZ2_bzReadOpen(&bzStatus, in->file, 0, 0, nullptr, 0);
    if (!in->bz) {
      closeTextInput(in);
      return QVNERR_FAIL_OPEN_READ;
    }
  } else {
    in->gz = gzopen(path, "rb");
    if (!in->gz) {
      closeTextInput(in);
      return QVNERR_FAIL_OPEN_READ;
    }
    gzbuffer(in->gz, static_cast<unsigned>(kBlock));
  }
  *out = in;
  return 0;
}

void closeTextInput(TextInput *&in) {
  if (!in) return;
  if (in->gz) gzclose(in->gz);
  if (in->pipe) pclose(in->pipe);
  if (in->bz) {
    int bzStatus;
    BZ2_bzReadClose(&bzStatus, in->bz);
  }
  if (in->file) std::fclose(in->file);
  envFree(in->buffer);
  envDelete(in);
}

namespace {

bool refill(TextInput *in) {
  if (in->atEnd) return false;
  in->pos = in->end = 0;
  if (in->gz) {
    const int got = gzread(in->gz, in->buffer, static_cast<unsigned>(kBlock));
    if (got < 0) in->failed = true;
    if (got <= 0) {
      in->atEnd = true;
      return false;
    }
    in->end = static_cast<size_t>(got);
    return true;
  }
  if (in->pipe) {
    const size_t got = std::fread(in->buffer, 1, kBlock, in->pipe);
    if (got == 0) {
      in->failed = std::ferror(in->pipe) != 0;
      in->atEnd = true;
      return false;
    }
    in->end = got;
    return true;
  }
  int bzStatus = BZ_OK;
  const int got = BZ2_bzRead(&bzStatus, in->bz, in->buffer, static_cast<int>(kBlock));
  if (bzStatus != BZ_OK && bzStatus != BZ_STREAM_END) in->failed = true;
  if (got > 0) in->end = static_cast<size_t>(got);
  if (bzStatus != BZ_OK) in->atEnd = true;
  return got > 0;
}

} // namespace

size_t readLine(TextInput *in, char *dst, size_t capacity) {
  size_t length = 0;
  while (length + 1 < capacity) {
    if (in->pos == in->end && !refill(in)) break;
    const size_t want = capacity - 1 - length;
    size_t avail = in->end - in->pos;
    if (avail > want) avail = want;
    const char *start = in->buffer + in->pos;
    const void *nl = std::memchr(start, '\n', avail);
    const size_t take = nl ? static_cast<size_t>(static_cast<const char *>(nl) - start) + 1 : avail;
    std::memcpy(dst + length, start, take);
    length += take;
    in->pos += take;
    if (nl) break;
  }
  dst[length] = '\0';
  return length;
}

bool inputFailed(const TextInput *in) { return in->failed; }

int openTextOutput(const char *path, TextOutput **out) {
  *out = nullptr;
  TextOutput *o = envNew<TextOutput>();
  o->buffer = static_cast<char *>(envAlloc(kBlock));
  if (!o->buffer) {
    envDelete(o);
    return QVNERR_NO_MEMORY;
  }
  bool ok;
  if (endsWithNoCase(path, ".gz")) {
    o->gz = gzopen(path, "wb");
    ok = o->gz != nullptr;
  } else if (endsWithNoCase(path, ".Z")) {
    char command[4200];
    FILE *probe = std::fopen(path, "wb");
    if (probe) std::fclose(probe);
    if (probe && shellCommand(command, sizeof command, "gzip -c > %s", path)) o->pipe = popen(command, "w");
    ok = o->pipe != nullptr;
  } else if (endsWithNoCase(path, ".bz2")) {
    o->file = std::fopen(path, "wb");
    int bzStatus = BZ_OK;
    if (o->file) o->bz = BZ2_bzWriteOpen(&bzStatus, o->file, 9, 0, 0);
    ok = o->bz != nullptr;
  } else {
    o->file = std::fopen(path, "wb");
    ok = o->file != nullptr;
  }
  if (!ok) {
    o->failed = true;
    closeTextOutput(o);
    return QVNERR_FAIL_OPEN_WRITE;
  }
  *out = o;
  return 0;
}

namespace {

void flushOutput(TextOutput *o) {
  if (o->used == 0) return;
  if (o->gz) {
    if (gzwrite(o->gz, o->buffer, static_cast<unsigned>(o->used)) != static_cast<int>(o->used))
      o->failed = true;
  } else if (o->bz) {
    int bzStatus = BZ_OK;
    BZ2_bzWrite(&bzStatus, o->bz, o->buffer, static_cast<int>(o->used));
    if (bzStatus != BZ_OK) o->failed = true;
  } else if (o->file || o->pipe) {
    FILE *f = o->file ? o->file : o->pipe;
    if (std::fwrite(o->buffer, 1, o->used, f) != o->used) o->failed = true;
  }
  o->used = 0;
}

} // namespace

void writeText(TextOutput *o, const char *text, size_t length) {
  while (length > 0) {
    if (o->used == kBlock) flushOutput(o);
    size_t take = kBlock - o->used;
    if (take > length) take = length;
    std::memcpy(o->buffer + o->used, text, take);
    o->used += take;
    text += take;
    length -= take;
  }
}

void writeText(TextOutput *o, const char *text) { writeText(o, text, std::strlen(text)); }

void writeFormat(TextOutput *o, const char *format, ...) {
  char line[2048];
  va_list args;
  va_start(args, format);
  int n = std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  if (n < 0) return;
  if (static_cast<size_t>(n) < sizeof line) {
    writeText(o, line, static_cast<size_t>(n));
    return;
  }
  char *big = static_cast<char *>(envAlloc(static_cast<size_t>(n) + 1));
  if (!big) {
    o->failed = true;
    return;
  }
  va_start(args, format);
  std::vsnprintf(big, static_cast<size_t>(n) + 1, format, args);
  va_end(args);
  writeText(o, big, static_cast<size_t>(n));
  envFree(big);
}

int closeTextOutput(TextOutput *&o) {
  if (!o) return 0;
  flushOutput(o);
  if (o->gz && gzclose(o->gz) != Z_OK) o->failed = true;
  if (o->bz) {
    int bzStatus = BZ_OK;
    BZ2_bzWriteClose(&bzStatus, o->bz, 0, nullptr, nullptr);
    if (bzStatus != BZ_OK) o->failed = true;
  }
  if (o->file && std::fclose(o->file) != 0) o->failed = true;
  if (o->pipe && pclose(o->pipe) != 0) o->failed = true;
  const bool failed = o->failed;
  envFree(o->buffer);
  envDelete(o);
  return failed ? QVNERR_FAIL_OPEN_WRITE : 0;
}

} // namespace qvn
