#include "network/net_check.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace qvntest {

TestNet randomNet(unsigned seed, int nodes, int arcs, bool uncapacitated) {
  std::mt19937 rng(seed);
  auto draw = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  TestNet t;
  t.nodes = nodes;
  t.supply.assign(static_cast<size_t>(nodes), 0.0);
  // A hidden path 0 -> 1 -> ... carries each supply to a later node.
  for (int i = 0; i + 1 < nodes; ++i) t.arc(i, i + 1, 0, uncapacitated ? 1e20 : 60, draw(20, 60));
  for (int k = 0; k < nodes / 3; ++k) {
    const int u = draw(0, nodes - 2), v = draw(u + 1, nodes - 1);
    const int amount = draw(1, 10);
    t.supply[u] += amount;
    t.supply[v] -= amount;
  }
  while (t.arcs() < arcs) {
    const int u = draw(0, nodes - 1), v = draw(0, nodes - 1);
    const int kind = draw(0, 9);
    double lo = 0, up = draw(1, 30);
    if (uncapacitated || kind == 0) up = 1e20;
    if (kind == 1 && !uncapacitated) lo = draw(1, 3), up = lo + draw(0, 5);
    // Costs stay non-negative on unbounded arcs so that no cycle is unbounded.
    const double c = up >= 1e20 ? draw(0, 40) : draw(-10, 40);
    t.arc(u, v, lo, up, c);
  }
  return t;
}

TestNet netgenNet(unsigned seed, int nodes, int arcs, bool infeasible, bool uncapacitated) {
  std::mt19937 rng(seed);
  auto draw = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  const int sources = std::max(1, nodes / 20), sinks = sources, total = 100 * sources;
  const double wide = 1e20;
  TestNet t;
  t.nodes = nodes;
  t.supply.assign(static_cast<size_t>(nodes), 0.0);
  // Sources 0 .. sources - 1, sinks at the end, transshipment nodes between.
  for (int k = 0; k < total; ++k) t.supply[draw(0, sources - 1)] += 1;
  for (int k = 0; k < total; ++k) t.supply[nodes - 1 - draw(0, sinks - 1)] -= 1;
  std::vector<int> trans;
  for (int i = sources; i < nodes - sinks; ++i) trans.push_back(i);
  std::shuffle(trans.begin(), trans.end(), rng);
  // Chain of source s: s, then every sources-th transshipment node; its end
  // feeds the sinks dealt to it (each sink to one chain, each chain a sink).
  std::vector<int> chainEnd(static_cast<size_t>(sources));
  for (int s = 0; s < sources; ++s) {
    int at = s;
    for (size_t k = static_cast<size_t>(s); k < trans.size(); k += static_cast<size_t>(sources)) {
      t.arc(at, trans[k], 0, wide, draw(1, 100));
      at = trans[k];
    }
    chainEnd[s] = at;
  }
  std::vector<int> fed(static_cast<size_t>(sources), 0);
  for (int k = 0; k < sinks; ++k) {
    const int s = draw(0, sources - 1);
    t.arc(chainEnd[s], nodes - 1 - k, 0, wide, draw(1, 100));
    fed[s] = 1;
  }
  for (int s = 0; s < sources; ++s)
    if (!fed[s]) t.arc(chainEnd[s], nodes - 1 - draw(0, sinks - 1), 0, wide, draw(1, 100));
  // Random arcs: none into a source, none out of a sink, no loops.
  while (t.arcs() < arcs) {
    const int u = draw(0, nodes - sinks - 1), v = draw(sources, nodes - 1);
    if (u == v) continue;
    const double cap = draw(1, 100) <= 80 ? draw(1, 1000) : wide;
    t.arc(u, v, 0, cap, draw(1, 100));
  }
  if (uncapacitated)
    for (double &up : t.upper) up = wide;
  if (infeasible) {
    // Source 0 may send one unit along each of its arcs and must send one more.
    int out = 0;
    for (int j = 0; j < t.arcs(); ++j)
      if (t.from[j] == 0) t.upper[j] = 1, ++out;
    const double extra = out + 1 - t.supply[0];
    if (extra > 0) t.supply[0] += extra, t.supply[nodes - 1] -= extra;
  }
  return t;
}

int loadNet(QVNENVptr env, QVNNETptr net, const TestNet &t) {
  return QVNNETcopynet(env, net, t.objSense, t.nodes, t.supply.data(), nullptr, t.arcs(), t.from.data(),
                       t.to.data(), t.lower.data(), t.upper.data(), t.cost.data(), nullptr);
}

double objectiveOf(const TestNet &t, const std::vector<double> &x) {
  double sum = 0;
  for (int j = 0; j < t.arcs(); ++j) sum += t.cost[j] * x[j];
  return sum;
}

std::string checkOptimal(const TestNet &t, const std::vector<double> &x, const std::vector<double> &pi) {
  std::ostringstream why;
  if (static_cast<int>(x.size()) != t.arcs() || static_cast<int>(pi.size()) != t.nodes) return "sizes";
  std::vector<double> balance(t.supply);
  for (int j = 0; j < t.arcs(); ++j) {
    if (x[j] != std::round(x[j])) return (why << "arc " << j << " flow " << x[j] << " not integral", why.str());
    if (x[j] < t.lower[j] || x[j] > t.upper[j])
      return (why << "arc " << j << " flow " << x[j] << " out of [" << t.lower[j] << ", " << t.upper[j] << "]", why.str());
    balance[t.from[j]] -= x[j];
    balance[t.to[j]] += x[j];
  }
  for (int i = 0; i < t.nodes; ++i)
    if (balance[i] != 0.0) return (why << "node " << i << " unbalanced by " << balance[i], why.str());
  const double tol = 1e-6;
  for (int j = 0; j < t.arcs(); ++j) {
    const double d = t.objSense * (t.cost[j] - pi[t.from[j]] + pi[t.to[j]]);
    const bool atLower = x[j] == t.lower[j], atUpper = x[j] == t.upper[j];
    if ((!atLower && d > tol) || (!atUpper && d < -tol))
      return (why << "arc " << j << " flow " << x[j] << " reduced value " << d, why.str());
  }
  return "";
}

Outcome solveAsLp(QVNENVptr env, const TestNet &t) {
  Outcome out;
  int status = 0;
  QVNLPptr lp = QVNcreateprob(env, &status, "netlp");
  if (!lp) return out;
  const int m = t.arcs();
  std::vector<int> start(m + 1), count(m), index;
  std::vector<double> value;
  for (int j = 0; j < m; ++j) {
    start[j] = static_cast<int>(index.size());
    if (t.from[j] != t.to[j]) {
      index.push_back(t.from[j]), value.push_back(1.0);
      index.push_back(t.to[j]), value.push_back(-1.0);
    }
    count[j] = static_cast<int>(index.size()) - start[j];
  }
  index.push_back(0), value.push_back(0.0);
  std::vector<char> sense(static_cast<size_t>(t.nodes) + 1, 'E');
  std::vector<double> rhs(t.supply);
  rhs.push_back(0.0);
  if (QVNcopylp(env, lp, m, t.nodes, t.objSense, t.cost.data(), rhs.data(), sense.data(), start.data(), count.data(),
                index.data(), value.data(), t.lower.data(), t.upper.data(), nullptr) == 0 &&
      QVNdualopt(env, lp) == 0) {
    out.status = QVNgetstat(env, lp);
    QVNgetobjval(env, lp, &out.objective);
  }
  QVNfreeprob(env, &lp);
  return out;
}

std::string dimacsText(const TestNet &t) {
  std::ostringstream s;
  s << "c test network\np min " << t.nodes << " " << t.arcs() << "\n";
  for (int i = 0; i < t.nodes; ++i)
    if (t.supply[i] != 0) s << "n " << i + 1 << " " << t.supply[i] << "\n";
  for (int j = 0; j < t.arcs(); ++j)
    s << "a " << t.from[j] + 1 << " " << t.to[j] + 1 << " " << t.lower[j] << " "
      << (t.upper[j] >= 1e20 ? 1e9 : t.upper[j]) << " " << t.cost[j] << "\n";
  return s.str();
}

} // namespace qvntest
