"""Makes a hive dirty: the file is old, and its transaction logs have the newer pages."""

import struct

PAGE = 4096
SECTOR = 512
SEED = 0x82EF4D887A4E55C5


def marvin(data):
    """The hash of Windows' log entries."""
    low, high = SEED & 0xFFFFFFFF, SEED >> 32
    padded = data + b"\x80" + bytes(3 - len(data) % 4) + bytes(4)
    for (word,) in struct.iter_unpack("<I", padded):
        low = (low + word) & 0xFFFFFFFF
        high ^= low
        low = (((low << 20) | (low >> 12)) + high) & 0xFFFFFFFF
        high = ((high << 9) | (high >> 23)) & 0xFFFFFFFF
        high ^= low
        low = (((low << 27) | (low >> 5)) + high) & 0xFFFFFFFF
        high = ((high << 19) | (high >> 13)) & 0xFFFFFFFF
    return high << 32 | low


def with_checksum(header):
    checksum = 0
    for (word,) in struct.iter_unpack("<I", header[:508]):
        checksum ^= word
    return header[:508] + struct.pack("<I", checksum)


def header(hive, first, second, kind):
    return with_checksum(hive[:4] + struct.pack("<II", first, second) + hive[12:28] + struct.pack("<I", kind) +
                         hive[32:SECTOR])


def entry(number, before, after):
    """The log entry that changes the bins of one hive into those of another."""
    size = struct.unpack_from("<I", after, 40)[0]
    old, new = before[PAGE:].ljust(size, b"\0"), after[PAGE:PAGE + size]
    pages = [at for at in range(0, size, PAGE) if old[at:at + PAGE] != new[at:at + PAGE]]
    body = b"".join(struct.pack("<II", at, PAGE) for at in pages) + b"".join(new[at:at + PAGE] for at in pages)
    body += bytes(-(40 + len(body)) % SECTOR)
    start = struct.pack("<4sIIIII", b"HvLE", 40 + len(body), 0, number, size, len(pages))
    start += struct.pack("<Q", marvin(body))
    return start + struct.pack("<Q", marvin(start)) + body


def dirty(states, first=5):
    """The oldest state as a dirty hive, and the log that leads to the last."""
    log = header(states[0], first, first, 6)
    log += b"".join(entry(first + i, *pair) for i, pair in enumerate(zip(states, states[1:])))
    return header(states[0], first + 1, first, 0) + states[0][SECTOR:], log
