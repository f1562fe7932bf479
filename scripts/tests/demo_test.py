#!/usr/bin/env python3
"""Tests of demo.sh, with programs that stand in for those that install, build and grab."""
import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parent.parent
NUMBERS = {"simulated": 300, "faked": 0, "lost": 0, "repeated": 0, "torn": 0, "fps_mean": 100.0, "latency_p50_us": 80.0}

# The host writes what the real one does, where --output says.
HOST = """echo "waiting without a simulator" >&2
while [ $# -gt 2 ] && [ "$1" != --output ]; do shift; done
for number in 0 1 2; do : >"$2/image_$number.png"; done
cat "$NUMBERS" """
CMAKE = """echo "cmake $*" >>"$CALLS"
case "$1" in
    --preset) while [ $# -gt 2 ] && [ "$1" != -B ]; do shift; done; mkdir -p "$2/bin"
        for program in host simulator; do cp "$FAKES/$program" "$2/bin/dorven-$program$SUFFIX"; done ;;
    --build) echo "[17/40] Building"; exit "${BUILD_STATUS:-0}" ;;
esac"""


class DemoTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = pathlib.Path(folder.name)
        self.fakes = self.tree / "fakes"
        (self.tree / "scripts").mkdir()
        self.fakes.mkdir()
        for name in ("demo.sh", "progress.sh", "wine_env.sh"):
            shutil.copy(SCRIPTS / name, self.tree / "scripts")
        self.stand_in(self.tree / "scripts/setup.sh", 'echo "setup $*" >>"$CALLS"; exit "${SETUP_STATUS:-0}"')
        self.stand_in(self.fakes / "cmake", CMAKE)
        self.stand_in(self.fakes / "host", HOST)
        self.stand_in(self.fakes / "simulator", "exit 0")
        self.stand_in(self.fakes / "wine", 'case "$1" in cmd) ;; *) exec "$@" ;; esac')
        for name in ("wineserver", "wineboot"):
            self.stand_in(self.fakes / name, "exit 0")

    @staticmethod
    def stand_in(path, body):
        path.write_text(f"#!/bin/bash\n{body}\n", encoding="utf-8")
        path.chmod(0o755)

    def run_demo(self, *arguments, numbers=None, **more):
        (self.tree / "numbers.json").write_text(json.dumps({**NUMBERS, **(numbers or {})}), encoding="utf-8")
        environment = {**os.environ, "PATH": f"{self.fakes}:{os.environ['PATH']}", "CALLS": str(self.tree / "calls"),
                       "NUMBERS": str(self.tree / "numbers.json"), "FAKES": str(self.fakes),
                       "SUFFIX": ".exe" if "--windows" in arguments else "", **more}
        done = subprocess.run([self.tree / "scripts/demo.sh", *arguments], env=environment, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False)
        calls = self.tree / "calls"
        return done, calls.read_text(encoding="utf-8") if calls.exists() else ""

    def test_only_what_linux_needs_is_installed_and_built_without_tests(self):
        done, calls = self.run_demo()
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("setup linux\n", calls)
        self.assertIn("-DDORVEN_BUILD_TESTS=OFF", calls)
        self.assertIn("300 images of 1280 x 1024 pixels", done.stdout)

    def test_windows_comes_on_top(self):
        done, calls = self.run_demo("--windows")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn("setup linux windows\n", calls)
        self.assertIn("wine build/demo/windows-release/bin/dorven-host.exe info", done.stdout)

    def test_each_step_is_told_with_its_time(self):
        done, _ = self.run_demo()
        told = [line for line in done.stderr.splitlines() if " after 0:" in line or line.endswith("…")]
        self.assertEqual([line.split(" after ")[0] for line in told],
                         ["Everything needed is installed", "Building …", "Built",
                          "Grabbing 300 images at 100 images per second …", "Done"])

    def test_programs_that_are_named_at_the_end_exist(self):
        done, _ = self.run_demo()
        named = [line.split()[0] for line in done.stdout.splitlines() if line.startswith("  build/")]
        self.assertEqual(len(named), 2, done.stdout)
        for program in named:
            self.assertTrue((self.tree / program).exists(), program)

    def test_build_that_fails_is_told_with_its_log(self):
        done, _ = self.run_demo(BUILD_STATUS="1")
        self.assertEqual(done.returncode, 1)
        self.assertIn("[17/40] Building\ndemo: building failed; all of it is in build/demo.log\n", done.stderr)

    def test_nothing_is_built_when_installing_failed(self):
        done, calls = self.run_demo(SETUP_STATUS="1")
        self.assertEqual(done.returncode, 1)
        self.assertNotIn("cmake", calls)

    def test_lost_image_is_no_success(self):
        done, _ = self.run_demo(numbers={"lost": 1})
        self.assertEqual(done.returncode, 1)
        self.assertIn("demo: lost is 1, not 0", done.stderr)


if __name__ == "__main__":
    unittest.main()
