// Files that the library opens itself: one handle type for plain, gzip and bzip2
// files, so that readers and writers never care how the bytes are stored.
//
// Contract of QvnFile:
// - A handle is opened either for reading (openRead, fileFromStream(.., false)) or
//   for writing (openWrite, fileFromStream(.., true)), never both.
// - Compression is decided by the name alone (compressionOf) and done in-process
//   through zlib and libbz2; the caller sees the uncompressed bytes. A gzip name
//   whose file holds compress(1) data is read too, as "gzip -cd" would; writing a
//   gzip name always writes gzip data.
// - Reading is buffered in one block of kFileBufferSize bytes. fileGetc is an
//   inline fast path; fileGets has the C rules of fgets; fileReadLine hands out
//   whole lines of any length without copying.
// - Writing is buffered the same way. Errors are sticky: after a failed write all
//   later writes fail too, and closeFile reports it, so a writer may test once at
//   the end.
// - closeFile flushes, finishes the compressed stream, closes, frees the handle
//   and clears the caller's pointer; it tolerates a null handle.
// - A read error or damaged compressed data ends the input and sets the sticky
//   error (fileFailed), so a reader tells a truncated file from a complete one.
// - The handle, its buffer and the bzip2 and compress(1) states come from
//   envAlloc (zlib keeps its own); opening fails (null) when memory does.
// - The backends live in file_backends.cpp; nothing outside this service sees them.
#pragma once
#include <cstddef>
#include <cstdio>

struct Environment;

namespace qvn {

constexpr size_t kFileBufferSize = size_t(1) << 18;

enum FileCompression { kCompressNone = 0, kCompressGzip = 1, kCompressBzip2 = 2 };

struct QvnFile;

// Raw transfer of one backend (plain FILE*, caller stream, gzFile, bzip2 or
// compress(1) state).
struct FileOps {
  // Up to n bytes into dst: the count, 0 at the end, -1 on error.
  long (*read)(QvnFile *file, char *dst, size_t n);
  // All n bytes or false.
  bool (*write)(QvnFile *file, const char *src, size_t n);
  // Finishes and closes the backend; false when anything failed.
  bool (*close)(QvnFile *file);
};

struct QvnFile {
  const FileOps *ops;
  void *stream;       // backend state
  bool writing;
  bool ownsStream;    // false for a caller's FILE* given to fileFromStream
  bool atEnd;         // the backend reported its end (reading)
  bool failed;        // sticky error
  char *buffer;       // capacity + 1 bytes: room for a terminating NUL
  size_t capacity;
  size_t pos, end;    // reading: unread bytes are [pos, end); writing: pos is unused
  size_t heldPos;     // fileReadLine: where it put a NUL over a byte it keeps in heldByte
  char heldByte;
  bool holding;
};

// 0 none, 1 gzip, 2 bzip2. By name alone: case-insensitive ".BZ2" (names longer
// than 3 characters) or ".GZ", and ".Z" with exactly that upper-case letter.
int compressionOf(const char *name);

// Opens a file for reading, or returns null. An empty or null name stores 1421.
// A file that cannot be opened stores -1423 after printing "Could not open file"
// through env: unless noRetry is set or the name is compressed or already ends in
// extension (any case), the name with extension appended is tried too, and a
// failure of both prints two lines, the name first. A null status prints nothing.
// mode applies to plain files ("r" or "rb"); compressed ones are always binary.
QvnFile *openRead(const Environment *env, const char *name, const char *mode,
                  const char *extension, int noRetry, int allowCompressed, int *status);
// For a compressed name, reads the whole file once through openRead (same
// arguments, no messages from the open) and tells whether it decompresses to
// its end, so that a reader never parses what damaged data made of a file:
// -1027 after printing the error with the file name and the line at which the
// data break off. 0 when the data are whole, the name is not compressed, or
// the file does not open (the caller's own open reports that).
int verifyCompressed(const Environment *env, const char *name, const char *mode, const char *extension,
                     int noRetry);
// Prints 1027 for `name` with the line at which its data broke off (none when
// `line` is 0: not known); -1027.
int reportDamaged(const Environment *env, const char *name, long line);
// Opens a file for writing, compressing by name when allowed; null on failure
// (the caller reports 1422 with the name). A given noMemory tells whether the
// failure was one of memory rather than of the file.
QvnFile *openWrite(const char *name, const char *mode, int allowCompressed, bool *noMemory = nullptr);
// Wraps a stream that the caller keeps (standard input or output, say): closeFile
// flushes but does not close it. Reads return at each line end, so that a terminal
// or a pipe is read as its lines arrive.
QvnFile *fileFromStream(FILE *stream, bool writing);
// 0 when every write and the close succeeded, else -1. Clears *filePointer.
int closeFile(QvnFile **filePointer);

// ---- reading ----
// Refills the buffer; the next byte or EOF.
int fileFill(QvnFile *file);
inline int fileGetc(QvnFile *file) {
  if (file->holding) {
    file->buffer[file->heldPos] = file->heldByte;
    file->holding = false;
  }
  if (file->pos < file->end) return static_cast<unsigned char>(file->buffer[file->pos++]);
  return fileFill(file);
}
// Up to n bytes; fewer only at the end or on error.
size_t fileRead(QvnFile *file, void *dst, size_t n);
// The C rules of fgets: at most size-1 bytes, through the first line feed.
char *fileGets(QvnFile *file, char *dst, int size);
// The next line with its line feed (absent only on a last unterminated line),
// NUL-terminated, or null at the end. The text may be modified in place and stays
// valid until the next operation on the file. *length excludes the NUL.
char *fileReadLine(QvnFile *file, size_t *length);
// True once reading met the end of the input (or an error).
bool fileAtEnd(const QvnFile *file);

// ---- writing ----
bool fileWrite(QvnFile *file, const void *src, size_t n);
bool filePuts(QvnFile *file, const char *text);
bool filePrintf(QvnFile *file, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
bool fileFlush(QvnFile *file);
bool fileFailed(const QvnFile *file);

// Creates "<parent>/<prefix>XXXXXX" with unique letters for the X's. The name goes
// to buffer (bufferSize bytes). 0, or -1422 after printing the error with the name.
int makeTempDirectory(const Environment *env, const char *parent, const char *prefix,
                      char *buffer, size_t bufferSize);

} // namespace qvn
