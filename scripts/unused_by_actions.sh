#!/usr/bin/env bash
# Prints what no custom action uses: the functions of the modules that the linker leaves out of the library, by
# module. Members that are made by the compiler and helpers within one file are not among them. The library is
# linked once more in build/unused, from code in which no function is put in the place of its call.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export LC_ALL=C
folder=build/unused
mkdir -p "$folder"
map=$PWD/$folder/library.map
{
  cmake --preset ship -B "$folder" -DCMAKE_SHARED_LINKER_FLAGS="-Wl,-Map=$map" \
    -DCMAKE_CXX_FLAGS="-fno-inline -fno-partial-inlining -fno-ipa-cp -fno-ipa-sra -fno-ipa-icf"
  # Linked anew, so that the map is there.
  rm -f "$folder/bin/Prereq.dll"
  cmake --build "$folder" --target Prereq
} >"$folder/build.log" 2>&1 || { tail -n 20 "$folder/build.log"; exit 1; }

# Mangled names, or sections that are named by them, as the sources write them.
to_names() {
  sed 's/^\.text\$//; s/@[0-9]*$//' | i686-w64-mingw32-c++filt -n | sed -E 's/\[abi:cxx11\]//g
    s/std::(__cxx11::)?basic_(string|string_view)<char, std::char_traits<char>(, std::allocator<char> )? ?>/std::\2/g
    s/std::(__cxx11::)?basic_(string|string_view)<wchar_t, std::char_traits<wchar_t>(, std::allocator<wchar_t> )? ?>/std::w\2/g
    s/std::vector<([^<>]*), std::allocator<\1 ?> >/std::vector<\1>/g' | sort -u
}

# Each function has a section of its own; what the linker discarded stands before its memory map.
sed -n '/^Linker script and memory map/,$p' "$map" | grep -oE '\.text\$[^ ]+' | to_names >"$folder/used"
for module in entry appsearch prereq msi download util; do
  objects=$folder/CMakeFiles/prereq_core.dir/src/$module
  [ -d "$objects" ] || continue
  i686-w64-mingw32-nm --defined-only "$objects"/*.obj | awk '$2 == "T" { print substr($3, 2) }' | to_names |
    comm -23 - "$folder/used" | sed -n "s/^$module::/  /p" >"$folder/unused"
  [ ! -s "$folder/unused" ] || { echo "$module"; cat "$folder/unused"; }
done
