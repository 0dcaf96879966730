#!/usr/bin/env bash
# Counts the lines of C++ and Python that are neither blank nor comments, the programs' and the tests', and prints
# the tests' share of both. Fails when it is above the limit: scripts/count_lines.sh [percent]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
limit=${1:-36}

count() {
  find "$@" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.py' \) -exec cat {} + |
    grep -cvE '^[[:space:]]*($|//|#[! ]|#$)'
}
code=$(count src package tools bench)
tests=$(count tests)
share=$((tests * 1000 / (code + tests)))
printf '%d lines of code, %d of tests: %d.%d %%\n' "$code" "$tests" $((share / 10)) $((share % 10))
[ "$share" -le $((limit * 10)) ] || { echo "count_lines: the tests are more than $limit % of all lines" >&2; exit 1; }
