#!/usr/bin/env bash
# Builds the project and runs the end-to-end tour.
set -euo pipefail
source "$(dirname "$0")/env.sh"
"$ZOH_ROOT/scripts/setup.sh"
# The first build fetches the Java side's dependencies and takes a few minutes;
# its progress shows on standard error.
zoh_build "$ZOH_ROOT/build" >&2
exec "$ZOH_ROOT/build/tools/zohadoop-tour" "$@"
