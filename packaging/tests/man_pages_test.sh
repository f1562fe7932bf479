#!/usr/bin/env bash
# Looks at the man pages of the programs: one each, and one for each command, readable without a warning, with the
# options that the help has and the examples on lines of their own.
#
#   man_pages_test.sh PROGRAMS PAGES      two folders
set -u
bin=$1
pages=$2
export LC_ALL=C.UTF-8 MANWIDTH=120
failures=0
fault() {
    echo "$*"
    failures=$((failures + 1))
}

for program in dorven-host dorven-simulator; do
    commands=$("$bin/$program" --help | awk '/^Commands:/ { inside = 1; next } inside && /^  [a-z]/ { print $1 }
                                             /^$/ { inside = 0 }')
    for command in "" $commands; do
        page=$pages/$program${command:+-$command}.1.gz
        [ -f "$page" ] || { fault "$page is missing"; continue; }
        text=$(man --warnings -l "$page" 2>"$pages/warnings" | col -bx)
        [ ! -s "$pages/warnings" ] || fault "$page: $(cat "$pages/warnings")"
        # shellcheck disable=SC2086
        help=$("$bin/$program" $command --help)
        for option in $(grep -oE '^  (   |-[a-zA-Z],) --[a-z][a-z-]*(, --[a-z-]+)*' <<<"$help" |
            grep -oE -- '--[a-z-]+'); do
            grep -qF -- "$option" <<<"$text" || fault "$page does not have $option"
        done
        wanted=$(grep -cE "^  $program " <<<"$help")
        shown=$(sed -n '/^EXAMPLES/,$p' <<<"$text" | grep -cE "^ +$program ")
        { [ "$wanted" -ge 3 ] && [ "$shown" -ge 3 ]; } || fault "$page: $shown examples of $wanted"
    done
done
rm -f "$pages/warnings"
[ "$failures" -eq 0 ] || exit 1
echo "man pages: all as expected"
