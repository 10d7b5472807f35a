// quorvan conflict: refines an infeasible model to a conflict and prints its
// members, by name and kind, with the status.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "conflict_command.h"
#include "quorvan.h"

namespace qvncli {

namespace {

const char *rowKind(int status) { return status == QVN_CONFLICT_MEMBER ? "row" : "row (possible)"; }

const char *boundKind(int status) {
  switch (status) {
  case QVN_CONFLICT_MEMBER: return "lower and upper bound";
  case QVN_CONFLICT_LB: return "lower bound";
  case QVN_CONFLICT_UB: return "upper bound";
  case QVN_CONFLICT_POSSIBLE_MEMBER: return "lower and upper bound (possible)";
  case QVN_CONFLICT_POSSIBLE_LB: return "lower bound (possible)";
  case QVN_CONFLICT_POSSIBLE_UB: return "upper bound (possible)";
  default: return "?";
  }
}

std::string nameOf(QVNENVptr env, QVNLPptr lp, bool row, int index) {
  char *name = nullptr;
  char store[512];
  int surplus = 0;
  const int rc = row ? QVNgetrowname(env, lp, &name, store, sizeof store, &surplus, index, index)
                     : QVNgetcolname(env, lp, &name, store, sizeof store, &surplus, index, index);
  if (rc == 0 && name) return name;
  return std::string(row ? "c" : "x") + std::to_string(index + 1);
}

} // namespace

const char *conflictUsageText() {
  return "  quorvan conflict FILE [options]  find a small set of rows and bounds of an\n"
         "                                   infeasible model that cannot hold together\n"
         "    --write OUT.lp                 write that set as an LP file\n"
         "    --time-limit S                 stop after S seconds, keeping what was found\n"
         "  Prints 'Status:' with the refiner's status, then one line per member:\n"
         "  its kind and its name.\n";
}

int runConflict(int argc, char **argv) {
  std::string file, out;
  double timeLimit = -1.0;
  for (int k = 1; k < argc; ++k) {
    const std::string a = argv[k];
    if ((a == "--write" || a == "--time-limit") && k + 1 < argc) {
      if (a == "--write") out = argv[++k];
      else timeLimit = std::atof(argv[++k]);
    } else if (a[0] != '-' && file.empty()) {
      file = a;
    } else {
      std::fprintf(stderr, "quorvan conflict: unexpected argument '%s'\n%s", a.c_str(), conflictUsageText());
      return 2;
    }
  }
  if (file.empty()) {
    std::fprintf(stderr, "quorvan conflict: no model file given\n%s", conflictUsageText());
    return 2;
  }
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  if (!env) {
    std::fprintf(stderr, "quorvan conflict: cannot open an environment (error %d)\n", status);
    return 1;
  }
  QVNLPptr lp = QVNcreateprob(env, &status, "model");
  int exitCode = 0;
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  if (timeLimit >= 0) QVNsetdblparam(env, QVN_PARAM_TILIM, timeLimit);
  QVNCHANNELptr results, warning, error, log;
  QVNgetchannels(env, &results, &warning, &error, &log);
  QVNaddfpdest(env, error, stderr);
  QVNaddfpdest(env, log, stdout);
  if (!lp || QVNreadcopyprob(env, lp, file.c_str(), nullptr) != 0) {
    std::fprintf(stderr, "quorvan conflict: cannot read '%s'\n", file.c_str());
    exitCode = 1;
  } else {
    int rc = QVNrefineconflict(env, lp, nullptr, nullptr);
    int stat = 0, nr = 0, nc = 0;
    if (rc == 0 || rc == QVNERR_CONFLICT_UNREPRODUCED)
      rc = QVNgetconflict(env, lp, &stat, nullptr, nullptr, &nr, nullptr, nullptr, &nc);
    if (rc != 0) {
      std::fprintf(stderr, "quorvan conflict: refinement failed (error %d)\n", rc);
      exitCode = 1;
    } else {
      std::vector<int> rows(nr + 1), rowStatus(nr + 1), cols(nc + 1), colStatus(nc + 1);
      QVNgetconflict(env, lp, &stat, rows.data(), rowStatus.data(), &nr, cols.data(), colStatus.data(), &nc);
      char text[1024];
      std::printf("Status: %s\n", QVNgetstatstring(env, stat, text) ? text : "?");
      std::printf("Conflict: %d rows, %d columns (model: %d rows, %d columns)\n", nr, nc,
                  QVNgetnumrows(env, lp), QVNgetnumcols(env, lp));
      for (int k = 0; k < nr; ++k)
        std::printf("  %-34s %s\n", rowKind(rowStatus[k]), nameOf(env, lp, true, rows[k]).c_str());
      for (int k = 0; k < nc; ++k)
        std::printf("  %-34s %s\n", boundKind(colStatus[k]), nameOf(env, lp, false, cols[k]).c_str());
      if (!out.empty() && QVNclpwrite(env, lp, out.c_str()) != 0) {
        std::fprintf(stderr, "quorvan conflict: cannot write '%s'\n", out.c_str());
        exitCode = 1;
      }
    }
  }
  QVNfreeprob(env, &lp);
  QVNcloseQUORVAN(&env);
  return exitCode;
}

} // namespace qvncli
