// MIP start files (".mst"): the text form (a NAME line, then column name and
// value per line) and the XML form of a solution document whose `variable`
// elements carry the values. The reader tells them apart by the first byte;
// the writer by the name: ".xml" as the last extension, or just before
// ".mst" ("start.xml.mst"), asks for the XML form, any other name gets the
// text form. A compression extension behind them does not count.
#include <cstring>
#include <strings.h>

#include "formats/number_format.h"
#include "formats/side_file.h"
#include "formats/solution_read.h"
#include "model/edit.h"
#include "runtime/channels.h"

namespace qvn {

namespace {

struct StartRead {
  ColumnNameIndex names;
  EnvVector<int> entryOf;  // per column: its entry, or -1
  EnvVector<int> column;
  EnvVector<double> value;

  // Enters `value` for column j; a second entry for a column replaces the first.
  bool enter(int j, double v) {
    int &entry = entryOf[static_cast<size_t>(j)];
    if (entry >= 0) {
      value[static_cast<size_t>(entry)] = v;
      return false;
    }
    entry = static_cast<int>(column.size());
    column.push_back(j);
    value.push_back(v);
    return true;
  }
};

int readTextBody(SideReader &r, void *context) {
  auto &s = *static_cast<StartRead *>(context);
  QVN_TRY(r.start());
  char nameText[kFileNameMax + 1];
  for (;;) {
    const int kind = r.nextDataLine();
    if (kind < 0) return kind;
    if (kind == 0) break;
    if (r.fieldCount < 2) return r.error(QVNERR_WRONG_ENTRY_COUNT);
    double v;
    QVN_TRY(r.number(1, &v));
    const int j = s.names.find(r.name(0, nameText));
    if (j < 0) r.warn("Warning, line %d: '%.255s' is not a variable.\n", r.line, nameText);
    else if (!s.enter(j, v)) r.warn("Warning, line %d: repeated entry for '%.255s'.\n", r.line, nameText);
  }
  r.finish();
  return 0;
}

// The XML form: a solution document whose variables carry the values.
int readXml(Environment *env, Problem *lp, const char *path, StartRead &s) {
  SolutionRead doc;
  doc.readRows = false;
  QVN_TRY(readSolutionDocument(env, lp, path, ".mst", doc));
  for (int j = 0; j < lp->lpData->numCols; ++j)
    if (doc.colHasValue[static_cast<size_t>(j)]) s.enter(j, doc.x[static_cast<size_t>(j)]);
  return 0;
}

// The first byte that is not white space: '<' marks the XML form.
int looksXml(Environment *env, const char *path, bool *xml) {
  *xml = false;
  QVN_TRY(verifyCompressed(env, path, "rb", ".mst", 0));
  int status = 0;
  QvnFile *file = openRead(env, path, "rb", ".mst", 0, 1, &status);
  if (!file) return status;
  int c;
  do c = fileGetc(file);
  while (c == ' ' || c == '\t' || c == '\r' || c == '\n');
  *xml = c == '<';
  closeFile(&file);
  return 0;
}

int readStart(Environment *env, Problem *lp, const char *fileName) {
  if (!fileName) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  StartRead s;
  s.names.build(lp);
  s.entryOf.assign(static_cast<size_t>(lp->lpData->numCols), -1);
  bool xml;
  QVN_TRY(looksXml(env, fileName, &xml));
  if (xml) {
    QVN_TRY(readXml(env, lp, fileName, s));
  } else {
    SideReader reader(env);
    QVN_TRY(readSideFile(env, fileName, ".mst", reader, readTextBody, &s));
  }
  if (s.column.empty()) {
    QVNmsg(env->warningChannel, "Warning: no MIP start values read, no MIP start loaded.\n");
    return 0;
  }
  return alreadyReported(
      QVNcopymipstart(env, lp, static_cast<int>(s.column.size()), s.column.data(), s.value.data()));
}

struct StartWrite {
  const Problem *lp;
  EnvVector<double> x;
};

int writeStartBody(QvnFile *out, void *context) {
  const auto &w = *static_cast<StartWrite *>(context);
  const LpData &d = *w.lp->lpData;
  ColumnNameIndex names;
  names.build(w.lp);
  filePrintf(out, "NAME          %.255s\n", d.probName ? d.probName : "");
  char number[40];
  for (int j = 0; j < d.numCols; ++j) {
    const char t = d.ctype[static_cast<size_t>(j)];
    if (t != 'B' && t != 'I' && t != 'N') continue;
    formatNumber(w.x[static_cast<size_t>(j)], number);
    filePrintf(out, "    %.255s  %s\n", names.text(j), number);
  }
  filePrintf(out, "ENDATA\n");
  return 0;
}

int writeStartXmlBody(QvnFile *out, void *context) {
  const auto &w = *static_cast<StartWrite *>(context);
  const LpData &d = *w.lp->lpData;
  ColumnNameIndex names;
  names.build(w.lp);
  filePuts(out, "<?xml version = \"1.0\" standalone=\"yes\"?>\n");
  filePuts(out, "<QUORVANSolution version=\"1.0\">\n <variables>\n");
  for (int j = 0; j < d.numCols; ++j) {
    const char t = d.ctype[static_cast<size_t>(j)];
    if (t != 'B' && t != 'I' && t != 'N') continue;
    filePuts(out, "  <variable name=\"");
    putXmlEscaped(out, names.text(j));
    filePrintf(out, "\" index=\"%d\" value=\"%.15g\"/>\n", j, w.x[static_cast<size_t>(j)]);
  }
  filePuts(out, " </variables>\n</QUORVANSolution>\n");
  return 0;
}

bool endsWithNoCase(const char *text, size_t length, const char *tail) {
  const size_t n = std::strlen(tail);
  return length >= n && strncasecmp(text + length - n, tail, n) == 0;
}

// The name asks for the XML form (see the head of the file).
bool wantsXml(const char *fileName) {
  size_t length = std::strlen(fileName);
  for (const char *zip : {".bz2", ".gz", ".z"})
    if (endsWithNoCase(fileName, length, zip)) {
      length -= std::strlen(zip);
      break;
    }
  if (endsWithNoCase(fileName, length, ".mst")) length -= 4;
  return endsWithNoCase(fileName, length, ".xml");
}

int writeStart(Environment *env, Problem *lp, const char *fileName) {
  if (lp->lpData->ctype.empty()) return QVNERR_NOT_MIP;
  StartWrite w{lp, {}};
  w.x.resize(static_cast<size_t>(lp->lpData->numCols));
  if (lp->lpData->numCols > 0) {
    const int status = QVNgetx(env, lp, w.x.data(), 0, lp->lpData->numCols - 1);
    if (status != 0) return alreadyReported(status);
  }
  announceDefaultColumnNames(env, lp);
  const bool xml = fileName && wantsXml(fileName);
  return writeSideFile(env, fileName, xml ? writeStartXmlBody : writeStartBody, &w);
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNreadcopymipstart(QVNCENVptr cenv, QVNLPptr lp, const char *fileName) {
  return guardedSideRead(cenv, lp, fileName, readStart);
}

QVN_API int QVNmstwrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  return guardedSideWrite(cenv, lp, fileName, writeStart);
}

} // extern "C"
