# Sourced by scripts that run Windows programs: one Wine prefix inside the build tree, and one server for the whole
# run, since each start of it costs seconds. `wine_begin` starts both, `wine_end` ends them; call it from a trap.

wine_begin() {
    export WINEPREFIX="$1/wine-prefix"
    export WINEDEBUG="${WINEDEBUG:--all}"
    export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winemenubuilder.exe=}"
    unset DISPLAY
    mkdir -p "$WINEPREFIX"
    # A server that stays keeps its standard output, so it must not be this script's.
    wineserver -p >/dev/null 2>&1 </dev/null || true
    [ -e "$WINEPREFIX/system.reg" ] || timeout 300 wineboot -i >/dev/null 2>&1 </dev/null
}

wine_end() {
    [ -z "${WINEPREFIX:-}" ] || wineserver -k >/dev/null 2>&1 </dev/null || true
}
