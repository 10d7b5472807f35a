// The priority order file (".ord"): a NAME line, then per column an optional
// direction key in positions 1-2 (UP or DN), the column name and its priority.
#include <cctype>
#include <cmath>
#include <cstring>

#include "formats/side_file.h"
#include "model/edit.h"
#include "model/mip_data.h"
#include "runtime/channels.h"

namespace qvn {

namespace {

constexpr double kPriorityLimit = 2100000000.0;

struct OrderRead {
  ColumnNameIndex names;
  EnvVector<int> entryOf;  // per column: its entry, or -1
  EnvVector<int> column, priority, direction;
};

// Positions 1 and 2 hold a direction key when either is not blank; the name
// then starts at position 4.
int directionKey(SideReader &r, int *direction, size_t *nameFrom) {
  *direction = 0;
  *nameFrom = 0;
  if (r.length < 3 || (r.buffer[1] == ' ' && r.buffer[2] == ' ')) return 0;
  const char a = static_cast<char>(std::toupper(static_cast<unsigned char>(r.buffer[1])));
  const char b = static_cast<char>(std::toupper(static_cast<unsigned char>(r.buffer[2])));
  if (a == 'U' && b == 'P') *direction = 1;
  else if (a == 'D' && b == 'N') *direction = -1;
  else return reportError(r.env, QVNERR_BAD_DIRECTION_KEY, r.line, r.buffer[1], r.buffer[2]);
  *nameFrom = 4;
  return 0;
}

int readOrderBody(SideReader &r, void *context) {
  auto &o = *static_cast<OrderRead *>(context);
  QVN_TRY(r.start());
  char nameText[kFileNameMax + 1];
  for (;;) {
    const int kind = r.nextDataLine();
    if (kind < 0) return kind;
    if (kind == 0) break;
    int direction;
    size_t from;
    QVN_TRY(directionKey(r, &direction, &from));
    r.splitFrom(from);
    if (r.fieldCount < 2) return r.error(QVNERR_WRONG_ENTRY_COUNT);
    double value;
    QVN_TRY(r.number(1, &value));
    if (std::fabs(value) > kPriorityLimit)
      return reportError(r.env, QVNERR_INT_LIMIT, r.line, static_cast<int>(kPriorityLimit));
    const int j = o.names.find(r.name(0, nameText));
    if (j < 0) {
      r.warn("Warning, line %d: '%.255s' is not a variable.\n", r.line, nameText);
      continue;
    }
    int &entry = o.entryOf[static_cast<size_t>(j)];
    if (entry >= 0) {
      r.warn("Warning, line %d: repeated entry for '%.255s'.\n", r.line, nameText);
      o.priority[static_cast<size_t>(entry)] = static_cast<int>(value);
      o.direction[static_cast<size_t>(entry)] = direction;
      continue;
    }
    entry = static_cast<int>(o.column.size());
    o.column.push_back(j);
    o.priority.push_back(static_cast<int>(value));
    o.direction.push_back(direction);
  }
  r.finish();
  return 0;
}

int parseOrder(Environment *env, Problem *lp, const char *fileName, OrderRead &order) {
  if (!fileName) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  order.names.build(lp);
  order.entryOf.assign(static_cast<size_t>(lp->lpData->numCols), -1);
  SideReader reader(env);
  return readSideFile(env, fileName, ".ord", reader, readOrderBody, &order);
}

int readOrder(Environment *env, Problem *lp, const char *fileName) {
  OrderRead order;
  QVN_TRY(parseOrder(env, lp, fileName, order));
  if (order.column.empty()) {
    QVNmsg(env->warningChannel, "Warning:  No priority order values read or loaded.\n");
    return 0;
  }
  return alreadyReported(QVNcopyorder(env, lp, static_cast<int>(order.column.size()), order.column.data(),
                                      order.priority.data(), order.direction.data()));
}

int writeOrderBody(QvnFile *out, void *context) {
  const Problem *lp = static_cast<const Problem *>(context);
  const PriorityOrder &order = *lp->mipData->order;
  ColumnNameIndex names;
  names.build(lp);
  const char *title = lp->lpData->probName ? lp->lpData->probName : "";
  filePrintf(out, "NAME          %.255s   Priority Order\n", title);
  for (size_t k = 0; k < order.column.size(); ++k) {
    if (order.priority[k] == 0) continue;
    const int d = order.direction[k];
    const char *word = d == 1 ? "UP" : d == -1 ? "DN" : d == 0 ? "  " : "??";
    filePrintf(out, " %s %.255s %12d\n", word, names.text(order.column[k]), order.priority[k]);
  }
  filePrintf(out, "ENDATA\n");
  return 0;
}

int writeOrder(Environment *env, Problem *lp, const char *fileName) {
  if (!lp->mipData || !lp->mipData->order || lp->mipData->order->column.empty()) return QVNERR_NO_ORDER;
  announceDefaultColumnNames(env, lp);
  return writeSideFile(env, fileName, writeOrderBody, lp);
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNreadcopyorder(QVNCENVptr cenv, QVNLPptr lp, const char *fileName) {
  return guardedSideRead(cenv, lp, fileName, readOrder);
}

QVN_API int QVNordwrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  return guardedSideWrite(cenv, lp, fileName, writeOrder);
}

// Every column has at most one entry, so arrays of numcols always suffice.
QVN_API int QVNordread(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName, int *cnt, int *indices, int *priority,
                       int *direction) {
  return guardedSideWrite(cenv, lp, fileName, [&](Environment *env, Problem *p, const char *name) -> int {
    if (!cnt || !indices || !priority || !direction) return QVNERR_NULL_POINTER;
    OrderRead order;
    QVN_TRY(parseOrder(env, p, name, order));
    *cnt = static_cast<int>(order.column.size());
    for (size_t k = 0; k < order.column.size(); ++k) {
      indices[k] = order.column[k];
      priority[k] = order.priority[k];
      direction[k] = order.direction[k];
    }
    return 0;
  });
}

} // extern "C"
