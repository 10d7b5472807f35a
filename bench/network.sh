#!/usr/bin/env bash
# Generates minimum-cost flow networks with bench/netgen.py and solves each, in
# the same run, with our network simplex (`quorvan solve X.min`), with our dual
# simplex on the LP form (`quorvan solve X.lp --method dual`) and with
# `glpsol --mincost`; prints status and objective agreement and wall times.
#
#   bench/network.sh [--sizes "1000 10000 100000 1000000"] [--seed N]
#                    [--no-lp-above ARCS] [--time-limit S]
# Also solves one infeasible and one uncapacitated instance at the smallest size.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
sizes="1000 10000 100000 1000000"; seed=1; lpMax=1000000; limit=600
while [ $# -gt 0 ]; do
  case "$1" in
    --sizes) sizes=$2; shift 2 ;;
    --seed) seed=$2; shift 2 ;;
    --no-lp-above) lpMax=$2; shift 2 ;;
    --time-limit) limit=$2; shift 2 ;;
    -h|--help) sed -n 2,9p "$0"; exit 0 ;;
    *) echo "unknown argument $1"; exit 2 ;;
  esac
done
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
if ! command -v glpsol > /dev/null; then
  echo "installing glpk-utils for the comparison"
  apt-get install -y -qq glpk-utils > /dev/null || echo "glpsol not available: its column stays empty"
fi
scratch=$(mktemp -d); trap 'rm -rf "$scratch"' EXIT

# The LP form of a DIMACS file: one equality row per node (out - in = supply).
toLp() {
  python3 - "$1" "$2" <<'EOF'
import sys
supply, arcs = {}, []
nodes = 0
for line in open(sys.argv[1]):
    f = line.split()
    if not f or f[0] == 'c':
        continue
    if f[0] == 'p':
        nodes = int(f[2])
    elif f[0] == 'n':
        supply[int(f[1])] = supply.get(int(f[1]), 0) + float(f[2])
    elif f[0] == 'a':
        arcs.append((int(f[1]), int(f[2]), f[3], f[4], f[5]))
rows = [[] for _ in range(nodes + 1)]
for k, (u, v, lo, cap, c) in enumerate(arcs, 1):
    if u != v:
        rows[u].append("+ x%d" % k)
        rows[v].append("- x%d" % k)
with open(sys.argv[2], "w") as out:
    out.write("Minimize\n obj:")
    for k, a in enumerate(arcs, 1):
        out.write(" + %s x%d" % (a[4], k) + ("\n" if k % 8 == 0 else ""))
    out.write("\nSubject To\n")
    for i in range(1, nodes + 1):
        terms = rows[i] or ["0 x1"]
        out.write(" n%d: " % i)
        for k in range(0, len(terms), 8):
            out.write(" ".join(terms[k:k + 8]) + "\n  ")
        out.write("= %g\n" % supply.get(i, 0))
    out.write("Bounds\n")
    for k, a in enumerate(arcs, 1):
        out.write(" %s <= x%d <= %s\n" % (a[2], k, a[3]))
    out.write("End\n")
EOF
}

wall() { local t0 t1; t0=$(date +%s.%N); "$@" > "$scratch/out" 2>&1; t1=$(date +%s.%N); echo "$t1 - $t0" | bc; }
field() { sed -n "s/^$1: *//p" "$scratch/out" | head -1; }

printf "%-14s %8s %9s | %-10s %14s %8s | %-10s %14s %8s | %-10s %14s %8s | %7s %7s\n" \
  instance nodes arcs net-status net-objective net-s lp-status lp-objective lp-s glp-status glp-objective glp-s \
  lp/net glp/net
run() {
  local name=$1 file=$2 arcs=$3
  local nodes; nodes=$(sed -n 's/^p min \([0-9]*\) .*/\1/p' "$file")
  local tn sn on tl sl ol tg sg og
  tn=$(wall "$tool" solve "$file" --quiet --time-limit "$limit"); sn=$(field Status); on=$(field Objective)
  if [ "$arcs" -le "$lpMax" ]; then
    toLp "$file" "$scratch/form.lp"
    tl=$(wall "$tool" solve "$scratch/form.lp" --method dual --quiet --time-limit "$limit")
    sl=$(field Status); ol=$(field Objective)
  else
    tl=-; sl=skipped; ol=-
  fi
  if command -v glpsol > /dev/null; then
    tg=$(wall glpsol --mincost "$file" -o "$scratch/glp.txt" --tmlim "$limit")
    sg=$(sed -n 's/^Status: *//p' "$scratch/glp.txt" 2>/dev/null | head -1)
    og=$(sed -n 's/^Objective: *\([-0-9.e+]*\).*/\1/p' "$scratch/glp.txt" 2>/dev/null | head -1)
  else
    tg=-; sg=absent; og=-
  fi
  local rl=- rg=-
  [ "$tl" != - ] && rl=$(echo "scale=1; $tl / $tn" | bc)
  [ "$tg" != - ] && rg=$(echo "scale=1; $tg / $tn" | bc)
  printf "%-14s %8s %9s | %-10s %14s %8.3f | %-10s %14s %8s | %-10s %14s %8s | %7s %7s\n" \
    "$name" "$nodes" "$arcs" "$sn" "$on" "$tn" "$sl" "$ol" "$tl" "${sg%% *}" "$og" "$tg" "$rl" "$rg"
}

first=1
for arcs in $sizes; do
  nodes=$((arcs / 10))
  f="$scratch/net$arcs.min"
  python3 "$root/bench/netgen.py" --nodes $nodes --arcs "$arcs" --seed "$seed" --out "$f"
  run "net$arcs" "$f" "$arcs"
  if [ $first = 1 ]; then
    python3 "$root/bench/netgen.py" --nodes $nodes --arcs "$arcs" --seed "$seed" --infeasible --out "$scratch/inf.min"
    run "infeasible$arcs" "$scratch/inf.min" "$arcs"
    python3 "$root/bench/netgen.py" --nodes $nodes --arcs "$arcs" --seed "$seed" --uncapacitated --out "$scratch/unc.min"
    run "uncap$arcs" "$scratch/unc.min" "$arcs"
    first=0
  fi
  rm -f "$f"
done
