# What demo.sh is made of: headings, steps with their time, checks with their count, and questions about
# the Wine machine. Sourced, not run.

start_time=$(date +%s.%N)
sample=$PWD/build/sample
drive=$PWD/build/wine/drive_c
programs="$drive/Program Files (x86)"
product_code='{6E8A3C61-2B0F-4D57-9C11-5A7B0D3E4F21}'
codec_code='{2C7D94E0-8F16-4B3A-A5D2-1E6F0B9C7D43}'
temp_folder="$drive/users/$(id -un)/Temp"
servers=$PWD/build/demo-servers
work_folder="$temp_folder/$product_code"
setups_log="$temp_folder/sample-setups.log"
checks_passed=0
checks_failed=0
exit_code=0
log=""

mkdir -p build
finished=no
finish() {
  scripts/wine.sh --stop
  scripts/stop_servers.sh "$servers"
  [ "$finished" = yes ] || echo "demo: FAILED, it stopped before its end"
}
trap finish EXIT

heading() { printf '\n== %s\n' "$*"; }
step() { printf '  [%6.2f s] %s\n' "$(echo "$(date +%s.%N) $start_time" | awk '{print $1 - $2}')" "$*"; }

# check <text> <command...>: one line, and one more on the right side of the count.
check() {
  local text=$1
  shift
  if "$@" >/dev/null 2>&1; then
    checks_passed=$((checks_passed + 1))
    step "ok       $text"
  else
    checks_failed=$((checks_failed + 1))
    step "FAILED   $text"
  fi
}

not() { ! "$@"; }

verdict() {
  finished=yes
  heading "Verdict"
  if [ "$checks_failed" = 0 ]; then
    echo "demo: all $checks_passed checks passed"
  else
    echo "demo: $checks_failed of $((checks_passed + checks_failed)) checks FAILED"
    exit 1
  fi
}

build_quietly() {
  local build_log=build/demo-build.log
  { cmake --preset "$1" && cmake --build --preset "$1"; } >"$build_log" 2>&1 || {
    tail -n 40 "$build_log"
    echo "demo: the build failed"
    exit 1
  }
  step "built the library and the sample's programs"
}

# Servers on loopback with the setups that the sample downloads, and the package that names them.
serve_and_build_sample() {
  scripts/start_servers.sh "$servers"
  local http drop ftp
  eval "$(grep -E '^(http|drop|ftp)=' "$servers/ports")"
  package/sample/build.sh build/ship/bin "$sample" "http://127.0.0.1:$http" "http://127.0.0.1:$drop" \
    "ftp://127.0.0.1:$ftp"
  package/sample/build_setup.sh build/ship/bin "$sample"
  mv "$sample/RuntimeSetup.exe" "$sample/DriverSetup.exe" "$servers/www"
  mv "$sample/ExtrasSetup.exe" "$(cat "$servers/ftp_root")"
  step "nginx serves http://127.0.0.1:$http, and http://127.0.0.1:$drop which drops; vsftpd ftp://127.0.0.1:$ftp"
}

# How often the web server was asked for a file, and for which part.
requests() { grep -aE "GET (/slow)?/$1 .*$2" "$servers/access.log"; }

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

# in_order <file> <pattern...>: each pattern matches a line after the one before.
in_order() {
  perl -e '
    my ($file, @patterns) = @ARGV;
    open my $in, "<", $file or exit 1;
    while (@patterns and my $line = <$in>) { shift @patterns if $line =~ /$patterns[0]/ }
    exit(@patterns ? 1 : 0)' "$@"
}

# Takes product and prerequisites of an earlier run off the machine.
forget_sample() {
  for code in "$product_code" "$codec_code"; do
    product_registered "$code" >/dev/null 2>&1 && scripts/wine.sh msiexec /x "$code" /qn || true
  done
  scripts/wine.sh reg delete 'HKLM\Software\Sample Maker' /f /reg:32 >/dev/null 2>&1 || true
  scripts/wine.sh reg delete 'HKCU\Software\Microsoft\Windows\CurrentVersion\Run' \
    /v "$product_code" /f >/dev/null 2>&1 || true
  rm -rf "$programs/Sample Prerequisites" "$programs/Sample Product" "$setups_log" \
    "$temp_folder/sample-restart" "$work_folder"
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
  touch "$stop_file"
  wait "$follower"
}

# run_sample <Setup.exe|package.msi> [msiexec argument...]: without a user interface, in the foreground.
run_sample() {
  local arguments=("${@:2}" /qn /l*v "$(wine_path "$log")")
  if [ "$1" = Setup.exe ]; then
    timeout 300 scripts/wine.sh "$(wine_path "$sample/$1")" "${arguments[@]}"
  else
    timeout 300 scripts/wine.sh msiexec "$2" "$(wine_path "$sample/$1")" "${arguments[@]:1}"
  fi
}

run_quietly() { scripts/wine.sh msiexec "$1" "$(wine_path "$sample/sample.msi")" /qn; }

# install_sample <name> <Setup.exe|package.msi> [msiexec argument...]: runs it to its end. Leaves the
# installer's log in $log and its exit code in $exit_code.
install_sample() {
  start_following "$1"
  exit_code=0
  run_sample "${@:2}" || exit_code=$?
  stop_following
  step "$2 ended with exit code $exit_code"
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

run_values() {
  scripts/wine.sh reg query 'HKCU\Software\Microsoft\Windows\CurrentVersion\Run' 2>/dev/null |
    tr -d '\r' | grep -F "$product_code" || true
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
