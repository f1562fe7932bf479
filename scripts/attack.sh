#!/usr/bin/env bash
# shellcheck disable=SC2317  # sections are called by their names
# Attacks simulator and host from outside, like a faulty host, another user or a machine in trouble, and requires that
# they survive, or end with a code and a sentence that says what is wrong. Linux. Each run has its own objects, files
# and, if the machine allows it, mounts. The programs are those of the build with sanitizers.
#
#   scripts/attack.sh                      every section
#   scripts/attack.sh --short [SECTION …]  a test: only the quick sections, each briefly
#   scripts/attack.sh SECTION …            these sections
#   scripts/attack.sh --list               the sections
#
# A section that needs its own mounts is skipped where they are not allowed, and the output names it.
set -euo pipefail
script=$(realpath "$0")
cd "$(dirname "$script")/.."

# name | s: part of --short | m: needs its own mounts | what is done
sections() {
    cat <<'TABLE'
fields     | s | - | each field of the image ring gets each of a list of wrong numbers, while images flow
ring       | s | - | random numbers into the ring, as fast as they can be stored
fifos      | s | - | the same into both message fifos of the link
names      | s | - | links, folders and pipes in the place of each object
folder     | s | m | links, files, pipes, another mode and another owner in the place of the folder of all objects
full       | s | m | shared memory is full, has room for some objects only, or for no more files; it fills up
readonly   | s | m | shared memory is read-only from the beginning, or after programs have used it
absent     | s | m | there is no place for shared memory, or a file is in its place
links      | s | - | links under the names that files have while they are written, and a file of the user's own there
pictures   | s | - | small pictures that ask for much memory
demand     | s | m | a configuration whose images are larger than they can be
libraries  | s | - | a library of a usual name in the folder in which the programs are started
TABLE
}

usage() { sed -n '3,13s/^# \{0,1\}//p' "$script" >&2; exit 2; }

short='' inside=''
chosen=()
while [ $# -gt 0 ]; do
    case "$1" in
        --short) short=1 ;;
        --list) sections; exit ;;
        --inside) inside=$2; shift ;;  # the script itself, once it has its own mounts
        -*) usage ;;
        *) sections | grep -q "^$1 " || usage; chosen+=("$1") ;;
    esac
    shift
done

# The mounts that this process sees. Inside they are its own; otherwise it would mount over the machine's /dev/shm.
mounts_seen() { readlink /proc/self/ns/mnt; }

if [ -n "$inside" ] && { [ -z "${ATTACK_OUTSIDE:-}" ] || [ "$ATTACK_OUTSIDE" = "$(mounts_seen)" ]; }; then
    echo "attack: $inside: this process has no mounts of its own; --inside is for the script itself," \
        "run: $script $inside" >&2
    exit 2
fi

tree=$(realpath -m "${ATTACK_TREE:-build/linux-asan}")
if [ -z "${ATTACK_TREE:-}" ] && [ -z "$inside" ]; then
    scripts/setup.sh linux-asan
    mkdir -p build
    { cmake --preset linux-asan &&
        cmake --build --preset linux-asan --target dorven-simulator dorven-host DorVenKameraPlugin; } \
        >build/attack.log 2>&1 || { tail -n 40 build/attack.log >&2; exit 1; }
fi
simulator=$tree/bin/dorven-simulator
host=$tree/bin/dorven-host
seconds=${short:+1}
seconds=${seconds:-30}
seed=${ATTACK_SEED:-$(date +%s)}
failed=0

# No user's settings, and no objects of other runs.
export HOME=/nonexistent XDG_CONFIG_HOME=/nonexistent DORVEN_LOG_FILE=/dev/null ATTACK_TREE=$tree ATTACK_SEED=$seed
export PLATFORM_OBJECT_NAMESPACE=attack-$$
export ASAN_OPTIONS=exitcode=99:abort_on_error=0 UBSAN_OPTIONS=exitcode=99
if [ -z "$inside" ]; then
    work=$(mktemp -d)
    export ATTACK_WORK=$work
    trap 'end_all; rm -rf "$work" "$(space)"' EXIT
else
    work=$ATTACK_WORK
    trap end_all EXIT
fi

# ---- the building blocks of sections

folder() { echo "/dev/shm/dorven-objects-$(id -u)"; }
space() { echo "$(folder)/$PLATFORM_OBJECT_NAMESPACE"; }

problem() { # text, [file to show]
    echo "attack: $section: $1" >&2
    [ -z "${2:-}" ] || tail -n 15 "$2" | cut -c -300 | sed 's/^/    /' >&2
    failed=1
}

# The output of a program must not contain a report of a sanitizer.
is_clean() { ! grep -qE 'Sanitizer|runtime error:' "$1"; }

# Runs a program to its end: it must end in time, with one of these codes, and with output that matches.
try() { # "CODE …", "pattern" or "", command …
    local codes=$1 pattern=$2 said=$work/said code=0
    shift 2
    timeout -k 5 120 "$@" >"$said" 2>&1 || code=$?
    is_clean "$said" || { problem "a sanitizer reports: $*" "$said"; return; }
    [[ " $codes " == *" $code "* ]] || { problem "exit code $code instead of $codes: $*" "$said"; return; }
    [ -z "$pattern" ] || grep -qE -- "$pattern" "$said" || problem "does not say '$pattern': $*" "$said"
}

# Starts a program that keeps running; its process is in $started.
running=()
start() { # name, command …
    local name=$1
    shift
    "$@" >"$work/$name.said" 2>&1 &
    started=$!
    running+=("$started")
}

# Ends a started program, as Ctrl-C does: it must still be running, and end in time with one of these codes.
stop() { # name, process, "CODE …"
    local name=$1 process=$2 codes=$3 code=0 round
    kill -INT "$process" 2>/dev/null || true
    for ((round = 0; round < 600; round++)); do
        kill -0 "$process" 2>/dev/null || break
        sleep 0.1
    done
    kill -KILL "$process" 2>/dev/null || true
    wait "$process" 2>/dev/null || code=$?
    is_clean "$work/$name.said" || { problem "a sanitizer reports: $name" "$work/$name.said"; return; }
    [[ " $codes " == *" $code "* ]] || problem "exit code $code instead of $codes: $name" "$work/$name.said"
}

end_all() {
    local process
    for process in "${running[@]:-}"; do
        [ -z "$process" ] || kill -KILL "$process" 2>/dev/null || true
    done
}

# Waits for a file as long as a process runs.
wait_for() { # file, process
    local round
    for ((round = 0; round < 1200; round++)); do
        [ -e "$1" ] && return 0
        kill -0 "$2" 2>/dev/null || break
        sleep 0.05
    done
    problem "$1 does not come"
    return 1
}

start_simulator() { # further options
    start simulator "$simulator" --size 900x40 --fps 200 "$@"
    simulator_process=$started
    wait_for "$(space)/DorVenImages" "$simulator_process"
}

start_host() {
    printf '[image]\nimage_size_x=900\nimage_size_y=40\n' >"$work/camera.ini"
    start host "$host" grab --config "$work/camera.ini" --timeout 60
    host_process=$started
    wait_for "$(space)/DorVenCameraPlugin_tesk_asks_finished" "$host_process"
}

# Whatever was done to the simulator: a host gets whole images from it.
still_delivers() {
    try 0 '"simulated":50,' "$host" grab --config "$work/camera.ini" --count 50 --timeout 60 --max-torn 0 --json
}

# ---- the sections

attack_ring() { # poke | flood, further arguments
    start_host || return 0
    start_simulator --no-ask || return 0
    local kind=$1
    shift
    python3 scripts/attack_memory.py "$kind" "$(space)/DorVenImages" "$@" "$simulator_process" "$host_process" \
        >"$work/memory" 2>&1 || problem "$(tail -n 1 "$work/memory")" "$work/simulator.said"
    stop host "$host_process" "0 1 3 4"
    [ "$failed" -ne 0 ] || still_delivers
    stop simulator "$simulator_process" 0
}

fields() { attack_ring poke; }
ring() { attack_ring flood "$seconds" "$seed"; }

fifos() {
    local fifo
    start_host || return 0
    start_simulator || return 0
    for fifo in tesk_asks dorven_asks; do
        # Created with the first message of each side.
        wait_for "$(space)/DorVenCameraPlugin_${fifo}_mem" "$simulator_process" || continue
        python3 scripts/attack_memory.py flood "$(space)/DorVenCameraPlugin_${fifo}_mem" "$seconds" "$seed" \
            "$simulator_process" "$host_process" >"$work/memory" 2>&1 ||
            problem "$(tail -n 1 "$work/memory")" "$work/simulator.said"
    done
    stop simulator "$simulator_process" 0
    try 0 'image size *900 x 40' "$simulator" ask --timeout 60
    stop host "$host_process" "0 1 3 4"
}

remove() { rm -rf -- "${1:?}"; }

# Puts something into a place; a program's words for it are in $said.
squat() { # kind, path
    remove "$2"
    case "$1" in
        link) ln -s "$work/victim" "$2"; said='is a link' ;;
        directory) mkdir "$2"; said='is a folder' ;;
        pipe) mkfifo -m 600 "$2"; said='is no plain file' ;;
        file) echo taken >"$2"; said='is no folder' ;;
        open) mkdir -m 755 "$2"; said='has mode 0755 instead of 0700' ;;
        foreign)
            mkdir -m 700 "$2"
            chown 65534 "$2" || return 1  # needs root
            said='belongs to user 65534'
            ;;
    esac
}

victim_is_whole() { cmp -s "$work/victim" <(echo precious) || problem "a link was followed: $1"; }

names() {
    local kind object
    echo precious >"$work/victim"
    try "0 1" '' "$host" doctor  # creates the folder
    for kind in link directory pipe; do
        for object in DorVenImagesWriter DorVenImagesEvent DorVenImages; do
            squat "$kind" "$(space)/$object"
            try 1 "$object $said; remove it" "$simulator" --no-ask --count 20 --size 900x40
            try 1 '' "$host" doctor
            victim_is_whole "$object"
            remove "$(space)/$object"
        done
        for object in dorven_asks_finished dorven_asks_event tesk_asks_event; do
            object=DorVenCameraPlugin_$object
            squat "$kind" "$(space)/$object"
            try 1 "no link to the camera: .*$object $said; remove it" "$simulator" --count 20 --size 900x40
            try 1 "no link to the camera: .*$object $said; remove it" "$simulator" ask --timeout 1
            try 0 '' "$simulator" --no-ask --count 20 --size 900x40
            victim_is_whole "$object"
            remove "$(space)/$object"
        done
        squat "$kind" "$(space)/DorVenImagesEvent"
        try "1 3" '' "$host" grab --count 1 --timeout 1
        victim_is_whole event
        remove "$(space)/DorVenImagesEvent"
    done
}

folder_kinds="link file pipe foreign"
folder_section() {
    local kind
    echo precious >"$work/victim"
    for kind in $folder_kinds; do
        rm -rf /dev/shm/*
        squat "$kind" "$(folder)" 2>/dev/null || { remove "$(folder)"; continue; }
        try 0 '' "$simulator" --no-ask --count 20 --size 900x40
        try 0 'a folder of another name serves' "$host" doctor
        victim_is_whole "$kind"
    done
    rm -rf /dev/shm/*
    squat open "$(folder)"
    try 1 "$(folder) $said; chmod 700" "$simulator" --no-ask --count 20 --size 900x40
    try 1 "$said" "$host" doctor
    rm -rf /dev/shm/*
    mkdir -m 700 "$(folder)"
    for kind in link file open; do
        squat "$kind" "$(space)"
        try 1 "$(space) $said" "$simulator" --no-ask --count 20 --size 900x40
        try 1 "$said" "$host" doctor
        victim_is_whole "$kind"
    done
}

remount() { mount -t tmpfs -o "$1" tmpfs /dev/shm; }

full() {
    remount size=4k && echo filled >/dev/shm/filler
    try 1 '/dev/shm is full: of its 4096 bytes 0 are free, [0-9]+ are needed; .*--shm-size=64m' "$simulator" --no-ask
    try 1 'none can be made: /dev/shm is full' "$host" doctor
    try "1 3" '' "$host" grab --count 1 --timeout 1
    remount size=8m
    try 1 'no shared memory of 11796760 bytes .*/dev/shm is full: .* a ring of fewer --lines needs less' \
        "$simulator" --no-ask
    try 0 '' "$simulator" --no-ask --lines 2 --count 20
    try 1 'problem  room: /dev/shm has [0-9]+ of 8388608 bytes free; a simulator' "$host" doctor
    remount nr_inodes=2
    try 1 'has no room for another file: all 2 are taken; remove files there' "$simulator" --no-ask
    remount size=16m
    start_simulator --no-ask || return 0
    head -c 32M /dev/zero >/dev/shm/filler 2>/dev/null || true
    printf '[image]\nimage_size_x=900\nimage_size_y=40\n' >"$work/camera.ini"
    try "0 1 3" '' "$host" grab --config "$work/camera.ini" --count 50 --timeout 5
    rm /dev/shm/filler
    still_delivers
    stop simulator "$simulator_process" 0
}

readonly_section() {
    remount ro
    try 1 'no event "DorVenImagesWriter": /dev/shm is read-only; make it writable' "$simulator" --no-ask
    try 1 'none can be made: /dev/shm is read-only' "$host" doctor
    try "1 3" '' "$host" grab --count 1 --timeout 1
    remount size=16m
    try 0 '' "$host" doctor
    mount -o remount,bind,ro /dev/shm
    try 1 '/dev/shm is read-only' "$simulator" --no-ask
    try 1 '/dev/shm is read-only' "$host" doctor
    try 1 'no link to the camera: /dev/shm is read-only' "$simulator" ask --timeout 1
    try 1 'no link to the simulator: /dev/shm is read-only' "$host" ask-snap --timeout 1
}

absent() {
    local device
    mkdir "$work/dev"
    mount -t tmpfs tmpfs "$work/dev"
    for device in null zero full random urandom; do
        : >"$work/dev/$device"
        mount --bind "/dev/$device" "$work/dev/$device"
    done
    ln -s /proc/self/fd "$work/dev/fd"
    mount --rbind "$work/dev" /dev
    try 1 'no event "DorVenImagesWriter": /dev/shm is absent; mount a file system' "$simulator" --no-ask
    try 1 'none can be made: /dev/shm is absent' "$host" doctor
    try "1 3" '' "$host" grab --count 1 --timeout 1
    echo taken >/dev/shm
    try 1 '/dev/shm is no folder; remove it' "$simulator" --no-ask
    try 1 'none can be made: /dev/shm is no folder' "$host" doctor
}

links() {
    local target=$work/image.png
    mkdir "$work/planted"
    start_simulator --no-ask || return 0
    printf '[image]\nimage_size_x=900\nimage_size_y=40\n' >"$work/camera.ini"
    echo precious >"$work/victim"
    echo old >"$target"
    ln -s "$work/victim" "$target.part"
    try 0 '' "$host" snap --force --config "$work/camera.ini" "$target"
    victim_is_whole "snap --force"
    rm -f "$target.part"
    echo mine >"$target.part"
    try 0 '' "$host" snap --force --config "$work/camera.ini" "$target"
    cmp -s "$target.part" <(echo mine) || problem "a file of the user's own called NAME.part is lost"
    mkdir "$work/images"
    for number in 0 1 2 3 4 5 6 7 8 9; do
        ln -s "$work/victim" "$work/images/image_00000$number.png.part"
        ln -s "$work/victim" "$work/images/image_000$number.png.part"
    done
    try "0 1" '' "$host" grab --force --config "$work/camera.ini" --count 10 --output "$work/images"
    victim_is_whole "grab --force"
    stop simulator "$simulator_process" 0
}

# Runs a program with a limit on its memory: on address space or, because a sanitizer reserves all of that, on memory
# that it has touched.
limited() { # megabytes, command …
    local megabytes=$1
    shift
    if grep -q '^DORVEN_SANITIZE:.*=.*address' "$tree/CMakeCache.txt"; then
        env ASAN_OPTIONS="$ASAN_OPTIONS:hard_rss_limit_mb=$megabytes:quarantine_size_mb=16" "$@"
    else
        (ulimit -v $((megabytes * 1024)) && exec "$@")
    fi
}
export -f limited

try_limited() { # megabytes, "CODE …", "pattern", command …
    local megabytes=$1 codes=$2 pattern=$3
    shift 3
    export tree
    try "$codes" "$pattern" "$BASH" -c 'limited "$@"' limited "$megabytes" "$@"
    ! grep -qE 'out of memory|outofmem' "$work/said" || problem "takes what it can get: $*" "$work/said"
}

pictures() {
    mkdir "$work/bombs"
    python3 scripts/attack_pictures.py "$work/bombs"
    local run=("$simulator" --no-ask --count 1 --lines 1)
    try_limited 300 1 'larger-than-allowed.png' "${run[@]}" --image-memory 64 \
        --images "$work/bombs/larger-than-allowed.png"
    try_limited 300 1 'more-than-its-header-says.png' \
        "${run[@]}" --image-memory 64 --images "$work/bombs/more-than-its-header-says.png"
    try_limited 300 "0 1" '' "${run[@]}" --image-memory 64 --images "$work/bombs/narrow"
}

demand() {
    printf '[image]\nimage_size_x=40000\nimage_size_y=40000\n' >"$work/large.ini"
    try_limited 300 1 'memory' "$simulator" --no-ask --count 1 --config "$work/large.ini"
}

libraries() {
    local name
    mkdir "$work/planted-libraries"
    for name in libm.so.6 libc.so.6 libstdc++.so.6 libgcc_s.so.1 trace.so errorlog.so errortrace.so; do
        echo 'no library' >"$work/planted-libraries/$name"
    done
    try 0 '' env -C "$work/planted-libraries" "$simulator" --version
    try 0 '' env -C "$work/planted-libraries" "$host" info
}

# ---- running them

# Whether separate mounts are possible, and how: as root, or as root in a separate user name space.
own_mounts() {
    local how
    for how in "--mount --propagation private" "--user --map-root-user --mount --propagation private"; do
        # shellcheck disable=SC2086
        unshare $how mount -t tmpfs tmpfs /dev/shm 2>/dev/null && { echo "$how"; return 0; }
    done
    return 1
}

run_section() { # name; functions have their section's name, unless the shell has such a word
    section=$1
    case "$section" in
        folder | readonly) "${section}_section" ;;
        *) "$section" ;;
    esac
}

if [ -n "$inside" ]; then
    section=$inside
    [ "$inside" = absent ] || remount size=64m
    run_section "$inside"
    exit "$failed"
fi

mounts=$(own_mounts) || mounts=
echo "attack: $tree, seed $seed${short:+, short}"
any_failed=0
while IFS='|' read -r name in_short needs_mounts _; do
    name=${name// /} in_short=${in_short// /} needs_mounts=${needs_mounts// /}
    if [ "${#chosen[@]}" -gt 0 ]; then
        [[ " ${chosen[*]} " == *" $name "* ]] || continue
    elif [ -n "$short" ] && [ "$in_short" != s ]; then
        continue
    fi
    failed=0
    begin=$SECONDS
    if [ "$needs_mounts" = m ] && [ -z "$mounts" ]; then
        echo "attack: $name: skipped, as this machine allows no mounts of one's own (unshare --mount)"
        continue
    elif [ "$needs_mounts" = m ]; then
        # shellcheck disable=SC2086
        ATTACK_OUTSIDE=$(mounts_seen) unshare $mounts "$BASH" "$script" --inside "$name" ${short:+--short} </dev/null ||
            failed=1
    else
        run_section "$name" </dev/null
    fi
    end_all
    running=()
    echo "attack: $name: $([ "$failed" -eq 0 ] && echo survived || echo FAILED) ($((SECONDS - begin)) s)"
    [ "$failed" -eq 0 ] || any_failed=1
done < <(sections)
exit "$any_failed"
