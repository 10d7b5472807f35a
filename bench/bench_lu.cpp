// Timings of the basis factorization on very sparse 100,000-row bases: a
// solve with a unit right-hand side must cost microseconds, not O(m).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

#include "quorvan.h"
#include "simplex/basis_factor.h"
#include "simplex/lu/lu_factor.h"

namespace {

struct Shape {
  int m = 0;
  std::vector<std::vector<int>> index;
  std::vector<std::vector<double>> value;
  std::vector<int> head, rows;
  std::vector<double> ones;
};

qvn::LuColumn columnOf(const void *context, int variable) {
  const Shape &s = *static_cast<const Shape *>(context);
  if (variable >= s.m) return qvn::LuColumn{1, &s.rows[variable - s.m], &s.ones[variable - s.m]};
  return qvn::LuColumn{static_cast<int>(s.index[variable].size()), s.index[variable].data(), s.value[variable].data()};
}
int logicalOf(const void *context, int row) { return static_cast<const Shape *>(context)->m + row; }

// Lower bidiagonal: column k holds 2 on row k and -1 on row k+1.
Shape bidiagonal(int m) {
  Shape s;
  s.m = m;
  for (int k = 0; k < m; ++k) {
    if (k + 1 < m) {
      s.index.push_back({k, k + 1});
      s.value.push_back({2.0, -1.0});
    } else {
      s.index.push_back({k});
      s.value.push_back({2.0});
    }
  }
  return s;
}

// Blocks of 5 rows, each block's columns also touching the first rows of the next block.
Shape staircase(int m) {
  Shape s;
  s.m = m;
  for (int k = 0; k < m; ++k) {
    const int block = k / 5 * 5;
    std::vector<int> idx;
    std::vector<double> val;
    for (int i = block; i < block + 5 && i < m; ++i) {
      idx.push_back(i);
      val.push_back(i == k ? 6.0 : 1.0);
    }
    if (block + 5 + k % 2 < m) {
      idx.push_back(block + 5 + k % 2);
      val.push_back(-0.5);
    }
    s.index.push_back(idx);
    s.value.push_back(val);
  }
  return s;
}

// Random sparse columns on a permuted diagonal: a nucleus that needs Markowitz.
Shape randomSparse(int m, int perCol) {
  Shape s;
  s.m = m;
  std::mt19937 rng(3);
  std::vector<int> perm(m);
  for (int i = 0; i < m; ++i) perm[i] = i;
  std::shuffle(perm.begin(), perm.end(), rng);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::uniform_int_distribution<int> row(0, m - 1);
  for (int k = 0; k < m; ++k) {
    std::vector<int> idx{perm[k]};
    std::vector<double> val{2.0 + u(rng)};
    for (int e = 1; e < perCol; ++e) {
      const int i = row(rng);
      if (std::find(idx.begin(), idx.end(), i) != idx.end()) continue;
      idx.push_back(i);
      val.push_back(u(rng));
    }
    s.index.push_back(idx);
    s.value.push_back(val);
  }
  return s;
}

// An LP-like basis: most positions hold slacks, the rest sparse structurals.
Shape slackMix(int m, double slackShare, int perCol) {
  Shape s = randomSparse(m, perCol);
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> pick(0.0, 1.0);
  for (int k = 0; k < m; ++k)
    if (pick(rng) < slackShare) {
      s.index[k] = {s.index[k][0]};
      s.value[k] = {1.0};
    }
  return s;
}

double seconds(std::chrono::steady_clock::time_point from) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - from).count();
}

void run(QVNENVptr env, const char *name, Shape s, int kind) {
  const int m = s.m;
  s.rows.resize(m);
  s.ones.assign(m, 1.0);
  s.head.resize(m);
  for (int i = 0; i < m; ++i) s.rows[i] = s.head[i] = i;
  int status = 0;
  qvn::LuFactor *f = qvn::luCreate(qvn::factorOptions(env), m, &status);
  if (!f) return;
  qvn::luSetKind(*f, kind);
  qvn::LuBasis basis;
  basis.m = m;
  basis.head = s.head.data();
  basis.context = &s;
  basis.column = columnOf;
  basis.logicalOf = logicalOf;
  double u = 0.01;
  auto start = std::chrono::steady_clock::now();
  status = qvn::factorBasis(*f, basis, &u, 1e-13, true, 0);
  double factorTime = seconds(start);
  // Again, with the files in place: the cost of a refactorization in a run.
  start = std::chrono::steady_clock::now();
  status = qvn::factorBasis(*f, basis, &u, 1e-13, true, 0);
  const double refactorTime = seconds(start);

  qvn::LuVector v;
  qvn::luVectorInit(v, m);
  std::mt19937 rng(1);
  std::uniform_int_distribution<int> pick(0, m - 1);
  // At most 20000 solves, and at most about a second of them.
  int solves = 20000;
  long ftranNz = 0, btranNz = 0;
  // Average time of FTRAN on random unit vectors; the result counts add to nz.
  auto unitFtrans = [&](long &nz) {
    const auto from = std::chrono::steady_clock::now();
    for (int t = 0; t < solves; ++t) {
      if (t == 100 && seconds(from) > 0.005) solves = std::max(100, int(100 / (seconds(from) * 1.0)));
      qvn::luVectorClear(v);
      const int i = pick(rng);
      v.array[i] = 1.0;
      v.index[v.count++] = i;
      f->ops->ftranSparse(*f, v);
      nz += v.count;
    }
    return seconds(from) / solves;
  };
  const double ftranTime = unitFtrans(ftranNz);
  start = std::chrono::steady_clock::now();
  for (int t = 0; t < solves; ++t) {
    f->ops->btranUnit(*f, pick(rng), v);
    btranNz += v.count;
  }
  const double btranTime = seconds(start) / solves;
  luVectorClear(v);

  std::vector<double> dense(m, 1.0);
  start = std::chrono::steady_clock::now();
  f->ops->ftran(*f, dense.data());
  const double denseTime = seconds(start);

  // Updates: unit columns replace random positions, then unit FTRANs again.
  const int updates = 50;
  start = std::chrono::steady_clock::now();
  int done = 0;
  for (int t = 0; t < updates; ++t) {
    const int i = pick(rng);
    qvn::luVectorClear(v);
    v.array[i] = 1.0;
    v.index[v.count++] = i;
    f->ops->ftranForUpdate(*f, v);
    int p = -1;
    double best = 0.0;
    for (int q = 0; q < v.count; ++q)
      if (std::abs(v.array[v.index[q]]) > best) best = std::abs(v.array[v.index[q]]), p = v.index[q];
    if (p < 0 || f->ops->update(*f, p, v.array[p]) != 0) break;
    s.head[p] = m + i;
    ++done;
  }
  const double updateTime = seconds(start) / (done ? done : 1);
  long afterNz = 0;
  const double afterTime = unitFtrans(afterNz);

  std::printf("%-11s kind %d m %d: factor %s in %.3f ms, again %.3f ms (L %d etas %lld nz, U %lld nz); FTRAN e_i %.2f us (%.1f nz); BTRAN e_p %.2f us (%.1f nz); "
              "dense FTRAN %.3f ms\n",
              name, kind, m, status == 0 ? "ok" : "FAILED", factorTime * 1e3, refactorTime * 1e3, f->lCount, (long long)f->lIndex.size(),
              (long long)(f->factorNz - (long long)f->lIndex.size() - m), ftranTime * 1e6,
              double(ftranNz) / solves, btranTime * 1e6, double(btranNz) / solves, denseTime * 1e3);
  std::printf("%-11s         after %d updates (%.2f us each): FTRAN e_i %.2f us (%.1f nz)\n", name, done,
              updateTime * 1e6, afterTime * 1e6, double(afterNz) / solves);
  qvn::luFree(f);
}

} // namespace

int main() {
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  if (!env) return 1;
  const int m = 100000;
  for (int kind = 0; kind < 2; ++kind) {
    run(env, "bidiagonal", bidiagonal(m), kind);
    run(env, "staircase", staircase(m), kind);
  }
  run(env, "slacks 70%", slackMix(100000, 0.7, 4), 0);
  run(env, "slacks 40%", slackMix(20000, 0.4, 4), 0);
  QVNcloseQUORVAN(&env);
  return 0;
}
