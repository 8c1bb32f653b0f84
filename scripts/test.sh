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

# ThreadSanitizer: only the programs whose tests run threads against shared
# state (the buffer pool, the scripted bridge, the contract suite on it, the
# instance's proxy creation), built in a third tree.
echo "== tests (thread sanitizer build)"
zoh_tsan_tests=(native_buffers_tests scripted_bridge_tests bridge_contract_scripted core_tests)
if [ ! -f "$ZOH_ROOT/build-tsan/build.ninja" ]; then
  cmake -S "$ZOH_ROOT" -B "$ZOH_ROOT/build-tsan" -G Ninja -DJAVA_HOME="$JAVA_HOME" \
    -DZOH_TSAN=ON >/dev/null
fi
ninja -C "$ZOH_ROOT/build-tsan" -j "$ZOH_JOBS" "${zoh_tsan_tests[@]}"
(cd "$ZOH_ROOT/build-tsan" && TSAN_OPTIONS=halt_on_error=1 \
  ctest --output-on-failure -j "$ZOH_JOBS" -R "^($(IFS='|'; echo "${zoh_tsan_tests[*]}"))\$")
