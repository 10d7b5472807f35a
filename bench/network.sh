#!/usr/bin/env bash
# Generates minimum-cost flow networks with bench/netgen.py and solves each, in
# the same run, with our network simplex (`quorvan solve X.min`), with our dual
# simplex on the LP form (`quorvan solve X.lp --method dual`) and with
# `glpsol --mincost`; prints status and objective agreement and CPU times
# (user + system, reading the file included: wall times mean little on a
# shared machine).
#
#   bench/network.sh [--sizes "1000 10000 100000 1000000"] [--seed N]
#                    [--no-lp-above ARCS] [--no-glpsol-above ARCS]
#                    [--time-limit S] [--lp-time-limit S]
# --lp-time-limit gives the dual simplex on the LP form and glpsol a limit of
# their own (default: --time-limit), so that the largest size can let them run
# long while the network simplex keeps a short one.
# Also solves one infeasible and one uncapacitated instance at the smallest size.
# A run that meets its time limit shows its status as "limit" and its CPU
# seconds with a ">" in front: a lower bound, as are the ratios built on it.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
sizes="1000 10000 100000 1000000"; seed=1; lpMax=1000000; glpMax=1000000; limit=600; lpLimit=
while [ $# -gt 0 ]; do
  case "$1" in
    --sizes) sizes=$2; shift 2 ;;
    --seed) seed=$2; shift 2 ;;
    --no-lp-above) lpMax=$2; shift 2 ;;
    --no-glpsol-above) glpMax=$2; shift 2 ;;
    --time-limit) limit=$2; shift 2 ;;
    --lp-time-limit) lpLimit=$2; shift 2 ;;
    -h|--help) sed -n 2,16p "$0"; exit 0 ;;
    *) echo "unknown argument $1"; exit 2 ;;
  esac
done
lpLimit=${lpLimit:-$limit}
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
command -v glpsol > /dev/null || echo "glpsol not installed (Debian: glpk-utils): its column stays empty"
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

# Runs a command under a time limit (seconds, the first argument); prints its
# CPU seconds, with a ">" in front when the limit ended it: a lower bound.
# Its output goes to $scratch/out.
cpu() {
  local lim=$1; shift
  /usr/bin/time -f "%U %S" -o "$scratch/time" timeout --kill-after=10 "$((lim + 30))" "$@" > "$scratch/out" 2>&1
  local rc=$?
  local t; t=$(tail -1 "$scratch/time" | awk '{printf "%.2f", $1 + $2}')
  if [ $rc -eq 124 ] || [ $rc -eq 137 ]; then echo ">$t"; else echo "$t"; fi
}
field() { sed -n "s/^$1: *//p" "$scratch/out" | head -1; }
# a / b; a lower bound over an exact b gives a lower bound.
ratio() {
  case "$1$2" in *-*|*">"*">"*) echo "-"; return ;; esac
  case "$2" in ">"*) echo "-"; return ;; esac
  local a=${1#>}
  local r; r=$(echo "scale=1; $a / ($2 + 0.005)" | bc)
  [ "$a" = "$1" ] && echo "$r" || echo ">$r"
}
# Do two outcomes agree? Optimal ones by objective (to 1e-9 relative:
# integers in, integers out), others by status.
agree() {
  python3 -c "import sys
sa, oa, sb, ob = [x.lower() for x in sys.argv[1:5]]
if 'skipped' in (sa, sb) or 'limit' in sa + sb or '' in (sa, sb): print('-')
elif sa.startswith('optimal') and sb.startswith('optimal'):
    print('yes' if abs(float(oa) - float(ob)) <= 1e-9 * max(1.0, abs(float(oa))) else 'NO')
else: print('yes' if sa.split()[0] == sb.split()[0] else 'NO')" "$1" "$2" "$3" "$4"
}

printf "%-14s %7s %8s | %-10s %12s %8s %9s | %-10s %12s %8s | %-10s %12s %8s | %6s %6s | %5s %5s\n" \
  instance nodes arcs net-status net-objective net-cpu net-pivots lp-status lp-objective lp-cpu glp-status glp-objective \
  glp-cpu lp/net glp/net lp=? glp=?
run() {
  local name=$1 file=$2 arcs=$3
  local nodes; nodes=$(sed -n 's/^p min \([0-9]*\) .*/\1/p' "$file")
  local tn sn on pn tl sl ol tg sg og
  tn=$(cpu "$limit" "$tool" solve "$file" --quiet --time-limit "$limit")
  sn=$(field Status); on=$(field Objective); pn=$(field Iterations)
  case "$tn" in ">"*) sn=limit ;; esac
  case "$sn" in *limit*) tn=">${tn#>}"; sn=limit ;; esac
  if [ "$arcs" -le "$lpMax" ]; then
    toLp "$file" "$scratch/form.lp"
    tl=$(cpu "$lpLimit" "$tool" solve "$scratch/form.lp" --method dual --quiet --time-limit "$lpLimit")
    sl=$(field Status); ol=$(field Objective)
    case "$tl" in ">"*) sl=limit ;; esac
    case "$sl" in *limit*) tl=">${tl#>}"; sl=limit ;; esac
  else
    tl=-; sl=skipped; ol=-
  fi
  if command -v glpsol > /dev/null && [ "$arcs" -le "$glpMax" ]; then
    rm -f "$scratch/glp.txt"
    tg=$(cpu "$lpLimit" glpsol --mincost "$file" -o "$scratch/glp.txt" --tmlim "$lpLimit")
    sg=$(sed -n 's/^Status: *//p' "$scratch/glp.txt" 2>/dev/null | head -1)
    og=$(sed -n 's/^Objective: *\([-0-9.e+]*\).*/\1/p' "$scratch/glp.txt" 2>/dev/null | head -1)
    grep -q "NO PRIMAL FEASIBLE" "$scratch/out" && sg=infeasible
    grep -q "UNBOUNDED" "$scratch/out" && sg=unbounded
    grep -q "TIME LIMIT" "$scratch/out" && sg=limit
    case "$tg" in ">"*) sg=limit ;; esac
    [ "$sg" = limit ] && tg=">${tg#>}"
    sg=$(echo "${sg:-none}" | tr 'A-Z' 'a-z'); [ -z "$og" ] && og=-
  else
    tg=-; sg=skipped; og=-
  fi
  # Only an optimal run's objective means anything.
  case "$sn" in optimal*) ;; *) on=- ;; esac
  case "$sl" in optimal*) ;; *) ol=- ;; esac
  case "$sg" in optimal*) ;; *) og=- ;; esac
  printf "%-14s %7s %8s | %-10s %12s %8s %9s | %-10s %12s %8s | %-10s %12s %8s | %6s %6s | %5s %5s\n" \
    "$name" "$nodes" "$arcs" "$sn" "$on" "$tn" "${pn:--}" "$sl" "$ol" "$tl" "$sg" "$og" "$tg" \
    "$(ratio "$tl" "$tn")" "$(ratio "$tg" "$tn")" "$(agree "$sn" "$on" "$sl" "$ol")" \
    "$(agree "$sn" "$on" "$sg" "$og")"
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
