#!/usr/bin/env bash
# Checks every document (*.md) against the tree. Needs the library of the preset ship.
# - Relative links lead to a file and, after a "#", to a heading of it.
# - Code in the text that is a path (names with a slash between them, or the ending of a source) exists, seen
#   from the top or from the document; what the build makes, below build/, need not.
# - Blocks marked "sh": each command is a script of the tree or a program in PATH, its options and presets are
#   known. Blocks marked "sh run" are run, in their order, in a scratch folder with a product.msi and a
#   RuntimeSetup.exe; what comes out must be a package with the library, its tables and its actions.
# - Exports, actions, columns with their types, messages with their texts and kinds of search in the tables of
#   the documents are those of the sources, all of them and no others; so are the names that begin with QX.
# The last line counts what was checked.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
prereq=$PWD
export prereq
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
complain() {
  echo "check_docs: $*" >&2
  exit 1
}

# table <name> <columns> <types> <keys> [row ...], cells between bars: a text table of the scratch package.
table() {
  mkdir -p "$scratch/tables"
  { printf '%s\n' "$2" "$3" "$1|$4" "${@:5}"; } | tr '|' '\t' | sed 's/$/\r/' >"$scratch/tables/$1.idt"
}

# A package as an author has it: with texts of its own where the kit has some too.
make_product() {
  local sequence='Action|Condition|Sequence'
  table Property 'Property|Value' 's72|l0' Property 'ProductName|My Product'
  table Feature 'Feature|Level' 's38|i2' Feature 'Product|1'
  table CustomAction 'Action|Type|Source|Target|ExtendedType' 's72|i2|S72|S255|I4' Action 'Mine|51|MINE|1|'
  table Error 'Error|Message' 'i2|L0' Error '1601|My own text for [2] [3] [4]' '1602|Mine'
  table ActionText 'Action|Description|Template' 's72|L0|L0' Action 'AppSearch|Mine|Mine [1] [2]'
  table InstallUISequence "$sequence" 's72|S255|I2' Action 'CostFinalize||1000' 'ExecuteAction||1300'
  table InstallExecuteSequence "$sequence" 's72|S255|I2' Action 'CostFinalize||1000' 'InstallFinalize||6600'
  msibuild "$1" -s 'My Product' 'My Company' ';1033' '{0B1F7C52-6A3D-4E19-9C84-2D5E8F7A1B36}'
  msibuild "$1" -i "$scratch"/tables/*.idt
}

# Every row of the kit must have arrived, except where the package had one of that key.
check_product() {
  local name
  msiinfo extract "$1" Binary.Prereq.dll | cmp - build/ship/bin/Prereq.dll || complain "the library is not in"
  for name in CustomAction ActionText Error InstallUISequence InstallExecuteSequence; do
    msiinfo export "$1" "$name" >"$scratch/$name.idt"
    while IFS=$'\t' read -r key _; do
      grep -q "^$key"$'\t' "$scratch/$name.idt" || complain "$name lacks $key"
    done < <(tail -n +4 "package/tables/$name.idt")
  done
  grep -q '^1601.My own text' "$scratch/Error.idt" || complain "the package's own row did not win"
  timeout 60 scripts/wine.sh build/ship/bin/check_package.exe /strict "Z:${1//\//\\}" >"$scratch/findings" ||
    { cat "$scratch/findings" >&2; complain "the package of the steps is not as it should be"; }
  for name in QX_PreRequisite QX_AppSearchEx; do
    [ "$(msiinfo export "$1" "$name" | wc -l)" = 4 ] || complain "$name has no row"
  done
}

[ -e build/ship/bin/Prereq.dll ] || complain "build the preset ship first"
mkdir "$scratch/run"
bad=0
counts=$(scripts/check_docs.pl "$scratch/run") || bad=1

for script in "$scratch"/run/*.sh; do
  [ -e "$script" ] || continue
  folder=$scratch/work
  rm -rf "$folder" && mkdir "$folder"
  make_product "$folder/product.msi"
  echo "any file will do" >"$folder/RuntimeSetup.exe"
  (cd "$folder" && bash -euo pipefail "$script") >"$scratch/log" 2>&1 || {
    cat "$scratch/log" >&2
    complain "the commands of $(basename "$script" .sh) fail"
  }
  check_product "$folder/product.msi"
done
echo "$counts"
exit $bad
