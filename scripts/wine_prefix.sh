#!/usr/bin/env bash
# Runs a command in a Wine prefix that no other of these commands has meanwhile: programs in one prefix share the names
# of their objects, those in different ones do not. CTest runs each Windows test by this; give it no more `-j` than
# there are prefixes, since waiting for one counts as a test's time.
#
#   wine_prefix.sh COMMAND …      prefixes: one a line in $WINE_PREFIXES, else $WINEPREFIX, else Wine's own in the home
set -euo pipefail

taken=75  # what flock answers for a lock that another one has
mapfile -t prefixes <<<"${WINE_PREFIXES:-${WINEPREFIX:-$HOME/.wine}}"
for (( ; ; )); do
    for prefix in "${prefixes[@]}"; do
        prefix=${prefix%/}
        exec {lock}>>"$prefix.lock"
        status=0
        flock --nonblock --conflict-exit-code "$taken" "$lock" || status=$?
        if [ "$status" -eq 0 ]; then
            # Nothing that the command leaves behind may keep the lock.
            WINEPREFIX=$prefix "$@" {lock}>&- || status=$?
            exit "$status"
        fi
        [ "$status" -eq "$taken" ] || exit "$status"
        exec {lock}>&-
    done
    sleep 0.1
done
