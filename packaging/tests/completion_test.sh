#!/usr/bin/env bash
# Runs the programs' completion as bash does, and compares what it offers.
#
#   completion_test.sh FOLDER      with dorven-host and dorven-simulator
set -u
bin=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
mkdir "a folder" pictures
touch "camera one.ini" camera.ini pic.png
# The process's user has no say here.
unset XDG_CONFIG_HOME
export HOME=$scratch
failures=0

# What is offered for a command line whose last word is being typed.
offered() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    "_${1//-/_}"
    printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' '|'
}

expect() { # offers, words …
    local expected=$1 seen
    shift
    seen=$(offered "$@")
    [ "$seen" = "$expected" ] && return
    printf 'completion of "%s": offers "%s", not "%s"\n' "$*" "$seen" "$expected"
    failures=$((failures + 1))
}

for program in dorven-host dorven-simulator; do
    source <("$bin/$program" config --completion)
    complete -p "$program" >/dev/null || failures=$((failures + 1))
    # Every long option of every help is offered, and every command.
    commands=$("$bin/$program" --help | awk '/^Commands:/ { inside = 1; next } inside && /^  [a-z]/ { print $1 }
                                             /^$/ { inside = 0 }')
    for command in "" $commands; do
        # shellcheck disable=SC2086
        options=$("$bin/$program" $command --help |
            grep -oE '^  (   |-[a-zA-Z],) --[a-z][a-z-]*(, --[a-z-]+)*' | grep -oE -- '--[a-z-]+')
        [ -n "$options" ] || { echo "$program $command: no options in its help"; failures=$((failures + 1)); }
        for option in $options; do
            # shellcheck disable=SC2086
            [[ "|$(offered "$program" $command "$option")" == *"|$option|"* ]] ||
                { echo "$program $command: $option is not offered"; failures=$((failures + 1)); }
        done
    done
    for command in $commands; do
        [[ "|$(offered "$program" "$command")" == *"|$command|"* ]] ||
            { echo "$command is not offered"; failures=$((failures + 1)); }
    done
done

expect "grab|" dorven-host gr
expect "bench|" dorven-host ben
expect "--timeout|" dorven-host grab --ti
expect "--config|" dorven-host call --conf
expect "--fps|" dorven-simulator --fp
expect "ask|" dorven-simulator as
expect "pgm|png|raw|y4m|" dorven-host grab --format ""
expect "pgm|png|" dorven-host grab --format = p
expect "sine|step|" dorven-simulator --motion s
expect "checkerboard|checkers|" dorven-simulator --pattern che
expect "crash|" dorven-simulator --fault cr
expect "loop|" dorven-simulator --play l
expect "grab|" dorven-host help gr
expect "patterns|" dorven-simulator help pat
expect "max-latency-us|" dorven-host config --show max-la
expect "bash|powershell|" dorven-host config --completion ""
expect "|" dorven-simulator --fault drop @ ""
expect "-n|" dorven-host grab -n
expect "|" dorven-simulator ask --fp
expect "camera one.ini|camera.ini|" dorven-host grab --config ca
expect "camera one.ini|camera.ini|" dorven-host grab --config = ca
expect "camera one.ini|camera.ini|" dorven-host grab -c ca
expect "pic.png|pictures|" dorven-host snap pic
expect "a folder|camera one.ini|camera.ini|pictures|" dorven-simulator -c ""
expect "pic.png|" dorven-simulator --config pic.
expect "a folder|" dorven-host grab --output a
expect "a folder|" dorven-host grab -o a
expect "|" dorven-host grab --output camera
expect "|" dorven-host grab --count ""
expect "--plugin|" dorven-host grab --count 5 --plu
[ "$failures" -eq 0 ] || exit 1
echo "completion: all as expected"
