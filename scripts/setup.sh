#!/usr/bin/env bash
# Installs what building, testing and running need on Debian 12. Asks nothing; does nothing when all is there.
# Needs root, or sudo that does not ask.
#
#   scripts/setup.sh [PACKAGE …]     these, too
set -euo pipefail

packages=(
    # build
    g++ cmake ninja-build ccache python3
    # libraries; googletest comes as sources and is built for both systems
    libspdlog-dev libfmt-dev libcli11-dev nlohmann-json3-dev libstb-dev librapidxml-dev uuid-dev zlib1g-dev
    libtiff-dev
    googletest librapidcheck-dev
    # Windows: the cross compiler with its zlib, and Wine to run what it makes
    g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix libz-mingw-w64-dev wine wine64
    # packages, man pages and completion, and what their tests use
    dpkg-dev unzip help2man man-db bash-completion pkg-config
    # counting system calls
    strace
    # models
    spin
    # lint
    clang-format clang-tidy
    # tests: the tables of virtual operations as other compilers lay them out, and each header alone
    clang
)

missing=()
for package in "${packages[@]}" "$@"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

run=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "setup: needs root, or sudo, to install: ${missing[*]}" >&2; exit 1; }
    run=(sudo -n)
fi

export DEBIAN_FRONTEND=noninteractive
echo "setup: installing ${missing[*]}" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
apt() {
    "${run[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3 "$@" \
        >>"$log" 2>&1 </dev/null
}
if ! { apt update && apt install -y --no-install-recommends "${missing[@]}"; }; then
    tail -n 30 "$log" >&2
    echo "setup: installing failed; the lines above say why" >&2
    exit 1
fi
