#!/usr/bin/env bash
# Format and lint.   scripts/lint.sh format | tidy | fix
set -euo pipefail
cd "$(dirname "$0")/.."

folders=(platform host_runtime merror mutil mfileio mstreams mipc host_interface DorVenKameraPlugin frames options simulator host
         test_support benchmarks fuzz examples)
sources() { # find's name tests
    local existing=()
    for folder in "${folders[@]}"; do [ -d "$folder" ] && existing+=("$folder"); done
    find "${existing[@]}" \( "$@" \) -type f | sort
}

case "${1:-}" in
    format)
        sources -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror
        ;;
    fix)
        sources -name '*.cpp' -o -name '*.h' | xargs clang-format -i
        ;;
    tidy)
        cmake --preset linux-release >/dev/null
        cmake --build --preset linux-release >/dev/null
        # What the Linux build compiles, but for tests and the frame around them.
        python3 -c '
import json, os
for entry in json.load(open("build/linux-release/compile_commands.json")):
    name = os.path.relpath(entry["file"])
    if not name.startswith(("..", "build/", "test_support/", "benchmarks/")) and "/tests/" not in name:
        print(name)
' | sort -u | xargs -P "$(nproc)" -n 4 clang-tidy -p build/linux-release --quiet 2> >(grep -v ' warnings generated\.$' >&2)
        ;;
    *)
        echo "usage: scripts/lint.sh format | tidy | fix" >&2
        exit 2
        ;;
esac
