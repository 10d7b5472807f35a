// Badly scaled and degenerate versions of the netlib LPs, solved by both
// simplex loops and held against the reference optimum of the original.
//
//   bench_scaled_netlib [--exponent E] [--seed S] [--variants scaled,duplicated]
//                       [--display D] [--presolve 0|1] [--time SECONDS] [--param NUMBER=VALUE ...]
//                       [DATA_DIR] [MODEL ...]
//
// "scaled": each row multiplied by 10^a and each column substituted by
// x = 10^b x' (a, b uniform integers in [-E, E]); the optimum is unchanged.
// "duplicated": every column with bounds [0, inf) gets a twin with the same
// cost and coefficients, which leaves the optimum unchanged and makes the LP
// dual degenerate. Each line gives, per loop, the status and the relative
// distance of the objective from the reference; the summary counts the runs
// within 1e-6, the feasible models called infeasible or unbounded, and the
// runs that claim optimal more than 1e-4 off (wrong answers), and how often
// each robustness path of the simplex fired over the whole collection.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "quorvan.h"
#include "simplex/claim_check.h"

namespace {

struct Lp {
  int n = 0, m = 0, sense = 1;
  std::vector<double> obj, rhs, lo, up, range, value;
  std::vector<char> rowSense;
  std::vector<int> start, count, index;
};

bool load(QVNENVptr env, const std::string &file, Lp &lp) {
  int status = 0;
  QVNLPptr p = QVNcreateprob(env, &status, "m");
  if (!p || QVNreadcopyprob(env, p, file.c_str(), nullptr) != 0) {
    if (p) QVNfreeprob(env, &p);
    return false;
  }
  lp.n = QVNgetnumcols(env, p);
  lp.m = QVNgetnumrows(env, p);
  lp.sense = QVNgetobjsen(env, p);
  const int nz = QVNgetnumnz(env, p);
  lp.obj.resize(lp.n);
  lp.lo.resize(lp.n);
  lp.up.resize(lp.n);
  lp.rhs.resize(lp.m);
  lp.range.assign(lp.m, 0.0);
  lp.rowSense.resize(lp.m);
  lp.start.resize(lp.n + 1);
  lp.index.resize(nz + 1);
  lp.value.resize(nz + 1);
  int got = 0, surplus = 0;
  QVNgetobj(env, p, lp.obj.data(), 0, lp.n - 1);
  QVNgetlb(env, p, lp.lo.data(), 0, lp.n - 1);
  QVNgetub(env, p, lp.up.data(), 0, lp.n - 1);
  if (lp.m > 0) {
    QVNgetrhs(env, p, lp.rhs.data(), 0, lp.m - 1);
    QVNgetsense(env, p, lp.rowSense.data(), 0, lp.m - 1);
    for (int i = 0; i < lp.m; ++i)
      if (lp.rowSense[i] == 'R') QVNgetrngval(env, p, &lp.range[i], i, i);
  }
  QVNgetcols(env, p, &got, lp.start.data(), lp.index.data(), lp.value.data(), nz + 1, &surplus, 0, lp.n - 1);
  lp.start[lp.n] = got;
  lp.count.resize(lp.n);
  for (int j = 0; j < lp.n; ++j) lp.count[j] = lp.start[j + 1] - lp.start[j];
  QVNfreeprob(env, &p);
  return true;
}

bool infinite(double v) { return std::fabs(v) >= QVN_INFBOUND; }

Lp scaled(const Lp &in, int exponent, std::mt19937 &rng) {
  Lp lp = in;
  std::uniform_int_distribution<int> power(-exponent, exponent);
  std::vector<double> row(in.m), col(in.n);
  for (double &r : row) r = std::pow(10.0, power(rng));
  for (double &c : col) c = std::pow(10.0, power(rng));
  for (int i = 0; i < in.m; ++i) {
    lp.rhs[i] *= row[i];
    lp.range[i] *= row[i];
  }
  for (int j = 0; j < in.n; ++j) {
    lp.obj[j] *= col[j];
    if (!infinite(lp.lo[j])) lp.lo[j] /= col[j];
    if (!infinite(lp.up[j])) lp.up[j] /= col[j];
    for (int k = in.start[j]; k < in.start[j + 1]; ++k) lp.value[k] *= row[in.index[k]] * col[j];
  }
  return lp;
}

Lp duplicated(const Lp &in) {
  Lp lp = in;
  for (int j = 0; j < in.n; ++j) {
    if (in.lo[j] != 0.0 || !infinite(in.up[j])) continue;
    lp.obj.push_back(in.obj[j]);
    lp.lo.push_back(0.0);
    lp.up.push_back(QVN_INFBOUND);
    lp.start.back() = static_cast<int>(lp.index.size());
    for (int k = in.start[j]; k < in.start[j + 1]; ++k) {
      lp.index.push_back(in.index[k]);
      lp.value.push_back(in.value[k]);
    }
    lp.start.push_back(static_cast<int>(lp.index.size()));
    lp.count.push_back(in.count[j]);
    ++lp.n;
  }
  return lp;
}

struct Outcome {
  int status = 0;
  double objective = 0.0;
  bool solved = false;
  int error = 0;  // of the optimizer call
  double primalInf = 0.0, dualInf = 0.0;  // of an optimal answer, measured here on the variant
};

// Largest violation of the rows and bounds by x, and of the sign conditions by
// the reduced costs the bench computes itself from the row duals, both on the
// variant as the solver was given it: an answer off the reference objective
// that passes these (the reduced costs relative to their terms) within the
// solver's tolerances is a tolerance artefact of
// the scaling, one that fails them is a wrong answer.
void measure(const Lp &lp, const std::vector<double> &x, const std::vector<double> &pi, Outcome &o) {
  // The reduced cost is measured relative to the terms it is the sum of, so
  // that cancellation in a column of huge entries does not count as a fault.
  std::vector<double> activity(static_cast<size_t>(lp.m), 0.0), dj(lp.obj.begin(), lp.obj.end()), size(dj);
  std::vector<double> rowSize(static_cast<size_t>(lp.m), 1.0);
  for (int j = 0; j < lp.n; ++j) {
    size[j] = 1.0 + std::fabs(lp.obj[j]);
    for (int k = lp.start[j]; k < lp.start[j] + lp.count[j]; ++k) {
      activity[lp.index[k]] += lp.value[k] * x[j];
      rowSize[lp.index[k]] += std::fabs(lp.value[k] * x[j]);
      dj[j] -= lp.value[k] * pi[lp.index[k]];
      size[j] += std::fabs(lp.value[k] * pi[lp.index[k]]);
    }
  }
  for (int i = 0; i < lp.m; ++i) {
    double lo = lp.rhs[i], up = lp.rhs[i];
    if (lp.rowSense[i] == 'L') lo = -1e300;
    if (lp.rowSense[i] == 'G') up = 1e300;
    if (lp.rowSense[i] == 'R') lo = std::min(lp.rhs[i], lp.rhs[i] + lp.range[i]), up = std::max(lp.rhs[i], lp.rhs[i] + lp.range[i]);
    o.primalInf = std::max({o.primalInf, lo - activity[i], activity[i] - up});
    // A row dual may be nonzero only in the direction its active side allows.
    const double y = lp.sense * pi[i];
    // A side counts as active within the rounding its terms allow.
    const double slackTol = 1e-7 * (rowSize[i] + std::fabs(lp.rhs[i]));
    const bool atLo = activity[i] <= lo + slackTol, atUp = activity[i] >= up - slackTol;
    if (y > 0 && !atLo) o.dualInf = std::max(o.dualInf, y);
    if (y < 0 && !atUp) o.dualInf = std::max(o.dualInf, -y);
  }
  for (int j = 0; j < lp.n; ++j) {
    o.primalInf = std::max({o.primalInf, lp.lo[j] - x[j], x[j] - lp.up[j]});
    const double d = lp.sense * dj[j] / size[j];
    const bool atLo = x[j] <= lp.lo[j] + 1e-7 * (1 + std::fabs(lp.lo[j]));
    const bool atUp = x[j] >= lp.up[j] - 1e-7 * (1 + std::fabs(lp.up[j]));
    if (d < 0 && !atUp) o.dualInf = std::max(o.dualInf, -d);
    if (d > 0 && !atLo) o.dualInf = std::max(o.dualInf, d);
  }
}

Outcome solve(QVNENVptr env, const Lp &lp, bool dual) {
  Outcome o;
  int status = 0;
  QVNLPptr p = QVNcreateprob(env, &status, "variant");
  if (QVNcopylp(env, p, lp.n, lp.m, lp.sense, lp.obj.data(), lp.rhs.data(), lp.rowSense.data(), lp.start.data(),
                lp.count.data(), lp.index.data(), lp.value.data(), lp.lo.data(), lp.up.data(),
                lp.range.data()) == 0 &&
      (o.error = dual ? QVNdualopt(env, p) : QVNprimopt(env, p)) == 0) {
    o.solved = true;
    o.status = QVNgetstat(env, p);
    QVNgetobjval(env, p, &o.objective);
    std::vector<double> x(static_cast<size_t>(std::max(lp.n, 1))), pi(static_cast<size_t>(std::max(lp.m, 1)));
    if (o.status == QVN_STAT_OPTIMAL && QVNgetx(env, p, x.data(), 0, lp.n - 1) == 0 &&
        (lp.m == 0 || QVNgetpi(env, p, pi.data(), 0, lp.m - 1) == 0))
      measure(lp, x, pi, o);
  }
  QVNfreeprob(env, &p);
  return o;
}

struct Tally {
  int runs = 0, close = 0, wrongStatus = 0, wrongOptimal = 0, other = 0;
};

const char *shortStatus(const Outcome &o) {
  if (!o.solved) {
    static char text[4][16];
    static int slot = 0;
    slot = (slot + 1) % 4;
    std::snprintf(text[slot], sizeof text[slot], "error%d", o.error);
    return text[slot];
  }
  switch (o.status) {
  case QVN_STAT_OPTIMAL: return "optimal";
  case QVN_STAT_INFEASIBLE: return "infeas";
  case QVN_STAT_UNBOUNDED: return "unbdd";
  case QVN_STAT_INForUNBD: return "inf/unb";
  case QVN_STAT_OPTIMAL_INFEAS: return "opt-unsc";
  default: {
    static char text[4][16];
    static int slot = 0;
    slot = (slot + 1) % 4;
    std::snprintf(text[slot], sizeof text[slot], "stat%d", o.status);
    return text[slot];
  }
  }
}

void count(Tally &t, const Outcome &o, double reference) {
  ++t.runs;
  const double error = std::fabs(o.objective - reference) / std::max(1.0, std::fabs(reference));
  const bool optimal = o.solved && (o.status == QVN_STAT_OPTIMAL || o.status == QVN_STAT_OPTIMAL_INFEAS);
  if (optimal && error <= 1e-6) ++t.close;
  else if (optimal && error > 1e-4) ++t.wrongOptimal;
  else if (o.solved && (o.status == QVN_STAT_INFEASIBLE || o.status == QVN_STAT_UNBOUNDED || o.status == QVN_STAT_INForUNBD))
    ++t.wrongStatus;
  else ++t.other;
}

} // namespace

int main(int argc, char **argv) {
  int exponent = 5;
  unsigned seed = 1;
  int display = 0, presolve = 1;
  double timeLimit = 60.0;
  std::string variants = "scaled,duplicated", dir;
  std::vector<std::string> models;
  std::vector<std::pair<int, int>> intParams;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--exponent") && i + 1 < argc) exponent = std::atoi(argv[++i]);
    else if (!std::strcmp(argv[i], "--seed") && i + 1 < argc) seed = static_cast<unsigned>(std::atoi(argv[++i]));
    else if (!std::strcmp(argv[i], "--variants") && i + 1 < argc) variants = argv[++i];
    else if (!std::strcmp(argv[i], "--display") && i + 1 < argc) display = std::atoi(argv[++i]);
    else if (!std::strcmp(argv[i], "--time") && i + 1 < argc) timeLimit = std::atof(argv[++i]);
    else if (!std::strcmp(argv[i], "--presolve") && i + 1 < argc) presolve = std::atoi(argv[++i]);
    else if (!std::strcmp(argv[i], "--param") && i + 1 < argc) {
      const char *text = argv[++i];
      const char *eq = std::strchr(text, '=');
      if (eq) intParams.emplace_back(std::atoi(text), std::atoi(eq + 1));
    }
    else if (dir.empty()) dir = argv[i];
    else models.push_back(argv[i]);
  }
  if (dir.empty()) dir = "../shared/data/netlib";
  std::map<std::string, double> reference;
  std::ifstream ref(dir + "/reference.tsv");
  std::string line;
  while (std::getline(ref, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream words(line);
    std::string name, status;
    double objective;
    if (words >> name >> status >> objective && status == "optimal") reference[name] = objective;
  }
  if (reference.empty()) {
    std::fprintf(stderr, "no reference.tsv in %s\n", dir.c_str());
    return 1;
  }
  if (models.empty())
    for (const auto &entry : reference) models.push_back(entry.first);
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, display);
  if (display > 0) QVNsetintparam(env, QVN_PARAM_SCRIND, 1);
  QVNsetintparam(env, QVN_PARAM_PREIND, presolve);
  for (const auto &[number, value] : intParams) QVNsetintparam(env, number, value);
  QVNsetdblparam(env, QVN_PARAM_TILIM, timeLimit);
  std::map<std::string, Tally> tallies;
  std::printf("%-10s %-10s %-9s %10s %-9s %10s\n", "model", "variant", "dual", "rel.err", "primal", "rel.err");
  for (const std::string &name : models) {
    Lp base;
    if (!reference.count(name) || !load(env, dir + "/" + name + ".mps.gz", base)) {
      std::printf("%-10s cannot be read\n", name.c_str());
      continue;
    }
    std::mt19937 rng(seed + static_cast<unsigned>(std::hash<std::string>()(name) & 0xffff));
    std::stringstream list(variants);
    std::string variant;
    while (std::getline(list, variant, ',')) {
      const Lp lp = variant == "scaled" ? scaled(base, exponent, rng) : duplicated(base);
      const double r = reference[name];
      const Outcome d = solve(env, lp, true), p = solve(env, lp, false);
      count(tallies[variant + " dual"], d, r);
      count(tallies[variant + " primal"], p, r);
      auto err = [&](const Outcome &o) { return std::fabs(o.objective - r) / std::max(1.0, std::fabs(r)); };
      std::printf("%-10s %-10s %-9s %10.1e %-9s %10.1e", name.c_str(), variant.c_str(), shortStatus(d), err(d),
                  shortStatus(p), err(p));
      // The answer's own infeasibilities, for a claim of optimal that is off.
      for (const Outcome *o : {&d, &p})
        if (o->status == QVN_STAT_OPTIMAL && err(*o) > 1e-4)
          std::printf("  [%s pinf %.1e dinf %.1e]", o == &d ? "dual" : "primal", o->primalInf, o->dualInf);
      std::printf("\n");
      std::fflush(stdout);
    }
  }
  std::printf("\nexponent %d, seed %u\n%-18s %6s %10s %14s %14s %6s\n", exponent, seed, "variant / loop", "runs",
              "within1e-6", "infeas/unbdd", "optimal>1e-4", "other");
  for (const auto &[key, t] : tallies)
    std::printf("%-18s %6d %10d %14d %14d %6d\n", key.c_str(), t.runs, t.close, t.wrongStatus, t.wrongOptimal,
                t.other);
  const qvn::ClaimCounters &c = qvn::claimCounters();
  std::printf("\npaths: claims checked %lld, refused %lld, recovered %lld, unresolved %lld; capped re-entries %lld, "
              "left scaled optimal (status 5) %lld; primal candidates refused %lld; basis repairs %lld\n",
              c.checked, c.refused, c.recovered, c.unresolved, c.cappedReentries, c.unscaledOptimal, c.primalBans,
              c.repairs);
  QVNcloseQUORVAN(&env);
  return 0;
}
