#!/usr/bin/env bash
# Makes the packages: a Debian package and a zip for Windows. Prints their paths to standard output.
#
#   scripts/package.sh                  both
#   scripts/package.sh linux-release    one: linux-release or windows-release
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(linux-release windows-release)
for preset in "${presets[@]}"; do
    case "$preset" in
        linux-release | windows-release) ;;
        *)
            sed -n '2,5s/^# \{0,1\}//p' "$0" >&2
            exit 2
            ;;
    esac
done
scripts/setup.sh "${presets[@]}"
for preset in "${presets[@]}"; do
    log=build/package-$preset.log
    mkdir -p build
    rm -rf "build/$preset/packages"
    { cmake --preset "$preset" && cmake --build --preset "$preset" --target product &&
        cpack --config "build/$preset/CPackConfig.cmake"; } >"$log" 2>&1 </dev/null ||
        { tail -n 40 "$log" >&2; echo "package: making the one of $preset failed; all of it is in $log" >&2; exit 1; }
    ls "$PWD/build/$preset/packages/"*.{deb,zip} 2>/dev/null || true
done
