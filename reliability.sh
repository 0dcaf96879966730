#!/usr/bin/env bash
# Reliability in figures: random faults, random input, repetition and sudden death, one line of counts
# each. Sets up and builds what is missing; takes some minutes, with --short about one.
#   ./reliability.sh [--short] [--start N] [--only "name"] [--from N] [--runs N]
# The random numbers have a fixed start (1), so the same runs are drawn on every machine; a fault is printed
# with the options that repeat it alone. --only takes the beginning of a part's name as well. The last line
# is the verdict.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

short=no start=1 only="" from=0 runs=""
while [ $# -gt 0 ]; do
  case $1 in
    --short) short=yes ;;
    --start | --only | --from | --runs)
      [ $# -gt 1 ] || { echo "reliability: $1 wants a value" >&2; exit 2; }
      printf -v "${1#--}" %s "$2"
      shift
      ;;
    *) echo "reliability: unknown option $1" >&2; exit 2 ;;
  esac
  shift
done

# Name, library (with its own checks on, or as it ships), runs, runs when short. All but the last are test
# cases of that name.
parts=(
  "downloads with faults,checked,1000,120"
  "pipe messages,checked,500,80"
  "prerequisite tables,checked,200,20"
  "search tables,checked,400,60"
  "texts,checked,200000,20000"
  "calls,ship,1000,100"
  "loads and unloads,ship,200,200"
  "killed installations,ship,16,2"
)

# wanted <name>: a fault of "calls" names the export after it.
wanted() { [[ $1 == "$only"* || $only == "$1 of "* ]]; }

any=no
for entry in "${parts[@]}"; do
  ! wanted "${entry%%,*}" || any=yes
done
if [ "$any" = no ]; then
  echo "reliability: no part is named $only; there are:" >&2
  printf '  %s\n' "${parts[@]%%,*}" >&2
  exit 2
fi

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

scripts/setup.sh
for preset in checked ship; do
  { cmake --preset "$preset" && cmake --build --preset "$preset"; } >"$logs/build-$preset.log" 2>&1 || {
    tail -n 40 "$logs/build-$preset.log"
    echo "reliability: the build failed ($preset)"
    exit 1
  }
done
scripts/wine.sh --boot

echo "random numbers from start $start"
for entry in "${parts[@]}"; do
  IFS=, read -r name preset count short_count <<<"$entry"
  wanted "$name" || continue
  [ "$short" = no ] || count=$short_count
  [ -z "$runs" ] || count=$runs
  if [ "$name" = "killed installations" ]; then
    part "$name" scripts/reliability/kills.sh "$count" "$start" "$from"
  else
    part "$name" scripts/wine.sh "build/$preset/bin/reliability.exe" "-tc=$name" \
      "--start=$start" "--from=$from" "--runs=$count"
  fi
done

echo "reliability: $all_runs runs, $all_faults faults"
[ "$all_faults" = 0 ]
