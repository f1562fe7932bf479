#!/usr/bin/env bash
# From a bare machine to camera images: installs what is missing, builds, lets a simulator send images to the plugin in
# a measuring host, and leaves pictures and numbers in demo-output/. Each step shows how long it takes.
#
#   scripts/demo.sh             on Linux
#   scripts/demo.sh --windows   the same with the Windows DLL, under Wine
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/wine_env.sh
source scripts/progress.sh

images=300
fps=100
preset=linux-release
groups=(linux)
run=()
suffix=
case "${1:-}" in
    "") ;;
    --windows)
        preset=windows-release
        groups+=(windows)
        run=(wine)
        suffix=.exe
        ;;
    *)
        sed -n '2,6s/^# \{0,1\}//p' "$0" >&2
        exit 2
        ;;
esac
# A folder of its own: without tests, whose libraries are not installed for this.
tree=build/demo/$preset
bin=$tree/bin
output=demo-output
log=build/demo.log
host_pid=
simulator_pid=

finish() {
    [ -z "$simulator_pid" ] || kill "$simulator_pid" 2>/dev/null || true
    [ -z "$host_pid" ] || kill "$host_pid" 2>/dev/null || true
    [ ${#run[@]} -eq 0 ] || wine_end
}
trap finish EXIT

fail() {
    printf 'demo: %s\n' "$*" >&2
    exit 1
}

build() {
    { cmake --preset "$preset" -B "$tree" -DDORVEN_BUILD_TESTS=OFF &&
        cmake --build "$tree" --target dorven-simulator dorven-host DorVenKameraPlugin; } 2>&1
}
how_far() { # log
    sed -n 's#^\[\([0-9]*\)/\([0-9]*\)\].*#\1 of \2 steps#p' "$1" | tail -n 1
}
started=$SECONDS
step_done() { # what
    echo "$1 after $(minutes $((SECONDS - started)))" >&2
}

scripts/setup.sh "${groups[@]}"
step_done "Everything needed is installed"
mkdir -p build
progress "Building" "$log" how_far build || { tail -n 40 "$log" >&2; fail "building failed; all of it is in $log"; }
step_done "Built"
if [ ${#run[@]} -gt 0 ]; then
    echo "Starting Wine, which takes half a minute the first time …" >&2
    wine_begin "$PWD/build"
fi

rm -rf "$output"
mkdir -p "$output"
# A measuring host passes this file to the camera; it names the camera's own configuration file.
printf '[Dorven]\ncamera_config=camera.ini\n' >"$output/plugin.ini"
printf '[image]\nimage_size_x=1280\nimage_size_y=1024\nbytes_per_pixel=1\n' >"$output/camera.ini"

echo "Grabbing $images images at $fps images per second …" >&2
"${run[@]}" "$bin/dorven-host$suffix" grab --config "$output/plugin.ini" --count "$images" --timeout 20 \
    --output "$output" --every 100 --json >"$output/summary.json" 2>"$output/host.log" </dev/null &
host_pid=$!
# The host says when its camera is open. If the simulator started earlier, nobody would read its first images.
for _ in $(seq 1 300); do
    grep -q 'without a simulator' "$output/host.log" && break
    kill -0 "$host_pid" 2>/dev/null || break
    sleep 0.1
done
"${run[@]}" "$bin/dorven-simulator$suffix" --config "$output/plugin.ini" --fps "$fps" --count $((images + 100)) \
    --lines 32 >"$output/simulator.log" 2>&1 </dev/null &
simulator_pid=$!

status=0
wait "$host_pid" || status=$?
host_pid=
[ "$status" -eq 0 ] ||
    { cat "$output/host.log" "$output/simulator.log" >&2; fail "the host ended with status $status"; }
wait "$simulator_pid" || fail "the simulator failed: $(tail -n 3 "$output/simulator.log")"
simulator_pid=
step_done "Done"

cat "$output/host.log"
python3 - "$output" "$images" "${run[*]} $bin" "$suffix" <<'PYTHON'
import glob, json, sys
folder, images, programs, suffix = sys.argv[1], int(sys.argv[2]), sys.argv[3].strip(), sys.argv[4]
with open(f'{folder}/summary.json', encoding='utf-8') as file:
    numbers = json.load(file)
problems = [f'{key} is {numbers[key]}, not 0' for key in ('faked', 'lost', 'repeated', 'torn') if numbers[key] != 0]
if numbers['simulated'] < images:
    problems.append(f'only {numbers["simulated"]} simulated images of {images}')
pictures = sorted(glob.glob(f'{folder}/*.png'))
if len(pictures) < 3:
    problems.append(f'only {len(pictures)} pictures')
if problems:
    sys.exit('demo: ' + '; '.join(problems))
print(f'''
That was a camera without hardware: {numbers["simulated"]} images of 1280 x 1024 pixels came from the simulator
through shared memory into the plugin and from there into the host, {numbers["fps_mean"]:.1f} a second, half within
{numbers["latency_p50_us"]:.0f} microseconds. None was lost, repeated or torn.

  {folder}/summary.json   the numbers, for programs
  {pictures[0]}   the first of {len(pictures)} pictures: open it

Try next:
  {programs}/dorven-host{suffix} info
      what the plugin offers
  {programs}/dorven-simulator{suffix} --help
      other sizes and rates, your own pictures
  scripts/demo.sh --windows
      the same with the Windows DLL, under Wine
''')
PYTHON
