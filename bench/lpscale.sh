#!/usr/bin/env bash
# Scaling benchmark on large generated sparse LPs: each model is solved with our
# dual and primal (`quorvan solve`) and with `clp -dualsimplex` in the same run.
# Prints status, objective, iterations, time, time per iteration and the time
# ratio to clp per model, the shifted geometric mean of the ratios, and checks
# that all three optima agree within 1e-6 relative. Times are the CPU time
# (user + system) of each solver process, reading the file included, so that
# a loaded machine does not tilt the comparison.
#
#   bench/lpscale.sh [--sizes "10000 100000"] [--huge] [--structures "a b"]
#                    [--seed N] [--no-primal] [--time-limit S] [--cache DIR]
#                    [--param NAME=VALUE ...]
# --huge adds the 1M-column models (slow to generate and to solve).
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
sizes="10000 100000"; structures=$(python3 "$root/bench/lpgen.py" --list | tr '\n' ' ')
seed=1; primal=1; limit=600; cache=$root/build/lpscale; params=()
while [ $# -gt 0 ]; do
  case "$1" in
    --sizes) sizes=$2; shift 2 ;;
    --huge) sizes="$sizes 1000000"; shift ;;
    --structures) structures=$2; shift 2 ;;
    --seed) seed=$2; shift 2 ;;
    --no-primal) primal=0; shift ;;
    --time-limit) limit=$2; shift 2 ;;
    --cache) cache=$2; shift 2 ;;
    --param) params+=(--param "$2"); shift 2 ;;
    -h|--help) sed -n 2,11p "$0"; exit 0 ;;
    *) echo "unknown argument $1"; exit 2 ;;
  esac
done
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
command -v clp > /dev/null || { echo "clp not installed (apt-get install coinor-clp)"; exit 1; }
mkdir -p "$cache"
results=$(mktemp); cpu=$(mktemp); trap 'rm -f "$results" "$cpu"' EXIT
command -v /usr/bin/time > /dev/null || { echo "/usr/bin/time is needed (apt-get install time)"; exit 1; }
# Runs a command and leaves its CPU seconds in $cpu. The time limit is on
# CPU seconds too (ulimit -t ends the process), like the times compared, so a
# loaded machine neither stops a run early nor lets it run on; a wall-clock
# timeout of several times the limit is only the safety net.
timed() { /usr/bin/time -f '%U %S' -o "$cpu" bash -c 'ulimit -t "$0"; exec "$@"' "$limit" timeout $((10 * limit + 60)) "$@"; }
cputime() { awk 'NF == 2 { t = $1 + $2 } END { printf "%.3f", t }' "$cpu"; }

# ours METHOD FILE -> "status obj iters time"
ours() {
  local out st ob it t
  out=$(timed "$tool" solve "$2" --method "$1" --quiet "${params[@]}" 2>&1)
  st=$(sed -n 's/^Status: //p' <<< "$out" | tr ' ' '_'); ob=$(sed -n 's/^Objective: //p' <<< "$out")
  [ -z "$st" ] && grep -q signal "$cpu" && st=cpu_limit
  it=$(sed -n 's/^Iterations: //p' <<< "$out"); t=$(cputime)
  echo "${st:-error} ${ob:-nan} ${it:-0} ${t:-nan}"
}
clprun() {
  local out st
  out=$(timed clp "$1" -dualsimplex 2>&1)
  st=$(grep -E '^(Optimal|Primal infeasible|Dual infeasible|Stopped|Infeasible)' <<< "$out" | tail -1)
  local ob it t
  ob=$(sed -n 's/.*objective \([-0-9.eE+]*\) - .*/\1/p' <<< "$st")
  it=$(sed -n 's/.* - \([0-9]*\) iterations time \([0-9.]*\).*/\1/p' <<< "$st")
  t=$(cputime)
  case "$st" in Optimal*) st=optimal ;; "") st=error; grep -q signal "$cpu" && st=cpu_limit ;; *) st=$(awk '{print tolower($1)}' <<< "$st") ;; esac
  echo "${st} ${ob:-nan} ${it:-0} ${t:-nan}"
}

printf '%-15s %8s %8s | %-8s %16s %7s %8s %9s | %-8s %7s %8s %9s | %7s %8s %9s | %6s %6s %s\n' \
  structure cols rows dual objective iters time us/iter primal iters time us/iter \
  clpit clptime us/iter d/clp p/clp agree
for n in $sizes; do
  for s in $structures; do
    f=$cache/$s-$n-$seed.mps
    [ -s "$f" ] || python3 "$root/bench/lpgen.py" "$s" "$n" --seed "$seed" -o "$f" || { echo "generation failed: $s $n"; continue; }
    rows=$(awk '/^ROWS/ {r=1; next} /^COLUMNS/ {print n - 1; exit} r {n++}' "$f")
    read -r dst dob dit dt <<< "$(ours dual "$f")"
    if [ $primal = 1 ]; then read -r pst pob pit pt <<< "$(ours primal "$f")"; else pst=-; pob=nan; pit=0; pt=nan; fi
    read -r cst cob cit ct <<< "$(clprun "$f")"
    awk -v s="$s" -v n="$n" -v rows="$rows" -v dst="$dst" -v dob="$dob" -v dit="$dit" -v dt="$dt" \
        -v pst="$pst" -v pob="$pob" -v pit="$pit" -v pt="$pt" -v primal=$primal -v res="$results" \
        -v cst="$cst" -v cob="$cob" -v cit="$cit" -v ct="$ct" 'function rel(a, b,  d, m) {
          d = a - b; if (d < 0) d = -d; m = b < 0 ? -b : b; if (m < 1) m = 1; return d / m }
        function per(t, i) { return (t != "nan" && i > 0) ? sprintf("%.1f", 1e6 * t / i) : "-" }
        function ratio(a, b) { return (a != "nan" && b != "nan") ? sprintf("%.2f", (a + 0.1) / (b + 0.1)) : "-" }
        BEGIN {
          agree = "yes"
          if (dst != "optimal" || cst != "optimal" || rel(dob, cob) > 1e-6) agree = "NO"
          if (primal && (pst != "optimal" || rel(pob, cob) > 1e-6)) agree = "NO"
          printf "%-15s %8d %8d | %-8s %16.9g %7d %8s %9s | %-8s %7d %8s %9s | %7d %8s %9s | %6s %6s %s\n",
            s, n, rows, dst, dob, dit, dt, per(dt, dit), pst, pit, pt, per(pt, pit), cit, ct, per(ct, cit),
            ratio(dt, ct), primal ? ratio(pt, ct) : "-", agree
          printf "%s\t%d\t%s\t%s\t%s\n", s, n, ratio(dt, ct), primal ? ratio(pt, ct) : "-", agree >> res
        }'
  done
done
echo
awk -F'\t' '
  function report(label, k,  i, n, sum, worst) {
    n = 0; sum = 0; worst = 0
    for (i = 1; i <= rows; i++) { split(line[i], f, "\t"); if (f[k] == "-" || (label ~ /100k/ && f[2] < 100000)) continue
      n++; sum += log(f[k]); if (f[k] > worst) worst = f[k] }
    if (n > 0) printf "%s: shifted geometric mean of the time ratio to clp %.2f over %d models, worst %.2f\n", label, exp(sum / n), n, worst
  }
  { line[++rows] = $0; if ($5 != "yes") bad++ }
  END {
    report("dual, all sizes", 3); report("dual, 100k columns and more", 3)
    report("primal, all sizes", 4); report("primal, 100k columns and more", 4)
    printf "optima agreeing within 1e-6 relative: %d of %d models\n", rows - bad, rows
    exit bad > 0
  }' "$results"
