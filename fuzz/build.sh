#!/usr/bin/env bash
# Builds the two reader fuzz targets with clang's libFuzzer:
#   fuzz/build.sh && build/fuzz/lp_reader_fuzz -max_total_time=60 [corpus dir]
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
out=$here/build/fuzz
mkdir -p "$out"
sources=$(ls "$here"/src/runtime/*.cpp "$here"/src/model/*.cpp "$here"/src/formats/*.cpp)
for format in LP MPS; do
  name=$(echo "$format" | tr 'A-Z' 'a-z')_reader_fuzz
  clang++ -std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -DQVN_FUZZ_FORMAT="\"$format\"" \
    -DQUORVAN_BUILDING -I"$here/include" -I"$here/src" "$here/fuzz/reader_fuzz.cpp" $sources \
    -lz -lbz2 -lexpat -lpthread -o "$out/$name"
  echo "built $out/$name"
done
