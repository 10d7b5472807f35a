// Independent facts about network solutions: a checker of flows and node
// prices that shares no code with the network simplex, and the same network
// solved as an LP by the dual simplex.
#pragma once
#include <string>
#include <vector>

#include "quorvan.h"

namespace qvntest {

struct TestNet {
  int nodes = 0;
  std::vector<double> supply;
  std::vector<int> from, to;
  std::vector<double> lower, upper, cost;
  int objSense = 1;
  int arcs() const { return static_cast<int>(from.size()); }
  void arc(int u, int v, double lo, double up, double c) {
    from.push_back(u), to.push_back(v), lower.push_back(lo), upper.push_back(up), cost.push_back(c);
  }
};

// A random network from `seed`: `nodes` nodes, `arcs` arcs, integer data,
// some infinite upper bounds and some non-zero lower bounds; balanced supplies
// routed along a hidden path skeleton so that most draws are feasible.
TestNet randomNet(unsigned seed, int nodes, int arcs, bool uncapacitated = false);

// A network in the manner of the classic NETGEN generator, as
// bench/netgen.py writes them: `nodes` / 20 sources and as many sinks with
// 100 units per source, chains of transshipment nodes from each source to
// sinks (wide enough for all supply, so the network is feasible), random arcs
// up to `arcs`, costs 1 to 100, capacities 1 to 1000 on 80% of the random
// arcs. `infeasible` narrows the arcs of the first source below its supply;
// `uncapacitated` gives every arc an infinite upper bound.
TestNet netgenNet(unsigned seed, int nodes, int arcs, bool infeasible, bool uncapacitated);

// Loads `t` into `net` (replacing what it holds).
int loadNet(QVNENVptr env, QVNNETptr net, const TestNet &t);

// Empty when x and pi prove optimality of `t`: x integral, flows conserved
// exactly, bounds kept exactly, and every arc's reduced value
// cost - pi[from] + pi[to] (signs flipped for a maximization) of the sign its
// flow allows. Otherwise the first failure.
std::string checkOptimal(const TestNet &t, const std::vector<double> &x, const std::vector<double> &pi);
double objectiveOf(const TestNet &t, const std::vector<double> &x);

struct Outcome {
  int status = 0;      // 1 optimal, 2 unbounded, 3 infeasible, 4 either
  double objective = 0.0;
};
// The LP form (one equality row per node) solved by our dual simplex.
Outcome solveAsLp(QVNENVptr env, const TestNet &t);
// DIMACS text of `t` (its bounds must be finite or 1e20 upper bounds).
std::string dimacsText(const TestNet &t);

} // namespace qvntest
