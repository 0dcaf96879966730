#!/usr/bin/env bash
# Takes the pictures of the README: installs the sample package with its dialogs on a display of its own,
# plays the user and leaves docs/pictures/download.png, wrong-digest.png and end.png.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/demo/lib.sh
read_options
finished=yes # What lib.sh says at an early end is about the demo.
pictures=docs/pictures

query() { msibuild "$sample/sample.msi" -q "$1"; }

# Two downloads, the first by FTP and the second so long that there is time for a picture. Wine moves
# a bar only by whole eighths at a time: by the share of a file whose length is not known before its
# end, as with FTP, but not by the small steps of a web download, which all come to nothing there.
make_time_for_pictures() {
  local http ftp driver=$servers/www/DriverSetup.exe
  eval "$(grep -E '^(http|ftp)=' "$servers/ports")"
  cp "$servers/www/RuntimeSetup.exe" "$(cat "$servers/ftp_root")"
  head -c 1500000 /dev/urandom >>"$driver"
  query "UPDATE \`QX_PreRequisite\` SET \`SetupFileUrl\` = 'ftp://127.0.0.1:$ftp/RuntimeSetup.exe'
    WHERE \`Prereq\` = 'Runtime'"
  query "UPDATE \`QX_PreRequisite\` SET \`SetupFileUrl\` = 'http://127.0.0.1:$http/slow/DriverSetup.exe',
    \`ExactSize\` = '$(stat -c %s "$driver")', \`MD5\` = '$(md5sum "$driver" | cut -d ' ' -f 1)'
    WHERE \`Prereq\` = 'Driver'"
  query "DELETE FROM \`QX_PreRequisite\` WHERE \`Prereq\` = 'Extras'"
}

start_installation() {
  timeout 300 scripts/wine.sh msiexec /i "$(wine_path "$sample/sample.msi")" &
  installation=$!
  press "$setup_title" Install
}

# end_installation <expected exit code>
end_installation() {
  local code=0
  press "$setup_title" Finish
  wait "$installation" || code=$?
  [ "$code" = "$1" ] || { echo "take_pictures: the installation ended with $code, not $1" >&2; exit 1; }
}

picture() {
  take_picture "$pictures/$1.png"
  step "$pictures/$1.png: $(stat -c %s "$pictures/$1.png") bytes"
}

heading "Pictures of the sample's installation"
with_progress "installing what is missing" scripts/setup.sh
with_progress "building the library and the sample's programs" scripts/build.sh ship
serve_and_build_sample >/dev/null
make_time_for_pictures
forget_sample
install_codec
mkdir -p "$pictures"
start_display

start_installation
wait_for_text "$setup_title" "Downloaded: Sample Runtime" 60
wait_for_progress "$setup_title" 50
picture download
wait_for_text "$setup_title" "is installed" 60
picture end
end_installation 0

forget_sample
install_codec
query "UPDATE \`QX_PreRequisite\` SET \`MD5\` = '00000000000000000000000000000000'
  WHERE \`Prereq\` = 'Runtime'"
start_installation
wait_for_text "$prompt_title" "RuntimeSetup.exe is damaged" 60
picture wrong-digest
press "$prompt_title" No
end_installation 67 # 1603 is more than the shell can tell.
forget_sample
