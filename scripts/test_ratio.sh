#!/usr/bin/env bash
# Lines of tests against lines of code, as docs/testing.md counts them: tests
# are the tracked sources under any tests/ folder; code is every other tracked
# source outside fuzz/, bench/ and docs/.
set -euo pipefail
cd "$(dirname "$0")/.."
count() { if [ -n "$1" ]; then echo "$1" | tr '\n' '\0' | xargs -0 cat | wc -l; else echo 0; fi; }
tests=$(git ls-files | grep -E '(^tests/|/tests/)' | grep -E '\.(cpp|h|c|cs|cmake|sh|py|txt|csproj)$' || true)
code=$(git ls-files | grep -v -E '(^tests/|/tests/|^fuzz/|^bench/|^docs/)' |
       grep -E '\.(cpp|h|c|cs|cmake|sh|py|in)$|CMakeLists.txt' || true)
t=$(count "$tests")
c=$(count "$code")
echo "tests: $t lines, code: $c lines, tests/code: $((100 * t / c))%"
