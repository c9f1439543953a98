#!/usr/bin/env bash
# Builds and runs the benchmarks. Arguments go to the benchmark program (--benchmark_filter=accept, ...).
set -euo pipefail
cd "$(dirname "$0")"
umask 022
. scripts/deps.sh
need_build_tools
need_bench_tools
install_needed
mkdir -p build
: >build/bench.log
if ! { cmake --preset linux && cmake --build --preset linux --target bench_broker; } >build/bench.log 2>&1; then
    tail -n 60 build/bench.log >&2
    exit 1
fi
exec build/linux/bin/bench_broker "$@"
