#!/usr/bin/env bash
# Reads every shared netlib and MIPLIB 3 model with quorvan and with glpsol
# --check, and compares rows, columns, matrix nonzeros and integer columns.
# Usage: bench/read_check.sh [path/to/quorvan]   (default: build/release/apps/quorvan)
set -u
here=$(cd "$(dirname "$0")/.." && pwd)
tool=${1:-$here/build/release/apps/quorvan}
data=$here/../shared/data
[ -x "$tool" ] || { echo "no quorvan tool at $tool (build the release preset first)"; exit 1; }
[ -d "$data" ] || { echo "no shared data at $data"; exit 0; }
if ! command -v glpsol >/dev/null; then
  echo "installing glpk-utils for the reference reader"
  apt-get install -y glpk-utils >/dev/null 2>&1 || { echo "glpsol unavailable"; exit 1; }
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
checked=0 differ=0
for file in "$data"/netlib/*.mps.gz "$data"/miplib3/*.mps.gz; do
  [ -e "$file" ] || continue
  name=$(basename "$file" .mps.gz)
  zcat "$file" > "$work/m.mps"
  ours=$("$tool" stats "$work/m.mps" 2>/dev/null) || { echo "$name: quorvan failed"; differ=$((differ + 1)); continue; }
  theirs=$(glpsol --mps "$work/m.mps" --check 2>&1)
  # files with tabs or long names are not fixed MPS for glpsol
  grep -q "Number of rows" <<<"$theirs" || theirs=$(glpsol --freemps "$work/m.mps" --check 2>&1)
  o_rows=$(awk '/^  rows/{print $2}' <<<"$ours")
  o_cols=$(awk '/^  columns/{print $2}' <<<"$ours")
  o_nz=$(awk '/^  nonzeros/{print $2}' <<<"$ours")
  o_int=$(awk '/^  integers/{print $2}' <<<"$ours")
  g_rows=$(awk -F= '/Number of rows/{gsub(/ /,"",$2); print $2}' <<<"$theirs")
  g_cols=$(awk -F= '/Number of columns/{gsub(/ /,"",$2); print $2}' <<<"$theirs")
  g_nz=$(awk -F= '/non-zeros \(matrix\)/{gsub(/ /,"",$2); print $2}' <<<"$theirs")
  g_int=$(awk '/integer variables/{print $1}' <<<"$theirs")
  g_int=${g_int:-0}
  checked=$((checked + 1))
  if [ -z "$g_rows" ]; then
    echo "$name: glpsol could not read it (quorvan: $o_rows rows, $o_cols columns, $o_nz nonzeros)"
  elif [ "$o_rows $o_cols $o_nz $o_int" != "$g_rows $g_cols $g_nz $g_int" ]; then
    echo "$name: quorvan $o_rows/$o_cols/$o_nz/$o_int  glpsol $g_rows/$g_cols/$g_nz/$g_int (rows/columns/nonzeros/integers)"
    differ=$((differ + 1))
  fi
done
echo "$checked models checked, $differ differ"
[ "$differ" -eq 0 ]
