#!/usr/bin/env bash
# Runs a Windows program in the project's own Wine prefix, made on first use. The user's own prefix is
# never touched. Used by hand, by the scripts and by CTest as the emulator:
#   scripts/wine.sh program.exe [argument ...]
# With --boot: makes the prefix and returns. With --wait: waits until every program in the prefix has
# ended. With --stop: ends them all.
# PREREQ_DISPLAY=:N draws the windows on that X display; all programs that run at a time must agree on it.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${PREREQ_WINEPREFIX:-$root/build/wine}
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
# No browser and no .NET parts: their installers would only slow the first start down.
export WINEDLLOVERRIDES="mscoree,mshtml=${WINEDLLOVERRIDES:+;$WINEDLLOVERRIDES}"
# Without a screen, unless one is named: what the user has in front of him is never drawn on.
unset DISPLAY
[ -z "${PREREQ_DISPLAY:-}" ] || export DISPLAY=$PREREQ_DISPLAY
# The same machine everywhere: without a UTF-8 locale it could not have file names beyond ASCII. Another one
# gives programs the ANSI code page of its language.
export LC_ALL=${PREREQ_LOCALE:-C.UTF-8}

stamp=$WINEPREFIX/.prereq-ready-3
make_prefix() {
  [ -e "$stamp" ] && return
  mkdir -p "$WINEPREFIX"
  wineboot --init >/dev/null 2>&1
  local settings=$WINEPREFIX/settings.reg
  # The caption's symbols and the dialogs' font, which are found only here. Without them all works, but
  # looks odd.
  cp /usr/share/wine/fonts/{marlett,tahoma,tahomabd}.ttf "$WINEPREFIX/drive_c/windows/Fonts" 2>/dev/null || true
  # Windows without a screen where there is no display, on a desktop of their own where there is one, and
  # no dialogs when a program crashes.
  cat >"$settings" <<'REG'
REGEDIT4

[HKEY_CURRENT_USER\Software\Wine\Drivers]
"Graphics"="x11,null"

[HKEY_CURRENT_USER\Software\Wine\Explorer]
"Desktop"="prereq"

[HKEY_CURRENT_USER\Software\Wine\Explorer\Desktops]
"prereq"="800x600"

[HKEY_CURRENT_USER\Software\Wine\WineDbg]
"ShowCrashDialog"=dword:00000000

[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\AeDebug]
"Debugger"="false"

[HKEY_LOCAL_MACHINE\Software\Wow6432Node\Microsoft\Windows NT\CurrentVersion\AeDebug]
"Debugger"="false"
REG
  wine regedit /S "$settings"
  wineserver -w
  touch "$stamp"
}

case ${1:-} in
  --wait) exec wineserver -w ;;
  --stop) wineserver -k 2>/dev/null || true; wineserver -w 2>/dev/null || true; exit 0 ;;
esac
mkdir -p "$(dirname "$WINEPREFIX")"
exec 9>"$WINEPREFIX.lock"
flock 9
make_prefix
exec 9>&-
[ "${1:-}" = --boot ] && exit 0
exec wine "$@"
