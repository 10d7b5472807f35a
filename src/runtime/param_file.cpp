// Parameter files: the settings that differ from their defaults, one a line
// behind a header line with the version. Reading is all or nothing up to the
// point of applying: the whole file is parsed and range-checked into a list
// before any parameter changes.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "runtime/alloc.h"
#include "runtime/environment.h"
#include "runtime/files.h"
#include "runtime/frame.h"
#include "runtime/params.h"

using namespace qvn;

namespace {

// Lines are read in pieces of at most 559 characters; a longer line continues as
// the next piece, with its own line number.
constexpr int kLineSize = 560;

struct Setting {
  int number;
  ParamKind kind;
  int intValue;
  double dblValue;
  size_t textOffset;  // into SettingList::text
};

// The parsed settings in file order. Entries start at 10 and grow to twice plus
// 20; the text store starts at 10 bytes and grows to twice plus the new text.
struct SettingList {
  Setting *entries = nullptr;
  int count = 0, capacity = 0;
  char *text = nullptr;
  size_t textUsed = 0, textSize = 0;

  SettingList() = default;
  SettingList(const SettingList &) = delete;
  SettingList &operator=(const SettingList &) = delete;
  ~SettingList() {
    envFree(entries);
    envFree(text);
  }

  int add(const Setting &setting, const char *value, size_t length) {
    if (count == capacity) {
      const int grown = capacity == 0 ? 10 : 2 * capacity + 20;
      void *moved = entries ? envRealloc(entries, grown * sizeof(Setting))
                            : envAlloc(grown * sizeof(Setting));
      if (!moved) return QVNERR_NO_MEMORY;
      entries = static_cast<Setting *>(moved);
      capacity = grown;
    }
    Setting &entry = entries[count];
    entry = setting;
    if (setting.kind == ParamKind::text) {
      if (textUsed + length + 1 > textSize) {
        const size_t grown = textSize == 0 ? std::max<size_t>(10, length + 1)
                                           : 2 * textSize + length + 1;
        void *moved = text ? envRealloc(text, grown) : envAlloc(grown);
        if (!moved) return QVNERR_NO_MEMORY;
        text = static_cast<char *>(moved);
        textSize = grown;
      }
      std::memcpy(text + textUsed, value, length);
      text[textUsed + length] = '\0';
      entry.textOffset = textUsed;
      textUsed += length + 1;
    }
    ++count;
    return 0;
  }
};

struct FileGuard {
  QvnFile *file;
  ~FileGuard() { closeFile(&file); }
};

bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// What "%d" accepts: optional sign and at least one digit, the rest ignored.
// Values beyond the int range saturate, so that the range test rejects them.
bool readInt(const char *text, int *value) {
  const char *p = text;
  if (*p == '+' || *p == '-') ++p;
  if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
  errno = 0;
  const long long v = std::strtoll(text, nullptr, 10);
  *value = v > INT_MAX ? INT_MAX : v < INT_MIN ? INT_MIN : static_cast<int>(v);
  return true;
}

// Cuts at the line feed (and a carriage return before it) and at the first "#"
// outside double quotes; the quote state starts afresh on every line.
void cutLine(char *line) {
  bool quoted = false;
  for (char *p = line; *p; ++p) {
    if (*p == '\n') {
      *p = '\0';
      if (p > line && p[-1] == '\r') p[-1] = '\0';
      return;
    }
    if (*p == '"') quoted = !quoted;
    else if (*p == '#' && !quoted) {
      *p = '\0';
      return;
    }
  }
}

int parseSetting(Environment *env, char *line, int lineNumber, const char *fileVersion,
                 SettingList &list) {
  char *p = line;
  while (isBlank(*p)) ++p;
  char *token = p;
  while (*p && !isBlank(*p)) ++p;
  if (p == token) return reportError(env, QVNERR_PARAM_INCOMPATIBLE, lineNumber);
  char *tokenEnd = p;
  if (*p) ++p;  // the one separator after the token
  *tokenEnd = '\0';
  while (isBlank(*p)) ++p;
  char *value = p;

  const ParamDescriptor *d = nullptr;
  int number = 0;
  if (env->generalParams->paramFileNamesOnly == 0 && readInt(token, &number)) {
    d = findParam(number);
    if (!d) return QVNERR_BAD_PARAM_NUM;
  } else {
    d = findParamByName(token);
    if (!d) return QVNERR_BAD_PARAM_NAME;
  }

  Setting setting{d->number, d->kind, 0, 0.0, 0};
  switch (d->kind) {
  case ParamKind::integer: {
    if (!readInt(value, &setting.intValue)) {
      value[std::strcspn(value, " \t\n\v\f\r")] = '\0';
      return reportError(env, QVNERR_BAD_NUMBER, lineNumber, value);
    }
    if (value[0] != '\0' && std::strpbrk(value + 1, ".-"))
      QVNmsg(env->warningChannel,
             "Warning, line %d: non-integral value specified for integer parameter.\n",
             lineNumber);
    QVN_TRY(checkIntParam(*d, setting.intValue));
    return list.add(setting, nullptr, 0);
  }
  case ParamKind::real: {
    char *end = nullptr;
    setting.dblValue = std::strtod(value, &end);
    // The file's version text stands where the value would be expected; kept so.
    if (end == value) return reportError(env, QVNERR_BAD_NUMBER, lineNumber, fileVersion);
    QVN_TRY(checkDblParam(*d, setting.dblValue));
    return list.add(setting, nullptr, 0);
  }
  case ParamKind::text: {
    const char *text = value;
    size_t length = 0;
    if (*value == '"') {
      const char *close = std::strchr(value + 1, '"');
      if (!close) return reportError(env, QVNERR_PARAM_INCOMPATIBLE, lineNumber);
      text = value + 1;
      length = static_cast<size_t>(close - text);
    } else {
      length = std::strcspn(value, " \t\n\v\f\r");
    }
    if (length == 0) return reportError(env, QVNERR_PARAM_INCOMPATIBLE, lineNumber);
    return list.add(setting, text, length);
  }
  case ParamKind::none: break;
  }
  return QVNERR_BAD_PARAM_NUM;
}

int parseFile(Environment *env, QvnFile *file, const char *fileName, SettingList &list) {
  char line[kLineSize];
  char fileVersion[kLineSize] = "";
  int lineNumber = 0;
  bool headerSeen = false;
  while (fileGets(file, line, kLineSize)) {
    ++lineNumber;
    cutLine(line);
    if (line[0] == '\0') continue;
    if (!headerSeen) {
      if (std::sscanf(line, "QUORVAN Parameter File Version %559s", fileVersion) != 1)
        return reportError(env, QVNERR_BAD_PARAM_FILE_HEADER, lineNumber);
      if (std::strcmp(fileVersion, env->versionText) != 0)
        QVNmsg(env->warningChannel,
               "Warning:  QUORVAN version found in file %s (%s) does not match\n"
               "          this QUORVAN version (%s).\n",
               fileName, fileVersion, env->versionText);
      headerSeen = true;
      continue;
    }
    QVN_TRY(parseSetting(env, line, lineNumber, fileVersion, list));
  }
  if (fileFailed(file))
    return compressionOf(fileName) ? reportDamaged(env, fileName, lineNumber + 1)
                                   : reportError(env, QVNERR_FAIL_OPEN_READ, fileName);
  if (!headerSeen) return reportError(env, QVNERR_BAD_PARAM_FILE_HEADER, lineNumber + 1);
  return 0;
}

// Defaults first, then the list in file order; the first failure stops and leaves
// the settings before it in force. 1053 only steers reading and is never applied.
int applySettings(Environment *env, const SettingList &list) {
  resetParams(env);
  for (int i = 0; i < list.count; ++i) {
    const Setting &s = list.entries[i];
    if (s.number == 1053) continue;
    const ParamDescriptor *d = findParam(s.number);
    switch (s.kind) {
    case ParamKind::integer: QVN_TRY(setIntParamValue(env, *d, s.intValue)); break;
    case ParamKind::real: QVN_TRY(setDblParamValue(env, *d, s.dblValue)); break;
    case ParamKind::text: QVN_TRY(setStrParamValue(env, *d, list.text + s.textOffset)); break;
    case ParamKind::none: break;
    }
  }
  return 0;
}

void writeSetting(QvnFile *file, const Environment *env, const ParamDescriptor &d) {
  const void *slot = paramSlot(env, d);
  const bool named = !d.hidden();
  switch (d.kind) {
  case ParamKind::integer: {
    const int v = *static_cast<const int *>(slot);
    named ? filePrintf(file, "%-32s %-d\n", d.name, v) : filePrintf(file, "%-32d %-d\n", d.number, v);
    return;
  }
  case ParamKind::real: {
    const double v = *static_cast<const double *>(slot);
    named ? filePrintf(file, "%-32s %-23.14e\n", d.name, v)
          : filePrintf(file, "%-32d %-23.14e\n", d.number, v);
    return;
  }
  case ParamKind::text: {
    const char *v = static_cast<const char *>(slot);
    named ? filePrintf(file, "%-32s \"%-s\"\n", d.name, v)
          : filePrintf(file, "%-32d \"%-s\"\n", d.number, v);
    return;
  }
  case ParamKind::none: break;
  }
}

} // namespace

extern "C" {

QVN_API int QVNwriteparam(QVNCENVptr env, const char *fileName) {
  return guarded(env, [&]() -> int {
    if (!fileName || !*fileName) return QVNERR_NO_FILENAME_GIVEN;
    QvnFile *file = openWrite(fileName, "w", 1);
    if (!file) return reportError(env, QVNERR_FAIL_OPEN_WRITE, fileName);
    filePrintf(file, "QUORVAN Parameter File Version %s\n", env->versionText);
    size_t count = 0;
    const ParamDescriptor *table = paramTable(&count);
    for (size_t i = 0; i < count; ++i) {
      const ParamDescriptor &d = table[i];
      if (d.number == 1053 || paramIsDefault(env, d)) continue;
      writeSetting(file, env, d);
    }
    // Write errors are sticky in the handle and surface here.
    if (closeFile(&file) != 0) return reportError(env, QVNERR_FAIL_OPEN_WRITE, fileName);
    return 0;
  });
}

QVN_API int QVNreadcopyparam(QVNENVptr env, const char *fileName) {
  return guarded(env, [&]() -> int {
    int status = 0;
    QVN_TRY(verifyCompressed(env, fileName, "r", ".prm", 0));
    FileGuard guard{openRead(env, fileName, "r", ".prm", 0, 1, &status)};
    if (!guard.file) return status;
    SettingList list;
    QVN_TRY(parseFile(env, guard.file, fileName, list));
    closeFile(&guard.file);
    return applySettings(env, list);
  });
}

} // extern "C"
