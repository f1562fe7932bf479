#!/usr/bin/env bash
# Makes the man pages of a program, one for itself and one for each of its commands, from what --help says.
#
#   man_pages.sh PROGRAM FOLDER
set -euo pipefail
program=$1
folder=$2
name=$(basename "$program")
mkdir -p "$folder"
rm -f "$folder/$name"*.1*

# The first line of a help says what it is for.
page() { # page's name, command …
    local page=$1 help summary
    shift
    help=$("$@" --help)
    summary=${help%%$'\n'*}
    [ -n "$summary" ] || { echo "man_pages: $* --help says nothing" >&2; exit 1; }
    summary=${summary%.}
    help2man --no-info --section=1 --source=DorVenCam --manual="DorVenCam" --name="${summary,}" \
        --version-string="$version" --output="$folder/$page.1" "$*"
    # A command has its page under its own name; examples stay on lines of their own, and their dashes are such that
    # they can be pasted; no date, so that the same program gives the same page.
    sed -i -e "s/^\.TH .*/.TH \"${page^^}\" \"1\" \"\" \"DorVenCam $version\" \"DorVenCam\"/" \
        -e "/^\.SH NAME/{n;s/^.* \\\\-/$page \\\\-/}" -e '/^\.SH EXAMPLES/,$s/^dorven[\\]*-[a-z]* /.br\n&/' \
        -e '/^\.\\"/!s/[\]*-/\\-/g' "$folder/$page.1"
    gzip -9nkf "$folder/$page.1"
}

version=$("$program" --version | awk '{ print $NF }')
page "$name" "$program"
commands=$("$program" --help |
    awk '/^Commands:/ { inside = 1; next } inside && /^  [a-z]/ { print $1 } /^$/ { inside = 0 }')
[ -n "$commands" ] || { echo "man_pages: $name has no commands" >&2; exit 1; }
for command in $commands; do
    page "$name-$command" "$program" "$command"
done
