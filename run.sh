#!/usr/bin/env bash
# Shows an alert: builds the broker and its program, and lets the alert travel from product to viewer.
# ./run.sh                     plays examples/alert.json
# ./run.sh my-alert.json       shows that alert
# ./run.sh COMMAND ...         any other command of the program, such as host --server; ./run.sh --help lists them
# ./run.sh --processes [...]   shows it with host, viewer, watch and product as four processes on one server
# ./run.sh --windows [...]     the same with the Windows build, under Wine
# Where nobody is at a terminal the alert's first action is chosen, or what --answer says.
# Installs what is missing first. What it keeps (settings, logs, events) is in build/linux/run, that of the
# Windows build in build/windows/run-machine/drive_c/ProgramData.
# Exit code: the program's; of an alert 0 when an action was chosen, 2 when it makes no sense, and so on.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
# Libraries that others may write are not loaded.
umask 022
. "$root/scripts/deps.sh"
. "$root/scripts/build.sh"

# Puts the machine's registry in place, as an installer does; one that is there stays.
prepare_linux() {
    export BREVANT_PLATFORM_DIR=${BREVANT_PLATFORM_DIR:-$root/build/linux/run}
    local registry=$BREVANT_PLATFORM_DIR/registry.reg escaped
    [ ! -e "$registry" ] || return 0
    mkdir -p "$BREVANT_PLATFORM_DIR" && [ -w "$BREVANT_PLATFORM_DIR" ] || {
        echo "./run.sh: nothing can be created in $BREVANT_PLATFORM_DIR" >&2
        exit 1
    }
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

program_linux() {
    exec "$root/build/linux/bin/brevant" "$@"
}

windows_registry() {
    local bin=Z:$root/build/windows/bin
    bin=${bin//\//\\\\}
    cat <<REG
Windows Registry Editor Version 5.00

[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVANE\\OSTREL]
"Install Dir"="$bin"
; what is built here is not signed
"Verify Libraries"=dword:00000000

; the event sink, which writes events.jsonl
[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{3F9A6C12-5B8E-4D07-A1C4-7E2B90D3F658}\\InprocServer32]
@="$bin\\\\BrevantEventSink.dll"
"ThreadingModel"="Both"
REG
}

make_windows_machine() {
    # Not "wineboot -i": the first program on a machine sets it up, and that would start its services twice.
    wineboot && { printf '\xff\xfe' && windows_registry | iconv -f UTF-8 -t UTF-16LE; } >"$1.new" &&
        wine regedit /S "$1.new" && mv "$1.new" "$1"
}

# The same on a Windows machine of its own, a Wine prefix.
prepare_windows() {
    export WINEPREFIX=$root/build/windows/run-machine WINEDEBUG=-all
    # File names and the card are UTF-8, whatever the locale.
    [ "$(locale charmap)" = UTF-8 ] || export LC_ALL=C.UTF-8
    # Wine lists no user sessions: the library beside the program says that session 1 is active.
    export WINEDLLOVERRIDES='wtsapi32=n,b;mscoree,mshtml='
    local registry=$WINEPREFIX.reg
    [ -e "$registry" ] || echo "== setting up a Windows machine (once, in build/windows/run-machine)"
    # Wine's services live on for a moment: they are started here, where they keep neither the lock nor what
    # this script writes to.
    {
        # Two runs may begin at once.
        flock 9
        if [ -e "$registry" ]; then wineboot; else make_windows_machine "$registry"; fi \
            </dev/null >"$WINEPREFIX.log" 2>&1 9>&- || {
            tail -n 40 "$WINEPREFIX.log" >&2
            echo "./run.sh: no Windows machine could be set up" >&2
            exit 1
        }
    } 9>"$WINEPREFIX.lock"
}

program_windows() {
    exec wine "$root/build/windows/bin/brevant.exe" "$@"
}

# Starts a command in the background, with its name before each of its lines.
start_process() {
    "$root/build/linux/bin/brevant" "$@" > >(sed -u "s/^/${1}       /; s/^\(.......\) */\1 | /") 2>&1 &
    processes+=($!)
}

end_processes() {
    local each
    # The last one first: the host outlives who asks it.
    for ((each = ${#processes[@]} - 1; each >= 0; --each)); do
        kill "${processes[each]}" 2>/dev/null || true
        wait "${processes[each]}" || true
    done
    processes=()
}

# Until the host says so of itself.
wait_for_status() {
    local tries
    for ((tries = 0; tries < 100; ++tries)); do
        ! "$root/build/linux/bin/brevant" status --json 2>/dev/null | grep -q "$1" || return 0
        kill -0 "${processes[@]}" 2>/dev/null || break
        sleep 0.1
    done
    echo "./run.sh: the processes do not come up" >&2
    exit 1
}

# A machine of their own: what else runs is not disturbed.
play_processes() {
    local answer=--answer=1 alerts=() code=0
    while [ $# -gt 0 ]; do
        case $1 in
        --answer=*) answer=$1 ;;
        --answer)
            answer=--answer=${2-}
            shift
            ;;
        *) alerts+=("$1") ;;
        esac
        [ $# -eq 0 ] || shift
    done
    [ ${#alerts[@]} -gt 0 ] || alerts=("$root/examples/alert.json")
    export BREVANT_PLATFORM_DIR=$root/build/linux/run-processes
    unset BREVANT_BUS
    prepare_linux
    processes=()
    trap end_processes EXIT
    trap 'exit 130' INT TERM
    start_process host --server
    wait_for_status '"host":true'
    start_process watch
    start_process viewer "$answer"
    wait_for_status '"id":"console"'
    "$root/build/linux/bin/brevant" show "${alerts[@]}" || code=$?
    exit "$code"
}

system=linux
# The program's target builds what it loads as well.
targets=(brevant_program)
need_build_tools
if [ "${1-}" = --windows ]; then
    shift
    system=windows
    targets+=(wtsapi32)
    need_windows_tools
    need_wine
fi
case " $* " in
*" --processes "* | *" --server "*) need_server ;;
esac
install_needed
[ -e "$root/build/$system/bin/MessageBus.dll" ] || echo "== building (once; its output is in build/run.log)"
build "$system" run.log "${targets[@]}"
if [ "${1-}" = --processes ]; then
    shift
    [ "$system" = linux ] || {
        echo "./run.sh: --processes plays on Linux alone" >&2
        exit 2
    }
    play_processes "$@"
fi
"prepare_$system"
case ${1-} in
host | show | delete | viewer | settings | status | watch | --help | -h | --version) ;;
*)
    [ $# -gt 0 ] || set -- "$root/examples/alert.json"
    case " $* " in
    *" --answer"*) ;;
    *) { [ -t 0 ] && [ -t 1 ]; } || set -- --answer=1 "$@" ;;
    esac
    set -- show "$@"
    ;;
esac
"program_$system" "$@"
