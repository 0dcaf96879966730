# A private display for the Wine machine and the user in front of it. Sourced, not run, from the
# project's top folder with build/ship built:
#   start_display            from now on scripts/wine.sh draws on it; ends with the script that called it
#   stop_display             stops the Wine machine and the display; wine.sh is without a screen again
#   press <title> <button> [seconds]       presses a button as soon as it is there
#   wait_for_text <title> <text> [seconds] waits until a window shows a text
#   wait_for_progress <title> <percent> [seconds]
#   take_picture <file.png>                the windows that are there, as a small PNG
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

# The visible windows, the lowest first: identifier width height left top.
windows() {
  xwininfo -display "$PREREQ_DISPLAY" -root -tree |
    perl -ne 'print "$1 $2 $3 $4 $5\n" if /^ {8}(0x\w+) .* (\d\d+)x(\d+)\S+ +\+(\d+)\+(\d+)$/' | tac |
    while read -r id place; do
      xwininfo -display "$PREREQ_DISPLAY" -id "$id" 2>/dev/null | grep -q 'Map State: IsViewable' || continue
      echo "$id $place"
    done
}

# Each window is asked for its own content: in a picture of the whole display, one that lies over
# another of the same program is black. A margin of the desktop stays round them.
take_picture_once() {
  local file=$1 id width height left top margin=8
  local x1=800 y1=600 x2=0 y2=0
  display_image "-root" >"$file.all"
  while read -r id width height left top; do
    display_image "-id $id" >"$file.one"
    pnmpaste "$file.one" "$left" "$top" "$file.all" >"$file.both"
    mv "$file.both" "$file.all"
    x1=$((left < x1 ? left : x1)) y1=$((top < y1 ? top : y1))
    x2=$((left + width > x2 ? left + width : x2)) y2=$((top + height > y2 ? top + height : y2))
  done < <(windows)
  pamcut -left $((x1 - margin)) -top $((y1 - margin)) \
    -width $((x2 - x1 + 2 * margin)) -height $((y2 - y1 + 2 * margin)) "$file.all" |
    pnmquant -quiet 64 | pnmtopng -quiet -compression 9 >"$file"
  rm -f "$file.all" "$file.one"
}

# shellcheck disable=SC2086 # Two words, or one.
display_image() { xwd -display "$PREREQ_DISPLAY" -silent $1 | xwdtopnm 2>/dev/null; }

# Until two in a row are equal, as what has only just appeared may not be painted yet; what moves all
# the time is taken as it is then.
take_picture() {
  local attempt
  take_picture_once "$1"
  for attempt in 1 2 3 4 5 6; do
    sleep 0.2
    mv "$1" "$1.before"
    take_picture_once "$1"
    ! cmp -s "$1" "$1.before" || break
  done
  rm -f "$1.before"
}
