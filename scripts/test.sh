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
# The JVM raises signals of its own and maps memory that LeakSanitizer cannot
# follow; the sanitizer build's JVM tests run with leak checks off.
(cd "$ZOH_ROOT/build-asan" && ASAN_OPTIONS=detect_leaks=1:handle_segv=0 \
  ctest --output-on-failure -j "$ZOH_JOBS")
