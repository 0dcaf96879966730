#!/usr/bin/env bash
# Runs the package checker on the sample package, in which nothing may be wrong:
#   check_sample.sh [folder of the built programs]
# The sample is built anew, with made-up addresses. tools/README.md must list the keys of all findings, each as
# the error or warning that it is. The last line is the checker's verdict.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
programs=${1:-build/ship/bin}

in_sources() {
  sed -nE 's/.*Kind k[A-Za-z]+\{L"(PRE[0-9]{3})", .*Severity::k(Error|Warning)\};/\1 \L\2/p' tools/check_package/*.cpp
}
in_readme() { sed -nE 's/^\| `(PRE[0-9]{3})` \| (error|warning) \|.*/\1 \2/p' tools/README.md; }
diff <(in_sources | sort) <(in_readme | sort) ||
  { echo "check_sample: tools/README.md lists other keys, errors or warnings than the sources" >&2; exit 1; }

package/sample/build.sh "$programs" build/check-sample >/dev/null
timeout 120 scripts/wine.sh "$programs/check_package.exe" /strict build/check-sample/sample.msi
