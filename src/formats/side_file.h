// The small text files that go with a model (priority order, SOS, MIP start):
// one line reader in the MPS manner, a sorted index of the column names, and
// the warning counter they share. The readers parse a whole file before they
// touch the problem, and then hand it over through the public setters, so a
// file that fails anywhere leaves the problem as it was.
#pragma once
#include <cstdarg>

#include "formats/formats.h"
#include "model/edit.h"
#include "model/problem.h"

namespace qvn {

struct SideField {
  const char *text;
  size_t length;
};

struct SideReader {
  static constexpr int kLineLimit = 559;  // as the MPS reader: longer lines are an error
  Environment *env;
  LineSource in;
  int line = 0;
  char buffer[kLineLimit + 8];
  size_t length = 0;  // of the current line, its end of line taken off
  SideField field[8];
  int fieldCount = 0;
  int warnings = 0;  // one counter for every warning of the file
  bool sawEnd = false;

  explicit SideReader(Environment *e) : env(e) {}

  // The next line that holds anything: 1 data (led by a blank), 2 a section
  // line, 0 end of file, negative after an error. Fields are split from
  // position `from` of the line on.
  int nextLine();
  void splitFrom(size_t from);
  // Reads up to and including the NAME line (1441 when the first line is another).
  int start();
  bool isEndLine() const;
  // The next data line: 1, or 0 at ENDATA, at the end of the file or at another
  // section line (warned of: reading stops there); negative after an error.
  int nextDataLine();
  // A counted warning: the first ones printed, the rest only counted.
  void warn(const char *format, ...);
  // The end of the file: the missing-ENDATA warning and the count of warnings
  // that were not printed.
  void finish();
  // Field k as a name (cut at 255 characters, with a warning) into out.
  const char *name(int k, char *out);
  // Field k as a number (1434/1435 with the line).
  int number(int k, double *value);
  int error(int number) { return reportError(env, number, line); }
};

// Opens `path` (trying `extension`), runs `body`, closes. A failed read is
// reported as for the model readers.
int readSideFile(Environment *env, const char *path, const char *extension, SideReader &reader,
                 int (*body)(SideReader &, void *), void *context);

// The column (or row) names of a problem sorted once, for lookups by binary
// search; generated names ("x1", ... or "c1", ...) stand in when it has none.
struct ColumnNameIndex {
  const NameStore *store = nullptr;
  EnvVector<char> generated;
  EnvVector<int64_t> offset;
  EnvVector<int> order;
  int count = 0;
  void build(const Problem *lp) { build(lp->lpData->colNames, lp->lpData->numCols, 'x'); }
  void buildRows(const Problem *lp) { build(lp->lpData->rowNames, lp->lpData->numRows, 'c'); }
  void build(const NameStore &names, int entries, char prefix);
  const char *text(int j) const {
    return store ? store->name(j) : generated.data() + offset[static_cast<size_t>(j)];
  }
  // The column of that name, or -1.
  int find(const char *name) const;
};

// The names a writer puts out for the columns: the problem's own, or generated
// ones announced with the message of the readers' default names.
void announceDefaultColumnNames(const Environment *env, const Problem *lp);

// The frame of a side-file writer: opens `path` (compressed by its name),
// runs `body`, closes; 1422 when the file cannot be written.
int writeSideFile(Environment *env, const char *path, int (*body)(QvnFile *, void *), void *context);

// The basis file form of given statuses (held form: a row's status is its
// activity's), under the full header with `iterations` and the counts, and
// with a "* comment" line first when comment is not null. The statuses must
// hold as many basic variables as rows.
int writeBasisFile(Environment *env, const Problem *lp, const int *colStatus, const int *rowStatus, int iterations,
                   const char *path, const char *comment);
// Reads a basis file and installs it as the held basis of lp. With
// countsMustMatch, a file whose header does not give lp's row and column
// counts is refused (negative, nothing printed) and lp is left as it was.
int installBasisFile(Environment *env, Problem *lp, const char *fileName, bool countsMustMatch);

// Text with the five XML escapes, for attribute values.
void putXmlEscaped(QvnFile *out, const char *text);

// The exported frames: a reader changes the problem (a fixed-type handle
// refuses), a writer only reads it.
template <class Read> int guardedSideRead(QVNCENVptr cenv, QVNLPptr lp, const char *fileName, Read read) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedEdit(env, lp, [&](Problem *p) { return read(env, p, fileName); });
}
template <class Write> int guardedSideWrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName, Write write) {
  auto *env = const_cast<Environment *>(cenv);
  return guardedProblem(env, lp, [&](Problem *p) { return write(env, p, fileName); });
}

// A public setter called from inside a reader: its error has been printed by
// that call already, so it is handed on negated.
inline int alreadyReported(int status) { return status > 0 ? -status : status; }

} // namespace qvn
