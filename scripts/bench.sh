#!/usr/bin/env bash
# Builds the benchmarks and runs them: each figure stands beside a bare limit measured in the same run.
# Let nothing else run meanwhile. docs/measurements.md tells what they measure and what was seen.
#
#   scripts/bench.sh            all of it, some minutes
#   scripts/bench.sh NAME …     only these, each a program bench_NAME: image_hand_over faked_frames …
#
# Peers are optional, and measured where they are installed. iceoryx: apt-get install libiceoryx-posh-dev iceoryx
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
mkdir -p build
cmake --preset linux-release -DDORVEN_BUILD_BENCHMARKS=ON >build/bench.log 2>&1
cmake --build --preset linux-release >>build/bench.log 2>&1 || { tail -n 40 build/bench.log >&2; exit 1; }

names=("$@")
if [ ${#names[@]} -eq 0 ]; then
    for program in build/linux-release/bin/bench_*; do
        name=${program##*/bench_}
        [ "$name" = system_calls ] || names+=("$name")  # scripts/count_system_calls.sh runs that one
    done
    [[ " ${names[*]} " = *" iceoryx_hand_over "* ]] ||
        echo "bench: not beside iceoryx; for that: apt-get install libiceoryx-posh-dev iceoryx"
fi
status=0
for name in "${names[@]}"; do
    "build/linux-release/bin/bench_$name" || status=1
done
exit "$status"
