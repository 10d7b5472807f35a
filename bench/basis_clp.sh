#!/usr/bin/env bash
# Basis files exchanged with clp, both ways, on netlib models: clp's optimal
# basis (-basisOut) read by us (--read-basis), and ours (--write-basis) read
# by clp (-basisIn). Each side must then solve in a handful of iterations to
# the same optimum.
#
#   bench/basis_clp.sh [--dir DIR] [MODEL ...]
#
# Per model: our iterations from clp's basis, clp's iterations from ours
# (its dual simplex: its primal perturbs the costs first and so pivots even
# from an optimal basis), and whether our objective matches the netlib
# reference and clp's warm objective its cold one, within 1e-6 relative
# (clp leaves out an objective constant, e226's, which the reference holds).
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
data=${QUORVAN_DATA:-$root/../shared/data/netlib}
tool=${QUORVAN_TOOL:-$root/build/release/apps/quorvan}
models=()
while [ $# -gt 0 ]; do
  case "$1" in
    --dir) data=$2; shift 2 ;;
    -h|--help) sed -n 2,10p "$0"; exit 0 ;;
    *) models+=("$1"); shift ;;
  esac
done
[ -d "$data" ] || { echo "netlib models not found in $data"; exit 0; }
[ -x "$tool" ] || { echo "build the release tree first: $tool missing"; exit 1; }
command -v clp > /dev/null || { echo "clp not installed"; exit 0; }
[ ${#models[@]} -gt 0 ] || models=(afiro blend sc50b sc105 sc205 share2b stocfor1 boeing1 boeing2 israel \
                                   scagr7 scagr25 kb2 recipe e226 bore3d capri lotfi scorpion scsd1 ship04l)
scratch=$(mktemp -d); trap 'rm -rf "$scratch"' EXIT
ok=0; total=0
printf '%-10s %12s %12s %22s %s\n' model ours_from_clp clp_from_ours objective agree
for m in "${models[@]}"; do
  f="$scratch/$m.mps"; gzip -cd "$data/$m.mps.gz" > "$f" || continue
  total=$((total + 1))
  clpcold=$(timeout 120 clp "$f" -dualsimplex -basisOut "$scratch/$m.clp.bas" 2>&1)
  cobj=$(sed -n 's/^Optimal objective \([^ ]*\) .*/\1/p' <<< "$clpcold")
  ours=$(timeout 120 "$tool" solve "$f" --read-basis "$scratch/$m.clp.bas" --write-basis "$scratch/$m.ours.bas" 2>&1)
  oit=$(sed -n 's/^Iterations: //p' <<< "$ours"); oobj=$(sed -n 's/^Objective: //p' <<< "$ours")
  clpwarm=$(timeout 120 clp "$f" -presolve off -basisIn "$scratch/$m.ours.bas" -dualsimplex 2>&1)
  cit=$(sed -n 's/^Optimal objective [^ ]* - \([0-9]*\) iterations.*/\1/p' <<< "$clpwarm")
  wobj=$(sed -n 's/^Optimal objective \([^ ]*\) .*/\1/p' <<< "$clpwarm")
  ref=$(awk -v m="$m" '$1 == m { print $3 }' "$data/reference.tsv")
  agree=$(awk -v r="${ref:-nan}" -v b="${oobj:-nan}" -v a="${cobj:-nan}" -v c="${wobj:-nan}" 'BEGIN {
    s = (r < 0 ? -r : r); if (s < 1) s = 1; t = (a < 0 ? -a : a); if (t < 1) t = 1;
    d1 = r - b; d2 = a - c; if (d1 < 0) d1 = -d1; if (d2 < 0) d2 = -d2;
    print (d1 <= 1e-6 * s && d2 <= 1e-6 * t) ? "yes" : "NO" }')
  [ "$agree" = yes ] && ok=$((ok + 1))
  printf '%-10s %12s %12s %22s %s\n' "$m" "${oit:--}" "${cit:--}" "${oobj:--}" "$agree"
done
echo "agree on $ok of $total models"
