#!/usr/bin/env bash
# Every source has the layout that .clang-format gives it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mapfile -t files < <(find src tests bench package tools -name '*.h' -o -name '*.cpp')
clang-format --dry-run -Werror "${files[@]}"
echo "${#files[@]} sources"
