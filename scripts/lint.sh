#!/usr/bin/env bash
# Format, folders and lint.   scripts/lint.sh format | rooms | tidy | fix
set -euo pipefail
cd "$(dirname "$0")/.."

folders=(platform host_runtime merror mutil mfileio mstreams mipc host_interface image_road DorVenKameraPlugin frames options
         simulator host test_support benchmarks fuzz examples)
sources() { # find's name tests
    local existing=()
    for folder in "${folders[@]}"; do [ -d "$folder" ] && existing+=("$folder"); done
    find "${existing[@]}" \( "$@" \) -type f | sort
}

case "${1:-}" in
    format)
        sources -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror
        ;;
    rooms)
        python3 scripts/rooms.py
        ;;
    fix)
        sources -name '*.cpp' -o -name '*.h' | xargs clang-format -i
        ;;
    tidy)
        cmake --preset linux-release >/dev/null
        cmake --build --preset linux-release >/dev/null
        python3 scripts/tidy.py build/linux-release
        ;;
    *)
        echo "usage: scripts/lint.sh format | rooms | tidy | fix" >&2
        exit 2
        ;;
esac
