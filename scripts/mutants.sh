#!/usr/bin/env bash
# Do the tests notice a fault? Changes mipc, ipc, Dorven, mutil, mfileio, host and simulator in small ways, one place at
# a time, and runs the tests of that folder until one turns red: the change is killed. One that survives shows what no
# test looks at: write a test for it, named after what would go wrong. Exit code 0: all were killed, but those that
# scripts/mutants_equivalent.txt lists with the reason why no test can notice them; 1: some survived; 2: wrong usage.
#
#   scripts/mutants.sh                             300 changes, chosen by a seed that is printed
#   scripts/mutants.sh --seed 7 --count 60         the choice of this seed; the same sources give the same choice
#   scripts/mutants.sh --resume --seed 7           goes on after an interruption, and tries survivors again
#   scripts/mutants.sh --folder mipc --folder ipc  only there
#   scripts/mutants.sh --only mmemfifo.cpp:27      every change of one line
#   scripts/mutants.sh --list-operators            what is changed, and how
#
# Works on a copy in build/mutants, never on the tree. What does not compile, and what the compiler makes the same code
# of, is drawn again. A test kills when it is red twice, or hangs: takes five times as long as before, and 15 s more,
# not counting the time for which others had the processor. The copy is built as linux-release is, so that ccache has
# most of it. The first run measures every test; 300 changes take some hours. Not part of scripts/test.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
case " $* " in
    *" --list-operators "* | *" --help "* | *" -h "*) ;;
    *) scripts/setup.sh ;;
esac
exec nice -n 5 python3 scripts/mutants.py "$@"
