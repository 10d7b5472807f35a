#!/usr/bin/env bash
# Builds the reader fuzz targets with clang's libFuzzer, for long runs by hand:
#   fuzz/build.sh && build/fuzz/lp_reader_fuzz -max_total_time=600 [corpus dir]
# The sanitizer build of CMake runs the same targets through mutation_driver.cpp
# for a short time in every CI run (fuzz/CMakeLists.txt).
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
out=$here/build/fuzz
mkdir -p "$out"
sources=$(find "$here/src" -name '*.cpp' | sort)
for format in LP MPS PRM LP.GZ MPS.BZ2; do
  name=$(echo "$format" | tr 'A-Z.' 'a-z_')_reader_fuzz
  clang++ -std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -DQVN_FUZZ_FORMAT="\"$format\"" \
    -DQUORVAN_BUILDING -I"$here/include" -I"$here/src" "$here/fuzz/reader_fuzz.cpp" $sources \
    -lz -lbz2 -lexpat -lpthread -o "$out/$name"
  echo "built $out/$name"
done
