#!/usr/bin/env bash
# Builds the sample package from the kit's tables and its own:
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

# One text table of each name, the sample's rows and the kit's together.
for name in $(cd "$here/tables" && ls -- *.idt; cd "$kit/tables" && ls -- *.idt); do
  [ -e "$work/$name" ] && continue
  parts=()
  for folder in "$here/tables" "$kit/tables"; do
    [ ! -e "$folder/$name" ] || parts+=("$folder/$name")
  done
  "$kit/merge_table.sh" "${parts[@]}" >"$work/$name"
done

property() { awk -F '\t' -v name="$2" '$1 == name {sub(/\r$/, ""); print $2}' "$1"; }

# What only the build knows.
size=$(stat -c %s "$here/product/readme.txt")
sed -i "s/@READ_ME_SIZE@/$size/" "$work/File.idt"
for setup in Runtime Driver Tools Codec Extras; do
  cp "$programs/sample_setup.exe" "$out/${setup}Setup.exe"
done
# A setup of some size, so that unpacking it takes a while.
head -c $((16 << 20)) /dev/urandom >>"$out/ToolsSetup.exe"

# fill_in <prefix> <file>: its size and digest in the place of @<prefix>_SIZE@ and @<prefix>_MD5@.
fill_in() {
  sed -i "s/@$1_SIZE@/$(stat -c %s "$2")/; s/@$1_MD5@/$(md5sum "$2" | cut -d ' ' -f 1)/" \
    "$work/QX_PreRequisite.idt"
}
fill_in SETUP "$programs/sample_setup.exe"
fill_in TOOLS "$out/ToolsSetup.exe"
sed -i "s,@HTTP@,$http,; s,@DROP@,$drop,; s,@FTP@,$ftp," "$work/QX_PreRequisite.idt"

cp "$here/product/readme.txt" "$work/ReadMe"
(cd "$work" && gcab -c -z product.cab ReadMe)
cp "$programs/Prereq.dll" "$here"/artwork/* "$work/Binary"

codec=$here/codec/Property.idt
sed -i "s/@CODEC_UPGRADE_CODE@/$(property "$codec" UpgradeCode)/" "$work/QX_AppSearchEx.idt"

# make_package <file> <product name> <package code> <table...>
make_package() {
  msibuild "$1" -s "$2" "Sample Maker" ";1033" "$3"
  msibuild "$1" -i "${@:4}"
}

cd "$work"
make_package "$out/sample.msi" "Sample Product" "{F7C1A2B3-5D4E-4A6F-8B90-1C2D3E4F5A6B}" ./*.idt
msibuild "$out/sample.msi" -a product.cab product.cab

# A prerequisite that is a package itself, to be found by its upgrade code.
mkdir codec
cp "$here/tables"/{Directory,Feature,Component,FeatureComponents,InstallExecuteSequence}.idt "$codec" codec
sed -i '4,$s/{0D9C2E57[^}]*}/{5B8E3F10-7A2D-4C96-8E41-D3F0A6B7C925}/; s/\tReadMe\r$/\t\r/' codec/Component.idt
make_package "$out/codec.msi" "Sample Codec" "{8D1F6A37-B94C-4E25-A0D8-7C3E5B2F9146}" codec/*.idt

cd "$out"
rm -rf "$work"
