#!/usr/bin/env bash
# Installs the tools, builds the library and the sample package and installs that package with the real
# installer service of Wine. Every step is printed as it happens, then the evidence; the last line is the
# verdict.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
source scripts/demo/lib.sh

heading "Tools and build"
scripts/setup.sh
build_quietly ship
serve_and_build_sample
scripts/wine.sh --boot
step "$(scripts/check_library.sh build/ship/bin/Prereq.dll)"
step "sample.msi: $(stat -c %s "$sample/sample.msi") bytes, $(msiinfo tables "$sample/sample.msi" | wc -l) tables"

heading "A machine with one of the prerequisites"
forget_sample
install_codec
check "Sample Codec is there, a product of its own" product_registered "$codec_code"
check "Sample Runtime is missing" not registered Runtime 2.1
check "Sample Extras is missing" not registered Extras 3.0
check "the product is not installed" not product_registered

heading "Setup.exe /qn"
install_sample first Setup.exe

heading "Evidence"
check "the installation succeeded" [ "$exit_code" = 0 ]
check "Sample Runtime's registry value" registered Runtime 2.1
check "Sample Runtime's program" [ -s "$programs/Sample Prerequisites/Runtime.exe" ]
check "Sample Extras' registry value" registered Extras 3.0
check "Sample Extras' program" [ -s "$programs/Sample Prerequisites/Extras.exe" ]
check "the runtime's setup got its command line" setup_called \
  'Runtime: called with \[name=Runtime version=2.1 for="Sample Product"\]'
check "each setup ran in its own folder" setup_called 'Tools: .* in \[C:.*.Prerequisites\], exit code'
check "exit code 3010 did not stop the installation" setup_called 'Extras: .*exit code 3010'
check "four setups were launched, the codec's was not" [ "$(setups_run)" = 4 ]
check "the runtime came before the product, the extras after it" in_order "$log" \
  'Action start .*QX_InstallPrerequisite\.' '^Sample Runtime 2.1' 'File: Read me.txt, ' \
  'Action start .*QX_InstallPostPrerequisite' '^Sample Extras 3.0'
check "the runtime was downloaded in one go" not requests RuntimeSetup.exe 'range="bytes'
check "the driver's download was cut and went on where it stopped" requests DriverSetup.exe ' 206 .*range="bytes=[1-9]'
step "         $(requests DriverSetup.exe '' | tr '\n' ';')"
check "the tools were unpacked from the setup executable" logged '^Action start .*QX_ExtractPrereq'
check "the extras came over FTP" grep -q 'OK DOWNLOAD.*ExtrasSetup.exe' "$servers/ftp.log"
check "the clean-up left no downloaded file and no folder" [ ! -e "$work_folder" ]
check "the clean-up left no unpacked file and no folder" not compgen -G "$temp_folder/*/Prerequisites"
check "the runtime was found by its version in the registry" logged 'Property.*: SAMPLE_RUNTIME = 2\.1'
check "the tools were found by their file version" logged 'Property.*: SAMPLE_TOOLS = 4\.0\.2\.0'
check "the codec was found as a related product" logged 'Property.*: SAMPLE_CODEC = 1\.0\.3'
check "nobody was asked anything" not logged '^(Warning|Error) [0-9]'
check "the product is registered" product_registered
check "the product's program" [ -s "$programs/Sample Product/Read me.txt" ]

heading "The same package again: msiexec /x, then /i"
rm -f "$setups_log"
install_sample remove sample.msi /x
check "the product is gone" not product_registered
install_sample again sample.msi /i
check "the installation succeeded" [ "$exit_code" = 0 ]
check "nothing was launched" [ "$(setups_run)" = 0 ]
check "the product is registered again" product_registered

heading "Without the setup executable: the tools' setup lies beside the package"
run_quietly /x
rm "$programs/Sample Prerequisites/Tools.exe"
install_sample beside sample.msi /i
check "the installation succeeded" [ "$exit_code" = 0 ]
check "only the tools' setup was launched, from beside the package" setup_called \
  'Tools: .* in \[Z:.*sample\], exit code'
check "nothing else was launched" [ "$(setups_run)" = 1 ]

heading "A restart in the middle: Sample Driver's setup asks for one and waits for it"
forget_sample
install_codec
start_following restart
run_sample Setup.exe SAMPLE_RESTART=yes 'SAMPLE_CHOICE=red & blue' &
check "Sample Driver wants the machine restarted" wait_until 30 [ -e "$temp_folder/sample-restart" ]
stop_following
check "the product is not installed yet" not product_registered
check "the tools' setup did not run yet" not setup_called 'Tools: called'
step "downloaded and recorded: $(ls "$work_folder" | tr '\n' ' ')"
registration=$(run_values)
step "registered to run at the next logon: $registration"
check "the installation is registered to go on" [ -n "$registration" ]
start_following resumed
restart_machine
check "the installation went on by itself to its end" wait_until 60 sample_value Resumed 1
check "the clean-up ran" wait_until 30 [ ! -e "$work_folder" ]
check "every program of it ended" timeout 60 scripts/wine.sh --wait
stop_following
check "the driver was not installed twice" [ "$(grep -c 'Driver: called' "$setups_log")" = 1 ]
check "the tools' setup ran after the restart" setup_called 'Tools: called'
check "the extras' setup ran last" in_order "$setups_log" 'Runtime: ' 'Driver: ' 'Tools: ' 'Extras: '
check "the product is registered" product_registered
check "the choice made before the restart was kept" sample_value Choice 'red & blue'
check "no job of the installation is left" \
  not compgen -G "$drive/windows/tasks/$product_code*"
check "no recorded file and no emptied folder is left" [ ! -e "$work_folder" ]
check "the temporary folder itself stays" [ -d "$temp_folder" ]

heading "A setup file that is not what the package expects, silently"
forget_sample
install_codec
cp "$sample/sample.msi" "$sample/wrong.msi"
msibuild "$sample/wrong.msi" -q \
  "UPDATE \`QX_PreRequisite\` SET \`MD5\` = '00000000000000000000000000000000' WHERE \`Prereq\` = 'Runtime'"
install_sample wrong wrong.msi /i
check "the user is asked about the file" logged '^Warning 4156\.The setup file RuntimeSetup.exe'
check "without an answer the installation stops" [ "$exit_code" != 0 ]
check "nothing was launched" [ "$(setups_run)" = 0 ]
check "the product is not installed" not product_registered

verdict
