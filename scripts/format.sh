#!/usr/bin/env bash
# Lays out the code of the tree, new files included. Arguments of clang-format replace that: --dry-run -Werror.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
need clang-format clang-format
install_needed
[ $# -gt 0 ] || set -- -i
git ls-files -z --cached --others --exclude-standard '*.h' '*.cpp' '*.c' |
    while IFS= read -r -d '' file; do [ ! -e "$file" ] || printf '%s\0' "$file"; done |
    xargs -0 clang-format "$@"
