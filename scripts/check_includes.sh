#!/usr/bin/env bash
# Holds the includes against the order of the modules: entry over prereq and appsearch, those over msi and
# download, all over util. The setup executable of package/setup stands on util alone, the tools on every
# module but the exports. Everyone may include contract, which includes nothing of the project. Prints
# every include that points another way.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

declare -A allowed=(
  [entry]="appsearch prereq msi download util"
  [prereq]="msi download util"
  [appsearch]="msi util"
  [msi]="util"
  [download]="util"
  [util]=""
  [contract]=""
  [package/setup]="util"
  [tools]="appsearch prereq msi download util"
)
bad=0
while IFS=: read -r file line text; do
  case $file in
    src/*) from=${file#src/} from=${from%%/*} ;;
    package/setup/*) from=package/setup ;;
    *) from=${file%%/*} ;;
  esac
  to=$(sed -E 's/.*"([a-z]+)\/.*/\1/' <<<"$text")
  [[ " contract $from ${allowed[$from]-} " == *" $to "* ]] && continue
  echo "check_includes: $file:$line includes $to" >&2
  bad=1
done < <(grep -nE '^#include "[a-z]+/' -r src package/setup tools --include='*.h' --include='*.cpp')

# The lowest module knows neither installer nor internet handles.
if grep -nE 'MSIHANDLE|HINTERNET' -r src/util; then bad=1; fi
# The engine reaches registry and network through the modules below it.
if grep -nE '::(Reg|Internet|Http|Ftp)[A-Z]' -r src/prereq; then bad=1; fi
exit $bad
