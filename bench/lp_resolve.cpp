// Re-solves of a netlib LP held in an LpRelaxation after one bound change,
// against a cold solve of the same LP: time and iterations per re-solve, and
// the factorizations from scratch they needed.
//
//   bench_lp_resolve [DATA_DIR] [MODEL ...]
// Each round tightens the upper bound of a basic column with a nonzero value
// to 90% of it, re-solves, and puts the bound back (a second, unmeasured
// re-solve), so that every measured re-solve starts one change away from an
// optimum.
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "model/problem.h"
#include "quorvan.h"
#include "simplex/lp_relaxation_internal.h"

namespace {

double seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

const int kRounds = getenv("ROUNDS") ? atoi(getenv("ROUNDS")) : 20;

void run(QVNENVptr env, const std::string &dir, const std::string &name) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, name.c_str());
  if (QVNreadcopyprob(env, lp, (dir + "/" + name + ".mps.gz").c_str(), nullptr) != 0) {
    std::printf("%-10s cannot be read\n", name.c_str());
    QVNfreeprob(env, &lp);
    return;
  }
  qvn::flushCache(env, lp);
  qvn::LpRelaxation *r = nullptr;
  qvn::relaxCreate(env, *lp->lpData, &r);
  qvn::RelaxSolveLimits limits;
  auto t0 = std::chrono::steady_clock::now();
  int run = 0;
  qvn::relaxSolve(*r, limits, &run);
  const double coldTime = seconds(t0);
  const int coldIter = qvn::relaxIterations(*r);
  const double optimum = qvn::relaxObjective(*r);
  const int n = qvn::relaxNumCols(*r);
  std::mt19937 rng(1);
  double hotTime = 0.0;
  long hotIter = 0;
  int factorizations = 0, rounds = 0, notOptimal = 0;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<int> colStatus(n), rowStatus(qvn::relaxNumRows(*r));
    qvn::relaxGetBasis(*r, colStatus.data(), rowStatus.data());
    int j = static_cast<int>(rng() % n), tries = 0;
    while ((colStatus[j] != 1 || std::fabs(qvn::relaxPrimal(*r)[j]) < 1e-6) && tries++ < n) j = (j + 1) % n;
    double lo, up;
    qvn::relaxGetBounds(*r, j, &lo, &up);
    const double v = qvn::relaxPrimal(*r)[j];
    double newLo = lo, newUp = up;
    if (v > 0) newUp = std::max(lo, 0.9 * v); else newLo = std::min(up, 0.9 * v);
    qvn::relaxChangeBounds(*r, 1, &j, &newLo, &newUp);
    const int before = r->work.factorizations + r->finish.factorizations;
    t0 = std::chrono::steady_clock::now();
    qvn::relaxSolve(*r, limits, &run);
    hotTime += seconds(t0);
    hotIter += qvn::relaxIterations(*r);
    factorizations += r->work.factorizations + r->finish.factorizations - before;
    notOptimal += run != 1 && run != 3;
    ++rounds;
    qvn::relaxChangeBounds(*r, 1, &j, &lo, &up);
    qvn::relaxSolve(*r, limits, &run);
  }
  std::printf("%-10s %6d %9.4f %14.6g %8.1f %10.6f %6.1f %5d %8.1f\n", name.c_str(), coldIter, coldTime, optimum,
              static_cast<double>(hotIter) / rounds, hotTime / rounds, coldTime / (hotTime / rounds),
              factorizations, 1.0 * notOptimal);
  qvn::relaxFree(r);
  QVNfreeprob(env, &lp);
}

} // namespace

int main(int argc, char **argv) {
  const std::string dir = argc > 1 ? argv[1] : "../shared/data/netlib";
  std::vector<std::string> models;
  for (int k = 2; k < argc; ++k) models.push_back(argv[k]);
  if (models.empty()) models = {"25fv47", "scfxm3", "ship08l", "pilot", "degen3"};
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  QVNsetintparam(env, QVN_PARAM_SIMDISPLAY, 0);
  std::printf("%-10s %6s %9s %14s %8s %10s %6s %5s %8s\n", "model", "iters", "cold_s", "objective", "re_iters",
              "re_s", "speedup", "facts", "nonopt");
  for (const auto &m : models) run(env, dir, m);
  QVNcloseQUORVAN(&env);
  return 0;
}
