#!/usr/bin/env bash
# Makes a package, unpacks it into an empty folder and does the main job from there, without access to the build tree:
# the host grabs 50 images from the simulator. Then builds a separate host against the unpacked files, by CMake and by
# pkg-config, and lets it receive images too.
#
#   scripts/check_package.sh linux-release | windows-release      the latter under Wine
#   scripts/check_package.sh --root      instead: installs the package into an empty Debian and walks the first minute
#                                        there by its page; needs root
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/wine_env.sh

preset=${1:-}
images=50
run=()
suffix=
case "$preset" in
    --root) exec scripts/check_package_in_root.sh ;;
    linux-release) ;;
    windows-release)
        run=(wine)
        suffix=.exe
        ;;
    *)
        sed -n '2,8s/^# \{0,1\}//p' "$0" >&2
        exit 2
        ;;
esac

sources=$PWD
scratch=$(mktemp -d)
simulator_pid=
finish() {
    [ -z "$simulator_pid" ] || kill "$simulator_pid" 2>/dev/null || true
    [ -z "$suffix" ] || wine_end
    rm -rf "$scratch"
}
trap finish EXIT
fail() {
    printf 'check_package: %s\n' "$*" >&2
    exit 1
}

package=$(scripts/package.sh "$preset")
case "$package" in
    *.deb) dpkg -x "$package" "$scratch/root" && prefix=$scratch/root/usr ;;
    *.zip) unzip -q "$package" -d "$scratch/root" && prefix=$(echo "$scratch/root/"*) ;;
    *) fail "no package was made: '$package'" ;;
esac
bin=$prefix/bin
echo "unpacked $package"

# ---- nothing of the build tree, nothing missing
named=$(grep -rlF "$sources" "$scratch/root" || true)
[ -z "$named" ] || fail "these name the build tree: $named"
for file in README.md CHANGELOG.md docs/host-api.md docs/findings.schema.json examples/host/main.cpp \
    examples/strip/find.py third-party/zlib1g-dev.txt; do
    [ -e "$prefix/share/doc/dorven/$file" ] || fail "$file is not in the package"
done
[ ! -d scenarios ] || [ -d "$prefix/share/dorven/scenarios" ] || fail "the scenarios are not in the package"
if [ "$preset" = linux-release ]; then
    for program in dorven-host dorven-simulator; do
        for file in "man/man1/$program.1.gz" "man/man1/$program-config.1.gz" "bash-completion/completions/$program"; do
            [ -s "$prefix/share/$file" ] || fail "$file is not in the package"
        done
    done
    for file in "$bin"/* "$prefix"/lib/dorven/*.so; do
        foreign=$(ldd "$file" | awk '$2 == "=>" { print $3 }' | grep -Ev "^($scratch|/lib|/usr/lib)" || true)
        [ -z "$foreign" ] || fail "$file loads $foreign"
    done
    for field in Package Version Architecture Maintainer Section Description Depends; do
        [ -n "$(dpkg-deb -f "$package" "$field")" ] || fail "the package does not say its $field"
    done
    [[ "$(dpkg-deb -f "$package" Depends)" == *libc6* ]] || fail "the package does not depend on what it links"
    [ -z "$(dpkg-deb -c "$package" | awk '$2 != "root/root"')" ] || fail "files of the package do not belong to root"
fi

# ---- the main job
export HOME=$scratch/home XDG_CONFIG_HOME=$scratch/home/.config
mkdir -p "$HOME"
export PLATFORM_OBJECT_NAMESPACE=check-package-$$
[ -z "$suffix" ] || wine_begin "$sources/build"
cd "$scratch"
start_simulator() {
    "${run[@]}" "$bin/dorven-simulator$suffix" --fps 100 >"$scratch/simulator.log" 2>&1 </dev/null &
    simulator_pid=$!
}
stop_simulator() {
    kill "$simulator_pid" 2>/dev/null || true
    wait "$simulator_pid" 2>/dev/null || true
    simulator_pid=
}
start_simulator
timeout 120 "${run[@]}" "$bin/dorven-host$suffix" grab --count "$images" --timeout 60 --json \
    >summary.json 2>host.log </dev/null || { cat host.log simulator.log; fail "the host failed"; }
python3 - "$images" <<'PYTHON'
import json, sys
with open('summary.json', encoding='utf-8') as file:
    numbers = json.load(file)
others = numbers['faked'] or numbers['torn'] or numbers['simulated'] != numbers['images']
if numbers['images'] < int(sys.argv[1]) or others:
    sys.exit(f'check_package: not what was to be grabbed: {numbers}')
PYTHON
echo "grabbed $images images from the unpacked package"

# ---- a host of one's own
cp -r "$prefix/share/doc/dorven/examples/host" example
options=(-DDorVenKameraPlugin_DIR="$(echo "$prefix"/lib/cmake/DorVenKameraPlugin)" -DCMAKE_BUILD_TYPE=Release)
[ -z "$suffix" ] || options+=(-DCMAKE_TOOLCHAIN_FILE="$sources/cmake/toolchain-mingw64.cmake")
{ cmake -G Ninja -S example -B example/build "${options[@]}" && cmake --build example/build; } >example.log 2>&1 ||
    { cat example.log; fail "the example host was not built"; }
run_example() { # program
    timeout 120 "${run[@]}" "$@" >example.log 2>&1 </dev/null || { cat example.log simulator.log; fail "$1 failed"; }
    grep -q 'device of kind 1' example.log || fail "$1 saw no camera"
}
plugin=$(find "$prefix" -name "DorVenKameraPlugin.so" -o -name "DorVenKameraPlugin.dll")
# A cross-built host knows the plugin by its path on the building machine, which is drive Z: in Wine.
if [ -n "$suffix" ]; then
    run_example "example/build/example-host$suffix" 20 "Z:${plugin//\//\\}"
else
    run_example example/build/example-host 20
fi
echo "an example host built by CMake received 20 images"
if [ -z "$suffix" ]; then
    export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
    # shellcheck disable=SC2046
    g++ -std=c++17 -DPLUGIN="\"$(pkg-config --variable=plugin dorven-kamera-plugin)\"" example/main.cpp \
        -o by_pkg_config $(pkg-config --cflags --libs dorven-kamera-plugin) ||
        fail "the example host was not built by pkg-config"
    run_example ./by_pkg_config 20 "$plugin"
    run_example ./by_pkg_config 20
    echo "an example host built by pkg-config received 20 images"
fi
stop_simulator
