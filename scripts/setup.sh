#!/usr/bin/env bash
# Installs what building and testing need, when it is missing (Debian; run as root).
set -euo pipefail

packages=(cmake make g++ googletest libbenchmark-dev llvm g++-mingw-w64-x86-64-posix wine64 binutils-mingw-w64-x86-64
          libcli11-dev libtinyxml2-dev nlohmann-json3-dev lcov pkg-config python3
          clang llvm-14-dev libclang-14-dev libclang-cpp14-dev libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
