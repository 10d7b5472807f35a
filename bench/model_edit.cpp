// Costs of model editing at scale:
//  1. deleting half the rows of a 100,000-column, 1,000,000-nonzero problem by
//     one QVNdelsetrows call, against copying the matrix arrays once;
//  2. N single QVNchgcoef calls (new entries and changes of stored ones) for
//     growing N: the time per call must stay flat.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "quorvan.h"

namespace {

double seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

constexpr int kCols = 100000, kRows = 50000, kPerCol = 10;
double copyLpTime = 0.0;

QVNLPptr buildProblem(QVNENVptr env, std::vector<int> &index, std::vector<double> &value) {
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "bench");
  std::vector<double> obj(kCols, 1.0), lb(kCols, 0.0), ub(kCols, 10.0), rhs(kRows, 1.0);
  std::vector<char> sense(kRows, 'L');
  std::vector<int> start(kCols), count(kCols, kPerCol);
  index.resize(static_cast<size_t>(kCols) * kPerCol);
  value.resize(index.size());
  std::mt19937 rng(7);
  for (int j = 0; j < kCols; ++j) {
    start[j] = j * kPerCol;
    // Distinct rows per column: a random base and a fixed stride.
    const int base = static_cast<int>(rng() % kRows);
    for (int k = 0; k < kPerCol; ++k) {
      index[start[j] + k] = (base + k * 4999) % kRows;
      value[start[j] + k] = 1.0 + k;
    }
  }
  const auto t0 = std::chrono::steady_clock::now();
  if (QVNcopylp(env, lp, kCols, kRows, QVN_MIN, obj.data(), rhs.data(), sense.data(), start.data(), count.data(),
                index.data(), value.data(), lb.data(), ub.data(), nullptr) != 0)
    std::fprintf(stderr, "copy failed\n");
  copyLpTime = seconds(t0);
  return lp;
}

} // namespace

int main() {
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  std::vector<int> index;
  std::vector<double> value;
  QVNLPptr lp = buildProblem(env, index, value);
  std::printf("problem: %d rows, %d columns, %d nonzeros\n", QVNgetnumrows(env, lp), QVNgetnumcols(env, lp),
              QVNgetnumnz(env, lp));

  // One copy of the matrix arrays into memory already touched, the yardstick.
  std::vector<int> indexCopy(index.size(), 0);
  std::vector<double> valueCopy(value.size(), 0.0);
  auto t0 = std::chrono::steady_clock::now();
  std::memcpy(indexCopy.data(), index.data(), index.size() * sizeof(int));
  std::memcpy(valueCopy.data(), value.data(), value.size() * sizeof(double));
  const double copyTime = seconds(t0);
  // The same copy entry by entry, the way a model copy drops explicit zeros.
  t0 = std::chrono::steady_clock::now();
  size_t kept = 0;
  for (size_t k = 0; k < index.size(); ++k) {
    indexCopy[kept] = index[k];
    valueCopy[kept] = value[k];
    kept += value[k] != 0.0;
  }
  const double loopTime = seconds(t0);

  std::vector<int> flags(kRows);
  for (int i = 0; i < kRows; ++i) flags[i] = i % 2;
  t0 = std::chrono::steady_clock::now();
  status = QVNdelsetrows(env, lp, flags.data());
  const double deleteTime = seconds(t0);
  std::printf("delete half the rows: %.4f s (status %d, %d rows and %d nonzeros left)\n", deleteTime, status,
              QVNgetnumrows(env, lp), QVNgetnumnz(env, lp));
  std::printf("copy of the matrix arrays: memcpy %.4f s, entry by entry %.4f s (%zu kept)\n", copyTime, loopTime,
              kept);
  std::printf("QVNcopylp of the problem: %.4f s; delete / QVNcopylp = %.2f\n", copyLpTime, deleteTime / copyLpTime);
  QVNfreeprob(env, &lp);

  // Single coefficient changes, half new entries, half changes of stored ones.
  for (int calls : {25000, 50000, 100000}) {
    lp = buildProblem(env, index, value);
    std::mt19937 rng(11);
    t0 = std::chrono::steady_clock::now();
    for (int c = 0; c < calls; ++c) {
      const int j = static_cast<int>(rng() % kCols);
      const int row = c % 2 ? index[static_cast<size_t>(j) * kPerCol] : static_cast<int>(rng() % kRows);
      QVNchgcoef(env, lp, row, j, 0.5 + c % 7);
    }
    const int nz = QVNgetnumnz(env, lp);  // completes the pending entries
    const double t = seconds(t0);
    std::printf("%6d QVNchgcoef calls: %.4f s, %.3f us per call (%d nonzeros)\n", calls, t, 1e6 * t / calls, nz);
    QVNfreeprob(env, &lp);
  }
  QVNcloseQUORVAN(&env);
  return 0;
}
