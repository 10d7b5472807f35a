#include "runtime/errors.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "runtime/environment.h"

namespace qvn {

namespace {

struct ErrorRow {
  int number;
  const char *text;
};

constexpr ErrorRow kErrorTable[] = {
#include "runtime/error_table.inc"
    {0, nullptr}};

constexpr ErrorRow kStatusTable[] = {
#include "runtime/status_table.inc"
    {0, nullptr}};

constexpr int kErrorRows = sizeof(kErrorTable) / sizeof(kErrorTable[0]) - 1;
static_assert(kErrorRows < kErrorIndexSize, "error index must have room for every row");

// Open addressing with double hashing; the step is never 0 and 479 is prime, so
// every probe sequence visits every slot.
int firstSlot(int number) { return number % kErrorIndexSize; }
int probeStep(int number) { return 477 - number % 477; }

int lookupRow(const Environment *env, int number) {
  if (number <= 0) return -1;
  if (!checkEnv(env)) {
    for (int i = 0; i < kErrorRows; ++i)
      if (kErrorTable[i].number == number) return i;
    return -1;
  }
  int slot = firstSlot(number);
  const int step = probeStep(number);
  for (int probes = 0; probes < kErrorIndexSize; ++probes) {
    const int row = env->errorIndex[slot];
    if (row < 0) return -1;
    if (kErrorTable[row].number == number) return row;
    slot = (slot + step) % kErrorIndexSize;
  }
  return -1;
}

const char *statusRowText(int status) {
  for (const ErrorRow *r = kStatusTable; r->number != 0; ++r)
    if (r->number == status) return r->text;
  return nullptr;
}

} // namespace

void buildErrorIndex(Environment *env) {
  for (int &slot : env->errorIndex) slot = -1;
  for (int i = 0; i < kErrorRows; ++i) {
    const int number = kErrorTable[i].number;
    int slot = firstSlot(number);
    while (env->errorIndex[slot] >= 0) slot = (slot + probeStep(number)) % kErrorIndexSize;
    env->errorIndex[slot] = i;
  }
}

const char *errorRowText(const Environment *env, int number) {
  const int row = lookupRow(env, number);
  return row < 0 ? nullptr : kErrorTable[row].text;
}

void recordError(const Environment *env, int *status) {
  if (*status <= 0) {
    *status = -*status;
    return;
  }
  if (!checkEnv(env)) return;
  const int number = *status;
  if ((number == 1101 || number == 1117 || number == 1118) && env->generalParams->presolveDisplay == 0)
    return;
  char buffer[kMessageBufferSize];
  if (QVNgeterrorstring(env, number, buffer))
    QVNmsg(env->errorChannel, "%s", buffer);
  else
    QVNmsg(env->errorChannel, "QUORVAN Error %5d:  Unknown error code.\n", number);
}

const char *errorText(Environment *env, int number) {
  const char *text = errorRowText(env, number);
  if (!text) {
    std::snprintf(env->messageBuffer, kMessageBufferSize, "Unknown error code %d.\n", number);
    return nullptr;
  }
  std::snprintf(env->messageBuffer, kMessageBufferSize, "QUORVAN Error %5d: %s.\n", number, text);
  return env->messageBuffer;
}

int reportError(const Environment *cenv, int number, ...) {
  auto *env = const_cast<Environment *>(cenv);
  if (!checkEnv(env)) return -number;
  const char *format = errorText(env, number);
  if (!format) {
    QVNmsg(env->errorChannel, "QUORVAN Error %5d:  Unknown error code.\n", number);
    return -number;
  }
  char text[kMessageBufferSize];
  va_list args;
  va_start(args, number);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  QVNmsgstr(env->errorChannel, text);
  return -number;
}

namespace {

int reportWithPlace(const Environment *cenv, const char *place, int number, va_list args) {
  auto *env = const_cast<Environment *>(cenv);
  if (!checkEnv(env)) return -number;
  const char *row = errorRowText(env, number);
  if (!row) {
    QVNmsg(env->errorChannel, "QUORVAN Error %5d:  Unknown error code.\n", number);
    return -number;
  }
  char detail[kMessageBufferSize];
  std::vsnprintf(detail, sizeof detail, row, args);
  QVNmsg(env->errorChannel, "QUORVAN Error %5d: %s%s.\n", number, place, detail);
  return -number;
}

} // namespace

int reportErrorAt(const Environment *env, const char *place, int number, ...) {
  va_list args;
  va_start(args, number);
  const int status = reportWithPlace(env, place, number, args);
  va_end(args);
  return status;
}

int reportErrorAtLine(const Environment *env, int line, int number, ...) {
  char place[32];
  std::snprintf(place, sizeof place, "Line %d: ", line);
  va_list args;
  va_start(args, number);
  const int status = reportWithPlace(env, place, number, args);
  va_end(args);
  return status;
}

} // namespace qvn

extern "C" {

QVN_API const char *QVNgeterrorstring(QVNCENVptr env, int errcode, char *buffer) {
  if (errcode < 1 || errcode > 99999 || !buffer) return nullptr;
  const char *text = qvn::errorRowText(env, errcode);
  if (!text) {
    std::snprintf(buffer, qvn::kMessageBufferSize, "QUORVAN Error %5d: Unknown error code.\n",
                  errcode);
    return nullptr;
  }
  std::snprintf(buffer, qvn::kMessageBufferSize, "QUORVAN Error %5d: %s.\n", errcode, text);
  return buffer;
}

QVN_API const char *QVNgetstatstring(QVNCENVptr, int statind, char *buffer) {
  if (!buffer) return nullptr;
  const char *text = statind == 0 ? nullptr : qvn::statusRowText(statind);
  if (!text) {
    std::strcpy(buffer, "Unknown status value");
    return nullptr;
  }
  std::snprintf(buffer, qvn::kMessageBufferSize, "%s", text);
  return buffer;
}

} // extern "C"
