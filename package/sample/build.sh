#!/usr/bin/env bash
# Builds the sample package from the kit's tables and its own:
#   build.sh <folder of the built programs> <output folder>
# The output folder then holds sample.msi and the setup program that lies beside it. Needs msibuild
# (package msitools) and gcab.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
kit=$here/..
programs=$(cd "$1" && pwd)
rm -rf "$2"
mkdir -p "$2"
out=$(cd "$2" && pwd)

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

# What only the build knows.
size=$(stat -c %s "$here/product/readme.txt")
sed -i "s/@READ_ME_SIZE@/$size/" "$work/File.idt"
for setup in Runtime Driver Tools Codec Extras; do
  cp "$programs/sample_setup.exe" "$out/${setup}Setup.exe"
done
runtime_size=$(stat -c %s "$out/RuntimeSetup.exe")
runtime_md5=$(md5sum "$out/RuntimeSetup.exe" | cut -d ' ' -f 1)
sed -i "s/@RUNTIME_SIZE@/$runtime_size/; s/@RUNTIME_MD5@/$runtime_md5/" "$work/QX_PreRequisite.idt"

cp "$here/product/readme.txt" "$work/ReadMe"
(cd "$work" && gcab -c -z product.cab ReadMe)
cp "$programs/Prereq.dll" "$work/Binary/Prereq.dll"

msi=$out/sample.msi
(
  cd "$work"
  msibuild "$msi" -s "Sample Product" "Sample Maker" ";1033" "{F7C1A2B3-5D4E-4A6F-8B90-1C2D3E4F5A6B}"
  msibuild "$msi" -i ./*.idt
  msibuild "$msi" -a product.cab product.cab
)
rm -rf "$work"
