#!/usr/bin/env bash
# Kills an installation of the sample package at random moments, starts it again as its user would, and
# looks at what there is in the end:
#   scripts/reliability/kills.sh <kills> <start> [first]
# About half of the kills take the whole machine down, and the next logon starts what is registered; the
# others take the installer's processes alone. Then the user starts the setup executable again unless all is
# there, and repairs a product that was there before its last prerequisites. In the end the product and its
# prerequisites are installed, no setup that had finished ran again, and no file of anybody else's is gone
# or altered. Needs the library built as it ships. Prints what is wrong with the number of the kill, and one
# line of counts.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
kills=$1
start=$2
first=${3:-0}
source scripts/demo/lib.sh
interface=silent interface_switch=(/qn)
step() { :; }
trap 'scripts/wine.sh --stop; scripts/stop_servers.sh "$servers"' EXIT

state=$PWD/build/reliability
mkdir -p "$state"
log=$state/kill.log
declare -A version=([Runtime]=2.1 [Driver]=1.4 [Tools]=4.0 [Extras]=3.0)
faults=0
machine_kills=0
resumed=0
started_again=0
repaired=0
kept_files=0
launches=0
spared=0
interrupted=0
killed_twice=0
declare -A had_finished=() had_begun=() interrupted_now=() left_at_kill=()

fault() {
  faults=$((faults + 1))
  echo "FAULT --only \"killed installations\" --start $start --from $kill_number --runs 1 ($delay_ms ms after ${step_names[$step_drawn]}, $victim): $*"
}

# Steps of an installation, as they can be seen from outside.
step_names=("the start" "the first byte" "the first download" "the second download" "the downloads"
  "unpacking" "the first setup" "the second setup" "the third setup" "the product" "the last setup")
step_0() { :; }
step_1() { compgen -G "$work_folder/*.part" >/dev/null; }
step_2() { [ -e "$work_folder/RuntimeSetup.exe" ]; }
step_3() { [ -e "$work_folder/DriverSetup.exe" ]; }
step_4() { [ -e "$work_folder/ExtrasSetup.exe" ]; }
step_5() { compgen -G "$temp_folder/*/Prerequisites" >/dev/null; }
step_6() { setup_called '^Runtime:'; }
step_7() { setup_called '^Driver:'; }
step_8() { setup_called '^Tools:'; }
step_9() { [ -e "$programs/Sample Product/Read me.txt" ]; }
step_10() { setup_called '^Extras:'; }

# Somebody else's files, at every place where the installation works. They are there before it.
foreign_places=(
  "$temp_folder/user.txt" "$temp_folder/sample.part" "$temp_folder/${product_code}2/user.txt"
  "$programs/user.txt" "$programs/Sample Prerequisites/user.dat" "$programs/Sample Product/user.txt"
  "$sample/user.txt"
)
place_foreign_files() {
  local place
  foreign=("${foreign_places[@]}")
  # In every other run the download folder is there before, with a file of the user's.
  if [ $((RANDOM % 2)) = 0 ]; then
    foreign+=("$work_folder/user.txt" "$work_folder/user.exe.part")
  fi
  for place in "${foreign[@]}"; do
    mkdir -p "${place%/*}"
    echo "$RANDOM of the user's" >"$place"
  done
  sha1sum "${foreign[@]}" >"$state/foreign"
}
remove_foreign_files() { rm -rf "${foreign_places[@]}" "$temp_folder/${product_code}2"; }

# The machine as it was before the first installation.
save_machine() {
  scripts/wine.sh --stop
  cp "$drive"/../{system,user,userdef}.reg "$state"
}
restore_machine() {
  scripts/wine.sh --stop
  cp "$state"/{system,user,userdef}.reg "$drive/.."
  rm -rf "$programs/Sample Prerequisites" "$programs/Sample Product" "$setups_log" "$work_folder" \
    "$temp_folder/sample-restart"
  local folder
  for folder in "$temp_folder"/*/Prerequisites; do
    [ ! -e "$folder" ] || rm -rf "${folder%/*}"
  done
}

calls_of() { grep -ac "^$1: called" "$setups_log" 2>/dev/null || true; }

# install: with the setup executable, to its end.
install() { run_sample Setup.exe SAMPLE_CHOICE=red >/dev/null 2>&1; }

# The machine goes on, the user logs on, and whatever that starts comes to its end. Nobody is there to
# press a button.
log_on() {
  [ -z "$(run_value)" ] || log_resumed_installation
  scripts/wine.sh --stop
  scripts/wine.sh wineboot >/dev/null 2>&1
  timeout 120 scripts/wine.sh --wait
}

# The installer's processes end, and whatever they leave comes to its end: a prerequisite's setup that runs
# goes on. One that the installer starts at that very moment may escape, and wait for what is gone.
kill_installer() {
  local attempt
  for attempt in 1 2 3; do
    [ "$attempt" != 2 ] || killed_twice=$((killed_twice + 1))
    scripts/wine.sh taskkill /f /im msiexec.exe >/dev/null 2>&1 || true
    scripts/wine.sh taskkill /f /im Setup.exe >/dev/null 2>&1 || true
    ! timeout 15 scripts/wine.sh --wait || return 0
  done
  scripts/wine.sh --stop
  return 1
}

everything_is_installed() {
  local name
  product_registered >/dev/null 2>&1 && [ -s "$programs/Sample Product/Read me.txt" ] || return 1
  for name in "${!version[@]}"; do
    [ "${interrupted_now[$name]:-no}" = yes ] || registered "$name" "${version[$name]}" || return 1
  done
}

check_end() {
  local name calls file
  product_registered >/dev/null 2>&1 || fault "the product is not registered"
  cmp -s package/sample/product/readme.txt "$programs/Sample Product/Read me.txt" ||
    fault "the product's file is not what was packed"
  for name in "${!version[@]}"; do
    calls=$(calls_of "$name")
    launches=$((launches + calls))
    # One that was killed itself may have left something that looks like all of it.
    if [ "${interrupted_now[$name]:-no}" = yes ]; then
      interrupted=$((interrupted + 1))
      continue
    fi
    registered "$name" "${version[$name]}" || fault "$name is not registered"
    cmp -s "$state/$name.exe" "$programs/Sample Prerequisites/$name.exe" ||
      fault "$name's program is not what was packed"
    if [ "${had_finished[$name]}" = yes ]; then
      spared=$((spared + 1))
      [ "$calls" = 1 ] || fault "$name had finished and ran $calls times"
    elif [ "$calls" != 1 ]; then
      fault "$name ran $calls times"
    fi
  done
  sha1sum --quiet -c "$state/foreign" >/dev/null 2>&1 || fault "a foreign file is gone or altered"
  kept_files=$((kept_files + ${#foreign[@]}))
  # A whole setup file that a run found and did not fetch itself is not its own to delete; nothing
  # else stays, and no part of one.
  for file in "$work_folder"/*; do
    [ -e "$file" ] && [[ $file != */user.* ]] || continue
    name=$(basename "$file")
    if [ "${left_at_kill[$name]:-no}" != yes ]; then
      fault "left behind: $name"
    elif ! cmp -s "$state/${name/Setup/}" "$file"; then
      fault "left behind and not whole: $name"
    fi
  done
}

run_kill() {
  RANDOM=$((start * 1000 + kill_number))
  restore_machine
  place_foreign_files
  scripts/wine.sh wineboot >/dev/null 2>&1
  # So long after one of its steps: a slower machine draws the same places.
  step_drawn=$((RANDOM % ${#step_names[@]}))
  delay_ms=$((RANDOM % 400))
  victim=installer
  [ $((RANDOM % 2)) = 0 ] || victim=machine
  install &
  local installing=$!
  until step_$step_drawn 2>/dev/null || ! kill -0 "$installing" 2>/dev/null; do sleep 0.01; done
  sleep "$(printf '0.%03d' "$delay_ms")"
  if [ "$victim" = machine ]; then
    scripts/wine.sh --stop
    machine_kills=$((machine_kills + 1))
  else
    kill_installer || fault "what was killed does not end"
  fi
  wait "$installing" || true
  rm -f "$temp_folder/sample-restart"

  local name file
  had_finished=() had_begun=() interrupted_now=() left_at_kill=()
  for name in Runtime Driver Tools Extras; do
    had_begun[$name]=$(calls_of "$name")
    had_begun[$name]=${had_begun[$name]:-0}
    had_finished[$name]=no
    if registered "$name" "${version[$name]}" && [ -e "$programs/Sample Prerequisites/$name.exe" ]; then
      had_finished[$name]=yes
    fi
    [ "${had_begun[$name]}" = 0 ] || [ "${had_finished[$name]}" = yes ] || interrupted_now[$name]=yes
  done
  had_product=no
  ! product_registered >/dev/null 2>&1 || had_product=yes
  for file in "$work_folder"/*Setup.exe; do
    [ ! -e "$file" ] || left_at_kill[$(basename "$file")]=yes
  done

  if [ "$victim" = machine ]; then
    [ -z "$(run_value)" ] || resumed=$((resumed + 1))
    log_on || fault "what the logon started does not end"
  fi
  if ! everything_is_installed; then
    started_again=$((started_again + 1))
    install || fault "started again, it ended with exit code $?"
  fi
  # A product that is there already asks for no change of its features, and so for none of their
  # prerequisites: those that come after the product want a repair.
  if [ "$had_product" = yes ] && ! everything_is_installed; then
    repaired=$((repaired + 1))
    # Killed in the middle of its own work, Wine's installer does not roll back, and knows a product
    # by half that it can neither repair nor install: it is removed.
    run_sample sample.msi /fa >/dev/null 2>&1 ||
      { run_sample sample.msi /x >/dev/null 2>&1 && install; } || fault "neither repaired nor installed again"
  fi
  check_end
}

# Where no job can be made, a value that starts the package stays registered after the end: at the next
# logon it must find nothing to do.
check_next_logon() {
  local before
  before=$(cat "$setups_log")
  log_on || fault "what the logon after the end started does not end"
  [ "$(cat "$setups_log")" = "$before" ] || fault "the logon after the end launched a setup"
  product_registered >/dev/null 2>&1 || fault "the logon after the end took the product away"
  sha1sum --quiet -c "$state/foreign" >/dev/null 2>&1 || fault "the logon after the end harmed a file"
}

serve_and_build_sample >/dev/null
for name in "${!version[@]}"; do
  file=$servers/www/${name}Setup.exe
  [ -e "$file" ] || file=$sample/${name}Setup.exe
  [ -e "$file" ] || file=$(cat "$servers/ftp_root")/${name}Setup.exe
  cp "$file" "$state/$name.exe"
done
forget_sample >/dev/null
install_codec
save_machine
trap 'restore_machine; remove_foreign_files; scripts/wine.sh --stop; scripts/stop_servers.sh "$servers"' EXIT

# Without a kill it works.
scripts/wine.sh wineboot >/dev/null 2>&1
kill_number=0 step_drawn=0 delay_ms=0 victim=nobody
install || fault "the installation ended with exit code $?"
everything_is_installed || fault "the installation is not whole"

for ((kill_number = first; kill_number < first + kills; ++kill_number)); do
  run_kill
  # Once is enough: what a logon finds is the same after each.
  [ $((kill_number + 1)) != $((first + kills)) ] || check_next_logon
done

printf '%-26s%d runs  %d of the machine, %d of the installer (%d needed a second kill)  %d resumed by themselves  %d started again  %d mended by hand  ' \
  "killed installations" "$kills" "$machine_kills" $((kills - machine_kills)) "$killed_twice" \
  "$resumed" "$started_again" "$repaired"
printf '%d setups launched, %d that had finished not again, %d killed themselves  ' "$launches" \
  "$spared" "$interrupted"
printf '%d foreign files kept  %d faults\n' "$kept_files" "$faults"
[ "$faults" = 0 ]
