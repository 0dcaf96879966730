#!/usr/bin/env bash
# Installs packages that prereqkit joined, silently and for real, in the Wine prefix of the tests:
#   install.sh <folder of the built programs> <scratch folder>
# Each package is made by wixl or from the tables of the sample; then it is installed, repaired, removed, made to
# fail and tried again. Prints a line for each check; the last line counts them.
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../../.." && pwd)
programs=$(cd "$1" && pwd)
rm -rf "$2" && mkdir -p "$2"
work=$(cd "$2" && pwd)
cd "$work" || exit 1
passed=0 failed=0

wine() { timeout 120 "$root/scripts/wine.sh" "$@"; }
kit() { wine "$programs/prereqkit.exe" "$@" | tr -d '\r' >>kit.log || { tail -n 3 kit.log; exit 1; }; }
# The machine of the demonstrations.
export PREREQ_WINEPREFIX=$root/build/demo-wine
drive=$PREREQ_WINEPREFIX/drive_c
temp=$drive/users/$(id -un)/Temp
setups=$temp/sample-setups.log

check() {
  local text=$1
  shift
  if "$@" >/dev/null 2>&1; then
    passed=$((passed + 1))
    echo "ok       $text"
  else
    failed=$((failed + 1))
    echo "FAILED   $text"
  fi
}
not() { ! "$@"; }

# install <package> [msiexec argument...]: silently; the exit code goes to $code.
install() {
  code=0
  wine msiexec /i "$@" /qn /l*v log.txt || code=$?
}
succeeded() { [ "$code" = 0 ]; }
calls() { [ "$(grep -c 'called with' "$setups" 2>/dev/null)" = "$1" ]; }
product() { [ -e "$drive/Program Files (x86)/My Product/readme.txt" ]; }
registered() { wine reg query 'HKLM\Software\Sample Maker\Prerequisites\Runtime' /reg:32; }
run_value() { wine reg query 'HKCU\Software\Microsoft\Windows\CurrentVersion\Run' | grep -i "$product_code"; }
left_over() { find "$temp" -path "*$product_code*" -type f | grep .; }
forget() {
  wine reg delete 'HKLM\Software\Sample Maker' /f /reg:32 >/dev/null 2>&1
  rm -f "$setups" log.txt
}
cleaned_up() { not run_value && not left_over; }

# make <wixl source> : product.msi, of which $product_code is the code.
make() {
  echo hello >readme.txt
  wixl -o product.msi "$here/$1.wxs"
  product_code=$(msiinfo export product.msi Property | tr -d '\r' | awk -F '\t' '$1 == "ProductCode" {print $2}')
}

cp "$programs/sample_setup.exe" RuntimeSetup.exe
search=(--find 'HKLM\Software\Sample Maker\Prerequisites\Runtime\Version' --at-least 2.0)

echo "== Beside the package"
forget
make product
kit require product.msi RuntimeSetup.exe --name Runtime --run 'name=Runtime version=2.1' "${search[@]}"
install product.msi
check "the installation succeeds" succeeded
check "the setup ran once" calls 1
check "the product is there" product
check "nothing is left for the next logon, nor any file" cleaned_up
wine reg delete 'HKLM\Software\Sample Maker' /f /reg:32 >/dev/null 2>&1
rm -f "$drive/Program Files (x86)/My Product/readme.txt"
install product.msi REINSTALL=ALL REINSTALLMODE=amus
check "a repair succeeds" succeeded
check "it brings the runtime back, from beside the package" calls 2
check "it brings the product's file back" product
install product.msi REMOVE=ALL
check "the removal succeeds" succeeded
check "the product is gone" not product
check "no setup ran" calls 2

echo "== A setup that does not install what it should"
forget
make product
kit require product.msi RuntimeSetup.exe --name Runtime --run 'name=Other version=1.0' "${search[@]}"
install product.msi
check "the installation fails" not succeeded
check "the setup ran" calls 1
check "the product was kept away" not product
check "nothing is left for the next logon, nor any file" cleaned_up
kit drop product.msi RuntimeSetup
kit require product.msi RuntimeSetup.exe --name Runtime --run 'name=Runtime version=2.1' "${search[@]}"
install product.msi
check "with the right command line it succeeds" succeeded
install product.msi REMOVE=ALL

echo "== A damaged download"
forget
make product
"$root/scripts/start_servers.sh" "$work/servers" >/dev/null
trap '"$root/scripts/stop_servers.sh" "$work/servers"' EXIT
eval "$(grep -E '^http=' servers/ports)"
kit require product.msi RuntimeSetup.exe --name Runtime --run 'name=Runtime version=2.1' "${search[@]}" \
  --url "http://127.0.0.1:$http/RuntimeSetup.exe"
echo "not found" >servers/www/RuntimeSetup.exe
install product.msi
check "the installation fails" not succeeded
check "nothing ran" calls ""
check "nothing is left for the next logon, nor any file" cleaned_up
cp RuntimeSetup.exe servers/www
install product.msi
check "once the server is right, the next try succeeds" succeeded
check "the setup ran once" calls 1
check "nothing is left for the next logon, nor any file" cleaned_up
install product.msi REMOVE=ALL

echo "$passed checks passed, $failed failed"
[ "$failed" = 0 ]
