// Internal to the file service: opening one name by one means. Callers use
// files.h.
#pragma once
#include <cstdio>

#include "runtime/files.h"

namespace qvn {

// A handle around an opened backend stream; null when memory fails (files.cpp).
QvnFile *newFileHandle(const FileOps *ops, void *stream, bool writing);
// Opens one name plain or by the given compression; null when the file cannot be
// opened, or when memory fails, which *noMemory then tells.
QvnFile *openBackend(const char *name, const char *mode, int compression, bool writing,
                     bool *noMemory);
// A handle on a caller's stream whose reads return at each line end.
QvnFile *wrapStream(FILE *stream, bool writing);

} // namespace qvn
