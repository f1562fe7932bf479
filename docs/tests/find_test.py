#!/usr/bin/env python3
"""examples/strip/find.py: what a host finds of the order in which frames arrived.

  find_test.py SOURCES
"""
import pathlib
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(sys.argv[1]) / "examples/strip"))
import find


def found(*frames, torn=()):
    """(kind, frame) of each finding, and the frames in sight"""
    strips = [(frame, 0, frame not in torn) for frame in frames]
    findings, first, last = find.findings_of(strips)
    return [(finding["finding"], finding["first"]) for finding in findings], first, last


class FindTest(unittest.TestCase):
    def test_frames_in_order_are_no_finding(self):
        self.assertEqual(found(5, 6, 7), ([], 5, 7))

    def test_gap_is_lost_frames(self):
        self.assertEqual(found(5, 8), ([("lost", 6), ("lost", 7)], 5, 8))

    def test_frame_that_comes_again_is_repeated(self):
        self.assertEqual(found(5, 5, 6), ([("repeated", 5)], 5, 6))

    def test_frame_that_comes_late_is_reordered_and_not_lost(self):
        self.assertEqual(found(5, 7, 6, 8), ([("reordered", 6)], 5, 8))

    def test_torn_frame_is_found_once(self):
        self.assertEqual(found(5, 6, 6, torn=(6,)), ([("torn", 6), ("repeated", 6)], 5, 6))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
