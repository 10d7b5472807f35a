#include "formats/side_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "formats/char_classes.h"
#include "formats/number_format.h"
#include "model/names.h"
#include "runtime/channels.h"
#include "runtime/environment.h"

namespace qvn {

namespace {
constexpr size_t kNumberMax = 25;
} // namespace

void SideReader::splitFrom(size_t from) {
  fieldCount = 0;
  char *p = buffer + std::min(from, length);
  while (fieldCount < 8) {
    while (*p == ' ' || *p == '\t') ++p;
    if (*p == '\0' || *p == '$') break;
    char *begin = p;
    while (*p && *p != ' ' && *p != '\t') ++p;
    field[fieldCount++] = {begin, static_cast<size_t>(p - begin)};
  }
}

int SideReader::nextLine() {
  for (;;) {
    size_t n = in.next(buffer, sizeof buffer - 1);
    if (n == 0) return 0;
    ++line;
    const bool complete = buffer[n - 1] == '\n';
    while (n > 0 && (buffer[n - 1] == '\n' || buffer[n - 1] == '\r')) buffer[--n] = '\0';
    if (n > static_cast<size_t>(kLineLimit) || (!complete && n == sizeof buffer - 2))
      return reportError(env, QVNERR_LINE_TOO_LONG, line, kLineLimit);
    if (n == 0 || (mpsClass(buffer[0]) & MC_Comment)) continue;
    bool any = false;
    for (size_t k = 0; k < n && !any; ++k) any = (mpsClass(buffer[k]) & MC_NameChar) != 0;
    if (!any) continue;
    length = n;
    splitFrom(0);
    if (fieldCount == 0) continue;
    return buffer[0] != ' ' && buffer[0] != '\t' ? 2 : 1;
  }
}

int SideReader::start() {
  const int kind = nextLine();
  if (kind < 0) return kind;
  if (kind != 2 || strncasecmp(buffer, "NAME", 4) != 0) return error(QVNERR_NO_NAME_SECTION);
  return 0;
}

int SideReader::nextDataLine() {
  const int kind = nextLine();
  if (kind != 2) return kind;
  if (isEndLine()) sawEnd = true;
  else warn("Line %d: Unrecognized section indicator.\n", line);
  return 0;
}

bool SideReader::isEndLine() const { return strncasecmp(buffer, "ENDATA", 6) == 0; }

void SideReader::warn(const char *format, ...) {
  if (++warnings > kWarningCap) return;
  va_list args;
  va_start(args, format);
  char text[kMessageBufferSize];
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  QVNmsg(env->warningChannel, "%s", text);
}

void SideReader::finish() {
  if (!sawEnd) QVNmsg(env->warningChannel, "Warning: 'ENDATA' missing.\n");
  if (warnings > kWarningCap) QVNmsg(env->warningChannel, "%d warnings not printed.\n", warnings - kWarningCap);
}

const char *SideReader::name(int k, char *out) {
  const SideField &f = field[k];
  const size_t n = std::min(f.length, kFileNameMax);
  std::memcpy(out, f.text, n);
  out[n] = '\0';
  if (f.length > kFileNameMax) warn("Warning, line %d:  '%s' truncated.\n", line, out);
  return out;
}

int SideReader::number(int k, double *value) {
  const SideField &f = field[k];
  char text[kNumberMax + 1];
  const size_t n = std::min(f.length, kNumberMax);
  std::memcpy(text, f.text, n);
  text[n] = '\0';
  if (f.length > kNumberMax) warn("Warning, line %d:  '%s' truncated.\n", line, text);
  switch (parseNumber(text, n, true, value)) {
  case kNumberOk: return 0;
  case kNumberExpRange: return reportError(env, QVNERR_BAD_EXPONENT, line, text);
  default: return reportError(env, QVNERR_BAD_NUMBER, line, text);
  }
}

int readSideFile(Environment *env, const char *path, const char *extension, SideReader &reader,
                 int (*body)(SideReader &, void *), void *context) {
  QVN_TRY(verifyCompressed(env, path, "rb", extension, 0));
  int status = 0;
  reader.in.file = openRead(env, path, "rb", extension, 0, 1, &status);
  if (!reader.in.file) return status;
  try {
    status = body(reader, context);
  } catch (...) {
    closeFile(&reader.in.file);
    throw;
  }
  if (status == 0 && fileFailed(reader.in.file)) status = reportDamaged(env, path, 0);
  closeFile(&reader.in.file);
  return status;
}

void ColumnNameIndex::build(const Problem *lp) {
  const LpData &d = *lp->lpData;
  count = d.numCols;
  store = d.colNames.exists ? &d.colNames : nullptr;
  if (!store) {
    char text[32];
    offset.resize(static_cast<size_t>(count));
    for (int j = 0; j < count; ++j) {
      const int n = std::snprintf(text, sizeof text, "x%d", j + 1);
      offset[static_cast<size_t>(j)] = static_cast<int64_t>(generated.size());
      generated.insert(generated.end(), text, text + n + 1);
    }
  }
  order.resize(static_cast<size_t>(count));
  for (int j = 0; j < count; ++j) order[static_cast<size_t>(j)] = j;
  // Equal names keep their column order, so a lookup finds the first of them
  // as the problem's own name search does.
  std::stable_sort(order.begin(), order.end(),
                   [&](int a, int b) { return std::strcmp(text(a), text(b)) < 0; });
}

int ColumnNameIndex::find(const char *name) const {
  auto at = std::lower_bound(order.begin(), order.end(), name,
                             [&](int j, const char *key) { return std::strcmp(text(j), key) < 0; });
  return at != order.end() && std::strcmp(text(*at), name) == 0 ? *at : -1;
}

void announceDefaultColumnNames(const Environment *env, const Problem *lp) {
  if (!lp->lpData->colNames.exists && lp->lpData->numCols > 0)
    QVNmsg(env->warningChannel, "Default variable names x1, x2 ... to be created.\n");
}

int writeSideFile(Environment *env, const char *path, int (*body)(QvnFile *, void *), void *context) {
  if (!path || !*path) return QVNERR_NO_FILENAME_GIVEN;
  QvnFile *out = nullptr;
  return writeFrame(env, path, out, [&] { return body(out, context); });
}

} // namespace qvn
