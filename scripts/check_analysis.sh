#!/usr/bin/env bash
# Clang's thread-safety analysis over the product (breaches are errors), then clang-tidy.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
need_check_tools
install_needed
mkdir -p build
if ! cmake --preset clang >build/clang.log 2>&1; then
    tail -n 40 build/clang.log >&2
    echo "$0: the clang preset does not configure; its whole output is in build/clang.log" >&2
    exit 1
fi
# Breaches of the thread-safety analysis are errors of the compiler, which clang-tidy reports as it parses.
git ls-files 'src/*.cpp' 'host/*.cpp' | grep -v /windows/ |
    xargs -P 2 -n 8 clang-tidy -p build/clang --quiet --warnings-as-errors='*' 2>&1 |
    grep -v 'warnings generated\|^Suppressed\|^Use -header-filter' || [ "${PIPESTATUS[2]}" -eq 0 ]
