// Buffered line input and block output for model files. Input reads plain and
// gzip files through zlib (which passes plain files through), ".bz2" files
// through libbz2 and ".Z" files through the gzip command; output compresses by
// the name's ending (".gz", ".bz2", and ".Z" through "gzip -c").
// The interface is kept to open / line / close so that it can sit on top of
// any other file layer.
#pragma once
#include <cstddef>

namespace qvn {

struct TextInput;
struct TextOutput;

// 0, 1423 when the file cannot be opened for reading, or 1001.
int openTextInput(const char *path, TextInput **out);
void closeTextInput(TextInput *&in);
// Copies the next physical line with its line feed, at most capacity - 1
// bytes, NUL-terminated, into `dst`. A longer line comes in pieces over the
// following calls. Returns the length copied, 0 at the end of the file.
size_t readLine(TextInput *in, char *dst, size_t capacity);
// True when the last readLine hit the end of the data or a read error.
bool inputFailed(const TextInput *in);

// 0, 1422 when the file cannot be opened for writing, or 1001.
int openTextOutput(const char *path, TextOutput **out);
void writeText(TextOutput *out, const char *text, size_t length);
void writeText(TextOutput *out, const char *text);
void writeFormat(TextOutput *out, const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
// Flushes and closes; 0, or 1422 when any write failed.
int closeTextOutput(TextOutput *&out);

// True when `name` ends in `suffix`, ignoring case.
bool endsWithNoCase(const char *name, const char *suffix);

} // namespace qvn
