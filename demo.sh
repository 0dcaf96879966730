#!/usr/bin/env bash
# Installs the tools, builds the library and the sample package and tells the story of one installation with
# the real installer service of Wine: the sample's setup executable is started, a prerequisite restarts the
# machine in the middle, the installation goes on by itself to its end; then the product is repaired and
# removed, and a damaged setup file is refused.
#   demo.sh            with the installer's user interface, on a virtual display
#   demo.sh --silent   without a user interface
#   demo.sh --legacy   as the older family of operating systems; goes with --silent too
# Every step is printed as it happens, with the seconds since the start and what was seen; then a table of
# what was checked. The last line is the verdict.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/demo/lib.sh
read_options "$@"

heading "Tools and build"
with_progress "installing what is missing" scripts/setup.sh
with_progress "building the library and the sample's programs" scripts/build.sh ship
serve_and_build_sample
scripts/wine.sh --boot
[ "$interface" = silent ] || start_display
as_family "$family"
step "$(scripts/check_library.sh build/ship/bin/Prereq.dll)"
step "sample.msi: $(stat -c %s "$sample/sample.msi") bytes, $(msiinfo tables "$sample/sample.msi" | wc -l) tables"

heading "A machine with one of the prerequisites"
forget_sample
install_codec
about "the machine before" "registry"
check "Sample Codec is there, a product of its own" product_registered "$codec_code"
check "Sample Runtime is missing" not registered Runtime 2.1
check "Sample Extras is missing" not registered Extras 3.0
check "the product is not installed" not product_registered

heading "Setup.exe is started ($interface, $family family)"
start_following first
start_user Install
run_sample Setup.exe SAMPLE_RESTART=yes 'SAMPLE_CHOICE=red & blue' &
about "restart" "setups' log, Run value, files before and after"
check "Sample Driver wants the machine restarted, and waits for it" \
  wait_until 60 [ -e "$temp_folder/sample-restart" ]
stop_user
stop_following
about "download" "web and FTP servers' logs"
check "the runtime was downloaded in one go" not requests RuntimeSetup.exe 'range="bytes'
check "the driver's download was cut and went on where it stopped" \
  requests DriverSetup.exe ' 206 .*range="bytes=[1-9]'
step "         $(requests DriverSetup.exe '' | tr '\n' ';')"
check "the extras came over FTP" grep -q 'OK DOWNLOAD.*ExtrasSetup.exe' "$servers/ftp.log"
about "unpacking" "installer's log, setups' log"
check "the setup executable unpacked the tools" compgen -G "$temp_folder/*/Prerequisites/ToolsSetup.exe"
about "restart"
check "the product is not installed yet" not product_registered
check "the tools' setup did not run yet" not setup_called 'Tools: called'
check "the downloaded files are kept" [ -s "$work_folder/ExtrasSetup.exe" ]
step "         downloaded and recorded: $(ls "$work_folder" | tr '\n' ' ')"
registration=$(run_value)
check "the installation is registered to go on at the next logon" [ -n "$registration" ]
step "         $registration"

heading "The machine is restarted"
start_following resumed
log_resumed_installation
restart_machine
start_user Finish
about "restart"
check "the installation went on by itself to its end" wait_until 60 logged 'Action ended .*QX_CleanPrereq'
check "every program of it ended" timeout 60 scripts/wine.sh --wait
stop_user
stop_following

heading "Evidence"
about "restart"
check "the package knew that it was going on" sample_value Resumed 1
check "the choice made before the restart was kept" sample_value Choice 'red & blue'
check "no setup ran twice, the codec's not at all" in_order "$setups_log" \
  'Runtime: ' 'Driver: ' 'Tools: ' 'Extras: ' END
check "nothing was downloaded twice" [ "$(grep -c 'OK DOWNLOAD.*ExtrasSetup.exe' "$servers/ftp.log")" = 1 ]
about "search" "installer's log"
check "the runtime was found by its version in the registry" logged 'Property.*: SAMPLE_RUNTIME = 2\.1'
check "the driver was found by a value in the registry" logged 'Property.*: SAMPLE_DRIVER = 1'
check "the codec was found as a related product" logged 'Property.*: SAMPLE_CODEC = 1\.0\.3'
about "prerequisites" "registry, Program Files, setups' log"
for row in "Runtime 2.1" "Driver 1.4" "Tools 4.0"; do
  check "Sample ${row% *}: registry value and program" installed_prerequisite $row
done
check "the runtime's setup got its command line" setup_called \
  'Runtime: called with \[name=Runtime version=2.1 for="Sample Product"\]'
check "the tools' setup ran in the folder it was unpacked to" setup_called 'Tools: .* in \[C:.*.Prerequisites\], exit'
check "the setups saw the $family family" family_of_setups "$family"
about "product" "installer's log, registry, Program Files"
check "the installer saw the $family family" family_of_installer "$family"
check "the product came between its prerequisites and the extras" in_order "$log" \
  'Action start .*QX_InstallPrerequisite\.' 'Action start .*InstallFiles\.' \
  'Action start .*QX_InstallPostPrerequisite\.'
check "the product is registered" product_registered
check "the product's program" [ -s "$programs/Sample Product/Read me.txt" ]
about "after the product" "registry, Program Files, setups' log"
check "Sample Extras: registry value and program" installed_prerequisite Extras 3.0
check "its exit code 3010 did not stop the installation" setup_called 'Extras: .*exit code 3010'
about "verification" "installer's log"
check "nothing was missing at the end, nobody was asked" in_order "$log" \
  'Action start .*QX_SearchAgain' 'Action start .*QX_VerifyPrereq' 'Action ended .*QX_VerifyPrereq.*value 1'
check "no prompt was logged, and none stood in the user's way" not logged '^Warning [0-9]'
about "clean-up" "temporary folder, Run value, scheduled jobs"
check "no downloaded file and no folder of it is left" [ ! -e "$work_folder" ]
check "no unpacked file and no folder of it is left" not compgen -G "$temp_folder/*/Prerequisites"
check "the temporary folder itself stays" [ -d "$temp_folder" ]
check "no job of the installation is left" not compgen -G "$drive/windows/tasks/$product_code*"
check "nothing is registered for the next logon" [ -z "$(run_value)" ]

heading "Repair"
about "repair" "installer's log, setups' log"
rm -f "$setups_log" "$programs/Sample Product/Read me.txt"
# What /famus comes down to, which Wine's msiexec does not know for an installed product.
start_user Finish
install_sample repair sample.msi /i REINSTALL=ALL REINSTALLMODE=amus
check "the repair succeeded" [ "$exit_code" = 0 ]
check "the lost file is back" [ -s "$programs/Sample Product/Read me.txt" ]
check "the tools were found by their file version" logged 'Property.*: SAMPLE_TOOLS = 4\.0\.2\.0'
check "no setup was launched" [ "$(setups_run)" = 0 ]

heading "Uninstall"
about "uninstall" "registry, setups' log"
start_user Finish
install_sample remove sample.msi /x
check "the uninstall succeeded" [ "$exit_code" = 0 ]
check "the product is gone" not product_registered
check "no setup was launched" [ "$(setups_run)" = 0 ]
check "the prerequisites stay" registered Runtime 2.1

heading "Without the setup executable: the tools' setup lies beside the package"
about "beside the package" "setups' log"
rm "$programs/Sample Prerequisites/Tools.exe"
start_user Install Finish
install_sample beside sample.msi /i
check "the installation succeeded" [ "$exit_code" = 0 ]
check "only the tools' setup was launched, from beside the package" setup_called \
  'Tools: .* in \[Z:.*sample\], exit code'
check "nothing else was launched" [ "$(setups_run)" = 1 ]

heading "A setup file that is not what the package expects"
forget_sample
about "damaged file" "installer's log, setups' log"
cp "$sample/sample.msi" "$sample/wrong.msi"
msibuild "$sample/wrong.msi" -q \
  "UPDATE \`QX_PreRequisite\` SET \`MD5\` = '00000000000000000000000000000000' WHERE \`Prereq\` = 'Runtime'"
start_user Install '? The setup file RuntimeSetup.exe is damaged' No Finish
install_sample wrong wrong.msi /i
check "the user is asked about the file" was_asked 4156 'The setup file RuntimeSetup.exe'
check "without a Yes the installation stops" [ "$exit_code" != 0 ]
check "nothing was launched" [ "$(setups_run)" = 0 ]
check "the product is not installed" not product_registered
[ "$interface" = silent ] ||
  check "the last dialog cleaned up" [ ! -e "$work_folder" ]

verdict
