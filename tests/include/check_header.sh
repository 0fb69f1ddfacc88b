#!/bin/sh
# The public header compiles without a word in strict builds: C89, C99 and
# C11 with -pedantic -Werror, and C++ with string literals for names; for the
# Windows target too, when the cross compiler is there.
#   check_header.sh INCLUDE_DIR
set -eu
include=$1
here=$(dirname "$0")
strict="-pedantic -Werror -Wall -Wextra -fsyntax-only -I$include"
check() { "$@" || { echo "the header does not compile cleanly: $*"; exit 1; }; }
for cc in gcc x86_64-w64-mingw32-gcc-posix; do
  command -v "$cc" >/dev/null || continue
  for std in c89 c99 c11; do check "$cc" -std=$std $strict "$here/header_use.c"; done
done
for cxx in g++ x86_64-w64-mingw32-g++-posix; do
  command -v "$cxx" >/dev/null || continue
  for std in c++11 c++17 c++20; do check "$cxx" -std=$std -Wwrite-strings $strict "$here/header_use.cpp"; done
done
echo "the header compiles cleanly"
