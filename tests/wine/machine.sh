#!/bin/sh
# Makes the tests' own Windows machine (a Wine prefix) when it is missing, and keeps its server running, which
# saves each program two seconds. "machine.sh <folder> end" stops the server.
set -eu
export WINEPREFIX=$1 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
# Who waits for this script's output must not wait for the services that it starts.
exec </dev/null >"$WINEPREFIX.log" 2>&1
if [ "${2-}" = end ]; then
    wineserver -k || true
    exit 0
fi
wineserver -p || true
# The machine is made by the first program that runs on it (a wineboot of our own would start its services twice).
# What the build makes is not signed; the tests of the trust check turn it on for themselves.
wine reg add 'HKLM\SOFTWARE\CORVANE\OSTREL' /v 'Verify Libraries' /t REG_DWORD /d 0 /f
