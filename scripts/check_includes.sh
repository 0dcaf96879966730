#!/usr/bin/env bash
# Holds the includes of src/ against the order of the modules: entry over prereq and appsearch, those over
# msi and download, all over util. Prints every include that points another way.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../src"

declare -A allowed=(
  [entry]="appsearch prereq msi download util"
  [prereq]="msi download util"
  [appsearch]="msi util"
  [msi]="util"
  [download]="util"
  [util]=""
)
bad=0
while IFS=: read -r file line text; do
  from=${file%%/*}
  to=$(sed -E 's/.*"([a-z]+)\/.*/\1/' <<<"$text")
  [[ " $from ${allowed[$from]} " == *" $to "* ]] && continue
  echo "check_includes: $file:$line includes $to" >&2
  bad=1
done < <(grep -nE '^#include "[a-z]+/' -r . --include='*.h' --include='*.cpp' | sed 's/^\.\///')

# The lowest module knows neither installer nor internet handles.
if grep -nE 'MSIHANDLE|HINTERNET' -r util; then bad=1; fi
# The engine reaches registry and network through the modules below it.
if grep -nE '::(Reg|Internet|Http|Ftp)[A-Z]' -r prereq; then bad=1; fi
exit $bad
