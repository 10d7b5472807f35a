#!/usr/bin/env bash
# Read speed against glpsol: the largest shared model, and generated MPS and LP
# files of 1,000,000 nonzeros. Prints processor seconds for each reader (the
# wall clock is useless on a shared machine) and the ratio.
# Usage: bench/read_speed.sh [path/to/quorvan]
set -u
here=$(cd "$(dirname "$0")/.." && pwd)
tool=${1:-$here/build/release/apps/quorvan}
data=$here/../shared/data
[ -x "$tool" ] || { echo "no quorvan tool at $tool (build the release preset first)"; exit 1; }
if ! command -v glpsol >/dev/null; then
  apt-get install -y glpk-utils >/dev/null 2>&1 || { echo "glpsol unavailable"; exit 1; }
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

seconds() {  # runs a command, prints its processor time (user + system) in seconds
  /usr/bin/time -f "%U %S" -o "$work/time" "$@" >/dev/null 2>&1
  awk '{print $1 + $2}' "$work/time"
}

compare() {  # label, our file, glpsol format option, glpsol file
  local ours theirs
  ours=$(seconds "$tool" stats "$2")
  theirs=$(seconds glpsol "$3" "$4" --check)
  printf "%-34s quorvan %7.3f s   glpsol %7.3f s   ratio %5.2f\n" "$1" "$ours" "$theirs" \
    "$(awk -v a="$ours" -v b="$theirs" 'BEGIN { print (b > 0 ? a / b : 0) }')"
}

largest=$(ls -S "$data"/netlib/*.mps.gz "$data"/miplib3/*.mps.gz 2>/dev/null | head -1)
if [ -n "$largest" ]; then
  zcat "$largest" > "$work/largest.mps"
  compare "$(basename "$largest" .gz)" "$work/largest.mps" --freemps "$work/largest.mps"
fi

# 100,000 columns with 10 entries each over 50,000 rows, random coefficients.
python3 - "$work/gen.mps" <<'PY'
import random, sys
random.seed(5)
rows, cols, per = 50000, 100000, 10
with open(sys.argv[1], "w") as f:
    f.write("NAME GEN\nROWS\n N obj\n")
    f.write("".join(" L r%d\n" % i for i in range(rows)))
    f.write("COLUMNS\n")
    out = []
    for j in range(cols):
        out.append(" x%d obj %.6g\n" % (j, random.uniform(-10, 10)))
        for i in random.sample(range(rows), per):
            out.append(" x%d r%d %.6g\n" % (j, i, random.uniform(-100, 100)))
        if len(out) > 100000:
            f.write("".join(out)); out = []
    f.write("".join(out))
    f.write("RHS\n" + "".join(" rhs r%d %d\n" % (i, random.randint(1, 1000)) for i in range(rows)))
    f.write("BOUNDS\n" + "".join(" UP bnd x%d %d\n" % (j, random.randint(1, 50)) for j in range(0, cols, 3)))
    f.write("ENDATA\n")
PY
"$tool" convert "$work/gen.mps" "$work/gen.lp" || exit 1
compare "generated 1M nonzeros, MPS" "$work/gen.mps" --freemps "$work/gen.mps"
compare "generated 1M nonzeros, LP" "$work/gen.lp" --lp "$work/gen.lp"
