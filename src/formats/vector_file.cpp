// The vector file (".vec"): the values of a solution by name, a line per
// column (`c`, name, value, reduced cost) and per row (`r`, name, slack,
// dual). Read back, it becomes a primal start (and a dual one when the dual
// numbers are all there) from which the next optimization builds its basis.
#include <cctype>
#include <cstring>

#include "formats/side_file.h"
#include "runtime/channels.h"

namespace qvn {

namespace {

struct VectorRead {
  ColumnNameIndex cols, rows;
  EnvVector<double> colValue, colDual, rowValue, rowDual;  // dual parts: reduced costs, row duals
  bool dualMissing = false;
};

int readVectorBody(SideReader &r, void *context) {
  auto &v = *static_cast<VectorRead *>(context);
  QVN_TRY(r.start());
  char nameText[kFileNameMax + 1];
  for (;;) {
    const int kind = r.nextLine();
    if (kind < 0) return kind;
    if (kind == 0) break;
    if (r.isEndLine()) {
      r.sawEnd = true;
      break;
    }
    r.splitFrom(0);
    if (r.fieldCount == 0) continue;
    const char key = static_cast<char>(std::tolower(static_cast<unsigned char>(r.field[0].text[0])));
    if (key == 'e') {  // ENDATA, however it is indented
      r.sawEnd = true;
      break;
    }
    if (r.field[0].length != 1 || (key != 'c' && key != 'r')) {
      r.warn("Warning, line %d: Unrecognized key '%c'.\n", r.line, r.field[0].text[0]);
      continue;
    }
    if (r.fieldCount < 3) return r.error(QVNERR_WRONG_ENTRY_COUNT);
    double value, dual = 0.0;
    QVN_TRY(r.number(2, &value));
    if (r.fieldCount >= 4) QVN_TRY(r.number(3, &dual));
    else v.dualMissing = true;
    r.name(1, nameText);
    if (key == 'c') {
      const int j = v.cols.find(nameText);
      if (j < 0) {
        r.warn("Warning, line %d: '%.255s' is not a variable.\n", r.line, nameText);
        continue;
      }
      v.colValue[static_cast<size_t>(j)] = value;
      v.colDual[static_cast<size_t>(j)] = dual;
    } else {
      const int i = v.rows.find(nameText);
      if (i < 0) {
        r.warn("Warning, line %d: '%.255s' is not a row.\n", r.line, nameText);
        continue;
      }
      v.rowValue[static_cast<size_t>(i)] = value;
      v.rowDual[static_cast<size_t>(i)] = dual;
    }
  }
  r.finish();
  return 0;
}

int readVector(Environment *env, Problem *lp, const char *fileName) {
  if (!fileName) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  const LpData &d = *lp->lpData;
  VectorRead v;
  v.cols.build(lp);
  v.rows.buildRows(lp);
  // Entries a file leaves out start at zero, as an all-zero start would.
  v.colValue.assign(static_cast<size_t>(d.numCols) + 1, 0.0);
  v.colDual.assign(static_cast<size_t>(d.numCols) + 1, 0.0);
  v.rowValue.assign(static_cast<size_t>(d.numRows) + 1, 0.0);
  v.rowDual.assign(static_cast<size_t>(d.numRows) + 1, 0.0);
  SideReader reader(env);
  QVN_TRY(readSideFile(env, fileName, ".vec", reader, readVectorBody, &v));
  if (v.dualMissing) QVNmsg(env->warningChannel, "Warning: No dual values.\n");
  const bool withDual = !v.dualMissing;
  QVN_TRY(alreadyReported(QVNcopystart(env, lp, nullptr, nullptr, v.colValue.data(), v.rowValue.data(),
                                       withDual ? v.colDual.data() : nullptr,
                                       withDual ? v.rowDual.data() : nullptr)));
  // The vector is the start now: a basis held from before would take precedence.
  BasisData &held = *lp->basisData;
  held.colStatus.clear();
  held.rowStatus.clear();
  held.norms.clear();
  held.normHead.clear();
  held.primalNorms.clear();
  if (!withDual) held.dualStart.clear();
  return 0;
}

struct VectorWrite {
  const Problem *lp;
  ColumnNameIndex cols, rows;
  EnvVector<double> x, dj, slack, pi;
};

int writeVectorBody(QvnFile *out, void *context) {
  const auto &w = *static_cast<VectorWrite *>(context);
  const LpData &d = *w.lp->lpData;
  filePrintf(out, "NAME          %.255s\n", d.probName ? d.probName : "");
  for (int j = 0; j < d.numCols; ++j)
    filePrintf(out, " %c  %.255s  %23.15e  %23.15e\n", 'c', w.cols.text(j), w.x[static_cast<size_t>(j)],
               w.dj[static_cast<size_t>(j)]);
  for (int i = 0; i < d.numRows; ++i)
    filePrintf(out, " %c  %.255s  %23.15e  %23.15e\n", 'r', w.rows.text(i), w.slack[static_cast<size_t>(i)],
               w.pi[static_cast<size_t>(i)]);
  filePuts(out, "ENDATA\n");
  return 0;
}

int writeVector(Environment *env, Problem *lp, const char *fileName) {
  const LpData &d = *lp->lpData;
  const SolutionBlock *s = lp->solution;
  if (!s || !s->primalComputed || static_cast<int>(s->x.size()) < d.numCols) return QVNERR_NO_VECTOR;
  VectorWrite w{lp, {}, {}, {}, {}, {}, {}};
  w.cols.build(lp);
  w.rows.buildRows(lp);
  w.x.assign(s->x.begin(), s->x.begin() + d.numCols);
  w.slack.assign(static_cast<size_t>(d.numRows), 0.0);
  for (int i = 0; i < d.numRows && i < static_cast<int>(s->slack.size()); ++i) w.slack[i] = s->slack[i];
  // Without duals (a MIP incumbent) the dual numbers are written as zeros.
  const bool duals = s->dualComputed;
  w.dj.assign(static_cast<size_t>(d.numCols), 0.0);
  w.pi.assign(static_cast<size_t>(d.numRows), 0.0);
  for (int j = 0; duals && j < d.numCols && j < static_cast<int>(s->dj.size()); ++j) w.dj[j] = s->dj[j];
  for (int i = 0; duals && i < d.numRows && i < static_cast<int>(s->pi.size()); ++i) w.pi[i] = s->pi[i];
  announceDefaultColumnNames(env, lp);
  if (!d.rowNames.exists && d.numRows > 0)
    QVNmsg(env->warningChannel, "Default row names c1, c2 ... to be created.\n");
  return writeSideFile(env, fileName, writeVectorBody, &w);
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNreadcopyvec(QVNCENVptr cenv, QVNLPptr lp, const char *fileName) {
  return guardedSideRead(cenv, lp, fileName, readVector);
}

QVN_API int QVNvecwrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  return guardedSideWrite(cenv, lp, fileName, writeVector);
}

} // extern "C"
