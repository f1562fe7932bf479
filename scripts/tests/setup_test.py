#!/usr/bin/env python3
"""Tests of setup.sh, with programs that stand in for those that install: nothing is installed."""
import os
import pathlib
import pty
import select
import subprocess
import tempfile
import unittest

SETUP = pathlib.Path(__file__).resolve().parent.parent / "setup.sh"

# Each notes how it was called. Of dpkg-query's packages those in the file "installed" are there.
STAND_INS = {
    "id": 'echo "${FAKE_USER:-1000}"',
    "dpkg-query": 'for name; do :; done; if grep -qx "$name" "$FAKE/installed"; then printf installed; else exit 1; fi',
    "sudo": 'echo "sudo $*" >>"$FAKE/calls"; [ -z "${SUDO_FAILS:-}" ] || { echo "$SUDO_FAILS" >&2; exit 1; }\n'
            'if [ "$1" = -n ]; then shift; else echo "PASSWORD?" >/dev/tty; fi; exec "$@"',
    "apt-get": """echo "apt-get $* | $DEBIAN_FRONTEND" >>"$FAKE/calls"
        ! read -r line || echo "read $line" >>"$FAKE/calls"
        case "$*" in *install*)
            echo "0 upgraded, 7 newly installed, 0 to remove"
            echo "After this operation, 480 MB of additional disk space will be used."
            exit "${APT_STATUS:-0}" ;;
        esac""",
}


class SetupTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name, body in STAND_INS.items():
            (self.folder / name).write_text(f"#!/bin/bash\n{body}\n", encoding="utf-8")
            (self.folder / name).chmod(0o755)
        (self.folder / "installed").write_text("", encoding="utf-8")
        (self.folder / "calls").write_text("", encoding="utf-8")

    def environment(self, **more):
        kept = {name: value for name, value in os.environ.items() if name != "DEBIAN_FRONTEND"}
        return {**kept, "PATH": f"{self.folder}:{os.environ['PATH']}", "FAKE": str(self.folder), **more}

    def run_setup(self, *arguments, **more):
        done = subprocess.run([SETUP, *arguments], env=self.environment(**more), stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.stdout, "")
        return done.returncode, done.stderr

    def run_on_terminal(self, *arguments, **more):
        """(exit code, what a terminal shows)"""
        process, terminal = pty.fork()
        if process == 0:
            os.execve(SETUP, [str(SETUP), *arguments], self.environment(**more))
        shown = b""
        while select.select([terminal], [], [], 60)[0]:
            try:
                piece = os.read(terminal, 4096)
            except OSError:  # the other side is closed
                break
            if not piece:
                break
            shown += piece
        os.close(terminal)
        return os.waitstatus_to_exitcode(os.waitpid(process, 0)[1]), shown.decode()

    def calls(self):
        return (self.folder / "calls").read_text(encoding="utf-8")

    def packages(self, *groups):
        """What would be installed for them."""
        (self.folder / "calls").write_text("", encoding="utf-8")
        code, said = self.run_setup(*groups)
        self.assertEqual(code, 0, said)
        line = next(line for line in self.calls().splitlines() if line.startswith("apt-get") and " install " in line)
        words = line.split(" | ")[0].split()
        return {word for word in words[words.index("install") + 1:]
                if not word.startswith(("-", "Dpkg"))}

    def test_linux_needs_neither_the_windows_compiler_nor_wine_nor_what_tests_need(self):
        linux = self.packages("linux")
        self.assertLessEqual({"g++", "cmake", "ninja-build", "python3", "libspdlog-dev", "zlib1g-dev"}, linux)
        self.assertFalse(linux & {"clang", "clang-tidy", "wine", "g++-mingw-w64-x86-64-posix", "googletest", "spin"})

    def test_windows_comes_on_top(self):
        both = self.packages("linux", "windows")
        self.assertLess(self.packages("linux"), both)
        self.assertIn("wine", both)
        self.assertNotIn("clang", both)

    def test_each_job_of_the_tests_has_a_group(self):
        for job in ("linux-release", "linux-debug", "linux-asan", "linux-tsan"):
            packages = self.packages(job)
            self.assertLessEqual({"g++", "googletest", "clang"}, packages, job)
            self.assertNotIn("wine", packages, job)
        self.assertIn("strace", self.packages("linux-release"))
        self.assertLessEqual({"wine", "googletest"}, self.packages("windows-release"))
        self.assertLessEqual({"clang-tidy", "clang-format", "googletest"}, self.packages("lint"))

    def test_without_a_group_everything_is_installed(self):
        everything = self.packages()
        for group in ("linux", "windows", "lint", "linux-release", "linux-asan", "linux-tsan", "windows-release",
                      "models", "coverage", "root"):
            self.assertLessEqual(self.packages(group), everything, group)

    def test_unknown_group_is_refused_with_the_groups_and_nothing_is_installed(self):
        code, said = self.run_setup("linux", "lunix")
        self.assertEqual(code, 2)
        self.assertIn("setup: no such group: lunix\n", said)
        self.assertIn("windows-release", said)
        self.assertEqual(self.calls(), "")

    def test_only_what_is_missing_is_installed_and_nothing_is_asked_when_nothing_is(self):
        linux = self.packages("linux")
        (self.folder / "installed").write_text("\n".join(linux - {"cmake"}) + "\n", encoding="utf-8")
        self.assertEqual(self.packages("linux"), {"cmake"})
        (self.folder / "installed").write_text("\n".join(linux) + "\n", encoding="utf-8")
        (self.folder / "calls").write_text("", encoding="utf-8")
        self.assertEqual(self.run_setup("linux"), (0, ""))
        self.assertEqual(self.calls(), "")

    def test_size_and_time_are_told(self):
        _, said = self.run_setup("linux")
        self.assertRegex(said, r"setup: installed in \d:\d\d, 480 MB of disk space\n$")

    def test_packages_never_ask(self):
        self.run_setup("linux")
        calls = [line for line in self.calls().splitlines() if line.startswith(("apt-get", "read"))]
        self.assertEqual(len(calls), 2, calls)  # no third line: nothing was read
        for call in calls:
            self.assertTrue(call.endswith("| noninteractive"), call)
        self.assertIn("--force-confold", calls[1])

    def test_sudo_must_not_ask_where_there_is_no_terminal(self):
        self.assertEqual(self.run_setup("linux")[0], 0)
        self.assertRegex(self.calls(), "^sudo -n ")

    def test_password_that_cannot_be_asked_for_is_explained(self):
        code, said = self.run_setup("linux", SUDO_FAILS="sudo: a password is required")
        self.assertEqual(code, 1)
        self.assertIn("sudo: a password is required\n", said)
        self.assertIn("in a terminal it asks for your password\n", said)
        self.assertTrue(said.endswith("setup: installing failed; the lines above say why\n"))

    def test_sudo_asks_once_on_a_terminal_and_that_is_announced_before(self):
        code, shown = self.run_on_terminal("linux")
        self.assertEqual(code, 0, shown)
        self.assertEqual(self.calls().count("sudo "), 1)
        self.assertNotIn("sudo -n", self.calls())
        self.assertEqual(shown.count("PASSWORD?"), 1)
        self.assertLess(shown.index("sudo may ask for your password now"), shown.index("PASSWORD?"))

    def test_root_needs_no_sudo(self):
        self.assertEqual(self.run_setup("linux", FAKE_USER="0")[0], 0)
        self.assertNotIn("sudo", self.calls())

    def test_failure_is_told_with_what_apt_said(self):
        code, said = self.run_setup("linux", APT_STATUS="100")
        self.assertEqual(code, 1)
        self.assertIn("7 newly installed", said)
        self.assertTrue(said.endswith("setup: installing failed; the lines above say why\n"))


if __name__ == "__main__":
    unittest.main()
