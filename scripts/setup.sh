#!/usr/bin/env bash
# Installs the tools that build, test and demonstrate the library. Needs Debian and root; installs
# only what is missing and says what that is. Prints nothing when all is there.
set -euo pipefail

# The packages of the foreign architecture are named with it.
packages=(
  cmake ninja-build                       # the build
  g++-mingw-w64-i686-win32                # the cross compiler of the library
  libz-mingw-w64-dev                      # compression of the reference setup executable
  doctest-dev                             # the test framework (headers only)
  wine wine32:i386 wine64                 # the platform that the tests run on
  nginx-light vsftpd openssl              # servers for the download tests and the demo, on loopback
  python3                                 # the server that tests downloads with faults
  xvfb fonts-wine                         # a display for the sample's dialogs
  x11-apps x11-utils netpbm               # pictures of it
  msitools gcab                           # make the sample package from text tables
  wixl                                    # makes packages that prereqkit is tested with
  locales                                 # other code pages to test under
  clang-format                            # the layout check
  perl                                    # the demo's narrator and the servers' set-up
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

if [ "$(id -u)" != 0 ]; then
  echo "setup: missing: ${missing[*]}; run this as root to install them" >&2
  exit 1
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
export DEBIAN_FRONTEND=noninteractive

# The servers are started by the project's own scripts: as services of the system they stay off, now
# and after the next boot.
policy=/usr/sbin/policy-rc.d
if [ ! -e "$policy" ]; then
  printf '#!/bin/sh\nexit 101\n' >"$policy"
  chmod 755 "$policy"
  trap 'rm -f "$log" "$policy"' EXIT
fi
switch_services_off() {
  for package in "${missing[@]}"; do
    case $package in
      nginx-light) update-rc.d nginx disable ;;
      vsftpd) update-rc.d vsftpd disable ;;
    esac
  done >/dev/null 2>&1 || true
}
dpkg --add-architecture i386

# install [apt option ...]: refreshes the lists and installs what is missing.
install() {
  apt-get "$@" -o Acquire::Retries=2 update &&
    apt-get "$@" install -y --no-install-recommends "${missing[@]}"
}

echo "setup: installing ${missing[*]}"
if install >"$log" 2>&1; then
  switch_services_off
  exit 0
fi

# The security suite's index of the foreign architecture can lag behind; then none of its packages
# resolves. The machine's own sources without that suite, used privately, get round it.
echo "setup: trying again without the security suite"
private=/var/lib/apt/without-security
mkdir -p "$private/parts" "$private/lists/partial"
rm -f "$private"/parts/*
for source in /etc/apt/sources.list.d/*.sources; do
  [ -e "$source" ] || continue
  perl -00 -ne 'print unless /^Suites:.*-security/m' "$source" >"$private/parts/$(basename "$source")"
done
for source in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
  [ -e "$source" ] || continue
  grep -v -- '-security' "$source" >"$private/parts/$(basename "$source" .list).list" || true
done
if install -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$private/parts" \
  -o Dir::State::Lists="$private/lists" >>"$log" 2>&1; then
  switch_services_off
  exit 0
fi
tail -n 30 "$log" >&2
echo "setup: the tools could not be installed" >&2
exit 1
