#!/usr/bin/env python3
"""Writes small.idx and small.aud beside itself from the byte tables in docs/formats alone.

The two files are frozen: they are what a program of format version 3 must still read. This script
is a second opinion on the format, written without the program; running it must change nothing.
"""
import struct
from pathlib import Path

ALIGN = 16384
NONE = 0xFFFFFFFF
DIR, HIDDEN, JUNK, ROOT, NON_ASCII, DELETED = 0x01, 0x02, 0x08, 0x10, 0x20, 0x80
STORE_ID = 0x1122334455667788

# name, folded, parent, size, mtime, ctime, flags, extension
ENTRIES = [
    (b"/golden", b"/golden", NONE, 0, 0, 0, DIR | ROOT, 0),
    (b"Music", b"music", 0, 0, 1700000000, 1600000000, DIR, 0),
    (b".profile", b".profile", 0, 12, 1700000001, 0, HIDDEN, 0),
    ("Café.FLAC".encode(), b"cafe.flac\x01", 1, 1 << 33, 4294967295, 1600000001, NON_ASCII, 1),
    (b"song.mp3", b"song.mp3", 1, 5000000, 1700000002, 1600000002, 0, 2),
    (b"Gone.mp3", b"gone.mp3", 1, 5000000, 1700000003, 1600000003, DELETED, 2),
    (b"/other", b"/other", NONE, 0, 0, 0, DIR | ROOT, 0),
    (b"Song.MP3", b"song.mp3", 6, 12, 1700000004, 1600000004, 0, 2),
]
EXTENSIONS = [b"", b"flac", b"mp3"]
# key: (ids in order, ids that moved since). By name; by size, where 4 was as large as 2 and 7.
ORDERS = {0: ([2, 3, 5, 1, 4, 7], []), 2: ([1, 2, 4, 7, 5, 3], [4])}


def text(value, size):
    return value[: size - 1].ljust(size, b"\0")


def snapshot():
    n = len(ENTRIES)
    names = b"".join(e[0] + b"\0" for e in ENTRIES)
    folded = b"".join(e[1] + b"\0" for e in ENTRIES)
    offsets = [0]
    for entry in ENTRIES:
        offsets.append(offsets[-1] + len(entry[0]) + 1)

    def column(code, index):
        return struct.pack(f"<{n}{code}", *(e[index] for e in ENTRIES))

    sections = [names, folded, struct.pack(f"<{n + 1}I", *offsets), column("I", 2), column("Q", 3),
                column("I", 4), column("I", 5), column("B", 6), column("H", 7),
                b"".join(e.ljust(16, b"\0") for e in EXTENSIONS)]
    ids = [ORDERS.get(key, ([], []))[0] for key in range(5)]
    moved = []
    for key in range(5):
        changed = ORDERS.get(key, ([], []))[1]
        moved.append([sum(1 << i for i in changed)] if changed else [])
    sections += [struct.pack(f"<{len(i)}I", *i) for i in ids]
    sections += [struct.pack(f"<{len(m)}Q", *m) for m in moved]

    table, offset = [], ALIGN
    for section in sections:
        table.append((offset, len(section)))
        offset += -(-len(section) // ALIGN) * ALIGN
    info = text(b"2f5e-volume", 48) + text(b"history-7", 48) + text(b"/golden", 1024)
    info += struct.pack("<QQQQQ", 77, 1700000100, 0xABCDEF, 1, STORE_ID)
    info += struct.pack("<5I", *(len(i) for i in ids))
    info += struct.pack("<5I", *(key if ids[key] else 0 for key in range(5)))
    info += struct.pack("<5I", *(len(m) for m in moved)) + struct.pack("<I", 0)
    info += struct.pack("<5Q", *(table[10 + i][0] for i in range(5)))
    info += struct.pack("<5Q", *(table[15 + i][0] for i in range(5)))
    assert len(info) == 1304
    header = b"QUARRYDX" + struct.pack("<II", 3, 1672) + info
    header += struct.pack("<IIQ", n, len(EXTENSIONS), len(names))
    header += b"".join(struct.pack("<QQ", *entry) for entry in table)
    header += struct.pack("<Q", offset) + b"ENDQRDXU"
    assert len(header) == 1672
    out = bytearray(offset)
    out[: len(header)] = header
    for (start, length), section in zip(table, sections):
        out[start : start + length] = section
    return bytes(out)


def audio():
    pool = b"\0"
    places = {}
    for name, fold in [("Sigur Rós", "sigur ros"), ("Ágætis byrjun", "agætis byrjun"), ("Am", "am")]:
        places[name] = len(pool)
        pool += name.encode() + b"\0" + fold.encode() + b"\0"
    rows = [  # entry, mtime, ms, Hz, kbit/s, bpm10, year, bits, channels, codec, flags, texts
        (3, 4294967295, 420000, 96000, 2800, 0, 1999, 24, 2, 4, 0,
         [places["Sigur Rós"], places["Ágætis byrjun"], 0, 0, 0]),
        (4, 1700000002, 180000, 44100, 256, 1280, 0, 0, 2, 1, 1, [0, 0, 0, 0, places["Am"]]),
    ]
    n = len(rows)
    out = b"QRDXAUD2" + struct.pack("<QQQ", STORE_ID, n, len(pool))
    for index, code in enumerate("IIIIHHHBBBB"):
        out += struct.pack(f"<{n}{code}", *(row[index] for row in rows))
    for index in range(5):
        out += struct.pack(f"<{n}I", *(row[11][index] for row in rows))
    return out + pool


here = Path(__file__).parent
(here / "small.idx").write_bytes(snapshot())
(here / "small.aud").write_bytes(audio())
