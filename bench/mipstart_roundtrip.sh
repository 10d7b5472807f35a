#!/usr/bin/env bash
# The incumbent of a MIP run, written as an XML solution, read back as the
# MIP start of a second run: is it accepted as that run's first incumbent?
#
#   bench/mipstart_roundtrip.sh [--time-limit S] [--dir DIR] [MODEL ...]
#
# Per model: the first run's status and objective, and whether the second
# run (node limit 0) printed "MIP start values provide initial solution"
# with the same objective. Summary: accepted over the models with an incumbent.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
data=${QUORVAN_DATA:-$root/../shared/data/miplib3}
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
limit=20; models=()
while [ $# -gt 0 ]; do
  case "$1" in
    --time-limit) limit=$2; shift 2 ;;
    --dir) data=$2; shift 2 ;;
    -h|--help) sed -n 2,10p "$0"; exit 0 ;;
    *) models+=("$1"); shift ;;
  esac
done
[ -d "$data" ] || { echo "MIP models not found in $data"; exit 0; }
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
[ ${#models[@]} -gt 0 ] || models=($(ls "$data" | sed -n 's/\.mps\.gz$//p'))
scratch=$(mktemp -d); trap 'rm -rf "$scratch"' EXIT
have=0; accepted=0
printf '%-10s %-30s %18s %s\n' model status objective start
for m in "${models[@]}"; do
  out=$(timeout $((limit + 30)) "$tool" solve "$data/$m.mps.gz" --time-limit "$limit" --quiet \
        --write-solution "$scratch/$m.sol" 2>&1)
  status=$(sed -n 's/^Status: //p' <<< "$out"); obj=$(sed -n 's/^Objective: //p' <<< "$out")
  verdict=-
  if [ "${obj:-none}" != none ] && [ -s "$scratch/$m.sol" ]; then
    have=$((have + 1))
    again=$(timeout $((limit + 30)) "$tool" solve "$data/$m.mps.gz" --mip-start "$scratch/$m.sol" \
            --node-limit 0 --time-limit "$limit" 2>&1)
    if grep -q "MIP start values provide initial solution" <<< "$again"; then
      verdict=accepted; accepted=$((accepted + 1))
    else
      verdict=REFUSED
    fi
  fi
  printf '%-10s %-30.30s %18s %s\n' "$m" "${status:-error}" "${obj:--}" "$verdict"
done
printf '\nmodels with an incumbent %d, start accepted %d\n' "$have" "$accepted"
