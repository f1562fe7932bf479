#!/usr/bin/env bash
# Kills processes that talk to each other at random moments, restarts them in any order, and requires that everything
# works again in time, every time. Linux; each lane has its own objects. A few kills of each kind also run as a test on
# both systems.
#
#   scripts/kills.sh link [KILLS [LANES [SEED]]]         either side of the link between camera and simulator, or
#                                                        both: usable again within 12 s; default 1000 kills in 20 lanes
#   scripts/kills.sh programs [KILLS [LANES [SEED]]]     host and simulator: whole images in ascending time again within
#                                                        15 s; default 100 kills in 4 lanes
#
# Without SEED it comes from the clock and is printed.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '2,12s/^# \{0,1\}//p' "$0" >&2; exit 2; }
kind=${1:-}
case "$kind" in
    link) kills=1000 lanes=20 ;;
    programs) kills=100 lanes=4 ;;
    *) usage ;;
esac
kills=${2:-$kills}
lanes=${3:-$lanes}
seed=${4:-$(date +%s)}
[[ "$kills" =~ ^[1-9][0-9]*$ && "$lanes" =~ ^[1-9][0-9]*$ && "$seed" =~ ^[0-9]+$ ]] || usage
[ "$lanes" -le "$kills" ] || lanes=$kills

tree=${KILLS_TREE:-build/linux-release}
program=${kind%s}_kills_tests
logs=build/kills-$kind
rm -rf "$logs"
mkdir -p "$logs"
if [ -z "${KILLS_TREE:-}" ]; then
    scripts/setup.sh linux-release
    { cmake --preset linux-release && cmake --build --preset linux-release --target "$program"; } \
        >"$logs/build.log" 2>&1 || { tail -n 40 "$logs/build.log" >&2; exit 1; }
fi

echo "kills: $kind, $kills kills in $lanes lanes, seed $seed"
lane_of=()
for ((lane = 0; lane < lanes; lane++)); do
    share=$((kills / lanes + (lane < kills % lanes ? 1 : 0)))
    KILLS=$share KILLS_SEED=$((seed % 1000000 + lane)) "$tree/bin/$program" >"$logs/$lane.log" 2>&1 &
    lane_of[$!]=$lane
done
failed=0
for process in "${!lane_of[@]}"; do
    wait "$process" || { failed=1; tail -n 20 "$logs/${lane_of[$process]}.log" >&2; }
done
done_kills=$(sed -n 's/^\([0-9]*\) kills, .*/\1/p' "$logs"/[0-9]*.log | awk '{ sum += $1 } END { print sum }')
longest=$(sed -n 's/.* \([0-9.]*\) s at most$/\1/p' "$logs"/[0-9]*.log | sort -n | tail -n 1)
echo "kills: ${done_kills:-0} of $kills survived, well again after ${longest:-?} s at most"
[ "$failed" -eq 0 ] && [ "${done_kills:-0}" -eq "$kills" ]
