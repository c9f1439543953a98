#!/usr/bin/env bash
# Fails where scripts/format.sh would change a line.
exec "$(dirname "$0")/format.sh" --dry-run -Werror
