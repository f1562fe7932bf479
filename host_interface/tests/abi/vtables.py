#!/usr/bin/env python3
"""Compares the tables of virtual operations that compilers emit with the slot tables of docs/host-api.md.

usage: vtables.py CLANG CXXFILT PAGE FOLDER

The probe next to this script is compiled twice, to LLVM IR only: for the tables of Microsoft's compiler and for those
of MinGW. The expected content comes from the page, not from the headers.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[2]
INCLUDES = ["host_interface/tests/abi/stubs", "host_interface/inc", "mipc/inc",
            "DorVenKameraPlugin/inc", "DorVenKameraPlugin/Dorven", "DorVenKameraPlugin/ipc"]
# Number of operations in all tables of the page, and of tables that the rows of call objects stand for: 21 results
# and 18 parameters, each with its base.
SLOTS_OF_DEVICE = 124
CALL_OBJECTS = {"NUV::PluginInterfaceReturn": 21, "NUV::PluginInterfaceParameter": 18}


class Broken(Exception):
    pass


def page_tables(page):
    """Class name -> operation names in the order of their slots, from the sections whose headings name classes."""
    tables, heads, inside = {}, [], False
    for line in page.read_text(encoding="utf-8").splitlines():
        if line.startswith("## "):
            inside = line.strip() == "## Slots"
        elif line.startswith("### "):
            heads = [name.strip(" `") for name in line[4:].split(",")] if inside else []
            tables.update({name: [] for name in heads})
        elif line.startswith("|") and heads:
            slot, name = [cell.strip(" `") for cell in line.split("|")[1:3]]
            if not slot.isdigit():
                continue
            for head in heads:
                if int(slot) != len(tables[head]):
                    raise Broken(f"{page.name}: {head}: slot {slot} stands in the row of slot {len(tables[head])}")
                tables[head].append(name)
    if len(tables.get("NUV::PluginDeviceBase", [])) != SLOTS_OF_DEVICE:
        raise Broken(f"{page.name}: NUV::PluginDeviceBase does not have {SLOTS_OF_DEVICE} slots")
    return tables


def compile_probe(clang, target, folder):
    output = folder / f"{target}.ll"
    command = [clang, f"--target={target}", "-std=c++20", "-ffreestanding", "-nostdlibinc", "-nostdinc++",
               "-O0", "-S", "-emit-llvm",
               *(f"-I{ROOT / include}" for include in INCLUDES), str(HERE / "probe.cpp"), "-o", str(output)]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode:
        raise Broken(f"{target}: the probe does not compile; a header may need a name that stubs/ lacks\n"
                     + done.stderr)
    return output.read_text(encoding="utf-8")


def entries(initializer):
    """The symbol of each entry of an emitted table; "null" for an empty one."""
    array = initializer[initializer.index("] [") + 3:]
    array = array[:array.index("] }")]
    # Every entry names one symbol or none; its type may contain commas, but no symbol.
    return re.findall(r'@(?:"[^"]+"|[\w.$]+)|\bnull\b', array)


def microsoft_tables(ir):
    """Class name -> its table. Entry -1 is the type information; the table's symbol is an alias after it."""
    constants = dict(re.findall(r"^(@\d+) = private unnamed_addr constant (.*)$", ir, re.M))
    tables = {}
    for mangled, constant, index in re.findall(
            r'^@"\?\?_7(\S+)@@6B@" = .*alias .*(@\d+), i32 0, i32 0, i32 (\d+)\)$', ir, re.M):
        tables[microsoft_class(mangled)] = [
            microsoft_operation(entry.strip('@"')) for entry in entries(constants[constant])[int(index):]]
    return tables


def microsoft_class(mangled):
    """Inner names come first; a template's arguments stay unchanged, so that each has its own key."""
    template = re.match(r"\?\$(\w+)@(.*)@NUV$", mangled)
    if template:
        return f"NUV::{template[1]}<{template[2]}>"
    return "::".join(reversed(mangled.split("@")))


def microsoft_operation(symbol):
    if symbol == "_purecall":
        return "pure"
    if re.match(r"\?\?_[GE]", symbol):
        return "destructor"
    return symbol[1:].split("@")[0]


def itanium_tables(ir, cxxfilt):
    """Class name -> its table after offset and type information; distinguishes the two entries of a destructor."""
    found = re.findall(r"^@(_ZTV\w+) = .*constant (.*\] \[.*)$", ir, re.M)
    rows = {symbol: [entry.strip("@") for entry in entries(initializer)[2:]] for symbol, initializer in found}
    names = sorted({name for row in rows.values() for name in row} | set(rows))
    plain = subprocess.run([cxxfilt], input="\n".join(names), capture_output=True, text=True, check=True)
    demangled = dict(zip(names, plain.stdout.splitlines()))
    tables = {}
    for symbol, row in rows.items():
        name = demangled[symbol].removeprefix("vtable for ")
        tables[name] = [itanium_operation(entry, demangled[entry]) for entry in row]
    return tables


def itanium_operation(symbol, demangled):
    if symbol == "__cxa_pure_virtual":
        return "pure"
    if re.search(r"D[12]Ev$", symbol):
        return "destructor"
    if symbol.endswith("D0Ev"):
        return "deleting destructor"
    return re.search(r"::(~?\w+)\(", demangled)[1]


def compare(compiler, expected, tables, expand):
    problems = []
    for name, operations in expected.items():
        emitted = {key: table for key, table in tables.items() if key == name or key.startswith(name + "<")}
        if len(emitted) != CALL_OBJECTS.get(name, 1):
            problems.append(f"{compiler}: {name}: {len(emitted)} tables are emitted, "
                            f"{CALL_OBJECTS.get(name, 1)} expected")
        for key, table in emitted.items():
            wanted = expand(operations)
            for slot in range(max(len(wanted), len(table))):
                page_says = wanted[slot] if slot < len(wanted) else "nothing"
                compiler_says = table[slot] if slot < len(table) else "nothing"
                # An abstract class has an empty place for the operation.
                if compiler_says != page_says and not (compiler_says == "pure" and key == "PluginInterface"):
                    problems.append(f"{compiler}: {key}: entry {slot} is {compiler_says}, the page says {page_says}")
    return problems


def two_destructors(operations):
    if operations[0] != "destructor":
        return operations
    return ["destructor", "deleting destructor", *operations[1:]]


def statuses(compiler, ir, symbol, hidden):
    """Whether an operation returns its status through a hidden address."""
    declared = re.search(rf"^declare .*@{re.escape(symbol)}\(.*$", ir, re.M)
    if not declared:
        return [f"{compiler}: {symbol} is not declared"]
    if ("sret" in declared[0]) != hidden:
        return [f"{compiler}: the status of {symbol} comes {'by value' if hidden else 'through a hidden address'}"]
    return []


def main(clang, cxxfilt, page, folder):
    expected = page_tables(pathlib.Path(page))
    with tempfile.TemporaryDirectory(dir=folder) as place:
        microsoft = compile_probe(clang, "x86_64-pc-windows-msvc", pathlib.Path(place))
        mingw = compile_probe(clang, "x86_64-w64-windows-gnu", pathlib.Path(place))
    problems = compare("Microsoft", expected, microsoft_tables(microsoft), list)
    problems += compare("MinGW", expected, itanium_tables(mingw, cxxfilt), two_destructors)
    problems += statuses("Microsoft", microsoft, '"?grab@PluginDeviceBase@NUV@@UEAA?AUPluginCallStatus@2@XZ"', True)
    problems += statuses("MinGW", mingw, "_ZN3NUV16PluginDeviceBase4grabEv", False)
    for problem in problems:
        print(problem)
    if not problems:
        print(f"{len(expected)} classes: the page's slots are the entries of both compilers' tables")
    return 1 if problems else 0


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    try:
        sys.exit(main(*sys.argv[1:]))
    except Broken as broken:
        sys.exit(str(broken))
