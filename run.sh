#!/usr/bin/env bash
# Shows an alert: builds the broker and a host around it, and lets the alert travel from product to viewer.
# ./run.sh                     plays examples/alert.json
# ./run.sh my-alert.json       shows that alert
# ./run.sh --serve             runs as a host until Ctrl-C; ./run.sh --help tells the rest
# Installs what is missing first. What it keeps (settings, logs, events) is in build/linux/run.
# Exit code: 0 the alert's outcome is known, 2 the alert or the options make no sense, 1 anything else.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
# Libraries that others may write are not loaded.
umask 022
. "$root/scripts/deps.sh"

build() {
    local preset=$1 log=$root/build/run.log
    mkdir -p "$root/build"
    [ -e "$root/build/$preset/bin/MessageBus.dll" ] || echo "== building (once; its output is in build/run.log)"
    # The host's target builds what it loads as well.
    if ! (cd "$root" && cmake --preset "$preset" && cmake --build --preset "$preset" --target brevant-host) \
        >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        echo "./run.sh: the build failed; its whole output is in build/run.log" >&2
        exit 1
    fi
}

# Puts the machine's registry in place, as an installer does; one that is there stays.
prepare_linux() {
    export BREVANT_PLATFORM_DIR=${BREVANT_PLATFORM_DIR:-$root/build/linux/run}
    local registry=$BREVANT_PLATFORM_DIR/registry.reg escaped
    [ ! -e "$registry" ] || return 0
    mkdir -p "$BREVANT_PLATFORM_DIR"
    escaped=$root/build/linux/bin
    escaped=${escaped//\//\\\\}
    escaped=${escaped//\"/\\\"}
    # In one step: two runs may begin at once.
    cat >"$registry.$$" <<REG
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVANE\\OSTREL]
"Install Dir"="$escaped"

; the event sink, which writes data/events.jsonl
[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{3F9A6C12-5B8E-4D07-A1C4-7E2B90D3F658}\\InprocServer32]
@="$escaped\\\\libBrevantEventSink.so"
REG
    mv "$registry.$$" "$registry"
}

host_linux() {
    exec "$root/build/linux/bin/brevant-host" "$@"
}

system=linux
need_build_tools
install_needed
build "$system"
"prepare_$system"
[ $# -gt 0 ] || set -- "$root/examples/alert.json"
"host_$system" "$@"
