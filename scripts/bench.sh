#!/usr/bin/env bash
# Builds the benchmarks and runs them: each figure stands beside a bare limit measured in the same run.
# Let nothing else run meanwhile.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
mkdir -p build
cmake --preset linux-release -DDORVEN_BUILD_BENCHMARKS=ON >build/bench.log 2>&1
cmake --build --preset linux-release >>build/bench.log 2>&1 || { tail -n 40 build/bench.log >&2; exit 1; }

status=0
for program in bench_event_round_trip bench_image_hand_over; do
    "build/linux-release/bin/$program" || status=1
done
exit "$status"
