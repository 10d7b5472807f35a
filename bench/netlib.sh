#!/usr/bin/env bash
# Solves the shared netlib models with `quorvan solve` and compares with the
# reference objectives; with --compare also runs clp on each model in the same
# run and reports time and iteration ratios. Times are CPU seconds of the
# whole process (reading included) for both, on the same uncompressed file.
#
#   bench/netlib.sh [--method dual|primal|auto|barrier] [--compare] [--time-limit S]
#                   [--param NAME=VALUE ...] [MODEL ...]
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
data=${QUORVAN_DATA:-$root/../shared/data/netlib}
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
method=dual; compare=0; limit=60; models=(); params=()
while [ $# -gt 0 ]; do
  case "$1" in
    --method) method=$2; shift 2 ;;
    --compare) compare=1; shift ;;
    --time-limit) limit=$2; shift 2 ;;
    --param) params+=(--param "$2"); shift 2 ;;
    -h|--help) sed -n 2,7p "$0"; exit 0 ;;
    *) models+=("$1"); shift ;;
  esac
done
[ -d "$data" ] || { echo "netlib models not found in $data"; exit 0; }
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
if [ $compare = 1 ] && ! command -v clp > /dev/null; then
  echo "installing coinor-clp for the comparison"
  apt-get install -y -qq coinor-clp > /dev/null || { echo "clp not available"; exit 1; }
fi
[ ${#models[@]} -gt 0 ] || models=($(ls "$data" | sed -n 's/\.mps\.gz$//p'))
clpmethod=-dualsimplex; [ "$method" = barrier ] && clpmethod=-barrier
scratch=$(mktemp -d); trap 'rm -rf "$scratch"' EXIT
results=$scratch/results.tsv
# Both sides are timed the same way: CPU seconds (user + system) of the whole
# process, reading included, on the same uncompressed file, so that a loaded
# machine does not tilt the ratio. The output goes to $scratch/run.out.
cpuRun() {
  local TIMEFORMAT='%U %S'
  { time "$@" > "$scratch/run.out" 2>&1; } 2> "$scratch/run.cpu"
  awk '{ printf "%.3f", $1 + $2 }' "$scratch/run.cpu"
}

printf '%-10s %-26s %20s %20s %9s %8s %8s' model status objective reference relerr iters time
[ $compare = 1 ] && printf ' %8s %8s %7s %7s' clpiter clptime tratio iratio
[ "$method" = barrier ] && printf ' %8s' simplex
echo
for m in "${models[@]}"; do
  ref=$(awk -v n="$m" '$1==n {print $3}' "$data/reference.tsv")
  zcat "$data/$m.mps.gz" > "$scratch/$m.mps"
  t=$(cpuRun timeout $((limit + 30)) "$tool" solve "$scratch/$m.mps" --method "$method" --time-limit "$limit" --quiet "${params[@]}")
  out=$(cat "$scratch/run.out")
  status=$(sed -n 's/^Status: //p' <<< "$out"); status=${status:-error}
  obj=$(sed -n 's/^Objective: //p' <<< "$out"); iters=$(sed -n 's/^Iterations: //p' <<< "$out")
  # The barrier compares its own iterations; the crossover's simplex ones are apart.
  # The simplex pivots after the crossover are kept apart as well: a good
  # crossover leaves few or none.
  splx=0; [ "$method" = barrier ] && splx=${iters:-0} && iters=$(sed -n 's/^Barrier iterations: //p' <<< "$out")
  rel=$(awk -v a="${obj:-nan}" -v b="${ref:-nan}" 'BEGIN { if (a == "none" || a == "nan" || b == "nan") { print "-"; exit }
        d = a - b; if (d < 0) d = -d; s = b < 0 ? -b : b; if (s < 1) s = 1; printf "%.1e", d / s }')
  printf '%-10s %-26s %20s %20s %9s %8s %8s' "$m" "$status" "${obj:--}" "${ref:--}" "$rel" "${iters:--}" "${t:--}"
  cit=-; ctime=-
  if [ $compare = 1 ]; then
    ctime=$(cpuRun timeout $((limit + 30)) clp "$scratch/$m.mps" $clpmethod)
    cout=$(grep -E '^(Optimal|Primal infeasible|Dual infeasible|Stopped|Infeasible)' "$scratch/run.out" | tail -1)
    cit=$(sed -n 's/.* - \([0-9]*\) iterations time \([0-9.]*\).*/\1/p' <<< "$cout"); cit=${cit:--}
    [ -z "$cout" ] && ctime=-
    awk -v a="${t:-}" -v b="$ctime" -v i="${iters:-}" -v j="$cit" 'BEGIN {
      if (a == "" || b == "-") printf " %8s %8s %7s %7s", j, b, "-", "-";
      else printf " %8s %8s %7.2f %7.2f", j, b, (a + 0.1) / (b + 0.1), (j > 0 ? i / j : 0) }'
  fi
  rm -f "$scratch/$m.mps"
  [ "$method" = barrier ] && printf ' %8s' "$splx"
  echo
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$m" "$status" "$rel" "${iters:-0}" "${t:-0}" "$cit" "$ctime" "$ref" "$splx" >> "$results"
done
awk -F'\t' -v compare=$compare -v barrier=$([ "$method" = barrier ] && echo 1 || echo 0) '
  { n++; if ($2 == "optimal" && $3 != "-" && $3 + 0 <= 1e-6) ok++;
    if ($2 == "optimal" && ($3 == "-" || $3 + 0 > 1e-6)) wrong++;
    if (compare && $7 != "-" && $5 != "") { k++; lt += log(($5 + 0.1) / ($7 + 0.1)); its += $4; cits += $6 }
    splx += $9; if ($9 == 0) none++ }
  END {
    printf "\n%d models, %d optimal within 1e-6 of the reference, %d claimed optimal but off\n", n, ok, wrong + 0;
    if (barrier) printf "simplex iterations after the crossover: %d in all; %d models need none\n", splx, none;
    if (compare && k > 0) printf "shifted geometric mean of time ratio (ours/clp, shift 0.1 s): %.2f over %d models; iterations ours/clp: %.2f\n", exp(lt / k), k, its / cits }' "$results"
