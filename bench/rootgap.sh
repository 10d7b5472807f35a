#!/usr/bin/env bash
# Root gap closed by the cut rounds, ours against cbc's, per model: each side
# is stopped after its root (ours `--node-limit 0`, cbc `-maxNodes 0`) and the
# gap closed is (root bound - LP relaxation) / (reference - LP relaxation),
# both over our LP relaxation (cbc's own is after its presolve). Also prints
# our per-family cut counts and CPU seconds of both sides.
#
#   bench/rootgap.sh [--time-limit S] [--no-cbc] [--cbc-cache FILE] [--param NAME=VALUE ...] [MODEL ...]
#
# --cbc-cache keeps cbc's root bounds in FILE (model, bound, seconds) so that
# repeated runs of ours compare against the same cbc run.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
data=${QUORVAN_DATA:-$root/../shared/data/miplib3}
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
limit=20; cbc=1; cache=; models=(); params=()
while [ $# -gt 0 ]; do
  case "$1" in
    --time-limit) limit=$2; shift 2 ;;
    --no-cbc) cbc=0; shift ;;
    --cbc-cache) cache=$2; shift 2 ;;
    --param) params+=(--param "$2"); shift 2 ;;
    -h|--help) sed -n 2,11p "$0"; exit 0 ;;
    *) models+=("$1"); shift ;;
  esac
done
[ -d "$data" ] || { echo "MIP models not found in $data"; exit 0; }
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
[ $cbc = 1 ] && ! command -v cbc > /dev/null && { echo "cbc not installed: --no-cbc"; cbc=0; }
[ ${#models[@]} -gt 0 ] || models=($(ls "$data" | sed -n 's/\.mps\.gz$//p'))
scratch=$(mktemp -d); trap 'rm -rf "$scratch"' EXIT
[ -n "$cache" ] && touch "$cache"
printf '%-10s %8s %8s %7s %7s  %s\n' model ourgap cbcgap ours_s cbc_s 'root cuts (ours)'
for m in "${models[@]}"; do
  ref=$(awk -v n="$m" '$1==n {print $3}' "$data/reference.tsv" 2>/dev/null)
  out=$( { /usr/bin/time -f 'CPU %U %S' timeout $((limit + 30)) nice "$tool" solve "$data/$m.mps.gz" \
           --time-limit "$limit" --node-limit 0 --quiet "${params[@]}"; } 2>&1)
  ours_s=$(awk '/^CPU /{printf "%.1f", $2+$3}' <<< "$out")
  relax=$(sed -n 's/^Root relaxation: //p' <<< "$out"); rootb=$(sed -n 's/^Root bound: //p' <<< "$out")
  fam=$(sed -n 's/^Root cuts: *//p' <<< "$out")
  closed() { awk -v r="${relax:-none}" -v b="$1" -v z="${ref:-nan}" 'BEGIN {
      if (r == "none" || b == "" || b == "none" || z == "nan") { print "-"; exit }
      d = z - r; if (d < 0) d = -d; if (d < 1e-9 * (1 + (z < 0 ? -z : z))) { print "1.000"; exit }
      g = (b - r) / (z - r); if (g > 1) g = 1; if (g < 0) g = 0; printf "%.3f", g }'; }
  gap=$(closed "$rootb")
  cgap=-; cbc_s=-
  if [ $cbc = 1 ]; then
    line=
    [ -n "$cache" ] && line=$(awk -v n="$m" '$1==n' "$cache")
    if [ -z "$line" ]; then
      zcat "$data/$m.mps.gz" > "$scratch/$m.mps"
      cout=$( { /usr/bin/time -f 'CPU %U %S' timeout -k 5 $((limit + 30)) nice cbc "$scratch/$m.mps" \
               -seconds "$limit" -maxNodes 0 -threads 1 -solve; } 2>&1)
      cb=$(sed -n 's/^Cuts at root node changed objective from .* to \(.*\)$/\1/p' <<< "$cout" | head -1)
      cs=$(awk '/^CPU /{printf "%.1f", $2+$3}' <<< "$cout")
      rm -f "$scratch/$m.mps"
      line="$m ${cb:-none} ${cs:--}"
      [ -n "$cache" ] && echo "$line" >> "$cache"
    fi
    cb=$(awk '{print $2}' <<< "$line"); cbc_s=$(awk '{print $3}' <<< "$line")
    [ "$cb" != none ] && cgap=$(closed "$cb")
  fi
  printf '%-10s %8s %8s %7s %7s  %s\n' "$m" "$gap" "$cgap" "${ours_s:--}" "$cbc_s" "$fam"
done | tee "$scratch/table"
awk '$2 != "-" { n++; s += $2 }
     $2 != "-" && $3 != "-" { nb++; o += $2; c += $3; if ($2 + 1e-3 < $3) less = less " " $1 }
     END { if (n) printf "\nmean root gap closed %.3f over %d models\n", s / n, n
           if (nb) printf "on the %d models with both: ours %.3f, cbc %.3f; we close less on:%s\n", nb, o / nb, c / nb, less }' \
  "$scratch/table"
