#!/usr/bin/env bash
# Plays the main job as a user would, and looks for the stations of the road in what it prints.
# check_main_job.sh [linux|windows]
set -euo pipefail
cd "$(dirname "$0")/.."
run=(./run.sh)
case ${1:-linux} in
linux) ;;
windows) run+=(--windows) ;;
*)
    echo "usage: $0 [linux|windows]" >&2
    exit 2
    ;;
esac

# Plays it and looks for texts in what comes: plays TEXT... -- [ARGUMENT...]
plays() {
    local texts=() out text
    while [ "$1" != -- ]; do
        texts+=("$1")
        shift
    done
    shift
    out=$("${run[@]}" "$@" </dev/null 2>&1) || {
        echo "$out"
        exit 1
    }
    for text in "${texts[@]}"; do
        if ! grep -qF -- "$text" <<<"$out"; then
            echo "$out"
            echo "missing in what ${run[*]} $* prints: $text" >&2
            exit 1
        fi
    done
}

# The host's log line and telemetry event come from files, whose folders differ between the systems.
plays Brevant.Alert.GetId.Response Brevant.Viewer.console.Show. '│ [1] Restart tonight ' Brevant.Alert.Show. \
    .Queued. .Shown. .Dismissed. 'and chosen was "Restart tonight"' \
    'Creating session for the active session.' '"UniqueIdentifier":"Brevant.Alert.Shown"' --
if [ "${1:-linux}" = linux ]; then
    plays 'host    | serving' 'viewer  | registered' ' = Brevant.Alert.' 'viewer  | │ [2] Remind me tomorrow ' \
        'and chosen was "Remind me tomorrow"' -- --processes --answer=2
    if pgrep -f "nats-server -c $PWD/build" >&2; then
        echo "./run.sh --processes leaves a server behind" >&2
        exit 1
    fi
fi

# On a terminal the card is drawn too, and a key chooses an action. The input stays open until that has been
# read: script passes on nothing that its input ends with.
terminal=$(script -qec "${run[*]}" /dev/null < <(sleep 6; printf 2; sleep 3)) || true
for text in '│ [2] Remind me tomorrow ' 'Example.Restart.Remind' 'Outcome of alert'; do
    if ! sed 's/\x1b\[[?0-9]*[A-Za-z]//g' <<<"$terminal" | grep -qF "$text"; then
        echo "$terminal"
        echo "missing in what ${run[*]} draws on a terminal: $text" >&2
        exit 1
    fi
done

echo '{' >build/malformed.json
status=0
"${run[@]}" build/malformed.json </dev/null >/dev/null 2>&1 || status=$?
[ "$status" -eq 2 ] || {
    echo "${run[*]} with a malformed alert exits $status instead of 2" >&2
    exit 1
}
