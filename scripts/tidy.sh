#!/usr/bin/env bash
# Reads the sources of the library with clang-tidy (package clang-tidy) as the cross compiler sees them:
#   scripts/tidy.sh [file ...]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(find src -name '*.cpp')
# The compiler's own include folders, which clang does not know.
mapfile -t folders < <(i686-w64-mingw32-g++-win32 -xc++ -E -v /dev/null 2>&1 |
  sed -n '/#include </,/End of search/s/^ \(\/.*\)/\1/p' | grep -v 'lib/gcc/.*/include$')
options=(--target=i686-w64-mingw32 -std=c++20 -nostdinc++ -Isrc -DUNICODE -D_UNICODE -DNOMINMAX
  -DWIN32_LEAN_AND_MEAN -D_WIN32_WINNT=0x0501)
for folder in "${folders[@]}"; do options+=(-isystem "$folder"); done
clang-tidy --quiet "${files[@]}" -- "${options[@]}"
