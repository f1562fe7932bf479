# Sourced by scripts whose steps take minutes: shows on standard error how far a step is, and since when it runs. On a
# terminal one line is kept up to date; elsewhere there is a line at the beginning and one each half a minute.

minutes() { # seconds
    printf '%d:%02d' $(($1 / 60)) $(($1 % 60))
}

# Runs a command in the foreground; its standard output goes to a log. The result is the command's.
progress() { # label, log, function that reads the log and prints how far the command is, command …
    local label=$1 log=$2 how_far=$3 status=0 watcher
    shift 3
    : >"$log"
    [ -t 2 ] || echo "$label …" >&2
    _progress_watch "$label" "$log" "$how_far" &
    watcher=$!
    "$@" >"$log" || status=$?
    kill "$watcher" 2>/dev/null || true
    wait "$watcher" 2>/dev/null || true
    [ ! -t 2 ] || printf '\r\033[K' >&2
    return "$status"
}

# Says nothing before the command does: it may be asking for a password.
_progress_watch() { # label, log, function
    local started=$SECONDS told=0 pause=30 line
    [ ! -t 2 ] || pause=1
    # A script that is killed does not end this. Whoever reads the script's output need not wait for the sleep.
    while sleep 0.5 >/dev/null 2>&1 && kill -0 "$$" 2>/dev/null; do
        [ -s "$2" ] && [ $((SECONDS - started)) -ge $((told + pause)) ] || continue
        told=$((SECONDS - started))
        line="$1 … $("$3" "$2"), $(minutes "$told")"
        if [ -t 2 ]; then printf '\r%.79s\033[K' "$line" >&2; else echo "$line" >&2; fi
    done
}
