#!/usr/bin/env bash
# Runs prereqkit on packages as other tools make them and looks at what it says and leaves:
#   run.sh <folder of the built programs> <scratch folder> [title of a case]
# cases.txt beside this script holds the cases: a block each, a step a line. A line that begins with "#" is none.
#   case TITLE            a new case, on a copy of product.msi as wixl makes it
#   base NAME             instead: the package that the block "package NAME" describes
#   package NAME          a block of steps that other cases begin with
#   sql STATEMENT         changes product.msi; \n is a line break
#   codepage NUMBER       of product.msi, which must hold ASCII alone
#   file NAME TEXT        a file beside it
#   kit CODE ARGUMENT...  runs the program, which must answer this exit code
#   says TEXT             a line of what it said last, from its beginning on
#   silent TEXT           no line of what it said last begins so
#   row TABLE CELLS       a row of product.msi, cells between "|", from the first on
#   norow TABLE CELLS     no such row
#   same                  tables and rows are those before the first "kit"
#   untouched             the file is, byte by byte, the one before the last "kit"
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../../.." && pwd)
programs=$(cd "$1" && pwd)
rm -rf "$2" && mkdir -p "$2"
work=$(cd "$2" && pwd)
only=${3:-}
passed=0 failed=0 title="" is_failed="" said=""

echo hello >"$work/readme.txt"
(cd "$work" && wixl -o base.msi "$here/product.wxs") || exit 2

# Every table with its rows in one order.
dump() {
  local table
  for table in $(msiinfo tables "$1" | sort); do
    case $table in _SummaryInformation | _ForceCodepage) continue ;; esac
    printf '== %s\n' "$table"
    msiinfo export "$1" "$table" | tr -d '\r' | { head -n 3; LC_ALL=C sort; }
  done
}
rows() { msiinfo export product.msi "$1" 2>/dev/null | tr -d '\r' | tail -n +4 | tr '\t' '|'; }
starts() { awk -v text="$1" 'BEGIN { text = ENVIRON["wanted"] } index($0, text) == 1 { found = 1 } END { exit !found }'; }

complain() {
  [ -n "$is_failed" ] || printf 'FAILED   %s\n' "$title"
  is_failed=yes
  printf '         %s\n' "$@"
}

end_case() {
  [ -n "$title" ] || return 0
  if [ -z "$is_failed" ]; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
  title="" is_failed=""
}

step() {
  local verb=$1 rest=$2 code wanted found
  export wanted
  case $verb in
    base) while read -r verb rest; do step "$verb" "$rest"; done < <(package "$rest") ;;
    sql)
      rest=${rest//\\n/$'\n'}
      msibuild product.msi -q "$rest" >/dev/null 2>err.txt || complain "sql: $rest" "$(cat err.txt)"
      ;;
    codepage)
      printf '\r\n\r\n%s\t_ForceCodepage\r\n' "$rest" >_ForceCodepage.idt
      msibuild product.msi -i _ForceCodepage.idt || complain "codepage $rest"
      ;;
    file) printf '%s' "${rest#* }" >"${rest%% *}" ;;
    kit)
      [ -e before.txt ] || dump product.msi >before.txt
      cp product.msi before.msi
      code=${rest%% *}
      eval "set -- ${rest#* }"
      said=$(timeout 60 "$root/scripts/wine.sh" "$programs/prereqkit.exe" "$@" 2>&1)
      found=$?
      said=$(tr -d '\r' <<<"$said")
      [ "$found" = "$code" ] || complain "exit code $found of $rest" "$said"
      ;;
    says) wanted=$rest; starts "$rest" <<<"$said" || complain "does not say: $rest" "$said" ;;
    silent) wanted=$rest; ! starts "$rest" <<<"$said" || complain "says: $rest" ;;
    row) wanted=${rest#* }; rows "${rest%% *}" | starts "" || complain "no row: $rest" "$(rows "${rest%% *}")" ;;
    norow) wanted=${rest#* }; ! rows "${rest%% *}" | starts "" || complain "row: $rest" ;;
    same) dump product.msi | diff before.txt - >diff.txt || complain "other rows than before" "$(cat diff.txt)" ;;
    untouched) cmp -s product.msi before.msi || complain "the file was written" ;;
    *) complain "no such step: $verb" ;;
  esac
}

# package NAME: the steps of that block.
package() { awk -v name="$1" '/^(case|package) / { is_on = ($0 == "package " name); next } is_on && !/^#/ && NF' "$here/cases.txt"; }

is_package=""
while IFS= read -r line; do
  verb=${line%% *} rest=${line#* }
  case $line in
    '' | '#'*) continue ;;
    'package '*) end_case; is_package=yes; continue ;;
    'case '*)
      end_case
      is_package=""
      [ -z "$only" ] || [ "$only" = "$rest" ] || continue
      title=$rest
      rm -rf "$work/case" && mkdir "$work/case" && cd "$work/case" || exit 2
      cp "$work/base.msi" product.msi
      printf 'a setup' >RuntimeSetup.exe
      ;;
    *) [ -z "$title" ] || [ -n "$is_package" ] || step "$verb" "$rest" ;;
  esac
done <"$here/cases.txt"
end_case
echo "$passed cases passed, $failed failed"
[ "$failed" = 0 ] && [ "$passed" -gt 0 ]
