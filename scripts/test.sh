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
# Fuzz targets (clang, a build of their own): each runs a fixed number of inputs
# from its seeds on; scripts/fuzz.sh alone runs them for longer.
stage "fuzz targets (fixed count)"
"$ZOH_ROOT/scripts/fuzz.sh" --runs 20000
stage ""
