#!/usr/bin/env bash
# Builds the project twice (plain, and with AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs every test in both builds. Each run of
# ctest starts the test cluster (a real HDFS on loopback) once, for the tests
# that need it. Prints how long each stage took.
set -euo pipefail
source "$(dirname "$0")/env.sh"

stage_start=$(date +%s)
stage() {  # stage <title>: ends the previous stage's clock, starts the next
  local now; now=$(date +%s)
  [ -z "${stage_title:-}" ] || echo "== ${stage_title}: $((now - stage_start)) s"
  stage_title=$1; stage_start=$now
  [ -z "$1" ] || echo "== $1"
}

stage "setup (Debian packages)"
"$ZOH_ROOT/scripts/setup.sh"
stage "build (plain; the first build fetches the Java side's dependencies)"
zoh_build "$ZOH_ROOT/build"
stage "build (sanitizers)"
zoh_build "$ZOH_ROOT/build-asan" -DZOH_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug

stage "tests (plain build)"
(cd "$ZOH_ROOT/build" && ctest --output-on-failure -j "$ZOH_JOBS")
stage "tests (sanitizer build)"
# Tests that start a JVM turn leak checking off themselves (the JVM maps and
# keeps memory LeakSanitizer cannot follow); the rest run with leak checks on.
(cd "$ZOH_ROOT/build-asan" && ASAN_OPTIONS=detect_leaks=1:handle_segv=0 \
  ctest --output-on-failure -j "$ZOH_JOBS")
# ThreadSanitizer: only the programs whose tests run threads against shared
# state (the buffer pool, the scripted bridge, the contract suite on it, the
# instance's proxy creation), built in a third tree.
stage "tests (thread sanitizer build)"
zoh_tsan_tests=(native_buffers_tests bridge_contract_scripted core_tests
                thread_stress)
if [ ! -f "$ZOH_ROOT/build-tsan/build.ninja" ]; then
  cmake -S "$ZOH_ROOT" -B "$ZOH_ROOT/build-tsan" -G Ninja -DJAVA_HOME="$JAVA_HOME" \
    -DZOH_TSAN=ON >/dev/null
fi
ninja -C "$ZOH_ROOT/build-tsan" -j "$ZOH_JOBS" "${zoh_tsan_tests[@]}"
(cd "$ZOH_ROOT/build-tsan" && TSAN_OPTIONS=halt_on_error=1 \
  ctest --output-on-failure -j "$ZOH_JOBS" -R "^($(IFS='|'; echo "${zoh_tsan_tests[*]}"))\$")

# Fuzz targets (clang, a build of their own): each runs a fixed number of inputs
# from its seeds on; scripts/fuzz.sh alone runs them for longer.
stage "fuzz targets (fixed count)"
"$ZOH_ROOT/scripts/fuzz.sh" --runs 20000
stage ""
