#!/usr/bin/env python3
"""Tests of rooms.py, on small trees in which one include breaks one rule."""
import contextlib
import io
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import rooms

FOLDERS = ("platform", "mipc", "DorVenKameraPlugin", "frames", "simulator", "host", "docs")

# A sound tree: what each file includes.
SOUND = {
    "platform/inc/platform.h": "",
    "platform/src/clock_win32.cpp": "#ifdef _WIN32",
    "platform/src/paths.h": "",
    "platform/tests/clock_test.cpp": '#include "paths.h"',
    "mipc/inc/fifo.h": '#include "platform.h"',
    "DorVenKameraPlugin/ipc/messenger.h": '#include "fifo.h"',
    "DorVenKameraPlugin/Dorven/image_source.h": '#include "messenger.h"',
    "DorVenKameraPlugin/inc/plugin.h": '#include "image_source.h"',
    "frames/inc/image.h": "",
    "simulator/simulator.h": '#include "ring.h"\n#include "grid.h"',
    "simulator/delivery/ring.h": '#include "fifo.h"\n#include "grid.h"',
    "simulator/pacing/grid.h": "#include <cstdint>",
    "simulator/delivery/tests/ring_test.cpp": '#include "ring.h"\n#include "simulator.h"\n#include "reader.h"',
    "host/host.h": '#include "image.h"',
    "host/tests/programs_test.cpp": '#include "simulator.h"\n#include "host.h"',
    "docs/tests/page_test.cpp": '#include "ring.h"',
    "test_support/inc/reader.h": '#include "ring.h"',
}


def looked_at(changes):
    """(exit status, output) for the sound tree with other files."""
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        (root / "CMakeLists.txt").write_text("".join(f"add_subdirectory({name})\n" for name in FOLDERS))
        for path, text in {**SOUND, **changes}.items():
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).write_text(text)
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            status = rooms.main([folder])
        return status, printed.getvalue()


class RoomsTest(unittest.TestCase):
    def assert_told(self, changes, *texts):
        status, printed = looked_at(changes)
        for text in texts:
            self.assertIn(text, printed)
        self.assertEqual(status, 1)

    def test_sound_tree_shows_the_longest_chain_of_each_program(self):
        status, printed = looked_at({})
        self.assertEqual(printed, "host: longest chain of rooms 1: .\n"
                                  "simulator: longest chain of rooms 3: . > delivery > pacing\n"
                                  "DorVenKameraPlugin: longest chain of rooms 3: . > Dorven > ipc\n")
        self.assertEqual(status, 0)

    def test_folder_that_includes_one_below_it_is_told(self):
        self.assert_told({"mipc/src/fifo.cpp": '\n#include "image.h"'},
                         "mipc/src/fifo.cpp:2: frames/inc/image.h is of frames, which stands below mipc")

    def test_rooms_that_include_each_other_are_told_with_both_includes(self):
        self.assert_told({"simulator/pacing/grid.cpp": '#include "ring.h"'},
                         "simulator: its rooms include each other in a circle",
                         "simulator/pacing/grid.cpp:1: ring.h of simulator's room delivery",
                         "simulator/delivery/ring.h:2: grid.h of simulator's room pacing")

    def test_circle_over_three_rooms_is_told(self):
        self.assert_told({"simulator/pacing/grid.cpp": '#include "simulator.h"'},
                         "simulator/pacing/grid.cpp:1: simulator.h of simulator's room .",
                         "simulator/simulator.h:1: ring.h of simulator's room delivery")

    def test_rooms_of_the_plugin_count_too(self):
        self.assert_told({"DorVenKameraPlugin/ipc/messenger.cpp": '#include "plugin.h"'},
                         "messenger.cpp:1: plugin.h of DorVenKameraPlugin's room ., which includes ipc in turn")

    def test_include_of_a_test_joins_no_rooms(self):
        self.assertEqual(looked_at({"simulator/pacing/tests/grid_test.cpp": '#include "simulator.h"'})[0], 0)

    def test_chain_of_six_rooms_is_too_long(self):
        chain = {f"host/{room}/{room}.h": f'#include "{below}.h"' for room, below in zip("abcd", "bcde")}
        sound = {**chain, "host/e/e.h": ""}
        self.assertEqual(looked_at(sound)[0], 0)
        self.assert_told({**sound, "host/host.h": '#include "a.h"'},
                         "host: a chain of 6 rooms, 5 are allowed: . > a > b > c > d > e")

    def test_header_by_a_path_is_told(self):
        self.assert_told({"mipc/src/fifo.cpp": '#include "../inc/fifo.h"'},
                         'mipc/src/fifo.cpp:1: includes "../inc/fifo.h" by a path, not by its bare name')

    def test_header_that_is_nowhere_is_told(self):
        self.assert_told({"mipc/src/fifo.cpp": '#include "fofi.h"'}, "mipc/src/fifo.cpp:1: there is no header fofi.h")

    def test_two_headers_of_one_name_are_told(self):
        self.assert_told({"frames/inc/fifo.h": ""}, "frames/inc/fifo.h:1: mipc/inc/fifo.h has the same name")

    def test_pair_for_the_two_systems_has_one_name(self):
        pair = {f"test_support/{system}/fault.h": "" for system in ("posix", "win32")}
        self.assertEqual(looked_at(pair)[0], 0)

    def test_program_that_includes_the_other_is_told(self):
        self.assert_told({"host/bench/bench.cpp": '#include "grid.h"'},
                         "host/bench/bench.cpp:1: simulator/pacing/grid.h is a header of the program simulator")

    def test_header_that_a_folder_keeps_to_itself_is_told(self):
        self.assert_told({"mipc/tests/fifo_test.cpp": '#include "paths.h"'},
                         "mipc/tests/fifo_test.cpp:1: platform/src/paths.h is for platform/ alone")

    def test_include_path_into_another_folder_is_told(self):
        self.assert_told({"docs/CMakeLists.txt":
                          "target_include_directories(page_tests PRIVATE ../simulator/delivery)"},
                         "docs/CMakeLists.txt: simulator/delivery is on the include path; link what is there instead")
        self.assertEqual(looked_at({"simulator/tests/CMakeLists.txt":
                                    "target_include_directories(ring_tests PRIVATE ../delivery)"})[0], 0)

    def test_helper_of_another_folders_tests_is_told(self):
        self.assert_told({"simulator/pacing/tests/grids.h": "", "host/tests/grab_test.cpp": '#include "grids.h"'},
                         "host/tests/grab_test.cpp:1: simulator/pacing/tests/grids.h is for simulator/pacing/ alone")

    def test_source_that_includes_test_support_is_told(self):
        self.assert_told({"simulator/simulator.cpp": '#include "reader.h"'},
                         "simulator/simulator.cpp:1: test_support/inc/reader.h is of test_support")

    def test_question_for_the_system_outside_platform_is_told(self):
        for question in ("#ifdef _WIN32", "#if defined(__linux__)", "  #  ifndef _WIN32", "#elif defined(_WIN64)"):
            self.assert_told({"frames/src/image.cpp": question}, "frames/src/image.cpp:1: asks which system it is")


if __name__ == "__main__":
    unittest.main()
