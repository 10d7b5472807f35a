// quorvan solve: read a model, optimize it with the chosen method and print
// the log and a summary that scripts can read line by line.
#include "solve_command.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "mip/cuts/cut_pool.h"
#include "mip/plugins.h"
#include "quorvan.h"

namespace qvncli {

namespace {

struct SolveOptions {
  std::string file, method = "auto", solutionFile, paramsFile, mipStartFile, xmlSolutionFile, readBasisFile, writeBasisFile;
  double timeLimit = -1.0;
  long iterationLimit = -1;
  long nodeLimit = -1;
  double gap = -1.0;
  bool relax = false;  // a MIP's LP relaxation only
  std::vector<std::string> params;  // NAME=VALUE
  bool quiet = false;
  bool ranges = false;  // print the objective and right-hand-side ranges of an optimal LP
  std::string error;
};

bool parseNumber(const char *text, double &value) {
  char *end = nullptr;
  value = std::strtod(text, &end);
  return end != text && *end == '\0';
}

SolveOptions parseSolve(int argc, char **argv) {
  SolveOptions o;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&](const char *what) -> const char * {
      if (i + 1 >= argc) {
        o.error = std::string("option ") + a + " needs " + what;
        return nullptr;
      }
      return argv[++i];
    };
    if (a == "--method") {
      const char *v = value("a method");
      if (!v) break;
      o.method = v;
      if (o.method != "auto" && o.method != "primal" && o.method != "dual" && o.method != "sifting" &&
          o.method != "barrier" && o.method != "network")
        o.error = "unknown method '" + o.method + "'";
    } else if (a == "--time-limit") {
      const char *v = value("seconds");
      if (!v) break;
      if (!parseNumber(v, o.timeLimit) || o.timeLimit < 0) o.error = std::string("bad time limit '") + v + "'";
    } else if (a == "--iteration-limit") {
      const char *v = value("a count");
      if (!v) break;
      double n = 0;
      if (!parseNumber(v, n) || n < 0 || n > 2100000000 || n != static_cast<long>(n))
        o.error = std::string("bad iteration limit '") + v + "'";
      o.iterationLimit = static_cast<long>(n);
    } else if (a == "--node-limit") {
      const char *v = value("a count");
      if (!v) break;
      double n = 0;
      if (!parseNumber(v, n) || n < 0 || n > 2100000000 || n != static_cast<long>(n))
        o.error = std::string("bad node limit '") + v + "'";
      o.nodeLimit = static_cast<long>(n);
    } else if (a == "--gap") {
      const char *v = value("a relative gap");
      if (!v) break;
      if (!parseNumber(v, o.gap) || o.gap < 0 || o.gap > 1) o.error = std::string("bad gap '") + v + "'";
    } else if (a == "--relax") {
      o.relax = true;
    } else if (a == "--param") {
      const char *v = value("NAME=VALUE");
      if (!v) break;
      if (!std::strchr(v, '=')) o.error = std::string("--param wants NAME=VALUE, got '") + v + "'";
      o.params.push_back(v);
    } else if (a == "--params") {
      const char *v = value("a parameter file");
      if (!v) break;
      o.paramsFile = v;
    } else if (a == "--solution") {
      const char *v = value("a file name");
      if (!v) break;
      o.solutionFile = v;
    } else if (a == "--read-basis" || a == "--write-basis") {
      const char *v = value("a file name");
      if (!v) break;
      (a == "--read-basis" ? o.readBasisFile : o.writeBasisFile) = v;
    } else if (a == "--write-solution") {
      const char *v = value("a file name");
      if (!v) break;
      o.xmlSolutionFile = v;
    } else if (a == "--mip-start") {
      const char *v = value("a file name");
      if (!v) break;
      o.mipStartFile = v;
    } else if (a == "--quiet") {
      o.quiet = true;
    } else if (a == "--ranges") {
      o.ranges = true;
    } else if (!a.empty() && a[0] == '-') {
      o.error = "unknown option '" + a + "'";
    } else if (o.file.empty()) {
      o.file = a;
    } else {
      o.error = "more than one model file given";
    }
    if (!o.error.empty()) break;
  }
  if (o.error.empty() && o.file.empty()) o.error = "no model file given";
  return o;
}

// Sets NAME=VALUE through the parameter table: the name or the number decides
// the parameter, its type decides how the value is read.
int setParam(QVNENVptr env, const std::string &setting, std::string &message) {
  const size_t eq = setting.find('=');
  const std::string name = setting.substr(0, eq), text = setting.substr(eq + 1);
  int number = 0;
  // The prefix may be left out: PREIND names QVN_PARAM_PREIND.
  if (QVNgetparamnum(env, name.c_str(), &number) != 0 &&
      QVNgetparamnum(env, ("QVN_PARAM_" + name).c_str(), &number) != 0) {
    double n = 0;
    if (!parseNumber(name.c_str(), n)) {
      message = "unknown parameter '" + name + "'";
      return 1;
    }
    number = static_cast<int>(n);
  }
  double v = 0;
  int status;
  if (QVNinfointparam(env, number, nullptr, nullptr, nullptr) == 0) {
    if (!parseNumber(text.c_str(), v) || v != static_cast<int>(v)) {
      message = "parameter '" + name + "' wants an integer, got '" + text + "'";
      return 1;
    }
    status = QVNsetintparam(env, number, static_cast<int>(v));
  } else if (QVNinfodblparam(env, number, nullptr, nullptr, nullptr) == 0) {
    if (!parseNumber(text.c_str(), v)) {
      message = "parameter '" + name + "' wants a number, got '" + text + "'";
      return 1;
    }
    status = QVNsetdblparam(env, number, v);
  } else {
    status = QVNsetstrparam(env, number, text.c_str());
  }
  if (status != 0) {
    char buffer[1024];
    message = "cannot set parameter '" + name + "': " +
              (QVNgeterrorstring(env, status, buffer) ? std::string(buffer) : std::to_string(status));
    while (!message.empty() && message.back() == '\n') message.pop_back();
  }
  return status;
}

// Names of all columns (or rows), generated ones when the model has none.
std::vector<std::string> allNames(QVNENVptr env, QVNLPptr lp, bool columns, int count) {
  std::vector<std::string> out;
  auto get = columns ? QVNgetcolname : QVNgetrowname;
  int surplus = 0;
  std::vector<char *> pointers(count + 1);
  std::vector<char> store;
  if (count > 0 && get(env, lp, pointers.data(), nullptr, 0, &surplus, 0, count - 1) == QVNERR_NEGATIVE_SURPLUS) {
    store.resize(static_cast<size_t>(-surplus) + 1);
    if (get(env, lp, pointers.data(), store.data(), -surplus, &surplus, 0, count - 1) == 0)
      for (int k = 0; k < count; ++k) out.emplace_back(pointers[k]);
  }
  for (int k = static_cast<int>(out.size()); k < count; ++k) out.push_back((columns ? "x" : "c") + std::to_string(k + 1));
  return out;
}

double tidy(double v) { return v == 0.0 ? 0.0 : v; }  // no "-0" in the output

int writeSolution(QVNENVptr env, QVNLPptr lp, const std::string &file) {
  const int n = QVNgetnumcols(env, lp), m = QVNgetnumrows(env, lp);
  std::vector<double> x(n + 1), dj(n + 1), slack(m + 1), pi(m + 1);
  int status = 0;
  double objective = 0;
  // A MIP has no duals: its incumbent gives values and slacks only.
  const bool mip = QVNgetprobtype(env, lp) == 1;
  int rc = mip ? QVNsolution(env, lp, &status, &objective, x.data(), nullptr, slack.data(), nullptr)
               : QVNsolution(env, lp, &status, &objective, x.data(), pi.data(), slack.data(), dj.data());
  if (rc == QVNERR_NO_DUAL_SOLN) rc = QVNsolution(env, lp, &status, &objective, x.data(), nullptr, slack.data(), nullptr);
  if (rc != 0) return rc;
  FILE *out = std::fopen(file.c_str(), "w");
  if (!out) return QVNERR_FAIL_OPEN_WRITE;
  char text[1024];
  QVNgetstatstring(env, status, text);
  std::fprintf(out, "Status: %s\nObjective: %.15g\nColumns: %d\nRows: %d\n", text, objective, n, m);
  // The size probes of the name getters answer with an error line by design.
  QVNCHANNELptr error = nullptr;
  QVNgetchannels(env, nullptr, nullptr, &error, nullptr);
  QVNdelfpdest(env, error, stderr);
  const std::vector<std::string> colNames = allNames(env, lp, true, n), rowNames = allNames(env, lp, false, m);
  QVNaddfpdest(env, error, stderr);
  if (mip) {
    std::fprintf(out, "# column name, value\n");
    for (int j = 0; j < n; ++j) std::fprintf(out, "column %s %.15g\n", colNames[j].c_str(), tidy(x[j]));
    std::fprintf(out, "# row name, slack\n");
    for (int i = 0; i < m; ++i) std::fprintf(out, "row %s %.15g\n", rowNames[i].c_str(), tidy(slack[i]));
  } else {
    std::fprintf(out, "# column name, value, reduced cost\n");
    for (int j = 0; j < n; ++j) std::fprintf(out, "column %s %.15g %.15g\n", colNames[j].c_str(), tidy(x[j]), tidy(dj[j]));
    std::fprintf(out, "# row name, slack, dual value\n");
    for (int i = 0; i < m; ++i) std::fprintf(out, "row %s %.15g %.15g\n", rowNames[i].c_str(), tidy(slack[i]), tidy(pi[i]));
  }
  return std::fclose(out) == 0 ? 0 : QVNERR_FAIL_OPEN_WRITE;
}

// The objective ranges of the columns and the right-hand-side ranges of the
// rows, one line each, after the summary.
int printRanges(QVNENVptr env, QVNLPptr lp) {
  const int n = QVNgetnumcols(env, lp), m = QVNgetnumrows(env, lp);
  std::vector<double> c(n + 1), clo(n + 1), cup(n + 1), b(m + 1), blo(m + 1), bup(m + 1);
  int rc = 0;
  if (n > 0 && ((rc = QVNgetobj(env, lp, c.data(), 0, n - 1)) != 0 || (rc = QVNobjsa(env, lp, 0, n - 1, clo.data(), cup.data())) != 0))
    return rc;
  if (m > 0 && ((rc = QVNgetrhs(env, lp, b.data(), 0, m - 1)) != 0 || (rc = QVNrhssa(env, lp, 0, m - 1, blo.data(), bup.data())) != 0))
    return rc;
  QVNCHANNELptr error = nullptr;
  QVNgetchannels(env, nullptr, nullptr, &error, nullptr);
  QVNdelfpdest(env, error, stderr);
  const std::vector<std::string> colNames = allNames(env, lp, true, n), rowNames = allNames(env, lp, false, m);
  QVNaddfpdest(env, error, stderr);
  std::printf("\nObjective ranges (column, lower, coefficient, upper):\n");
  for (int j = 0; j < n; ++j)
    std::printf("  %-16s %15.8g %15.8g %15.8g\n", colNames[j].c_str(), tidy(clo[j]), tidy(c[j]), tidy(cup[j]));
  std::printf("Right-hand-side ranges (row, lower, value, upper):\n");
  for (int i = 0; i < m; ++i)
    std::printf("  %-16s %15.8g %15.8g %15.8g\n", rowNames[i].c_str(), tidy(blo[i]), tidy(b[i]), tidy(bup[i]));
  return 0;
}

int fail(QVNENVptr env, const char *what, int status) {
  char buffer[1024];
  const bool known = QVNgeterrorstring(env, status, buffer) != nullptr;
  // A text with a place for a word reached the error channel filled in
  // already; its table form would show the placeholder.
  if (known && std::strchr(buffer, '%'))
    std::fprintf(stderr, "quorvan solve: %s failed: error %d\n", what, status);
  else
    std::fprintf(stderr, "quorvan solve: %s failed: %s", what, known ? buffer : "unknown error\n");
  return 1;
}

// A DIMACS minimum-cost flow file, plain or compressed, by its name.
bool isNetworkFile(const std::string &file) {
  for (const char *end : {".min", ".min.gz", ".min.bz2", ".MIN", ".MIN.gz", ".MIN.bz2"}) {
    const size_t n = std::strlen(end);
    if (file.size() > n && file.compare(file.size() - n, n, end) == 0) return true;
  }
  return false;
}

int writeFlows(QVNENVptr env, QVNNETptr net, const std::string &file) {
  const int arcs = QVNNETgetnumarcs(env, net), nodes = QVNNETgetnumnodes(env, net);
  std::vector<double> x(arcs + 1);
  std::vector<int> from(arcs + 1), to(arcs + 1);
  int status = 0;
  double objective = 0;
  int rc = QVNNETsolution(env, net, &status, &objective, x.data(), nullptr, nullptr, nullptr);
  if (rc == 0 && arcs > 0) rc = QVNNETgetarcnodes(env, net, from.data(), to.data(), 0, arcs - 1);
  if (rc != 0) return rc;
  FILE *out = std::fopen(file.c_str(), "w");
  if (!out) return QVNERR_FAIL_OPEN_WRITE;
  char text[1024];
  QVNgetstatstring(env, status, text);
  std::fprintf(out, "Status: %s\nObjective: %.15g\nArcs: %d\nNodes: %d\n", text, objective, arcs, nodes);
  std::fprintf(out, "# arc number, from node, to node (numbered from 1), flow\n");
  for (int j = 0; j < arcs; ++j) std::fprintf(out, "arc %d %d %d %.15g\n", j + 1, from[j] + 1, to[j] + 1, tidy(x[j]));
  return std::fclose(out) == 0 ? 0 : QVNERR_FAIL_OPEN_WRITE;
}

// The network simplex on a DIMACS file, with the summary of an LP solve.
int solveNetwork(QVNENVptr env, const SolveOptions &o) {
  int status = 0;
  QVNNETptr net = QVNNETcreateprob(env, &status, o.file.c_str());
  if (!net) return fail(env, "creating the network", status);
  auto finish = [&](int code) {
    QVNNETfreeprob(env, &net);
    return code;
  };
  if ((status = QVNNETreadcopyprob(env, net, o.file.c_str())) != 0) {
    std::fprintf(stderr, "quorvan solve: cannot read '%s'\n", o.file.c_str());
    return finish(1);
  }
  if (o.quiet) QVNsetintparam(env, QVN_PARAM_NETDISPLAY, 0);
  if (o.iterationLimit >= 0) QVNsetintparam(env, QVN_PARAM_NETITLIM, static_cast<int>(o.iterationLimit));
  const auto start = std::chrono::steady_clock::now();
  status = QVNNETprimopt(env, net);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (status != 0) return finish(fail(env, "optimization", status));
  char text[1024];
  const int stat = QVNNETgetstat(env, net);
  double objective = 0.0;
  QVNCHANNELptr error = nullptr;
  QVNgetchannels(env, nullptr, nullptr, &error, nullptr);
  QVNdelfpdest(env, error, stderr);
  const bool haveObjective = stat != 0 && QVNNETgetobjval(env, net, &objective) == 0;
  QVNaddfpdest(env, error, stderr);
  std::printf("\nStatus: %s\n", QVNgetstatstring(env, stat, text) ? text : "unknown");
  if (haveObjective && (stat == 1 || stat == 10 || stat == 11 || stat == 13))
    std::printf("Objective: %.15g\n", objective);
  else
    std::printf("Objective: none\n");
  std::printf("Iterations: %d\n", QVNNETgetitcnt(env, net));
  std::printf("Time: %.3f\n", seconds);
  std::fflush(stdout);
  if (!o.solutionFile.empty() && (status = writeFlows(env, net, o.solutionFile)) != 0)
    return finish(fail(env, "writing the flows", status));
  return finish(0);
}

} // namespace

const char *solveUsageText() {
  return "  quorvan solve FILE [options]     optimize a model file and print a summary\n"
         "    --method M                     LP method: auto (default: dual unless a primal\n"
         "                                   feasible start exists), primal, dual, barrier\n"
         "                                   (with crossover), sifting (for LPs with far\n"
         "                                   more columns than rows), or network (the network\n"
         "                                   part by the network simplex, then the dual)\n"
         "    --time-limit S                 stop after S seconds of wall time\n"
         "    --iteration-limit N            stop after N simplex iterations\n"
         "    --param NAME=VALUE             set a parameter by name (QVN_PARAM_PREIND,\n"
         "                                   or PREIND) or number; may be repeated\n"
         "    --params FILE.prm              read a parameter file first\n"
         "    --solution FILE                write status, values, slacks, duals and reduced costs\n"
         "                                   (for a MIP: the incumbent's values and slacks)\n"
         "    --node-limit N                 MIP: stop after N branch and bound nodes\n"
         "    --gap G                        MIP: stop at a relative gap of G (default 1e-4)\n"
         "    --relax                        MIP: solve the LP relaxation only\n"
         "    --mip-start FILE               MIP: a start from a .mst file, text or XML\n"
         "    --write-solution FILE.sol      write the solution as an XML document\n"
         "    --read-basis FILE.bas          LP: start from the basis in the file\n"
         "    --write-basis FILE.bas         LP: write the final basis\n"
         "    --quiet                        no iteration log, only the summary\n"
         "    --ranges                       after an optimal LP, print the ranges of the\n"
         "                                   objective coefficients and right-hand sides\n"
         "  A file FILE.min (or .min.gz, .min.bz2) is a DIMACS minimum-cost flow network:\n"
         "  the network simplex solves it, and --solution writes the arc flows.\n"
         "  A model with integer or semi-continuous columns runs branch and bound and\n"
         "  prints its node log.\n"
         "  The summary lines start with 'Status:', 'Objective:', 'Iterations:' and 'Time:';\n"
         "  a MIP adds 'Best bound:', 'Root relaxation:', 'Root bound:' (after the root\n"
         "  cut rounds), 'Root cuts:' (per family: cuts and bound moved),\n"
         "  'Node cuts:' (per family: cuts the node rounds added), 'Gap:' (relative, a\n"
         "  number) and 'Nodes:'.\n"
         "  The exit code is 0 whenever the optimizer ran, whatever the status.\n";
}

int runSolve(int argc, char **argv) {
  const SolveOptions o = parseSolve(argc, argv);
  if (!o.error.empty()) {
    std::fprintf(stderr, "quorvan solve: %s\n%s", o.error.c_str(), solveUsageText());
    return 2;
  }
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  if (!env) {
    std::fprintf(stderr, "quorvan solve: cannot open an environment (error %d)\n", status);
    return 1;
  }
  int exitCode = 0;
  QVNLPptr lp = nullptr;
  auto finish = [&](int code) {
    QVNfreeprob(env, &lp);
    QVNcloseQUORVAN(&env);
    return code;
  };
  // Errors and warnings go to standard error; the log goes to standard output.
  QVNCHANNELptr results = nullptr, warning = nullptr, error = nullptr;
  QVNgetchannels(env, &results, &warning, &error, nullptr);
  QVNaddfpdest(env, error, stderr);
  QVNaddfpdest(env, warning, stderr);
  if (!o.quiet) QVNaddfpdest(env, results, stdout);
  // --time-limit is a wall-clock deadline; a parameter file or --param may
  // still ask for the process clock.
  if (o.timeLimit >= 0) QVNsetintparam(env, QVN_PARAM_CLOCKTYPE, 2);
  if (!o.paramsFile.empty() && (status = QVNreadcopyparam(env, o.paramsFile.c_str())) != 0)
    return finish(fail(env, "reading the parameter file", status));
  // The type probes of setParam fail by design on the other types: keep
  // their error lines off the screen and report in our own words.
  QVNdelfpdest(env, error, stderr);
  for (const std::string &p : o.params) {
    std::string message;
    if (setParam(env, p, message) != 0) {
      std::fprintf(stderr, "quorvan solve: %s\n", message.c_str());
      return finish(2);
    }
  }
  QVNaddfpdest(env, error, stderr);
  if (o.quiet) QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  if (o.quiet) QVNsetintparam(env, QVN_PARAM_MIPDISPLAY, 0);
  if (o.timeLimit >= 0) QVNsetdblparam(env, QVN_PARAM_TILIM, o.timeLimit);
  if (o.iterationLimit >= 0) QVNsetintparam(env, QVN_PARAM_ITLIM, static_cast<int>(o.iterationLimit));
  if (o.nodeLimit >= 0) QVNsetintparam(env, QVN_PARAM_NODELIM, static_cast<int>(o.nodeLimit));
  if (o.gap >= 0) QVNsetdblparam(env, QVN_PARAM_EPGAP, o.gap);
  if (isNetworkFile(o.file)) return finish(solveNetwork(env, o));
  lp = QVNcreateprob(env, &status, o.file.c_str());
  if (!lp) return finish(fail(env, "creating the problem", status));
  if ((status = QVNreadcopyprob(env, lp, o.file.c_str(), nullptr)) != 0) {
    std::fprintf(stderr, "quorvan solve: cannot read '%s'\n", o.file.c_str());
    return finish(1);
  }
  // The relaxation of a MIP is the same model with every column continuous.
  if (o.relax && QVNgetprobtype(env, lp) == 1 && (status = QVNchgprobtype(env, lp, 0)) != 0)
    return finish(fail(env, "dropping the integer columns", status));
  const bool mip = QVNgetprobtype(env, lp) == 1;
  if (mip && !o.mipStartFile.empty() && QVNreadcopymipstart(env, lp, o.mipStartFile.c_str()) != 0) {
    std::fprintf(stderr, "quorvan solve: cannot read the MIP start '%s'\n", o.mipStartFile.c_str());
    return finish(1);
  }
  if (!mip && !o.readBasisFile.empty() && QVNreadcopybase(env, lp, o.readBasisFile.c_str()) != 0) {
    std::fprintf(stderr, "quorvan solve: cannot read the basis '%s'\n", o.readBasisFile.c_str());
    return finish(1);
  }
  const auto start = std::chrono::steady_clock::now();
  if (mip)
    status = QVNmipopt(env, lp);
  else if (o.method == "primal")
    status = QVNprimopt(env, lp);
  else if (o.method == "dual")
    status = QVNdualopt(env, lp);
  else if (o.method == "sifting")
    status = QVNsiftopt(env, lp);
  else if (o.method == "barrier")
    status = QVNbaropt(env, lp);
  else if (o.method == "network")
    status = QVNhybnetopt(env, lp, 'd');
  else if (QVNgetprobtype(env, lp) == QVN_PROB_QP)
    status = QVNqpopt(env, lp);  // a quadratic objective: the barrier by default
  else
    status = QVNlpopt(env, lp);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (status != 0) return finish(fail(env, "optimization", status));
  char text[1024];
  const int stat = QVNgetstat(env, lp);
  double objective = 0.0;
  QVNdelfpdest(env, error, stderr);
  const bool haveObjective = QVNgetobjval(env, lp, &objective) == 0;
  QVNaddfpdest(env, error, stderr);
  std::printf("\nStatus: %s\n", QVNgetstatstring(env, stat, text) ? text : "unknown");
  if (haveObjective)
    std::printf("Objective: %.15g\n", objective);
  else
    std::printf("Objective: none\n");
  if (mip) {
    double bound = 0.0, gap = 0.0;
    if (QVNgetbestobjval(env, lp, &bound) == 0 && std::fabs(bound) < 1e74)
      std::printf("Best bound: %.15g\n", bound);
    else
      std::printf("Best bound: none\n");
    double relaxation = 0.0, rootBound = 0.0;
    if (qvn::mipRootBounds(lp, &relaxation, &rootBound)) {
      std::printf("Root relaxation: %.15g\n", relaxation);
      std::printf("Root bound: %.15g\n", rootBound);
    } else {
      std::printf("Root relaxation: none\nRoot bound: none\n");
    }
    // Per family: cuts applied and the part of the root bound's move credited to them.
    if (const qvn::CutPool *pool = qvn::mipCutStatistics(lp)) {
      int count = 0;
      const qvn::CutFamily *families = qvn::cutFamilies(&count);
      std::printf("Root cuts:");
      for (int k = 0; k < count; ++k) {
        const int root = pool->applied[k] - pool->nodeApplied[k];
        if (root > 0) std::printf(" %s %d %+.6g;", families[k].name, root, pool->boundMoved[k]);
      }
      if (pool->returned > 0) std::printf(" retired and returned %d;", pool->returned);
      std::printf("\nNode cuts:");
      for (int k = 0; k < count; ++k)
        if (pool->nodeApplied[k] > 0) std::printf(" %s %d;", families[k].name, pool->nodeApplied[k]);
      std::printf("\n");
    }
    // The getters answer "no incumbent" with an error line: keep it off the summary.
    QVNdelfpdest(env, error, stderr);
    if (QVNgetmiprelgap(env, lp, &gap) == 0)
      std::printf("Gap: %.6g\n", gap);
    else
      std::printf("Gap: none\n");
    QVNaddfpdest(env, error, stderr);
    std::printf("Nodes: %d\n", QVNgetnodecnt(env, lp));
    std::printf("Iterations: %d\n", QVNgetmipitcnt(env, lp));
  } else {
    std::printf("Iterations: %d\n", QVNgetitcnt(env, lp));
    if (o.method == "barrier") std::printf("Barrier iterations: %d\n", QVNgetbaritcnt(env, lp));
  }
  std::printf("Time: %.3f\n", seconds);
  if (o.ranges && !mip && stat == QVN_STAT_OPTIMAL && (status = printRanges(env, lp)) != 0)
    exitCode = fail(env, "ranging", status);
  std::fflush(stdout);
  if (!o.solutionFile.empty() && (status = writeSolution(env, lp, o.solutionFile)) != 0)
    exitCode = fail(env, "writing the solution", status);
  if (!mip && !o.writeBasisFile.empty() && QVNmbasewrite(env, lp, o.writeBasisFile.c_str()) != 0) {
    std::fprintf(stderr, "quorvan solve: cannot write the basis '%s'\n", o.writeBasisFile.c_str());
    exitCode = 1;
  }
  if (!o.xmlSolutionFile.empty() && QVNsolwrite(env, lp, o.xmlSolutionFile.c_str()) != 0) {
    std::fprintf(stderr, "quorvan solve: cannot write the solution '%s'\n", o.xmlSolutionFile.c_str());
    exitCode = 1;
  }
  return finish(exitCode);
}

} // namespace qvncli
