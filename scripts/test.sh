#!/usr/bin/env bash
# The whole test suite: installs what is missing, builds both systems, runs
# every test natively and, for the Windows build, under Wine; then the native
# tests under AddressSanitizer, UndefinedBehaviorSanitizer and
# ThreadSanitizer, and a short run of every fuzz target.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

# Each stage says when it starts, in seconds from the start of the run.
stage() { echo "== $1 (at ${SECONDS} s)"; }

scripts/setup.sh
stage "building"
scripts/build.sh

# The tests often wait, on timers and on other processes: the sanitizer
# trees build beside them at the lowest priority, so that the tests keep the
# processors whenever they want them.
nice -n 19 scripts/sanitizers.sh build >build/sanitizer-build.log 2>&1 &
sanitizer_build=$!
trap 'kill $sanitizer_build 2>/dev/null || true' EXIT

status=0
stage "native tests"
(cd build/native && ctest --output-on-failure --timeout 300 -j "$(nproc)") || status=1

stage "Windows tests under Wine"
MIRT_BUILD="$root/build"
source scripts/wine_env.sh
trap 'wine_stop; kill $sanitizer_build 2>/dev/null || true' EXIT
wine_start
(cd build/windows && ctest --output-on-failure --timeout 300 -j "$(nproc)") || status=1

wine_stop
trap - EXIT
stage "waiting for the sanitizer trees"
if ! wait $sanitizer_build; then
  echo "building the sanitizer trees failed:"
  tail -40 build/sanitizer-build.log
  status=1
fi

# The native suite again under sanitizers, then every fuzz target for 30 seconds.
stage "sanitizers"
scripts/sanitizers.sh || status=1
stage "fuzzing"
scripts/fuzz.sh 30 || status=1

stage "done"
if [ $status -eq 0 ]; then echo "all tests passed"; else echo "some tests failed"; fi
exit $status
