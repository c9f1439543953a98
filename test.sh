#!/usr/bin/env bash
# Builds the product and passes its tests, from a fresh machine on: installs what is missing first.
# ./test.sh            the tests on Linux
# ./test.sh asan|tsan  the same under those sanitizers
# ./test.sh windows    builds for Windows
# Further arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")"
umask 022
. scripts/deps.sh

preset=${1:-linux}
[ $# -gt 0 ] && shift
case $preset in
linux | asan | tsan | windows) ;;
*)
    echo "usage: ./test.sh [linux|asan|tsan|windows]" >&2
    exit 2
    ;;
esac

need_build_tools
if [ "$preset" = windows ]; then need_windows_tools; fi
install_needed

build() {
    mkdir -p build
    if ! { cmake --preset "$1" && cmake --build --preset "$1"; } >"build/$1.log" 2>&1; then
        tail -n 60 "build/$1.log" >&2
        echo "./test.sh: the $1 build failed; its whole output is in build/$1.log" >&2
        exit 1
    fi
}

echo "== building $preset"
build "$preset"
[ "$preset" != windows ] || exit 0

echo "== testing $preset"
export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 UBSAN_OPTIONS=print_stacktrace=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
ctest --test-dir "build/$preset" --output-on-failure --no-tests=error "$@"
