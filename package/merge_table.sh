#!/usr/bin/env bash
# Joins text tables (.idt) of one name: the columns of the first file, the rows of all.
#   merge_table.sh my/Error.idt kit/Error.idt > out/Error.idt
# Use it to put the kit's rows into your own tables: name yours first. Of two rows with one key the
# first stays, so yours wins. Columns are told by name: one that a later file lacks is left empty, a
# table with a column that the first has not is refused.
set -euo pipefail

[ $# -gt 0 ] || {
  echo "usage: merge_table.sh <table.idt> ..." >&2
  exit 2
}
exec awk -F '\t' '
  function fail(text) { print "merge_table: " text > "/dev/stderr"; bad = 1; exit 1 }
  { sub(/\r$/, "") }
  FNR == 1 {
    if (++files == 1) for (columns = 1; columns <= NF; ++columns) place[$columns] = columns
    for (i = 1; i <= NF; ++i) {
      if (!($i in place)) fail(FILENAME " has a column that " ARGV[1] " has not: " $i)
      to[i] = place[$i]
    }
    fields = NF
  }
  FNR == 3 {
    # Before the table and its keys a code page may stand.
    first = $1 ~ /^[0-9]+$/ ? 2 : 1
    if (files == 1) { table = $first; for (i = first + 1; i <= NF; ++i) key[place[$i]] }
    else if ($first != table) fail(FILENAME " is the table " $first ", " ARGV[1] " is " table)
  }
  FNR <= 3 { if (files == 1) printf "%s\r\n", $0; next }
  $0 == "" { next }
  {
    delete cell
    for (i = 1; i <= fields; ++i) cell[to[i]] = $i
    id = line = ""
    for (i = 1; i < columns; ++i) {
      line = line (i > 1 ? "\t" : "") cell[i]
      if (i in key) id = id cell[i] "\t"
    }
    if (!(id in seen)) printf "%s\r\n", line
    seen[id]
  }
  END { exit bad }' "$@"
