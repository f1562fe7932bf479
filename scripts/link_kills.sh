#!/usr/bin/env bash
# Kills either side of the link between camera and simulator, or both, at random moments of exchanges, starts it again
# and requires that the link is usable again within 12 s, every time. Linux; each lane has objects of its own. A few
# kills of it are a test on both systems.
#
#   scripts/link_kills.sh [KILLS [LANES [SEED]]]     default 1000 kills in 20 lanes, and a seed of the clock
set -euo pipefail
cd "$(dirname "$0")/.."

kills=${1:-1000}
lanes=${2:-20}
seed=${3:-$(date +%s)}
[[ "$kills" =~ ^[1-9][0-9]*$ && "$lanes" =~ ^[1-9][0-9]*$ && "$seed" =~ ^[0-9]+$ ]] ||
    { sed -n '2,6s/^# \{0,1\}//p' "$0" >&2; exit 2; }
[ "$lanes" -le "$kills" ] || lanes=$kills

tree=${LINK_KILLS_TREE:-build/linux-release}
logs=build/link-kills
rm -rf "$logs"
mkdir -p "$logs"
if [ -z "${LINK_KILLS_TREE:-}" ]; then
    scripts/setup.sh
    { cmake --preset linux-release && cmake --build --preset linux-release --target link_kills_tests; } \
        >"$logs/build.log" 2>&1 || { tail -n 40 "$logs/build.log" >&2; exit 1; }
fi

echo "link_kills: $kills kills in $lanes lanes, seed $seed"
lane_of=()
for ((lane = 0; lane < lanes; lane++)); do
    share=$((kills / lanes + (lane < kills % lanes ? 1 : 0)))
    LINK_KILLS=$share LINK_KILLS_SEED=$((seed % 1000000 + lane)) "$tree/bin/link_kills_tests" >"$logs/$lane.log" 2>&1 &
    lane_of[$!]=$lane
done
failed=0
for process in "${!lane_of[@]}"; do
    wait "$process" || { failed=1; tail -n 20 "$logs/${lane_of[$process]}.log" >&2; }
done
done_kills=$(sed -n 's/^\([0-9]*\) kills, .*/\1/p' "$logs"/[0-9]*.log | awk '{ sum += $1 } END { print sum }')
longest=$(sed -n 's/.* \([0-9.]*\) s at most$/\1/p' "$logs"/[0-9]*.log | sort -n | tail -n 1)
echo "link_kills: ${done_kills:-0} of $kills kills survived, usable again after ${longest:-?} s at most"
[ "$failed" -eq 0 ] && [ "${done_kills:-0}" -eq "$kills" ]
