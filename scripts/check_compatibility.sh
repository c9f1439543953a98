#!/usr/bin/env bash
# The files that docs/compatibility.md names, and those where the word stands in the code, are the same; none
# has more rows than marks.
set -euo pipefail
cd "$(dirname "$0")/.."

rows=$(grep '^| ' docs/compatibility.md | grep -oE '`(include|src)/[^`]*`' | tr -d '`' | sort | uniq -c)
marks=$(git ls-files 'include/*.h' 'src/*.h' 'src/*.cpp' | xargs grep -ohHw compat | cut -d: -f1 | sort | uniq -c)
awk 'NR == FNR { marks[$2] = $1; next }
     { rows[$2] = $1; if (marks[$2] + 0 < $1) { print $2 ": " $1 " rows, " marks[$2] + 0 " marks"; wrong = 1 } }
     END { for (file in marks) if (!(file in rows)) { print file ": no row in docs/compatibility.md"; wrong = 1 }
           exit wrong }' <(printf '%s\n' "$marks") <(printf '%s\n' "$rows") >&2
