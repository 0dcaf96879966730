#!/usr/bin/env bash
# Runs the package checker on the sample package, in which nothing may be wrong:
#   check_sample.sh [folder of the built programs]
# The sample is built anew, with made-up addresses. tools/README.md must list the keys of all findings. The
# last line is the checker's verdict.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
programs=${1:-build/ship/bin}

keys() { grep -oh 'PRE[0-9]\{3\}' "$@" | sort -u; }
diff <(keys tools/check_package/*.cpp) <(keys tools/README.md) ||
  { echo "check_sample: tools/README.md lists other keys than the sources" >&2; exit 1; }

package/sample/build.sh "$programs" build/check-sample >/dev/null
timeout 120 scripts/wine.sh "$programs/check_package.exe" /strict build/check-sample/sample.msi
