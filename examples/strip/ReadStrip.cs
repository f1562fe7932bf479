// Reads the strip of images as they are in memory, and says what it tells of each.
//
//   ReadStrip LINE_BYTES FILE …     LINE_BYTES: width times bytes per pixel
using System;
using System.IO;

static class ReadStrip {
    static uint Crc32(byte[] bytes, int from, int to) {
        uint crc = 0xFFFFFFFF;
        for (int at = from; at < to; ++at) {
            crc ^= bytes[at];
            for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
        }
        return ~crc;
    }

    static ulong Number(byte[] fields, int at, int size) {
        ulong value = 0;
        for (int end = at + size; at < end; ++at) value = value << 8 | fields[at];
        return value;
    }

    static bool TryRead(byte[] pixels, int lineBytes, out ulong frame, out ulong timeNs, out bool whole) {
        frame = timeNs = 0;
        whole = false;
        int columns = lineBytes / 8;                                  // cells of 8 x 8 bytes, side by side
        if (columns < 32) return false;
        int lines = Math.Max((224 + columns - 1) / columns * 8, 16);  // of the strip
        if (pixels.Length <= lines * lineBytes) return false;
        var fields = new byte[28];                                    // 224 cells, one for each bit
        for (int cell = 0; cell < 224; ++cell) {
            byte middle = pixels[(cell / columns * 8 + 4) * lineBytes + cell % columns * 8 + 4];
            fields[cell / 8] = (byte)(fields[cell / 8] << 1 | (middle >= 128 ? 1 : 0));
        }
        if (Number(fields, 0, 2) != 0xD0C5 || fields[2] != 1) return false;
        if (Number(fields, 20, 4) != Crc32(fields, 0, 20)) return false;
        frame = Number(fields, 4, 8);
        timeNs = Number(fields, 12, 8);
        whole = Number(fields, 24, 4) == Crc32(pixels, lines * lineBytes, pixels.Length);
        return true;
    }

    static int Main(string[] arguments) {
        if (arguments.Length == 0) return 2;
        for (int file = 1; file < arguments.Length; ++file) {
            byte[] pixels = File.ReadAllBytes(arguments[file]);
            if (TryRead(pixels, int.Parse(arguments[0]), out ulong frame, out ulong timeNs, out bool whole))
                Console.WriteLine("frame " + frame + ", " + timeNs + " ns, " + (whole ? "whole" : "torn"));
            else
                Console.WriteLine("no strip");
        }
        return 0;
    }
}
