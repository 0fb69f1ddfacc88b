#!/usr/bin/env bash
# The main job: builds the runtime and runs the example program against it.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/native -j "$(nproc)" --target demo >/dev/null
out=$(mktemp -d)
(cd "$out" && "$OLDPWD/build/native/bin/demo")
echo "trace file written by the demo: $(stat -c %s "$out/trace.out") bytes"
