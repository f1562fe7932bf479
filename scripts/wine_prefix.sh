#!/usr/bin/env bash
# Runs a command in a Wine prefix that no other of these commands has meanwhile: programs in one prefix share the names
# of their objects, those in different ones do not. CTest runs each Windows test by this.
#
#   wine_prefix.sh COMMAND …      prefixes: one a line in $WINE_PREFIXES, else $WINEPREFIX, else Wine's own in the home
set -euo pipefail

mapfile -t prefixes <<<"${WINE_PREFIXES:-${WINEPREFIX:-$HOME/.wine}}"
for (( ; ; )); do
    for prefix in "${prefixes[@]}"; do
        exec {lock}>>"$prefix.lock"
        if flock --nonblock "$lock"; then
            # Nothing that the command leaves behind may keep the lock.
            status=0
            WINEPREFIX=$prefix "$@" {lock}>&- || status=$?
            exit "$status"
        fi
        exec {lock}>&-
    done
    sleep 0.1
done
