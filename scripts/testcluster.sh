#!/usr/bin/env bash
# Starts or stops the test cluster (a real HDFS on loopback) in the background.
#   testcluster.sh start <cluster-home> <state-dir> [launcher options]
#   testcluster.sh stop <state-dir>
# <cluster-home> holds zox-testcluster.jar and lib/ (the build's testcluster
# directory). "start" returns once the cluster answers, with <state-dir>/cluster.env
# naming it (hdfs=..., webhdfs=...); its log is <state-dir>/cluster.log.
# Launcher options pass through: --kerberos secures the cluster with a KDC of
# its own, whose users' passwords it writes to <state-dir>/passwords (mode 600),
# never onto a command line.
set -euo pipefail
action=${1:?usage: testcluster.sh start|stop ...}
java=${JAVA_HOME:+$JAVA_HOME/bin/}java
started=$(date +%s%N)

case "$action" in
  start)
    home=${2:?cluster home}; state=${3:?state directory}; shift 3
    "$0" stop "$state" 2>/dev/null || true
    rm -rf "$state"; mkdir -p "$state"
    # Absolute, because the cluster runs in its state directory (YARN's mini
    # cluster writes beneath its working directory) and hands its class path
    # to the containers it starts.
    home=$(cd "$home" && pwd); state=$(cd "$state" && pwd)
    # Its own session and no terminal: the cluster outlives this script, and
    # nothing of it holds the caller's pipes open.
    cd "$state"
    setsid "$java" -Xmx768m -XX:+UseSerialGC -cp "$home/zox-testcluster.jar:$home/lib/*" \
      com.zorvanta.testcluster.TestCluster --dir "$state" "$@" \
      </dev/null >"$state/cluster.log" 2>&1 &
    echo $! >"$state/cluster.pid"
    for _ in $(seq 1 1200); do
      if [ -f "$state/cluster.env" ]; then
        echo "test cluster up in $((($(date +%s%N) - started) / 1000000)) ms:" \
          "$(tr '\n' ' ' <"$state/cluster.env")"
        exit 0
      fi
      if ! kill -0 "$(cat "$state/cluster.pid")" 2>/dev/null; then
        echo "test cluster failed to start; the end of its log:" >&2
        tail -n 40 "$state/cluster.log" >&2
        exit 1
      fi
      sleep 0.1
    done
    echo "test cluster not ready after 120 s; see $state/cluster.log" >&2
    "$0" stop "$state" || true
    exit 1
    ;;
  stop)
    state=${2:?state directory}
    [ -f "$state/cluster.pid" ] || exit 0
    pid=$(cat "$state/cluster.pid")
    if kill -TERM "$pid" 2>/dev/null; then
      for _ in $(seq 1 300); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
      kill -KILL "$pid" 2>/dev/null || true
    fi
    rm -f "$state/cluster.pid" "$state/cluster.env"
    ;;
  *)
    echo "usage: testcluster.sh start <cluster-home> <state-dir> [options] | stop <state-dir>" >&2
    exit 2
    ;;
esac
