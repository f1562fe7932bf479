#!/usr/bin/env python3
"""Reads the strip of images as they are in memory, and says what it tells of each.

  read_strip.py LINE_BYTES FILE …     LINE_BYTES: width times bytes per pixel
"""
import struct
import sys
import zlib


def read_strip(pixels, line_bytes):
    """(frame number, time stamp in ns, whether the image is whole); None without a valid strip."""
    columns = line_bytes // 8                        # cells of 8 x 8 bytes, side by side
    if columns < 32:
        return None
    lines = max(-(-224 // columns) * 8, 16)          # of the strip; 224 cells, one for each bit
    if len(pixels) <= lines * line_bytes:
        return None
    bits = 0
    for cell in range(224):
        row, column = divmod(cell, columns)
        middle = pixels[(row * 8 + 4) * line_bytes + column * 8 + 4]
        bits = bits << 1 | (middle >= 128)
    fields = bits.to_bytes(28, "big")
    magic, version, _, frame, time_ns, fields_crc, image_crc = struct.unpack(">HBBQQII", fields)
    if magic != 0xD0C5 or version != 1 or fields_crc != zlib.crc32(fields[:20]):
        return None
    return frame, time_ns, image_crc == zlib.crc32(pixels[lines * line_bytes:])


def main():
    for path in sys.argv[2:]:
        with open(path, "rb") as file:
            strip = read_strip(file.read(), int(sys.argv[1]))
        print(f"frame {strip[0]}, {strip[1]} ns, {'whole' if strip[2] else 'torn'}" if strip else "no strip")


if __name__ == "__main__":
    main()
