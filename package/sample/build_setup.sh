#!/usr/bin/env bash
# Makes the sample's setup executable from the package that build.sh made:
#   build_setup.sh <folder of the built programs> <sample folder>
# Setup.exe then lies in the sample folder. It carries sample.msi and the setup file of every row of
# Location 0 that lies there, as the group that the row's Sequence says.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
programs=$(cd "$1" && pwd)
cd "$2"

items=()
# The columns are found by their names; the two lines after those are types and keys.
while IFS=$'\t' read -r sequence file; do
  [ ! -e "$file" ] || items+=("$((100 + sequence))=$file")
done < <(msiinfo export sample.msi QX_PreRequisite | tr -d '\r' | awk -F '\t' '
  NR == 1 { for (i = 1; i <= NF; ++i) column[$i] = i }
  NR > 3 && $column["Location"] == 0 && $column["TargetName"] != "" {
    print $column["Sequence"] "\t" $column["TargetName"]
  }')
"$root/scripts/wine.sh" "$(realpath --relative-to=. "$programs/pack_setup.exe")" \
  "$(realpath --relative-to=. "$programs/setup_stub.exe")" Setup.exe sample.msi "${items[@]}"
