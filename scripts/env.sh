# Shared settings of the project's scripts (sourced).
export JAVA_HOME=${ZOH_JAVA_HOME:-/usr/lib/jvm/java-17-openjdk-amd64}
ZOH_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
ZOH_JOBS=${ZOH_JOBS:-$(nproc)}

# zoh_build <dir> [cmake options...]: configure once, then build everything.
zoh_build() {
  local dir=$1; shift
  if [ ! -f "$dir/build.ninja" ]; then
    cmake -S "$ZOH_ROOT" -B "$dir" -G Ninja -DJAVA_HOME="$JAVA_HOME" "$@" >/dev/null
  fi
  ninja -C "$dir" -j "$ZOH_JOBS"
}
