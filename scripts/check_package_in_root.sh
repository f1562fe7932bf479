#!/usr/bin/env bash
# Makes an empty Debian, installs the package there and walks the first minute by its page, as a reader does who has
# nothing but sudo. scripts/check_package.sh --root calls this. Needs root and some 500 MB below /tmp for two minutes;
# packages come from the mirror that this machine's apt is configured with.
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C  # of sort and comm

fail() {
    printf 'check_package: %s\n' "$*" >&2
    exit 1
}
page=docs/first-minute.md
[ "$(id -u)" -eq 0 ] || fail "--root makes an empty Debian and enters it: run it as root"

if [ "${1:-}" != inside ]; then
    scripts/setup.sh linux-release root
    package=$(scripts/package.sh linux-release)
    scratch=$(mktemp -d)
    trap 'rm -rf --one-file-system "$scratch"' EXIT
    # What is mounted and started in there is gone at the end, however that comes.
    unshare --mount --pid --fork --kill-child --mount-proc "$0" inside "$scratch" "$package"
    exit
fi
scratch=$2
package=$3
root=$scratch/root

# ---- an empty Debian
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=$(apt-get indextargets --format '$(RELEASE) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
    awk -v release="$codename" '$1 == release && $2 == "main" { print $3; exit }')
[ -n "$mirror" ] || fail "apt has no source for $codename main"
http_proxy=${http_proxy:-}
eval "$(apt-config shell http_proxy Acquire::http::Proxy)"
export http_proxy
echo "making an empty Debian …"
debootstrap --variant=minbase --include=sudo "$codename" "$root" "$mirror" >"$scratch/debootstrap.log" 2>&1 ||
    { tail -n 20 "$scratch/debootstrap.log" >&2; fail "debootstrap failed"; }
mount -t proc proc "$root/proc"
mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
printf 'APT::Get::Assume-Yes "true";\n' >"$root/etc/apt/apt.conf.d/90nobody-to-ask"
[ -z "$http_proxy" ] || printf 'Acquire::http::Proxy "%s";\n' "$http_proxy" >>"$root/etc/apt/apt.conf.d/90nobody-to-ask"
chroot "$root" useradd --create-home --shell /bin/bash reader
echo 'reader ALL=(ALL) NOPASSWD: ALL' >"$root/etc/sudoers.d/reader"
packages() { chroot "$root" dpkg-query -W -f='${Package} ${Installed-Size}\n' | sort; }
packages >"$scratch/before"

# ---- the first minute
cp "$package" "$root/home/reader"
python3 docs/tests/page_commands.py "$page" "$root" --in-root >"$scratch/page.log" 2>&1 ||
    { cat "$scratch/page.log"; fail "the first minute fails in an empty Debian"; }
tail -n 1 "$scratch/page.log"
packages | comm -13 "$scratch/before" - | awk '{ size += $2; names = names " " $1 }
    END { printf "installed:%s, %.1f MB\n", names, size / 1000 }'
