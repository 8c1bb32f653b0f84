#!/usr/bin/env bash
# Builds the benchmark programs, starts a test cluster, runs every benchmark,
# stops the cluster, and writes the tables and the JSON lines.
#   scripts/bench.sh [build-dir]        (default: build)
# Results: <build-dir>/bench-results/tables.md and results.jsonl (the tables
# also go to standard output). Environment: ZOH_BENCH_ROUNDS (default 7),
# ZOH_BENCH_MIB (the HDFS bulk size, default 1024), ZOH_BENCH_LARGE_WALK=1
# (adds the 100,000-entry walk on HDFS: minutes of file making).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"
build=${1:-build}
rounds=${ZOH_BENCH_ROUNDS:-7}
mib=${ZOH_BENCH_MIB:-1024}
started=$(date -u '+%Y-%m-%d %H:%M UTC')
load_at_start=$(cut -d' ' -f1-3 /proc/loadavg)

if [ ! -f "$build/build.ninja" ]; then
  cmake -S "$ZOH_ROOT" -B "$build" -G Ninja -DJAVA_HOME="$JAVA_HOME" >/dev/null
fi
ninja -C "$build" -j "$ZOH_JOBS" zox_proxies calls_bench hdfs_bench growth_bench

results=$build/bench-results
state=$build/bench-cluster
mkdir -p "$results"
: >"$results/raw.txt"
trap '"$ZOH_ROOT/scripts/testcluster.sh" stop "$state" || true' EXIT
"$ZOH_ROOT/scripts/testcluster.sh" start "$build/testcluster" "$state"
hdfs=$(sed -n 's/^hdfs=//p' "$state/cluster.env")

# Each program prints its tables and then one JSON line per figure on
# standard output; progress goes to standard error.
run() {
  echo "== $*" >&2
  printf '\n### `%s`\n' "${*#"$build/"}" >>"$results/raw.txt"
  "$@" | tee -a "$results/raw.txt"
}
large=()
[ "${ZOH_BENCH_LARGE_WALK:-0}" = 1 ] && large=(--large-walk)
run "$build/bench/hdfs_bench" "$hdfs" --rounds "$rounds" --mib "$mib" "${large[@]}"
"$ZOH_ROOT/scripts/testcluster.sh" stop "$state"
trap - EXIT
run "$build/bench/growth_bench" --rounds "$rounds"
run "$build/bench/growth_bench" --instructions
# calls_bench prints its JSON lines on standard error.
echo "== $build/bench/calls_bench" >&2
printf '\n### `bench/calls_bench`\n\n```\n' >>"$results/raw.txt"
"$build/bench/calls_bench" 2>"$results/calls.json" | tee -a "$results/raw.txt"
echo '```' >>"$results/raw.txt"

{
  echo "Taken $started on $(nproc) cores, load average (1, 5, 15 min) at the start $load_at_start, at the end $(cut -d' ' -f1-3 /proc/loadavg)."
  echo
  echo "Command: scripts/bench.sh (rounds $rounds, HDFS bulk size $mib MiB)"
  grep -v '^{' "$results/raw.txt"
} >"$results/tables.md"
{ grep '^{' "$results/raw.txt" || true; grep '^{' "$results/calls.json" || true; } >"$results/results.jsonl"
echo
cat "$results/tables.md"
echo "tables: $results/tables.md; JSON lines: $results/results.jsonl"
