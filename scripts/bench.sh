#!/usr/bin/env bash
# Builds the benchmarks and runs them: each figure is compared with a bare limit measured in the same run.
# Let nothing else run meanwhile. docs/measurements.md explains what they measure and what the results were.
#
#   scripts/bench.sh            all of them, some minutes
#   scripts/bench.sh NAME …     only these, each a program bench_NAME: image_hand_over faked_frames …
#
# Peers are optional, and measured if they are installed:
#   image_hand_over with iceoryx              apt-get install libiceoryx-posh-dev iceoryx
#   pacing, gstreamer_hand_over with GStreamer
#       apt-get install libgstreamer1.0-dev gstreamer1.0-plugins-base gstreamer1.0-plugins-bad
#   base64 with OpenSSL and GLib              apt-get install libssl-dev libglib2.0-dev
#   ini_data with GLib and SimpleIni          apt-get install libglib2.0-dev libsimpleini-dev
#   file_access with GLib                     apt-get install libglib2.0-dev
#   pattern_draw, measured by Google Benchmark   apt-get install libbenchmark-dev
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh linux-release
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
    [[ " ${names[*]} " = *" pattern_draw "* ]] ||
        echo "bench: no pattern_draw without Google Benchmark: apt-get install libbenchmark-dev"
    for name in pacing gstreamer_hand_over; do
        [[ " ${names[*]} " = *" $name "* ]] || echo "bench: no $name without GStreamer: apt-get install" \
            "libgstreamer1.0-dev gstreamer1.0-plugins-base gstreamer1.0-plugins-bad"
    done
    for name in base64 ini_data; do
        [[ " ${names[*]} " = *" $name "* ]] ||
            echo "bench: no $name without its peers: apt-get install libssl-dev libglib2.0-dev libsimpleini-dev"
    done
fi
status=0
for name in "${names[@]}"; do
    "build/linux-release/bin/bench_$name" || status=1
done
exit "$status"
