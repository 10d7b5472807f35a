#!/usr/bin/env bash
# Sifting against our dual simplex and clp's sprint (sifting) on LP
# relaxations with far more columns than rows, in the same run, by process
# CPU seconds on the same uncompressed file.
#
#   bench/sifting.sh [--dir DIR] [--siftalg "0 3 4"] [--time-limit S] [MODEL ...]
#
# Per model and method: CPU seconds and whether the objective is within 1e-6
# (relative) of the relaxation optimum in DIR/reference.tsv. The ratio column
# is sifting (SIFTALG 0) over our dual.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
data=${QUORVAN_DATA:-$root/../shared/data/miplib3}
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
algs="0"; limit=300; models=()
while [ $# -gt 0 ]; do
  case "$1" in
    --dir) data=$2; shift 2 ;;
    --siftalg) algs=$2; shift 2 ;;
    --time-limit) limit=$2; shift 2 ;;
    -h|--help) sed -n 2,11p "$0"; exit 0 ;;
    *) models+=("$1"); shift ;;
  esac
done
[ -d "$data" ] || { echo "MIP models not found in $data"; exit 0; }
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
[ ${#models[@]} -gt 0 ] || models=(nw04 fast0507 air03 air05)
scratch=$(mktemp -d); trap 'rm -rf "$scratch"' EXIT
TIMEFORMAT='%3U %3S'
# CPU seconds of a command; its output goes to $scratch/out.
cpu() { { time timeout "$limit" "$@" > "$scratch/out" 2>&1; } 2> "$scratch/time"; awk '{ print $1 + $2 }' "$scratch/time"; }
close() {  # objective $1 against reference $2
  awk -v a="${1:-nan}" -v r="$2" 'BEGIN { s = (r < 0 ? -r : r); if (s < 1) s = 1; d = a - r; if (d < 0) d = -d;
    print (d <= 1e-6 * s) ? "ok" : "OFF" }'
}
header="model        dual"
for a in $algs; do header="$header      sift$a"; done
echo "$header      clp-sprint  sift0/dual"
for m in "${models[@]}"; do
  f="$scratch/$m.mps"; gzip -cd "$data/$m.mps.gz" > "$f" || continue
  ref=$(awk -v m="$m" '$1 == m { print $4 }' "$data/reference.tsv")
  line=$(printf '%-9s' "$m")
  t=$(cpu "$tool" solve "$f" --relax --quiet --method dual); dual=$t
  line="$line $(printf '%7.2f %-3s' "$t" "$(close "$(sed -n 's/^Objective: //p' "$scratch/out")" "$ref")")"
  sift0=""
  for a in $algs; do
    t=$(cpu "$tool" solve "$f" --relax --quiet --method sifting --param QVN_PARAM_SIFTALG="$a")
    [ "$a" = 0 ] && sift0=$t
    line="$line $(printf '%7.2f %-3s' "$t" "$(close "$(sed -n 's/^Objective: //p' "$scratch/out")" "$ref")")"
  done
  t=$(cpu clp "$f" -sprint 100 -primalsimplex)
  obj=$(sed -n 's/^Optimal objective \([^ ]*\) .*/\1/p' "$scratch/out")
  line="$line $(printf '%10.2f %-3s' "$t" "$(close "$obj" "$ref")")"
  ratio=$(awk -v s="${sift0:-nan}" -v d="$dual" 'BEGIN { if (s == "nan" || d <= 0) print "-"; else printf "%.2f", s / d }')
  echo "$line  $ratio"
done
