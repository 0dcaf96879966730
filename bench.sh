#!/usr/bin/env bash
# Builds the library as it ships and runs every benchmark beside its yardstick. One line each, with
# the ratio of our time to the yardstick's: below 1 we are faster.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
scripts/setup.sh
cmake --preset ship >/dev/null
cmake --build --preset ship >/dev/null

scripts/wine.sh build/ship/bin/snapshot_bench.exe
bench/md5.sh
scripts/wine.sh build/ship/bin/search_bench.exe
bench/download.sh
scripts/wine.sh build/ship/bin/pipe_bench.exe
scripts/wine.sh --stop
