#!/usr/bin/env bash
# Joins text tables (.idt) of one name: the header of the first file, the rows of all.
#   merge_table.sh kit/Error.idt my/Error.idt > out/Error.idt
# Use it to put the kit's rows into your own tables. A table whose columns differ is refused.
set -euo pipefail

header=""
for file in "$@"; do
  own=$(head -n 3 "$file")
  if [ -z "$header" ]; then
    header=$own
    printf '%s\n' "$header"
  elif [ "$own" != "$header" ]; then
    echo "merge_table: $file has other columns than $1" >&2
    exit 1
  fi
  tail -n +4 "$file"
done
