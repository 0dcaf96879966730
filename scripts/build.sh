#!/usr/bin/env bash
# Builds the presets that are named: scripts/build.sh <preset...>. One build at a time in this tree.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build
exec 9>build/lock
flock 9
for preset in "$@"; do
  cmake --preset "$preset"
  cmake --build --preset "$preset"
done
