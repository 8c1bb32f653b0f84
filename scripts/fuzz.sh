#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, in build-fuzz/) and runs each of them.
#   scripts/fuzz.sh [SECONDS] [TARGET...]   each for SECONDS (default 60); the
#                                           inputs it finds stay in
#                                           build-fuzz/corpus/TARGET/ for the next run
#   scripts/fuzz.sh --runs N [TARGET...]    each for N inputs from its seeds on,
#                                           fixed seed, nothing kept (the test command)
# The repository's seeds (fuzz/corpus/TARGET/) are only read. A finding stops the
# script and is written to build-fuzz/findings/.
set -euo pipefail
source "$(dirname "$0")/env.sh"
limit=(-max_total_time="${1:-60}")
keep=1
if [ "${1:-}" = --runs ]; then
  limit=(-runs="$2" -seed=1)
  keep=0
  shift
fi
(($#)) && shift
dir="$ZOH_ROOT/build-fuzz"
if [ ! -f "$dir/build.ninja" ]; then
  cmake -S "$ZOH_ROOT" -B "$dir" -G Ninja -DJAVA_HOME="$JAVA_HOME" -DZOH_FUZZ=ON \
    -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
ninja -C "$dir" -j "$ZOH_JOBS" fuzzers
targets=("$@")
((${#targets[@]})) || targets=($(ls "$ZOH_ROOT/fuzz/corpus"))
mkdir -p "$dir/findings"
for t in "${targets[@]}"; do
  corpus="$dir/corpus/$t"
  ((keep)) || rm -rf "$corpus"
  mkdir -p "$corpus"
  log="$dir/findings/$t.log"
  "$dir/fuzz/$t" "${limit[@]}" -print_final_stats=1 -artifact_prefix="$dir/findings/$t-" \
    "$corpus" "$ZOH_ROOT/fuzz/corpus/$t" 2>"$log" || { tail -40 "$log"; exit 1; }
  runs=$(grep -o 'number_of_executed_units: [0-9]*' "$log" | grep -o '[0-9]*$')
  seconds=$(grep -o 'Done [0-9]* runs in [0-9]*' "$log" | grep -o '[0-9]*$')
  echo "$t: $runs executions in ${seconds} s, $(ls "$corpus" | wc -l) inputs in the corpus"
done
