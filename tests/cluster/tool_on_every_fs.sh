#!/usr/bin/env bash
# The command-line tool and the tour with the same steps on every file system
# under test: a local directory, and the test cluster through hdfs:// and
# webhdfs://. Usage: tool_on_every_fs.sh <zohadoop-fs> <zohadoop-tour>
set -euo pipefail
fs_tool=$1 tour=$2
source "${ZOH_TEST_CLUSTER:?the ready file of the test cluster}"
local_dir=$(mktemp -d)
trap 'rm -rf "$local_dir"' EXIT
failures=0
check() {  # check <what> <expected> <actual>
  if [ "$2" != "$3" ]; then
    echo "FAILED on $base: $1: expected '$2', got '$3'" >&2
    failures=$((failures + 1))
  fi
}

head -c 3000000 /dev/urandom >"$local_dir/blob"
printf 'one\ntwo\n' >"$local_dir/small.txt"
for base in "file://$local_dir/fs" "$hdfs/tool-$$" "$webhdfs/tool-web-$$"; do
  d="$base/d e"   # a space in a name
  "$fs_tool" mkdir -p "$d"
  "$fs_tool" put "$local_dir/blob" "$d/blob"
  "$fs_tool" put - "$d/Grüße.txt" <"$local_dir/small.txt"
  check "cat" "$(cat "$local_dir/small.txt")" "$("$fs_tool" cat "$d/Grüße.txt")"
  names=$("$fs_tool" ls "$d" | sed -n 's|.*/||p' | sort | tr '\n' ' ')
  check "ls names" "Grüße.txt blob " "$names"
  check "stat size" "3000000" "$("$fs_tool" stat %b "$d/blob")"
  rm -f "$local_dir/back"
  "$fs_tool" get "$d/blob" "$local_dir/back"
  check "get" "$(sha1sum <"$local_dir/blob")" "$(sha1sum <"$local_dir/back")"
  "$fs_tool" mv "$d/blob" "$d/moved"
  check "mv" "1 0" "$("$fs_tool" test -e "$d/moved" && echo 1) $("$fs_tool" test -e "$d/blob" || echo 0)"
  "$fs_tool" rm -r "$base"
  check "rm" "gone" "$("$fs_tool" test -e "$base" || echo gone)"
  if ! "$tour" "$base" >"$local_dir/tour.out"; then
    cat "$local_dir/tour.out" >&2
    failures=$((failures + 1))
  fi
done
base="a file whose size says nothing"
check "cat /proc/version" "$(cat /proc/version)" "$("$fs_tool" cat /proc/version)"

# A JVM that cannot start is an error the tool reports; the process lives on
# to say so, and the JVM's own words stay off standard output.
set +e
out=$(ZOH_JVM_OPTIONS=-Xmx1k "$fs_tool" ls / 2>"$local_dir/err"); status=$?
set -e
base="a JVM that cannot start"
check "exit status" "1" "$status"
check "standard output" "" "$out"
check "error" "the JVM could not be started" "$(grep -o 'the JVM could not be started' "$local_dir/err")"
echo "3 file systems checked, $failures failures"
[ "$failures" -eq 0 ]
