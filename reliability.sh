#!/usr/bin/env bash
# Reliability in figures: random faults, random input, repetition and sudden death, one line of counts
# each. Sets up and builds what is missing; takes some minutes, with --short about one.
#   ./reliability.sh [--short] [--start N] [--only "name"] [--from N] [--runs N] [--as-built]
# The random numbers have a fixed start (1), so the same runs are drawn on every machine; a fault is printed
# with the options that repeat it alone. --only takes the beginning of a part's name as well. --as-built leaves
# set-up, build and Wine to whoever calls. The last line is the verdict.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

short=no start=1 only="" from=0 runs="" as_built=no
while [ $# -gt 0 ]; do
  case $1 in
    --short) short=yes ;;
    --as-built) as_built=yes ;;
    --start | --only | --from | --runs)
      [ $# -gt 1 ] || { echo "reliability: $1 wants a value" >&2; exit 2; }
      printf -v "${1#--}" %s "$2"
      shift
      ;;
    *) echo "reliability: unknown option $1" >&2; exit 2 ;;
  esac
  shift
done

# A fault of "calls" names the export after it.
parts=()
while IFS= read -r entry; do
  [[ ${entry%%|*} != "$only"* && $only != "${entry%%|*} of "* ]] || parts+=("$entry")
done < <(grep -v '^#' tests/reliability/parts.txt)
if [ ${#parts[@]} = 0 ]; then
  echo "reliability: no part is named $only; there are:" >&2
  sed -n 's/^\([^#|]*\)|.*/  \1/p' tests/reliability/parts.txt >&2
  exit 2
fi

logs=build/reliability
mkdir -p "$logs"
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

if [ "$as_built" = no ]; then
  fault_server() { tests/servers/fault_server.py "$1" build/fault_server; }
  trap 'scripts/wine.sh --stop; fault_server stop' EXIT
  scripts/setup.sh
  scripts/build.sh checked ship >"$logs/build.log" 2>&1 ||
    { tail -n 40 "$logs/build.log"; echo "reliability: the build failed"; exit 1; }
  scripts/wine.sh --boot
  fault_server start
fi

echo "random numbers from start $start"
for entry in "${parts[@]}"; do
  IFS='|' read -r name preset count short_count <<<"$entry"
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
