// The basis file (".bas"), in the MPS basis form other LP codes read and
// write: every column starts nonbasic at its lower bound and every row basic;
// XU/XL lines make a column basic and put a row at a side, UL puts a column
// at its upper bound, BS makes a column basic, BR a row.
//
// Held statuses of rows describe the activity (0 at its lower limit, 2 at its
// upper). A row nonbasic at a side its activity does not have (XU on a ">="
// row, written so by our writer and by codes that think of the row's logical
// variable) stands at the side it has, which the engine does for any start.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "formats/side_file.h"
#include "runtime/channels.h"
#include "simplex/advanced_basis.h"

namespace qvn {

namespace {

enum Key { kXU, kXL, kUL, kLL, kBS, kBR, kSC, kSR, kNone };

Key keyOf(const SideField &f) {
  static const char *const words[] = {"XU", "XL", "UL", "LL", "BS", "BR", "SC", "SR"};
  if (f.length != 2) return kNone;
  for (int k = 0; k < kNone; ++k)
    if (strncasecmp(f.text, words[k], 2) == 0) return static_cast<Key>(k);
  return kNone;
}

struct BasisRead {
  ColumnNameIndex cols, rows;
  EnvVector<int> colStatus, rowStatus;
  bool mustMatchCounts = false;  // the header's counts must be the problem's
};

// A file of another shape; no message of its own (negative: nothing to report).
constexpr int kCountsDiffer = -1;

// The column of field k, or -1 after the warning.
int columnOf(SideReader &r, BasisRead &b, int k) {
  char name[kFileNameMax + 1];
  const int j = b.cols.find(r.name(k, name));
  if (j < 0) r.warn("Warning, line %d: '%.255s' is not a variable.\n", r.line, name);
  return j;
}

int rowOf(SideReader &r, BasisRead &b, int k) {
  char name[kFileNameMax + 1];
  const int i = b.rows.find(r.name(k, name));
  if (i < 0) r.warn("Warning, line %d: '%.255s' is not a row.\n", r.line, name);
  return i;
}

// Names with blanks inside (some models have them) split into several
// fields. Our writer puts two blanks between the names, so the text behind
// the key is tried whole, and split at each run of two blanks, with and
// without a last field that may be a value.
bool namesFromText(SideReader &r, BasisRead &b, bool pair, int *j, int *i) {
  char text[SideReader::kLineLimit + 8];
  std::snprintf(text, sizeof text, "%s", r.buffer + std::min<size_t>(4, r.length));
  for (int withValue = 0; withValue < 2; ++withValue) {
    size_t end = std::strlen(text);
    while (end > 0 && text[end - 1] == ' ') text[--end] = '\0';
    if (withValue) {  // drop the last field
      while (end > 0 && text[end - 1] != ' ') --end;
      while (end > 0 && text[end - 1] == ' ') --end;
      text[end] = '\0';
    }
    if (!pair) {
      *j = b.cols.find(text);
      if (*j >= 0) return true;
      continue;
    }
    for (char *gap = std::strstr(text, "  "); gap; gap = std::strstr(gap + 1, "  ")) {
      *gap = '\0';
      const char *right = gap + 2;
      while (*right == ' ') ++right;
      *j = b.cols.find(text);
      *i = b.rows.find(right);
      *gap = ' ';
      if (*j >= 0 && *i >= 0) return true;
    }
  }
  return false;
}

int basisLine(SideReader &r, BasisRead &b) {
  const Key key = keyOf(r.field[0]);
  if (key == kNone) {
    char word[kFileNameMax + 1];
    return reportError(r.env, QVNERR_BAD_BASIS_KEY, r.line, r.name(0, word));
  }
  // Our simplex keeps no superbasic variables: a start that needs them is refused.
  if (key == kSC || key == kSR) return QVNERR_NO_SUPERBASICS;
  const int needed = key == kXU || key == kXL || key == kBR ? 3 : 2;
  if (r.fieldCount < needed) {
    if (key == kBR) QVNmsg(r.env->errorChannel, "Line %d: Missing basic value.\n", r.line);
    return r.error(QVNERR_WRONG_ENTRY_COUNT);
  }
  const bool pair = key == kXU || key == kXL;
  int j = -1, i = -1;
  char name[kFileNameMax + 1];
  if (key == kBR) {
    double value;
    QVN_TRY(r.number(2, &value));
    i = rowOf(r, b, 1);
    if (i >= 0) b.rowStatus[static_cast<size_t>(i)] = 1;
    return 0;
  }
  j = b.cols.find(r.name(1, name));
  if (pair) i = b.rows.find(r.name(2, name));
  const bool found = j >= 0 && (!pair || i >= 0);
  if (!found && !namesFromText(r, b, pair, &j, &i)) {
    j = columnOf(r, b, 1);
    if (pair) i = rowOf(r, b, 2);
  }
  // What follows the names (a value, or a placeholder row name that some codes
  // put behind UL and LL) is left alone: the optimizer computes the values.
  if (pair) {
    if (j >= 0) b.colStatus[static_cast<size_t>(j)] = 1;
    if (i >= 0) b.rowStatus[static_cast<size_t>(i)] = key == kXU ? 2 : 0;
  } else if (j >= 0) {
    b.colStatus[static_cast<size_t>(j)] = key == kUL ? 2 : key == kLL ? 0 : 1;
  }
  return 0;
}

// The counts of the full header ("... Rows %d  Cols %d"), or false when the
// line has none. The problem's name before them may hold blanks, so the last
// "  Rows " of the line is taken.
bool headerCounts(const char *line, int *rows, int *cols) {
  const char *at = nullptr;
  for (const char *p = std::strstr(line, "  Rows "); p; p = std::strstr(p + 1, "  Rows ")) at = p;
  return at && std::sscanf(at, "  Rows %d  Cols %d", rows, cols) == 2;
}

int readBasisBody(SideReader &r, void *context) {
  auto &b = *static_cast<BasisRead *>(context);
  QVN_TRY(r.start());
  if (b.mustMatchCounts) {
    int rows = -1, cols = -1;
    if (!headerCounts(r.buffer, &rows, &cols) || rows != b.rows.count || cols != b.cols.count)
      return kCountsDiffer;
  }
  for (;;) {
    const int kind = r.nextDataLine();
    if (kind < 0) return kind;
    if (kind == 0) break;
    QVN_TRY(basisLine(r, b));
  }
  r.finish();
  return 0;
}

int parseBasis(Environment *env, Problem *lp, const char *fileName, BasisRead &b) {
  if (!fileName) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  const LpData &d = *lp->lpData;
  b.cols.build(lp);
  b.rows.buildRows(lp);
  b.colStatus.assign(static_cast<size_t>(d.numCols) + 1, 0);
  b.rowStatus.assign(static_cast<size_t>(d.numRows) + 1, 1);
  SideReader reader(env);
  return readSideFile(env, fileName, ".bas", reader, readBasisBody, &b);
}

// The statuses of a file in the caller's form (a row's is its slack's).
int readBasisArrays(Environment *env, Problem *lp, const char *fileName, int *cstat, int *rstat) {
  if (!cstat || !rstat) return QVNERR_NULL_POINTER;
  BasisRead b;
  QVN_TRY(parseBasis(env, lp, fileName, b));
  const LpData &d = *lp->lpData;
  for (int j = 0; j < d.numCols; ++j) cstat[j] = b.colStatus[static_cast<size_t>(j)];
  for (int i = 0; i < d.numRows; ++i) rstat[i] = rowStatusToUser(d, i, b.rowStatus[static_cast<size_t>(i)]);
  return 0;
}

int readBasis(Environment *env, Problem *lp, const char *fileName) { return installBasisFile(env, lp, fileName, false); }

} // namespace

int installBasisFile(Environment *env, Problem *lp, const char *fileName, bool countsMustMatch) {
  BasisRead b;
  b.mustMatchCounts = countsMustMatch;
  QVN_TRY(parseBasis(env, lp, fileName, b));
  if (!lp->basisData) lp->basisData = envNew<BasisData>();
  BasisData &held = *lp->basisData;
  held.colStatus.swap(b.colStatus);
  held.rowStatus.swap(b.rowStatus);
  held.primalStart.clear();
  held.dualStart.clear();
  held.norms.clear();
  held.normHead.clear();
  held.primalNorms.clear();
  modelChanged(env, lp, ModelEvent::kStartInstalled);
  return 0;
}

namespace {

struct BasisWrite {
  const LpData *d;
  const int *colStatus, *rowStatus;
  int iterations;
  const char *comment;
  ColumnNameIndex cols, rows;
};

int writeBasisBody(QvnFile *out, void *context) {
  const auto &w = *static_cast<BasisWrite *>(context);
  const LpData &d = *w.d;
  if (w.comment) filePrintf(out, "* %s\n", w.comment);
  filePrintf(out, "NAME          %.255s  Iterations %d  Rows %d  Cols %d\n", d.probName ? d.probName : "",
             w.iterations, d.numRows, d.numCols);
  // Basic columns and nonbasic rows pair off in index order.
  int i = 0;
  for (int j = 0; j < d.numCols; ++j) {
    if (w.colStatus[j] != 1) continue;
    while (w.rowStatus[i] == 1) ++i;
    const char sense = d.sense[static_cast<size_t>(i)];
    const bool upper = sense == 'G' || (sense == 'R' && w.rowStatus[i] == 2);
    filePrintf(out, " X%c %.255s  %.255s\n", upper ? 'U' : 'L', w.cols.text(j), w.rows.text(i));
    ++i;
  }
  for (int j = 0; j < d.numCols; ++j)
    if (w.colStatus[j] == 2) filePrintf(out, " UL %.255s\n", w.cols.text(j));
  filePuts(out, "ENDATA\n");
  return 0;
}

int writeBasis(Environment *env, Problem *lp, const char *fileName) {
  const LpData &d = *lp->lpData;
  const BasisData *b = lp->basisData;
  if (!b || static_cast<int>(b->colStatus.size()) < d.numCols || static_cast<int>(b->rowStatus.size()) < d.numRows)
    return QVNERR_NO_BASIS;
  int basic = 0;
  for (int j = 0; j < d.numCols; ++j) basic += b->colStatus[static_cast<size_t>(j)] == 1;
  for (int i = 0; i < d.numRows; ++i) basic += b->rowStatus[static_cast<size_t>(i)] == 1;
  if (basic != d.numRows)
    return reportError(env, QVNERR_BASIC_COUNT, basic < d.numRows ? d.numRows - basic : basic - d.numRows,
                       basic < d.numRows ? "too few" : "extra");
  if (!d.colNames.exists && d.numCols > 0)
    QVNmsg(env->warningChannel, "Default variable names x1, x2 ... to be created.\n");
  if (!d.rowNames.exists && d.numRows > 0)
    QVNmsg(env->warningChannel, "Default row names c1, c2 ... to be created.\n");
  return writeBasisFile(env, lp, b->colStatus.data(), b->rowStatus.data(),
                        lp->solution ? lp->solution->iterationCount : 0, fileName, nullptr);
}

} // namespace

int writeBasisFile(Environment *env, const Problem *lp, const int *colStatus, const int *rowStatus, int iterations,
                   const char *path, const char *comment) {
  BasisWrite w{lp->lpData, colStatus, rowStatus, iterations, comment, {}, {}};
  w.cols.build(lp);
  w.rows.buildRows(lp);
  return writeSideFile(env, path, writeBasisBody, &w);
}

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNreadcopybase(QVNCENVptr cenv, QVNLPptr lp, const char *fileName) {
  return guardedSideRead(cenv, lp, fileName, readBasis);
}

QVN_API int QVNmbasewrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  return guardedSideWrite(cenv, lp, fileName, writeBasis);
}

QVN_API int QVNmbaseread(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName, int *cstat, int *rstat) {
  return guardedSideWrite(cenv, lp, fileName, [&](Environment *env, Problem *p, const char *name) {
    return readBasisArrays(env, p, name, cstat, rstat);
  });
}

} // extern "C"
