#!/usr/bin/env python3
"""Counts the system calls between the marks that bench_system_calls leaves in its trace, and compares with limits.

usage: count_system_calls.py TRACE     (written by strace -f -o TRACE)
"""
import re
import sys

# phase: the meaning of one interval between marks, the most calls in it, and whether it must contain any: a reader
# that never slept would prove nothing.
LIMITS = {
    'writer-reader-asleep': ('writer, an image to a reader that sleeps', 1, True),
    'writer-reader-awake': ('writer, an image to a reader that is awake', 0, False),
    'reader-image': ('reader, from one image to the next', 1, True),
    'silent-wait': ('grab without a simulator, one wait of 2 s', 1, True),
    'faking-wait': ('faked images, one wait of a frame period', 1, True),
}
MARK = re.compile(r'write\(-1, "mark (begin|end) ([a-z-]+)"')
WOKE_NOBODY = re.compile(r'(futex\(.*FUTEX_WAKE|<\.\.\. futex resumed).* = 0$')


def main():
    counts = {}  # phase: calls of each interval
    running = {}  # thread: [phase, calls so far, whether a reader about to sleep was told without a wake-up]
    with open(sys.argv[1], encoding='utf-8', errors='replace') as trace:
        for line in trace:
            thread, _, call = line.partition(' ')
            call = call.strip()
            mark = MARK.match(call)
            if mark and mark[1] == 'begin':
                running[thread] = [mark[2], 0, False]
            elif mark:
                phase, calls, woke_nobody = running.pop(thread)
                # Such a reader is neither asleep nor awake; one more call checks whether it is alive.
                if not (phase == 'writer-reader-asleep' and woke_nobody):
                    counts.setdefault(phase, []).append(calls)
            elif thread in running and not call.startswith(('---', '+++')):
                running[thread][1] += not call.startswith('<...')
                running[thread][2] |= bool(WOKE_NOBODY.match(call))

    good = True
    print(f'{"system calls":46} {"times":>6} {"mean":>6} {"most":>5} {"limit":>6}')
    for phase, (title, limit, needs_some) in LIMITS.items():
        calls = counts.get(phase, [])
        reached = bool(calls) and max(calls) <= limit and (not needs_some or sum(calls) > 0)
        good = good and reached
        mean = sum(calls) / len(calls) if calls else 0.0
        missed = '' if reached else '  missed'
        print(f'{title:46} {len(calls):6} {mean:6.2f} {max(calls, default=0):5} {limit:6}{missed}')
    return 0 if good else 1


if __name__ == '__main__':
    sys.exit(main())
