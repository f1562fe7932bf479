#!/usr/bin/env python3
"""What check_package.sh does before it makes anything."""
import os
import pathlib
import subprocess
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parent.parent / "check_package.sh"


class CheckPackageTest(unittest.TestCase):
    def test_root_is_needed_for_an_empty_debian_and_said_before_anything_is_made(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("apt-get", "cmake", "debootstrap", "unshare"):
                (pathlib.Path(folder) / name).write_text(f"#!/bin/sh\necho {name} was called\n", encoding="utf-8")
                (pathlib.Path(folder) / name).chmod(0o755)
            (pathlib.Path(folder) / "id").write_text("#!/bin/sh\necho 1000\n", encoding="utf-8")
            (pathlib.Path(folder) / "id").chmod(0o755)
            done = subprocess.run([CHECK, "--root"], env={**os.environ, "PATH": f"{folder}:{os.environ['PATH']}"},
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertEqual(done.stderr,
                         "check_package: --root makes an empty Debian and enters it: run it as root\n")

    def test_other_words_are_refused_with_the_usage(self):
        done = subprocess.run([CHECK, "--rot"], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 2)
        self.assertIn("scripts/check_package.sh --root", done.stderr)
        self.assertTrue(done.stderr.rstrip().endswith("needs root"), done.stderr)


if __name__ == "__main__":
    unittest.main()
