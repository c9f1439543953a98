#!/bin/sh
# under_wine.sh <prefix> <program> [argument...]: runs a Windows program on the tests' own machine, with the
# session list that stands beside it.
export WINEPREFIX=$1 WINEDEBUG=-all WINEDLLOVERRIDES='wtsapi32=n,b;mscoree,mshtml=' BREVANT_TEST_MACHINE=1
shift
exec wine "$@"
