#!/usr/bin/env bash
# Runs a command in a Wine prefix that no other such command uses meanwhile: programs in one prefix share object names,
# programs in different prefixes do not. CTest runs each Windows test this way; its `-j` must not exceed the number of
# prefixes, because waiting for one counts as a test's time.
#
#   wine_prefix.sh COMMAND …      one per line in $WINE_PREFIXES, otherwise $WINEPREFIX, otherwise Wine's default
set -euo pipefail

taken=75  # flock's exit code when another process has the lock
mapfile -t prefixes <<<"${WINE_PREFIXES:-${WINEPREFIX:-$HOME/.wine}}"
for (( ; ; )); do
    for prefix in "${prefixes[@]}"; do
        prefix=${prefix%/}
        exec {lock}>>"$prefix.lock"
        status=0
        flock --nonblock --conflict-exit-code "$taken" "$lock" || status=$?
        if [ "$status" -eq 0 ]; then
            # Processes that the command leaves behind must not keep the lock.
            WINEPREFIX=$prefix "$@" {lock}>&- || status=$?
            exit "$status"
        fi
        [ "$status" -eq "$taken" ] || exit "$status"
        exec {lock}>&-
    done
    sleep 0.1
done
