#!/usr/bin/env bash
# Builds the library once more from a copy of the tree under another, longer path, and compares it to the byte
# with the one that is given: check_same_bytes.sh <file>. Anyone can so check what was published.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
library=$(realpath "$1")
copy=$(mktemp -d)/another/and/longer/place
trap 'rm -rf "${copy%/another/*}"' EXIT
mkdir -p "$copy"
cd "$root"
cp -r --parents CMakeLists.txt CMakePresets.json cmake src package tools bench tests "$copy"
cd "$copy"
cmake --preset ship >/dev/null
cmake --build --preset ship --target Prereq >/dev/null
cmp "$library" build/ship/bin/Prereq.dll || { echo "check_same_bytes: the two builds differ" >&2; exit 1; }
echo "check_same_bytes: $(stat -c %s "$library") bytes, the same in two places"
