#!/usr/bin/env python3
"""Configures the sources with a host's own logging libraries and reads the RUNPATH of what would be linked.

  host_runtime_test.py CMAKE NINJA COMPILER SOURCES    COMPILER: of C++

An empty entry is the current folder: a program would load any libraries found there. Nothing is built.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

LIBRARIES = ("trace", "errorlog", "errortrace", "NUV_Base")
PROGRAMS = ("dorven-simulator", "dorven-host", "DorVenKameraPlugin.so")


def configured(cmake, ninja, compiler, sources, folder):
    """build.ninja of a build whose libraries are only names, and the script that installs it."""
    host = folder / "host"
    host.mkdir()
    for name in LIBRARIES:
        (host / f"{name}.so").touch()
    build = folder / "build"
    subprocess.run([cmake, "-S", sources, "-B", str(build), "-G", "Ninja", f"-DCMAKE_MAKE_PROGRAM={ninja}",
                    f"-DCMAKE_CXX_COMPILER={compiler}", "-DCMAKE_BUILD_TYPE=Release", "-DDORVEN_BUILD_TESTS=OFF",
                    f"-DDORVEN_HOST_RUNTIME_DIR={host}"],
                   check=True, stdout=subprocess.DEVNULL)
    return (build / "build.ninja").read_text(), (build / "cmake_install.cmake").read_text(), str(host)


def runpaths(rules):
    """Name of the linked file: entries of its RUNPATH."""
    found = {}
    for output, text in re.findall(r"^build bin/(\S+?):? .*\n((?: {2}.*\n)+)", rules, re.MULTILINE):
        path = re.search(r"-Wl,-rpath,(\S*)", text)
        if path:
            found[output] = path[1].replace("\\$$", "$").strip('"').split(":")
    return found


def faults(found, installed, host):
    for name in PROGRAMS:
        if host not in found.get(name, []):
            yield f"{name}: the host's folder is not in the RUNPATH {found.get(name)}"
    for name, entries in found.items():
        if "" in entries:
            yield f"{name}: an empty entry in the RUNPATH {entries}"
    # The installed files name no folder of this machine.
    for new in re.findall(r'NEW_RPATH "([^"]*)"', installed):
        if host in new or "" in new.split(":"):
            yield f"installed with the RUNPATH {new}"
    if installed.count("NEW_RPATH") != len(PROGRAMS):
        yield f"{installed.count('NEW_RPATH')} files lose the host's folder when they are installed"


def main():
    with tempfile.TemporaryDirectory() as folder:
        rules, installed, host = configured(*sys.argv[1:], pathlib.Path(folder))
    found = runpaths(rules)
    wrong = list(faults(found, installed, host))
    for line in wrong:
        print(line)
    print(f"{len(found)} files, {len(wrong)} faults")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
