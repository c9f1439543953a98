#!/usr/bin/env bash
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format --dry-run -Werror
