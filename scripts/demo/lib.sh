# What demo.sh is made of: headings, steps with their time, checks with their count, and questions about
# the Wine machine. Sourced, not run.

start_time=$(date +%s.%N)
sample=$PWD/build/sample
drive=$PWD/build/wine/drive_c
programs="$drive/Program Files (x86)"
product_code='{6E8A3C61-2B0F-4D57-9C11-5A7B0D3E4F21}'
temp_folder="$drive/users/$(id -un)/Temp"
setups_log="$temp_folder/sample-setups.log"
checks_passed=0
checks_failed=0
exit_code=0
log=""

mkdir -p build
trap 'scripts/wine.sh --stop' EXIT

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

wine_path() { printf 'Z:%s' "${1//\//\\}"; }

# The value "Version" that a sample setup left in the 32-bit registry.
registered() {
  scripts/wine.sh reg query "HKLM\\Software\\Sample Maker\\Prerequisites\\$1" /v Version /reg:32 |
    grep -qE "REG_SZ +$2"
}

product_registered() {
  scripts/wine.sh reg query \
    "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\$product_code" /reg:32
}

setup_called() { grep -qE "$1" "$setups_log"; }
setups_run() { if [ -e "$setups_log" ]; then grep -c 'called with' "$setups_log"; else echo 0; fi; }
logged() { grep -qE "$1" "$log"; }

# in_order <file> <pattern...>: each pattern matches a line after the one before.
in_order() {
  local file=$1 line=0 next
  shift
  for pattern in "$@"; do
    next=$(tail -n +$((line + 1)) "$file" | grep -nE -m 1 "$pattern" | cut -d: -f1) || return 1
    line=$((line + next))
  done
}

# Takes product and prerequisites of an earlier run off the machine.
forget_sample() {
  if product_registered >/dev/null 2>&1; then
    scripts/wine.sh msiexec /x "$product_code" /qn || true
  fi
  scripts/wine.sh reg delete 'HKLM\Software\Sample Maker' /f /reg:32 >/dev/null 2>&1 || true
  rm -rf "$programs/Sample Prerequisites" "$programs/Sample Product" "$setups_log"
  step "nothing of the sample is on the machine"
}

# install_sample <name> <msiexec option...>: runs the sample package without a user interface and tells
# what happens while it does. Leaves the installer's log in $log and its exit code in $exit_code.
install_sample() {
  local name=$1
  shift
  log=$sample/$name.log
  local stop=$sample/$name.stop rows=$sample/rows.idt
  rm -f "$log" "$stop"
  msiinfo export "$sample/sample.msi" QX_PreRequisite >"$rows"
  scripts/demo/follow.pl "$start_time" "$rows" "$log" "$setups_log" "$stop" &
  local follower=$!
  exit_code=0
  scripts/wine.sh msiexec "$@" "$(wine_path "$sample/sample.msi")" /qn /l*v \
    "$(wine_path "$log")" || exit_code=$?
  touch "$stop"
  wait "$follower"
  step "msiexec ended with exit code $exit_code"
}
