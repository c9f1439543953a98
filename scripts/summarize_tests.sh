#!/bin/sh
# summarize_tests.sh <name> <output of ctest --verbose>: one line of counts, then each skipped test with its reason.
set -eu
tr -d '\r' <"$2" | sed 's/^[0-9]*: //' | awk -v name="$1" '
    /^\[==========\] .* ran\./ { tests += $2; programs++ }
    /^\[       OK \] / { passed++ }
    /^\[  FAILED  \] .*ms\)$/ { failed++ }
    # A program without gtest: what CTest says of it.
    / Test +#[0-9]+: / {
        others++
        if (/\*\*\*Skipped/) list = list "\n    skipped: " $4 ": " why
        else if (!/Passed/) bad++
    }
    /^Skipped: / { why = substr($0, 10) }
    # The reason stands in the line after the place that skipped.
    reason { why = $0; reason = 0 }
    /: Skipped$/ { reason = 1 }
    /^\[  SKIPPED \] .*ms\)$/ { skipped++; list = list "\n    skipped: " $4 ": " why }
    END {
        printf "%s: %d tests passed, %d failed, %d skipped; %d programs, of which %d failed%s\n",
            name, passed, failed, skipped, others, bad, list
    }'
