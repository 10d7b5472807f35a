#!/usr/bin/env python3
"""Large sparse LP generator for the scaling benchmark.

Every structure is built around a flow or plan that is known to be feasible
(so each model has a feasible point) and every cost is nonnegative on
nonnegative columns (so each model is bounded below).  The column count is the
size knob; the row count follows from the structure.

  bench/lpgen.py STRUCTURE COLUMNS [--seed N] [-o FILE]
  bench/lpgen.py --list

Structures: mcfgrid, mcfrandom, transport, multicommodity, staircase, setcover.
"""
import argparse
import math
import random
import sys


class Model:
    """Rows first (the MPS ROWS section precedes the columns), columns streamed."""

    def __init__(self, name):
        self.name = name
        self.sense = []   # 'E', 'L', 'G' per row
        self.rhs = []

    def row(self, sense, rhs=0.0):
        self.sense.append(sense)
        self.rhs.append(rhs)
        return len(self.sense) - 1


def num(v):
    if v == int(v) and abs(v) < 1e15:
        return str(int(v))
    return "%.12g" % v


def write_mps(model, columns, out):
    """columns yields (cost, [(row, value), ...], upper or None)."""
    w = out.write
    w("NAME          %s\nROWS\n N  OBJ\n" % model.name)
    for i, s in enumerate(model.sense):
        w(" %s  R%d\n" % (s, i))
    w("COLUMNS\n")
    uppers = []
    for j, (cost, entries, upper) in enumerate(columns):
        name = "C%d" % j
        if cost != 0:
            w("    %-8s  OBJ       %s\n" % (name, num(cost)))
        for r, v in entries:
            w("    %-8s  R%-8d %s\n" % (name, r, num(v)))
        if not entries and cost == 0:
            w("    %-8s  OBJ       0\n" % name)
        if upper is not None:
            uppers.append((j, upper))
    w("RHS\n")
    for i, v in enumerate(model.rhs):
        if v != 0:
            w("    RHS       R%-8d %s\n" % (i, num(v)))
    w("BOUNDS\n")
    for j, u in uppers:
        w(" UP BND       C%-8d %s\n" % (j, num(u)))
    w("ENDATA\n")


def flow_columns(arcs):
    """arcs: (tail, head, cost, cap); row of a node = its index."""
    for t, h, c, cap in arcs:
        yield c, [(t, 1.0), (h, -1.0)], cap


def balanced_supplies(rng, nodes, pairs, amount):
    """Supplies summing to zero: `pairs` source/sink pairs of random size."""
    supply = [0] * nodes
    for _ in range(pairs):
        s, t = rng.randrange(nodes), rng.randrange(nodes)
        a = rng.randint(1, amount)
        supply[s] += a
        supply[t] -= a
    return supply


def mcfgrid(rng, ncols):
    # Grid arcs both ways (uncapacitated, so any balanced supply is feasible)
    # plus cheap capacitated long-range arcs that make the basis trees deep.
    nodes = max(4, ncols // 6)
    w = max(2, int(math.sqrt(nodes)))
    h = max(2, nodes // w)
    nodes = w * h
    arcs = []
    for y in range(h):
        for x in range(w):
            v = y * w + x
            if x + 1 < w:
                arcs.append((v, v + 1, rng.randint(5, 20), None))
                arcs.append((v + 1, v, rng.randint(5, 20), None))
            if y + 1 < h:
                arcs.append((v, v + w, rng.randint(5, 20), None))
                arcs.append((v + w, v, rng.randint(5, 20), None))
    while len(arcs) < ncols:
        a, b = rng.randrange(nodes), rng.randrange(nodes)
        if a != b:
            dist = abs(a % w - b % w) + abs(a // w - b // w)
            arcs.append((a, b, rng.randint(1, 4 * dist + 1), rng.randint(5, 50)))
    m = Model("MCFGRID")
    for s in balanced_supplies(rng, nodes, max(1, nodes // 8), 100):
        m.row("E", s)
    return m, flow_columns(arcs)


def mcfrandom(rng, ncols):
    # A bidirectional ring keeps the graph strongly connected and uncapacitated;
    # the remaining random arcs are cheaper but capacitated.
    nodes = max(4, ncols // 5)
    arcs = []
    for v in range(nodes):
        u = (v + 1) % nodes
        arcs.append((v, u, rng.randint(50, 100), None))
        arcs.append((u, v, rng.randint(50, 100), None))
    while len(arcs) < ncols:
        a, b = rng.randrange(nodes), rng.randrange(nodes)
        if a != b:
            arcs.append((a, b, rng.randint(1, 40), rng.randint(1, 30)))
    m = Model("MCFRAND")
    for s in balanced_supplies(rng, nodes, max(1, nodes // 4), 50):
        m.row("E", s)
    return m, flow_columns(arcs)


def transport(rng, ncols):
    # Each sink is linked to k sources; a planted assignment of every sink to
    # its first source sets the supplies so that the model is feasible.
    k = 10
    sinks = max(1, ncols // k)
    sources = max(2, sinks // 5)
    demand = [rng.randint(1, 100) for _ in range(sinks)]
    load = [0] * sources
    links = []
    for j in range(sinks):
        srcs = rng.sample(range(sources), min(k, sources))
        load[srcs[0]] += demand[j]
        links.append(srcs)
    m = Model("TRANSP")
    for i in range(sources):
        m.row("L", load[i] + rng.randint(0, 60))
    for j in range(sinks):
        m.row("G", demand[j])

    def cols():
        for j, srcs in enumerate(links):
            for i in srcs:
                yield rng.randint(1, 100), [(i, 1.0), (sources + j, 1.0)], None
    return m, cols()


def multicommodity(rng, ncols):
    # Commodities share arc capacities through coupling rows.  Each commodity
    # is planted along a clockwise ring path whose arcs get room for all of
    # them; the cheap chord arcs have tight capacities, so the coupling binds.
    kk = max(2, int(round(math.sqrt(ncols) / 20)))
    narcs = max(8, ncols // kk)
    nodes = max(4, narcs // 4)
    arcs = []
    for v in range(nodes):
        arcs.append((v, (v + 1) % nodes, rng.randint(60, 100)))
    while len(arcs) < narcs:
        a, b = rng.randrange(nodes), rng.randrange(nodes)
        if a != b:
            arcs.append((a, b, rng.randint(1, 30)))
    comm = [(rng.randrange(nodes), rng.randrange(nodes), rng.randint(10, 100)) for _ in range(kk)]
    ring_load = [0] * nodes
    for s, t, d in comm:
        steps = (t - s) % nodes
        if steps == 0:
            continue
        # difference array over the ring arcs v, v+1, ..., t-1
        end = s + steps
        for lo, hi in ((s, min(end, nodes)), (0, max(0, end - nodes))):
            if lo < hi:
                ring_load[lo] += d
                if hi < nodes:
                    ring_load[hi] -= d
    run = 0
    for v in range(nodes):
        run += ring_load[v]
        ring_load[v] = run
    total = sum(d for _, _, d in comm)
    m = Model("MULTICOM")
    for s, t, d in comm:
        base = len(m.sense)
        for v in range(nodes):
            m.row("E", 0)
        if s != t:
            m.rhs[base + s] += d
            m.rhs[base + t] -= d
    cap_base = len(m.sense)
    for a, (t, h, c) in enumerate(arcs):
        if a < nodes:
            m.row("L", ring_load[a] + rng.randint(1, 20))
        else:
            m.row("L", rng.randint(1, max(2, total // (2 * kk))))

    def cols():
        for k in range(kk):
            base = k * nodes
            for a, (t, h, c) in enumerate(arcs):
                yield c + k % 3, [(base + t, 1.0), (base + h, -1.0), (cap_base + a, 1.0)], None
    return m, cols()


def staircase(rng, ncols):
    # Multi-period production planning: inventory links each period to the
    # next (the staircase); outsourcing at a high cost keeps every period feasible.
    periods = max(2, min(60, ncols // 300))
    products = max(1, ncols // (3 * periods))
    resources = max(1, products // 8)
    use = [rng.sample(range(resources), min(3, resources)) for _ in range(products)]
    coef = [[rng.randint(1, 9) for _ in u] for u in use]
    m = Model("STAIR")
    for t in range(periods):
        for p in range(products):
            m.row("E", rng.randint(0, 40))
        for r in range(resources):
            m.row("L", rng.randint(100, 400))
    block = products + resources

    def cols():
        for t in range(periods):
            b = t * block
            for p in range(products):
                ent = [(b + p, 1.0)] + [(b + products + r, float(a)) for r, a in zip(use[p], coef[p])]
                yield rng.randint(5, 20), ent, None                      # make
                yield rng.randint(100, 200), [(b + p, 1.0)], None      # outsource
                hold = [(b + p, -1.0)]
                if t + 1 < periods:
                    hold.append((b + block + p, 1.0))
                yield rng.randint(1, 3), hold, None                      # carry stock
    return m, cols()


def setcover(rng, ncols):
    # Covering rows with a planted cover: column j % rows covers row j first,
    # so every row has at least one column.
    rows = max(2, ncols // 40)
    m = Model("SETCOV")
    for _ in range(rows):
        m.row("G", 1)

    def cols():
        for j in range(ncols):
            k = rng.randint(2, 12)
            rs = set(rng.sample(range(rows), min(k, rows)))
            if j < rows:
                rs.add(j)
            yield rng.randint(1, 100), [(r, 1.0) for r in sorted(rs)], 1
    return m, cols()


STRUCTURES = {
    "mcfgrid": mcfgrid,
    "mcfrandom": mcfrandom,
    "transport": transport,
    "multicommodity": multicommodity,
    "staircase": staircase,
    "setcover": setcover,
}


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("structure", nargs="?")
    ap.add_argument("columns", nargs="?", type=int)
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("-o", "--output")
    ap.add_argument("--list", action="store_true")
    a = ap.parse_args()
    if a.list:
        print("\n".join(STRUCTURES))
        return 0
    if a.structure not in STRUCTURES or not a.columns or a.columns < 1:
        ap.error("need a STRUCTURE (%s) and a positive COLUMNS" % ", ".join(STRUCTURES))
    rng = random.Random("%s:%d:%d" % (a.structure, a.columns, a.seed))
    model, cols = STRUCTURES[a.structure](rng, a.columns)
    out = open(a.output, "w", buffering=1 << 20) if a.output else sys.stdout
    try:
        write_mps(model, cols, out)
    finally:
        if a.output:
            out.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
