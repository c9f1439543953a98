#!/usr/bin/env bash
# Fails where shellcheck sees a mistake in a script; matters of style are not among them.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
need shellcheck shellcheck
install_needed
mapfile -t scripts < <(git ls-files --cached --others --exclude-standard '*.sh' .ci/run)
# deps.sh and build.sh are sourced and name no shell.
shellcheck --shell=bash --severity=warning "${scripts[@]}"
