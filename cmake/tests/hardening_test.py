#!/usr/bin/env python3
"""Reads the built files: whether they have what makes a fault in them hard to exploit.

  hardening_test.py COMPILER FOLDER FILE...    COMPILER: of C++, for the samples   FOLDER: no RUNPATH in it may have
                                               an empty entry   FILE: ELF or PE files that must be hardened

First it compiles samples that lack one property each, and must find exactly that one.
"""
import pathlib
import re
import struct
import subprocess
import sys
import tempfile

# Calls that have a checked form, and that stay unchecked in a file that is not hardened.
CHECKED = ("snprintf", "vsnprintf", "sprintf", "vsprintf", "printf", "fprintf", "vfprintf", "vprintf", "read", "pread",
           "readlink", "fread", "strcpy", "strcat")
# C++ functions with names visible to other files: the compiler marks the beginning of each.
LINKABLE = re.compile(r"^(?:main|_ZNK?(?!.*(?:_GLOBAL__N_|Ul|Ut|\.)).*)$")
ENDBR64 = b"\xf3\x0f\x1e\xfa"


class Elf:
    """The parts of 64-bit little-endian ELF that are needed here."""

    def __init__(self, data):
        self.data = data
        offset, = struct.unpack_from("<Q", data, 40)
        size, count = struct.unpack_from("<HH", data, 58)
        self.sections = [self._section(offset + size * index) for index in range(count)]
        offset, = struct.unpack_from("<Q", data, 32)
        size, count = struct.unpack_from("<HH", data, 54)
        self.segments = [struct.unpack_from("<I", data, offset + size * index)[0] for index in range(count)]
        self.dynamic = self._dynamic()

    def _section(self, at):
        _, kind, _, address, offset, size, link = struct.unpack_from("<IIQQQQI", self.data, at)
        return kind, address, offset, size, link

    def _text(self, section, at):
        begin = self.sections[section][2] + at
        return self.data[begin : self.data.index(b"\0", begin)].decode()

    def _dynamic(self):
        entries = []
        for kind, _, offset, size, link in self.sections:
            if kind == 6:
                for at in range(offset, offset + size, 16):
                    tag, value = struct.unpack_from("<QQ", self.data, at)
                    entries.append((tag, self._text(link, value) if tag in (15, 29) else value))
        return entries

    def symbols(self, wanted):
        """(name, is function, section, address) of the table of that kind: 2 all, 11 for the dynamic linker."""
        for kind, _, offset, size, link in self.sections:
            if kind == wanted:
                for at in range(offset, offset + size, 24):
                    name, info, _, section, address, _ = struct.unpack_from("<IBBHQQ", self.data, at)
                    yield self._text(link, name), info & 15 == 2, section, address

    def code(self, section, address, count):
        _, begin, offset, _, _ = self.sections[section]
        return self.data[offset + address - begin : offset + address - begin + count]

    def empty_runpath_entries(self):
        return any("" in value.split(":") for tag, value in self.dynamic if tag in (15, 29))

    def faults(self):
        values = dict(self.dynamic)
        imports = {name for name, _, section, _ in self.symbols(11) if section == 0}
        checked = {name for name in imports if name.endswith("_chk")}
        if 0x6474E552 not in self.segments:
            yield "no RELRO"
        if not values.get(30, 0) & 8 and not values.get(0x6FFFFFFB, 0) & 1:
            yield "no immediate binding, so no full RELRO"
        if self.empty_runpath_entries():
            yield "an empty entry in the RUNPATH"
        if "__stack_chk_fail" not in imports:
            yield "no stack protector"
        if not checked and imports.intersection(CHECKED):
            yield "no _FORTIFY_SOURCE"
        if self._unmarked():
            yield "no control-flow protection"

    def _unmarked(self):
        """Whether functions begin without the mark that a jump needs to land there."""
        functions = {(section, address) for kind in (2, 11)
                     for name, is_function, section, address in self.symbols(kind)
                     if is_function and 0 < section < len(self.sections) and (kind == 11 or LINKABLE.match(name))}
        return not functions or any(self.code(*place, 4) != ENDBR64 for place in functions)


class Pe:
    """The parts of 64-bit PE that are needed here."""

    RELOCATIONS = 5
    IMPORTS = 1

    def __init__(self, data):
        self.data = data
        self.coff, = struct.unpack_from("<I", data, 60)
        optional = self.coff + 24
        self.flags, = struct.unpack_from("<H", data, optional + 70)
        self.directories = [struct.unpack_from("<II", data, optional + 112 + 8 * index) for index in range(16)]
        count, = struct.unpack_from("<H", data, self.coff + 6)
        size, = struct.unpack_from("<H", data, self.coff + 20)
        self.sections = [struct.unpack_from("<III", data, optional + size + 40 * index + 12) for index in range(count)]

    def _place(self, address):
        for begin, size, offset in self.sections:
            if begin <= address < begin + size:
                return address - begin + offset
        raise ValueError(f"no section at {address:#x}")

    def _text(self, at):
        return self.data[at : self.data.index(b"\0", at)].decode()

    def imports(self):
        at = self._place(self.directories[self.IMPORTS][0])
        while name := struct.unpack_from("<I", self.data, at + 12)[0]:
            yield self._text(self._place(name))
            at += 20

    def symbols(self):
        begin, count = struct.unpack_from("<II", self.data, self.coff + 12)
        strings = begin + 18 * count
        index = 0
        while index < count:
            at = begin + 18 * index
            zero, offset = struct.unpack_from("<II", self.data, at)
            yield self.data[at : at + 8].rstrip(b"\0").decode() if zero else self._text(strings + offset)
            index += 1 + self.data[at + 17]

    def empty_runpath_entries(self):
        return False

    def faults(self):
        characteristics, = struct.unpack_from("<H", self.data, self.coff + 22)
        if not self.flags & 0x40:
            yield "no dynamic base"
        if not self.flags & 0x20:
            yield "no high-entropy addresses"
        if not self.flags & 0x100:
            yield "data may be run (no NX)"
        if self.directories[self.RELOCATIONS][1] == 0 or characteristics & 1:
            yield "no relocations"
        if "__stack_chk_fail" not in set(self.symbols()):
            yield "no stack protector"
        for name in self.imports():
            if re.match(r"lib(ssp|gcc|stdc|winpthread)|zlib|advapi32|bcrypt", name, re.IGNORECASE):
                yield f"one more DLL: {name}"


def opened(path):
    with open(path, "rb") as file:
        begin = file.read(4)
        if begin == b"\x7fELF":
            return Elf(begin + file.read())
        if begin[:2] == b"MZ":
            return Pe(begin + file.read())
    return None


SAMPLE = r"""
#include <cstdio>
extern "C" int hardened(const char* text, int number) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%s %d", text, number);
    return buffer[number & 15];
}
int main(int argc, char** argv) { return hardened(argv[0], argc); }
"""
GUARD = r"""
extern "C" {
unsigned long long __stack_chk_guard = 1;
[[noreturn]] void __stack_chk_fail() { for (;;) {} }
}
"""
ELF_FLAGS = ["-O2", "-fPIE", "-pie", "-fstack-protector-strong", "-fcf-protection=full", "-U_FORTIFY_SOURCE",
             "-D_FORTIFY_SOURCE=2", "-Wl,-z,relro", "-Wl,-z,now", "-Wl,-rpath,$ORIGIN"]
ELF_LACKS = [  # flags that remove a property, and what must then be found
    ([], []),
    (["-Wl,-z,norelro"], ["no RELRO"]),
    (["-Wl,-z,lazy"], ["no immediate binding, so no full RELRO"]),
    (["-Wl,-rpath,$ORIGIN:"], ["an empty entry in the RUNPATH"]),
    (["-fno-stack-protector"], ["no stack protector"]),
    (["-U_FORTIFY_SOURCE"], ["no _FORTIFY_SOURCE"]),
    (["-fcf-protection=none"], ["no control-flow protection"]),
]
PE_FLAGS = ["-O2", "-static", "-fstack-protector-strong", "-Wl,--dynamicbase", "-Wl,--high-entropy-va",
            "-Wl,--nxcompat"]
PE_LACKS = [  # without a dynamic base the linker omits what is then useless
    ([], []),
    (["-Wl,--disable-dynamicbase"], ["no dynamic base", "no high-entropy addresses"]),
    (["-Wl,--disable-high-entropy-va"], ["no high-entropy addresses"]),
    (["-Wl,--disable-nxcompat"], ["data may be run (no NX)"]),
    (["-Wl,--disable-reloc-section"], ["no dynamic base", "no high-entropy addresses", "no relocations"]),
    (["-fno-stack-protector"], ["no stack protector"]),
    (["-DOF_THE_COMPILER"], ["one more DLL: ADVAPI32.dll"]),
]


def sample_faults(compiler, folder, flags, lacking):
    """Findings in a sample with these flags, followed by those that remove a property."""
    source = folder / "sample.cpp"
    own_guard = "-static" in flags and not {"-DOF_THE_COMPILER", "-fno-stack-protector"}.intersection(lacking)
    source.write_text(SAMPLE + (GUARD if own_guard else ""))
    program = folder / "sample.out"
    subprocess.run([compiler, *flags, *lacking, str(source), "-o", str(program)], check=True)
    return sorted(opened(program).faults())


def wrong_samples(compiler, is_elf):
    flags, lacks = (ELF_FLAGS, ELF_LACKS) if is_elf else (PE_FLAGS, PE_LACKS)
    with tempfile.TemporaryDirectory() as folder:
        for lacking, expected in lacks:
            found = sample_faults(compiler, pathlib.Path(folder), flags, lacking)
            if found != expected:
                yield f"sample that lacks {lacking}: found {found}"


def main():
    compiler, folder, *names = sys.argv[1:]
    is_elf = isinstance(opened(names[0]), Elf)
    wrong = list(wrong_samples(compiler, is_elf))
    for name in names:
        wrong += [f"{pathlib.Path(name).name}: {fault}" for fault in opened(name).faults()]
    named = {pathlib.Path(name).resolve() for name in names}
    beside = [path for path in sorted(pathlib.Path(folder).resolve().iterdir())
              if path.is_file() and path not in named]
    for path in beside:
        file = opened(path)
        if file and file.empty_runpath_entries():
            wrong.append(f"{path.name}: an empty entry in the RUNPATH")
    for line in wrong:
        print(line)
    print(f"{len(names)} files, {len(beside)} beside them, {len(wrong)} faults")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
