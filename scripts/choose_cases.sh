#!/usr/bin/env bash
# choose_cases.sh REGEX: the cases of the test programs whose names (Suite.Case) the regular expression matches, as
# a filter for GoogleTest, then the programs that hold them; nothing if it matches the name of a program, as ctest
# knows them. Fails if it matches neither. Reads the sources: nothing need be built.
set -euo pipefail
cd "$(dirname "$0")/.."

programs=$(git ls-files -co --exclude-standard 'tests/**CMakeLists.txt' |
    xargs sed -nE 's/^ *(brevant_test|brevant_add_test|add_test)\((NAME )?(\w+).*/\3/p')
if grep -qE -- "$1" <<<"$programs"; then
    exit 0
fi

filter=
folders=()
while IFS=$' \t(,):' read -r file _ suite case _; do
    [[ $suite.$case =~ $1 ]] || continue
    # The second for cases that are run with several values.
    filter+="$suite.$case:*/$suite.$case/*:"
    folder=$(dirname "$file")
    while [ ! -e "$folder/CMakeLists.txt" ]; do
        folder=$(dirname "$folder")
    done
    folders+=("$folder/CMakeLists.txt")
done < <(git ls-files -co --exclude-standard 'tests/**.cpp' | xargs grep -E '^TEST(_F|_P)?\(')
if [ -z "$filter" ]; then
    echo "no test program and no case matches $1" >&2
    exit 1
fi
echo "$filter"
sed -nE 's/^ *brevant_test\((\w+).*/\1/p' "${folders[@]}" | sort -u
