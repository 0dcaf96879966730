#!/usr/bin/env bash
# Reliability in figures: random faults, random input, repetition and sudden death, one line of counts
# each. Sets up and builds what is missing; takes some minutes, with --short about one.
#   ./reliability.sh [--short] [--seed N] [--only "name"] [--from N] [--runs N]
# The same seed (1) draws the same runs on every machine; a fault is printed with the options that repeat
# it alone. The last line is the verdict.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

short=no seed=1 only="" from=0 runs=""
while [ $# -gt 0 ]; do
  case $1 in
    --short) short=yes ;;
    --seed | --only | --from | --runs)
      [ $# -gt 1 ] || { echo "reliability: $1 wants a value" >&2; exit 2; }
      printf -v "${1#--}" %s "$2"
      shift
      ;;
    *) echo "reliability: unknown option $1" >&2; exit 2 ;;
  esac
  shift
done

logs=build/reliability
mkdir -p "$logs"
trap 'scripts/wine.sh --stop' EXIT
all_runs=0
all_faults=0

# Shows what a part has to say, and counts it. One that ends badly without a word is a fault too.
part() { # name command...
  local name=$1 log="$logs/${1// /-}.log" code=0 faults
  shift
  timeout 1500 "$@" >"$log" 2>&1 || code=$?
  tr -d '\r' <"$log" | grep -E '^FAULT|[0-9] runs  .* faults$' || true
  faults=$(grep -c '^FAULT' "$log" || true)
  if [ "$code" != 0 ] && [ "$faults" = 0 ]; then
    faults=1
    echo "FAULT $name ended with exit code $code:"
    tail -n 20 "$log"
  fi
  all_faults=$((all_faults + faults))
  all_runs=$((all_runs + $(tr -d '\r,' <"$log" | awk '
    match($0, /[0-9]+ runs  /) {n += substr($0, RSTART)} END {print n + 0}')))
}

# wanted <name> <runs> <runs when short>: leaves in $count how many runs there are to be.
wanted() {
  [ -z "$only" ] || [[ $only == "$1"* ]] || return 1
  count=$2
  [ "$short" = no ] || count=$3
  [ -z "$runs" ] || count=$runs
}

# In the program of the preset, a part is a test case of that name.
random_part() { # name preset runs runs-when-short
  wanted "$1" "$3" "$4" || return 0
  part "$1" scripts/wine.sh "build/$2/bin/reliability.exe" "-tc=$1" \
    "--seed=$seed" "--from=$from" "--runs=$count"
}

scripts/setup.sh
for preset in checked ship; do
  { cmake --preset "$preset" && cmake --build --preset "$preset"; } >"$logs/build-$preset.log" 2>&1 || {
    tail -n 40 "$logs/build-$preset.log"
    echo "reliability: the build failed ($preset)"
    exit 1
  }
done
scripts/wine.sh --boot

echo "seed $seed"
# With the library's own checks on.
random_part "downloads with faults" checked 1000 120
random_part "pipe messages" checked 500 80
random_part "prerequisite tables" checked 200 20
random_part "search tables" checked 400 60
random_part "texts" checked 200000 20000
# The library as it ships.
random_part "calls" ship 1000 100
random_part "loads and unloads" ship 200 200
if wanted "killed installations" 16 2; then
  part "killed installations" scripts/reliability/kills.sh "$count" "$seed" "$from"
fi

echo "reliability: $all_runs runs, $all_faults faults"
[ "$all_faults" = 0 ]
