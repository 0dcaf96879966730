# A private display for the Wine machine and the user in front of it. Sourced, not run, from the
# project's top folder with build/ship built:
#   start_display            from now on scripts/wine.sh draws on it; ends with the script that called it
#   stop_display             stops the Wine machine and the display; wine.sh is without a screen again
#   press <title> <button> [seconds]       presses a button as soon as it is there
#   wait_for_text <title> <text> [seconds] waits until a window shows a text
#   wait_for_progress <title> <percent> [seconds]
#   take_picture <file.png> <title> <text> the window that shows the text, as a small PNG
# A title is the whole one, a button's text is without its ampersand. The waiting ones fail after their
# seconds (30) and say what was on the display instead. Programs that are to be seen are started with
# scripts/wine.sh as ever.

# start_display: a screen of its own on a number that is free; no program draws on two displays, so the
# Wine machine starts anew.
start_display() {
  local number
  scripts/wine.sh --stop
  exec {display_pipe}<> <(:)
  # It must not stay when this script is ended in whatever way.
  setpriv --pdeathsig TERM Xvfb -displayfd "$display_pipe" -screen 0 800x600x24 -nolisten tcp \
    -noreset >/dev/null 2>&1 &
  display_process=$!
  if ! read -r -t 30 number <&"$display_pipe"; then
    echo "display: Xvfb did not start" >&2
    return 1
  fi
  exec {display_pipe}>&-
  export PREREQ_DISPLAY=:$number
}

stop_display() {
  scripts/wine.sh --stop
  [ -z "${display_process:-}" ] || kill "$display_process" 2>/dev/null || true
  [ -z "${display_process:-}" ] || wait "$display_process" 2>/dev/null || true
  unset display_process PREREQ_DISPLAY
}

sample_user() { timeout 200 scripts/wine.sh build/ship/bin/sample_user.exe "$@"; }
press() { sample_user press "$@"; }
wait_for_text() { sample_user find "$@" >/dev/null; }
wait_for_progress() { sample_user progress "$@" >/dev/null; }

# The window's place is asked for at the moment of the picture; a margin of the desktop is left round it.
take_picture() {
  local left top width height margin=8
  read -r left top width height < <(sample_user find "$2" "$3" | tr -d '\r')
  [ -n "${height:-}" ] || return 1
  xwd -display "$PREREQ_DISPLAY" -root -silent | xwdtopnm 2>/dev/null |
    pamcut -left $((left - margin)) -top $((top - margin)) \
      -width $((width + 2 * margin)) -height $((height + 2 * margin)) |
    pnmquant -quiet 64 | pnmtopng -quiet -compression 9 >"$1"
}
