"""Writes the small OPUS and ChemStation fixtures of the robustness tests (each a valid
file of its kind, which the tests then damage): python3 make_fixtures.py"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def parameters(items):
    out = b""
    for key, kind, value in items:
        if kind == 0:
            raw = struct.pack("<i", value)
        elif kind == 1:
            raw = struct.pack("<d", value)
        else:
            raw = value.encode() + b"\0"
            raw += b"\0" * (-len(raw) % 4)
        out += key.encode() + b"\0" + struct.pack("<HH", kind, len(raw) // 2) + raw
    return out + b"END\0" + struct.pack("<HH", 0, 0)


def opus(blocks):
    n = len(blocks) + 1
    head = b"\x0a\x0a\xfe\xfe" + struct.pack("<d", 920622.0) + struct.pack("<III", 24, n, n)
    offset = 24 + 12 * n
    directory = bytes([0, 0x34, 0, 0]) + struct.pack("<II", 3 * n, 24)
    body = b""
    for kind, data in blocks:
        directory += bytes(kind) + struct.pack("<II", len(data) // 4, offset)
        body += data
        offset += len(data)
    return head + directory + body


def spectrum_parameters(n, first, last, scale):
    return parameters([("DPF", 0, 1), ("NPT", 0, n), ("FXV", 1, first), ("LXV", 1, last),
                       ("CSF", 1, scale), ("DXU", 2, "WN"), ("DAT", 2, "01/02/2024"),
                       ("TIM", 2, "10:11:12")])


def new_header(version, first, last, scale, floats=False):
    h = bytearray(0x1800)
    h[0] = len(version)
    h[1:1 + len(version)] = version.encode()
    struct.pack_into(">I", h, 264, 13)
    struct.pack_into(">ff" if floats else ">ii", h, 282, first, last)
    struct.pack_into(">d", h, 4732, scale)
    for offset, text in ((858, "sample 1"), (4213, "FID1A, Front Signal"), (4172, "pA")):
        h[offset] = len(text)
        h[offset + 1:offset + 1 + 2 * len(text)] = text.encode("utf-16-le")
    return bytes(h)


def main():
    y = struct.pack("<8f", *[0.1 * i for i in range(8)])
    with open(os.path.join(HERE, "absorbance-and-single-channel.0"), "wb") as f:
        f.write(opus([([0xA0, 0, 0, 0], parameters([("SNM", 2, "soil;;;powder")])),
                      ([15, 16, 0, 0], y), ([31, 16, 0, 0], spectrum_parameters(8, 4000.0, 3000.0, 1.0)),
                      ([7, 4, 0, 0], y), ([23, 4, 0, 0], spectrum_parameters(8, 4000.0, 3000.0, 0.5))]))
    out = os.path.join(HERE, "..", "chemstation")
    with open(os.path.join(out, "v130-differences.ch"), "wb") as f:
        f.write(new_header("130", 0, 60000, 0.5) + b"\x10\x04" +
                struct.pack(">hhih", 5, -32768, 70000, -1) + struct.pack(">h", 3))
    with open(os.path.join(out, "v181-second-differences.ch"), "wb") as f:
        f.write(new_header("181", 0.0, 60000.0, 1.0, True) +
                struct.pack(">hhhhIh", 2, 3, 32767, -1, 0xFFFFFFFB, 1))
    uv = bytearray(new_header("131", 0, 0, 1))[:0x1000]
    struct.pack_into(">I", uv, 278, 2)
    struct.pack_into(">d", uv, 3085, 0.25)
    for i, time in enumerate((600, 1200)):
        uv += struct.pack("<HHIHHH8x", 67, 22 + 10, time, 3800, 3840, 20)
        uv += struct.pack("<hhih", 4 + i, -32768, 1000 + i, -7)
    with open(os.path.join(out, "v131-two-spectra.uv"), "wb") as f:
        f.write(bytes(uv))


if __name__ == "__main__":
    main()
