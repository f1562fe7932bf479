#!/usr/bin/env python3
"""Checks by their includes whether the sources keep to their folders and rooms.

  rooms.py [ROOT]

Folders are those of CMakeLists.txt: each may include itself and those above it there. host/ and simulator/ are
programs; their rooms are their subfolders and the files next to these, which form the room '.'. DorVenKameraPlugin/
has rooms, too, but others may include it. No chain of rooms forms a circle, and none is longer than five.

  - Every header is included by its bare name, which no other header has.
  - Only tests include a program's headers from outside.
  - Headers in a src/ or a tests/ are included only in the folder that has it.
  - Headers of another folder come by linking it, not by putting it on the include path.
  - Nothing but tests includes test_support/.
  - Which system it is, only platform/ asks.

Prints each include that breaks a rule, and the longest chain of rooms of each program. Exit status: 0 none, 1 some.
"""
import collections
import os
import pathlib
import re
import sys

PROGRAMS = ("host", "simulator")
WITH_ROOMS = PROGRAMS + ("DorVenKameraPlugin",)
LONGEST_CHAIN = 5

# Folders that contain only tests and measurements. They may include what they examine.
FRAMES = ("test_support", "docs", "fuzz", "benchmarks", "scripts")
# Headers that replace others of the same name, for sources whose include path begins with their folder.
STAND_INS = ("host_interface/tests/recording/", "host_interface/tests/abi/")
# One of them is on the include path, as the system is.
OF_A_SYSTEM = ("test_support/posix/", "test_support/win32/")
# Has its own include path: compiled by a script, with stand-ins.
APART = ("host_interface/tests/abi/",)
# May test for the system, besides platform/: an attribute of exported names that each compiler spells differently.
ASKS_FOR_SYSTEM = ("host_runtime/inc/host_runtime_export.h",)
# Headers of a src/ or tests/ that another folder's test may include, and why.
LENT = {
    # The test gives doctor another folder of named objects than the machine's.
    ("host/doctor/tests/doctor_folder_posix_test.cpp", "object_parent_posix.h"),
}

# Folders on the include path of another one's test, and why.
LENT_FOLDERS = {
    ("host", "platform/src"),  # as above
    ("merror", "host_runtime/inc"),  # the test itself replaces what it would otherwise link
}

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
INCLUDE_FOLDERS = re.compile(r"target_include_directories\(([^)]*)\)")
SYSTEM = re.compile(r"^\s*#\s*(?:if|elif|ifdef|ifndef)\b.*\b_*(?:WIN32|WIN64|linux|unix|MINGW32|MINGW64|APPLE)_*\b")

Include = collections.namedtuple("Include", "path line name")


def folders_in_order(root):
    """The folders of CMakeLists.txt, followed by test_support, which only tests include."""
    text = (root / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.findall(r"^\s*add_subdirectory\(\s*([^\s)]+)", text, re.MULTILINE) + ["test_support"]


def sources_in(root, folders):
    """Paths of headers and sources, relative to the root."""
    paths = []
    for folder in folders:
        for base, _, names in os.walk(root / folder):
            paths += [os.path.relpath(os.path.join(base, name), root)
                      for name in names if name.endswith((".h", ".inc", ".cpp"))]
    return sorted(paths)


def folder_of(path):
    return path.split("/")[0]


def room_of(path):
    """Room of a folder with rooms; '.': the files next to the rooms, and the folders inc/ and src/."""
    parts = path.split("/")
    return parts[1] if len(parts) > 2 and parts[1] not in ("inc", "src") else "."


def is_test(path):
    return "/tests/" in path or folder_of(path) in FRAMES


def private_part(path):
    """Path up to the src/ or tests/ that contains a header; none: others may include it."""
    found = re.match(r"(.*?/)(?:src|tests)/", path)
    return found[1] if found else None


class Tree:
    def __init__(self, root):
        self.root = root
        self.folders = folders_in_order(root)
        self.sources = sources_in(root, self.folders)
        self.named = collections.defaultdict(list)  # paths by name; tests compile a source within another, too
        for path in self.sources:
            if not path.startswith(STAND_INS):
                self.named[os.path.basename(path)].append(path)
        self.problems = []
        self.includes = []  # (Include, path of the header)
        for path in self.sources:
            self.read(path)

    def tell(self, path, line, text):
        self.problems.append(f"{path}:{line}: {text}")

    def read(self, path):
        lines = (self.root / path).read_text(encoding="utf-8", errors="replace").splitlines()
        for line, text in enumerate(lines, 1):
            if SYSTEM.match(text) and folder_of(path) != "platform" and path not in ASKS_FOR_SYSTEM:
                self.tell(path, line, "asks which system it is, which only platform/ does")
            found = INCLUDE.match(text)
            if found and not path.startswith(APART):
                self.resolve(Include(path, line, found[1]))

    def resolve(self, include):
        if "/" in include.name:
            self.tell(include.path, include.line, f'includes "{include.name}" by a path, not by its bare name')
            include = include._replace(name=os.path.basename(include.name))
        for header in self.named.get(include.name, [])[:1]:
            self.includes.append((include, header))
        if include.name not in self.named:
            self.tell(include.path, include.line, f"there is no header {include.name}")

    def find_twins(self):
        for name, paths in sorted(self.named.items()):
            if len(paths) < 2 or name.endswith(".cpp"):
                continue
            if not all(path.startswith(OF_A_SYSTEM) for path in paths):
                self.tell(paths[0], 1, f"{' and '.join(paths[1:])} has the same name")

    def check_folders(self):
        place = {folder: index for index, folder in enumerate(self.folders)}
        for include, header in self.includes:
            at, to = folder_of(include.path), folder_of(header)
            problem = None
            if at == to:
                pass
            elif to in PROGRAMS and not is_test(include.path):
                problem = f"is a header of the program {to}, which only its folder and tests include"
            elif not is_test(include.path) and place[to] > place[at]:
                problem = f"is of {to}, which stands below {at} in CMakeLists.txt"
            if problem:
                self.tell(include.path, include.line, f"{header} {problem}")

    def check_privacy(self):
        for include, header in self.includes:
            owner = private_part(header)
            if owner and not include.path.startswith(owner) and (include.path, include.name) not in LENT:
                self.tell(include.path, include.line, f"{header} is for {owner} alone")

    def check_include_paths(self):
        for folder in self.folders:
            for path in sorted((self.root / folder).rglob("CMakeLists.txt")):
                for call in INCLUDE_FOLDERS.finditer(path.read_text(encoding="utf-8")):
                    for entry in re.findall(r"\S*\.\./\S+", call[1]):
                        self.check_include_path(path, entry)

    def check_include_path(self, path, entry):
        lent = os.path.relpath(os.path.normpath(path.parent / entry), self.root)
        name = os.path.relpath(path, self.root)
        if folder_of(lent) != folder_of(name) and (folder_of(name), lent) not in LENT_FOLDERS:
            self.problems.append(f"{name}: {lent} is on the include path; link what is there instead")

    def room_includes(self, folder):
        """(room, room that it includes): the includes. Without tests."""
        edges = collections.defaultdict(list)
        for include, header in self.includes:
            if folder_of(include.path) != folder or folder_of(header) != folder or is_test(include.path):
                continue
            if room_of(include.path) != room_of(header):
                edges[room_of(include.path), room_of(header)].append(include)
        return edges

    def check_rooms(self, folder):
        """The longest chain, from the including room to the last included one; none if there are circles."""
        edges = self.room_includes(folder)
        below = collections.defaultdict(set)
        for room, included in edges:
            below[room].add(included)
        circles = [edge for edge in sorted(edges) if reaches(below, edge[1], edge[0])]
        for room, included in circles:
            for include in edges[room, included]:
                self.tell(include.path, include.line,
                          f"{include.name} of {folder}'s room {included}, which includes {room} in turn")
        if circles:
            return None
        rooms = {room_of(path) for path in self.sources if folder_of(path) == folder}
        chain = max((longest_from(below, room) for room in sorted(rooms)), key=len, default=[])
        if len(chain) > LONGEST_CHAIN:
            self.problems.append(f"{folder}: a chain of {len(chain)} rooms, {LONGEST_CHAIN} are allowed: "
                                 + " > ".join(chain))
        return chain


def reaches(below, room, target, seen=None):
    seen = seen if seen is not None else set()
    if room == target:
        return True
    seen.add(room)
    return any(reaches(below, other, target, seen) for other in below[room] if other not in seen)


def longest_from(below, room):
    return [room] + max((longest_from(below, other) for other in sorted(below[room])), key=len, default=[])


def main(arguments):
    root = pathlib.Path(arguments[0] if arguments else os.path.join(os.path.dirname(__file__), "..")).resolve()
    tree = Tree(root)
    tree.find_twins()
    tree.check_folders()
    tree.check_privacy()
    tree.check_include_paths()
    for folder in WITH_ROOMS:
        chain = tree.check_rooms(folder)
        if chain:
            print(f"{folder}: longest chain of rooms {len(chain)}: {' > '.join(chain)}")
        elif chain is None:
            print(f"{folder}: its rooms include each other in a circle")
    for problem in tree.problems:
        print(problem)
    return 1 if tree.problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
