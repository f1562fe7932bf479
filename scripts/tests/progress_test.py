#!/usr/bin/env python3
"""Tests of progress.sh: what people see of a long step."""
import os
import pathlib
import pty
import subprocess
import tempfile
import unittest

PROGRESS = pathlib.Path(__file__).resolve().parent.parent / "progress.sh"

# Runs a command for the label "Building"; how far it is, is the last line of its log.
SCRIPT = """set -euo pipefail
source {progress}
how_far() {{ tail -n 1 "$1"; }}
command() {{ {command}; }}
progress Building "{log}" how_far command || echo "failed with $?"
"""


class ProgressTest(unittest.TestCase):
    def run_command(self, command):
        """(what standard error shows, what is in the log)"""
        with tempfile.TemporaryDirectory() as folder:
            log = pathlib.Path(folder) / "log"
            script = SCRIPT.format(progress=PROGRESS, command=command, log=log)
            done = subprocess.run(["bash", "-c", script], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, check=False)
            self.assertEqual(done.returncode, 0)
            return (done.stdout + done.stderr).decode(), log.read_text(encoding="utf-8")

    def on_terminal(self, command, until=b""):
        """What a terminal shows. A text that has to be seen first lets the command read a line."""
        shows, side = pty.openpty()
        with tempfile.TemporaryDirectory() as folder:
            script = SCRIPT.format(progress=PROGRESS, command=command, log=pathlib.Path(folder) / "log")
            process = subprocess.Popen(["bash", "-c", "exec 9<&0\n" + script], stdin=subprocess.PIPE,
                                       stdout=subprocess.DEVNULL, stderr=side)
            os.close(side)
            shown = b""
            try:
                while piece := os.read(shows, 4096):
                    shown += piece
                    if until and until in shown and not process.stdin.closed:
                        process.stdin.write(b"\n")
                        process.stdin.close()
            except OSError:  # nobody has the other side any more
                pass
            process.stdin.close()
            self.assertEqual(process.wait(), 0)
        os.close(shows)
        return shown.decode()

    def test_elsewhere_a_line_says_what_begins_and_the_output_is_in_the_log(self):
        self.assertEqual(self.run_command("echo one"), ("Building …\n", "one\n"))

    def test_result_of_the_command_is_kept(self):
        self.assertIn("failed with 3", self.run_command("return 3")[0])

    def test_what_is_no_output_stays_where_it_is(self):
        self.assertIn("password?\n", self.run_command("echo password? >&2")[0])

    def test_terminal_shows_how_far_it_is_and_for_how_long(self):
        shown = self.on_terminal("echo '7 of 9'; read -r line <&9", until=b"7 of 9, 0:0")
        self.assertRegex(shown, r"\rBuilding … 7 of 9, 0:0[1-9]")
        self.assertTrue(shown.endswith("\r\x1b[K"), shown)

    def test_terminal_shows_nothing_before_the_command_does(self):
        self.assertEqual(self.on_terminal("sleep 2"), "\r\x1b[K")


if __name__ == "__main__":
    unittest.main()
