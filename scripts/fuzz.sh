#!/usr/bin/env bash
# Builds the fuzzers and lets each search for inputs that break something, starting from the committed corpus.
#   scripts/fuzz.sh [SECONDS [TARGET …]]    default: two minutes for each target
# Findings are in build/fuzz/findings; replay one with build/linux-release/bin/fuzz_TARGET FILE.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-120}
shift || true
scripts/setup.sh linux-asan
mkdir -p build/fuzz/findings
cmake --preset linux-asan -B build/fuzz -DDORVEN_FUZZ=ON -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link \
    >build/fuzz/configure.log 2>&1 ||
    { tail -n 40 build/fuzz/configure.log >&2; exit 1; }

targets=("$@")
[ ${#targets[@]} -gt 0 ] || mapfile -t targets < <(ls fuzz/corpus)
cmake --build build/fuzz --target "${targets[@]/#/fuzz_}" >build/fuzz/build.log 2>&1 ||
    { tail -n 40 build/fuzz/build.log >&2; exit 1; }

status=0
for target in "${targets[@]}"; do
    mkdir -p "build/fuzz/corpus/$target"
    if "build/fuzz/bin/fuzz_$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/findings/$target-" "build/fuzz/corpus/$target" "fuzz/corpus/$target" \
        >"build/fuzz/$target.log" 2>&1; then
        runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "build/fuzz/$target.log")
        echo "$target: nothing found in $runs runs, $seconds seconds"
    else
        tail -n 30 "build/fuzz/$target.log"
        echo "$target: FAILED, see build/fuzz/findings"
        status=1
    fi
done
exit "$status"
