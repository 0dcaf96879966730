#!/usr/bin/env bash
# Checks a built Prereq.dll: check_library.sh <file>. The exports are exactly those of the module
# definition, every import is on the list of what the oldest supported systems have, the loader flags are
# set and nothing but the code is in it. Prints the size; complaints go to standard error.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
library=$1
dump() { i686-w64-mingw32-objdump "$@" "$library"; }
bad=0
complain() {
  echo "check_library: $*" >&2
  bad=1
}

headers=$(dump -p)
wanted=$(sed -n '/^EXPORTS/,$p' "$root/src/entry/prereq.def" | tail -n +2 | awk '{print $1}' | sort)
found=$(awk '/\[Ordinal\/Name Pointer\] Table/ {on = 1; next} on && NF == 0 {exit} on {print $NF}' \
  <<<"$headers" | sort)
[ "$wanted" = "$found" ] || complain "exports differ from the module definition:" $found

while read -r dll function; do
  grep -qix -- "$dll $function" <(sed 's/#.*//; s/ *$//' "$root/cmake/imports.txt") ||
    complain "import not allowed: $dll $function"
done < <(awk '/DLL Name:/ {dll = $3} /^\t[0-9a-f]+\t +[0-9]+ +/ {print dll, $3}' <<<"$headers")

# One of the same name beside the program that loads the library must never be taken for it: these come
# from the system folder alone, and msi.dll is there already.
for dll in $(awk '/DLL Name:/ {print tolower($3)}' <<<"$headers"); do
  [[ " advapi32.dll kernel32.dll msvcrt.dll ole32.dll oleaut32.dll shell32.dll user32.dll msi.dll " == *" $dll "* ]] ||
    complain "static import of a library that can be planted: $dll"
done

grep -q DYNAMIC_BASE <<<"$headers" || complain "DYNAMIC_BASE is not set"
grep -q NX_COMPAT <<<"$headers" || complain "NX_COMPAT is not set"
grep -q NO_SEH <<<"$headers" || complain "NO_SEH is not set"
dump -h | grep '\.rsrc' >/dev/null || complain "the version resource is missing"
dump -t | grep 'no symbols' >/dev/null || complain "the file is not stripped"

# It travels inside every package.
[ "$(stat -c %s "$library")" -le $((160 << 10)) ] || complain "larger than 160 KiB"

echo "Prereq.dll: $(stat -c %s "$library") bytes, $(wc -w <<<"$found") exports"
exit $bad
