#!/usr/bin/env python3
"""Stores into shared memory of running programs, as a faulty host would. Called by attack.sh.

  attack_memory.py poke FILE PID …            stores each of a list of numbers into each field of the first 64 bytes
  attack_memory.py flood FILE SECONDS SEED PID …   stores random numbers into random fields, as fast as possible

FILE is the file of a named object; the object's memory begins on its second page. Ends with 1 and names the last
store as soon as one of the processes is gone.
"""
import mmap
import os
import random
import sys
import time

PAGE = 4096
FIELDS = 8
NUMBERS = (0, 1, 2, 7, 8, 9, 63, 64, 4095, 2**31 - 1, 2**31, 2**32, 2**62, 2**63, 2**64 - 64, 2**64 - 1)
PAUSE = 0.01  # seconds after a store: two images at 200 per second


def is_alive(process):
    """Also False for a process that has ended but was not yet waited for."""
    try:
        with open(f"/proc/{process}/stat") as status:
            return status.read().rsplit(")", 1)[1].split()[0] not in "ZX"
    except OSError:
        return False


class Memory:
    def __init__(self, path):
        self.path = path
        self.open()

    def open(self):
        with open(self.path, "r+b") as file:
            self.size = os.fstat(file.fileno()).st_size - PAGE
            self.words = memoryview(mmap.mmap(file.fileno(), self.size, offset=PAGE)).cast("Q")


def watch(processes, what):
    for process in processes:
        if not is_alive(process):
            sys.exit(f"process {process} ended behind: {what}")


def poke(path, processes):
    memory = Memory(path)
    for field in range(FIELDS):
        for number in NUMBERS:
            memory.words[field] = number
            time.sleep(PAUSE)
            watch(processes, f"{number:#x} stored at offset {8 * field} of {path}")
    print(f"{FIELDS * len(NUMBERS)} stores")


def flood(path, seconds, seed, processes):
    memory = Memory(path)
    chance = random.Random(seed)
    end = time.monotonic() + seconds
    stores = 0
    while time.monotonic() < end:
        # Small numbers and those close to a field's own get further than noise.
        numbers = [chance.choice((chance.getrandbits(64), chance.getrandbits(4), chance.choice(NUMBERS)))
                   for _ in range(1000)]
        fields = [chance.randrange(FIELDS) for _ in range(1000)]
        words = memory.words
        for field, number in zip(fields, numbers):
            words[field] = number
        stores += 1000
        watch(processes, f"{stores} stores of seed {seed} into {path}")
    print(f"{stores} stores of seed {seed}")


def main(arguments):
    if len(arguments) >= 3 and arguments[0] == "poke":
        poke(arguments[1], [int(process) for process in arguments[2:]])
    elif len(arguments) >= 5 and arguments[0] == "flood":
        flood(arguments[1], float(arguments[2]), int(arguments[3]), [int(process) for process in arguments[4:]])
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv[1:])
