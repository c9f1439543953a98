#!/usr/bin/env bash
# Plays the main job as a user would, and looks for the stations of the road in what it prints.
set -euo pipefail
cd "$(dirname "$0")/.."
out=$(./run.sh </dev/null 2>&1) || {
    echo "$out"
    exit 1
}
for station in Brevant.Alert.GetId.Response Brevant.Alert.Show. .Queued. .Shown. .Dismissed. Brevant.Alert.Shown; do
    if ! grep -qF "$station" <<<"$out"; then
        echo "$out"
        echo "missing in what ./run.sh prints: $station" >&2
        exit 1
    fi
done
echo '{' >build/malformed.json
status=0
./run.sh build/malformed.json </dev/null >/dev/null 2>&1 || status=$?
[ "$status" -eq 2 ] || {
    echo "./run.sh with a malformed alert exits $status instead of 2" >&2
    exit 1
}
