#!/usr/bin/env bash
# Builds the tests so that they record which lines run, runs them, and prints a summary for each folder. Linux.
#
#   scripts/coverage.sh                    all tests
#   scripts/coverage.sh mipc_tests …       only these test programs, and what they link
#
# build/coverage/html/index.html shows every line, build/coverage/summary.json has every file's numbers. Lines in a
# process that is killed do not count; other lines of failing tests do.
set -euo pipefail
cd "$(dirname "$0")/.."
tree=build/coverage

case "${1:-}" in
    -*)
        sed -n '2,8s/^# \{0,1\}//p' "$0" >&2
        exit 2
        ;;
esac
scripts/setup.sh coverage
mkdir -p "$tree"
# Counters shared by threads are exact only if they are atomic.
cmake --preset linux-debug -B "$tree" -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" \
    >"$tree/configure.log" 2>&1 ||
    { tail -n 40 "$tree/configure.log" >&2; exit 1; }
programs=("$@")
cmake --build "$tree" --target "${programs[@]:-all}" >"$tree/build.log" 2>&1 ||
    { tail -n 40 "$tree/build.log" >&2; exit 1; }

find "$tree" -name '*.gcda' -delete  # of an earlier run
names=.
[ ${#programs[@]} -eq 0 ] || names="^($(IFS='|'; echo "${programs[*]}"))(\.|$)"
status=0
ctest --test-dir "$tree" -R "$names" -j $((2 * $(nproc))) --output-on-failure --no-tests=error --quiet \
    --output-log "$tree/tests.log" </dev/null || status=$?
[ "$status" -eq 0 ] ||
    { sed -n '/tests failed/,$p' "$tree/tests.log" >&2; echo "coverage: more in $tree/tests.log" >&2; }

rm -rf "$tree/html"
mkdir -p "$tree/html"
gcovr --root . --object-directory "$tree" --exclude '(.*/)?(tests|test_support|benchmarks|fuzz|build)/' \
    --exclude-unreachable-branches --exclude-throw-branches -j "$(nproc)" \
    --html-details "$tree/html/index.html" --html-title "DorVenCam" --json-summary "$tree/summary.json" "$tree" \
    >"$tree/gcovr.log" 2>&1 || { tail -n 40 "$tree/gcovr.log" >&2; exit 1; }
python3 scripts/coverage_by_folder.py "$tree/summary.json"
echo "every line: $tree/html/index.html"
exit "$status"
