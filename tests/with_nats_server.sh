#!/usr/bin/env bash
# Runs a command with a server of its own: with_nats_server.sh COMMAND...
# The command finds it through BREVANT_BUS; the server ends with it.
set -euo pipefail
folder=$(mktemp -d)
server=$(command -v nats-server || echo /usr/sbin/nats-server)
printf 'max_payload: 8MB\n' >"$folder/conf"
"$server" -c "$folder/conf" -a 127.0.0.1 -p -1 --ports_file_dir "$folder" -l "$folder/log" &
pid=$!
trap 'kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; rm -rf "$folder"' EXIT
ports=$folder/nats-server_$pid.ports
for ((tries = 0; tries < 1000; ++tries)); do
    [ -s "$ports" ] && break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.02
done
url=$(grep -o 'nats://127\.0\.0\.1:[0-9]*' "$ports" | head -n 1)
BREVANT_BUS=$url "$@"
