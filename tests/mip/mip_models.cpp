#include "mip/mip_models.h"

namespace qvntest {

MipModel knapsack(uint64_t seed, int n) {
  TestRandom r(seed);
  MipModel m;
  m.lp.objSense = QVN_MAX;
  const int weight = m.lp.addRow('L', 0), volume = m.lp.addRow('L', 0);
  double w = 0, v = 0;
  for (int j = 0; j < n; ++j) {
    const int a = r.range(5, 40), b = r.range(3, 30);
    m.lp.addCol(r.range(4, 50), 0, 1, {{weight, a}, {volume, b}});
    w += a;
    v += b;
  }
  m.lp.rhs[weight] = static_cast<int>(w / 2.3);
  m.lp.rhs[volume] = static_cast<int>(v / 1.9);
  m.ctype.assign(static_cast<size_t>(n), 'B');
  return m;
}

MipModel setCover(uint64_t seed, int n, int elements) {
  TestRandom r(seed);
  MipModel m;
  for (int i = 0; i < elements; ++i) m.lp.addRow('G', 1);
  for (int j = 0; j < n; ++j) {
    std::vector<std::pair<int, double>> entries;
    for (int i = 0; i < elements; ++i)
      if (r.range(0, 2) == 0) entries.push_back({i, 1.0});
    m.lp.addCol(r.range(1, 9), 0, 1, entries);
  }
  // One expensive column covers everything, so a cover exists.
  std::vector<std::pair<int, double>> all;
  for (int i = 0; i < elements; ++i) all.push_back({i, 1.0});
  m.lp.addCol(40, 0, 1, all);
  m.ctype.assign(static_cast<size_t>(n + 1), 'B');
  return m;
}

MipModel randomIntegerModel(uint64_t seed, int n, int rows) {
  TestRandom r(seed);
  MipModel m;
  m.lp.objSense = r.range(0, 1) ? QVN_MIN : QVN_MAX;
  static const char kSenses[] = {'L', 'G', 'L', 'G', 'E', 'R'};
  for (int i = 0; i < rows; ++i) {
    const char s = kSenses[r.range(0, i == 0 ? 3 : 5)];
    m.lp.addRow(s, r.range(-6, 8), s == 'R' ? r.range(1, 6) : 0.0);
  }
  for (int j = 0; j < n; ++j) {
    std::vector<std::pair<int, double>> entries;
    for (int i = 0; i < rows; ++i) {
      const int a = r.range(-5, 5);
      if (a != 0) entries.push_back({i, a});
    }
    m.lp.addCol(r.range(-9, 9), r.range(-3, 0), r.range(1, 4), entries);
  }
  m.ctype.assign(static_cast<size_t>(n), 'I');
  // Some columns binary, one continuous copy of an integer would break the
  // enumeration, so all stay integer.
  for (int j = 0; j < n; j += 3) {
    m.ctype[j] = 'B';
    m.lp.lower[j] = 0;
    m.lp.upper[j] = 1;
  }
  return m;
}

} // namespace qvntest
