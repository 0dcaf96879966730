#!/usr/bin/env bash
# Builds the sample package from its tables and has prereqkit put the prerequisites in:
#   build.sh <folder of the built programs> <output folder> [http address [dropping address [ftp address]]]
# The addresses are where the downloaded setups are served from, without a slash at their end.
# The output folder then holds sample.msi with the setup programs that lie beside it, and codec.msi, the
# package of a prerequisite. Needs msibuild (package msitools) and gcab.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
kit=$here/..
programs=$(cd "$1" && pwd)
rm -rf "$2"
mkdir -p "$2"
out=$(cd "$2" && pwd)

http=${3:-http://127.0.0.1:8080}
drop=${4:-$http}
ftp=${5:-ftp://127.0.0.1}

work=$out/work
mkdir -p "$work/Binary"

cp "$here"/tables/*.idt "$work"

property() { awk -F '\t' -v name="$2" '$1 == name {sub(/\r$/, ""); print $2}' "$1"; }

# What only the build knows.
size=$(stat -c %s "$here/product/readme.txt")
sed -i "s/@READ_ME_SIZE@/$size/" "$work/File.idt"
for setup in Runtime Driver Tools Codec Extras; do
  cp "$programs/sample_setup.exe" "$out/${setup}Setup.exe"
done
# A setup of some size, so that unpacking it takes a while.
head -c $((16 << 20)) /dev/urandom >>"$out/ToolsSetup.exe"

cp "$here/product/readme.txt" "$work/ReadMe"
(cd "$work" && gcab -c -z product.cab ReadMe)
cp "$here"/artwork/* "$work/Binary"

codec=$here/codec/Property.idt

# make_package <file> <product name> <package code> <table...>
make_package() {
  msibuild "$1" -s "$2" "Sample Maker" ";1033" "$3"
  msibuild "$1" -i "${@:4}"
}

cd "$work"
make_package "$out/sample.msi" "Sample Product" "{F7C1A2B3-5D4E-4A6F-8B90-1C2D3E4F5A6B}" ./*.idt
msibuild "$out/sample.msi" -a product.cab product.cab

# require <id> <what prereqkit takes...>: puts the prerequisite into the sample.
require() {
  local text
  text=$(cd "$out" && "$kit/../scripts/wine.sh" "$programs/prereqkit.exe" require sample.msi "$1Setup.exe" --id "$1" \
    --property "SAMPLE_${1^^}" "${@:2}") || { echo "$text"; exit 1; }
}
registry='HKLM\Software\Sample Maker\Prerequisites'
require Runtime --name "Sample Runtime 2.1" --run 'name=Runtime version=2.1 for="[ProductName]"' \
  --url "$http/slow/RuntimeSetup.exe" --find "$registry\\Runtime\\Version" --at-least 2.0
require Driver --name "Sample Driver 1.4" --run 'name=Driver version=1.4 exit=1641 restart=[SAMPLE_RESTART]' \
  --url "$drop/DriverSetup.exe" --find "$registry\\Driver\\Version"
require Tools --name "Sample Tools 4.0" --run 'name=Tools version=4.0' --inside \
  --find-file '[ProgramFilesFolder]Sample Prerequisites\Tools.exe' --at-least 4.0
require Codec --name "Sample Codec 1.0" --run 'name=Codec version=1.0' --inside \
  --find-related "$(property "$codec" UpgradeCode)" --at-least 1.0 --at-most 1.9
require Extras --name "Sample Extras 3.0" --run 'name=Extras version=3.0 exit=3010' --after-product \
  --url "$ftp/ExtrasSetup.exe" --find "$registry\\Extras\\Version" --at-least 3.0

# A prerequisite that is a package itself, to be found by its upgrade code.
mkdir codec
cp "$here/tables"/{Directory,Feature,Component,FeatureComponents,InstallExecuteSequence}.idt "$codec" codec
sed -i '4,$s/{0D9C2E57[^}]*}/{5B8E3F10-7A2D-4C96-8E41-D3F0A6B7C925}/; s/\tReadMe\r$/\t\r/' codec/Component.idt
make_package "$out/codec.msi" "Sample Codec" "{8D1F6A37-B94C-4E25-A0D8-7C3E5B2F9146}" codec/*.idt

cd "$out"
rm -rf "$work"
