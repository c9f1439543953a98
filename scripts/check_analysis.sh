#!/usr/bin/env bash
# Clang's thread-safety analysis over the product (breaches are errors), then clang-tidy.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/deps.sh
need_check_tools
install_needed
cmake --preset clang >build/clang.log 2>&1
sources=$(git ls-files 'src/*.cpp' 'host/*.cpp' | grep -v /windows/)
database=build/clang/compile_commands.json
python3 - "$database" >build/clang.commands <<'PYTHON'
import json, os, shlex, sys
root = os.getcwd()
for entry in json.load(open(sys.argv[1])):
    name = os.path.relpath(entry["file"], root)
    if name.startswith(("src/", "host/")):
        words = shlex.split(entry["command"])
        output = words.index("-o")
        del words[output:output + 2]
        print(shlex.join(["env", "-C", entry["directory"], *words, "-fsyntax-only"]))
PYTHON
xargs -P 2 -d '\n' -I{} sh -c '{}' <build/clang.commands
xargs -P 2 -n 8 clang-tidy -p build/clang --quiet --warnings-as-errors='*' <<<"$sources" 2>&1 |
    grep -v 'warnings generated\|^Suppressed\|^Use -header-filter' || [ "${PIPESTATUS[0]}" -eq 0 ]
