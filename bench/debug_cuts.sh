#!/usr/bin/env bash
# Validity of the cut families on MIPLIB models: cbc solves each model to a
# proven optimum and writes its solution; our run then loads it as the debug
# solution (QUORVAN_DEBUG_SOLUTION, presolve off) with every cut family at
# its most aggressive level and reports each "Debug solution" breach, the cut
# or bound change that removed the known optimum.
#
#   bench/debug_cuts.sh [--time-limit S] [--default-cuts] [--param NAME=VALUE ...] [MODEL ...]
#
# --default-cuts leaves the families at their default levels (where MIR runs
# on tableau rows in place of Gomory on models with many continuous columns).
# A model cbc does not prove optimal within the limit is skipped.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
data=${QUORVAN_DATA:-$root/../shared/data/miplib3}
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
limit=20; defaults=0; models=(); params=()
while [ $# -gt 0 ]; do
  case "$1" in
    --time-limit) limit=$2; shift 2 ;;
    --param) params+=(--param "$2"); shift 2 ;;
    --default-cuts) defaults=1; shift ;;
    -h|--help) sed -n 2,13p "$0"; exit 0 ;;
    *) models+=("$1"); shift ;;
  esac
done
[ -d "$data" ] || { echo "MIP models not found in $data"; exit 0; }
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
command -v cbc > /dev/null || { echo "cbc not installed"; exit 1; }
[ ${#models[@]} -gt 0 ] || models=($(ls "$data" | sed -n 's/\.mps\.gz$//p'))
scratch=$(mktemp -d); trap 'rm -rf "$scratch"' EXIT
aggressive=(--param PREIND=0 --param COVERS=3 --param GUBCOVERS=2 --param FLOWCOVERS=2 --param CLIQUES=3
            --param FRACCUTS=2 --param MIRCUTS=2 --param IMPLBD=2 --param FLOWPATHS=2 --param DISJCUTS=3)
[ $defaults = 1 ] && aggressive=(--param PREIND=0)
checked=0; breached=0
for m in "${models[@]}"; do
  zcat "$data/$m.mps.gz" > "$scratch/$m.mps"
  cout=$(timeout -k 5 $((limit * 3 + 10)) nice cbc "$scratch/$m.mps" -seconds $((limit * 3)) -threads 1 -solve \
         -solu "$scratch/$m.sol" 2>&1)
  if ! grep -q '^Result - Optimal solution found' <<< "$cout" || [ ! -s "$scratch/$m.sol" ]; then
    printf '%-10s skipped (cbc did not prove an optimum)\n' "$m"; continue
  fi
  # cbc's solution file: a status line, then "index name value cost".
  out=$(QUORVAN_DEBUG_SOLUTION="$scratch/$m.sol" timeout $((limit + 30)) nice "$tool" solve "$scratch/$m.mps" \
        --time-limit "$limit" --quiet "${aggressive[@]}" "${params[@]}" 2>&1)
  breaches=$(grep -c '^Debug solution [^:]' <<< "$out")
  applied=$(sed -n 's/^Root cuts: *//p' <<< "$out" | cut -c1-90)
  grep -q '^Debug solution: ' <<< "$out" || applied="(debug solution not loaded) $applied"
  printf '%-10s breaches %d  %s\n' "$m" "$breaches" "$applied"
  grep '^Debug solution [^:]' <<< "$out" | head -3
  checked=$((checked + 1)); [ "$breaches" -gt 0 ] && breached=$((breached + 1))
  rm -f "$scratch/$m.mps"
done
echo "$checked models checked against cbc's optimum, $breached with a breach"
