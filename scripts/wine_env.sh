# Sourced by scripts that run Windows programs: Wine prefixes inside the build tree, and one server for each during the
# whole run, because each start of a server costs seconds. `wine_begin` starts them, `wine_end` ends them; call it from
# a trap.

# FOLDER [COUNT]: prefixes in a folder. WINEPREFIX is the first one; tests take any free one of $WINE_PREFIXES
# (wine_prefix.sh). Each prefix has its own object names.
wine_begin() {
    local folder=$1 count=${2:-1} number booting=()
    export WINEDEBUG="${WINEDEBUG:--all}"
    export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winemenubuilder.exe=}"
    unset DISPLAY
    wine_prefixes=()
    wine_holds=()
    wine_keepers=()
    for ((number = 1; number <= count; ++number)); do
        wine_prefixes+=("$folder/wine-prefix-$number")
        mkdir -p "$folder/wine-prefix-$number"
        WINEPREFIX=$folder/wine-prefix-$number wine_boot &
        booting+=($!)
    done
    wait "${booting[@]}" || true
    export WINEPREFIX=${wine_prefixes[0]}
    export WINE_PREFIXES
    WINE_PREFIXES=$(printf '%s\n' "${wine_prefixes[@]}")
    # One Windows program runs all the time, and with it Wine's service processes. Otherwise the first program after
    # each pause would start them again with its own output, and readers of that output would wait for them. It waits
    # at a pipe that this shell keeps open.
    local prefix hold
    for prefix in "${wine_prefixes[@]}"; do
        exec {hold}<> <(:)
        wine_holds+=("$hold")
        WINEPREFIX=$prefix wine cmd <&"$hold" >/dev/null 2>&1 &
        wine_keepers+=($!)
    done
}

# A server and a user's folder for $WINEPREFIX.
wine_boot() {
    export WINEPREFIX
    # Background processes keep their standard output open, so it must not be that of this script.
    wineserver -p >/dev/null 2>&1 </dev/null || true
    timeout 300 wineboot >/dev/null 2>&1 </dev/null || echo "wine: no prefix could be made in $WINEPREFIX" >&2
}

wine_end() {
    local number
    for number in "${!wine_prefixes[@]}"; do
        WINEPREFIX=${wine_prefixes[number]} wineserver -k >/dev/null 2>&1 </dev/null || true
        [ -n "${wine_keepers[number]:-}" ] || continue  # ended during its start
        wait "${wine_keepers[number]}" 2>/dev/null || true
        exec {wine_holds[number]}<&-
    done
    wine_prefixes=()
}
