#!/usr/bin/env bash
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
need_check_tools
install_needed
git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format --dry-run -Werror
