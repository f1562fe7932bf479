#!/usr/bin/env python3
"""Judges images as a host would that receives them one by one, and prints its findings for dorven-host verify.

  find.py LINE_BYTES FILE …     in the order in which the images arrived
"""
import json
import sys

from read_strip import read_strip


def findings_of(strips):
    """Lost, repeated, reordered and torn frames of (frame number, time stamp, whether it is whole)."""
    seen, greatest, findings = set(), None, []

    def found(kind, frame):
        findings.append({"finding": kind, "first": frame, "last": frame})

    for frame, _, whole in strips:
        if frame in seen:
            found("repeated", frame)
        elif greatest is not None and frame < greatest:
            found("reordered", frame)
        if not whole and frame not in seen:
            found("torn", frame)
        seen.add(frame)
        greatest = frame if greatest is None else max(greatest, frame)
    for frame in sorted(set(range(min(seen), greatest)) - seen):
        found("lost", frame)
    return findings, min(seen), greatest


def main():
    strips = []
    for path in sys.argv[2:]:
        with open(path, "rb") as file:
            strip = read_strip(file.read(), int(sys.argv[1]))
        if strip is None:
            sys.exit(f"{path}: has no strip")
        strips.append(strip)
    findings, first, last = findings_of(strips)
    print(json.dumps({"schema": "dorven-grab/2", "first_frame": first, "last_frame": last, "restarts": 0,
                      "late_from_us": None, "findings_omitted": 0, "findings": findings}))


if __name__ == "__main__":
    main()
