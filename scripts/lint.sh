#!/usr/bin/env bash
# Format, folders and lint.   scripts/lint.sh format | rooms | tidy | tidy-tests [SOURCE …] | fix
set -euo pipefail
cd "$(dirname "$0")/.."

folders=(platform host_runtime merror mutil mfileio mstreams mipc host_interface image_road DorVenKameraPlugin frames
         options simulator host test_support benchmarks fuzz examples docs)
sources() { # find's name tests
    local existing=()
    for folder in "${folders[@]}"; do [ -d "$folder" ] && existing+=("$folder"); done
    find "${existing[@]}" \( "$@" \) -type f | sort
}

lines() { # files of which no line is wider than 120 columns
    find . \( -name build -o -name .git \) -prune -o -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.inc' -o \
        -name '*.in' -o -name '*.cmake' -o -name CMakeLists.txt -o -name '*.sh' -o -name '*.py' -o -path './.ci/*' \) \
        -print | sort
}

case "${1:-}" in
    format)
        sources -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror
        # clang-format leaves comments, long texts and tables alone, and knows nothing of the others.
        if lines | LC_ALL=C.UTF-8 xargs grep -nE '^.{121,}'; then
            echo "lint: these lines are wider than 120 columns" >&2
            exit 1
        fi
        ;;
    rooms)
        python3 scripts/rooms.py
        ;;
    fix)
        sources -name '*.cpp' -o -name '*.h' | xargs clang-format -i
        ;;
    # Tests take longer than all sources together, so scripts/test.sh --all does not read them.
    tidy | tidy-tests)
        cmake --preset linux-release >/dev/null
        cmake --build --preset linux-release >/dev/null
        case "$1" in
            tidy) mapfile -t named < <(sources -name '*.cpp' | grep -vE '(^|/)(tests|test_support)/') ;;
            tidy-tests) mapfile -t named < <(sources -name '*.cpp' | grep -E '(^|/)(tests|test_support)/') ;;
        esac
        [ $# -eq 1 ] || named=("${@:2}")
        [ ${#named[@]} -gt 0 ] || exit 0
        python3 scripts/tidy.py build/linux-release "${named[@]}"
        ;;
    *)
        echo "usage: scripts/lint.sh format | rooms | tidy | tidy-tests [SOURCE …] | fix" >&2
        exit 2
        ;;
esac
