// The restart file. Its layout is the basis file form (".bas") under a
// comment line:
//
//   * QUORVAN restart file: basis at iteration 1200
//   NAME          afiro  Iterations 1200  Rows 27  Cols 32
//    XU X01  R09
//    XL X02  R10
//    UL X39
//   ENDATA
//
// with the problem's own names, or the generated x1.../c1... when it has
// none. The counts in the header must be the problem's for the file to load:
// a file left by another model of the same name, or by the reduced problem
// of a presolved run, is refused rather than read as a wrong basis. The
// writer only writes for the problem the optimization was called on, so the
// loops on a reduced or dualized problem, or on a sifting work LP, write
// nothing.
#include "formats/restart_file.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "formats/side_file.h"
#include "runtime/channels.h"

namespace qvn {

namespace {

thread_local RestartScope *innermost = nullptr;

bool holdsStart(const Problem *lp) {
  const BasisData *b = lp->basisData;
  return b && (!b->colStatus.empty() || !b->primalStart.empty() || !b->dualStart.empty());
}

bool endsWith(const char *text, size_t length, const char *tail) {
  const size_t n = std::strlen(tail);
  return length >= n && strncasecmp(text + length - n, tail, n) == 0;
}

} // namespace

bool restartFileName(const LpData &d, char *out, size_t size) {
  if (!d.probName || !*d.probName) return false;
  const char *name = d.probName;
  size_t length = std::strlen(name);
  for (const char *zip : {".bz2", ".gz", ".z"})
    if (endsWith(name, length, zip)) {
      length -= std::strlen(zip);
      break;
    }
  // The last extension of the file part, if any.
  for (size_t k = length; k > 0; --k) {
    const char c = name[k - 1];
    if (c == '/' || c == '\\') break;
    if (c == '.') {
      if (k > 1) length = k - 1;
      break;
    }
  }
  const int written = std::snprintf(out, size, "%.*s.xxx", static_cast<int>(length), name);
  return written > 0 && static_cast<size_t>(written) < size;
}

RestartScope::RestartScope(Environment *e, Problem *p) : env(e), lp(p), outer(innermost) {
  innermost = this;
  GeneralParams &gp = *env->generalParams;
  if (gp.p1041 == 0 || (gp.advind != 0 && holdsStart(p))) return;
  char path[kFileNameMax + 8];
  bool loaded = false;
  if (restartFileName(*p->lpData, path, sizeof path)) {
    // A missing file is the common case of a first run: no error of its own.
    if (FILE *probe = std::fopen(path, "rb")) {
      std::fclose(probe);
      loaded = installBasisFile(env, p, path, true) == 0;
    }
  }
  QVNmsg(env->resultsChannel, loaded ? "Load of restart from file succeeded.\n" : "Load of restart from file failed.\n");
  if (loaded) gp.advind = 1;
}

RestartScope::~RestartScope() { innermost = outer; }

void writeRecoveryFile(const SimplexEngine &e) {
  RestartScope *scope = innermost;
  if (!scope || scope->env != e.env || scope->lastWritten == e.iterations) return;
  const LpData &d = *scope->lp->lpData;
  if (e.n != d.numCols || e.m != d.numRows) return;
  char path[kFileNameMax + 8];
  if (!restartFileName(d, path, sizeof path)) return;
  scope->lastWritten = e.iterations;
  EnvVector<int> colStatus(static_cast<size_t>(e.n) + 1), rowStatus(static_cast<size_t>(e.m) + 1);
  extractStatuses(e, colStatus.data(), rowStatus.data());
  char comment[64];
  std::snprintf(comment, sizeof comment, "QUORVAN restart file: basis at iteration %d", e.iterations);
  // A file that cannot be written costs the run nothing: the write reported it.
  if (writeBasisFile(e.env, scope->lp, colStatus.data(), rowStatus.data(), e.iterations, path, comment) == 0)
    QVNmsg(e.env->resultsChannel, "Basis recovery file written to '%s'.\n", path);
}

} // namespace qvn
