#!/usr/bin/env python3
"""Reads the sources of the Linux layer: every call that opens a descriptor is inside highDescriptor(...).

  high_descriptors_test.py ROOT     ROOT: the folder of the whole source tree
"""
import pathlib
import re
import sys

# These return the lowest free number, which is 0 to 2 in a host that was started without standard streams. The second
# line: their results cannot be moved, so the layer opens the descriptor itself (fdopendir).
OPENERS = ("open", "openat", "openat2", "creat", "memfd_create", "dup", "socket", "accept", "accept4", "eventfd",
           "opendir", "fopen", "shm_open", "mkstemp", "mkostemp", "pipe", "pipe2", "tmpfile")
CALL = re.compile(r"(?<![\w.])(?<!->)(::)?\b(?:%s)\s*\(" % "|".join(OPENERS))
# A declaration begins with a type; so does a definition in a class, whose name ends with a qualifier.
TYPE = re.compile(r"(\w|[>*&])\s+$|\w::$")
NO_TYPE = re.compile(r"\b(?:return|else|case|throw)\s+$|(?:&&|->|=>)\s*$")
MOVED = re.compile(r"\bhighDescriptor\(\s*$")
# Fills the numbers 0 to 2 on purpose.
EXCEPT = {"standard_streams_posix.cpp": 1}

BARE = ("int f = open(p, 0);", "return open(p, 0);", "int f = ::open(p, 0);", "use(openat(d, p, 0));", "x = dup(3);",
        "return\n    memfd_create(l, 0);", "if (d >= 0 && open(p, 0) < 0)", "dup (3);", "highDescriptor(a) + dup(3);")
FINE = ("highDescriptor(open(p, 0));", "highDescriptor(\n    ::openat(d, p, 0));", "file.open(p);", "file->open(p);",
        "bool open(const char* p);", "std::shared_ptr<X> open(bool& e) {", "bool A::open(int f) {", "reopen(p);",
        "// open(p, 0)", "fdopendir(f);", "dup3(a, b, 0);")


def bare_calls(text):
    text = re.sub(r"//[^\n]*", "", text)
    calls = []
    for call in CALL.finditer(text):
        before = text[: call.start()]
        is_declared = not call.group(1) and TYPE.search(before) and not NO_TYPE.search(before)
        is_defined = call.group(1) and re.search(r"\w$", before)
        if not MOVED.search(before) and not is_declared and not is_defined:
            calls.append(before.count("\n") + 1)
    return calls


def main():
    wrong = [f"not found: {text!r}" for text in BARE if not bare_calls(text)]
    wrong += [f"found: {text!r}" for text in FINE if bare_calls(text)]
    sources = sorted(pathlib.Path(sys.argv[1], "platform/src").glob("*_posix.*"))
    for path in sources:
        calls = bare_calls(path.read_text())
        if len(calls) != EXCEPT.get(path.name, 0):
            wrong += [f"{path.name}:{line}: opens a descriptor outside highDescriptor(...)" for line in calls]
    for line in wrong:
        print(line)
    print(f"{len(sources)} sources, {len(wrong)} faults")
    return 1 if wrong or len(sources) < 20 else 0


if __name__ == "__main__":
    sys.exit(main())
