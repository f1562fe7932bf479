#!/usr/bin/env python3
"""The strip's readers of docs/judge-your-host.md: the page shows what the example files have, and each of them reads
images that the simulator made.

  strip_readers_test.py SOURCES PROGRAMS COMPILER     PROGRAMS: folder of dorven-host; COMPILER: of C++
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import textwrap
import unittest

SOURCES, PROGRAMS, COMPILER = sys.argv[1:]
EXAMPLES = pathlib.Path(SOURCES) / "examples/strip"
PAGE = (pathlib.Path(SOURCES) / "docs/judge-your-host.md").read_text(encoding="utf-8")
SHOWN = {"python": "read_strip.py", "cpp": "read_strip.cpp", "csharp": "ReadStrip.cs"}
FORMATS = (
    # width, height, bytes per pixel
    (640, 48, 1),   # three rows of cells, the last one not full
    (1280, 17, 1),  # one line below the strip
    (300, 60, 2),   # the line's last bytes belong to no cell
    (256, 64, 1),   # the narrowest one
    (2048, 20, 1),  # one row of cells, and a strip twice as high
)


def run(*command, **more):
    return subprocess.run([str(word) for word in command], check=True, stdout=subprocess.PIPE, text=True,
                          stdin=subprocess.DEVNULL, timeout=120, **more).stdout


class StripReadersTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        run(COMPILER, "-std=c++17", "-Wall", "-Wextra", "-Werror", "-O2", EXAMPLES / "read_strip.cpp",
            "-o", cls.folder / "read_strip")
        run("mcs", EXAMPLES / "ReadStrip.cs", f"-out:{cls.folder / 'ReadStrip.exe'}")
        cls.readers = {"Python": (sys.executable, EXAMPLES / "read_strip.py"), "C++": (cls.folder / "read_strip",),
                       "C#": ("mono", cls.folder / "ReadStrip.exe")}
        cls.environment = {**os.environ, "PLATFORM_OBJECT_NAMESPACE": f"strip-readers-{os.getpid()}",
                           "XDG_CONFIG_HOME": str(cls.folder)}

    def snapped(self, width, height, bytes_per_pixel):
        """(pixels, what the host says about them)"""
        config = self.folder / "camera.ini"
        config.write_text(f"[image]\nimage_size_x={width}\nimage_size_y={height}\n"
                          f"bytes_per_pixel={bytes_per_pixel}\n", encoding="utf-8")
        picture = self.folder / "picture.raw"
        silent = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        with subprocess.Popen([f"{PROGRAMS}/dorven-simulator", "--config", str(config)], env=self.environment,
                              **silent) as simulator:
            try:
                said = run(f"{PROGRAMS}/dorven-host", "snap", picture, "--config", config, "--json", "--force",
                           env=self.environment, stderr=subprocess.DEVNULL)
            finally:
                simulator.terminate()
        return bytearray(picture.read_bytes()), json.loads(said)

    def assert_read(self, pixels, line_bytes, wanted):
        path = self.folder / "image.raw"
        path.write_bytes(pixels)
        for language, reader in self.readers.items():
            self.assertEqual(run(*reader, line_bytes, path), wanted, (language, line_bytes))

    def test_page_shows_what_the_files_have(self):
        for language, name in SHOWN.items():
            block = re.search(rf"```{language}\n(.*?)```", PAGE, re.DOTALL)[1]
            file = (EXAMPLES / name).read_text(encoding="utf-8")
            self.assertTrue(block in file or textwrap.indent(block, "    ") in file, name)

    def test_images_of_the_simulator_are_read_whole_torn_and_without_a_strip(self):
        for width, height, bytes_per_pixel in FORMATS:
            pixels, said = self.snapped(width, height, bytes_per_pixel)
            line_bytes = width * bytes_per_pixel
            path = self.folder / "image.raw"
            path.write_bytes(pixels)
            read = run(*self.readers["Python"], line_bytes, path)
            frame, time_ns = re.fullmatch(r"frame (\d+), (\d+) ns, whole\n", read).groups()
            self.assertEqual(int(frame), said["frame_number"])
            self.assertEqual(int(time_ns) // 1000, said["time_stamp_us"])
            self.assert_read(pixels, line_bytes, read)
            torn = pixels[:]
            torn[-1] ^= 1
            self.assert_read(torn, line_bytes, read.replace("whole", "torn"))
            damaged = pixels[:]
            damaged[4 * line_bytes + 4] ^= 255  # of the magic number
            self.assert_read(damaged, line_bytes, "no strip\n")
            damaged = pixels[:]
            row, column = divmod(95, line_bytes // 8)  # of the frame number: the checksum of the fields is wrong
            damaged[(row * 8 + 4) * line_bytes + column * 8 + 4] ^= 255
            self.assert_read(damaged, line_bytes, "no strip\n")

    def test_images_too_small_for_a_strip_have_none(self):
        self.assert_read(bytes(255 * 100), 255, "no strip\n")
        self.assert_read(bytes(896 * 16), 896, "no strip\n")
        self.assert_read(b"", 640, "no strip\n")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
