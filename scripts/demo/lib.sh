# What demo.sh is made of: headings, steps with their time, checks with their topic, and questions about
# the Wine machine. Sourced, not run.

start_time=$EPOCHREALTIME
sample=$PWD/build/sample
# A Wine machine of its own: it is switched off and on, which would end whatever else ran on it.
export PREREQ_WINEPREFIX=$PWD/build/demo-wine
drive=$PREREQ_WINEPREFIX/drive_c
programs="$drive/Program Files (x86)"
product_code='{6E8A3C61-2B0F-4D57-9C11-5A7B0D3E4F21}'
codec_code='{2C7D94E0-8F16-4B3A-A5D2-1E6F0B9C7D43}'
temp_folder="$drive/users/$(id -un)/Temp"
servers=$PWD/build/demo-servers
work_folder="$temp_folder/$product_code"
setups_log="$temp_folder/sample-setups.log"
topics=()
declare -A topic_evidence topic_passed topic_failed
topic=""
exit_code=0
log=""
follower=""
user=""
setup_title="Sample Product Setup"
prompt_title="Windows Installer"

mkdir -p build
finished=no
finish() {
  stop_following
  as_family newer || true
  stop_display
  scripts/stop_servers.sh "$servers"
  [ "$finished" = yes ] || echo "demo: FAILED, it stopped before its end"
}

# read_options [option...]: what demo.sh was called with. From here on the end of the script cleans up.
read_options() {
  interface="user interface" family=newer interface_switch=()
  source scripts/demo/display.sh
  for option in "$@"; do
    case $option in
      --silent) interface=silent interface_switch=(/qn) ;;
      --legacy) family=older ;;
      *)
        echo "demo: $option is not an option; there are --silent and --legacy" >&2
        exit 2
        ;;
    esac
  done
  trap finish EXIT
}

heading() { printf '\n== %s\n' "$*"; }
seconds() { echo "$EPOCHREALTIME $start_time" | awk '{print $1 - $2}'; }
step() { printf '  [%6.2f s] %s\n' "$(seconds)" "$*"; }

# about <topic> [where it was seen]: what the checks from now on are about, as the last table says it.
about() {
  topic=$1
  if [ -z "${topic_passed[$topic]:-}" ]; then
    topics+=("$topic")
    topic_passed[$topic]=0 topic_failed[$topic]=0 topic_evidence[$topic]=${2:-}
  fi
}

# check <text> <command...>: one line, and one more on the right side of its topic's count.
check() {
  local text=$1
  shift
  if "$@" >/dev/null 2>&1; then
    topic_passed[$topic]=$((topic_passed[$topic] + 1))
    step "ok       $text"
  else
    topic_failed[$topic]=$((topic_failed[$topic] + 1))
    step "FAILED   $text"
  fi
}

not() { ! "$@"; }

# The table of what was checked, and the last line.
verdict() {
  local name passed=0 failed=0
  finished=yes
  heading "What was checked"
  for name in "${topics[@]}"; do
    printf '  %-24s %2d of %2d  %-7s %s\n' "$name" "${topic_passed[$name]}" \
      "$((topic_passed[$name] + topic_failed[$name]))" \
      "$([ "${topic_failed[$name]}" = 0 ] && echo ok || echo FAILED)" "${topic_evidence[$name]}"
    passed=$((passed + topic_passed[$name]))
    failed=$((failed + topic_failed[$name]))
  done
  if [ "$failed" = 0 ]; then
    echo "demo: all $passed checks passed"
  else
    echo "demo: $failed of $((passed + failed)) checks FAILED"
    exit 1
  fi
}

# with_progress <text> <command...>: runs it and tells how far it is, by the last line that it printed: in
# place on a terminal, else a line every ten seconds. Ends the demo with what was printed when it fails.
with_progress() {
  local text=$1 output=build/demo-progress.log pid line told=$SECONDS
  shift
  : >"$output"
  "$@" >"$output" 2>&1 &
  pid=$!
  while kill -0 "$pid" 2>/dev/null; do
    line=$(tail -n 1 "$output" | cut -c 1-60)
    if [ -t 1 ]; then
      printf '\r\e[K  [%6.2f s] ... %s: %s' "$(seconds)" "$text" "$line"
    elif [ $((SECONDS - told)) -ge 10 ]; then
      told=$SECONDS
      step "... $text: $line"
    fi
    sleep 0.2
  done
  [ ! -t 1 ] || printf '\r\e[K'
  if ! wait "$pid"; then
    tail -n 40 "$output"
    echo "demo: $text failed"
    exit 1
  fi
  grep '^setup: ' "$output" | while read -r line; do step "$line"; done || true
  step "$text: done"
}

# as_family <newer|older>: the operating system that the installer, Setup.exe and the setups see from now on.
as_family() {
  local program settings=build/demo-family.reg
  echo REGEDIT4 >"$settings"
  for program in msiexec Setup {Runtime,Driver,Tools,Codec,Extras}Setup; do
    printf '\n[HKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\%s.exe]\n"Version"=%s\n' "$program" \
      "$([ "$1" = older ] && echo '"win98"' || echo -)"
  done >>"$settings"
  scripts/wine.sh regedit /S "$(wine_path "$PWD/$settings")"
}

# Servers on loopback with the setups that the sample downloads, and the package that names them.
serve_and_build_sample() {
  scripts/start_servers.sh "$servers"
  local http drop ftp
  eval "$(grep -E '^(http|drop|ftp)=' "$servers/ports")"
  package/sample/build.sh build/ship/bin "$sample" "http://127.0.0.1:$http" \
    "http://127.0.0.1:$drop/cut=60000&then=ok" \
    "ftp://127.0.0.1:$ftp"
  # Read line by line: on a terminal Wine would paint its own console into ours.
  package/sample/build_setup.sh build/ship/bin "$sample" | tr -d '\r' | while read -r group name sizes; do
    step "packed into Setup.exe as group $group: $name, $sizes"
  done
  mv "$sample/RuntimeSetup.exe" "$sample/DriverSetup.exe" "$servers/www"
  mv "$sample/ExtrasSetup.exe" "$(cat "$servers/ftp_root")"
  step "nginx serves http://127.0.0.1:$http, a server that drops http://127.0.0.1:$drop, vsftpd ftp://127.0.0.1:$ftp"
}

# How often the web server was asked for a file, and for which part.
requests() { grep -haE "GET (/slow|/cut[^/]*)?/$1\\b.*$2" "$servers/access.log" "$servers/faults/requests"; }

wine_path() { printf 'Z:%s' "${1//\//\\}"; }

# The value "Version" that a sample setup left in the 32-bit registry.
registered() {
  scripts/wine.sh reg query "HKLM\\Software\\Sample Maker\\Prerequisites\\$1" /v Version /reg:32 |
    grep -E "REG_SZ +$2" >/dev/null
}

# product_registered [product code]
product_registered() {
  scripts/wine.sh reg query \
    "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\${1:-$product_code}" /reg:32
}

setup_called() { grep -aqE "$1" "$setups_log"; }
setups_run() { if [ -e "$setups_log" ]; then grep -c 'called with' "$setups_log"; else echo 0; fi; }
logged() { grep -aqE "$1" "$log"; }

# A sample setup's registry value and program.
installed_prerequisite() { registered "$@" && [ -s "$programs/Sample Prerequisites/$1.exe" ]; }

# Which operating system the setups, and the installer, say they saw.
family_of_setups() {
  local count
  count=$(grep -c 'on the older family' "$setups_log" || true)
  [ "$count" = "$([ "$1" = older ] && setups_run || echo 0)" ]
}
family_of_installer() { logged "^Property.*: Version$([ "$1" = older ] && echo 9X || echo NT) = "; }

# in_order <file> <pattern...> [END]: each pattern matches a line after the one before; with END, the last
# one is the last line, and no other line matches one.
in_order() {
  perl -e '
    my ($file, @patterns) = @ARGV;
    open my $in, "<", $file or exit 1;
    my $strict = $patterns[-1] eq "END" && pop @patterns;
    while (my $line = <$in>) {
      if (@patterns && $line =~ /$patterns[0]/) { shift @patterns }
      elsif ($strict) { exit 1 }
    }
    exit(@patterns ? 1 : 0)' "$@"
}

# Takes product and prerequisites of an earlier run off the machine.
forget_sample() {
  for code in "$product_code" "$codec_code"; do
    product_registered "$code" >/dev/null 2>&1 && scripts/wine.sh msiexec /x "$code" /qn || true
  done
  scripts/wine.sh reg delete 'HKLM\Software\Sample Maker' /f /reg:32 >/dev/null 2>&1 || true
  scripts/wine.sh reg delete "$run_key" /v "$product_code" /f >/dev/null 2>&1 || true
  rm -rf "$programs/Sample Prerequisites" "$programs/Sample Product" "$setups_log" \
    "$temp_folder/sample-restart" "$work_folder" "$temp_folder"/Setup-*
  step "nothing of the sample is on the machine"
}

# The prerequisite that is on the machine already.
install_codec() { scripts/wine.sh msiexec /i "$(wine_path "$sample/codec.msi")" /qn; }

# start_following <name>: tells what the sample's logs say from now on, until stop_following.
start_following() {
  local rows=$sample/rows.idt
  log=$sample/$1.log
  stop_file=$sample/$1.stop
  rm -f "$log" "$stop_file"
  msiinfo export "$sample/sample.msi" QX_PreRequisite >"$rows"
  scripts/demo/follow.pl "$start_time" "$rows" "$work_folder" "$log" "$setups_log" "$stop_file" &
  follower=$!
}

stop_following() {
  [ -n "$follower" ] || return 0
  touch "$stop_file"
  wait "$follower"
  follower=""
}

# run_sample <Setup.exe> [msiexec argument...], or run_sample <package.msi> <msiexec verb> [argument...]: in
# the foreground, with the interface that this demo has.
run_sample() {
  local command
  case $1 in
    *.exe) command=("$(wine_path "$sample/$1")" "${@:2}") ;;
    *) command=(msiexec "$2" "$(wine_path "$sample/$1")" "${@:3}") ;;
  esac
  timeout 300 scripts/wine.sh "${command[@]}" "${interface_switch[@]}" /l*v "$(wine_path "$log")"
}

# start_user <button|"? text"...>: where there is a user interface, somebody presses these buttons of the
# setup, each as soon as it is there. The one after "? text" belongs to a prompt that says so; what was read
# is kept in $user_log.
start_user() {
  local title=$setup_title
  user_log=$sample/user.log
  : >"$user_log"
  [ "$interface" != silent ] || return 0
  (
    for act in "$@"; do
      case $act in
        '? '*)
          title=$prompt_title
          wait_for_text "$title" "${act#? }" 60 || exit
          echo "${act#? }" >>"$user_log"
          step "-- the user reads: ${act#? }"
          ;;
        *)
          press "$title" "$act" 60 || exit
          step "-- the user presses $act"
          title=$setup_title
          ;;
      esac
    done
  ) &
  user=$!
}

stop_user() {
  [ -n "$user" ] || return 0
  wait "$user" || check "the user found the buttons to press" false
  user=""
}

# was_asked <number> <text>: by the installer's log or, with dialogs, by what the user read.
was_asked() { logged "^Warning $1\.$2" || grep -q "$2" "$user_log"; }

# install_sample <name> <what run_sample takes...>: runs it to its end. Leaves the installer's log
# in $log and its exit code in $exit_code.
install_sample() {
  start_following "$1"
  exit_code=0
  run_sample "${@:2}" || exit_code=$?
  stop_user
  stop_following
  # The shell keeps eight bits of it.
  step "$2 ended with exit code $([ "$exit_code" = 67 ] && echo 1603 || echo "$exit_code")"
}

# wait_until <seconds> <command...>
wait_until() {
  local end=$(($(date +%s) + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ "$(date +%s)" -lt "$end" ] || return 1
    sleep 0.1
  done
}

run_key='HKCU\Software\Microsoft\Windows\CurrentVersion\Run'

# The command that is registered for the next logon.
run_value() {
  scripts/wine.sh reg query "$run_key" /v "$product_code" 2>/dev/null | tr -d '\r' |
    sed -n 's/.* REG_SZ *//p'
}

# Adds to the registered command what this demo wants of it: a log, as a policy of the system would make
# one, and no dialogs where nobody is there to see them.
log_resumed_installation() {
  local switches="${interface_switch[*]} /l*v \"$(wine_path "$log")\""
  scripts/wine.sh reg add "$run_key" /v "$product_code" /d "$(run_value) $switches" /f >/dev/null
  step "for this demo the registered command gets: $switches"
}

sample_value() {
  scripts/wine.sh reg query 'HKLM\Software\Sample Maker\Sample Product' /v "$1" /reg:32 |
    grep -E "REG_SZ +$2" >/dev/null
}

# Switches the Wine machine off, whatever runs on it, and on again.
restart_machine() {
  scripts/wine.sh --stop
  step "-- the machine is off"
  rm -f "$temp_folder/sample-restart"
  scripts/wine.sh wineboot
  step "-- the machine is on again, the user is logged on"
}
