#!/usr/bin/env bash
# Starts the test cluster (a real HDFS on loopback) in the foreground, for
# trying the tool against HDFS by hand; Ctrl-C or the end of input stops it.
#   scripts/minicluster.sh [state-dir]       (default: build/minicluster)
# It prints the hdfs:// and webhdfs:// addresses and writes
# <state-dir>/core-site.xml, so `HADOOP_CONF_DIR=<state-dir>` points Hadoop
# clients, this library included, at it.
set -euo pipefail
source "$(dirname "$0")/env.sh"
"$ZOH_ROOT/scripts/setup.sh"
zoh_build "$ZOH_ROOT/build" >&2
state=${1:-$ZOH_ROOT/build/minicluster}
mkdir -p "$state"
echo "starting the test cluster in $state (Ctrl-C stops it)"
exec "$JAVA_HOME/bin/java" -Xmx768m -cp "$ZOH_ROOT/build/testcluster/zox-testcluster.jar:$ZOH_ROOT/build/testcluster/lib/*" \
  com.zorvanta.testcluster.TestCluster --dir "$state" --stop-on-eof 2>"$state/cluster.log"
