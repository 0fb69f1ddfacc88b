#!/usr/bin/env bash
# Measures mirt64's line coverage against gcov's on a real project: builds it
# twice (gcc/g++ -O0 --coverage, and through mirt-cc at -O0), runs its tests in
# each build, turns both results into LCOV tracefiles and compares them with
# compare_lcov.py.
#
#   scripts/measure_against_gcov.sh SOURCE_TREE [options] [-- compare_lcov.py options]
#
#   --work DIR        folder for the builds and results (default: build/measure/NAME here)
#   --cmake-arg ARG   extra CMake argument for both builds (repeatable)
#   --target T        build only target T (repeatable; default: all)
#   --test CMD        test command, run by bash in each build folder (default: ctest -j1;
#                     with --make: make check, with the same overrides as the build)
#   --mirt DIR        the mirt64 build to use (default: this repository's build/native)
#   --make            a plain make project: the tree is copied to WORK/src and built
#                     there twice, with CC="gcc --coverage" and with CC="mirt-cc gcc"
#                     (CXX alike); optimisation is the project's (set it with --make-arg)
#   --make-arg ARG    extra make argument for both builds, e.g. CFLAGS="-O0 -g" (repeatable)
#   --prepare CMD     with --make: run in the fresh copy before each build (./configure ...)
#   --jobs N          parallel build jobs (default 2)
#
# gcov's tests run twice (the second run from zero): lines whose gcov counts
# differ between the runs take no part in the "exact by blocks" figure.
# Results in WORK: gcov.info, gcov-runs.info (how often each line ran by gcov's
# blocks), gcov-again.info, mirt.info, mirt_exit.out, summary.txt (the table)
# and details.txt (every disagreeing line). The runtime appends every process's
# counts to the fixed file /tmp/mirt_exit.out when it ends. Run as root with
# WORK outside /tmp, the mirt64 build and its tests get a /tmp of their own
# (WORK/tmp, bound over /tmp in a private mount namespace), so that other programs using the runtime
# meanwhile do not mix with them; otherwise /tmp/mirt_exit.out is removed before
# the mirt64 build, and nothing else that loads the runtime may run until the
# measurement ends. Exit status: that of compare_lcov.py (0, or 3 below a --min-*
# threshold), 1 when a build or a tool fails.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
usage() { sed -n '2,/^set -euo/p' "$0" | sed '$d' | sed 's/^# \{0,1\}//'; exit "${1:-1}"; }

[ $# -ge 1 ] || usage
case "$1" in -h|--help) usage 0 ;; esac
source_tree=$(cd "$1" && pwd -P)
shift
work="" mirt="$repo/build/native" make_mode=0 jobs=2 test_cmd="" prepare=""
cmake_args=() targets=() make_args=() compare_args=()
while [ $# -gt 0 ]; do
  case "$1" in
    --work) work=$2; shift ;;
    --cmake-arg) cmake_args+=("$2"); shift ;;
    --target) targets+=("$2"); shift ;;
    --test) test_cmd=$2; shift ;;
    --mirt) mirt=$2; shift ;;
    --make) make_mode=1 ;;
    --make-arg) make_args+=("$2"); shift ;;
    --prepare) prepare=$2; shift ;;
    --jobs) jobs=$2; shift ;;
    --) shift; compare_args=("$@"); break ;;
    -h|--help) usage 0 ;;
    *) echo "measure_against_gcov: unknown option $1" >&2; usage ;;
  esac
  shift
done

mirt=$(cd "$mirt" && pwd)
mirt_cc=$mirt/bin/mirt-cc
mirt_report=$mirt/bin/mirt-report
for tool in "$mirt_cc" "$mirt_report"; do
  [ -x "$tool" ] || { echo "measure_against_gcov: $tool is missing (build mirt-cc and mirt-report)" >&2; exit 1; }
done
lib_dir=""
for d in "$mirt/lib" "$mirt/bin"; do
  if [ -e "$d/libmirt64.so" ]; then lib_dir=$d; break; fi
done
[ -n "$lib_dir" ] || { echo "measure_against_gcov: no libmirt64.so in $mirt/lib or $mirt/bin" >&2; exit 1; }
# The CMake module of the mirt64 sources that this build comes from.
mirt_source=$(sed -n 's/^mirt64_SOURCE_DIR:STATIC=//p' "$mirt/CMakeCache.txt" 2>/dev/null || true)
module=${mirt_source:-$repo}/cmake/MirtCoverage.cmake
[ -f "$module" ] || module=$repo/cmake/MirtCoverage.cmake

work=${work:-$repo/build/measure/$(basename "$source_tree")}
mkdir -p "$work"
work=$(cd "$work" && pwd)
# A /tmp of the mirt64 build's own, where the runtime's fixed files go.
mkdir -p "$work/tmp"
if [ "$(id -u)" = 0 ] && [ "${work#/tmp/}" = "$work" ] && unshare --mount --propagation private true 2>/dev/null; then
  private_tmp() { unshare --mount --propagation private sh -c 'mount --bind "$0" /tmp && exec "$@"' "$work/tmp" "$@"; }
  exit_file=$work/tmp/mirt_exit.out
else
  private_tmp() { "$@"; }
  exit_file=/tmp/mirt_exit.out
fi

phase() { echo "== $1 (at ${SECONDS} s)"; }
run_logged() {  # LOG COMMAND...: runs the command with its output in LOG, shows the end on failure
  local log=$1; shift
  if ! "$@" >"$log" 2>&1; then
    tail -30 "$log"
    echo "measure_against_gcov: failed: $* (log: $log)" >&2
    return 1
  fi
}
run_tests() {  # FOLDER NAME [WRAPPER]: the test command in FOLDER; failing tests are reported, not fatal
  local status=0
  (cd "$1" && ${3:-} bash -c "$test_cmd") >"$work/test-$2.log" 2>&1 || status=$?
  echo "tests ($2): exit status $status; $(grep -E 'tests passed|tests failed' "$work/test-$2.log" | tail -1)"
}

# The line maps (mirt-cc writes X.o.mirtmap beside each object) give the
# never-run lines, when this mirt-report reads them. It runs in an empty
# folder, so that it finds no maps but those it is given.
mirt_lcov() {  # BUILD_FOLDER
  local map=() help
  help=$({ "$mirt_report" --help; "$mirt_report" lcov --help; } 2>&1 || true)
  if [[ $help == *--map* ]] && [ -n "$(find "$1" -name '*.mirtmap' -print -quit)" ]; then
    map=(--map "$1")
  else
    echo "mirt-report: no line map used"
  fi
  # A test that kills a process while it writes its counts leaves a group cut
  # short: read on past it, and say so.
  local lenient=()
  [[ $help == *--lenient* ]] && lenient=(--lenient)
  rm -rf "$work/report" && mkdir "$work/report"
  (cd "$work/report" &&
    run_logged "$work/report.log" "$mirt_report" "${lenient[@]}" "${map[@]}" lcov "$work/mirt_exit.out" -o "$work/mirt.info")
  if grep -q ": warning: " "$work/report.log"; then
    echo "mirt-report: $(grep -c ': warning: ' "$work/report.log") warnings (report.log)"
  fi
}

# gcov's tracefile, and how often each line ran by gcov's blocks; then the
# tests once more from zero, so that lines whose counts depend on threads or
# timing show as such.
gcov_capture() {  # FOLDER (the test command's environment comes from the caller)
  local folder=$1
  run_logged "$work/gcov-capture.log" python3 "$repo/scripts/gcov_to_lcov.py" "$folder" -o "$work/gcov.info" \
    --runs "$work/gcov-runs.info" --jobs "$jobs"
  find "$folder" -name '*.gcda' -delete
  run_tests "$folder" gcov-again
  run_logged "$work/gcov-again-capture.log" python3 "$repo/scripts/gcov_to_lcov.py" "$folder" -o "$work/gcov-again.info" --jobs "$jobs"
  # A test command that runs nothing (the build ran the tests) tells nothing.
  grep -q '^DA:[0-9]*,[1-9]' "$work/gcov-again.info" || rm -f "$work/gcov-again.info"
}

build_cmake() {  # FOLDER NAME WRAPPER CMAKE_ARGS...
  local folder=$1 name=$2 wrapper=$3; shift 3
  rm -rf "$folder"
  run_logged "$work/configure-$name.log" $wrapper cmake -S "$source_tree" -B "$folder" -DCMAKE_BUILD_TYPE=Debug "$@" "${cmake_args[@]}"
  local target_args=()
  [ ${#targets[@]} -eq 0 ] || target_args=(--target "${targets[@]}")
  run_logged "$work/build-$name.log" $wrapper cmake --build "$folder" -j "$jobs" "${target_args[@]}"
}

make_in_copy() {  # NAME WRAPPER CC CXX
  local name=$1 wrapper=$2
  rm -rf "$work/src"
  cp -a "$source_tree" "$work/src"
  find "$work/src" \( -name '*.gcda' -o -name '*.gcno' -o -name '*.mirtmap' \) -delete
  if [ -n "$prepare" ]; then
    run_logged "$work/prepare-$name.log" $wrapper env CC="$3" CXX="$4" bash -c "cd '$work/src' && $prepare"
  fi
  run_logged "$work/build-$name.log" $wrapper make -C "$work/src" -j "$jobs" CC="$3" CXX="$4" "${make_args[@]}" "${targets[@]}"
}

rm -f "$work"/gcov*.info "$work"/mirt.info "$work"/mirt_exit.out
if [ $make_mode -eq 0 ]; then
  test_cmd=${test_cmd:-ctest -j1}
  root=$source_tree
  phase "gcov build"
  build_cmake "$work/gcov" gcov "" -DCMAKE_C_FLAGS="-O0 --coverage" -DCMAKE_CXX_FLAGS="-O0 --coverage" \
    -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage -DCMAKE_MODULE_LINKER_FLAGS=--coverage
  phase "gcov tests"
  run_tests "$work/gcov" gcov
  gcov_capture "$work/gcov"

  phase "mirt64 build"
  rm -f "$exit_file"
  build_cmake "$work/mirt" mirt private_tmp -DCMAKE_PROJECT_INCLUDE="$module" -DMIRT_CC="$mirt_cc" -DMIRT_LIB_DIR="$lib_dir" \
    -DCMAKE_C_FLAGS=-O0 -DCMAKE_CXX_FLAGS=-O0
  phase "mirt64 tests"
  run_tests "$work/mirt" mirt private_tmp
  mirt_build=$work/mirt
else
  [ -n "$test_cmd" ] || test_cmd='make CC="$CC" CXX="$CXX" $MEASURE_MAKE_ARGS check'
  export MEASURE_MAKE_ARGS="${make_args[*]:-}"
  root=$work/src
  phase "gcov build"
  make_in_copy gcov "" "gcc --coverage" "g++ --coverage"
  phase "gcov tests"
  CC="gcc --coverage" CXX="g++ --coverage" run_tests "$work/src" gcov
  CC="gcc --coverage" CXX="g++ --coverage" gcov_capture "$work/src"
  rm -rf "$work/gcov-src"
  mv "$work/src" "$work/gcov-src"

  phase "mirt64 build"
  rm -f "$exit_file"
  make_in_copy mirt private_tmp "$mirt_cc --mirt-lib-dir=$lib_dir gcc" "$mirt_cc --mirt-lib-dir=$lib_dir g++"
  phase "mirt64 tests"
  CC="$mirt_cc --mirt-lib-dir=$lib_dir gcc" CXX="$mirt_cc --mirt-lib-dir=$lib_dir g++" run_tests "$work/src" mirt private_tmp
  mirt_build=$work/src
fi
if [ ! -s "$exit_file" ]; then
  echo "measure_against_gcov: no counts in $exit_file: did the tests load libmirt64.so?" >&2
  exit 1
fi
cp "$exit_file" "$work/mirt_exit.out"
mirt_lcov "$mirt_build"

phase "comparing"
compare=(python3 "$repo/scripts/compare_lcov.py" "$work/gcov.info" "$work/mirt.info" --root "$root" --only "$root"
         --runs "$work/gcov-runs.info")
[ ! -e "$work/gcov-again.info" ] || compare+=(--again "$work/gcov-again.info")
status=0
"${compare[@]}" --details "${compare_args[@]}" >"$work/details.txt" || true
"${compare[@]}" "${compare_args[@]}" | tee "$work/summary.txt" || status=${PIPESTATUS[0]}
[ "$status" -ne 2 ] || exit 1
echo "every disagreeing line: $work/details.txt"
phase "done"
exit $status
