#!/usr/bin/env bash
# Builds the project and runs the end-to-end tour.
set -euo pipefail
source "$(dirname "$0")/env.sh"
"$ZOH_ROOT/scripts/setup.sh"
zoh_build "$ZOH_ROOT/build" >/dev/null
exec "$ZOH_ROOT/build/tools/zohadoop-tour" "$@"
