#!/usr/bin/env bash
# How fast the downloader is: one file of 256 MiB from nginx on loopback to disk, beside a bare loop over
# the same calls, the system's own function and curl. Each runs in turn, three times; the best run of
# each counts. Then the downloader's peak of memory for 1 MiB and for 1 GiB. Prints rows for bench.sh.
# Needs the ship build:
#   cmake --preset ship && cmake --build --preset ship
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
servers=$root/build/bench-servers
program=$root/build/ship/bin/download_bench.exe
"$root/scripts/start_servers.sh" "$servers"
trap '"$root/scripts/stop_servers.sh" "$servers"; rm -rf "$servers"' EXIT
. "$servers/ports"
head -c $((256 << 20)) /dev/urandom >"$servers/www/256M"
head -c $((1 << 20)) /dev/urandom >"$servers/www/1M"
truncate -s $((1 << 30)) "$servers/www/1G"

fetch() { # way file
  "$root/scripts/wine.sh" "$program" "$1" "http://127.0.0.1:$http/$2" "Z:$servers/fetched" | tr -d '\r'
}
fetch_by_curl() { # file
  local TIMEFORMAT='%U %S' times speed
  times=$( { time curl -s -o "$servers/fetched" -w '%{speed_download}' \
    "http://127.0.0.1:$http/$1" >"$servers/speed"; } 2>&1)
  speed=$(cat "$servers/speed")
  awk -v speed="$speed" -v times="$times" 'BEGIN {
    split(times, part, " "); printf "%.1f %.2f 0\n", speed / 1e6, part[1] + part[2] }'
}

fetch downloader 1M >/dev/null # Starts Wine.
ways=(bare downloader system curl)
for round in 1 2 3; do
  for way in "${ways[@]}"; do
    if [ "$way" = curl ]; then fetch_by_curl 256M; else fetch "$way" 256M; fi >>"$servers/$way.runs"
    [ "$way" = curl ] || cmp "$servers/fetched" "$servers/www/256M"
  done
done
# best <way>: the MB/s, processor seconds and peak megabytes of its best run.
best() { sort -rn "$servers/$1.runs" | head -n 1; }
# row <figure> <way> <yardstick> <yardstick's way> <aim>: with an aim, what the run took besides too.
row() {
  echo "$(best "$2") $(best "$4")" | awk -v figure="$1" -v yardstick="$3" -v aim="$5" '{
    printf "%s\t%.1f MB/s\t%s\t%.1f MB/s\t%.2f\t%s\n", figure, $1, yardstick, $4, $4 / $1, aim
    if (aim != "") {
      printf "  its processor time\t%.2f s\t%s\t%.2f s\t%.2f\t\n", $2, yardstick, $5, $2 / $5
      printf "  its peak memory\t%.1f MB\t%s\t%.1f MB\t%.2f\t\n", $3, yardstick, $6, $3 / $6
    }
  }'
}
row "download of 256 MiB" downloader "the same calls, bare" bare 1.05
row "  for scale" downloader "URLDownloadToFile" system ""
row "  for scale" downloader "curl" curl ""
small=$(fetch downloader 1M | cut -d ' ' -f 3)
large=$(fetch downloader 1G | cut -d ' ' -f 3)
awk "BEGIN {printf \"peak memory, file of 1 GiB\t%.1f MB\tfile of 1 MiB\t%.1f MB\t%.2f\t1.10\n\",
  $large, $small, $large / $small}"
