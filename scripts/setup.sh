#!/usr/bin/env bash
# Installs what building, testing and running need on Debian 12. Does nothing when all is there. Needs root or sudo;
# only sudo asks for anything: its password, and only on a terminal.
#
#   scripts/setup.sh              everything
#   scripts/setup.sh GROUP …      these groups of packages:
#     linux       builds the programs and the plugin for Linux
#     windows     on top of it: builds them for Windows and runs them under Wine
#     JOB         a job of scripts/test.sh: lint linux-release linux-debug linux-asan linux-tsan windows-release
#                 windows-debug
#     models coverage root          scripts/model.sh, scripts/coverage.sh, scripts/check_package.sh --root
set -euo pipefail
source "$(dirname "$0")/progress.sh"

# ---- what belongs together
linux=(
    # build
    g++ cmake ninja-build ccache python3
    # libraries
    libspdlog-dev libfmt-dev libcli11-dev nlohmann-json3-dev libstb-dev librapidxml-dev uuid-dev zlib1g-dev
    libtiff-dev
)
windows=(
    # the cross compiler with its zlib, and Wine to run what it makes
    g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix libz-mingw-w64-dev wine wine64
)
tests=(
    # comes as sources and is built for both systems
    googletest librapidcheck-dev
    # the schema of findings, and the example in C#
    python3-jsonschema mono-mcs mono-runtime
)
compilers=(
    # the tables of virtual operations as other compilers lay them out, and each header alone
    clang
)
packages=(
    # packages, man pages and completion, and what their tests use
    dpkg-dev unzip help2man man-db bash-completion pkg-config
)
# sanitizers and fuzzers, with lines in their reports
sanitizers=(clang libclang-rt-dev llvm)
system_calls=(strace)
linters=(clang-format clang-tidy)
models=(spin)
coverage=(gcovr)
root=(debootstrap)

parts_of() { # group
    case "$1" in
        linux | windows | models | root) echo "$1" ;;
        linux-release) echo linux tests compilers packages system_calls ;;
        linux-debug) echo linux tests compilers packages ;;
        linux-asan | linux-tsan) echo linux tests compilers sanitizers ;;
        windows-release | windows-debug) echo linux windows tests packages ;;
        lint) echo linux tests compilers packages linters ;;
        coverage) echo linux tests compilers packages coverage ;;
        *)
            echo "setup: no such group: $1" >&2
            sed -n '2,12s/^# \{0,1\}//p' "$0" >&2
            return 2
            ;;
    esac
}

[ $# -gt 0 ] || set -- linux-release linux-asan windows-release lint models coverage root
wanted=()
for group in "$@"; do
    parts=$(parts_of "$group") || exit
    for part in $parts; do
        declare -n names=$part
        wanted+=("${names[@]}")
    done
done

missing=()
for package in $(printf '%s\n' "${wanted[@]}" | sort -u); do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi
echo "setup: installing ${missing[*]}" >&2

# ---- who may install
run=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null ||
        { echo "setup: there is no sudo: run this as root: apt-get install ${missing[*]}" >&2; exit 1; }
    if [ -t 0 ] && [ -t 2 ]; then
        echo "setup: installing needs root: sudo may ask for your password now" >&2
        run=(sudo)
    else
        run=(sudo -n)
    fi
fi

# ---- one call of sudo does both steps, so that it asks once
log=$(mktemp)
trap 'rm -f "$log"' EXIT
install_them() {
    # Reads nothing, and keeps the machine's own versions of changed configuration files.
    "${run[@]}" env DEBIAN_FRONTEND=noninteractive APT_LISTCHANGES_FRONTEND=none APT_LISTBUGS_FRONTEND=none sh -c '
        exec 2>&1
        apt="apt-get -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3"
        $apt update && $apt install -y --no-install-recommends -o Dpkg::Options::=--force-confdef \
            -o Dpkg::Options::=--force-confold "$@"' setup "${missing[@]}" </dev/null
}
how_far() { # log
    awk '/^(Get|Hit):/ { doing = "downloading" } /^Unpacking / { doing = "unpacking"; ++unpacked }
        /^Setting up / { doing = "setting up"; ++set } / newly installed/ { for (i = 2; i <= NF; ++i)
            if ($i == "newly") all = $(i - 1) }
        END { print doing (set ? " " set : unpacked ? " " unpacked : "") (all && unpacked ? " of " all : "") }' "$1"
}
started=$SECONDS
if ! progress "setup: installing" "$log" how_far install_them; then
    tail -n 30 "$log" >&2
    [ "${run[*]}" != "sudo -n" ] || echo "setup: sudo cannot ask here; in a terminal it asks for your password" >&2
    echo "setup: installing failed; the lines above say why" >&2
    exit 1
fi
size=$(sed -n 's/^After this operation, \(.*\) of additional disk space will be used.*/, \1 of disk space/p' "$log")
echo "setup: installed in $(minutes $((SECONDS - started)))$size" >&2
