#include "network/net_check.h"

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

bool solveWithGlpsol(const TestNet &t, const std::string &dir, Outcome &out) {
  if (!std::filesystem::exists("/usr/bin/glpsol")) return false;
  const std::string input = dir + "/glp.min", report = dir + "/glp.out";
  std::ofstream(input) << dimacsText(t);
  const std::string command = "/usr/bin/glpsol --mincost " + input + " -o " + report + " >/dev/null 2>&1";
  if (std::system(command.c_str()) != 0 && !std::filesystem::exists(report)) return false;
  std::ifstream in(report);
  std::string line;
  out = Outcome{};
  while (std::getline(in, line)) {
    if (line.rfind("Status:", 0) == 0) {
      if (line.find("OPTIMAL") != std::string::npos) out.status = 1;
      else if (line.find("INFEASIBLE") != std::string::npos || line.find("EMPTY") != std::string::npos) out.status = 3;
      else if (line.find("UNBOUNDED") != std::string::npos) out.status = 2;
    }
    if (line.rfind("Objective:", 0) == 0) {
      const size_t colon = line.find(':');
      out.objective = std::strtod(line.c_str() + colon + 1, nullptr);
    }
  }
  return true;
}

} // namespace qvntest
