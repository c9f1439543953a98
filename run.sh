#!/usr/bin/env bash
# Shows an alert: builds the broker and a host around it, and lets the alert travel from product to viewer.
# ./run.sh                     plays examples/alert.json
# ./run.sh my-alert.json       shows that alert
# ./run.sh --serve             runs as a host until Ctrl-C; ./run.sh --help tells the rest
# Installs what is missing first. What it keeps (settings, logs, events) is in build/linux/run.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
# Libraries that others may write are not loaded.
umask 022
. "$root/scripts/deps.sh"
need_build_tools
install_needed

log=$root/build/run.log
mkdir -p "$root/build"
[ -e "$root/build/linux/bin/brevant-host" ] || echo "== building (once; its output is in build/run.log)"
if ! (cd "$root" && cmake --preset linux && cmake --build --preset linux --target brevant-host) >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "./run.sh: the build failed; its whole output is in build/run.log" >&2
    exit 1
fi

export BREVANT_PLATFORM_DIR=${BREVANT_PLATFORM_DIR:-$root/build/linux/run}
mkdir -p "$BREVANT_PLATFORM_DIR"
if [ ! -e "$BREVANT_PLATFORM_DIR/registry.reg" ]; then
    bin=$root/build/linux/bin
    escaped=${bin//\//\\\\}
    cat >"$BREVANT_PLATFORM_DIR/registry.reg" <<REG
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVANE\\OSTREL]
"Install Dir"="$escaped"

; the event sink, which writes data/events.jsonl
[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{3F9A6C12-5B8E-4D07-A1C4-7E2B90D3F658}\\InprocServer32]
@="$escaped\\\\libBrevantEventSink.so"
REG
fi

[ $# -gt 0 ] || set -- "$root/examples/alert.json"
exec "$root/build/linux/bin/brevant-host" "$@"
