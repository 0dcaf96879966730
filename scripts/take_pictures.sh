#!/usr/bin/env bash
# Takes the pictures of the README: installs the sample package with its dialogs on a display of its own,
# plays the user and leaves docs/pictures/download.png, wrong-digest.png and end.png.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/demo/lib.sh
source scripts/demo/display.sh
finished=yes # What lib.sh says at an early end is about the demo.
trap 'stop_display; finish' EXIT
pictures=docs/pictures
setup="Sample Product Setup"

# slow_down <row>: its setup comes at 200 KB/s, and there is enough of it to take a picture meanwhile.
slow_down() {
  local file=$servers/www/$1Setup.exe http
  head -c 1200000 /dev/urandom >>"$file"
  http=$(sed -n 's/^http=//p' "$servers/ports")
  msibuild "$sample/sample.msi" -q "UPDATE \`QX_PreRequisite\` SET \`ExactSize\` = '$(stat -c %s "$file")',
    \`MD5\` = '$(md5sum "$file" | cut -d ' ' -f 1)',
    \`SetupFileUrl\` = 'http://127.0.0.1:$http/slow/$1Setup.exe' WHERE \`Prereq\` = '$1'"
}

start_installation() {
  timeout 300 scripts/wine.sh msiexec /i "$(wine_path "$sample/$1")" &
  installation=$!
  press "$setup" Install
}

# end_installation <expected exit code>
end_installation() {
  local code=0
  press "$setup" Finish
  wait "$installation" || code=$?
  [ "$code" = "$1" ] || { echo "take_pictures: the installation ended with $code, not $1" >&2; exit 1; }
}

picture() {
  take_picture "$pictures/$1.png"
  step "$pictures/$1.png: $(stat -c %s "$pictures/$1.png") bytes"
}

heading "Pictures of the sample's installation"
scripts/setup.sh
build_quietly ship
serve_and_build_sample >/dev/null
slow_down Runtime
slow_down Driver
forget_sample
install_codec
mkdir -p "$pictures"
start_display

start_installation sample.msi
wait_for_progress "$setup" 45
picture download
wait_for_text "$setup" "is installed" 60
picture end
end_installation 0

forget_sample
install_codec
cp "$sample/sample.msi" "$sample/wrong.msi"
msibuild "$sample/wrong.msi" -q \
  "UPDATE \`QX_PreRequisite\` SET \`MD5\` = '00000000000000000000000000000000' WHERE \`Prereq\` = 'Runtime'"
start_installation wrong.msi
wait_for_text "Windows Installer" "RuntimeSetup.exe is damaged" 60
picture wrong-digest
press "Windows Installer" No
end_installation 67 # 1603 is more than the shell can tell.
forget_sample
