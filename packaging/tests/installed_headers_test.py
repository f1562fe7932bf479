#!/usr/bin/env python3
"""Installs the headers and compares them with what a host needs.

  installed_headers_test.py CMAKE COMPILER SOURCES BUILD    COMPILER: of C++

A host includes any header of host_interface/; the compiler lists what these include.
"""
import pathlib
import re
import subprocess
import sys
import tempfile


def needed(compiler, header, folder):
    """Names of the headers that a header includes indirectly, except the system's: those present, and those missing."""
    rule = subprocess.run([compiler, "-std=c++20", "-MM", "-MG", "-x", "c++", "-I", str(folder), str(header)],
                          check=True, capture_output=True, text=True).stdout
    return {pathlib.Path(path).name for path in re.split(r"[\s\\]+", rule) if path.endswith(".h")}


def main(cmake, compiler, sources, build):
    offered = sorted((pathlib.Path(sources) / "host_interface/inc").iterdir())
    with tempfile.TemporaryDirectory() as prefix:
        subprocess.run([cmake, "--install", build, "--prefix", prefix, "--component", "headers"],
                       check=True, stdout=subprocess.DEVNULL)
        folder = next(pathlib.Path(prefix).glob("include/*"))
        installed = {path.name for path in folder.iterdir()}
        wanted = {path.name for path in offered}
        for path in offered:
            if path.suffix == ".h":
                wanted |= needed(compiler, folder / path.name, folder)
    for name in sorted(installed - wanted):
        print(f"{name} is installed, and no header for hosts includes it")
    for name in sorted(wanted - installed):
        print(f"{name} is for hosts, and not installed")
    return 0 if installed == wanted else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
