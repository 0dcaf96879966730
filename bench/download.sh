#!/usr/bin/env bash
# How fast the downloader is: one file of 256 MiB from nginx on loopback to disk, beside a bare loop over
# the same calls, the system's own function and curl. Each runs in turn, three times; the best run of
# each counts. Then the downloader's peak of memory for 1 MiB and for 1 GiB. Needs the ship build:
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
bare=$(sort -rn "$servers/bare.runs" | head -n 1 | cut -d ' ' -f 1)
for way in "${ways[@]}"; do
  sort -rn "$servers/$way.runs" | head -n 1 | awk -v way="$way" -v bare="$bare" '{
    printf "download 256 MiB  %-10s %7.1f MB/s  %5.2f s processor  %s  ratio to bare %.2f\n", way, $1, $2,
      ($3 > 0 ? sprintf("%5.1f MB peak", $3) : "             "), $1 / bare }'
done
small=$(fetch downloader 1M | cut -d ' ' -f 3)
large=$(fetch downloader 1G | cut -d ' ' -f 3)
echo "download peak memory  1 MiB: $small MB  1 GiB: $large MB"
