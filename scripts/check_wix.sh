#!/usr/bin/env bash
# Holds the fragments of package/wix against the compiler and linker that they are for, and their tables against those
# that prereqkit makes:
#   check_wix.sh [folder of the built programs]
# The tools come from a package of npm, the first time; they run with mono. What differs is printed. The last line
# counts the facts that were compared.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
programs=$(cd "${1:-build/ship/bin}" && pwd)
root=$PWD
tools=$root/build/wix-tools
work=$root/build/check-wix

if [ ! -e "$tools/light.exe" ]; then
  mkdir -p "$tools"
  (cd "$tools" && npm pack --silent electron-winstaller@5.4.0 >/dev/null && tar xzf electron-winstaller-*.tgz &&
    cp package/vendor/{candle,light}.exe* package/vendor/{wconsole,winterop,wix}.dll . && rm -r package)
fi
rm -rf "$work" && mkdir -p "$work"
cp package/wix/*.wxs "$programs"/Prereq*.dll "$work"
echo hello >"$work/readme.txt"
# Up to the point where the linker calls the installer's own library.
(cd "$work" && cp "$tools"/* . && mono candle.exe -nologo -dPrereqDir=. example.wxs Prereq.wxs >wix.log &&
  mono light.exe -nologo -sval -xo -out example.wixout example.wixobj Prereq.wixobj >>wix.log) ||
  { cat "$work/wix.log" >&2; echo "check_wix: the fragments do not compile" >&2; exit 1; }

# The package that prereqkit joins, with a setup beside it as the example has one.
(cd "$work" && wixl -o joined.msi "$root/tests/tools/prereqkit/product.wxs" &&
  timeout 60 "$root/scripts/wine.sh" "$programs/prereqkit.exe" require joined.msi readme.txt --name X --missing "NOT X" \
    >kit.log) || { cat "$work/kit.log" >&2; exit 1; }

# A fact a line: rows by their cells, sequences by the order of what matters.
facts_of_wix() {
  perl -0ne '
    s/&lt;/</g; s/&quot;/"/g; s/&amp;/&/g;
    while (/<table name="(\w+)"(?:\s[^>]*[^\/>])?>(.*?)<\/table>/gs) {
      my ($table, $rows) = ($1, $2);
      while ($rows =~ /<row[^>]*>(.*?)<\/row>/gs) {
        my $row = $1;
        my @cells;
        push @cells, $1 // "" while $row =~ /<field[^>]*?(?:\/>|>(?:<!\[CDATA\[)?(.*?)(?:\]\]>)?<\/field>)/gs;
        print join("|", $table, @cells), "\n";
      }
    }
    while (/<tableDefinition name="(QX_\w+)">(.*?)<\/tableDefinition>/gs) {
      my ($table, $columns) = ($1, $2);
      while ($columns =~ /<columnDefinition name="(\w+)" type="(\w+)" length="(\d+)"([^>]*)/g) {
        my ($name, $type, $size, $rest) = ($1, $2, $3, $4);
        my $letter = $type eq "number" ? "i" : $type eq "localized" ? "l" : "s";
        print "$table|$name|", $rest =~ /nullable="yes"/ ? uc $letter : $letter, "$size\n";
      }
    }' "$1"
}
facts_of_msi() {
  local table
  for table in CustomAction Error ActionText InstallUISequence InstallExecuteSequence Property Binary; do
    msiinfo export "$1" "$table" | tr -d '\r' | tail -n +4 | sed "s/^/$table|/" | tr '\t' '|'
  done
  for table in QX_PreRequisite QX_AppSearchEx; do
    paste -d '|' <(msiinfo export "$1" "$table" | tr -d '\r' | sed -n 1p | tr '\t' '\n' | sed "s/^/$table|/") \
      <(msiinfo export "$1" "$table" | tr -d '\r' | sed -n 2p | tr '\t' '\n')
  done
}
# What is the library's of it. Numbers of sequences become places.
library_facts() {
  awk -F '|' '
    $1 ~ /^(CustomAction|Binary)$/ && $2 ~ /^(QX_|Prereq)/ { print $1, $2, $1 == "Binary" ? "" : $3 " " $4 " " $5 }
    $1 == "Error" && $2 ~ /^(1601|415[3-6])$/ || $1 == "ActionText" && $2 ~ /^(QX_|AppSearch)/ { print }
    $1 ~ /^QX_/ && $3 ~ /^[siSIlL][0-9]+$/ && NF == 3 { print }
    $1 == "Property" && $2 == "SecureCustomProperties" {
      count = split($3, names, ";")
      for (i = 1; i <= count; ++i) if (names[i] ~ /^QX_/) print "secure", names[i]
    }
    $1 !~ /^Install(UI|Execute)Sequence$/ { next }
    $2 ~ /^QX_/ { print $1, $2, $3 }
    $4 < 0 && $2 ~ /^QX_/ { print $1, $2, $4 }
    $4 > 0 && $2 ~ /^(QX_.*|ResolveSource|LaunchConditions|CostFinalize|ExecuteAction|Install(Validate|Finalize))$/ {
      printf "%s %05d %s\n", $1, $4, $2 | "sort | awk \"{ print \\$1, \\$3, \\\"is number\\\", ++place[\\$1] }\""
    }' | sort
}
facts_of_wix "$work/example.wixout" | library_facts >"$work/wix.facts"
(cd "$work" && facts_of_msi joined.msi) | library_facts >"$work/msi.facts"
diff "$work/wix.facts" "$work/msi.facts" >&2 || { echo "check_wix: the fragment (<) and prereqkit (>) differ" >&2; exit 1; }
echo "$(wc -l <"$work/wix.facts") facts of the fragments are those of prereqkit"
