#include "formats/solution_read.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <expat.h>

#include "formats/number_format.h"
#include "runtime/channels.h"

namespace qvn {

namespace {

struct XmlRead {
  Environment *env;
  XML_Parser parser;
  SolutionRead *s;
  int warnings = 0;
  int failed = 0;  // an error found inside a callback, reported already
};

int lineOf(const XmlRead &x) { return static_cast<int>(XML_GetCurrentLineNumber(x.parser)); }

void warnName(XmlRead &x, const char *format, const char *name) {
  if (++x.warnings <= kWarningCap) QVNmsg(x.env->warningChannel, format, lineOf(x), name);
}

void warnIndex(XmlRead &x, const char *format, long index) {
  if (++x.warnings <= kWarningCap) QVNmsg(x.env->warningChannel, format, lineOf(x), static_cast<int>(index));
}

// A number attribute, or the parse stops with 1434.
bool numberOf(XmlRead &x, const char *text, double *value) {
  if (parseNumber(text, std::strlen(text), false, value) == kNumberOk) return true;
  x.failed = reportError(x.env, QVNERR_BAD_NUMBER, lineOf(x), text);
  XML_StopParser(x.parser, XML_FALSE);
  return false;
}

void XMLCALL element(void *data, const XML_Char *tag, const XML_Char **attributes) {
  auto &x = *static_cast<XmlRead *>(data);
  const bool column = std::strcmp(tag, "variable") == 0;
  if (x.failed || (!column && std::strcmp(tag, "constraint") != 0)) return;
  SolutionRead &s = *x.s;
  if (!column && !s.readRows) return;
  const char *name = nullptr, *indexText = nullptr, *valueText = nullptr, *dualText = nullptr,
             *statusText = nullptr;
  const char *valueKey = column ? "value" : "slack", *dualKey = column ? "reducedCost" : "dual";
  for (int k = 0; attributes[k]; k += 2) {
    const char *key = attributes[k], *text = attributes[k + 1];
    if (!std::strcmp(key, "name")) name = text;
    else if (!std::strcmp(key, "index")) indexText = text;
    else if (!std::strcmp(key, valueKey)) valueText = text;
    else if (!std::strcmp(key, dualKey)) dualText = text;
    else if (!std::strcmp(key, "status")) statusText = text;
  }
  const ColumnNameIndex &names = column ? s.cols : s.rows;
  int k = -1;
  if (name && names.store) {
    k = names.find(name);
    if (k < 0)
      return warnName(x, column ? "Warning, line %d: '%.255s' is not a variable.\n"
                                : "Warning, line %d: '%.255s' is not a constraint.\n",
                      name);
  } else if (indexText) {
    // A problem without names matches by position.
    const long index = std::strtol(indexText, nullptr, 10);
    if (index < 0 || index >= names.count)
      return warnIndex(x, column ? "Warning, line %d: Variable index '%d' out of range.\n"
                                 : "Warning, line %d: Constraint index '%d' out of range.\n",
                       index);
    k = static_cast<int>(index);
  } else if (name) {
    k = names.find(name);  // generated names x1, c1, ... of a problem without its own
    if (k < 0)
      return warnName(x, column ? "Warning, line %d: '%.255s' is not a variable.\n"
                                : "Warning, line %d: '%.255s' is not a constraint.\n",
                      name);
  } else {
    return;
  }
  const size_t at = static_cast<size_t>(k);
  EnvVector<char> &seen = column ? s.colSeen : s.rowSeen;
  if (seen[at]) warnName(x, "Warning, line %d: repeated entry for '%.255s'.\n", names.text(k));
  seen[at] = 1;
  double v;
  if (valueText) {
    if (!numberOf(x, valueText, &v)) return;
    (column ? s.x : s.slack)[at] = v;
    (column ? s.colHasValue : s.rowHasValue)[at] = 1;
  }
  if (dualText) {
    if (!numberOf(x, dualText, &v)) return;
    (column ? s.dj : s.pi)[at] = v;
    (column ? s.colHasDual : s.rowHasDual)[at] = 1;
  }
  if (statusText) (column ? s.colStatus : s.rowStatus)[at] = std::strcmp(statusText, "basic") == 0 ? 1 : 0;
}

template <class T> void sized(EnvVector<T> &v, int n, T fill) { v.assign(static_cast<size_t>(n) + 1, fill); }

} // namespace

int readSolutionDocument(Environment *env, Problem *lp, const char *path, const char *extension, SolutionRead &s) {
  const LpData &d = *lp->lpData;
  s.cols.build(lp);
  s.rows.buildRows(lp);
  sized(s.colSeen, d.numCols, char(0));
  sized(s.colHasValue, d.numCols, char(0));
  sized(s.colHasDual, d.numCols, char(0));
  sized(s.rowSeen, d.numRows, char(0));
  sized(s.rowHasValue, d.numRows, char(0));
  sized(s.rowHasDual, d.numRows, char(0));
  sized(s.x, d.numCols, 0.0);
  sized(s.dj, d.numCols, 0.0);
  sized(s.slack, d.numRows, 0.0);
  sized(s.pi, d.numRows, 0.0);
  sized(s.colStatus, d.numCols, -1);
  sized(s.rowStatus, d.numRows, -1);
  int status = 0;
  QVN_TRY(verifyCompressed(env, path, "rb", extension, 0));
  QvnFile *file = openRead(env, path, "rb", extension, 0, 1, &status);
  if (!file) return status;
  XmlRead x{env, XML_ParserCreate("iso-8859-1"), &s};
  if (!x.parser) {
    closeFile(&file);
    return QVNERR_NO_MEMORY;
  }
  XML_SetUserData(x.parser, &x);
  XML_SetStartElementHandler(x.parser, element);
  char chunk[8192];
  for (;;) {
    const size_t n = fileRead(file, chunk, sizeof chunk);
    const bool last = n < sizeof chunk;
    if (XML_Parse(x.parser, chunk, static_cast<int>(n), last) == XML_STATUS_ERROR) {
      if (!x.failed)
        status = reportError(env, QVNERR_XML_PARSE, lineOf(x), XML_ErrorString(XML_GetErrorCode(x.parser)));
      break;
    }
    if (last) break;
  }
  if (x.failed) status = x.failed;
  if (status == 0 && fileFailed(file)) status = reportDamaged(env, path, 0);
  if (status == 0 && x.warnings > kWarningCap)
    QVNmsg(env->warningChannel, "%d warnings not printed.\n", x.warnings - kWarningCap);
  XML_ParserFree(x.parser);
  closeFile(&file);
  return status;
}

} // namespace qvn

namespace qvn {

namespace {

// Nonbasic status of a column from its value: the bound it sits at.
int columnStatusAt(const LpData &d, int j, double x) {
  const double lo = d.lowerBound[static_cast<size_t>(j)], up = d.upperBound[static_cast<size_t>(j)];
  if (lo <= -kInfinity && up >= kInfinity) return 3;
  if (lo <= -kInfinity) return 2;
  if (up >= kInfinity) return 0;
  return x - lo <= up - x ? 0 : 2;
}

// A nonbasic row in the caller's form: 2 only for a ranged row away from
// its right-hand side (the slack rhs - activity is then the range's far end).
int rowStatusAt(const LpData &d, int i, double slack) {
  if (d.sense[static_cast<size_t>(i)] != 'R' || d.rangeValue.empty()) return 0;
  const double r = d.rangeValue[static_cast<size_t>(i)];
  return std::fabs(slack + r) < std::fabs(slack) ? 2 : 0;
}

int readCopySolution(Environment *env, Problem *lp, const char *fileName) {
  if (!fileName) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  const LpData &d = *lp->lpData;
  SolutionRead s;
  QVN_TRY(readSolutionDocument(env, lp, fileName, ".sol", s));
  const int n = d.numCols, m = d.numRows;
  if (!d.ctype.empty()) {
    EnvVector<int> cols;
    EnvVector<double> values;
    for (int j = 0; j < n; ++j)
      if (s.colHasValue[static_cast<size_t>(j)]) {
        cols.push_back(j);
        values.push_back(s.x[static_cast<size_t>(j)]);
      }
    if (cols.empty()) {
      QVNmsg(env->warningChannel, "Warning: no MIP start values read, no MIP start loaded.\n");
      return 0;
    }
    return alreadyReported(QVNcopymipstart(env, lp, static_cast<int>(cols.size()), cols.data(), values.data()));
  }
  bool basis = n + m > 0, duals = false;
  for (int j = 0; j < n; ++j) {
    basis = basis && s.colStatus[static_cast<size_t>(j)] >= 0;
    duals = duals || s.colHasDual[static_cast<size_t>(j)];
  }
  for (int i = 0; i < m; ++i) {
    basis = basis && s.rowStatus[static_cast<size_t>(i)] >= 0;
    duals = duals || s.rowHasDual[static_cast<size_t>(i)];
  }
  EnvVector<int> cstat, rstat;
  if (basis) {
    cstat.resize(static_cast<size_t>(n) + 1);
    rstat.resize(static_cast<size_t>(m) + 1);
    for (int j = 0; j < n; ++j)
      cstat[j] = s.colStatus[static_cast<size_t>(j)] == 1 ? 1 : columnStatusAt(d, j, s.x[static_cast<size_t>(j)]);
    for (int i = 0; i < m; ++i)
      rstat[i] = s.rowStatus[static_cast<size_t>(i)] == 1 ? 1 : rowStatusAt(d, i, s.slack[static_cast<size_t>(i)]);
  }
  return alreadyReported(QVNcopystart(env, lp, basis ? cstat.data() : nullptr, basis ? rstat.data() : nullptr,
                                      s.x.data(), s.slack.data(), duals ? s.dj.data() : nullptr,
                                      duals ? s.pi.data() : nullptr));
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNreadcopysol(QVNCENVptr cenv, QVNLPptr lp, const char *fileName) {
  return guardedSideRead(cenv, lp, fileName, readCopySolution);
}

} // extern "C"
