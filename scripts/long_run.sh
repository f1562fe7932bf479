#!/usr/bin/env bash
# Grabs for a long time, and requires that no image is lost, torn, repeated, out of order or faked, and that nearly all
# came. Prints the host's table. Not for a busy machine: if both programs cannot run for as long as the ring lasts (200
# images), images are lost. Linux; has its own objects.
#
#   scripts/long_run.sh [SECONDS [FPS]]     default 600 s at 200 images per second
#
# LONG_RUN_TREE names a build tree that already has both programs; without it the release tree is built.
# Exit codes: those of dorven-host, 0 when all limits hold.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '2,10s/^# \{0,1\}//p' "$0" >&2; exit 2; }
seconds=${1:-600}
fps=${2:-200}
[[ "$seconds" =~ ^[1-9][0-9]{0,5}$ && "$fps" =~ ^[1-9][0-9]{0,3}$ && $# -le 2 ]] || usage

tree=${LONG_RUN_TREE:-build/linux-release}
logs=build/long-run
rm -rf "$logs"
mkdir -p "$logs"
if [ -z "${LONG_RUN_TREE:-}" ]; then
    scripts/setup.sh linux-release
    { cmake --preset linux-release && cmake --build --preset linux-release \
        --target dorven-host dorven-simulator DorVenKameraPlugin; } \
        >"$logs/build.log" 2>&1 || { tail -n 40 "$logs/build.log" >&2; exit 1; }
fi

export PLATFORM_OBJECT_NAMESPACE="long_run_$$"
"$tree/bin/dorven-simulator" --fps "$fps" --lines 200 >"$logs/simulator.log" 2>&1 &
simulator=$!
trap 'kill "$simulator" 2>/dev/null || true; wait "$simulator" 2>/dev/null || true' EXIT

images=$((seconds * fps))
echo "long run: $images images at $fps per second, $seconds s"
result=0
"$tree/bin/dorven-host" grab --json --count "$images" --timeout 5 --min-images "$images" \
    --max-lost 0 --max-torn 0 --max-repeated 0 --max-reordered 0 --max-faked 0 --min-fps "$((fps * 99 / 100))" \
    >"$logs/grab.json" || result=$?
echo "long run: exit code $result; $logs/grab.json has the numbers"
exit "$result"
