#!/usr/bin/env bash
# Checks the models of docs/model: each claim holds, and each variant without a needed step fails. Takes two to three
# minutes.
#
#   scripts/model.sh          each fault alone
#   scripts/model.sh more     also two faults together: several minutes and some GB
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh models

models=$PWD/docs/model
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failed=0

# Number of errors that the checker finds: 0 when the claim holds.
errors() { # model, kind of check, definitions …
    local model=$1 kind=$2
    shift 2
    rm -f pan* ./*.trail
    spin -a "$@" "$models/$model" >spin.log 2>&1 || { cat spin.log >&2; exit 1; }
    local compile=(-DSAFETY) run=()
    if [ "$kind" = progress ]; then
        compile=(-DNP -DNFAIR=3 -DCOLLAPSE)
        run=(-l -f)
    fi
    gcc -O2 -w "${compile[@]}" -o pan pan.c
    ./pan -m1000000 "${run[@]}" >pan.log 2>&1
    if grep -q 'max search depth too small\|out of memory' pan.log; then cat pan.log >&2; exit 1; fi
    sed -n 's/.*errors: \([0-9]*\).*/\1/p' pan.log
}

holds() {
    local found
    found=$(errors "$@")
    report "$found" 0 "holds" "$@"
}

fails() {
    local found
    found=$(errors "$@")
    report "$([ "${found:-0}" -gt 0 ] && echo 1 || echo 0)" 1 "fails, as it must" "$@"
}

report() { # found, expected, words, model, kind, definitions …
    local verdict=$3
    if [ "${1:-none}" != "$2" ]; then
        verdict="WRONG: errors $1"
        failed=1
    fi
    printf '%-14s %-58s %s\n' "$4" "${*:6}" "$verdict"
}

holds byte_fifo.pml safety
fails byte_fifo.pml safety -DINDEX_FIRST
fails byte_fifo.pml safety -DFULL_RING
holds close.pml safety
fails close.pml safety -DSIGNAL_ALONE -DSTOLEN=0
for sets in 1 2 3; do
    for kills in 0 1 2; do holds event.pml safety -DSETS=$sets -DKILLS=$kills; done
    for kills in 0 1; do holds event.pml safety -DSETS=$sets -DKILLS=$kills -DTIMED; done
done
holds event.pml safety -DSITTING=1
holds event.pml safety -DSITTING=1 -DTIMED
holds event.pml safety -DSETS=1 -DKILLS=1 -DDEAD_FIRST
for sets in 1 2; do holds event.pml safety -DSETS=$sets -DLATE; done
for fault in "-DSITTING=1 -DSETS=1" "-DSITTING=1 -DSETS=1 -DTIMED" ""; do
    # shellcheck disable=SC2086
    holds event.pml safety -DKILL_SETTER -DKILLS=1 -DSETTERS=2 $fault
done
fails event.pml safety -DMERGE
fails event.pml safety -DSTEAL -DLATE -DSITTING=1 -DSETS=1
fails event.pml safety -DNO_HAND_ON -DKILLS=1 -DDEAD_FIRST -DSETS=1
fails event.pml safety -DHAND_ON_BLINDLY -DSITTING=1 -DSETS=1
fails event.pml safety -DNO_LEFT_BEHIND -DKILLS=1
fails event.pml safety -DNO_WAKE_AGAIN -DKILL_SETTER -DKILLS=1 -DSETTERS=2 -DSITTING=1 -DSETS=1
holds link.pml progress -DKILLS=0
holds link.pml progress -DKILLS=1
holds link.pml progress -DKILLS=0 -DFAILED_WAITS=1
holds link.pml progress -DKILLS=0 -DLATE=1
for fault in -DKILLS=1 "-DKILLS=0 -DFAILED_WAITS=1" "-DKILLS=0 -DLATE=1"; do
    # shellcheck disable=SC2086
    holds link.pml progress -DFOLLOWS_RULES_ALONE=1 $fault
done
for step in NO_REATTACH NO_SEEK NO_LEAVE NO_RELAY NO_ECHO_LIMIT; do fails link.pml progress -D$step; done
fails link.pml progress -DNO_LOOK -DKILLS=0 -DFAILED_WAITS=1
fails link.pml progress -DPIECES_ALONE -DKILLS=0 -DLATE=2
holds link.pml progress -DKILLS=0 -DLATE=2
fails link.pml progress -DKNOCK_ALWAYS -DFOLLOWS_RULES_ALONE=1
if [ "${1:-}" = more ]; then
    for sets in 1 2 3; do holds event.pml safety -DSETS=$sets -DKILLS=2 -DTIMED; done
    holds link.pml progress -DKILLS=2
    holds link.pml progress -DKILLS=1 -DFAILED_WAITS=1
    holds link.pml progress -DKILLS=1 -DLATE=1
fi
exit "$failed"
