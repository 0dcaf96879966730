#!/usr/bin/env bash
# Ends what scripts/start_servers.sh [folder] started, and nothing else.
set -euo pipefail
folder=${1:-$(dirname "${BASH_SOURCE[0]}")/../build/servers}
[ -e "$folder/pids" ] || exit 0
folder=$(cd "$folder" && pwd) # As the servers' command lines name it.
while read -r pid; do
  # A number that another program has by now is left alone: ours name the folder.
  if tr '\0' ' ' <"/proc/$pid/cmdline" 2>/dev/null | grep -F -e "$folder" >/dev/null; then
    kill "$pid" 2>/dev/null || true
  fi
done <"$folder/pids"
[ ! -s "$folder/ftp_root" ] || rm -rf "$(cat "$folder/ftp_root")"
rm -f "$folder/pids" "$folder/ports"
