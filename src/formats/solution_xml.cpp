// The XML solution document (".sol"): a header with the status and the
// method, the quality of the point, then one element per row and per column.
// A small emitter of our own: the document is flat and its attribute order is
// fixed, which a general XML writer would not make any simpler.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "formats/side_file.h"
#include "model/edit.h"
#include "runtime/environment.h"

namespace qvn {

void putXmlEscaped(QvnFile *out, const char *text) {
  for (const char *p = text; *p; ++p) {
    switch (*p) {
    case '"': filePuts(out, "&quot;"); break;
    case '\'': filePuts(out, "&apos;"); break;
    case '>': filePuts(out, "&gt;"); break;
    case '&': filePuts(out, "&amp;"); break;
    case '<': filePuts(out, "&lt;"); break;
    default: fileWrite(out, p, 1);
    }
  }
}

namespace {

void putEscaped(QvnFile *out, const char *text) { putXmlEscaped(out, text); }

// Attributes of an element whose indent level is 1 stand on lines of their
// own; at level 0 the whole element keeps to one line.
struct Element {
  QvnFile *out;
  int level;
  void lead() const {
    if (level == 1) filePuts(out, "\n   ");
    else filePuts(out, " ");
  }
  void text(const char *name, const char *value) const {
    lead();
    filePrintf(out, "%s=\"", name);
    putEscaped(out, value);
    filePuts(out, "\"");
  }
  void integer(const char *name, int value) const {
    lead();
    filePrintf(out, "%s=\"%d\"", name, value);
  }
  void number(const char *name, double value) const {
    lead();
    filePrintf(out, "%s=\"%.15g\"", name, value);
  }
};

struct SolutionDoc {
  Environment *env = nullptr;
  Problem *lp = nullptr;
  bool mip = false;
  int method = -1, type = 0, primalFeasible = 0, dualFeasible = 0;
  double objective = 0.0;
  EnvVector<double> x, slack, pi, dj;
  bool duals = false;
  bool basis = false;
};

const char *typeWord(int type) {
  switch (type) {
  case 1: return "basic";
  case 2: return "nonbasic";
  case 3: return "primal";
  default: return "unknown";
  }
}

const char *methodWord(int method) {
  switch (method) {
  case 1: return "primal";
  case 2: return "dual";
  case 4: return "barrier";
  default: return "unknown";
  }
}

int gather(SolutionDoc &s) {
  const int n = s.lp->lpData->numCols, m = s.lp->lpData->numRows;
  s.x.resize(static_cast<size_t>(n) + 1);
  s.slack.resize(static_cast<size_t>(m) + 1);
  if (s.mip) {
    s.type = 3;
  } else {
    QVN_TRY(alreadyReported(QVNsolninfo(s.env, s.lp, &s.method, &s.type, &s.primalFeasible, &s.dualFeasible)));
    if (s.method < 0) return QVNERR_NO_SOLN;
  }
  QVN_TRY(alreadyReported(QVNgetobjval(s.env, s.lp, &s.objective)));
  if (n > 0) QVN_TRY(alreadyReported(QVNgetx(s.env, s.lp, s.x.data(), 0, n - 1)));
  if (m > 0) QVN_TRY(alreadyReported(QVNgetslack(s.env, s.lp, s.slack.data(), 0, m - 1)));
  s.duals = !s.mip && s.type != 3;
  s.basis = !s.mip && s.type == 1 && s.lp->basisData && !s.lp->basisData->colStatus.empty();
  if (s.duals) {
    s.pi.resize(static_cast<size_t>(m) + 1);
    s.dj.resize(static_cast<size_t>(n) + 1);
    if (m > 0) QVN_TRY(alreadyReported(QVNgetpi(s.env, s.lp, s.pi.data(), 0, m - 1)));
    if (n > 0) QVN_TRY(alreadyReported(QVNgetdj(s.env, s.lp, s.dj.data(), 0, n - 1)));
  }
  return 0;
}

void writeHeader(QvnFile *out, const SolutionDoc &s) {
  char statusText[512];
  const int status = QVNgetstat(s.env, s.lp);
  if (!QVNgetstatstring(s.env, status, statusText)) statusText[0] = '\0';
  filePuts(out, " <header");
  const Element e{out, 1};
  e.text("problemName", s.lp->lpData->probName ? s.lp->lpData->probName : "");
  e.number("objectiveValue", s.objective);
  e.integer("solutionTypeValue", s.type);
  e.text("solutionTypeString", typeWord(s.type));
  e.integer("solutionStatusValue", status);
  e.text("solutionStatusString", statusText);
  if (s.mip) {
    e.integer("MIPNodes", QVNgetnodecnt(s.env, s.lp));
    e.integer("MIPIterations", QVNgetmipitcnt(s.env, s.lp));
  } else {
    e.integer("solutionMethodValue", s.method);
    e.text("solutionMethodString", methodWord(s.method));
    e.integer("primalFeasible", s.primalFeasible);
    e.integer("dualFeasible", s.dualFeasible);
    e.integer("simplexIterations", QVNgetitcnt(s.env, s.lp));
  }
  filePuts(out, "/>\n");
}

// The largest violation of bounds and rows and the largest distance of an
// integer column from an integer, from the point itself.
void writeMipQuality(const SolutionDoc &s, const Element &e) {
  const LpData &d = *s.lp->lpData;
  const int n = d.numCols, m = d.numRows;
  double maxInt = 0.0, maxInfeas = 0.0, maxX = 0.0, maxSlack = 0.0;
  EnvVector<double> rowInfeas(static_cast<size_t>(m) + 1, 0.0), colInfeas(static_cast<size_t>(n) + 1, 0.0);
  if (m > 0) QVNgetrowinfeas(s.env, s.lp, s.x.data(), rowInfeas.data(), 0, m - 1);
  if (n > 0) QVNgetcolinfeas(s.env, s.lp, s.x.data(), colInfeas.data(), 0, n - 1);
  for (int j = 0; j < n; ++j) {
    const double v = s.x[static_cast<size_t>(j)];
    maxX = std::max(maxX, std::fabs(v));
    maxInfeas = std::max(maxInfeas, std::fabs(colInfeas[static_cast<size_t>(j)]));
    const char t = d.ctype.empty() ? 'C' : d.ctype[static_cast<size_t>(j)];
    if (t == 'B' || t == 'I' || t == 'N') maxInt = std::max(maxInt, std::fabs(v - std::round(v)));
  }
  for (int i = 0; i < m; ++i) {
    maxInfeas = std::max(maxInfeas, std::fabs(rowInfeas[static_cast<size_t>(i)]));
    maxSlack = std::max(maxSlack, std::fabs(s.slack[static_cast<size_t>(i)]));
  }
  double epInt = 0.0, epRhs = 0.0;
  QVNgetdblparam(s.env, QVN_PARAM_EPINT, &epInt);
  QVNgetdblparam(s.env, QVN_PARAM_EPRHS, &epRhs);
  e.number("epInt", epInt);
  e.number("epRHS", epRhs);
  e.number("maxIntInfeas", maxInt);
  e.number("maxPrimalInfeas", maxInfeas);
  e.number("maxX", maxX);
  e.number("maxSlack", maxSlack);
}

void writeQuality(QvnFile *out, const SolutionDoc &s) {
  filePuts(out, " <quality");
  const Element e{out, 1};
  if (s.mip) {
    writeMipQuality(s, e);
  } else {
    double epRhs = 0.0, epOpt = 0.0;
    QVNgetdblparam(s.env, QVN_PARAM_EPRHS, &epRhs);
    QVNgetdblparam(s.env, QVN_PARAM_EPOPT, &epOpt);
    e.number("epRHS", epRhs);
    e.number("epOpt", epOpt);
    const struct {
      const char *name;
      int key;
    } measures[] = {{"maxPrimalInfeas", QVN_QUAL_MAX_PRIMAL_INFEAS}, {"maxDualInfeas", QVN_QUAL_MAX_DUAL_INFEAS},
                    {"maxPrimalResidual", QVN_QUAL_MAX_PRIMAL_RESIDUAL},
                    {"maxDualResidual", QVN_QUAL_MAX_DUAL_RESIDUAL}, {"maxX", QVN_QUAL_MAX_X},
                    {"maxPi", QVN_QUAL_MAX_PI}, {"maxSlack", QVN_QUAL_MAX_SLACK},
                    {"maxRedCost", QVN_QUAL_MAX_RED_COST}};
    for (const auto &q : measures) {
      double v = 0.0;
      if (QVNgetdblquality(s.env, s.lp, &v, q.key) == 0) e.number(q.name, v);
    }
  }
  filePuts(out, "/>\n");
}

int writeBody(QvnFile *out, void *context) {
  const SolutionDoc &s = *static_cast<SolutionDoc *>(context);
  const LpData &d = *s.lp->lpData;
  filePuts(out, "<?xml version = \"1.0\" standalone=\"yes\"?>\n");
  filePuts(out, "<QUORVANSolution version=\"1.0\">\n");
  writeHeader(out, s);
  writeQuality(out, s);
  const Element e{out, 0};
  filePuts(out, " <linearConstraints>\n");
  for (int i = 0; i < d.numRows; ++i) {
    filePuts(out, "  <constraint");
    if (d.rowNames.exists) e.text("name", d.rowNames.name(i));
    e.integer("index", i);
    if (s.basis) e.text("status", s.lp->basisData->rowStatus[static_cast<size_t>(i)] == 1 ? "basic" : "nonbasic");
    e.number("slack", s.slack[static_cast<size_t>(i)]);
    if (s.duals) e.number("dual", s.pi[static_cast<size_t>(i)]);
    filePuts(out, "/>\n");
  }
  filePuts(out, " </linearConstraints>\n <variables>\n");
  for (int j = 0; j < d.numCols; ++j) {
    filePuts(out, "  <variable");
    if (d.colNames.exists) e.text("name", d.colNames.name(j));
    e.integer("index", j);
    if (s.basis) e.text("status", s.lp->basisData->colStatus[static_cast<size_t>(j)] == 1 ? "basic" : "nonbasic");
    e.number("value", s.x[static_cast<size_t>(j)]);
    if (s.duals) e.number("reducedCost", s.dj[static_cast<size_t>(j)]);
    filePuts(out, "/>\n");
  }
  filePuts(out, " </variables>\n</QUORVANSolution>\n");
  return 0;
}

int writeSolutionDocument(Environment *env, Problem *lp, const char *fileName) {
  SolutionDoc s;
  s.env = env;
  s.lp = lp;
  s.mip = isMipType(lp->probType);
  QVN_TRY(gather(s));
  return writeSideFile(env, fileName, writeBody, &s);
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNsolwrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  return guardedSideWrite(cenv, lp, fileName, writeSolutionDocument);
}

} // extern "C"
