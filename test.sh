#!/usr/bin/env bash
# Builds the product and passes its tests, from a fresh machine on: installs what is missing first.
# ./test.sh            on Linux, and the Windows build under Wine
# ./test.sh linux|windows|asan|tsan
#                      one of them; the last two are Linux under the address (and undefined-behaviour) and the
#                      thread sanitizer
# ./test.sh linux -R REGEX
#                      the test programs, or else the single cases, whose names match: -R sessions, -R RequestTest,
#                      -R 'LogTest\.Writes'; builds no more than the cases need
# Further arguments go to ctest. Ends with how many tests ran on each system, and which were skipped and why.
set -euo pipefail
cd "$(dirname "$0")"
umask 022
. scripts/deps.sh
. scripts/build.sh

presets=(linux windows)
case ${1-} in
'') ;;
linux | windows | asan | tsan)
    presets=("$1")
    shift
    ;;
*)
    echo "usage: ./test.sh [linux|windows|asan|tsan [-R REGEX] [argument of ctest...]]" >&2
    exit 2
    ;;
esac

# CTest knows programs only.
targets=()
if [ "${1-}" = -R ]; then
    chosen=$(scripts/choose_cases.sh "${2?-R needs a regular expression}")
    if [ -n "$chosen" ]; then
        shift 2
        { read -r GTEST_FILTER && readarray -t targets; } <<<"$chosen"
        export GTEST_FILTER
        set -- -R "^($(IFS='|' && echo "${targets[*]}"))\$" "$@"
        # What stands beside every program there.
        [ "${presets[*]}" != windows ] || targets+=(wtsapi32)
    fi
fi

need_build_tools
need_server
need_test_scripts
case " ${presets[*]} " in *" windows "*)
    need_windows_tools
    need_wine
    ;;
esac
install_needed

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
    if [ -n "${GTEST_FILTER-}" ] && ! grep -qa '\[ RUN  ' "build/$preset.tests.log"; then
        echo "./test.sh: none of the cases exists on $preset" >&2
        status=1
    fi
    summaries+=("$(scripts/summarize_tests.sh "$preset" "build/$preset.tests.log")")
    return "$status"
}

export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 UBSAN_OPTIONS=print_stacktrace=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
failed=0
summaries=()
for preset in "${presets[@]}"; do
    echo "== building $preset"
    build "$preset" "$preset.log" "${targets[@]}"
    run_tests "$preset" "$@" || failed=1
done
printf '%s\n' "${summaries[@]}"
exit "$failed"
