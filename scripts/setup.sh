#!/usr/bin/env bash
# Installs what the build and the tests need, from Debian's packages (the
# Java side's own dependencies come from Maven Central during the build).
# Idempotent and non-interactive; run as root on Debian 12.
set -euo pipefail

packages=(cmake ninja-build g++ make libgtest-dev libgmock-dev googletest
          openjdk-17-jdk-headless maven clang libfuzzer-14-dev libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
