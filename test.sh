#!/usr/bin/env bash
# Installs what is missing, builds both presets and runs every test by CTest, a line each; the last line counts the
# cases of all. What each printed is in build/test-logs/tests.log, the results for other programs in junit.xml beside it.
#   ./test.sh [option of ctest...]   such as -L quick: the test programs alone
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
logs=build/test-logs
mkdir -p "$logs"
trap 'scripts/wine.sh --stop' EXIT

give_up() {
  [ -z "${2:-}" ] || tail -n 40 "$2"
  echo "test: $1"
  echo "0 passed, 1 failed"
  exit 1
}

scripts/setup.sh || give_up "the tools are missing"
scripts/build.sh checked ship >"$logs/build.log" 2>&1 || give_up "the build failed" "$logs/build.log"
scripts/wine.sh --boot || give_up "Wine does not start"

# A demonstration waits more than it works: it leaves both cores to the others.
ctest --preset checked -j 3 -V --no-tests=error --output-junit "$PWD/$logs/junit.xml" "$@" 2>&1 |
  tee "$logs/tests.log" | awk '
    { sub(/\r$/, "") }
    match($0, /^ *Start +[0-9]+: /) { name[$2 + 0] = $3 }
    match($0, /^[0-9]+: ./) {
      id = $1 + 0
      line = substr($0, RLENGTH)
      if (line ~ /^\[doctest\] test cases:/) {
        gsub(/\|/, " ")
        good[id] = $6; bad[id] = $8; skipped[id] = $10
      } else if (line !~ /^(Test command|Working Directory|Environment|Test timeout| [A-Z_]+=)/) {
        last[id] = line
        said[id] = said[id] "    " line "\n"
      }
    }
    /^ *[0-9]+\/[0-9]+ Test +#[0-9]+:/ {
      match($0, /#[0-9]+/)
      id = substr($0, RSTART + 1, RLENGTH - 1) + 0
      ok = /   Passed /
      # What only prepares others is no test of its own.
      if (ok && name[id] ~ /^(older_family|(start|stop)_.*)$/) next
      is_program = id in good
      if (!is_program) { good[id] = ok; bad[id] = !ok }
      else if (!ok && !bad[id]) bad[id] = 1
      passed += good[id]; failed += bad[id]
      text = is_program ? good[id] " passed" (skipped[id] ? ", " skipped[id] " skipped" : "") : substr(last[id], 1, 66)
      if (!ok) { text = bad[id] " FAILED"; failures[++count] = id }
      printf "%-26s %6.1f s  %s\n", name[id], $(NF - 1), text
      fflush()
    }
    END {
      for (i = 1; i <= count; ++i) {
        lines = split(said[failures[i]], line_of, "\n")
        print "\n" name[failures[i]] " said at its end:"
        for (j = lines > 60 ? lines - 60 : 1; j <= lines; ++j) print line_of[j]
      }
      if (!(passed + failed)) failed = 1
      printf "%d passed, %d failed\n", passed, failed
      exit failed > 0
    }'
