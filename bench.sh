#!/usr/bin/env bash
# Builds and runs the benchmarks, and prints what they reach. Installs what is missing first.
# ./bench.sh               all of it, beside peers from Debian's packages; writes the tables and the plot of
#                          docs/performance.md
# ./bench.sh --quick       without the peers
# ./bench.sh accept bus    some subjects only
# ./bench.sh --smoke       each for a second, without figures: fails when one does not work
# ./bench.sh --help        tells the rest
set -euo pipefail
cd "$(dirname "$0")"
# Libraries that others may write are not loaded.
umask 022
. scripts/deps.sh

need python3 python3
install_needed
run=(python3 -B bench/run.py "$@")
"${run[@]}" --check-arguments || exit
case " $* " in *" --help "* | *" -h "*) exit 0 ;; esac

# Debian's library is built with its checks on and calls itself a debug build: its source is built with ours.
fetch_google_benchmark() {
    local folder=build/google-benchmark
    local work=$folder.download
    [ ! -e $folder/CMakeLists.txt ] || return 0
    echo "== fetching the source of Google Benchmark (apt-get source)"
    rm -rf $work
    mkdir -p $work/sources $work/lists/partial
    # The machine's own sources of packages, for packages' sources; its configuration stays as it is.
    local file to_sources='s/^Types:.*/Types: deb-src/; s/^deb /deb-src /'
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
        [ ! -f "$file" ] || sed "$to_sources" "$file" >"$work/sources/${file##*/}"
    done
    mv $work/sources/sources.list $work/sources/main.list 2>/dev/null || true
    if ! (
        cd $work
        options=(-o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$PWD/sources"
            -o Dir::State::Lists="$PWD/lists" -o Dir::Cache="$PWD" -o APT::Sandbox::User=)
        apt-get "${options[@]}" update || true
        apt-get "${options[@]}" source --download-only benchmark
        tar xf benchmark_*.orig.tar.*
        mv benchmark-*/ ../google-benchmark
    ) >build/google-benchmark.log 2>&1 </dev/null; then
        tail -n 20 build/google-benchmark.log >&2
        echo "./bench.sh: apt-get source finds no benchmark; Google Benchmark's source belongs in $folder" >&2
        return 1
    fi
    rm -rf $work
}

need_build_tools
need_bench_tools
case " $* " in *" --quick "*) ;; *) need_bench_peers ;; esac
install_needed
mkdir -p build
fetch_google_benchmark
: >build/bench.log
if ! { cmake --preset linux && cmake --build --preset linux --target bench; } >build/bench.log 2>&1; then
    tail -n 60 build/bench.log >&2
    echo "./bench.sh: the build failed; its whole output is in build/bench.log" >&2
    exit 1
fi
exec "${run[@]}"
