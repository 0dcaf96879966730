#!/usr/bin/env bash
# Runs the package checker on the sample package, in which nothing may be wrong:
#   check_sample.sh [folder of the built programs]
# The sample is built anew, with made-up addresses. tools/README.md must list all findings as findings.txt has
# them, and what is said of a broken sample be SARIF. The last line is the checker's verdict.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
programs=${1:-build/ship/bin}

findings=tools/check_package
python3 $findings/make_findings.py $findings/findings.txt --check tools/README.md

package/sample/build.sh "$programs" build/check-sample >/dev/null
broken=build/check-sample/broken.msi
cp build/check-sample/sample.msi $broken
msibuild $broken -q "UPDATE \`QX_PreRequisite\` SET \`MD5\` = 'x'"
timeout 120 scripts/wine.sh "$programs/check_package.exe" /format sarif $broken missing.msi \
  >build/check-sample/findings.sarif || [ $? = 2 ]
scripts/check_sarif.py build/check-sample/findings.sarif tests/tools/sarif.txt
rm $broken

timeout 120 scripts/wine.sh "$programs/check_package.exe" /strict build/check-sample/sample.msi
