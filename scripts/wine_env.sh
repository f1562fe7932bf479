# Sourced by scripts that run Windows programs: one Wine prefix inside the build tree, and one server for the whole
# run, since each start of it costs seconds. `wine_begin` starts both, `wine_end` ends them; call it from a trap.

wine_begin() {
    export WINEPREFIX="$1/wine-prefix"
    export WINEDEBUG="${WINEDEBUG:--all}"
    export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winemenubuilder.exe=}"
    unset DISPLAY
    mkdir -p "$WINEPREFIX"
    # What stays in the background keeps its standard output open, so it must not be this script's.
    wineserver -p >/dev/null 2>&1 </dev/null || true
    timeout 300 wineboot >/dev/null 2>&1 </dev/null
    # One Windows program lives through the whole run, and with it Wine's service processes: else each first program
    # after a pause would start them again, with its own output, and whoever reads that would wait for them. It waits
    # at a pipe that this shell keeps open.
    exec {wine_hold}<> <(:)
    wine cmd <&"$wine_hold" >/dev/null 2>&1 &
    wine_keeper=$!
}

wine_end() {
    [ -n "${wine_keeper:-}" ] || return 0
    wineserver -k >/dev/null 2>&1 </dev/null || true
    wait "$wine_keeper" 2>/dev/null || true
    exec {wine_hold}<&-
    wine_keeper=
}
