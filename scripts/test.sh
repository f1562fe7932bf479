#!/usr/bin/env bash
# Installs missing packages, builds, and runs every test on Linux and, under Wine, on Windows. Each job prints its
# duration; the last line gives the sum of all tests.
#
#   scripts/test.sh                linux-release and windows-release
#   scripts/test.sh --all          also the sanitizers and lint: what continuous integration runs
#   scripts/test.sh JOB …          only these: lint linux-release linux-asan linux-tsan windows-release
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/wine_env.sh

case "$*" in
    "") jobs=(linux-release windows-release) ;;
    --all) jobs=(linux-release linux-asan linux-tsan windows-release lint) ;;
    *) jobs=("$@") ;;
esac
for job in "${jobs[@]}"; do
    case "$job" in
        lint | linux-release | linux-debug | linux-asan | linux-tsan | windows-release | windows-debug) ;;
        *)
            echo "test: no such job: $job" >&2
            sed -n '2,7s/^# \{0,1\}//p' "$0" >&2
            exit 2
            ;;
    esac
done
cores=$(nproc)
results=build/test-results
failed=0
trap wine_end EXIT

section() { printf '\n== %s\n' "$*"; }

# A check without a test program; counts as one test.
check() { # name, command …
    local name=$1
    shift
    if "$@" >"$results/$name.log" 2>&1; then
        echo "passed" >"$results/$name.check"
        echo "$name: ok"
    else
        echo "failed" >"$results/$name.check"
        tail -n 60 "$results/$name.log"
        echo "$name: FAILED"
        failed=1
    fi
}

build() { # preset, target
    cmake --preset "$1" >"$results/$1.configure.log" 2>&1 || { cat "$results/$1.configure.log"; return 1; }
    cmake --build --preset "$1" --target "$2" >"$results/$1.build.log" 2>&1 ||
        { tail -n 80 "$results/$1.build.log"; return 1; }
}

run_tests() { # preset, ctest arguments …; builds the target in $target
    local preset=$1
    shift
    section "$preset: build"
    if ! build "$preset" "${target:-all}"; then
        echo "failed" >"$results/$preset-build.check"
        failed=1
        return
    fi
    section "$preset: tests"
    ctest --preset "$preset" --output-junit "$PWD/$results/$preset.xml" --test-output-size-passed 200000 \
        --test-output-size-failed 2000000 --quiet \
        --output-log "$results/$preset.ctest.log" "$@" </dev/null || failed=1
    python3 scripts/summarize_tests.py --failures "$results/$preset.xml" || failed=1
}

scripts/setup.sh "${jobs[@]}"
rm -rf "$results"
mkdir -p "$results"
# The user's own settings for the programs must not affect the tests.
export XDG_CONFIG_HOME=$PWD/$results/no-config
for variable in $(compgen -e | grep -E '^DORVEN_(HOST|SIMULATOR)_' || true); do unset "$variable"; done

for job in "${jobs[@]}"; do
    started=$SECONDS
    case "$job" in
        lint)
            section "format and lint"
            check format scripts/lint.sh format
            check rooms scripts/lint.sh rooms
            check lint scripts/lint.sh tidy
            ;;
        linux-tsan)
            # Only tests of concurrent threads; here all waits are several times as long.
            target=concurrent_tests run_tests "$job" -j "$cores" -L concurrent
            ;;
        linux-asan)
            ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 run_tests "$job" -j $((cores * 4))
            ;;
        linux-*)
            # Many tests wait for time to pass, so more of them run at once than there are cores.
            run_tests "$job" -j $((cores * 4))
            [ "$job" != linux-release ] || check system-calls scripts/count_system_calls.sh
            [ "$job" != linux-release ] || check package-linux scripts/check_package.sh linux-release
            ;;
        windows-*)
            # Here, too, most tests wait for time to pass; each running one has its own Wine prefix.
            prefixes=$((cores < 6 ? cores + 1 : 6))
            wine_begin "$PWD/build" "$prefixes"
            run_tests "$job" -j "$prefixes"
            wine_end
            [ "$job" != windows-release ] || check package-windows scripts/check_package.sh windows-release
            ;;
    esac
    took=$((SECONDS - started))
    printf '%s: took %d min %02d s\n' "$job" $((took / 60)) $((took % 60))
done

section "all together"
shopt -s nullglob
python3 scripts/summarize_tests.py "$results"/*.xml "$results"/*.check || true
exit "$failed"
