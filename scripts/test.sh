#!/usr/bin/env bash
# Builds the project twice (plain, and with AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs every test in both builds.
set -euo pipefail
source "$(dirname "$0")/env.sh"
"$ZOH_ROOT/scripts/setup.sh"

zoh_build "$ZOH_ROOT/build"
zoh_build "$ZOH_ROOT/build-asan" -DZOH_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug

echo "== tests (plain build)"
(cd "$ZOH_ROOT/build" && ctest --output-on-failure -j "$ZOH_JOBS")
echo "== tests (sanitizer build)"
# Tests that start a JVM turn leak checking off themselves (the JVM maps and
# keeps memory LeakSanitizer cannot follow); the rest run with leak checks on.
(cd "$ZOH_ROOT/build-asan" && ASAN_OPTIONS=detect_leaks=1:handle_segv=0 \
  ctest --output-on-failure -j "$ZOH_JOBS")

# Fuzz targets (clang, a build of their own): each runs a fixed number of inputs
# from its seeds on; scripts/fuzz.sh alone runs them for longer.
echo "== fuzz targets (fixed count)"
"$ZOH_ROOT/scripts/fuzz.sh" --runs 20000
