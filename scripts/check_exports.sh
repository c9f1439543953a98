#!/usr/bin/env bash
# The module exports exactly four names on both systems, and the Windows one imports the system's libraries only.
set -euo pipefail
cd "$(dirname "$0")/.."

expected=$(printf '%s\n' CreateObject GetVersionNum GetVersionStr ReleaseObject)

linux=$(nm -D --defined-only build/linux/bin/libbrevant.so | awk '{print $3}' | sort)
# Read whole first: a reader that stops early would fail the pipe.
tables=$(x86_64-w64-mingw32-objdump -p build/windows/bin/Brevant.dll)
windows=$(awk '/\[Ordinal\/Name Pointer\] Table/{on=1; next} on && /\[ *[0-9]+\]/{print $NF} on && /^$/{exit}' \
    <<<"$tables" | sort)
imports=$(awk '/DLL Name:/{print tolower($3)}' <<<"$tables")

for system in linux windows; do
    if [ "${!system}" != "$expected" ]; then
        echo "exports on $system:" ${!system} >&2
        exit 1
    fi
done
for import in $imports; do
    case $import in
    kernel32.dll | msvcrt.dll | advapi32.dll | ole32.dll | oleaut32.dll | shell32.dll | version.dll | wintrust.dll | \
        crypt32.dll | wtsapi32.dll | user32.dll | shlwapi.dll) ;;
    *)
        echo "Brevant.dll imports $import" >&2
        exit 1
        ;;
    esac
done
