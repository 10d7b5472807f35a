#!/usr/bin/env python3
"""Writes a DIMACS minimum-cost flow instance in the manner of the classic NETGEN
generator: sources, sinks and transshipment nodes; a skeleton of chains that
carries every source's supply to sinks (so that a feasible flow exists); random
arcs on top; costs and capacities drawn from given ranges; all from a seed.

  bench/netgen.py --nodes 1000 --arcs 10000 --seed 7 > net.min

--infeasible closes a source in behind arcs too narrow for its supply;
--uncapacitated gives every arc a capacity of the total supply, which no flow
can reach (DIMACS files have no infinity)."""
import argparse
import random
import sys


def parse():
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("--nodes", type=int, required=True)
    p.add_argument("--arcs", type=int, required=True)
    p.add_argument("--sources", type=int, default=0, help="default: nodes / 20, at least 1")
    p.add_argument("--sinks", type=int, default=0, help="default: nodes / 20, at least 1")
    p.add_argument("--supply", type=int, default=0, help="total supply; default: 100 per source")
    p.add_argument("--mincost", type=int, default=1)
    p.add_argument("--maxcost", type=int, default=100)
    p.add_argument("--mincap", type=int, default=1)
    p.add_argument("--maxcap", type=int, default=1000)
    p.add_argument("--capacitated", type=int, default=80, help="percent of arcs with a drawn capacity")
    p.add_argument("--highcost", type=int, default=30, help="percent of skeleton arcs at the highest cost")
    p.add_argument("--seed", type=int, default=1)
    p.add_argument("--infeasible", action="store_true")
    p.add_argument("--uncapacitated", action="store_true")
    p.add_argument("--out", default="-")
    return p.parse_args()


def split(total, parts, rng):
    """total as `parts` non-negative integers, each at least 1 when total allows."""
    if parts == 0:
        return []
    base = [1 if total >= parts else 0] * parts
    left = total - sum(base)
    cuts = sorted(rng.randint(0, left) for _ in range(parts - 1))
    shares = [b - a for a, b in zip([0] + cuts, cuts + [left])]
    return [x + y for x, y in zip(base, shares)]


def generate(a):
    rng = random.Random(a.seed)
    n = a.nodes
    sources = a.sources or max(1, n // 20)
    sinks = a.sinks or max(1, n // 20)
    if sources + sinks > n or n < 2:
        sys.exit("netgen: more sources and sinks than nodes")
    total = a.supply or 100 * sources
    source_ids = list(range(1, sources + 1))
    sink_ids = list(range(n - sinks + 1, n + 1))
    trans_ids = list(range(sources + 1, n - sinks + 1))
    supply = {}
    for node, s in zip(source_ids, split(total, sources, rng)):
        supply[node] = s
    for node, d in zip(sink_ids, split(total, sinks, rng)):
        supply[node] = supply.get(node, 0) - d
    big = max(total, 1)
    arcs = []  # (tail, head, low, cap, cost)

    def cost():
        return rng.randint(a.mincost, a.maxcost)

    def capacity():
        if a.uncapacitated or rng.randint(1, 100) > a.capacitated:
            return big
        return rng.randint(a.mincap, a.maxcap)

    # Skeleton: each source heads a chain through its share of the
    # transshipment nodes; the chain's end feeds sinks. Skeleton arcs are wide
    # enough for the whole supply, so the instance is feasible.
    rng.shuffle(trans_ids)
    chains = [[] for _ in source_ids]
    for k, node in enumerate(trans_ids):
        chains[k % sources].append(node)
    feeds = [[] for _ in source_ids]
    for sink in sink_ids:
        feeds[rng.randrange(sources)].append(sink)
    for k, src in enumerate(source_ids):
        if not feeds[k]:
            feeds[k].append(rng.choice(sink_ids))
        path = [src] + chains[k]
        ends = path[-1]
        for u, v in zip(path, path[1:]):
            c = a.maxcost if rng.randint(1, 100) <= a.highcost else cost()
            arcs.append((u, v, 0, big, c))
        for sink in feeds[k]:
            c = a.maxcost if rng.randint(1, 100) <= a.highcost else cost()
            arcs.append((ends, sink, 0, big, c))
    # Random arcs fill up to the requested count: no loops, none into a
    # source, none out of a sink (as in the classic generator's pure networks).
    tails = source_ids + trans_ids
    heads = trans_ids + sink_ids
    while len(arcs) < a.arcs:
        u = rng.choice(tails)
        v = rng.choice(heads)
        if u != v:
            arcs.append((u, v, 0, capacity(), cost()))
    if a.infeasible:
        # Source 1 may send at most one unit along each of its arcs, and gets
        # one unit more supply than that; a sink takes the extra.
        src = source_ids[0]
        out = 0
        for k, (u, v, low, cap, c) in enumerate(arcs):
            if u == src:
                arcs[k] = (u, v, low, 1, c)
                out += 1
        extra = out + 1 - supply.get(src, 0)
        if extra > 0:
            supply[src] = supply.get(src, 0) + extra
            supply[sink_ids[0]] = supply.get(sink_ids[0], 0) - extra
    return n, supply, arcs


def main():
    a = parse()
    n, supply, arcs = generate(a)
    out = sys.stdout if a.out == "-" else open(a.out, "w")
    lines = ["c generated by bench/netgen.py seed %d\n" % a.seed, "p min %d %d\n" % (n, len(arcs))]
    lines += ["n %d %d\n" % (node, s) for node, s in sorted(supply.items()) if s != 0]
    lines += ["a %d %d %d %d %d\n" % arc for arc in arcs]
    out.writelines(lines)
    if out is not sys.stdout:
        out.close()


if __name__ == "__main__":
    main()
