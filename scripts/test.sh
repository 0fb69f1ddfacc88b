#!/usr/bin/env bash
# The whole test suite: installs what is missing, builds both systems, runs
# every test natively and, for the Windows build, under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/setup.sh
scripts/build.sh

status=0
echo "== native tests"
(cd build/native && ctest --output-on-failure --timeout 300 -j "$(nproc)") || status=1

echo "== Windows tests under Wine"
MIRT_BUILD="$root/build"
source scripts/wine_env.sh
trap wine_stop EXIT
wine_start
(cd build/windows && ctest --output-on-failure --timeout 300 -j "$(nproc)") || status=1

if [ $status -eq 0 ]; then echo "all tests passed"; else echo "some tests failed"; fi
exit $status
