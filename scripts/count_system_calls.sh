#!/usr/bin/env bash
# Counts, with strace, the system calls for images on Linux. Fails when the writer makes more than one per image for a
# sleeping reader, or any for a reader that is awake; when the reader makes more than one per image; or when a grab
# without a simulator makes more than one per wait.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh linux-release
mkdir -p build
{ cmake --preset linux-release -DDORVEN_BUILD_BENCHMARKS=ON &&
    cmake --build --preset linux-release --target bench_system_calls; } >build/count_system_calls.log 2>&1 ||
    { tail -n 40 build/count_system_calls.log >&2; exit 1; }

trace=build/system_calls.strace
strace -f -qq -o "$trace" build/linux-release/bin/bench_system_calls
python3 scripts/count_system_calls.py "$trace"
