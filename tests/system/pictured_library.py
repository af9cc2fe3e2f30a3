"""Makes folders of materials with previews, as publishers have them."""

import math
import random
import struct
import zlib

WOODS = ["ash", "beech", "birch", "cedar", "cherry", "maple", "oak", "pine", "teak", "walnut"]


def png(colour, size=96):
    """A ball of this colour, as a picture."""
    pixels = bytearray()
    for row in range(size):
        pixels += b"\0"
        for column in range(size):
            pixels += bytes(_pixel(colour, 2 * column / size - 1, 2 * row / size - 1))
    header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)
    chunks = [(b"IHDR", header), (b"IDAT", zlib.compress(bytes(pixels), 9)), (b"IEND", b"")]
    return b"\x89PNG\r\n\x1a\n" + b"".join(_chunk(*chunk) for chunk in chunks)


def _chunk(kind, content):
    checksum = zlib.crc32(kind + content)
    return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", checksum)


def _pixel(colour, x, y):
    distance = x * x + y * y
    if distance > 0.86:
        return (0, 0, 0, 0)
    light = max(0.15, 0.62 * math.sqrt(1 - distance) - 0.5 * x - 0.6 * y)
    shine = 1000 * max(0, light - 0.9)
    return (*(min(255, int(part * light + shine)) for part in colour), 255)


def make_library(root, materials, pictures):
    """Writes so many materials, each with a map, and the first of them with previews."""
    some = random.Random(1)
    for number in range(materials):
        wood = WOODS[number % len(WOODS)]
        name = f"{wood}/{wood} {number // len(WOODS) + 1:03}"
        _write(root / f"materials/{name}.mat", some.randbytes(some.randint(300, 4000)))
        _write(root / f"maps/{name}.tx", some.randbytes(some.randint(20000, 90000)))
        colour = (some.randint(110, 235), some.randint(70, 170), some.randint(40, 120))
        if number < pictures:
            _write(root / f"previews/{name}.png", png(colour))


def _write(file, content):
    file.parent.mkdir(parents=True, exist_ok=True)
    file.write_bytes(content)
