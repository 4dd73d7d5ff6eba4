#!/usr/bin/env python3
"""Draws the application's icon (the pixel pickaxe on a dark rounded tile, as data/ondrel-manager.svg)
as PNGs of the hicolor sizes, with no dependency beyond Python.

    make_icons.py <output folder>    -> <folder>/<n>x<n>/apps/ondrel-manager.png
"""
import os
import struct
import sys
import zlib

SIZES = (16, 24, 32, 48, 64, 128, 256, 512)
HEAD = [(8, 0), (9, 0), (10, 0), (7, 1), (8, 1), (9, 1), (10, 1), (11, 1), (6, 2), (7, 2), (10, 2), (11, 2),
        (5, 3), (11, 3), (11, 4)]
NECK = [(8, 2), (9, 2), (8, 3), (9, 3)]
HANDLE = [(7, 4), (6, 5), (5, 6), (4, 7), (3, 8), (2, 9), (1, 10), (0, 11), (7, 5), (6, 6), (5, 7), (4, 8),
          (3, 9), (2, 10), (1, 11)]
CELLS = {**{c: (0xE8, 0x44, 0x0A) for c in HEAD}, **{c: (0x98, 0x98, 0x9D) for c in NECK},
         **{c: (0x8C, 0x69, 0x14) for c in HANDLE}}


def pixel(x, y):
    """The colour at (x, y) of a 512-unit design: tile 16..496 with radius 96, grid 64..448."""
    inside = 16 <= x < 496 and 16 <= y < 496
    if inside:
        cx = min(max(x, 112), 400)
        cy = min(max(y, 112), 400)
        inside = (x - cx) ** 2 + (y - cy) ** 2 <= 96 ** 2
    if not inside:
        return (0, 0, 0, 0)
    cell = (int((x - 64) // 32), int((y - 64) // 32)) if 64 <= x < 448 and 64 <= y < 448 else None
    r, g, b = CELLS.get(cell, (0x0C, 0x0C, 0x0E))
    return (r, g, b, 255)


def png(size):
    scale = 512 / size
    rows = []
    for y in range(size):
        row = bytearray([0])
        for x in range(size):
            # Four samples a pixel keep the tile's corners smooth at small sizes.
            samples = [pixel((x + dx) * scale, (y + dy) * scale) for dx in (0.25, 0.75) for dy in (0.25, 0.75)]
            alpha = sum(s[3] for s in samples)
            if alpha == 0:
                row += bytes(4)
                continue
            row += bytes(sum(s[i] * s[3] for s in samples) // alpha for i in range(3)) + bytes([alpha // 4])
        rows.append(bytes(row))

    def chunk(tag, data):
        return struct.pack(">I", len(data)) + tag + data + struct.pack(">I", zlib.crc32(tag + data) & 0xFFFFFFFF)

    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(b"".join(rows), 9)) + chunk(b"IEND", b""))


def main():
    out = sys.argv[1]
    for size in SIZES:
        folder = os.path.join(out, f"{size}x{size}", "apps")
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "ondrel-manager.png"), "wb") as f:
            f.write(png(size))


if __name__ == "__main__":
    main()
