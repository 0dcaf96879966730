#!/usr/bin/env bash
# Builds the library as it ships and runs every benchmark beside its yardstick. Prints one table: what was
# measured, the yardstick taken in the same run, our time (or size) in units of that, and the largest
# ratio that is aimed at. Speeds are shown as speeds; their ratio is of times all the same, so below 1 is
# better everywhere. The last line is the verdict; the figures are noisy and nothing fails on them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
trap 'scripts/wine.sh --stop' EXIT
trap 'echo "bench: FAILED, a benchmark did not come to its end"' ERR
scripts/setup.sh
cmake --preset ship >/dev/null
cmake --build --preset ship >/dev/null

limit=$((180 << 10))
size=$(stat -c %s build/ship/bin/Prereq.dll)
{
  awk "BEGIN {printf \"size of the library\t%.1f KiB\tits limit\t%.1f KiB\t%.2f\t1.00\n\",
    $size / 1024, $limit / 1024, $size / $limit}"
  scripts/wine.sh build/ship/bin/snapshot_bench.exe
  bench/md5.sh
  scripts/wine.sh build/ship/bin/search_bench.exe
  bench/download.sh
  scripts/wine.sh build/ship/bin/pipe_bench.exe
} | tr -d '\r' | awk -F '\t' '
  function line(figure, ours, yardstick, its, ratio, aim, verdict) {
    printf "%-38s %11s   %-21s %11s %7s %6s  %s\n", figure, ours, yardstick, its, ratio, aim, verdict
    fflush()
  }
  BEGIN { line("figure", "ours", "yardstick", "its", "ratio", "aim", "") }
  {
    met = $6 == "" ? "" : $5 <= $6 ? "met" : "missed"
    aims += met != ""; good += met == "met"
    line($1, $2, $3, $4, $5, $6, met)
  }
  END { printf "bench: %d of %d aims met\n", good, aims }'
