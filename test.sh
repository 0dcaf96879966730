#!/usr/bin/env bash
# Installs what is missing, builds and runs every test: the test programs as both operating-system
# families, the shipped library's own exports again, the checks of the tree and of the built file, and the
# sample package with the real installer service. One line each; the last line counts them all.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

logs=build/test-logs
mkdir -p "$logs"
passed=0
failed=0
trap 'scripts/wine.sh --stop' EXIT

give_up() {
  echo "test: $1"
  [ -z "${2:-}" ] || tail -n 40 "$2"
  echo "$passed passed, $((failed + 1)) failed"
  exit 1
}

# check <name> <command...>: one pass or failure; what it printed is shown when it fails, else its last line.
check() {
  local name=$1 log="$logs/${1// /-}.log"
  shift
  if "$@" >"$log" 2>&1; then
    passed=$((passed + 1))
    printf '%-34s ok       %s\n' "$name" "$(tail -n 1 "$log" | cut -c 1-90)"
  else
    failed=$((failed + 1))
    printf '%-34s FAILED\n' "$name"
    cat "$log"
  fi
}

# show_failures <log of ctest>: of all that the programs said, what tells where and why they failed.
show_failures() {
  grep -vE '^(test [0-9]|[0-9]+: Test (command|timeout))' "$1" |
    grep -E 'ERROR|FATAL|TEST CASE|CHECK|REQUIRE|values:|\*\*\*|logged:|exception' | head -n 120
}

# run_programs <preset> <ctest option...>: the test programs, a line each with the cases that passed.
run_programs() {
  local preset=$1 log="$logs/programs-$1.log" line counts
  shift
  # A program that fails runs once more, and the line says so: some races are Wine's own.
  ctest --preset "$preset" -j 2 -V --no-tests=error --repeat until-pass:2 "$@" >"$log" 2>&1
  counts=$(awk -v preset="$preset" '
    match($0, /^ *Start +[0-9]+: /) { id = $2 + 0; name[id] = $3; counted[id] = 0 }
    match($0, /^[0-9]+: \[doctest\] test cases:/) {
      gsub(/\|/, " "); id = $1 + 0; good[id] = $6; bad[id] = $8; skip[id] = $10; counted[id] = 1
    }
    /^ *[0-9]+\/[0-9]+ Test +#[0-9]+:/ || /^ +Test +#[0-9]+:/ {
      match($0, /#[0-9]+/); id = substr($0, RSTART + 1, RLENGTH - 1) + 0
      ok = /   Passed /
      if (!counted[id]) { good[id] = ok; bad[id] = !ok }
      else if (!ok && bad[id] == 0) bad[id] = 1
      if (!tries[id]++) order[++total] = id
    }
    END {
      for (i = 1; i <= total; ++i) {
        id = order[i]
        # Set-up and clean-up are no tests; when one fails, the programs that need it do.
        if (name[id] == "older_family" || name[id] ~ /_servers$/) continue
        printf "%d %d %d %d %s (%s)\n", good[id], bad[id], skip[id], tries[id], name[id], preset
      }
    }' "$log")
  [ -n "$counts" ] || give_up "no test program ran" "$log"
  while read -r good bad skip tries line; do
    passed=$((passed + good))
    failed=$((failed + bad))
    printf '%-34s %3d passed%s%s\n' "$line" "$good" "$([ "$bad" = 0 ] || echo ", $bad FAILED")" \
      "$([ "$skip" = 0 ] || echo ", $skip skipped")$([ "$tries" = 1 ] || echo ", at the second try")"
  done <<<"$counts"
  if [[ $counts =~ (^|$'\n')[0-9]+\ [1-9] ]]; then show_failures "$log"; fi
}

scripts/setup.sh || give_up "the tools are missing"
for preset in checked ship; do
  { cmake --preset "$preset" && cmake --build --preset "$preset"; } >"$logs/build-$preset.log" 2>&1 ||
    give_up "the build failed ($preset)" "$logs/build-$preset.log"
done
scripts/wine.sh --boot || give_up "Wine does not start"

check "layout of the sources" scripts/check_format.sh
check "order of the modules" scripts/check_includes.sh
check "commands and paths in the documents" scripts/check_docs.sh
check "built library" scripts/check_library.sh build/ship/bin/Prereq.dll
run_programs checked
# What ships is built with other options: its exports run again as they are.
run_programs ship -R 'entry_test|older_family'
check "checker on the sample" scripts/check_sample.sh
check "demo, with dialogs" ./demo.sh
check "demo, silent" ./demo.sh --silent
check "demo, older family" ./demo.sh --legacy
check "random faults, kills, repetition" ./reliability.sh --short

echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
