#!/usr/bin/env python3
"""Checks a MIP solution against its model, sharing no code with the solver.

    bench/check_mip_solution.py MODEL.mps[.gz] SOLUTION [--objective Z]

MODEL is free MPS (names without blanks), SOLUTION has lines
"column NAME VALUE" as `quorvan solve --solution` writes them. Checks bounds
and rows within 1e-6 (scaled by the row's largest term), integrality within
1e-5 and, with --objective, the objective recomputed from the values against Z
(1e-6 relative). Prints "ok" or the first faults, and exits 0 or 1.
"""
import gzip
import math
import sys


def open_text(path):
    return gzip.open(path, "rt") if path.endswith(".gz") else open(path)


def read_mps(path):
    rows, order = {}, []          # name -> sense; objective row name
    obj_name = None
    cols, kind = {}, {}           # column -> {row: value}; column -> 'C' or 'I'
    rhs, rng, bounds = {}, {}, {}
    section, integer = None, False
    for line in open_text(path):
        if not line.strip() or line.startswith("*"):
            continue
        if not line[0].isspace():
            section = line.split()[0]
            continue
        f = line.split()
        if section == "ROWS":
            if f[0] == "N":
                obj_name = obj_name or f[1]
            else:
                rows[f[1]] = f[0]
                order.append(f[1])
        elif section == "COLUMNS":
            if len(f) >= 3 and f[1] == "'MARKER'":
                integer = f[2] == "'INTORG'"
                continue
            c = cols.setdefault(f[0], {})
            kind.setdefault(f[0], "I" if integer else "C")
            for k in range(1, len(f) - 1, 2):
                c[f[k]] = c.get(f[k], 0.0) + float(f[k + 1])
        elif section == "RHS":
            start = 1 if len(f) % 2 == 1 else 0
            for k in range(start, len(f) - 1, 2):
                rhs[f[k]] = float(f[k + 1])
        elif section == "RANGES":
            start = 1 if len(f) % 2 == 1 else 0
            for k in range(start, len(f) - 1, 2):
                rng[f[k]] = float(f[k + 1])
        elif section == "BOUNDS":
            t, name = f[0], f[2]
            v = float(f[3]) if len(f) > 3 else 0.0
            lo, up = bounds.get(name, (None, None))
            if t in ("UP", "UI"):
                up = v
                if v < 0 and lo is None:
                    lo = -math.inf
            elif t in ("LO", "LI"):
                lo = v
            elif t == "FX":
                lo = up = v
            elif t == "FR":
                lo, up = -math.inf, math.inf
            elif t == "MI":
                lo = -math.inf
            elif t == "PL":
                up = math.inf
            elif t == "BV":
                lo, up = 0.0, 1.0
            if t in ("UI", "LI", "BV"):
                kind[name] = "I"
            bounds[name] = (lo, up)
    return obj_name, rows, order, cols, kind, rhs, rng, bounds


def main():
    args = sys.argv[1:]
    target = None
    if "--objective" in args:
        k = args.index("--objective")
        target = float(args[k + 1])
        del args[k:k + 2]
    model, solution = args
    obj_name, rows, order, cols, kind, rhs, rng, bounds = read_mps(model)
    x = {}
    for line in open(solution):
        f = line.split()
        if len(f) == 3 and f[0] == "column":
            x[f[1]] = float(f[2])
    faults = []
    activity = {r: 0.0 for r in order}
    largest = {r: 0.0 for r in order}
    objective = -rhs.get(obj_name, 0.0)
    for name, entries in cols.items():
        v = x.get(name, 0.0)
        lo, up = bounds.get(name, (None, None))
        if kind[name] == "I" and up is None and (lo is None or lo == 0.0):
            up = 1.0     # an integer column without an upper bound (and lower 0) is binary in MPS
        lo = 0.0 if lo is None else lo
        up = math.inf if up is None else up
        if v < lo - 1e-6 or v > up + 1e-6:
            faults.append(f"column {name} = {v} outside [{lo}, {up}]")
        if kind[name] == "I" and abs(v - round(v)) > 1e-5:
            faults.append(f"column {name} = {v} not integral")
        for r, a in entries.items():
            if r == obj_name:
                objective += a * v
            elif r in activity:
                activity[r] += a * v
                largest[r] = max(largest[r], abs(a * v))
    for r in order:
        a, b, s = activity[r], rhs.get(r, 0.0), rows[r]
        tol = 1e-6 * max(1.0, largest[r], abs(b))
        if r in rng:
            R = rng[r]
            lo, up = {"L": (b - abs(R), b), "G": (b, b + abs(R))}.get(s, (min(b, b + R), max(b, b + R)))
        else:
            lo, up = {"L": (-math.inf, b), "G": (b, math.inf), "E": (b, b)}[s]
        if a < lo - tol or a > up + tol:
            faults.append(f"row {r}: activity {a} outside [{lo}, {up}]")
    if target is not None and abs(objective - target) > 1e-6 * max(1.0, abs(target)):
        faults.append(f"objective {objective} but {target} claimed")
    if faults:
        print("; ".join(faults[:5]) + (f" (and {len(faults) - 5} more)" if len(faults) > 5 else ""))
        return 1
    print("ok")
    return 0


if __name__ == "__main__":
    sys.exit(main())
