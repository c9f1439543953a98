#!/usr/bin/env bash
# Builds the product and passes its tests, from a fresh machine on: installs what is missing first.
# ./test.sh            on Linux, and the Windows build under Wine
# ./test.sh linux|windows|asan|tsan
#                      one of them; the last two are Linux under the address (and undefined-behaviour) and the
#                      thread sanitizer
# Further arguments go to ctest. Ends with how many tests ran on each system, and which were skipped and why.
set -euo pipefail
cd "$(dirname "$0")"
umask 022
. scripts/deps.sh

presets=(linux windows)
case ${1-} in
'') ;;
linux | windows | asan | tsan)
    presets=("$1")
    shift
    ;;
*)
    echo "usage: ./test.sh [linux|windows|asan|tsan [argument of ctest...]]" >&2
    exit 2
    ;;
esac

need_build_tools
case " ${presets[*]} " in *" windows "*)
    need_windows_tools
    need_wine
    ;;
esac
install_needed

build() {
    echo "== building $1"
    mkdir -p build
    # On its own: a redirection that fails makes "if !" below go on as if all were well.
    : >"build/$1.log"
    if ! { cmake --preset "$1" && cmake --build --preset "$1"; } >"build/$1.log" 2>&1; then
        tail -n 60 "build/$1.log" >&2
        echo "./test.sh: the $1 build failed; its whole output is in build/$1.log" >&2
        exit 1
    fi
}

run_tests() {
    local preset=$1 status=0
    shift
    echo "== testing $preset"
    # --verbose for the summary's sake: what a passing program printed tells what it skipped.
    ctest --test-dir "build/$preset" --no-tests=error --verbose "$@" >"build/$preset.tests.log" 2>&1 </dev/null ||
        status=$?
    if [ "$status" -ne 0 ]; then
        # A failure, and the lines before it that say why.
        grep -aE -B12 '\[  FAILED  \]|\*\*\*|Sanitizer|FAILED:' "build/$preset.tests.log" | tail -n 120 >&2
        echo "./test.sh: tests failed on $preset; all that they printed is in build/$preset.tests.log" >&2
    fi
    summaries+=("$(scripts/summarize_tests.sh "$preset" "build/$preset.tests.log")")
    return "$status"
}

export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 UBSAN_OPTIONS=print_stacktrace=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
failed=0
summaries=()
for preset in "${presets[@]}"; do
    build "$preset"
    run_tests "$preset" "$@" || failed=1
done
printf '%s\n' "${summaries[@]}"
exit "$failed"
